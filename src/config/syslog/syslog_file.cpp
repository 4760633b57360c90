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

// One line's selector: at most 127 characters, as the writer has always cut it.
struct Selector {
    char text[kSelectorMax + 1] = {};
};

// "[# ]localN.sev1,localN.sev2,..." for the severities LEVEL forwards.
Selector severityList(const char *prefix, const char *facility, int level) {
    Selector s;
    std::size_t used = 0;
    auto add = [&](const char *part) {
        const int n = std::snprintf(s.text + used, sizeof s.text - used, "%s", part);
        if (n > 0) used += static_cast<std::size_t>(n) < sizeof s.text - used ? static_cast<std::size_t>(n)
                                                                                : sizeof s.text - 1 - used;
    };
    add(prefix);
    bool first = true;
    for (const char *sev : kLevelSeverities[level]) {
        if (sev == nullptr) break;
        if (!first) add(",");
        first = false;
        add(facility);
        add(".");
        add(sev);
    }
    return s;
}

struct Selectors {
    Selector audit;
    Selector idl;
    const char *test = "";
};

Selectors selectorsFor(const SyslogConfig &c, std::size_t i) {
    const Destination &d = c.dest[i];
    Selectors s;
    s.test = i == c.testTarget ? "local7.*" : "# local7.*";
    if (c.level > kLevelMax || d.type < 1 || d.type > 3) {
        s.audit.text[0] = s.idl.text[0] = '#';
        return s;
    }
    const bool auditOn = d.enable != 0 && (d.type == 2 || d.type == 3);
    const bool idlOn = d.enable != 0 && (d.type == 1 || d.type == 3);
    s.audit = severityList(auditOn ? "" : "# ", "local1", c.level);
    s.idl = severityList(idlOn ? "" : "# ", "local4", c.level);
    return s;
}

}  // namespace

void ConfigText::append(std::string_view text) {
    const std::size_t room = kCapacity - 1 - length_;
    const std::size_t n = text.size() < room ? text.size() : room;
    std::memcpy(buffer_ + length_, text.data(), n);
    length_ += n;
    buffer_[length_] = '\0';
}

void ConfigText::appendf(const char *format, ...) {
    char line[256];
    va_list ap;
    va_start(ap, format);
    const int n = std::vsnprintf(line, sizeof line, format, ap);
    va_end(ap);
    if (n > 0) append(std::string_view(line, static_cast<std::size_t>(n) < sizeof line ? n : sizeof line - 1));
}

void baseBlock(const SyslogConfig &c, ConfigText &out) {
    out.appendf("#SYSLOG=%d,TAG=%d,LEVEL=%d,PROTOCAL=%d\n", c.syslog, c.tag, c.level, c.protocol);
    for (std::size_t i = 0; i < kDestCount; ++i) {
        const Destination &d = c.dest[i];
        out.appendf("#DEST%d=%d,TYPE=%d,PORT=%d,HOSTNAME=%s\n", static_cast<int>(i), d.enable, d.type,
                    static_cast<int>(d.port), d.host);
    }
    for (const FixedLine &line : kLocalFiles) out.appendf("%s%s%s\n", line.selector, kTab3, line.action);
    for (const char *sev : kSeverities) out.appendf("*.=%s%s%s/extlog/%s.log\n", sev, kLocalFacilitiesNone, kTab3, sev);
}

void tlsBlock(int protocol, ConfigText &out) {
    if (protocol == kProtocolTlsOneWay) {
        out.append("$DefaultNetstreamDriverCAFile\t\t\t/conf/syslog-ca.pem\n"
                   "$DefaultNetstreamDriver\t\t\tgtls\n"
                   "$ActionSendStreamDriverMode\t\t\t1\n"
                   "$ActionSendStreamDriverAuthMode\t\t\tanon\n");
    } else if (protocol == kProtocolTlsTwoWay) {
        out.append("$DefaultNetstreamDriverCAFile\t\t\t/conf/syslog-ca.pem\n"
                   "$DefaultNetstreamDriverCertFile\t\t\t/conf/syslog-cert.pem\n"
                   "$DefaultNetstreamDriverKeyFile\t\t\t/conf/syslog-priv.pem\n"
                   "$DefaultNetstreamDriver\t\t\t\tgtls\n"
                   "$ActionSendStreamDriverMode\t\t\t1\n"
                   "$ActionSendStreamDriverAuthMode\t\t\tx509/name\n"
                   "$ActionSendStreamDriverPermittedPeer\t\t*\n");
    }
}

void destinationBlock(const SyslogConfig &c, ConfigText &out) {
    const char *prefix = c.protocol == kProtocolUdp ? "@" : "@@";
    char address[kDestCount][kAddressMax + 1];
    Selectors sel[kDestCount];
    for (std::size_t i = 0; i < kDestCount; ++i) {
        const Destination &d = c.dest[i];
        // Cut at 79 characters, as the writer has always done.
        std::snprintf(address[i], sizeof address[i], "%s[%s]:%d", prefix, d.host, static_cast<int>(d.port));
        sel[i] = selectorsFor(c, i);
    }
    for (std::size_t i = 0; i < kDestCount; ++i) {
        out.appendf("%s%s%s\n", sel[i].audit.text, kTab3, address[i]);
        out.appendf("%s%s%s\n", sel[i].idl.text, kTab3, address[i]);
    }
    out.append("#TEST_FUNC\n");
    for (std::size_t i = 0; i < kDestCount; ++i) out.appendf("%s%s%s\n", sel[i].test, kTab3, address[i]);
}

ConfigText configText(const SyslogConfig &c) {
    ConfigText out;
    if (c.syslog != kSyslogDisabled && c.protocol > kProtocolTlsTwoWay) return out;
    baseBlock(c, out);
    if (c.syslog == kSyslogDisabled) return out;
    tlsBlock(c.protocol, out);
    destinationBlock(c, out);
    return out;
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
        if (n >= 5 && host[0] != '\0') d.setHost(std::string_view(host, strnlen(host, kHostTextMax)));
    }
}

}  // namespace qrx::config::syslog
