// The preserve-setup configuration flag: one EEPROM byte, cached per process.
#include <cstdio>

#include "core/eeprom_map.h"
#include "config/bios/bios_settings.h"
#include "core/export.h"
#include "core/slot_table.h"
#include "diag/log_names.h"
#include "quorix_common_interface.h"

namespace {

constexpr int kConfFlagEepromOffset = qrx::eeprom::kConfFlagOffset;
constexpr int kAttempts = 3;
constexpr unsigned char kNotRead = 255;

unsigned char g_confFlag = kNotRead;

}  // namespace

extern "C" {

QRX_EXPORT int QuorixGetConfFlagInterface(unsigned char *flag) {
    if (flag == nullptr) return -1;
    if (g_confFlag < kNotRead) {
        *flag = g_confFlag;
        return 0;
    }
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        unsigned char value = 0;
        int got = qrx::slotFn<qrx::Slot::QuorixReadMainBoardEEprom>()(kConfFlagEepromOffset, &value, 1);
        if (got == 1) {
            g_confFlag = value;
            *flag = value;
            return 0;
        }
        std::printf("[Error]: Read Preserve setup flag from EEPROM failed! Read flag Size=%d \n", got);
        qrx::debugLog(qrx::kLogCritical, qrx::kModulePowerOffProtect, "[Error]: Read Preserve setup flag from EEPROM failed! Read flag Size=%d \n",
                    got);
    }
    return -1;
}

QRX_EXPORT int QuorixSetConfFlagInterface(unsigned char value) {
    if (value > 1) return 1;
    // Preserving the setup needs the complete pending set first.
    if (value == 1 && qrx::bios::generateFutureSettings() != 0) {
        qrx::debugLog(qrx::kLogCritical, qrx::kModulePowerOffProtect, "\r\n===Generate Future Json File fail !!!======\r\n");
        return 1;
    }
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        unsigned char byte = value;
        if (qrx::slotFn<qrx::Slot::QuorixWriteMainBoardEEprom>()(kConfFlagEepromOffset, &byte, 1) == 1) {
            g_confFlag = value;
            return 0;
        }
        std::printf("\r\n===Write Conf Flag %d EEPROM fail !!!======\r\n", value);
        qrx::debugLog(qrx::kLogCritical, qrx::kModulePowerOffProtect, "\r\n===Write Conf Flag %d To EEPROM fail !!!======\r\n", value);
    }
    return 1;
}

}  // extern "C"
