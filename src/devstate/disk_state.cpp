// Disk tables and backplane counts: copies in and out, serial numbers, NVMe
// readers and the count of supported disks.
#include <cstdio>
#include <cstring>

#include "core/export.h"
#include "diag/log_names.h"
#include "devstate/disk_layout.h"
#include "quorix_common_interface.h"

namespace {

using namespace qrx::disk;

constexpr char kNoSerial[] = "NULL";
constexpr int kSnFrontNumbers = 78;  // 0..77 front records, 78..86 rear records 0..8
constexpr int kSnRearNumbers = 9;
constexpr unsigned char kNvmeBackplaneSlots = 6;

qrx::ByteView block() { return qrx::sharedBlock(); }

struct Table {
    std::size_t offset;
    std::size_t size;
};

bool tableOf(int cpldType, Table &table) {
    if (cpldType == kCpldFront) table = {kFrontTableOffset, kFrontTableSize};
    else if (cpldType == kCpldRear) table = {kRearTableOffset, kRearTableSize};
    else return false;
    return true;
}

int backplaneCountLogged(std::size_t offset, int max, const char *format) {
    int n = block().u8(offset);
    if (n <= max) return n;
    qrx::debugLog(qrx::kLogCritical, qrx::kModuleMonitor, format, n, max);
    return max;
}

// Visits front records first..last (both included) that lie in the block;
// the loop is bounded by the block, not by the caller's numbers.
template <typename Visit>
void forFrontRange(int first, int last, Visit visit) {
    if (first > last) return;
    long long lo = first < 0 ? 0 : first;
    long long maxInside = static_cast<long long>((qrx::kSharedBlockSize - kFrontTableOffset) / kRecordSize) - 1;
    long long hi = last > maxInside ? maxInside : last;
    for (long long i = lo; i <= hi; ++i) visit(block().at(diskRecordOffset(kFrontTableOffset, i)));
}

}  // namespace

namespace qrx::disk {

int numSupport(int cpldType) {
    int count;
    int firstRecord;
    if (cpldType == kCpldFront) {
        count = block().u8(kFrontBackplaneCountOffset);
        firstRecord = 0;
    } else if (cpldType == kCpldRear) {
        count = block().u8(kRearBackplaneCountOffset);
        firstRecord = kFirstRearBackplane;
    } else {
        std::printf("WriteHwHDDInfo,error CpldType:%d!!\n", cpldType);
        return -1;
    }
    // The count is used as it stands: a front count above 8 runs on into the
    // rear records. Records past the block are never read.
    int total = 0;
    for (int k = firstRecord; k < firstRecord + count; ++k) {
        std::size_t at = backplaneOffset(k);
        if (!insideSharedBlock(at, kBackplaneRecordSize)) break;
        if (block().u8(at + kBpInUse) != 1) continue;
        unsigned char slots = block().u8(at + kBpDiskSlots);
        total += slots == kBpSlotsUnknown ? 0 : slots;
    }
    return total;
}

bool nvmeBackplanePort() {
    for (int k = 0; k < kFrontBackplanes; ++k)
        if (block().u8(backplaneOffset(k) + kBpDiskSlots) == kNvmeBackplaneSlots) return true;
    return false;
}

}  // namespace qrx::disk

extern "C" {

QRX_EXPORT int WriteHwHDDInfo(const unsigned char *image, int cpld_type) {
    Table table;
    if (image == nullptr) return -1;
    if (!tableOf(cpld_type, table)) {
        std::printf("WriteHwHDDInfo,error CpldType:%d!!\n", cpld_type);
        return -1;
    }
    block().copyIn(table.offset, image, table.size);
    return 0;
}

QRX_EXPORT int QuorixGetHDDInfoFromShareMem(unsigned char *image, int cpld_type) {
    Table table;
    if (image == nullptr || !tableOf(cpld_type, table)) return -1;
    block().copyOut(table.offset, image, table.size);
    return 0;
}

QRX_EXPORT int QuorixReadFrontHDDBlackPlaneNum(void) {
    return backplaneCountLogged(kFrontBackplaneCountOffset, kFrontBackplanes,
                                "QuorixReadFrontHDDBlackPlaneNum:backplane num(%d) > max num(%d)");
}

QRX_EXPORT int QuorixReadRearHDDBlackPlaneNum(void) {
    return backplaneCountLogged(kRearBackplaneCountOffset, kRearBackplanes,
                                "QuorixReadRearHDDBlackPlaneNum:backplane num(%d) > max num(%d)");
}

QRX_EXPORT int GetMaxFrontHDDNVMETemp(int first, unsigned int last) {
    int highest = 0;
    forFrontRange(first, static_cast<int>(last), [&](qrx::ByteView rec) {
        if (rec.u8(kPresence) == 1 && rec.u8(kNvmeTemperature) > highest) highest = rec.u8(kNvmeTemperature);
    });
    return highest;
}

QRX_EXPORT int GetMaxFrontHDDNVMEPresentNum(int first, unsigned int last) {
    int present = 0;
    forFrontRange(first, static_cast<int>(last), [&](qrx::ByteView rec) {
        if (rec.u8(kPresence) == 1) ++present;
    });
    return present;
}

QRX_EXPORT int QuorixGetHDDSN(int disk, unsigned char *serial) {
    if (serial == nullptr) return -1;
    std::size_t at = qrx::kSharedBlockSize;
    if (disk >= 0 && disk < kSnFrontNumbers) at = diskRecordOffset(kFrontTableOffset, disk);
    else if (disk >= kSnFrontNumbers && disk < kSnFrontNumbers + kSnRearNumbers)
        at = diskRecordOffset(kRearTableOffset, disk - kSnFrontNumbers);
    if (at != qrx::kSharedBlockSize && block().u8(at + kPresence) == 1)
        block().copyOut(at + kSerial, serial, kSerialLen);
    else
        std::memcpy(serial, kNoSerial, sizeof kNoSerial);
    return 0;
}

QRX_EXPORT int QuorixGetHDDNumSupport(int cpld_type) { return qrx::disk::numSupport(cpld_type); }

QRX_EXPORT int QuorixGetHDDSensorMonitorState(void) { return block().u8(kSensorMonitorStateOffset); }

QRX_EXPORT int RackHarlo_Get_BackPlanePort(void) { return qrx::disk::nvmeBackplanePort() ? 1 : 0; }

}  // extern "C"
