// Where the power policy keeps its state: main-board EEPROM offsets and the
// shared-block bytes it owns.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qrx::power {

inline constexpr const char *kPressMarkerPath = "/var/tmp/power_button_press_flag";

// Shared device-state block.
inline constexpr std::size_t kCurrentPowerStateOffset = 6430607;  // u8, written on every poll
inline constexpr std::size_t kComCfgCacheOffset = 6430587;        // u8, 255 = not read yet
inline constexpr std::size_t kSolCfgCacheOffset = 6430586;        // u8, 255 = not read yet
inline constexpr std::uint8_t kCfgNotRead = 255;

inline constexpr std::uint16_t kPowerPeakMaxDelay = 600;  // seconds
inline constexpr std::uint16_t kPowerPeakNotRead = 0xFFFF;

}  // namespace qrx::power
