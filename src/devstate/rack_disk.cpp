// Rack disk report: orders the 32 rack disk records by physical slot, with
// one of three slot tables chosen by the backplane fitted.
#include <cstring>

#include "core/byte_access.h"
#include "core/export.h"
#include "devstate/disk_layout.h"
#include "devstate/rack_layout.h"
#include "quorix_common_interface.h"

namespace {

using namespace qrx::rack;

bool nameIs(const unsigned char *field, std::size_t fieldLen, const char *name) {
    std::size_t len = strnlen(reinterpret_cast<const char *>(field), fieldLen);
    return len == std::strlen(name) && std::memcmp(field, name, len) == 0;
}

int slotOf(const char *name, const unsigned char *table, int count) {
    if (name == nullptr || table == nullptr || count < 1) return kNoSlot;
    for (int i = 0; i < count; ++i) {
        const unsigned char *entry = table + static_cast<std::size_t>(i) * kSlotEntrySize;
        // Entry names are at most 8 bytes; an unterminated one ends at the slot byte.
        if (nameIs(entry, kSlotNameLen, name)) return entry[kSlotNameLen];
    }
    return kNoSlot;
}

const SlotTable &chooseTable(const unsigned char *source) {
    if (qrx::disk::nvmeBackplanePort()) return kTable22;
    const unsigned char *record9 = source + kNvmeProbeRecord * kDiskRecordSize;
    if (!nameIs(record9 + kName, kNameLen, "NVME1")) return kTable14;
    return kTable12;
}

void writeNotAvailable(qrx::ByteView record) {
    static constexpr char kNotAvailable[] = "N/A";
    record.copyIn(kName, kNotAvailable, sizeof kNotAvailable);
}

}  // namespace

extern "C" {

QRX_EXPORT int RackHarlo_Get_Slot(const char *name, const unsigned char *table, int count) {
    return slotOf(name, table, count);
}

QRX_EXPORT int RackHarlo_Formate_DiskInfo(const unsigned char *source, unsigned char *destination) {
    if (source == nullptr || destination == nullptr) return -1;
    const SlotTable &table = chooseTable(source);
    for (int j = 0; j < kSourceRecords; ++j) {
        const unsigned char *src = source + static_cast<std::size_t>(j) * kDiskRecordSize;
        // The name field may be unterminated: copy it bounded before the lookup.
        char name[kNameLen + 1] = {};
        std::memcpy(name, src + kName, kNameLen);
        int slot = slotOf(name, table.entries, table.count);
        if (slot == kNoSlot || slot >= kDestinationRecords) continue;
        // A later record for the same slot overwrites an earlier one (the
        // tables map some pairs of names to one slot).
        qrx::ByteView dst(destination + static_cast<std::size_t>(slot) * kDiskRecordSize);
        dst.setU8(0, static_cast<unsigned char>(slot));
        dst.copyIn(1, src + 1, kDiskRecordSize - 1);
    }
    qrx::ByteView first(destination);
    for (int k = 0; k < kDestinationRecords; ++k) {
        qrx::ByteView dst(destination + static_cast<std::size_t>(k) * kDiskRecordSize);
        if (dst.u8(0) != k) {
            dst.setU8(0, static_cast<unsigned char>(k));
            writeNotAvailable(dst);
        }
        // Record 0, not record k: the pass has always marked it so.
        if (first.u8(2) == 0) writeNotAvailable(first);
    }
    return 0;
}

}  // extern "C"
