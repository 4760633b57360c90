// Board, CPU, management-engine and CPLD fields of the shared device-state block.
//
//   75482            u8    CPU count (readers clamp it to 4)
//   75483 + 292 x i  u8    CPU i present (first byte of the 292-byte CPU record)
//   79846            u8    ME firmware major version, bits 0..6
//   79847            u8    ME firmware minor version, one digit per nibble
//   79855            u32   ME firmware build word: digits in bits 8..11, 12..15, 20..23
//   79921            f32   memory power, watts
//   143132           u8    OCP card count (clamped to 2)
//   2098240 + i     u8    OCP slot i present (1 = a card, 0 = none), i = 0..1, as last synced
//                          from the platform (kept behind the fan region, which nothing else uses)
//   6419669          u8    configured-CPU bitmap
//   6419986          u8    system restart cause
//
// CPLD and FPGA fields (ShowAllCPLDInfo and the update runs read them):
//   84409            u8    main-board CPLD board id; +29: expected update time (u16 s)
//   117810           u8    main-board CPLD version
//   118897           u8    main-board FPGA board id; +29: expected update time (u16 s)
//   119018           u8    FPGA version
//   65965            u8    fan-plane count
//   65966 + 819 x k  819   fan-plane record k (k = 0..1): +1 marker (254 = valid),
//                          +4 presence and 12-character board text, +44 expected
//                          update time (u16 s), +79 CPLD version
// The backplane records are disk_layout.h's.
#pragma once

#include <cstddef>

#include "core/shared_block.h"

namespace qrx::board {

inline constexpr std::size_t kCpuCountOffset = 75482, kCpuRecordsOffset = 75483, kCpuRecordSize = 292;
inline constexpr int kMaxCpus = 4;

inline constexpr std::size_t kMeMajorOffset = 79846;
inline constexpr unsigned kMeMajorMask = 0x7F;
inline constexpr std::size_t kMeMinorOffset = 79847, kMeBuildOffset = 79855, kMemoryPowerOffset = 79921;

inline constexpr std::size_t kOcpCountOffset = 143132;
inline constexpr int kMaxOcpCards = 2;
inline constexpr std::size_t kOcpPresentOffset = 2098240;
static_assert(insideSharedBlock(kOcpPresentOffset, kMaxOcpCards), "OCP presence inside the block");
inline constexpr std::size_t kConfiguredCpuBitmapOffset = 6419669;
inline constexpr std::size_t kRestartCauseOffset = 6419986;

inline constexpr std::size_t kMbCpldBoardIdOffset = 84409;
inline constexpr std::size_t kMbCpldDurationOffset = 84438;  // u16 seconds, expected update time
inline constexpr std::size_t kMbCpldVersionOffset = 117810;
inline constexpr std::size_t kFpgaBoardIdOffset = 118897;
inline constexpr std::size_t kFpgaDurationOffset = 118926;  // u16 seconds, expected update time
inline constexpr std::size_t kFpgaVersionOffset = 119018;

inline constexpr std::size_t kFanPlaneCountOffset = 65965, kFanPlaneRecordsOffset = 65966, kFanPlaneRecordSize = 819;
inline constexpr int kFanPlaneRecords = 2;
inline constexpr std::size_t kFanPlaneMarker = 1, kFanPlanePresence = 4, kFanPlaneBoardText = 4;
inline constexpr std::size_t kFanPlaneUpdateDuration = 44;  // u16 seconds
inline constexpr std::size_t kFanPlaneCpldVersion = 79;
inline constexpr unsigned char kFanPlaneValidMarker = 254;
static_assert(kFanPlaneCountOffset + 1 == kFanPlaneRecordsOffset, "the records follow the count");

inline constexpr std::size_t kBoardTextLen = 12;

inline constexpr std::size_t fanPlaneOffset(int k) { return kFanPlaneRecordsOffset + kFanPlaneRecordSize * k; }
inline bool fanPlanePresent(int k) {
    ByteView plane = sharedBlock().at(fanPlaneOffset(k));
    return plane.u8(kFanPlanePresence) != 0 && plane.u8(kFanPlaneMarker) == kFanPlaneValidMarker;
}

inline constexpr std::size_t cpuPresentOffset(int index) { return kCpuRecordsOffset + kCpuRecordSize * index; }

inline int cpuCount() {
    int n = sharedBlock().u8(kCpuCountOffset);
    return n > kMaxCpus ? kMaxCpus : n;
}

}  // namespace qrx::board
