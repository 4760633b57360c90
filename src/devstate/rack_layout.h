// Rack disk records and the slot tables of the rack disk report.
//
// Rack disk record (114 bytes): +0 slot number (destination), +1..+113
// carried over from the source record, +76 disk name text ("sSATA0",
// "SATA3", "NVME1", ...).
// Slot table entry (9 bytes): name of up to 8 bytes, zero-padded, then the
// slot number byte.
#pragma once

#include <cstddef>

namespace qrx::rack {

inline constexpr std::size_t kDiskRecordSize = 114, kName = 76, kNameLen = kDiskRecordSize - kName;
inline constexpr int kSourceRecords = 32;
inline constexpr int kDestinationRecords = 18;
inline constexpr int kNvmeProbeRecord = 9;  // its name picks the 14- or 12-entry table

inline constexpr std::size_t kSlotNameLen = 8;
inline constexpr std::size_t kSlotEntrySize = kSlotNameLen + 1;
inline constexpr int kNoSlot = 255;

struct SlotName {
    const char *name;
    unsigned char slot;
};

template <std::size_t N>
struct SlotEntries {
    unsigned char bytes[N * kSlotEntrySize];
};

template <std::size_t N>
constexpr SlotEntries<N> packSlots(const SlotName (&names)[N]) {
    SlotEntries<N> packed{};
    for (std::size_t i = 0; i < N; ++i) {
        for (std::size_t c = 0; c < kSlotNameLen && names[i].name[c] != '\0'; ++c)
            packed.bytes[i * kSlotEntrySize + c] = static_cast<unsigned char>(names[i].name[c]);
        packed.bytes[i * kSlotEntrySize + kSlotNameLen] = names[i].slot;
    }
    return packed;
}

// Kept as the platform defines them: some pairs share a slot ("SATA7" and
// "NVME1" in the first, "SATA5" and "NVME1" in the second) and the 12-entry
// table has no "SATA3".
inline constexpr SlotName kNames22[] = {
    {"sSATA0", 0}, {"sSATA1", 1}, {"sSATA2", 2}, {"sSATA3", 3}, {"sSATA4", 4}, {"sSATA5", 5},
    {"SATA0", 10}, {"SATA1", 11}, {"SATA2", 12}, {"SATA3", 13}, {"SATA4", 14}, {"SATA5", 15},
    {"SATA6", 16}, {"SATA7", 17}, {"NVME1", 17}, {"NVME2", 16}, {"NVME3", 15}, {"NVME4", 14},
    {"NVME5", 13}, {"NVME6", 12}, {"NVME7", 11}, {"NVME8", 10},
};
inline constexpr SlotName kNames14[] = {
    {"sSATA0", 0}, {"sSATA1", 1}, {"sSATA2", 2}, {"sSATA3", 3}, {"sSATA4", 4}, {"sSATA5", 5}, {"SATA0", 6},
    {"SATA1", 7},  {"SATA2", 8},  {"SATA3", 9},  {"SATA4", 10}, {"SATA5", 11}, {"NVME1", 11}, {"NVME2", 10},
};
inline constexpr SlotName kNames12[] = {
    {"sSATA0", 0}, {"sSATA1", 1}, {"sSATA2", 2}, {"sSATA3", 3}, {"sSATA4", 4},  {"sSATA5", 5},
    {"SATA0", 6},  {"SATA1", 7},  {"SATA2", 8},  {"NVME1", 9},  {"SATA4", 10}, {"SATA5", 11},
};
static_assert(sizeof kNames22 / sizeof kNames22[0] == 22 && sizeof kNames14 / sizeof kNames14[0] == 14 &&
                  sizeof kNames12 / sizeof kNames12[0] == 12,
              "slot table sizes");

inline constexpr auto kPacked22 = packSlots(kNames22);
inline constexpr auto kPacked14 = packSlots(kNames14);
inline constexpr auto kPacked12 = packSlots(kNames12);

struct SlotTable {
    const unsigned char *entries;
    int count;
};
inline constexpr SlotTable kTable22{kPacked22.bytes, 22};
inline constexpr SlotTable kTable14{kPacked14.bytes, 14};
inline constexpr SlotTable kTable12{kPacked12.bytes, 12};

}  // namespace qrx::rack
