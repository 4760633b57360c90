// Power-history record and the shared-block readings the recorder samples.
//
// Record (216 bytes, little-endian), one per closed period:
//     0 + 4c  u16  channel c average     2 + 4c  u16  channel c maximum
//   channels: 0 total power, 1 class-3 reading, 2..9 supplies 0-7,
//             10..49 class-0 devices 0-39
//   200 u16 hour  202 u16 day  204 u16 month  206 u16 year (closing time)
//   208 u32 refreshed by every sample of the period (epoch seconds)
//   212 u32 closed at (epoch seconds)
// A record of 216 0xFF bytes is erased; a zero record was never filled.
//
// Shared-block readings (device-state regions, read only here):
//   65340 + 9j   u8   class-0 device j present (1)   j = 0..39
//   65341 + 9j   u16  class-0 device j reading
//   PSU record i (psu_layout.h): present (1) and input power, i = 0..7
//   70972        u16  total power
//   79907        f32  class-3 reading; 255 means absent
#pragma once

#include <cstddef>

#include "core/byte_access.h"
#include "devstate/psu_layout.h"

namespace qrx::history {

inline constexpr std::size_t kRecordSize = 216;
inline constexpr int kChannels = 50, kTotalChannel = 0, kClass3Channel = 1, kFirstSupplyChannel = 2, kSupplies = 8;
inline constexpr int kFirstDeviceChannel = 10, kDevices = 40;
static_assert(kFirstDeviceChannel + kDevices == kChannels, "channel map");

inline constexpr std::size_t averageOffset(int channel) {
    return 4 * static_cast<std::size_t>(channel);
}
inline constexpr std::size_t maximumOffset(int channel) {
    return averageOffset(channel) + 2;
}
inline constexpr std::size_t kHourOffset = 200, kDayOffset = 202, kMonthOffset = 204, kYearOffset = 206;
inline constexpr std::size_t kRefreshedOffset = 208, kClosedOffset = 212;
static_assert(maximumOffset(kChannels - 1) + 2 == kHourOffset, "channels fill bytes 0..199");
static_assert(kClosedOffset + 4 == kRecordSize, "record size");

// Working area: 50 channels of (sample count, sum, maximum).
inline constexpr int kWorkWords = 3 * kChannels;
static_assert(kWorkWords * 4 == 600, "working area size");

// Shared-block readings.
inline constexpr std::size_t kDevicePresentBase = 65340, kDeviceReadingBase = 65341, kDeviceStride = 9;
inline constexpr std::size_t kSupplyPresentBase = psu::kRecordsOffset + psu::rec::kPresent;
inline constexpr std::size_t kSupplyReadingBase = psu::kRecordsOffset + psu::rec::kInputPower;
inline constexpr std::size_t kSupplyStride = psu::kRecordSize, kTotalPowerOffset = 70972, kClass3ReadingOffset = 79907;
inline constexpr unsigned kClass3Absent = 255;

// Device-scan classes that gate the channels; a scan byte of 2 means "sample".
inline constexpr unsigned kClass0Scan = 0, kSupplyScan = 1, kClass3Scan = 3;
inline constexpr int kScanSampling = 2;

// History kinds of the exported calls.
inline constexpr int kDay = 1, kMonth = 2, kYear = 3;
inline constexpr int kExistsFlag = 0x80;  // 129..131 ask whether a history exists

}  // namespace qrx::history
