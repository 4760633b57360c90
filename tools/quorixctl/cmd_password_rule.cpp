// quorixctl password-rule, conf-flag, bios: the user password rule, the
// preserve-setup flag and the BIOS setting files.
#include <cstdio>
#include <cstring>
#include <string>

#include "command.h"
#include "config/password_rule/password_rule_layout.h"
#include "quorix_common_interface.h"

namespace ctl {
namespace {

namespace pw = qrx::pwrule;

// Field names in set-parameter order.
constexpr const char *kFieldNames[pw::kFieldCount] = {"enabled",          "min-length",     "complexity",
                                                      "class-mask",       "max-age-days",   "history-depth",
                                                      "lockout-attempts", "lockout-minutes"};

int findField(const std::string &word) {
    for (int i = 0; i < pw::kFieldCount; ++i)
        if (word == kFieldNames[i]) return i;
    long number;
    if (parseInt(word, number) && number >= 0 && number < pw::kFieldCount) return static_cast<int>(number);
    return -1;
}

int runRuleGet(const Args &args) {
    if (!args.empty()) return usageError("password-rule get");
    if (!bind()) return kExitUnbound;
    unsigned char res[1 + pw::kRecordSize] = {};
    int n = QuorixGetUserPasswordRuleInterface(res);
    if (n != 1 + static_cast<int>(pw::kRecordSize)) {
        std::printf("completion code 0x%02X\n", res[0]);
        return kExitFailed;
    }
    qrx::ByteView record(res + 1);
    for (int i = 0; i < pw::kFieldCount; ++i)
        std::printf("%-17s %u\n", kFieldNames[i], static_cast<unsigned>(pw::getField(record, pw::kFields[i])));
    return kExitOk;
}

int runRuleSet(const Args &args) {
    long long value;
    int field = args.size() == 2 ? findField(args[0]) : -1;
    if (field < 0 || !parseInt(args[1], value) || value < 0 || value > 0xFFFFFFFFLL)
        return usageError("password-rule set FIELD VALUE (FIELD: a name or 0..7)");
    if (!bind()) return kExitUnbound;
    const pw::Field &f = pw::kFields[field];
    // Single values go little-endian right after the parameter byte.
    unsigned char req[5] = {static_cast<unsigned char>(field)};
    for (std::size_t i = 0; i < f.width; ++i) req[1 + i] = static_cast<unsigned char>(value >> (8 * i));
    int cc = QuorixSetUserPasswordRuleInterface(req, 1 + static_cast<int>(f.width));
    std::printf("completion code 0x%02X\n", cc);
    return cc == 0 ? kExitOk : kExitFailed;
}

int runFlagGet(const Args &args) {
    if (!args.empty()) return usageError("conf-flag get");
    if (!bind()) return kExitUnbound;
    unsigned char flag = 0;
    if (QuorixGetConfFlagInterface(&flag) != 0) return kExitFailed;
    std::printf("%u\n", flag);
    return kExitOk;
}

int runFlagSet(const Args &args) {
    long value;
    if (args.size() != 1 || !parseInt(args[0], value) || value < 0 || value > 255)
        return usageError("conf-flag set 0|1");
    if (!bind()) return kExitUnbound;
    return QuorixSetConfFlagInterface(static_cast<unsigned char>(value)) == 0 ? kExitOk : kExitFailed;
}

int runBiosGet(const Args &args) {
    if (args.size() != 1) return usageError("bios get NAME");
    GetBiosSetupOption(args[0].c_str());
    char value[100];
    return GetCurrentSetValue(args[0].c_str(), value, sizeof value) == 0 ? kExitOk : kExitFailed;
}

int runBiosResult(const Args &args) {
    if (!args.empty()) return usageError("bios result");
    bool pending = QuorixGetAttributeValueFromJson() == 0;
    bool applied = QuorixGetResultFromJson() == 0;
    std::printf("pending attributes: %s\nlast apply: %s\n", pending ? "yes" : "no",
                applied ? "EFI_SUCCESS" : "failed or unknown");
    return kExitOk;
}

}  // namespace

std::vector<Command> passwordRuleCommands() {
    return {
        {"password-rule", "get", "", "print the user password rule", runRuleGet},
        {"password-rule", "set", "FIELD VALUE", "set one rule field (name or 0..7)", runRuleSet},
        {"conf-flag", "get", "", "print the preserve-setup flag", runFlagGet},
        {"conf-flag", "set", "0|1", "set the preserve-setup flag (1 prepares the BIOS future settings)", runFlagSet},
        {"bios", "get", "NAME", "print a current BIOS attribute", runBiosGet},
        {"bios", "result", "", "whether settings are pending and how the last apply ended", runBiosResult},
    };
}

}  // namespace ctl
