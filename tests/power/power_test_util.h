// Helpers of the power-policy tests.
#pragma once

#include <string>
#include <vector>

#include "quorix_test.h"

namespace ptest {

inline constexpr int kPowerStatusOffset = 4481;
inline constexpr int kPowerPeakOffset = 3904;
inline constexpr int kComOffset = 5120;
inline constexpr int kSolOffset = 5121;
inline constexpr std::size_t kBlockPowerState = 0x621F8F;
inline constexpr std::size_t kBlockCom = 0x621F7B;
inline constexpr std::size_t kBlockSol = 0x621F7A;

inline void logToConsole() {
    qtest::writeFile("/conf/quorix_debug/LEVEL_INFO", "");
    qtest::writeFile("/conf/quorix_debug/PATH_SERIAL", "");
    qtest::writeFile("/conf/quorix_debug/ENABLE_QRXMONITOR", "");
    qtest::writeFile("/var/quorix_debug_reload", "");
}

inline std::vector<unsigned char> eeprom(int offset, int length) {
    std::vector<unsigned char> bytes(static_cast<std::size_t>(length));
    EXPECT_EQ(QuorixReadMainBoardEEprom(offset, bytes.data(), length), length);
    return bytes;
}

inline void putEeprom(int offset, std::vector<unsigned char> bytes) {
    ASSERT_EQ(QuorixWriteMainBoardEEprom(offset, bytes.data(), static_cast<int>(bytes.size())),
              static_cast<int>(bytes.size()));
}

// Runs fn in a forked child, whose process caches start as this process
// left them (these tests never touch them here); returns what it printed.
template <typename Fn>
std::string inChild(Fn fn) {
    qtest::ChildResult r = qtest::runInChild(fn);
    EXPECT_TRUE(r.exited);
    EXPECT_EQ(r.status, 0) << r.err;
    return r.out;
}

}  // namespace ptest
