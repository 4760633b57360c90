// Operations that do more than one call around the table.
#include <cstdio>

#include "core/completion_codes.h"
#include "core/export.h"
#include "core/shared_block.h"
#include "core/slot_table.h"
#include "devstate/fan_layout.h"

namespace {

constexpr int kFanPresentTries = 10, kDiagInterruptChassisCode = 18, kDiagInterruptAssert = 1, kBootSelectorBios = 0;
constexpr int kBootSelectorScp = 1, kFpgaTypeMainBoard = 0;
constexpr int kBiosBmcRequestLength = 2;  // item, value

int g_gpuBoxCallCount = 0;

// Reads the selector of a flash pair and selects the other one.
int switchBootFlash(int which) {
    int current = qrx::slotFn<qrx::Slot::QuorixGetBIOSBootSelector>()(which);
    return qrx::slotFn<qrx::Slot::QuorixSetBIOSBootSelector>()((current & 1) == 0 ? 1 : 0, which);
}

}  // namespace

extern "C" {

QRX_EXPORT int BmcUpdateShareLink(int port, int mode) {
    int dialSwitch = qrx::slotFn<qrx::Slot::BmcCheckDialSwitchStatus>()(port, mode);
    if (dialSwitch != 0) return dialSwitch;
    return qrx::slotFn<qrx::Slot::BmcShareLinkDisable>()();
}

QRX_EXPORT int quorixPlatInit(void) {
    qrx::ByteView block = qrx::sharedBlock();
    if (block.u8(qrx::kPlatformInitialisedOffset) == 1) return 0;
    int result = qrx::slotFn<qrx::Slot::PlatformInit>()();
    // Set whatever the slot returned: the platform initialisation runs once.
    block.setU8(qrx::kPlatformInitialisedOffset, 1);
    return result;
}

QRX_EXPORT int QuorixGetGPUBoxDevInfo(void) {
    qrx::slotFn<qrx::Slot::GetGpuBoxDevInfo>()(g_gpuBoxCallCount);
    ++g_gpuBoxCallCount;
    return 0;
}

QRX_EXPORT int QuorixRetryGetFanPresent(int fan_index, unsigned char *present) {
    int result = -1;
    for (int attempt = 0; attempt < kFanPresentTries; ++attempt) {
        result = qrx::slotFn<qrx::Slot::quorixGetFanPresent>()(fan_index, present);
        if (result == 0) break;
    }
    return result;
}

QRX_EXPORT int QuorixDiagInterruptChassis(void) {
    return qrx::slotFn<qrx::Slot::SetBiosBmcItem>()(kDiagInterruptChassisCode, kDiagInterruptAssert) == 0 ? 0 : -1;
}

QRX_EXPORT int QuorixSetBIOSBMCInterface(const unsigned char *request, int length, unsigned char *response) {
    if (request == nullptr || response == nullptr) return -1;
    if (length != kBiosBmcRequestLength) {
        response[0] = qrx::cc::kCcReqDataLenInvalid;
        return 1;
    }
    int result = qrx::slotFn<qrx::Slot::SetBiosBmcItem>()(request[0], request[1]);
    response[0] = result == 0 ? qrx::cc::kCcOk : qrx::cc::kCcUnspecified;
    return 1;
}

QRX_EXPORT int QuorixBiosSwitchNode(void) { return switchBootFlash(kBootSelectorBios); }

QRX_EXPORT int QuorixScpSwitchNode(void) { return switchBootFlash(kBootSelectorScp); }

QRX_EXPORT int QuorixUpdateFpgaVersion(int fpga_type, int index, unsigned char *version) {
    (void)index;  // replaced by the kind, as the platform expects (like the CPLD version)
    if (fpga_type != kFpgaTypeMainBoard) {
        std::printf("\r\n====Error fpga type:%d   =====\r\n", fpga_type);
        return -1;
    }
    return qrx::slotFn<qrx::Slot::UpdateFpgaVersion>()(kFpgaTypeMainBoard, kFpgaTypeMainBoard, version);
}

QRX_EXPORT int RTC_DeviceControl(int command, void *data) {
    qrx::slotFn<qrx::Slot::QuorixSetRtcLockStatus>()(1);
    int result = qrx::slotFn<qrx::Slot::RtcDeviceControl>()(command, data);
    qrx::slotFn<qrx::Slot::QuorixSetRtcLockStatus>()(0);
    return result;
}

QRX_EXPORT int get_hw_fan_info(unsigned char *info, int index) {
    if (info == nullptr || index > qrx::fan::count()) return -1;
    return qrx::slotFn<qrx::Slot::GetFanInfo>()(info, index);
}

}  // extern "C"
