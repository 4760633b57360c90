// quorixctl smtp: show the mail alert settings and set them through the
// IPMI-style requests.
#include <algorithm>
#include <cstdio>
#include <string>

#include "command.h"
#include "config/smtp/smtp_layout.h"
#include "config_request.h"
#include "core/byte_access.h"
#include "quorix_common_interface.h"

namespace ctl {
namespace {

using namespace cfgreq;
namespace sm = qrx::config::smtp;

unsigned sendSmtp(const Bytes &r) {
    return QuorixSetBMCSmtpCfgInterface(r.data(), static_cast<int>(r.size()));
}

const char *onOff(unsigned v) {
    return v ? "on" : "off";
}

int show(const Args &args) {
    const bool reveal = secretsFlag(args);
    if (!bind()) return kExitUnbound;
    unsigned char r[sm::kRecordSize] = {}, d[sm::kRecipientsSize] = {};
    // Masked output comes from the OEM get, which never carries the password.
    if (reveal ? QuorixGetSmtpCfgFromMem(r) != 0 : false) return kExitFailed;
    if (!reveal) {
        unsigned char resp[sm::kRecordSize + 1] = {};
        if (QuorixGetBMCSmtpCfgInterface(0, resp) != static_cast<int>(sm::kRecordSize + 1)) return kExitFailed;
        std::copy(resp + 1, resp + 1 + sm::kRecordSize, r);
    }
    if (QuorixGetSmtpDstCfgFromMem(d) != 0) return kExitFailed;
    qrx::ByteView rec(r);
    std::printf("mail alerts:    %s\n", onOff(r[sm::kEnabled]));
    std::printf("server:         %s\n", field(r + sm::kServer, sm::kServerSize).c_str());
    std::printf("port:           %u\n", rec.u16(sm::kPort));
    std::printf("secure port:    %u\n", rec.u16(sm::kSecurePort));
    std::printf("STARTTLS:       %s\n", onOff(r[sm::kStartTls]));
    std::printf("SSL/TLS:        %s\n", onOff(r[sm::kSslTls]));
    std::printf("authentication: %s\n", onOff(r[sm::kAuth]));
    std::printf("user:           %s\n", field(r + sm::kUserName, sm::kUserNameSize).c_str());
    std::printf("password:       %s\n",
                reveal ? secret(field(r + sm::kPassword, sm::kPasswordSize - 1), true).c_str() : "********");
    std::printf("sender:         %s\n", field(r + sm::kSender, sm::kSenderSize).c_str());
    std::printf("subject:        %s\n", field(r + sm::kSubject, sm::kSubjectSize).c_str());
    std::printf("host name:      %s\n", onOff(r[sm::kHostName]));
    std::printf("serial number:  %s\n", onOff(r[sm::kSerialNumber]));
    std::printf("asset tag:      %s\n", onOff(r[sm::kAssetTag]));
    std::printf("event level:    %s\n", r[sm::kEventLevel] < 3 ? EventLevelStr[r[sm::kEventLevel]] : "?");
    for (std::size_t i = 0; i < sm::kRcptCount; ++i) {
        const unsigned char *e = d + i * sm::kRcptEntrySize;
        std::string address = field(e + sm::kRcptAddress, sm::kRcptAddressSize);
        std::string description = field(e + sm::kRcptDescription, sm::kRcptDescriptionSize);
        std::printf("recipient %zu: %-8s %-40s %s\n", i, e[sm::kRcptEnabled] ? "enabled" : "disabled",
                    address.empty() ? "-" : address.c_str(), description.c_str());
    }
    return kExitOk;
}

int set(const Args &args) {
    static const std::vector<Flag> flags = {{"--enabled", 0, Kind::OnOff, nullptr, 0},
                                            {"--server", 1, Kind::Text, nullptr, 0},
                                            {"--port", 2, Kind::PortLe16, nullptr, 0},
                                            {"--secure-port", 3, Kind::PortLe16, nullptr, 0},
                                            {"--starttls", 4, Kind::OnOff, nullptr, 0},
                                            {"--ssltls", 5, Kind::OnOff, nullptr, 0},
                                            {"--auth", 6, Kind::OnOff, nullptr, 0},
                                            {"--user", 7, Kind::Text, nullptr, 0},
                                            {"--password", 8, Kind::Text, nullptr, 0},
                                            {"--sender", 9, Kind::Text, nullptr, 0},
                                            {"--subject", 10, Kind::Text, nullptr, 0},
                                            {"--host-name", 11, Kind::OnOff, nullptr, 0},
                                            {"--serial-number", 12, Kind::OnOff, nullptr, 0},
                                            {"--asset-tag", 13, Kind::OnOff, nullptr, 0},
                                            {"--event-level", 14, Kind::Word, EventLevelStr, 3}};
    return runFlags(args, 0, flags, {0}, sendSmtp);
}

int recipient(const Args &args) {
    static const std::vector<Flag> flags = {{"--enabled", 0, Kind::OnOff, nullptr, 0},
                                            {"--address", 1, Kind::Text, nullptr, 0},
                                            {"--description", 2, Kind::Text, nullptr, 0}};
    if (args.empty() || args[0].rfind("--", 0) == 0) throw UsageError("missing INDEX");
    return runFlags(args, 1, flags, {1, entryIndex(args[0])}, sendSmtp);
}

int test(const Args &args) {
    expectArgs(args, 1, 1);
    const std::uint8_t index = entryIndex(args[0]);
    if (!bind()) return kExitUnbound;
    return send(sendSmtp, {2, index});
}

int raw(const Args &args) {
    return runRaw(args, sendSmtp);
}

}  // namespace

std::vector<Command> smtpCommands() {
    return {
        {"smtp", "show", "[--secrets]", "show the mail settings and recipients (password masked)", show},
        {"smtp", "set",
         "[--enabled on|off] [--server A] [--port N] [--secure-port N] [--starttls on|off] [--ssltls on|off] "
         "[--auth on|off] [--user U] [--password P] [--sender S] [--subject S] [--host-name on|off] "
         "[--serial-number on|off] [--asset-tag on|off] [--event-level Info|Warning|Critical]",
         "set mail parameters, one request each", set},
        {"smtp", "recipient", "INDEX [--enabled on|off] [--address A] [--description D]", "set a recipient", recipient},
        {"smtp", "test", "INDEX", "ask the log service for a test mail to a recipient", test},
        {"smtp", "raw", "HEXBYTES", "send request bytes to the SMTP set handler", raw},
    };
}

}  // namespace ctl
