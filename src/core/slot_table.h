// Typed access to the feature handle table.
//
// slots.def gives every slot its C function type; slotFn<N>() reads the
// table pointer and the slot at every call (the feature library may change a
// slot at run time) and returns it with that type.
#pragma once

#include "quorix_common_interface.h"

namespace qrx {

inline constexpr int kSlotCount = 237;

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

}  // namespace qrx
