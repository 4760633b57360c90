// Fan region of the shared device-state block.
//
// Kept at 0x200000, in a stretch of the block that no other region uses, so
// it can grow without moving anything else.
//
//   0x200000  u8   number of fans the monitor found
#pragma once

#include <cstddef>

#include "core/shared_block.h"

namespace qrx::fan {

inline constexpr std::size_t kRegionOffset = 0x200000;
inline constexpr std::size_t kCountOffset = kRegionOffset;

inline int count() { return sharedBlock().u8(kCountOffset); }

}  // namespace qrx::fan
