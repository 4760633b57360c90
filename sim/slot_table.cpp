// The simulator's feature handle table.
//
// Every slot gets a function of the slot's own type. Slots with a device
// model register it in deviceModels(); the others count the call and return
// the result set for them (0 unless a test or quorixctl set another).
#include <array>
#include <cstring>
#include <type_traits>

#include "sim_slots.h"
#include "sim_state.h"

namespace sim {
namespace {

template <int Slot, typename Fn>
struct Generic;

template <int Slot, typename R, typename... Args>
struct Generic<Slot, R (*)(Args...)> {
    static R call(Args...) {
        countCall(Slot);
        if constexpr (!std::is_void_v<R>) return static_cast<R>(state().results[Slot].load());
    }
};

const std::array<void *, kSlotCount> &genericSlots() {
    static const std::array<void *, kSlotCount> table = [] {
        std::array<void *, kSlotCount> t{};
#define QRX_SLOT(kind, slot, ret, name, params, args) \
    t[slot] = reinterpret_cast<void *>(&Generic<slot, qrx::SlotSig<slot>::type>::call);
#define QRX_SLOT_UNUSED(slot)
#include "core/slots.def"
#undef QRX_SLOT
#undef QRX_SLOT_UNUSED
        return t;
    }();
    return table;
}

}  // namespace

void *simulatedSlot(int slot) {
    for (const SlotModel &model : deviceModels())
        if (model.slot == slot) return model.fn;
    return genericSlots()[slot];
}

}  // namespace sim

extern "C" {

__attribute__((visibility("default"))) void *quorix_handle[sim::kSlotCount];

__attribute__((visibility("default"))) void quorix_sim_restore_table(void) {
    for (int slot = 0; slot < sim::kSlotCount; ++slot) quorix_handle[slot] = sim::simulatedSlot(slot);
}

__attribute__((visibility("default"))) int quorix_sim_reset(void) {
    unsigned char *block = sim::block();
    if (block == nullptr) return -1;
    std::memset(block, 0, qrx::kSharedBlockSize);
    sim::State &st = sim::state();
    for (int slot = 0; slot < sim::kSlotCount; ++slot) {
        st.calls[slot] = 0;
        st.results[slot] = 0;
        st.faults[slot] = 0;
    }
    sim::resetDevices();
    st.initialised = 1;
    quorix_sim_restore_table();
    return 0;
}

__attribute__((visibility("default"))) unsigned int quorix_sim_call_count(int slot) {
    if (slot < 0 || slot >= sim::kSlotCount) return 0;
    return sim::state().calls[slot].load();
}

__attribute__((visibility("default"))) int quorix_sim_set_result(int slot, int value) {
    if (slot < 0 || slot >= sim::kSlotCount) return -1;
    sim::state().results[slot] = value;
    return 0;
}

__attribute__((visibility("default"))) int quorix_sim_set_fault(int slot, int fault) {
    if (slot < 0 || slot >= sim::kSlotCount || fault < 0 || fault > 2) return -1;
    sim::state().faults[slot] = fault;
    return 0;
}

}  // extern "C"

namespace {
// The table is complete as soon as the library is loaded; the first process
// to load the simulator gives the slots their healthy-server answers.
[[maybe_unused]] const bool tableReady = [] {
    quorix_sim_restore_table();
    sim::State &st = sim::state();
    std::uint32_t fresh = 0;
    if (st.initialised.compare_exchange_strong(fresh, 1)) sim::resetDevices();
    return true;
}();
}  // namespace
