// Disk tables and backplane records of the shared device-state block.
//
//   49                 39168  front disk table: 8 backplanes x 36 disks x 136 bytes
//   39217              24480  rear disk table: 5 backplanes x 36 disks x 136 bytes
//   119097             u8     front backplane count (at most 8)
//   119098             u8     rear backplane count (at most 5)
//   119099 + 1470 x k  1470   backplane record k: 0..7 front, 8..12 rear
//   138209             u8     disk-sensor monitor state
//
// Disk record: +0 presence (disk sensor), +1 presence (serial and NVMe
// readers), +4 status bits (2 fault, 8 rebuild, 16 predictive failure),
// +15 NVMe temperature, +18 serial number (24 bytes).
// Backplane record: +0 in use, +1 marker (254 = valid), +4 presence and the
// 12-character board text, +46 expected CPLD update time (u16 s), +302 CPLD
// version, +558 disk slots (255 unknown).
#pragma once

#include <cstddef>

#include "core/shared_block.h"

namespace qrx::disk {

inline constexpr std::size_t kRecordSize = 136;
inline constexpr int kDisksPerBackplane = 36;
inline constexpr std::size_t kFrontTableOffset = 49;
inline constexpr int kFrontBackplanes = 8;
inline constexpr int kFrontDisks = kFrontBackplanes * kDisksPerBackplane;  // 288
inline constexpr std::size_t kFrontTableSize = kFrontDisks * kRecordSize;
inline constexpr std::size_t kRearTableOffset = 39217;
inline constexpr int kRearBackplanes = 5;
inline constexpr int kRearDisks = kRearBackplanes * kDisksPerBackplane;  // 180
inline constexpr std::size_t kRearTableSize = kRearDisks * kRecordSize;
static_assert(kFrontTableSize == 39168 && kRearTableSize == 24480, "disk table sizes");
static_assert(kFrontTableOffset + kFrontTableSize == kRearTableOffset, "rear table follows the front one");

inline constexpr std::size_t kSensorPresence = 0, kPresence = 1, kStatus = 4, kNvmeTemperature = 15, kSerial = 18;
inline constexpr std::size_t kSerialLen = 24;

inline constexpr unsigned kStatusFault = 2, kStatusRebuild = 8, kStatusPredictiveFailure = 16;

inline constexpr std::size_t kFrontBackplaneCountOffset = 119097, kRearBackplaneCountOffset = 119098;
inline constexpr std::size_t kBackplaneRecordsOffset = 119099, kBackplaneRecordSize = 1470;
inline constexpr int kBackplaneRecords = kFrontBackplanes + kRearBackplanes;  // 13
inline constexpr int kFirstRearBackplane = kFrontBackplanes;

inline constexpr std::size_t kBpInUse = 0, kBpMarker = 1, kBpPresence = 4, kBpBoardText = 4;
inline constexpr std::size_t kBpUpdateDuration = 46;  // u16 seconds, expected CPLD update time
inline constexpr std::size_t kBpCpldVersion = 302;
inline constexpr std::size_t kBpDiskSlots = 558;
inline constexpr unsigned char kBpValidMarker = 254;
inline constexpr unsigned char kBpSlotsUnknown = 255;

inline constexpr std::size_t kSensorMonitorStateOffset = 138209;

inline constexpr int kCpldFront = 1;
inline constexpr int kCpldRear = 2;

inline constexpr std::size_t backplaneOffset(int k) { return kBackplaneRecordsOffset + kBackplaneRecordSize * k; }
inline constexpr std::size_t kFrontBackplanesOffset = backplaneOffset(0);
inline constexpr std::size_t kRearBackplanesOffset = backplaneOffset(kFirstRearBackplane);
inline constexpr std::size_t kBackplaneRegionSize = kBackplaneRecords * kBackplaneRecordSize;
inline bool backplanePresent(int k) {
    ByteView bp = sharedBlock().at(backplaneOffset(k));
    return bp.u8(kBpPresence) != 0 && bp.u8(kBpMarker) == kBpValidMarker;
}

// Block offset of disk record `index` of a table, or kSharedBlockSize when
// the record would not lie wholly inside the block.
inline constexpr std::size_t diskRecordOffset(std::size_t tableOffset, long long index) {
    long long at = static_cast<long long>(tableOffset) + index * static_cast<long long>(kRecordSize);
    if (at < 0 || !insideSharedBlock(static_cast<std::size_t>(at), kRecordSize)) return kSharedBlockSize;
    return static_cast<std::size_t>(at);
}

// Sum of the disk slots of the backplanes in use for a CPLD type; -1 (with
// the writer's console line) for another type.
int numSupport(int cpldType);
// Whether a front backplane has the NVMe port count (the 22-slot rack table).
bool nvmeBackplanePort();

}  // namespace qrx::disk
