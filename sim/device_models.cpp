// Which slots have a device model, checked against the slot types.
#include <type_traits>

#include "sim_devices.h"
#include "sim_slots.h"
#include "sim_state.h"

namespace sim {
namespace {

template <int Slot, typename Fn>
SlotModel model(Fn fn) {
    static_assert(std::is_same_v<Fn, typename qrx::SlotSig<Slot>::type>, "device model does not match the slot type");
    return SlotModel{Slot, reinterpret_cast<void *>(fn)};
}

}  // namespace

const std::vector<SlotModel> &deviceModels() {
    static const std::vector<SlotModel> models = {
        model<13>(&readMainBoardEeprom),
        model<14>(&writeMainBoardEeprom),
        model<19>(&writeFruDevice),
        model<20>(&readFruDevice),
        model<148>(&openPipe),
        model<149>(&readPipe),
        model<150>(&writePipe),
    };
    return models;
}

void resetDevices() {}

}  // namespace sim
