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

inline void logToConsole() { qtest::logToConsole({"QRXMONITOR"}); }

using qtest::eeprom;
using qtest::inChild;
using qtest::putEeprom;

}  // namespace ptest
