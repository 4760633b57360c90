// CPU presence pins of the simulated board: the sockets a fixture filled
// (their present bytes in the block) read as populated.
#include "devstate/board_layout.h"
#include "sim_devices.h"
#include "sim_state.h"

namespace sim {

int cpuPresent(int cpuIndex) {
    countCall(Slot::GetCpuPresent);
    if (cpuIndex < 0 || cpuIndex >= qrx::board::kMaxCpus) return -1;
    return block()[qrx::board::cpuPresentOffset(cpuIndex)] == 1 ? 1 : 0;
}

}  // namespace sim
