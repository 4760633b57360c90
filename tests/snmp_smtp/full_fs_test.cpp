// Saving onto a full "/conf" (a small tmpfs in this test's sandbox): the
// handlers answer 0xFF with the block changed, and the previous file stays
// whole, with no temporary file left behind.
#include <fcntl.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "svc_test_util.h"

namespace {

using namespace svctest;

using FullConf = qtest::FullConfTest;

TEST_F(FullConf, SnmpTrap_FailedSaveKeepsPreviousFile) {
    ASSERT_EQ(QuorixSetBMCSnmpTrapCfgInterface(Bytes{0, 1, 1}.data(), 3), 0u);
    const std::string previous = qtest::readFile("/conf/SnmpTrapCfg.json");
    ASSERT_NE(previous.find("\"EventLevelLimit\":1"), std::string::npos);
    fillConf();
    EXPECT_EQ(QuorixSetBMCSnmpTrapCfgInterface(Bytes{0, 1, 2}.data(), 3), 0xFFu);
    EXPECT_EQ(qtest::blockBytes(0x621D4E + 1, 1), Bytes{2});
    EXPECT_EQ(qtest::readFile("/conf/SnmpTrapCfg.json"), previous);
    EXPECT_EQ(qtest::directoryEntries("/conf"), (std::vector<std::string>{"SnmpTrapCfg.json", "filler"}));
}

TEST_F(FullConf, Smtp_FailedSaveKeepsPreviousFile) {
    ASSERT_EQ(QuorixSetBMCSmtpCfgInterface(Bytes{0, 14, 1}.data(), 3), 0u);
    const std::string previous = qtest::readFile("/conf/SmtpCfg.json");
    fillConf();
    EXPECT_EQ(QuorixSetBMCSmtpCfgInterface(Bytes{0, 14, 2}.data(), 3), 0xFFu);
    EXPECT_EQ(qtest::blockBytes(0x621F91 + 267, 1), Bytes{2});
    EXPECT_EQ(qtest::readFile("/conf/SmtpCfg.json"), previous);
    EXPECT_EQ(qtest::directoryEntries("/conf"), (std::vector<std::string>{"SmtpCfg.json", "filler"}));
}

TEST_F(FullConf, SnmpAgent_FailedSaveKeepsPreviousFile) {
    ASSERT_EQ(QuorixSetBMCSnmpCfgInterface(Bytes{0, 1}.data(), 2, nullptr, 0), 0u);
    const std::string previous = qtest::readFile("/conf/SnmpAgentCfg.json");
    fillConf();
    EXPECT_EQ(QuorixSetBMCSnmpCfgInterface(Bytes{1, 1}.data(), 2, nullptr, 0), 0xFFu);
    EXPECT_EQ(qtest::blockBytes(0x6221E9, 2), (Bytes{1, 1}));
    EXPECT_EQ(qtest::readFile("/conf/SnmpAgentCfg.json"), previous);
    // Unchanged but forced by the save flag: the same failure.
    EXPECT_EQ(QuorixSetBMCSnmpCfgInterface(Bytes{1, 1}.data(), 2, nullptr, 1), 0xFFu);
    EXPECT_EQ(qtest::directoryEntries("/conf"), (std::vector<std::string>{"SnmpAgentCfg.json", "filler"}));
}

}  // namespace
