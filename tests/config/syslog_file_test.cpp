// Text of "/conf/syslog.conf": whole against a golden copy, variants against each other, header parse.
#include "config/syslog/syslog_file.h"

#include <cstdlib>
#include <string>

#include "quorix_test.h"

namespace {

using namespace qrx::config::syslog;

Destination dest(int enable, int type, const std::string &host, std::uint32_t port) {
    Destination d{static_cast<std::uint8_t>(enable), static_cast<std::uint8_t>(type), "", port};
    d.setHost(host);
    return d;
}
SyslogConfig config(int protocol, int level, int enable = 1, int type = 2, std::uint32_t port = 514) {
    SyslogConfig c;
    c.syslog = 2, c.protocol = static_cast<std::uint8_t>(protocol), c.level = static_cast<std::uint8_t>(level);
    c.dest[0] = dest(enable, type, "h", port);
    return c;
}
std::string text(void (*block)(const SyslogConfig &, ConfigText &), const SyslogConfig &c) {
    ConfigText t;
    block(c, t);
    return std::string(t.view());
}
std::string whole(const SyslogConfig &c) { return std::string(configText(c).view()); }

TEST(SyslogFileText, TwoWayTlsWithATestTargetLineForLine) {
    SyslogConfig c = config(3, 2);
    c.dest[2].setHost("::1");
    c.testTarget = 2;
    EXPECT_GOLDEN("syslog_two_way_tls.conf", whole(c));
}

TEST(SyslogFileText, BlocksFollowEachOtherByProtocol) {
    const std::string oneWay =
        "$DefaultNetstreamDriverCAFile\t\t\t/conf/syslog-ca.pem\n$DefaultNetstreamDriver\t\t\tgtls\n"
        "$ActionSendStreamDriverMode\t\t\t1\n$ActionSendStreamDriverAuthMode\t\t\tanon\n";
    const struct { int protocol; std::string tls, forward; } cases[] = {
        {0, "", "local1.crit,local1.alert\t\t\t@[h]:514\n"}, {1, "", "local1.crit,local1.alert\t\t\t@@[h]:514\n"},
        {2, oneWay, "local1.crit,local1.alert\t\t\t@@[h]:514\n"}};
    for (const auto &k : cases) {
        const SyslogConfig c = config(k.protocol, 2);
        EXPECT_EQ(whole(c), text(baseBlock, c) + k.tls + text(destinationBlock, c)) << k.protocol;
        EXPECT_EQ(text(destinationBlock, c).rfind(k.forward, 0), 0u) << k.protocol;
    }
    EXPECT_EQ(whole(config(4, 2)), "") << "unknown transport";
    SyslogConfig disabled = config(1, 2);
    disabled.syslog = 1;
    EXPECT_EQ(whole(disabled), text(baseBlock, disabled)) << "remote syslog disabled: the base block only";
}

TEST(SyslogFileText, SelectorsPerLevelAndType) {
    const struct { int level, enable, type; const char *audit, *idl; } cases[] = {
        {0, 1, 3, "local1.info,local1.warn,local1.crit,local1.alert", "local4.info,local4.warn,local4.crit,local4.alert"},
        {1, 1, 1, "# local1.warn,local1.crit,local1.alert", "local4.warn,local4.crit,local4.alert"},
        {3, 1, 2, "local1.alert", "# local4.alert"}, {3, 0, 3, "# local1.alert", "# local4.alert"}, {1, 1, 0, "#", "#"},
        {1, 0, 0, "#", "#"}, {1, 1, 7, "#", "#"}, {4, 1, 3, "#", "#"}, {1, 1, 4, "#", "#"}};
    for (const auto &k : cases) {
        const std::string address = "\t\t\t@@[h]:4660\n", lines = std::string(k.audit) + address + k.idl + address;
        EXPECT_NE(text(destinationBlock, config(1, k.level, k.enable, k.type, 0x1234)).find(lines), std::string::npos)
            << k.level << "/" << k.enable << "/" << k.type;
    }
}

TEST(SyslogHeaderParse, TakesOnlyTheValuesStartUpAccepts) {
    const struct { const char *line; int syslog, tag, level, protocol, tagSeen; } cases[] = {
        {"#SYSLOG=2,TAG=2,LEVEL=3,PROTOCAL=3", 2, 2, 3, 3, 2},
        {"#SYSLOG=2,TAG=0,LEVEL=0,PROTOCAL=0", 2, 9, 0, 9, 0},  // 0 of TAG and PROTOCAL not taken
        {"#SYSLOG=3,TAG=5,LEVEL=4,PROTOCAL=4", 9, 9, 9, 9, 5},
        {"#SYSLOG=1,TAG=1,LEVEL=-1,PROTOCAL=2", 1, 1, 255, 2, 1},  // LEVEL compared signed
        {"#SYSLOG=garbage", 9, 9, 9, 9, -7}, {"#TEST_FUNC", 9, 9, 9, 9, -7}, {"local7.*\t\t\t@[h]:514", 9, 9, 9, 9, -7}};
    for (const auto &k : cases) {
        SyslogConfig c;
        c.syslog = c.tag = c.level = c.protocol = 9;
        int tagSeen = -7;
        applyHeaderLine(k.line, c, tagSeen);
        EXPECT_EQ((std::vector<int>{c.syslog, c.tag, c.level, c.protocol, tagSeen}),
                  (std::vector<int>{k.syslog, k.tag, k.level, k.protocol, k.tagSeen})) << k.line;
    }
    SyslogConfig c;  // destinations: out-of-range values are not taken, a line cut after its enable still sets it
    int tagSeen = 0;
    for (const char *line : {"#DEST2=1,TYPE=1,PORT=6514,HOSTNAME=log.example.com", "#DEST1=2,TYPE=4,PORT=65535,HOSTNAME=x",
                             "#DEST4=1,TYPE=1,PORT=1,HOSTNAME=y", "#DEST0=1", "#DEST3=0,TYPE=0,PORT=0,HOSTNAME=z"})
        applyHeaderLine(line, c, tagSeen);
    EXPECT_EQ(std::vector<Destination>(c.dest, c.dest + kDestCount),
              (std::vector<Destination>{dest(1, 3, "", 514), dest(0, 3, "x", 514), dest(1, 1, "log.example.com", 6514), dest(0, 0, "z", 514)}));
}

}  // namespace

// rsyslogd's own check of every variant the writer produces; an empty file
// (unknown transport) is checked as the main configuration includes it.
TEST(SyslogFileText, RsyslogdAcceptsEveryProtocolLevelAndTestTarget) {
    // The certificates come from another component on the board.
    ASSERT_EQ(std::system("openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj /CN=bmc -keyout "
                          "/conf/syslog-priv.pem -out /conf/syslog-cert.pem >/dev/null 2>&1 && "
                          "cp /conf/syslog-cert.pem /conf/syslog-ca.pem"), 0);
    qtest::writeFile("/tmp/rsyslog-main.conf", "*.emerg\t:omusrmsg:*\n$IncludeConfig /tmp/rsyslog-check.conf\n");
    for (int protocol = 0; protocol <= 4; ++protocol)
        for (int level = 0; level <= 4; ++level)
            for (int target : {0, 3, 255}) {
                SyslogConfig c = config(protocol, level, target != 0, target == 3 ? 3 : 2);
                c.dest[1] = dest(1, 1, "::1", 0), c.dest[2] = dest(1, 3, "localhost.localdomain", 65535);
                c.testTarget = static_cast<std::uint8_t>(target);
                qtest::writeFile("/tmp/rsyslog-check.conf", whole(c));
                const qtest::CommandRun run = qtest::runCommand("rsyslogd -N1 -f /tmp/rsyslog-main.conf");
                const bool complaint = run.out.find("error") != std::string::npos || run.out.find("warning") != std::string::npos;
                EXPECT_TRUE(run.status == 0 && !complaint) << run.out << whole(c);
            }
}
