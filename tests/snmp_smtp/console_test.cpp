// quorixctl snmp-trap, snmp-agent and smtp as an operator runs them.
#include <sys/wait.h>

#include <cstdio>
#include <string>

#include "svc_test_util.h"

namespace {

using svctest::Bytes;

using CtlRun = qtest::CommandRun;

CtlRun quorixctl(const std::string &args) { return qtest::runCommand(qtest::programCommand(QUORIXCTL_PATH) + " " + args); }

using ConsoleSnmpSmtp = qtest::BoundTest;

TEST_F(ConsoleSnmpSmtp, TrapFlagsBuildRequestsAndSecretsAreMasked) {
    CtlRun run = quorixctl("snmp-trap set --version v3 --auth-pass Secret%s1");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out,
              "request: 00 00 03\ncompletion code 0x00 (success)\n"
              "request: 00 06 53 65 63 72 65 74 25 73 31\ncompletion code 0x00 (success)\n");
    run = quorixctl("snmp-trap dest 2 --port 0x1234");
    EXPECT_EQ(run.out, "request: 01 02 02 00 00 12 34\ncompletion code 0x00 (success)\n");
    EXPECT_EQ(qtest::blockBytes(0x621C7E + 2 * 52 + 48, 4), (Bytes{0x34, 0x12, 0, 0}));
    run = quorixctl("snmp-trap show");
    EXPECT_NE(run.out.find("auth pass:      ********\n"), std::string::npos) << run.out;
    EXPECT_EQ(run.out.find("Secret"), std::string::npos) << run.out;
    run = quorixctl("snmp-trap show --secrets");
    EXPECT_NE(run.out.find("auth pass:      Secret%s1\n"), std::string::npos) << run.out;
    run = quorixctl("snmp-trap set --community public");
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.out.find("completion code 0xD5 (not allowed in the present state)\n"), std::string::npos);
}

TEST_F(ConsoleSnmpSmtp, RawRequestsAndUsage) {
    CtlRun run = quorixctl("smtp raw 00 02 19 00");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(qtest::blockBytes(0x621F91 + 48, 2), (Bytes{0x19, 0x00}));
    run = quorixctl("snmp-agent raw 0002");
    EXPECT_EQ(run.out, "request: 00 02\ncompletion code 0xC9 (parameter out of range)\n");
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(quorixctl("smtp raw xyz").status, 2);
    EXPECT_EQ(quorixctl("smtp set --port 70000").status, 2);
    EXPECT_EQ(quorixctl("snmp-agent set --bogus 1").status, 2);
}

TEST_F(ConsoleSnmpSmtp, SmtpPasswordMaskedAndAgentRestart) {
    ASSERT_EQ(quorixctl("smtp set --password Pw0rd!xyz --subject 'Two words'").status, 0);
    CtlRun run = quorixctl("smtp show");
    EXPECT_NE(run.out.find("password:       ********\n"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("subject:        Two words\n"), std::string::npos) << run.out;
    EXPECT_EQ(run.out.find("Pw0rd"), std::string::npos);
    EXPECT_NE(quorixctl("smtp show --secrets").out.find("password:       Pw0rd!xyz\n"), std::string::npos);
    run = quorixctl("snmp-agent restart");
    EXPECT_EQ(run.out, "request: ff\nSNMP RESTART!\ncompletion code 0x00 (success)\n");
}

}  // namespace
