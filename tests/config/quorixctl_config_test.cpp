// quorixctl syslog, validate and md5 as an operator runs them.
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "quorix_test.h"

namespace {

using CtlRun = qtest::CommandRun;

CtlRun quorixctl(const std::string &args) { return qtest::runCommand(qtest::programCommand(QUORIXCTL_PATH) + " " + args); }

class ConsoleConfig : public qtest::BoundTest {
protected:
    void TearDown() override {
        EXPECT_EQ(std::system("/etc/init.d/rsyslog stop >/dev/null 2>&1"), 0);
        BoundTest::TearDown();
    }
};

TEST_F(ConsoleConfig, SyslogSetBuildsRequestsAndNamesCompletionCodes) {
    CtlRun run = quorixctl("syslog set globals --syslog on --level Critical --protocol tcp");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "request: 00 02 00 02 01\ncompletion code 0x00 (success)\n");
    EXPECT_EQ(qtest::blockBytes(0x621E01, 4), (std::vector<unsigned char>{2, 0, 2, 1}));

    run = quorixctl("syslog set dest 1 --enable on --type Audit --host 10.0.0.9 --port 0x1234");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out.rfind("request: 01 01 01 02 31 30 2e 30 2e 30 2e 39 00", 0), 0u) << run.out;
    EXPECT_NE(run.out.find(" 00 00 12 34\ncompletion code 0x00 (success)\n"), std::string::npos) << run.out;

    run = quorixctl("syslog set dest 2 --host nodots");
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.out.find("completion code 0xCC (invalid data field)\n"), std::string::npos) << run.out;
    run = quorixctl("syslog set test 0");
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "request: 02 00\ncompletion code 0xD5 (not allowed in the present state)\n");
    run = quorixctl("syslog set dest 7");
    EXPECT_NE(run.out.find("\ncompletion code 0xC9 (parameter out of range)\n"), std::string::npos) << run.out;
    EXPECT_EQ(quorixctl("syslog set globals --level loud").status, 2);

    run = quorixctl("syslog get");
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.out.find("remote syslog: enabled\n"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("level:         Critical\nprotocol:      TCP\n"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("dest 1: enabled  type Audit        host 10.0.0.9"), std::string::npos) << run.out;
}

TEST_F(ConsoleConfig, ValidateAndMd5) {
    CtlRun run = quorixctl("validate username 1abc");
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "The first character in the username cannot be a numeric.\ninvalid\n");
    EXPECT_EQ(quorixctl("validate username john.doe --mode smtp-user").out, "valid\n");
    EXPECT_EQ(quorixctl("validate email 'a@b'").status, 0);
    EXPECT_EQ(quorixctl("validate ipv4 10.1.2").status, 1);
    EXPECT_EQ(quorixctl("validate ipv6 fe80::1").status, 0);
    EXPECT_EQ(quorixctl("validate domain host.1").status, 1);
    EXPECT_EQ(quorixctl("validate password abcDEF123").out, "valid\n");
    EXPECT_EQ(quorixctl("validate shoesize 42").status, 2);

    qtest::writeFile("/tmp/fox.txt", "The quick brown fox jumps over the lazy dog");
    run = quorixctl("md5 /tmp/fox.txt");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "9e107d9d372bb6826bd81d3542a419d6  /tmp/fox.txt\n");
    EXPECT_EQ(quorixctl("md5 /tmp/missing").status, 1);
}

}  // namespace
