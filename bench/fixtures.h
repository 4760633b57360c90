// Block contents and control files the benchmarks and the instruction probe
// set up before measuring: a full server as the monitor sees it.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "core/shared_block.h"
#include "devstate/board_layout.h"
#include "devstate/disk_layout.h"
#include "devstate/psu_layout.h"
#include "history/history_layout.h"
#include "quorix_common_interface.h"

namespace qbench {

// Eight present supplies with readings in every field the summary converts.
inline void fillSupplies() {
    qrx::ByteView block = qrx::sharedBlock();
    block.setU8(qrx::psu::kCountOffset, qrx::psu::kMaxRecords);
    for (int i = 0; i < qrx::psu::kMaxRecords; ++i) {
        qrx::ByteView r = block.at(qrx::psu::kRecordsOffset + qrx::psu::kRecordSize * static_cast<std::size_t>(i));
        r.setU8(qrx::psu::rec::kPresent, 1);
        r.setU16(qrx::psu::rec::kStatusWord, 0x0840);
        r.setF32(qrx::psu::rec::kAmbientTemperature, 31.5f + static_cast<float>(i));
        r.setF32(qrx::psu::rec::kInputPower, 412.25f);
        r.setF32(qrx::psu::rec::kOutputPower, 388.5f);
        r.setF32(qrx::psu::rec::kInputVolt, 229.7f);
        r.setF32(qrx::psu::rec::kOutputVolt, 12.06f);
        r.setF32(qrx::psu::rec::kInputCurrent, 1.82f);
        r.setF32(qrx::psu::rec::kOutputCurrent, 32.4f);
        std::memcpy(r.at(qrx::psu::rec::kSerialNum).data(), "PSU-SN-0001234", 14);
    }
}

// Front table: 8 backplanes in use with 36 slots each, every disk present.
inline void fillFrontDisks() {
    using namespace qrx::disk;
    qrx::ByteView block = qrx::sharedBlock();
    block.setU8(kFrontBackplaneCountOffset, kFrontBackplanes);
    for (int k = 0; k < kFrontBackplanes; ++k) {
        qrx::ByteView bp = block.at(kBackplaneRecordsOffset + kBackplaneRecordSize * static_cast<std::size_t>(k));
        bp.setU8(0, 1);
        bp.setU8(1, 254);
        bp.setU8(558, kDisksPerBackplane);
    }
    for (int d = 0; d < kFrontDisks; ++d) {
        qrx::ByteView r = block.at(kFrontTableOffset + kRecordSize * static_cast<std::size_t>(d));
        r.setU8(kSensorPresence, 1);
        r.setU8(kPresence, 1);
        r.setU8(kNvmeTemperature, static_cast<unsigned char>(30 + d % 17));
        std::memcpy(r.at(kSerial).data(), "S4EWNX0R123456", 14);
    }
}

// A full front table after the scans that take the disks in and send the
// presence assertion: later scans change nothing. True when all 288 count.
inline bool scanFrontDisksIn() {
    fillFrontDisks();
    for (int scan = 0; scan < 8; ++scan) QuorixSetHDDSensor(1);
    return QuorixGetHDDNumSupport(1) == qrx::disk::kFrontDisks;
}

// Supplies, the class-3 reading and 40 devices ready for the history
// recorder, with sampling switched on; true once it took its first sample.
inline bool prepareHistoryRecorder() {
    using namespace qrx::history;
    if (historyDataInit() != 0) return false;
    for (unsigned scan : {kClass0Scan, kSupplyScan, kClass3Scan}) write_device_scan_enable(scan, kScanSampling);
    qrx::ByteView block = qrx::sharedBlock();
    for (int i = 0; i < kSupplies; ++i) {
        block.setU8(kSupplyPresentBase + kSupplyStride * static_cast<std::size_t>(i), 1);
        block.setF32(kSupplyReadingBase + kSupplyStride * static_cast<std::size_t>(i), 401.6f + static_cast<float>(i));
    }
    block.setU16(kTotalPowerOffset, 3240);
    block.setF32(kClass3ReadingOffset, 57.5f);
    for (int j = 0; j < kDevices; ++j) {
        block.setU8(kDevicePresentBase + kDeviceStride * static_cast<std::size_t>(j), 1);
        block.setU16(kDeviceReadingBase + kDeviceStride * static_cast<std::size_t>(j),
                     static_cast<std::uint16_t>(20 + j));
    }
    return historyDataRecord() == 0 && getHistoryDataNum(kDay) >= 1;
}

inline constexpr const char *kReloadMarker = "/var/quorix_debug_reload";

inline void touch(const char *path) {
    int fd = open(path, O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    if (fd >= 0) close(fd);
}

// Debug log with threshold Critical, module enabled, console path: only the
// level filters. The marker is created for one call so that an earlier cache
// is replaced; true when the setting took.
inline bool prepareDebugCriticalOnly() {
    mkdir("/conf/quorix_debug", 0755);
    unlink("/conf/quorix_debug/LEVEL_INFO");
    touch("/conf/quorix_debug/LEVEL_CRITICAL");
    touch("/conf/quorix_debug/PATH_SERIAL");
    touch("/conf/quorix_debug/ENABLE_QRXMONITOR");
    touch(kReloadMarker);
    QuorixDebug(0, "QRXMONITOR", "load");
    unlink(kReloadMarker);
    return GetDebugEanleLevel() == 3 && access(kReloadMarker, F_OK) != 0;
}

}  // namespace qbench
