// The ten debug-flag bytes at block offset 0x621F7C: show and set.
#include <string>
#include <vector>

#include "quorix_test.h"

namespace {

constexpr std::size_t kFlags = 0x621F7C;

class DebugFlags : public qtest::BoundTest {
protected:
    // Flags plus one guard byte on either side.
    static unsigned char *window() { return static_cast<unsigned char *>(intf_quorix_mem) + kFlags - 1; }
};

TEST_F(DebugFlags, Show_PrintsTenBytesInHex) {
    const unsigned char values[12] = {0x77, 0x00, 0x07, 0x10, 0xAB, 0xFF, 0x01, 0x80, 0x2C, 0x0F, 0xE0, 0x77};
    std::copy(values, values + 12, window());
    EXPECT_EQ(qtest::captureStdout([] { ShowAllDebugInfo(); }),
              "====Debuginfo[0] (debuga):0x0 ====\n"
              "====Debuginfo[1] (debugb):0x7 ====\n"
              "====Debuginfo[2] (debugc):0x10 ====\n"
              "====Debuginfo[3] (debugd):0xab ====\n"
              "====Debuginfo[4] (debuge):0xff ====\n"
              "====Debuginfo[5] (debugf):0x1 ====\n"
              "====Debuginfo[6] (debugg):0x80 ====\n"
              "====Debuginfo[7] (debugh):0x2c ====\n"
              "====Debuginfo[8] (debugi):0xf ====\n"
              "====Debuginfo[9] (debugj):0xe0 ====\n");
}

// Every key is scanned from the start of the text: a later key stores the
// value of the last successful scan, or 0.
TEST_F(DebugFlags, Set_ScansEachKeyFromTheStartOfTheText) {
    struct Case {
        std::string text;
        std::vector<int> bytes;  // 12: guard, flags 0..9, guard; 0xEE untouched
    } cases[] = {
        {"debug0_10", {0xEE, 10, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}},
        {"debug3_7 debug5_1", {0xEE, 0xEE, 0xEE, 0xEE, 7, 0xEE, 7, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}},
        {"debug5_1 debug3_7", {0xEE, 0xEE, 0xEE, 0xEE, 0, 0xEE, 1, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}},
        {"debug9_300", {0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 44, 0xEE}},
        {"xdebug1_5", {0xEE, 0xEE, 0, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}},
        {"debug2_-1", {0xEE, 0xEE, 0xEE, 0xFF, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}},
        {"debug4_", {0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}},
        {"debug10_3", {0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}},
    };
    for (auto &c : cases) {
        std::fill(window(), window() + 12, 0xEE);
        std::string text = c.text;
        std::string out = qtest::captureStdout([&] { SetDebugInformation(text.data()); });
        EXPECT_EQ(out, "SetDebugInformation input string: " + c.text +
                           "\nexample:quorix_monitor_app --set-debug-info debug0_10\n");
        EXPECT_EQ(std::vector<int>(window(), window() + 12), c.bytes) << c.text;
        EXPECT_EQ(text, c.text);
    }
}

}  // namespace
