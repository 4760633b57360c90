// Flag bytes of the shared device-state block.
//
//   22        u8       platform-initialised flag (core)
//   23        u8       ME access status, 0 or 1
//   24 + k    u8 x 25  device-scan enable of scan k: 0 off, 1 on, 2 third state
//   138227    u8       force-BIOS-information-to-CPLD flag
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

// Enable byte of scan index, or -1 for an index past the table.
inline int scanEnable(unsigned index) {
    return index < kScanCount ? sharedBlock().u8(kScanEnableOffset + index) : -1;
}

}  // namespace qrx::flags
