// Saving onto a full "/conf" (a small tmpfs in this test's sandbox): the
// handlers answer 0xFF with the block changed, and the previous file stays
// whole, with no temporary file left behind.
#include <dirent.h>
#include <fcntl.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "svc_test_util.h"

namespace {

using namespace svctest;

std::vector<std::string> confEntries() {
    std::vector<std::string> names;
    DIR *d = opendir("/conf");
    if (d == nullptr) return names;
    while (dirent *e = readdir(d))
        if (e->d_name[0] != '.') names.emplace_back(e->d_name);
    closedir(d);
    std::sort(names.begin(), names.end());
    return names;
}

class FullConf : public qtest::BoundTest {
protected:
    // Fills "/conf" until the file system refuses more.
    void fill() {
        // Only ever fill the small file system this test is registered with.
        struct statvfs fs {};
        ASSERT_EQ(statvfs("/conf", &fs), 0);
        ASSERT_LE(static_cast<unsigned long long>(fs.f_blocks) * fs.f_frsize, 1ull << 20) << "run with --small-conf";
        int fd = open("/conf/filler", O_WRONLY | O_CREAT | O_TRUNC, 0600);
        ASSERT_GE(fd, 0);
        std::vector<char> chunk(512, 'x');
        while (write(fd, chunk.data(), chunk.size()) > 0) {
        }
        close(fd);
    }
    void TearDown() override {
        unlink("/conf/filler");
        BoundTest::TearDown();
    }
};

TEST_F(FullConf, SnmpTrap_FailedSaveKeepsPreviousFile) {
    ASSERT_EQ(QuorixSetBMCSnmpTrapCfgInterface(Bytes{0, 1, 1}.data(), 3), 0u);
    const std::string previous = qtest::readFile("/conf/SnmpTrapCfg.json");
    ASSERT_NE(previous.find("\"EventLevelLimit\":1"), std::string::npos);
    fill();
    EXPECT_EQ(QuorixSetBMCSnmpTrapCfgInterface(Bytes{0, 1, 2}.data(), 3), 0xFFu);
    EXPECT_EQ(qtest::blockBytes(0x621D4E + 1, 1), Bytes{2});
    EXPECT_EQ(qtest::readFile("/conf/SnmpTrapCfg.json"), previous);
    EXPECT_EQ(confEntries(), (std::vector<std::string>{"SnmpTrapCfg.json", "filler"}));
}

TEST_F(FullConf, Smtp_FailedSaveKeepsPreviousFile) {
    ASSERT_EQ(QuorixSetBMCSmtpCfgInterface(Bytes{0, 14, 1}.data(), 3), 0u);
    const std::string previous = qtest::readFile("/conf/SmtpCfg.json");
    fill();
    EXPECT_EQ(QuorixSetBMCSmtpCfgInterface(Bytes{0, 14, 2}.data(), 3), 0xFFu);
    EXPECT_EQ(qtest::blockBytes(0x621F91 + 267, 1), Bytes{2});
    EXPECT_EQ(qtest::readFile("/conf/SmtpCfg.json"), previous);
    EXPECT_EQ(confEntries(), (std::vector<std::string>{"SmtpCfg.json", "filler"}));
}

TEST_F(FullConf, SnmpAgent_FailedSaveKeepsPreviousFile) {
    ASSERT_EQ(QuorixSetBMCSnmpCfgInterface(Bytes{0, 1}.data(), 2, nullptr, 0), 0u);
    const std::string previous = qtest::readFile("/conf/SnmpAgentCfg.json");
    fill();
    EXPECT_EQ(QuorixSetBMCSnmpCfgInterface(Bytes{1, 1}.data(), 2, nullptr, 0), 0xFFu);
    EXPECT_EQ(qtest::blockBytes(0x6221E9, 2), (Bytes{1, 1}));
    EXPECT_EQ(qtest::readFile("/conf/SnmpAgentCfg.json"), previous);
    // Unchanged but forced by the save flag: the same failure.
    EXPECT_EQ(QuorixSetBMCSnmpCfgInterface(Bytes{1, 1}.data(), 2, nullptr, 1), 0xFFu);
    EXPECT_EQ(confEntries(), (std::vector<std::string>{"SnmpAgentCfg.json", "filler"}));
}

}  // namespace
