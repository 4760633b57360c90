// The user password rule record: 12 bytes in the main-board EEPROM, cached
// per process. Its fields follow the login code's password policy.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/byte_access.h"
#include "core/eeprom_map.h"

namespace qrx::pwrule {

inline constexpr int kEepromOffset = eeprom::kPasswordRuleOffset;
inline constexpr std::size_t kRecordSize = eeprom::kPasswordRuleSize;

inline constexpr std::size_t kEnabledOffset = 0;          // u8, 0..1
inline constexpr std::size_t kMinLengthOffset = 1;        // u8, 8..16 characters
inline constexpr std::size_t kComplexityOffset = 2;       // u8, 0..1: character classes enforced
inline constexpr std::size_t kClassMaskOffset = 3;        // u8, 0..31: required classes, one bit each
inline constexpr std::size_t kMaxAgeDaysOffset = 4;       // u16, 0..90 (0 = never expires)
inline constexpr std::size_t kHistoryDepthOffset = 6;     // u8, 0..10 previous passwords refused
inline constexpr std::size_t kLockoutAttemptsOffset = 7;  // u8, 0..5 failures before lockout (0 = off)
inline constexpr std::size_t kLockoutMinutesOffset = 8;   // u32, 5..60
static_assert(kLockoutMinutesOffset + 4 == kRecordSize, "password rule record is 12 bytes");

inline constexpr std::uint8_t kDefaultMinLength = 8;
inline constexpr std::uint32_t kDefaultLockoutMinutes = 5;

// One settable field: its set parameter number is its index in kFields.
struct Field {
    std::size_t offset;
    std::size_t width;  // 1, 2 or 4 bytes
    std::uint32_t min;
    std::uint32_t max;
};

inline constexpr Field kFields[] = {
    {kEnabledOffset, 1, 0, 1},         {kMinLengthOffset, 1, 8, 16},      {kComplexityOffset, 1, 0, 1},
    {kClassMaskOffset, 1, 0, 31},      {kMaxAgeDaysOffset, 2, 0, 90},     {kHistoryDepthOffset, 1, 0, 10},
    {kLockoutAttemptsOffset, 1, 0, 5}, {kLockoutMinutesOffset, 4, 5, 60},
};
inline constexpr int kFieldCount = static_cast<int>(sizeof kFields / sizeof kFields[0]);

inline std::uint32_t getField(ByteView record, const Field &f) {
    return f.width == 1 ? record.u8(f.offset) : f.width == 2 ? record.u16(f.offset) : record.u32(f.offset);
}

inline void setField(ByteView record, const Field &f, std::uint32_t value) {
    if (f.width == 1)
        record.setU8(f.offset, static_cast<std::uint8_t>(value));
    else if (f.width == 2)
        record.setU16(f.offset, static_cast<std::uint16_t>(value));
    else
        record.setU32(f.offset, value);
}

}  // namespace qrx::pwrule
