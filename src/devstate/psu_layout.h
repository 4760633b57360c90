// Power-supply region of the shared device-state block.
//
//   67604            u8    PSU count (readers clamp it to 8)
//   67605 + 159 x i  159   PSU record i, i = 0..7
//   68877            u8    configured PSU number
//   68878            u8    normal PSU number
//   68879            u8    redundant PSU number
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/shared_block.h"

namespace qrx::psu {

inline constexpr std::size_t kCountOffset = 67604, kRecordsOffset = 67605, kRecordSize = 159;
inline constexpr int kMaxRecords = 8;
inline constexpr std::size_t kConfigNumOffset = 68877, kNormalNumOffset = 68878, kRedundantNumOffset = 68879;
static_assert(kRecordsOffset + kMaxRecords * kRecordSize == kConfigNumOffset, "the counters follow the records");

// Fields of one PSU record (offsets from the record's start).
namespace rec {
inline constexpr std::size_t kPresent = 1, kWorkMode = 2, kStatusWord = 3, kPsStatus = 5, kInputType = 7, kPwrGood = 8;
inline constexpr std::size_t kFanStatus = 9, kVoutStatus = 10, kIoutStatus = 11, kInputStatus = 12;
inline constexpr std::size_t kTemperatureStatus = 13, kAmbientTemperature = 14, kSecondaryTemperature = 18;
inline constexpr std::size_t kPrimaryTemperature = 22, kInputPower = 26, kOutputPower = 30, kInputVolt = 34;
inline constexpr std::size_t kOutputVolt = 38, kInputCurrent = 42, kOutputCurrent = 46, kOutputPowerMax = 50;
inline constexpr std::size_t kFanSpeed = 54, kManufacturer = 58, kModel = 76, kSerialNum = 94, kFwVersion = 112;
inline constexpr std::size_t kPartNum = 128, kDate = 146, kPsuUpdating = 152, kPsubMode = 153, kType = 158;

inline constexpr std::size_t kManufacturerLen = 18, kModelLen = 18, kSerialNumLen = 18, kFwVersionLen = 16;
inline constexpr std::size_t kPartNumLen = 18, kDateLen = 6;
static_assert(kType + 1 == kRecordSize, "PSU record is 159 bytes");
}  // namespace rec

// Summary record that ReadQuorixPSUInfo fills for its caller (126 bytes).
namespace sum {
inline constexpr std::size_t kIndex = 0, kPresent = 1, kWorkMode = 2, kStatusWord = 3, kPsStatus = 5, kInputType = 7;
inline constexpr std::size_t kPwrGood = 8, kFanStatus = 9, kAmbientTemperature = 10, kSecondaryTemperature = 12;
inline constexpr std::size_t kPrimaryTemperature = 14, kInputPower = 16, kOutputPower = 18, kInputVolt = 20;
inline constexpr std::size_t kOutputVolt = 22, kInputCurrent = 24, kOutputCurrent = 26, kOutputPowerMax = 28;
inline constexpr std::size_t kFanSpeed = 30;
inline constexpr std::size_t kTexts = 32;  // Manufacturer .. PartNum, 88 bytes
inline constexpr std::size_t kDate = 120;
inline constexpr std::size_t kSize = 126;
static_assert(kDate + rec::kDateLen == kSize, "PSU summary record is 126 bytes");
static_assert(kTexts + (rec::kDate - rec::kManufacturer) == kDate, "text fields are copied as one run");
}  // namespace sum

// Block offset of record `index`; the index may lie outside 0..7 where a
// reader's own bound lets it through.
inline constexpr long long recordOffset(long long index) {
    return static_cast<long long>(kRecordsOffset) + index * static_cast<long long>(kRecordSize);
}

// True when `len` bytes at record offset `field` of record `index` lie in the block.
inline constexpr bool fieldInside(long long index, std::size_t field, std::size_t len) {
    // Checked in 64 bits first: size_t is 32 bits on the board.
    long long at = recordOffset(index) + static_cast<long long>(field);
    return at >= 0 && at <= static_cast<long long>(kSharedBlockSize) &&
           insideSharedBlock(static_cast<std::size_t>(at), len);
}

// Block offset of a field; only meaningful once fieldInside() said so.
inline std::size_t fieldOffset(long long index, std::size_t field) {
    return static_cast<std::size_t>(recordOffset(index) + static_cast<long long>(field));
}

inline int rawCount() { return sharedBlock().u8(kCountOffset); }
inline int clampedCount() { return rawCount() > kMaxRecords ? kMaxRecords : rawCount(); }

}  // namespace qrx::psu
