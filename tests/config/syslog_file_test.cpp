// Text of "/conf/syslog.conf": exact lines, and every variant the writer can
// produce accepted by the real rsyslogd.
#include "config/syslog/syslog_file.h"

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "quorix_test.h"

namespace {

using namespace qrx::config::syslog;

Destination destination(std::uint8_t enable, std::uint8_t type, const std::string &host, std::uint32_t port) {
    Destination d;
    d.enable = enable;
    d.type = type;
    d.setHost(host);
    d.port = port;
    return d;
}
std::string str(const ConfigText &t) {
    return std::string(t.view());
}
std::string baseText(const SyslogConfig &c) {
    ConfigText t;
    baseBlock(c, t);
    return str(t);
}
std::string destText(const SyslogConfig &c) {
    ConfigText t;
    destinationBlock(c, t);
    return str(t);
}

const std::string kBaseTail =
    "local1.*\t\t\t/extlog/audit.log\n"
    "local3.*\t\t\t/extlog/extended.log\n"
    "local4.*\t\t\t/extlog/idl.log\n"
    "local5.*\t\t\t/extlog/quorix_debug.log\n"
    "local6.*\t\t\t/extlog/maintenance.log\n"
    "local7.*\t\t\t/var/log/test.log\n"
    "*.=info;local1.none\t\t\t@127.0.0.1\n"
    "*.=debug;local1.none;local3.none;local4.none;local5.none;local6.none\t\t\t/extlog/debug.log\n"
    "*.=info;local1.none;local3.none;local4.none;local5.none;local6.none\t\t\t/extlog/info.log\n"
    "*.=notice;local1.none;local3.none;local4.none;local5.none;local6.none\t\t\t/extlog/notice.log\n"
    "*.=warning;local1.none;local3.none;local4.none;local5.none;local6.none\t\t\t/extlog/warning.log\n"
    "*.=err;local1.none;local3.none;local4.none;local5.none;local6.none\t\t\t/extlog/err.log\n"
    "*.=crit;local1.none;local3.none;local4.none;local5.none;local6.none\t\t\t/extlog/crit.log\n"
    "*.=alert;local1.none;local3.none;local4.none;local5.none;local6.none\t\t\t/extlog/alert.log\n"
    "*.=emerg;local1.none;local3.none;local4.none;local5.none;local6.none\t\t\t/extlog/emerg.log\n";

SyslogConfig udpLevel2() {
    SyslogConfig c;
    c.syslog = 2;
    c.level = 2;
    c.protocol = 0;
    c.dest[0].enable = 1;
    c.dest[0].type = 2;
    c.dest[0].setHost("h");
    return c;
}

TEST(SyslogFileText, UdpLevel2AuditDestinationLineForLine) {
    const std::string expected =
        "#SYSLOG=2,TAG=0,LEVEL=2,PROTOCAL=0\n"
        "#DEST0=1,TYPE=2,PORT=514,HOSTNAME=h\n"
        "#DEST1=0,TYPE=3,PORT=514,HOSTNAME=\n"
        "#DEST2=0,TYPE=3,PORT=514,HOSTNAME=\n"
        "#DEST3=0,TYPE=3,PORT=514,HOSTNAME=\n" +
        kBaseTail +
        "local1.crit,local1.alert\t\t\t@[h]:514\n"
        "# local4.crit,local4.alert\t\t\t@[h]:514\n"
        "# local1.crit,local1.alert\t\t\t@[]:514\n"
        "# local4.crit,local4.alert\t\t\t@[]:514\n"
        "# local1.crit,local1.alert\t\t\t@[]:514\n"
        "# local4.crit,local4.alert\t\t\t@[]:514\n"
        "# local1.crit,local1.alert\t\t\t@[]:514\n"
        "# local4.crit,local4.alert\t\t\t@[]:514\n"
        "#TEST_FUNC\n"
        "# local7.*\t\t\t@[h]:514\n"
        "# local7.*\t\t\t@[]:514\n"
        "# local7.*\t\t\t@[]:514\n"
        "# local7.*\t\t\t@[]:514\n";
    EXPECT_EQ(str(configText(udpLevel2())), expected);
}

TEST(SyslogFileText, DisabledSyslogWritesTheBaseBlockOnly) {
    SyslogConfig c = udpLevel2();
    c.syslog = 1;
    c.protocol = 1;
    EXPECT_EQ(str(configText(c)),
              "#SYSLOG=1,TAG=0,LEVEL=2,PROTOCAL=1\n"
              "#DEST0=1,TYPE=2,PORT=514,HOSTNAME=h\n"
              "#DEST1=0,TYPE=3,PORT=514,HOSTNAME=\n"
              "#DEST2=0,TYPE=3,PORT=514,HOSTNAME=\n"
              "#DEST3=0,TYPE=3,PORT=514,HOSTNAME=\n" +
                  kBaseTail);
}

TEST(SyslogFileText, SelectorsPerLevelAndType) {
    const struct {
        int level, enable, type;
        const char *audit, *idl;
    } cases[] = {
        {0, 1, 3, "local1.info,local1.warn,local1.crit,local1.alert",
         "local4.info,local4.warn,local4.crit,local4.alert"},
        {1, 1, 1, "# local1.warn,local1.crit,local1.alert", "local4.warn,local4.crit,local4.alert"},
        {3, 1, 2, "local1.alert", "# local4.alert"},
        {3, 0, 3, "# local1.alert", "# local4.alert"},
        {1, 1, 0, "#", "#"},
        {1, 0, 0, "#", "#"},
        {1, 1, 7, "#", "#"},
        {4, 1, 3, "#", "#"},
    };
    for (const auto &k : cases) {
        SyslogConfig c;
        c.syslog = 2;
        c.protocol = 1;
        c.level = static_cast<std::uint8_t>(k.level);
        c.dest[1].enable = static_cast<std::uint8_t>(k.enable);
        c.dest[1].type = static_cast<std::uint8_t>(k.type);
        c.dest[1].setHost("10.1.2.3");
        c.dest[1].port = 0x1234;
        const std::string text = destText(c);
        const std::string address = "\t\t\t@@[10.1.2.3]:4660\n";
        EXPECT_NE(text.find(std::string(k.audit) + address + k.idl + address), std::string::npos)
            << k.level << "/" << k.enable << "/" << k.type << "\n"
            << text;
    }
}

TEST(SyslogFileText, TestTargetActivatesItsLocal7Line) {
    SyslogConfig c = udpLevel2();
    c.dest[2].setHost("::1");
    c.testTarget = 2;
    const std::string text = destText(c);
    EXPECT_NE(text.find("#TEST_FUNC\n# local7.*\t\t\t@[h]:514\n# local7.*\t\t\t@[]:514\nlocal7.*\t\t\t@[::1]:514\n"
                        "# local7.*\t\t\t@[]:514\n"),
              std::string::npos)
        << text;
    c.testTarget = 4;
    EXPECT_EQ(destText(c).find("\nlocal7.*"), std::string::npos);
}

TEST(SyslogFileText, TlsBlocksSitBetweenBaseAndDestinations) {
    SyslogConfig c = udpLevel2();
    c.protocol = 2;
    const std::string oneWay =
        "$DefaultNetstreamDriverCAFile\t\t\t/conf/syslog-ca.pem\n"
        "$DefaultNetstreamDriver\t\t\tgtls\n"
        "$ActionSendStreamDriverMode\t\t\t1\n"
        "$ActionSendStreamDriverAuthMode\t\t\tanon\n";
    EXPECT_EQ(str(configText(c)), baseText(c) + oneWay + destText(c));
    EXPECT_NE(destText(c).find("local1.crit,local1.alert\t\t\t@@[h]:514\n"), std::string::npos);
    c.protocol = 3;
    const std::string twoWay =
        "$DefaultNetstreamDriverCAFile\t\t\t/conf/syslog-ca.pem\n"
        "$DefaultNetstreamDriverCertFile\t\t\t/conf/syslog-cert.pem\n"
        "$DefaultNetstreamDriverKeyFile\t\t\t/conf/syslog-priv.pem\n"
        "$DefaultNetstreamDriver\t\t\t\tgtls\n"
        "$ActionSendStreamDriverMode\t\t\t1\n"
        "$ActionSendStreamDriverAuthMode\t\t\tx509/name\n"
        "$ActionSendStreamDriverPermittedPeer\t\t*\n";
    EXPECT_EQ(str(configText(c)), baseText(c) + twoWay + destText(c));
    c.protocol = 4;
    EXPECT_EQ(str(configText(c)), "");
}

TEST(SyslogHeaderParse, TakesOnlyTheValuesStartUpAccepts) {
    const struct {
        const char *line;
        int syslog, tag, level, protocol, tagSeen;
    } cases[] = {
        {"#SYSLOG=2,TAG=2,LEVEL=3,PROTOCAL=3", 2, 2, 3, 3, 2},
        {"#SYSLOG=2,TAG=0,LEVEL=0,PROTOCAL=0", 2, 9, 0, 9, 0},  // 0 of TAG and PROTOCAL not taken
        {"#SYSLOG=3,TAG=5,LEVEL=4,PROTOCAL=4", 9, 9, 9, 9, 5},
        {"#SYSLOG=1,TAG=1,LEVEL=-1,PROTOCAL=2", 1, 1, 255, 2, 1},  // LEVEL compared signed
        {"#SYSLOG=garbage", 9, 9, 9, 9, -7},
    };
    for (const auto &k : cases) {
        SyslogConfig c;
        c.syslog = c.tag = c.level = c.protocol = 9;
        int tagSeen = -7;
        applyHeaderLine(k.line, c, tagSeen);
        EXPECT_EQ(c.syslog, k.syslog) << k.line;
        EXPECT_EQ(c.tag, k.tag) << k.line;
        EXPECT_EQ(c.level, k.level) << k.line;
        EXPECT_EQ(c.protocol, k.protocol) << k.line;
        EXPECT_EQ(tagSeen, k.tagSeen) << k.line;
    }
}

TEST(SyslogHeaderParse, DestinationLines) {
    SyslogConfig c;
    int tagSeen = 0;
    applyHeaderLine("#DEST2=1,TYPE=1,PORT=6514,HOSTNAME=log.example.com", c, tagSeen);
    EXPECT_EQ(c.dest[2], (Destination{1, 1, "log.example.com", 6514}));
    applyHeaderLine("#DEST1=2,TYPE=4,PORT=65535,HOSTNAME=", c, tagSeen);
    EXPECT_EQ(c.dest[1], (Destination{0, 3, "", 514}));
    applyHeaderLine("#DEST1=0,TYPE=0,PORT=0,HOSTNAME=x", c, tagSeen);
    EXPECT_EQ(c.dest[1], (Destination{0, 0, "x", 514}));
    applyHeaderLine("#DEST4=1,TYPE=1,PORT=1,HOSTNAME=y", c, tagSeen);
    applyHeaderLine("#DEST-1=1,TYPE=1,PORT=1,HOSTNAME=y", c, tagSeen);
    EXPECT_EQ(c.dest[3], Destination{});
    EXPECT_EQ(c.dest[0], Destination{});
    const std::string longHost(60, 'a');
    applyHeaderLine(("#DEST3=1,TYPE=2,PORT=65534,HOSTNAME=" + longHost).c_str(), c, tagSeen);
    EXPECT_EQ(c.dest[3], destination(1, 2, std::string(46, 'a'), 65534));
    // A line cut after its enable still sets it.
    applyHeaderLine("#DEST0=1", c, tagSeen);
    EXPECT_EQ(c.dest[0], (Destination{1, 3, "", 514}));
    applyHeaderLine("local7.*\t\t\t@[h]:514", c, tagSeen);
    applyHeaderLine("#TEST_FUNC", c, tagSeen);
    EXPECT_EQ(tagSeen, 0);
}

// rsyslogd's own validation run; returns its output when it reports a problem.
// An empty file (unknown transport) adds nothing: it is checked as the main
// configuration includes it, beside that configuration's own action.
std::string rsyslogComplaints(const std::string &text) {
    const std::string path = "/tmp/rsyslog-check.conf";
    std::string checked = path;
    qtest::writeFile(path, text);
    if (text.empty()) {
        checked = "/tmp/rsyslog-main.conf";
        qtest::writeFile(checked, "*.emerg\t:omusrmsg:*\n$IncludeConfig " + path + "\n");
    }
    std::unique_ptr<FILE, int (*)(FILE *)> p(popen(("rsyslogd -N1 -f " + checked + " 2>&1").c_str(), "r"), pclose);
    std::string out;
    char buf[512];
    while (p && std::fgets(buf, sizeof buf, p.get()) != nullptr) out += buf;
    const int status = pclose(p.release());
    if (status != 0 || out.find("error") != std::string::npos || out.find("warning") != std::string::npos)
        return out.empty() ? "exit status " + std::to_string(status) : out;
    return "";
}

class RsyslogAccepts : public qtest::BoundTest {
protected:
    void SetUp() override {
        BoundTest::SetUp();
        // The certificate files come from another component on the board.
        ASSERT_EQ(std::system("openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj /CN=quorix-bmc "
                              "-keyout /conf/syslog-priv.pem -out /conf/syslog-cert.pem >/dev/null 2>&1"),
                  0);
        qtest::writeFile("/conf/syslog-ca.pem", qtest::readFile("/conf/syslog-cert.pem"));
    }
};

TEST_F(RsyslogAccepts, EveryProtocolLevelTypeAndTestTarget) {
    const char *hosts[] = {"127.0.0.1", "::1", "localhost.localdomain", ""};
    const std::uint32_t ports[] = {514, 0, 65535, 6514};
    int checked = 0;
    for (int syslog : {1, 2}) {
        for (int protocol = 0; protocol <= 4; ++protocol) {
            for (int level = 0; level <= 4; ++level) {
                for (int enable : {0, 1}) {
                    for (int target : {0, 3, 4, 255}) {
                        if (syslog == 1 && (enable == 1 || target != 255)) continue;  // base block only
                        SyslogConfig c;
                        c.syslog = static_cast<std::uint8_t>(syslog);
                        c.protocol = static_cast<std::uint8_t>(protocol);
                        c.level = static_cast<std::uint8_t>(level);
                        c.testTarget = static_cast<std::uint8_t>(target);
                        for (std::size_t i = 0; i < kDestCount; ++i) {
                            c.dest[i] = destination(static_cast<std::uint8_t>(enable), static_cast<std::uint8_t>(i), hosts[i],
                                                    ports[i]);
                        }
                        const std::string text = str(configText(c));
                        EXPECT_EQ(rsyslogComplaints(text), "") << text;
                        ++checked;
                    }
                }
            }
        }
    }
    EXPECT_GT(checked, 200);
}

}  // namespace
