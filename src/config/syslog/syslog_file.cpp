// Text of "/conf/syslog.conf". Its first five lines are comments that carry
// the configuration itself; start-up reads them back.
#include "config/syslog/syslog_file.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace qrx::config::syslog {

namespace {

constexpr const char *kTab3 = "\t\t\t";
constexpr std::size_t kSelectorMax = 127;
constexpr std::size_t kAddressMax = 79;
constexpr int kLevelMax = 3;

struct FixedLine {
    const char *selector;
    const char *action;
};

// Local log files (local1 audit, local4 IDL, local5 debug log, local7 tests).
constexpr FixedLine kLocalFiles[] = {
    {"local1.*", "/extlog/audit.log"},       {"local3.*", "/extlog/extended.log"},
    {"local4.*", "/extlog/idl.log"},         {"local5.*", "/extlog/quorix_debug.log"},
    {"local6.*", "/extlog/maintenance.log"}, {"local7.*", "/var/log/test.log"},
    {"*.=info;local1.none", "@127.0.0.1"},
};

constexpr const char *kSeverities[] = {"debug", "info", "notice", "warning", "err", "crit", "alert", "emerg"};
constexpr const char *kLocalFacilitiesNone = ";local1.none;local3.none;local4.none;local5.none;local6.none";

// Forwarded severities per LEVEL (Info, Warning, Critical, Alert).
constexpr const char *kLevelSeverities[][4] = {
    {"info", "warn", "crit", "alert"}, {"warn", "crit", "alert"}, {"crit", "alert"}, {"alert"}};

std::string format(const char *fmt, ...) __attribute__((format(printf, 1, 2)));
std::string format(const char *fmt, ...) {
    char buf[256];
    va_list ap;
    va_start(ap, fmt);
    std::vsnprintf(buf, sizeof buf, fmt, ap);
    va_end(ap);
    return buf;
}

// "localN.sev1,localN.sev2,..." for the severities LEVEL forwards.
std::string severityList(const char *facility, int level) {
    std::string list;
    for (const char *sev : kLevelSeverities[level]) {
        if (sev == nullptr) break;
        if (!list.empty()) list += ',';
        list += std::string(facility) + '.' + sev;
    }
    return list;
}

std::string capped(std::string text, std::size_t max) {
    if (text.size() > max) text.resize(max);
    return text;
}

struct Selectors {
    std::string audit;
    std::string idl;
    std::string test;
};

Selectors selectorsFor(const SyslogConfig &c, std::size_t i) {
    const Destination &d = c.dest[i];
    Selectors s;
    s.test = i == c.testTarget ? "local7.*" : "# local7.*";
    if (c.level > kLevelMax || d.type < 1 || d.type > 3) {
        s.audit = s.idl = "#";
        return s;
    }
    const bool auditOn = d.enable != 0 && (d.type == 2 || d.type == 3);
    const bool idlOn = d.enable != 0 && (d.type == 1 || d.type == 3);
    s.audit = capped((auditOn ? "" : "# ") + severityList("local1", c.level), kSelectorMax);
    s.idl = capped((idlOn ? "" : "# ") + severityList("local4", c.level), kSelectorMax);
    return s;
}

}  // namespace

std::string baseBlock(const SyslogConfig &c) {
    std::string text = format("#SYSLOG=%d,TAG=%d,LEVEL=%d,PROTOCAL=%d\n", c.syslog, c.tag, c.level, c.protocol);
    for (std::size_t i = 0; i < kDestCount; ++i) {
        const Destination &d = c.dest[i];
        text += format("#DEST%d=%d,TYPE=%d,PORT=%d,HOSTNAME=%s\n", static_cast<int>(i), d.enable, d.type,
                       static_cast<int>(d.port), d.host.c_str());
    }
    for (const FixedLine &line : kLocalFiles) text += std::string(line.selector) + kTab3 + line.action + "\n";
    for (const char *sev : kSeverities)
        text += std::string("*.=") + sev + kLocalFacilitiesNone + kTab3 + "/extlog/" + sev + ".log\n";
    return text;
}

std::string tlsBlock(int protocol) {
    if (protocol == kProtocolTlsOneWay) {
        return "$DefaultNetstreamDriverCAFile\t\t\t/conf/syslog-ca.pem\n"
               "$DefaultNetstreamDriver\t\t\tgtls\n"
               "$ActionSendStreamDriverMode\t\t\t1\n"
               "$ActionSendStreamDriverAuthMode\t\t\tanon\n";
    }
    if (protocol == kProtocolTlsTwoWay) {
        return "$DefaultNetstreamDriverCAFile\t\t\t/conf/syslog-ca.pem\n"
               "$DefaultNetstreamDriverCertFile\t\t\t/conf/syslog-cert.pem\n"
               "$DefaultNetstreamDriverKeyFile\t\t\t/conf/syslog-priv.pem\n"
               "$DefaultNetstreamDriver\t\t\t\tgtls\n"
               "$ActionSendStreamDriverMode\t\t\t1\n"
               "$ActionSendStreamDriverAuthMode\t\t\tx509/name\n"
               "$ActionSendStreamDriverPermittedPeer\t\t*\n";
    }
    return "";
}

std::string destinationBlock(const SyslogConfig &c) {
    const char *prefix = c.protocol == kProtocolUdp ? "@" : "@@";
    std::string address[kDestCount];
    Selectors sel[kDestCount];
    for (std::size_t i = 0; i < kDestCount; ++i) {
        const Destination &d = c.dest[i];
        address[i] = capped(format("%s[%s]:%d", prefix, d.host.c_str(), static_cast<int>(d.port)), kAddressMax);
        sel[i] = selectorsFor(c, i);
    }
    std::string text;
    for (std::size_t i = 0; i < kDestCount; ++i) {
        text += sel[i].audit + kTab3 + address[i] + "\n";
        text += sel[i].idl + kTab3 + address[i] + "\n";
    }
    text += "#TEST_FUNC\n";
    for (std::size_t i = 0; i < kDestCount; ++i) text += sel[i].test + kTab3 + address[i] + "\n";
    return text;
}

std::string configText(const SyslogConfig &c) {
    if (c.syslog == kSyslogDisabled) return baseBlock(c);
    if (c.protocol > kProtocolTlsTwoWay) return "";
    return baseBlock(c) + tlsBlock(c.protocol) + destinationBlock(c);
}

void applyHeaderLine(const char *line, SyslogConfig &config, int &tagSeen) {
    if (std::strstr(line, "#SYSLOG") != nullptr) {
        int syslog = -1, tag = -1, level = -1, protocol = -1;
        const int n = std::sscanf(line, "#SYSLOG=%d,TAG=%d,LEVEL=%d,PROTOCAL=%d", &syslog, &tag, &level, &protocol);
        if (n >= 1 && (syslog == kSyslogDisabled || syslog == kSyslogEnabled))
            config.syslog = static_cast<std::uint8_t>(syslog);
        if (n >= 2) tagSeen = tag;
        // TAG and PROTOCAL 0 are not taken, so a UDP file loads as TCP: the
        // daemons have always read it back this way.
        if (n >= 2 && (tag == 1 || tag == 2)) config.tag = static_cast<std::uint8_t>(tag);
        // LEVEL is compared signed: a negative value is taken as it stands.
        if (n >= 3 && level <= kLevelMax) config.level = static_cast<std::uint8_t>(level);
        if (n >= 4 && protocol >= 1 && protocol <= 3) config.protocol = static_cast<std::uint8_t>(protocol);
        return;
    }
    if (std::strstr(line, "#DEST") != nullptr) {
        int index = -1, enable = -1, type = -1, port = -1;
        char host[1024] = {};
        const int n =
            std::sscanf(line, "#DEST%d=%d,TYPE=%d,PORT=%d,HOSTNAME=%1023s", &index, &enable, &type, &port, host);
        if (n < 1 || index < 0 || index >= static_cast<int>(kDestCount)) return;
        Destination &d = config.dest[index];
        if (n >= 2 && (enable == 0 || enable == 1)) d.enable = static_cast<std::uint8_t>(enable);
        if (n >= 3 && type >= 0 && type <= 3) d.type = static_cast<std::uint8_t>(type);
        if (n >= 4 && port >= 1 && port <= 65534) d.port = static_cast<std::uint32_t>(port);
        if (n >= 5 && host[0] != '\0') d.host.assign(host, strnlen(host, kHostTextMax));
    }
}

}  // namespace qrx::config::syslog
