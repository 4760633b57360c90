// Readiness of the PCIe GPUs and accelerators in the shared device-state block.
//
// The monitor sets both flags of a device; the polling threads query only a
// device that is in its slot and whose link is up, so an empty or dead slot
// never costs a platform call. Kept behind the fan region, which nothing
// else uses.
//
//   2098176 + 2 x i  GPU i, i = 0..15:          +0 u8 present (1 = yes), +1 u8 link up (1 = yes)
//   2098208 + 2 x i  accelerator i, i = 0..15:  the same two flags
#pragma once

#include <cstddef>

#include "core/shared_block.h"

namespace qrx::pcie {

inline constexpr std::size_t kGpuReadinessOffset = 2098176;
inline constexpr std::size_t kAcceleratorReadinessOffset = 2098208;
inline constexpr int kMaxDevices = 16;
inline constexpr std::size_t kReadinessSize = 2, kPresent = 0, kLinkUp = 1;
static_assert(kGpuReadinessOffset + kMaxDevices * kReadinessSize <= kAcceleratorReadinessOffset, "GPU flags");
static_assert(insideSharedBlock(kAcceleratorReadinessOffset, kMaxDevices * kReadinessSize), "accelerator flags");

inline bool ready(std::size_t table, int index) {
    ByteView device = sharedBlock().at(table + kReadinessSize * static_cast<std::size_t>(index));
    return device.u8(kPresent) == 1 && device.u8(kLinkUp) == 1;
}

}  // namespace qrx::pcie
