// State of the simulated BMC shared by every process that loads it.
#pragma once

#include <atomic>
#include <cstdint>

#include "core/shared_block.h"
#include "core/slot_table.h"

namespace sim {

inline constexpr int kSlotCount = qrx::kSlotCount;

enum class Fault : std::int32_t { None = 0, Fail = 1, Short = 2 };

// Private to the simulator (its own shared-memory object, not the device
// block), so simulation bookkeeping never shows up in device regions.
struct State {
    std::atomic<std::uint32_t> initialised;  // 0 in a fresh object: defaults not applied yet
    std::atomic<std::uint32_t> calls[kSlotCount];
    std::atomic<std::int32_t> results[kSlotCount];
    std::atomic<std::int32_t> faults[kSlotCount];
};

// The device block, created on first use and shared through /dev/shm.
unsigned char *block();
State &state();

using qrx::Slot;
using qrx::slotIndex;

inline void countCall(int slot) { state().calls[slot].fetch_add(1, std::memory_order_relaxed); }
inline void countCall(Slot slot) { countCall(slotIndex(slot)); }
inline Fault faultOf(Slot slot) {
    return static_cast<Fault>(state().faults[slotIndex(slot)].load(std::memory_order_relaxed));
}
inline std::int32_t resultOf(Slot slot) { return state().results[slotIndex(slot)].load(); }

}  // namespace sim
