// Typed access to the feature handle table.
//
// slots.def gives every slot its name and C function type; slotFn<Slot::X>()
// reads the table pointer and the slot at every call (the feature library may
// change a slot at run time) and returns it with that type. Only the generated
// forwarders use the numbered form.
#pragma once

#include "quorix_common_interface.h"

namespace qrx {

inline constexpr int kSlotCount = 237;

// Every used slot by its row name: Slot::ProgramCpld is 55.
enum class Slot : int {
#define QRX_SLOT(kind, slot, ret, name, params, args) name = slot,
#define QRX_SLOT_UNUSED(slot)
#include "core/slots.def"
#undef QRX_SLOT
#undef QRX_SLOT_UNUSED
};

constexpr int slotIndex(Slot slot) {
    return static_cast<int>(slot);
}

template <int Slot>
struct SlotSig;

#define QRX_SLOT(kind, slot, ret, name, params, args) \
    template <>                                       \
    struct SlotSig<slot> {                            \
        using type = ret(*) params;                   \
    };
#define QRX_SLOT_UNUSED(slot)
#include "core/slots.def"
#undef QRX_SLOT
#undef QRX_SLOT_UNUSED

template <int Slot>
inline typename SlotSig<Slot>::type slotFn() {
    static_assert(Slot >= 0 && Slot < kSlotCount, "slot out of table");
    return reinterpret_cast<typename SlotSig<Slot>::type>(intf_handle[Slot]);
}

template <Slot S>
using SlotType = typename SlotSig<slotIndex(S)>::type;

template <Slot S>
inline SlotType<S> slotFn() {
    return slotFn<slotIndex(S)>();
}

}  // namespace qrx
