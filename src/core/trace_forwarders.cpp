// Forwarders that print a trace line on the console before calling the slot;
// the lines are what operators grep for on the serial console.
#include <cstdint>
#include <cstdio>

#include "core/export.h"
#include "core/slot_table.h"

extern "C" {

QRX_EXPORT int QuorixSetUARTSwitchStatusInterface(int status) {
    std::printf("run QuorixSetUARTSwitchStatusInterface:UARTSwitchStatus:%d\n", status);
    return qrx::slotFn<qrx::Slot::SetUartSwitchStatus>()(status);
}

// Prints the caller's byte as it stands, before the slot fills it.
QRX_EXPORT int QuorixGetUARTSwitchStatusInterface(unsigned char *status) {
    std::printf("run QuorixGetUARTSwitchStatusInterface:UARTSwitchStatus:%d;\n", *status);
    return qrx::slotFn<qrx::Slot::GetUartSwitchStatus>()(status);
}

// Prints the pointer itself as a number (deliberately: that is the trace the
// console has always shown).
QRX_EXPORT int QuorixGetCPUTypeMisMatchInterface(unsigned char *mismatch) {
    std::printf("run QuorixGetCPUTypeMisMatchInterface:QUORIX_CPU_TYPE_MISMATCH:%d;\n",
                static_cast<int>(reinterpret_cast<std::uintptr_t>(mismatch)));
    return qrx::slotFn<qrx::Slot::GetCpuTypeMismatch>()(mismatch);
}

QRX_EXPORT int QuorixGetPSUBlackBoxInfoInterface(int psu_index, unsigned char *buffer, int length) {
    std::puts("run QuorixGetPSUBlackBoxInfoInterface:QUORIX_PSU_BLACK_BOX_INFO_GET");
    return qrx::slotFn<qrx::Slot::GetPsuBlackBoxInfo>()(psu_index, buffer, length);
}

QRX_EXPORT int QuorixSetHDDLedPwrStatusInterface(int backplane_type, int slot_number, int action_type, int action) {
    std::printf("run QuorixSetHDDLedPwrStatusInterface:BackPlaneType:%d,SlotNumber:%d,ActionType:%d,Action:%d\n",
                backplane_type, slot_number, action_type, action);
    return qrx::slotFn<qrx::Slot::SetHddLedPwrStatus>()(backplane_type, slot_number, action_type, action);
}

QRX_EXPORT int QuorixGetHDDLedPwrStatusInterface(int backplane_type, int slot_number, int action_type,
                                                 unsigned char *action) {
    std::printf("run QuorixGetHDDLedPwrStatusInterface:BackPlaneType:%d,SlotNumber:%d,ActionType:%d;\n",
                backplane_type, slot_number, action_type);
    return qrx::slotFn<qrx::Slot::GetHddLedPwrStatus>()(backplane_type, slot_number, action_type, action);
}

QRX_EXPORT int QuorixSetVMDStatusInterface(int cpu_index, int state) {
    std::puts("run QuorixSetVMDStatusInterface;");
    return qrx::slotFn<qrx::Slot::SetVmdStatus>()(cpu_index, state);
}

QRX_EXPORT int QuorixSystemOverCurrentProtectDetectShutdown(void) {
    std::puts("Run QuorixSystemOverCurrentProtectDetectShutdown......");
    return qrx::slotFn<qrx::Slot::OverCurrentProtectShutdown>()();
}

}  // extern "C"
