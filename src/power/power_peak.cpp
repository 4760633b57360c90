// Staggered power-on: the configured maximum delay (EEPROM, cached per
// process), its OEM get/set handlers and the random wait.
#include <unistd.h>

#include <cstdint>
#include <cstdio>

#include "core/completion_codes.h"
#include "core/byte_access.h"
#include "core/export.h"
#include "core/slot_table.h"
#include "core/eeprom_map.h"
#include "diag/log_names.h"
#include "power/power_layout.h"
#include "quorix_common_interface.h"
#include "quorix_platform.h"

namespace {

namespace pw = qrx::power;

constexpr unsigned char kCcEepromFailed = 0x83;
using namespace qrx::cc;

std::uint16_t g_powerPeakDelay = pw::kPowerPeakNotRead;

// Get handler: completion code, then the delay in seconds (u16); the EEPROM
// is read once per process.
int getPowerPeakConfig(unsigned char *request, int length, unsigned char *response) {
    (void)request;
    if (response == nullptr) return 0;
    if (length != 0) {
        response[0] = kCcReqDataLenInvalid;
        return 1;
    }
    if (g_powerPeakDelay == pw::kPowerPeakNotRead) {
        unsigned char raw[2] = {};
        int got = qrx::slotFn<qrx::Slot::QuorixReadMainBoardEEprom>()(qrx::eeprom::kPowerPeakOffset, raw, 2);
        if (got != 2) {
            qrx::debugLog(qrx::kLogCritical, qrx::kModuleMonitor, "Read power peak config from EEPROM failed! retval=%d", got);
            response[0] = kCcEepromFailed;
            return 1;
        }
        std::uint16_t value = qrx::ByteView(raw).u16(0);
        // An out-of-range value is cached as the read's byte count; kept deliberately,
        // callers see 2 seconds for an unprogrammed part.
        g_powerPeakDelay = value <= pw::kPowerPeakMaxDelay ? value : static_cast<std::uint16_t>(got);
    }
    response[0] = kCcOk;
    qrx::ByteView(response).setU16(1, g_powerPeakDelay);
    return 3;
}

}  // namespace

extern "C" {

QRX_EXPORT int QuorixGetPowerPeakConfigInterface(unsigned char *request, int length, unsigned char *response) {
    return getPowerPeakConfig(request, length, response);
}

QRX_EXPORT int QuorixSetPowerPeakConfigInterface(unsigned char *request, int length, unsigned char *response) {
    if (request == nullptr || response == nullptr) return 0;
    if (length != 2) {
        response[0] = kCcReqDataLenInvalid;
        return 1;
    }
    std::uint16_t value = qrx::ByteView(request).u16(0);
    if (value > pw::kPowerPeakMaxDelay) {
        response[0] = kCcInvalidDataField;
        return 1;
    }
    g_powerPeakDelay = value;
    unsigned char raw[2];
    qrx::ByteView(raw).setU16(0, value);
    int written = qrx::slotFn<qrx::Slot::QuorixWriteMainBoardEEprom>()(qrx::eeprom::kPowerPeakOffset, raw, 2);
    response[0] = written == 2 ? kCcOk : kCcEepromFailed;
    return 1;
}

QRX_EXPORT int RunPowerPeakSleep(void) {
    unsigned char response[3] = {};
    getPowerPeakConfig(nullptr, 0, response);
    if (response[0] != kCcOk) {
        qrx::debugLog(qrx::kLogCritical, qrx::kModuleMonitor, "Get Quorix power peak config failed!");
        return -1;
    }
    unsigned maxDelay = qrx::ByteView(response).u16(1);
    qrx::debugLog(qrx::kLogCritical, qrx::kModuleMonitor, "Quorix power peak config, state: %d, Max delay time:%d", response[0], maxDelay);
    // 600 is a valid setting but does not delay; kept as the policy daemon expects.
    if (maxDelay >= 1 && maxDelay <= 599) {
        unsigned char random[4] = {};
        generate_random_number(random, sizeof random);
        std::uint32_t r = qrx::ByteView(random).u32(0);
        std::uint32_t delayMs = r % (maxDelay * 1000u + 1u);
        unsigned seconds = delayMs / 1000u;
        unsigned millis = delayMs % 1000u;
        qrx::debugLog(qrx::kLogCritical, qrx::kModuleMonitor, "Chassis power on, max delay time=%ds, delay time=%ds,%dms", maxDelay, seconds,
                    millis);
        std::printf("[Note]: Chassis power on, max delay time=%ds, delay time=%ds,%dms\n", maxDelay, seconds, millis);
        std::fflush(stdout);
        sleep(seconds);
        usleep(millis * 1000u);
    }
    return 0;
}

}  // extern "C"
