// The shared device-state block as the library sees it.
//
// The block belongs to the feature library; the library only keeps the
// pointer it was given at binding. Offsets of each region live beside the
// code that owns the region.
#pragma once

#include <cstddef>

#include "core/byte_access.h"

extern "C" void *intf_quorix_mem;

namespace qrx {

// Size of the block on this platform: every region the library reaches lies
// below it. Checks that must refuse writes outside the block use this.
inline constexpr std::size_t kSharedBlockSize = 6553600;

// Byte 22: set once slot 0 (platform initialisation) has run in any process.
inline constexpr std::size_t kPlatformInitialisedOffset = 22;

inline ByteView sharedBlock() { return ByteView(intf_quorix_mem); }

// True when [offset, offset + length) lies inside the block.
inline constexpr bool insideSharedBlock(std::size_t offset, std::size_t length) {
    return offset <= kSharedBlockSize && length <= kSharedBlockSize - offset;
}

}  // namespace qrx
