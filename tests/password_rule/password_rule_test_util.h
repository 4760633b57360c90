// Helpers of the password-rule and BIOS-settings tests.
#pragma once

#include <string>
#include <vector>

#include "quorix_test.h"

namespace ptest {

inline constexpr int kRuleOffset = 5760;
inline constexpr int kConfFlagOffset = 648;

inline void logToConsole() { qtest::logToConsole({"QRXMONITOR", "QRXPWOFFPRO"}); }

using qtest::eeprom;
using qtest::inChild;
using qtest::putEeprom;

}  // namespace ptest
