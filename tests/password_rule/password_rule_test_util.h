// Helpers of the password-rule and BIOS-settings tests.
#pragma once

#include <string>
#include <vector>

#include "quorix_test.h"

namespace ptest {

inline constexpr int kRuleOffset = 5760;
inline constexpr int kConfFlagOffset = 648;

// Sends every level of the named modules' log to standard output.
inline void logToConsole() {
    qtest::writeFile("/conf/quorix_debug/LEVEL_INFO", "");
    qtest::writeFile("/conf/quorix_debug/PATH_SERIAL", "");
    qtest::writeFile("/conf/quorix_debug/ENABLE_QRXMONITOR", "");
    qtest::writeFile("/conf/quorix_debug/ENABLE_QRXPWOFFPRO", "");
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

// Runs fn in a forked child (fresh copies of the process caches as they
// stand) and returns what it printed; the child must exit normally.
template <typename Fn>
std::string inChild(Fn fn) {
    qtest::ChildResult r = qtest::runInChild(fn);
    EXPECT_TRUE(r.exited);
    EXPECT_EQ(r.status, 0) << r.err;
    return r.out;
}

}  // namespace ptest
