// Board, CPU, management-engine and CPLD fields of the shared device-state block.
//
//   75482            u8    CPU count (readers clamp it to 4)
//   75483 + 292 x i  u8    CPU i present (first byte of the 292-byte CPU record)
//   79846            u8    ME firmware major version, bits 0..6
//   79847            u8    ME firmware minor version, one digit per nibble
//   79855            u32   ME firmware build word: digits in bits 8..11, 12..15, 20..23
//   79921            f32   memory power, watts
//   143132           u8    OCP card count (clamped to 2)
//   0x200440 + i     u8    OCP slot i present (1 = a card, 0 = none), i = 0..1, as last synced
//                          from the platform (kept behind the fan region, which nothing else uses)
//   6419669          u8    configured-CPU bitmap
//   6419986          u8    system restart cause
//
// CPLD fields shown by ShowAllCPLDInfo (the update runs own them):
//   0x149B9  main-board CPLD board id     0x1CC32  main-board CPLD version
//   0x1D071  main-board FPGA board id     0x1D0EA  FPGA version
//   backplane record +4: 12-character board text, +302: CPLD version
//   0x101AD  fan-plane count; fan-plane record +4: board text, +79: CPLD version
#pragma once

#include <cstddef>

#include "core/shared_block.h"

namespace qrx::board {

inline constexpr std::size_t kCpuCountOffset = 75482;
inline constexpr std::size_t kCpuRecordsOffset = 75483;
inline constexpr std::size_t kCpuRecordSize = 292;
inline constexpr int kMaxCpus = 4;

inline constexpr std::size_t kMeMajorOffset = 79846;
inline constexpr unsigned kMeMajorMask = 0x7F;
inline constexpr std::size_t kMeMinorOffset = 79847;
inline constexpr std::size_t kMeBuildOffset = 79855;
inline constexpr std::size_t kMemoryPowerOffset = 79921;

inline constexpr std::size_t kOcpCountOffset = 143132;
inline constexpr int kMaxOcpCards = 2;
inline constexpr std::size_t kOcpPresentOffset = 0x200440;
static_assert(insideSharedBlock(kOcpPresentOffset, kMaxOcpCards), "OCP presence inside the block");
inline constexpr std::size_t kConfiguredCpuBitmapOffset = 6419669;
inline constexpr std::size_t kRestartCauseOffset = 6419986;

inline constexpr std::size_t kMbCpldBoardIdOffset = 0x149B9;
inline constexpr std::size_t kMbCpldVersionOffset = 0x1CC32;
inline constexpr std::size_t kFpgaBoardIdOffset = 0x1D071;
inline constexpr std::size_t kFpgaVersionOffset = 0x1D0EA;

inline constexpr std::size_t kFanPlaneCountOffset = 0x101AD;
inline constexpr std::size_t kFanPlaneRecordsOffset = 65966;
inline constexpr std::size_t kFanPlaneRecordSize = 819;
inline constexpr int kFanPlaneRecords = 2;
inline constexpr std::size_t kFanPlaneBoardText = 4;
inline constexpr std::size_t kFanPlaneCpldVersion = 79;
static_assert(kFanPlaneRecordsOffset + kFanPlaneBoardText == 0x101B2, "fan-plane board text");
static_assert(kFanPlaneRecordsOffset + kFanPlaneCpldVersion == 0x101FD, "fan-plane CPLD version");

inline constexpr std::size_t kBoardTextLen = 12;

inline constexpr std::size_t cpuPresentOffset(int index) { return kCpuRecordsOffset + kCpuRecordSize * index; }

inline int cpuCount() {
    int n = sharedBlock().u8(kCpuCountOffset);
    return n > kMaxCpus ? kMaxCpus : n;
}

}  // namespace qrx::board
