// Which slots have a device model, checked against the slot types.
#include <type_traits>

#include "sim_devices.h"
#include "sim_slots.h"
#include "sim_state.h"

namespace sim {
namespace {

template <Slot S, typename Fn>
SlotModel model(Fn fn) {
    static_assert(std::is_same_v<Fn, qrx::SlotType<S>>, "device model does not match the slot type");
    return SlotModel{slotIndex(S), reinterpret_cast<void *>(fn)};
}

}  // namespace

const std::vector<SlotModel> &deviceModels() {
    static const std::vector<SlotModel> models = {
        model<Slot::QuorixReadMainBoardEEprom>(&readMainBoardEeprom),
        model<Slot::QuorixWriteMainBoardEEprom>(&writeMainBoardEeprom),
        model<Slot::WriteFru>(&writeFruDevice),
        model<Slot::ReadFru>(&readFruDevice),
        model<Slot::GetCpuPresent>(&cpuPresent),
        model<Slot::QuorixOpenPipe>(&openPipe),
        model<Slot::QuorixReadPipe>(&readPipe),
        model<Slot::QuorixWritePipe>(&writePipe),
        model<Slot::ProgramCpld>(&programCpld),
        model<Slot::ProgramPsu>(&programPsu),
        model<Slot::UpgradeVr>(&upgradeVr),
        model<Slot::UpgradeVrPxe>(&upgradeVrPxe),
        model<Slot::UpgradeVrXdp>(&upgradeVrXdp),
        model<Slot::UpgradeVrMps>(&upgradeVrMps),
        model<Slot::ProgramFpga>(&programFpga),
        model<Slot::ProgramGpuFpga>(&programGpuFpga),
        model<Slot::ProgramScp>(&programScp),
    };
    return models;
}

// What an idle, healthy, powered-on server answers where no device model
// says more: checks that report a state answer "yes", everything else 0.
void resetDevices() {
    static const struct {
        Slot slot;
        int result;
    } kHealthyServer[] = {
        {Slot::checkSystemPowerOk, 1},    // system power good
        {Slot::checkPcpPowerOk, 1},    // PCP power good
        {Slot::checkBIOSPostComplete, 1},   // BIOS POST complete
        {Slot::checkBMCPostComplete, 1},  // BMC POST complete
        {Slot::checkPlatformResetOK, 1},  // platform reset done
        {Slot::checkBIOSBootOK, 1},  // BIOS booted
        {Slot::QuorixCheckFPGAEnable, 1},  // FPGA enabled
    };
    for (const auto &entry : kHealthyServer) state().results[slotIndex(entry.slot)] = entry.result;
    resetUpdateDevices();
}

}  // namespace sim
