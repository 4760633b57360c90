// The control-file queries, the module-area loader, the word tables and the
// ten debug-flag bytes at block offset 0x621F7C.
#include <cstring>
#include <filesystem>

#include "quorix_test.h"

namespace {

using qtest::touchControl;

class DebugControl : public qtest::BoundTest {
    void SetUp() override { BoundTest::SetUp(), std::filesystem::create_directories(qtest::kControlDir); }
};

// Slots of 16 in directory order: the name cut to 15, zero to byte 14, byte 15
// and the unused slots untouched; 17 switches fill 16 slots.
TEST_F(DebugControl, LoadDebugSource_FillsSlotsInDirectoryOrder) {
    char none[16] = "untouched";
    EXPECT_EQ(LoadDebugSource(none), 0) << "no control folder";
    EXPECT_EQ(std::make_pair(GetDebugEanleLevel(), GetDebugEanlePath()), std::make_pair(-1, -1));
    EXPECT_STREQ(none, "untouched");
    for (int count : {0, 3, 17}) {  // switches besides "ENABLE_" (an empty name)
        qtest::clearDirectory(qtest::kControlDir);
        touchControl({"LEVEL_INFO", "PATH_LOG", "ENABLE_", "enable_DEV", "README"});
        if (count == 3) touchControl({"ENABLE_IPMI", "ENABLE_QRXPWOFFPRO", "ENABLE_ABCDEFGHIJKLMNOPQRST"});
        for (int i = 0; count == 17 && i < 17; ++i) touchControl({"ENABLE_M" + std::to_string(i)});
        const auto order = qtest::enabledInDirectoryOrder();
        ASSERT_EQ(order.size(), static_cast<std::size_t>(count) + 1);
        std::vector<char> expected(257, '\xAB'), slots(257, '\xAB');
        for (std::size_t i = 0; i < order.size() && i < 16; ++i)
            std::copy_n((order[i] + std::string(15, '\0')).begin(), 15, expected.begin() + 16 * i);
        EXPECT_EQ(LoadDebugSource(slots.data()), 0);
        EXPECT_EQ(slots, expected) << count;
    }
}

// Switch files ("/conf/quorix_debug/ENABLE_<name>" is cut to 63 characters:
// 37 of the name count) and the known-module list as it stands at the call.
TEST_F(DebugControl, SwitchQueriesAndWordTables) {
    const std::string longName = "L123456789012345678901234567890123456789012345678";
    touchControl({"ENABLE_SNMP", "ENABLE_QRXDIAG", "ENABLE_" + longName.substr(0, 37)});
    const std::pair<std::string, int> enabled[] = {
        {"SNMP", 1}, {"snmp", 0}, {"IPMI", 0}, {longName, 1}, {longName.substr(0, 36), 0}};
    for (const auto &[name, on] : enabled) EXPECT_EQ(GetDebugSourceIsEnable(name.c_str()), on) << name;
    const std::pair<const char *, int> known[] = {
        {"DEV", 1}, {"IPMI", 1}, {"REDFISH", 1}, {"SNMP", 1}, {"QRXMONITOR", 1}, {"CPLD", 1}, {"QRXDIAG", 0},
        {"ipmi", 0}, {"IPMI ", 0}, {"", 0}};
    for (const auto &[module, valid] : known) EXPECT_EQ(GetSourceIsVaild(module), valid) << module;
    EXPECT_EQ(GetDebugSourceIsEnable(nullptr) + GetSourceIsVaild(nullptr), -2);
    const char *saved = DebugSourceFile[0];
    DebugSourceFile[0] = "ENABLE_QRXDIAG";
    EXPECT_EQ(GetSourceIsVaild("QRXDIAG") * 2 + GetSourceIsVaild("DEV"), 2);
    DebugSourceFile[0] = saved;
}

constexpr std::size_t kFlags = 0x621F7C;

TEST_F(DebugControl, ShowAllDebugInfo_PrintsTheTenFlagsInHex) {
    const std::vector<unsigned char> values = {0x77, 0x00, 0x07, 0x10, 0xAB, 0xFF, 0x01, 0x80, 0x2C, 0x0F, 0xE0, 0x77};
    for (std::size_t i = 0; i < values.size(); ++i) qtest::block().setU8(kFlags - 1 + i, values[i]);
    EXPECT_EQ(qtest::captureStdout([] { ShowAllDebugInfo(); }),
              "====Debuginfo[0] (debuga):0x0 ====\n====Debuginfo[1] (debugb):0x7 ====\n"
              "====Debuginfo[2] (debugc):0x10 ====\n====Debuginfo[3] (debugd):0xab ====\n"
              "====Debuginfo[4] (debuge):0xff ====\n====Debuginfo[5] (debugf):0x1 ====\n"
              "====Debuginfo[6] (debugg):0x80 ====\n====Debuginfo[7] (debugh):0x2c ====\n"
              "====Debuginfo[8] (debugi):0xf ====\n====Debuginfo[9] (debugj):0xe0 ====\n");
}

// Every key is scanned from the start of the text: a later key stores the
// value of the last successful scan, or 0. {flag index, byte} of what changes.
TEST_F(DebugControl, SetDebugInformation_ScansEachKeyFromTheStartOfTheText) {
    const std::pair<std::string, std::vector<std::pair<int, int>>> cases[] = {
        {"debug0_10", {{0, 10}}}, {"debug3_7 debug5_1", {{3, 7}, {5, 7}}}, {"debug5_1 debug3_7", {{3, 0}, {5, 1}}},
        {"debug9_300", {{9, 44}}}, {"xdebug1_5", {{1, 0}}}, {"debug2_-1", {{2, 0xFF}}}, {"debug4_", {{4, 0}}},
        {"debug10_3", {}}};
    for (const auto &[given, changed] : cases) {
        std::vector<unsigned char> expected(12, 0xEE);  // guard, ten flags, guard
        for (auto [index, value] : changed) expected[1 + index] = static_cast<unsigned char>(value);
        for (std::size_t i = 0; i < 12; ++i) qtest::block().setU8(kFlags - 1 + i, 0xEE);
        std::string text = given;
        EXPECT_EQ(
            qtest::captureStdout([&] { SetDebugInformation(text.data()); }),
            "SetDebugInformation input string: " + given + "\nexample:quorix_monitor_app --set-debug-info debug0_10\n");
        EXPECT_EQ(qtest::blockBytes(kFlags - 1, 12), expected) << given;
        EXPECT_EQ(text, given);
    }
}

}  // namespace
