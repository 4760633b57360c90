// Power-on policy support: the button-press marker, the power-state poll
// that keeps the pre-outage state in EEPROM, and that EEPROM byte.
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "core/eeprom_map.h"
#include "core/export.h"
#include "core/shared_block.h"
#include "core/slot_table.h"
#include "diag/log_names.h"
#include "ipc/wire_records.h"
#include "power/power_layout.h"
#include "quorix_common_interface.h"

namespace {

namespace pw = qrx::power;

constexpr unsigned char kIdlSourcePowerPolicy = 0x14;
constexpr unsigned char kIdlTextKind = 0;
constexpr unsigned char kIdlTextFlag = 1;
constexpr const char *kPolicyNotStartText =
    "Power button has been pressed before power policy starting,So power policy no start";
// Time the CPLD needs to latch an AC failure after the state dropped.
constexpr unsigned kAcFailSettleSeconds = 2;

unsigned char g_lastPowerState = 0;

// The power state byte in the main-board EEPROM, written or read: 0, -3 for
// no buffer, -2 when the transfer fails.
int powerStatusByte(unsigned char *buffer, bool write) {
    if (buffer == nullptr) {
        qrx::debugLog(qrx::kLogError, qrx::kModuleMonitor,
                      write ? "NULL buffer pointer passed into read policy!"
                            : "NULL buffer pointer passed into read power  status!");
        return -3;
    }
    int done = write ? qrx::slotFn<qrx::Slot::QuorixWriteMainBoardEEprom>()(qrx::eeprom::kPowerStatusOffset, buffer, 1)
                     : qrx::slotFn<qrx::Slot::QuorixReadMainBoardEEprom>()(qrx::eeprom::kPowerStatusOffset, buffer, 1);
    if (done != 1) {
        qrx::debugLog(qrx::kLogError, qrx::kModuleMonitor,
                      write ? "Write power status from EEPROM failed! retval=%d"
                            : "Read power last status from EEPROM failed! retval=%d",
                      done);
        return -2;
    }
    return 0;
}

int clearPressMarker() {
    if (unlink(pw::kPressMarkerPath) != 0)
        qrx::debugLog(qrx::kLogCritical, qrx::kModuleMonitor, "Unlink %s fail in ClearPowerButtonPressFaileFlag \n",
                    pw::kPressMarkerPath);
    return 0;
}

}  // namespace

extern "C" {

QRX_EXPORT int IsPowerPolicyNeedRun(void) {
    return access(pw::kPressMarkerPath, F_OK) == 0 ? 0 : 1;
}

QRX_EXPORT int ClearPowerButtonPressFaileFlag(void) {
    return clearPressMarker();
}

QRX_EXPORT int LoggingPowerPolicyNotStartCause(int value) {
    // Logs when the caller passes 0; the inverted sense is what the callers rely on.
    if (value != 0) return -1;
    clearPressMarker();
    namespace w = qrx::ipc;
    w::IdlRecord record;
    record.logType(w::kIdlLogStampTime)
        .source(kIdlSourcePowerPolicy)
        .textLine(kIdlTextKind, kIdlTextFlag, kPolicyNotStartText);
    w::postToIdl(record.record());
    return 0;
}

QRX_EXPORT int QuorixEEPROMWritePowerStatus(unsigned char *buffer) {
    return powerStatusByte(buffer, true);
}

QRX_EXPORT int QuorixEEPROMReadPowerStatus(unsigned char *buffer) {
    return powerStatusByte(buffer, false);
}

QRX_EXPORT int QuorixMonitorPowerStatus(int a, int b, int c) {
    unsigned char state = static_cast<unsigned char>(qrx::slotFn<qrx::Slot::checkSystemPowerOk>()(a, b, c));
    qrx::sharedBlock().setU8(pw::kCurrentPowerStateOffset, state);
    if (state == g_lastPowerState) return 0;
    g_lastPowerState = state;
    if (state == 0) {
        sleep(kAcFailSettleSeconds);
        if (qrx::slotFn<qrx::Slot::GetACFailFromCPLD>()()) {
            // Keep the state from before the outage for the power-on policy.
            qrx::debugLog(qrx::kLogCritical, qrx::kModuleMonitor,
                        "MBCPLD detected AC_FAIL, stop write power status to EEPROM.");
            return 0;
        }
    }
    powerStatusByte(&state, true);
    qrx::debugLog(qrx::kLogCritical, qrx::kModuleMonitor, "Write power status to EEPROM. Status=%d", state);
    return 0;
}

}  // extern "C"
