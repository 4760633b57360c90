// Serial-port (COM) and serial-over-LAN (SOL) configuration bytes: kept in
// EEPROM, cached in the shared block for every daemon.
#include <cstdint>

#include "core/eeprom_map.h"
#include "core/export.h"
#include "core/shared_block.h"
#include "core/slot_table.h"
#include "power/power_layout.h"
#include "quorix_common_interface.h"

namespace {

namespace pw = qrx::power;

// Get: the cached byte, else the EEPROM byte; an invalid stored value reads as 0.
int getCached(std::size_t cacheOffset, int eepromOffset, int (*invalid)(unsigned char)) {
    qrx::ByteView block = qrx::sharedBlock();
    std::uint8_t cached = block.u8(cacheOffset);
    if (cached < pw::kCfgNotRead) return cached;
    unsigned char value = pw::kCfgNotRead;
    qrx::slotFn<qrx::Slot::QuorixReadMainBoardEEprom>()(eepromOffset, &value, 1);
    if (invalid(value)) {
        block.setU8(cacheOffset, 0);
        return 0;
    }
    block.setU8(cacheOffset, value);
    return value;
}

int setCached(std::size_t cacheOffset, int eepromOffset, int (*invalid)(unsigned char), unsigned char value) {
    if (invalid(value)) return -1;
    qrx::slotFn<qrx::Slot::QuorixWriteMainBoardEEprom>()(eepromOffset, &value, 1);
    qrx::sharedBlock().setU8(cacheOffset, value);
    return 0;
}

}  // namespace

extern "C" {

// Both validity tests answer true for an INVALID value; the names are kept for their callers.
QRX_EXPORT int IsComCfgValid(unsigned char value) {
    return value > 2;
}

QRX_EXPORT int IsSolCfgValid(unsigned char value) {
    return value != 2 && value != 3 && value != 4 && (value & 0xEF) != 0;
}

QRX_EXPORT int QuorixGetComCfg(void) {
    return getCached(pw::kComCfgCacheOffset, qrx::eeprom::kComCfgOffset, IsComCfgValid);
}

QRX_EXPORT int QuorixSetComCfg(unsigned char value) {
    return setCached(pw::kComCfgCacheOffset, qrx::eeprom::kComCfgOffset, IsComCfgValid, value);
}

QRX_EXPORT int QuorixGetSolCfg(void) {
    return getCached(pw::kSolCfgCacheOffset, qrx::eeprom::kSolCfgOffset, IsSolCfgValid);
}

QRX_EXPORT int QuorixSetSolCfg(unsigned char value) {
    return setCached(pw::kSolCfgCacheOffset, qrx::eeprom::kSolCfgOffset, IsSolCfgValid, value);
}

}  // extern "C"
