// FRU access with its length checks and protected devices, the asset write
// side effect, scan enables, ME access and the presence checks.
#include <cstdio>
#include <cstring>

#include "core/export.h"
#include "devstate/fru_records.h"
#include "core/eeprom_map.h"
#include "core/slot_table.h"
#include "devstate/board_layout.h"
#include "devstate/disk_layout.h"
#include "devstate/flags_layout.h"
#include "diag/log_names.h"
#include "quorix_common_interface.h"

namespace {

using namespace qrx::flags;

constexpr int kFirstProtectedFru = 30;  // devices 30..33 are never written from here
constexpr int kLastProtectedFru = 33;
// The 24256 part: 32 KiB written in 64-byte pages; a write must not cross a
// page, and an erased byte reads 0xFF.
constexpr int kEeprom24256Size = 32 * 1024;
constexpr int kEeprom24256Page = 64;
constexpr unsigned char kErasedByte = 0xFF;

qrx::ByteView block() { return qrx::sharedBlock(); }

void setAllScans(unsigned char value) {
    for (unsigned k = 0; k < kScanCount; ++k) block().setU8(kScanEnableOffset + k, value);
}

}  // namespace

// A short read is a failure, never a partial success.
int qrx::devstate::readFru(int device, int offset, int length, unsigned char *buffer) {
    auto read = qrx::slotFn<qrx::Slot::ReadFru>();
    if (read == nullptr) return -2;
    int got = read(device, offset, length, buffer);
    if (got == length) return length;
    std::printf("[INFO]: Read FRU Info Failed. Length = %d\n", got);
    return -1;
}

extern "C" {

QRX_EXPORT int quorix_read_fru(int device, int offset, int length, unsigned char *buffer) {
    return qrx::devstate::readFru(device, offset, length, buffer);
}

QRX_EXPORT int quorix_write_fru(int device, int offset, int length, unsigned char *buffer) {
    if (device >= kFirstProtectedFru && device <= kLastProtectedFru) return -1;
    auto write = qrx::slotFn<qrx::Slot::WriteFru>();
    if (write == nullptr) return -2;
    int result = write(device, offset, length, buffer);
    if (result == -1) {
        std::printf("[INFO]: Write FRU Info Failed. Ret = %d\n", result);
        return -1;
    }
    return result;
}

QRX_EXPORT int QuorixWriteAssetInfo2EEpromInterface(int offset, unsigned char *buffer, int length) {
    int result = qrx::slotFn<qrx::Slot::QuorixWrite24256EEprom>()(offset, buffer, length);
    if (result == 0 && offset == qrx::eeprom::kAssetInfoOffset) {
        // New asset data: the BIOS information must reach the CPLD again.
        std::printf("ForceSetBiosInfo2Cpld when write asset info,offset:0x%x!! \n", qrx::eeprom::kAssetInfoOffset);
        block().setU8(kForceBiosInfoToCpldOffset, 1);
    }
    return result;
}

QRX_EXPORT int QuorixClearEEPROMInfo(int offset, int length) {
    if (offset < 0 || length <= 0 || length > kEeprom24256Size - offset) return -1;
    unsigned char erased[kEeprom24256Page];
    std::memset(erased, kErasedByte, sizeof erased);
    const int end = offset + length;
    for (int at = offset; at < end;) {
        const int pageLeft = kEeprom24256Page - at % kEeprom24256Page;
        const int chunk = end - at < pageLeft ? end - at : pageLeft;
        if (qrx::slotFn<qrx::Slot::QuorixWrite24256EEprom>()(at, erased, chunk) != 0) {
            qrx::debugLog(qrx::kLogError, qrx::kModuleMonitor, "QuorixClearEEPROMInfo: write of %d bytes at %d failed\n", chunk, at);
            return -1;
        }
        at += chunk;
    }
    // Cleared asset data leaves the CPLD's copy of the BIOS information stale.
    if (offset <= qrx::eeprom::kAssetInfoOffset && qrx::eeprom::kAssetInfoOffset < end) block().setU8(kForceBiosInfoToCpldOffset, 1);
    return 0;
}

QRX_EXPORT int read_me_access_status(void) { return block().u8(kMeAccessOffset); }

QRX_EXPORT int write_me_access_status(unsigned int value) {
    if (value > kMeAccessMax) return -1;
    block().setU8(kMeAccessOffset, static_cast<unsigned char>(value));
    return 0;
}

QRX_EXPORT int read_device_scan_enable(unsigned int index) {
    return qrx::flags::scanEnable(index);
}

QRX_EXPORT int write_device_scan_enable(unsigned int index, unsigned int value) {
    if (index >= kScanCount || value > kScanEnableMax) return -1;
    block().setU8(kScanEnableOffset + index, static_cast<unsigned char>(value));
    return 0;
}

QRX_EXPORT int StartQuorixMonitorScan(void) {
    setAllScans(1);
    return 0;
}

QRX_EXPORT int StopQuorixMonitorScan(void) {
    setAllScans(0);
    return 0;
}

QRX_EXPORT int checkBackPlanePresent(void) {
    for (int k = 0; k < qrx::disk::kBackplaneRecords; ++k)
        if (qrx::disk::backplanePresent(k)) return 0;
    return -1;
}

QRX_EXPORT int checkFanPlanePresent(void) {
    for (int k = 0; k < qrx::board::kFanPlaneRecords; ++k)
        if (qrx::board::fanPlanePresent(k)) return 0;
    return -1;
}

}  // extern "C"
