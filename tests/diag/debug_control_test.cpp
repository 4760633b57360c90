// The control-file queries, the module-area loader and the word tables.
#include <climits>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "quorix_test.h"

namespace {

using qtest::touchControl;

class DebugControl : public qtest::BoundTest {
protected:
    void SetUp() override {
        BoundTest::SetUp();
        std::filesystem::create_directories(qtest::kControlDir);
    }
};

TEST_F(DebugControl, LevelAndPath_FirstPresentInTestingOrderWins) {
    struct Case {
        std::vector<std::string> files;
        int level;
        int path;
    } cases[] = {
        {{}, -1, -1},
        {{"LEVEL_CRITICAL", "PATH_BOTH"}, 3, 2},
        {{"LEVEL_ERROR", "LEVEL_CRITICAL", "PATH_LOG", "PATH_BOTH"}, 2, 1},
        {{"LEVEL_WARNING", "LEVEL_CRITICAL", "PATH_SERIAL", "PATH_BOTH"}, 1, 0},
        {{"LEVEL_WARNING", "LEVEL_INFO", "PATH_LOG"}, 0, 1},
        {{"ENABLE_IPMI", "LEVEL_info", "PATH_Serial"}, -1, -1},
    };
    for (const auto &c : cases) {
        qtest::clearDirectory(qtest::kControlDir);
        for (const auto &f : c.files) touchControl({f});
        EXPECT_EQ(GetDebugEanleLevel(), c.level) << testing::PrintToString(c.files);
        EXPECT_EQ(GetDebugEanlePath(), c.path) << testing::PrintToString(c.files);
    }
}

// Filled slots: the name, zero to byte 14, byte 15 untouched; the other
// slots untouched. 0xAB shows what was written.
TEST_F(DebugControl, LoadDebugSource_FillsSlotsInDirectoryOrder) {
    touchControl({"LEVEL_INFO", "PATH_LOG", "ENABLE_IPMI", "ENABLE_QRXPWOFFPRO", "ENABLE_ABCDEFGHIJKLMNOPQRST",
                  "ENABLE_", "enable_DEV", "README"});
    auto order = qtest::enabledInDirectoryOrder();
    ASSERT_EQ(order.size(), 4u);

    std::vector<char> expected(256, '\xAB');
    for (std::size_t i = 0; i < order.size(); ++i) {
        std::string name = order[i].substr(0, 15);
        std::memset(&expected[i * 16], 0, 15);
        std::memcpy(&expected[i * 16], name.data(), name.size());
    }
    std::vector<char> slots(256, '\xAB');
    EXPECT_EQ(LoadDebugSource(slots.data()), 0);
    EXPECT_EQ(slots, expected);
}

TEST_F(DebugControl, LoadDebugSource_StopsAfter16) {
    for (int i = 0; i < 17; ++i) touchControl({"ENABLE_M" + std::to_string(i)});
    auto order = qtest::enabledInDirectoryOrder();
    std::vector<char> slots(257, '\x5A');
    EXPECT_EQ(LoadDebugSource(slots.data()), 0);
    for (std::size_t i = 0; i < 16; ++i) EXPECT_STREQ(&slots[i * 16], order[i].c_str());
    EXPECT_EQ(slots[255], '\x5A');
    EXPECT_EQ(slots[256], '\x5A');
}

TEST_F(DebugControl, MissingDirectory_NoLevelNoPathSlotsUntouched) {
    std::filesystem::remove_all(qtest::kControlDir);
    std::vector<char> slots(256, '\x11');
    EXPECT_EQ(LoadDebugSource(slots.data()), 0);
    EXPECT_EQ(slots, std::vector<char>(256, '\x11'));
    EXPECT_EQ(GetDebugEanleLevel(), -1);
    EXPECT_EQ(GetDebugEanlePath(), -1);
}

// The path "/conf/quorix_debug/ENABLE_<name>" is cut to 63 characters: 37
// characters of the name count.
TEST_F(DebugControl, GetDebugSourceIsEnable_TestsTheSwitchFile) {
    const std::string longName = "L123456789012345678901234567890123456789012345678";
    touchControl({"ENABLE_SNMP", "ENABLE_" + longName.substr(0, 37)});
    EXPECT_EQ(GetDebugSourceIsEnable(nullptr), -1);
    EXPECT_EQ(GetDebugSourceIsEnable("SNMP"), 1);
    EXPECT_EQ(GetDebugSourceIsEnable("snmp"), 0);
    EXPECT_EQ(GetDebugSourceIsEnable("IPMI"), 0);
    EXPECT_EQ(GetDebugSourceIsEnable(longName.c_str()), 1);
    EXPECT_EQ(GetDebugSourceIsEnable(longName.substr(0, 36).c_str()), 0);
}

TEST_F(DebugControl, GetSourceIsVaild_KnownListMembershipOnly) {
    touchControl({"ENABLE_QRXDIAG"});
    struct Case {
        const char *module;
        int expected;
    } cases[] = {{"DEV", 1},     {"IPMI", 1}, {"REDFISH", 1}, {"SNMP", 1}, {"QRXMONITOR", 1}, {"CPLD", 1},
                 {"QRXDIAG", 0}, {"ipmi", 0}, {"IPMI ", 0},   {"", 0},     {"QRXPWOFFPRO", 0}};
    for (const auto &c : cases) EXPECT_EQ(GetSourceIsVaild(c.module), c.expected) << c.module;
    EXPECT_EQ(GetSourceIsVaild(nullptr), -1);

    // The exported table is consulted as it stands at the call.
    const char *saved = DebugSourceFile[0];
    DebugSourceFile[0] = "ENABLE_QRXDIAG";
    EXPECT_EQ(GetSourceIsVaild("QRXDIAG"), 1);
    EXPECT_EQ(GetSourceIsVaild("DEV"), 0);
    DebugSourceFile[0] = saved;
}

TEST(DebugTables, SyslogPriorities) {
    // Error is 7 (debug), not 3, on purpose.
    const unsigned priorities[] = {6, 4, 7, 2, 0xFFFFFFFFu, 0xFFFFFFFFu};
    const unsigned levelsIn[] = {0, 1, 2, 3, 4, UINT_MAX};
    for (int i = 0; i < 6; ++i) EXPECT_EQ(TranslateToSyslogLevel(levelsIn[i]), priorities[i]) << levelsIn[i];
}

}  // namespace
