// Flag bytes at the start of the shared device-state block, and the
// presence and marker bytes of the backplane and fan-plane records.
//
//   22        u8       platform-initialised flag (core)
//   23        u8       ME access status, 0 or 1
//   24 + k    u8 x 25  device-scan enable of scan k: 0 off, 1 on, 2 third state
//   138227    u8       force-BIOS-information-to-CPLD flag
//   119103 + 1470 x k  backplane presence, marker at 119100 + 1470 x k (k = 0..12)
//   65970 + 819 x k    fan-plane presence, marker at 65967 + 819 x k (k = 0..1)
#pragma once

#include <cstddef>

#include "core/shared_block.h"

namespace qrx::flags {

inline constexpr std::size_t kMeAccessOffset = 23;
inline constexpr unsigned kMeAccessMax = 1;
inline constexpr std::size_t kScanEnableOffset = 24;
inline constexpr unsigned kScanCount = 25;
inline constexpr unsigned kScanEnableMax = 2;
inline constexpr std::size_t kForceBiosInfoToCpldOffset = 138227;

inline constexpr std::size_t kBackplanePresenceOffset = 119103;
inline constexpr std::size_t kBackplaneMarkerOffset = 119100;
inline constexpr std::size_t kBackplaneStride = 1470;
inline constexpr int kBackplaneFirstPass = 8;
inline constexpr int kBackplaneRecords = 13;
inline constexpr std::size_t kFanPlanePresenceOffset = 65970;
inline constexpr std::size_t kFanPlaneMarkerOffset = 65967;
inline constexpr std::size_t kFanPlaneStride = 819;
inline constexpr unsigned char kValidMarker = 254;

}  // namespace qrx::flags
