// Polling passes over the PCIe GPUs and accelerators: each ready device is
// handed to the platform's query, which leaves what it read in the block.
#include "core/export.h"
#include "core/slot_table.h"
#include "devstate/pcie_layout.h"

namespace {

template <typename Query>
int pollReady(std::size_t table, Query query) {
    for (int i = 0; i < qrx::pcie::kMaxDevices; ++i)
        if (qrx::pcie::ready(table, i)) query(i);
    return 0;
}

}  // namespace

extern "C" {

QRX_EXPORT int QuorixGetPcieGPUThread(void) {
    return pollReady(qrx::pcie::kGpuReadinessOffset, qrx::slotFn<qrx::Slot::QuorixGetPcieGPUInfo>());
}

QRX_EXPORT int QuorixGetPcieAcceleratorsThread(void) {
    return pollReady(qrx::pcie::kAcceleratorReadinessOffset, qrx::slotFn<qrx::Slot::QuorixGetPcieAcceleratorsInfo>());
}

}  // extern "C"
