// quorixctl password-rule, conf-flag, bios: the user password rule, the
// preserve-setup flag and the BIOS setting files.
#include <cctype>
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
    if (!word.empty() && std::isdigit(static_cast<unsigned char>(word[0])))
        return static_cast<int>(number(word, "field", 0, pw::kFieldCount - 1));
    std::string names;
    for (const char *n : kFieldNames) names += std::string(names.empty() ? "" : ", ") + n;
    throw UsageError("field '" + word + "' is not one of " + names + " or 0.." + std::to_string(pw::kFieldCount - 1));
}

int runRuleGet(const Args &args) {
    expectArgs(args, 0, 0);
    if (!bind()) return kExitUnbound;
    unsigned char res[1 + pw::kRecordSize] = {};
    int n = QuorixGetUserPasswordRuleInterface(res);
    if (n != 1 + static_cast<int>(pw::kRecordSize)) {
        std::printf("completion code 0x%02X (%s)\n", res[0], completionCodeName(res[0]));
        return kExitFailed;
    }
    qrx::ByteView record(res + 1);
    for (int i = 0; i < pw::kFieldCount; ++i)
        std::printf("%-17s %u\n", kFieldNames[i], static_cast<unsigned>(pw::getField(record, pw::kFields[i])));
    return kExitOk;
}

int runRuleSet(const Args &args) {
    expectArgs(args, 2, 2);
    const int field = findField(args[0]);
    const pw::Field &f = pw::kFields[field];
    // The field's width bounds what can be sent; the rule's own limits are the handler's to check.
    const long long value = number(args[1], kFieldNames[field], 0, (1LL << (8 * f.width)) - 1);
    if (!bind()) return kExitUnbound;
    // Single values go little-endian right after the parameter byte.
    unsigned char req[5] = {static_cast<unsigned char>(field)};
    for (std::size_t i = 0; i < f.width; ++i) req[1 + i] = static_cast<unsigned char>(value >> (8 * i));
    int cc = QuorixSetUserPasswordRuleInterface(req, 1 + static_cast<int>(f.width));
    std::printf("completion code 0x%02X (%s)\n", cc, completionCodeName(static_cast<unsigned>(cc)));
    return cc == 0 ? kExitOk : kExitFailed;
}

int runFlagGet(const Args &args) {
    expectArgs(args, 0, 0);
    if (!bind()) return kExitUnbound;
    unsigned char flag = 0;
    if (QuorixGetConfFlagInterface(&flag) != 0) {
        std::fprintf(stderr, "quorixctl: the preserve-setup flag could not be read from the EEPROM\n");
        return kExitFailed;
    }
    std::printf("%u\n", flag);
    return kExitOk;
}

int runFlagSet(const Args &args) {
    expectArgs(args, 1, 1);
    const long long value = number(args[0], "flag", 0, 1);
    if (!bind()) return kExitUnbound;
    const int rc = QuorixSetConfFlagInterface(static_cast<unsigned char>(value));
    if (rc != 0) {
        std::fprintf(stderr, "quorixctl: setting the flag to %lld failed (%d): %s\n", value, rc,
                     value == 1 ? "the BIOS future settings could not be prepared from /conf/redfish/bios/, or the "
                                  "EEPROM was not written"
                                : "the EEPROM was not written");
        return kExitFailed;
    }
    std::printf("preserve-setup flag: %lld\n", value);
    return kExitOk;
}

int runBiosGet(const Args &args) {
    expectArgs(args, 1, 1);
    GetBiosSetupOption(args[0].c_str());
    char value[100];
    if (GetCurrentSetValue(args[0].c_str(), value, sizeof value) != 0) {
        std::fprintf(stderr, "quorixctl: no current value of BIOS attribute %s\n", args[0].c_str());
        return kExitFailed;
    }
    return kExitOk;
}

int runBiosResult(const Args &args) {
    expectArgs(args, 0, 0);
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
