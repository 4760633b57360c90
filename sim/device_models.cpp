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
        model<36>(&cpuPresent),
        model<148>(&openPipe),
        model<149>(&readPipe),
        model<150>(&writePipe),
        model<55>(&programCpld),
        model<56>(&programPsu),
        model<59>(&upgradeVr),
        model<60>(&upgradeVrPxe),
        model<61>(&upgradeVrXdp),
        model<62>(&upgradeVrMps),
        model<169>(&programFpga),
        model<182>(&programGpuFpga),
        model<197>(&programScp),
    };
    return models;
}

// What an idle, healthy, powered-on server answers where no device model
// says more: checks that report a state answer "yes", everything else 0.
void resetDevices() {
    static const struct {
        int slot;
        int result;
    } kHealthyServer[] = {
        {2, 1},    // system power good
        {3, 1},    // PCP power good
        {86, 1},   // BIOS POST complete
        {144, 1},  // BMC POST complete
        {145, 1},  // platform reset done
        {171, 1},  // BIOS booted
        {168, 1},  // FPGA enabled
    };
    for (const auto &entry : kHealthyServer) state().results[entry.slot] = entry.result;
    resetUpdateDevices();
}

}  // namespace sim
