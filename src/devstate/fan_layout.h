// Fan region of the shared device-state block.
//
// Kept at 2097152, in a stretch of the block that no other region uses, so
// it can grow without moving anything else.
//
//   2097152           u8   number of fans the monitor found (readers clamp it to 16)
//   2097153 + 32 x i  32   fan record i, i = 0..15:
//     +0   u8    present (1 = present)
//     +1   u8    health: 0 ok, 1 degraded, 2 failed
//     +2   u16   front rotor speed, rpm
//     +4   u16   rear rotor speed, rpm
//     +6   u8    PWM duty, percent
//     +7   u8    rotor model code
//     +8   u16   rated maximum speed, rpm
//     +10  16    name text, zero-padded ("FAN0", ...)
//     +26  6     reserved, zero
#pragma once

#include <cstddef>

#include "core/shared_block.h"

namespace qrx::fan {

inline constexpr std::size_t kRegionOffset = 2097152;
inline constexpr std::size_t kCountOffset = kRegionOffset;

inline constexpr std::size_t kRecordsOffset = kRegionOffset + 1;
inline constexpr std::size_t kRecordSize = 32;
inline constexpr int kMaxFans = 16;
inline constexpr std::size_t kPresent = 0, kHealth = 1, kFrontSpeed = 2, kRearSpeed = 4, kDuty = 6;
inline constexpr int kMaxDuty = 100;
inline constexpr std::size_t kRotorModel = 7, kMaxSpeed = 8, kName = 10, kNameLen = 16, kReserved = 26;
static_assert(kReserved + 6 == kRecordSize, "fan record is 32 bytes");
static_assert(insideSharedBlock(kRecordsOffset, kMaxFans * kRecordSize), "fan region inside the block");

inline int count() { return sharedBlock().u8(kCountOffset); }
inline int clampedCount() { return count() > kMaxFans ? kMaxFans : count(); }
inline std::size_t recordOffset(int index) { return kRecordsOffset + kRecordSize * static_cast<std::size_t>(index); }

}  // namespace qrx::fan
