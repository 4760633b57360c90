// Where the power policy keeps its state: main-board EEPROM offsets and the
// shared-block bytes it owns.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qrx::power {

inline constexpr const char *kPressMarkerPath = "/var/tmp/power_button_press_flag";

// Main-board EEPROM.
inline constexpr int kPowerStatusEepromOffset = 4481;  // u8, last power state
inline constexpr int kPowerPeakEepromOffset = 3904;    // u16 LE, seconds
inline constexpr int kComCfgEepromOffset = 5120;       // u8
inline constexpr int kSolCfgEepromOffset = 5121;       // u8

// Shared device-state block.
inline constexpr std::size_t kCurrentPowerStateOffset = 0x621F8F;  // u8, written on every poll
inline constexpr std::size_t kComCfgCacheOffset = 0x621F7B;        // u8, 255 = not read yet
inline constexpr std::size_t kSolCfgCacheOffset = 0x621F7A;        // u8, 255 = not read yet
inline constexpr std::uint8_t kCfgNotRead = 255;

inline constexpr std::uint16_t kPowerPeakMaxDelay = 600;  // seconds
inline constexpr std::uint16_t kPowerPeakNotRead = 0xFFFF;

}  // namespace qrx::power
