// The three power histories: rings of preallocated nodes in process memory,
// threaded oldest -> newest. Shared by the recorder and the readers.
#pragma once

#include <cstdint>

#include "history/history_layout.h"
#include "quorix_common_interface.h"

namespace qrx::history {

inline constexpr int kDayCapacity = 24, kMonthCapacity = 31, kYearCapacity = 12;

// The exported pointer of kind 1..3, or nullptr for any other kind.
QuorixHistoryBlock **slotOf(int kind);
// A zero-filled history holding `capacity` zero records; nullptr when out of memory.
QuorixHistoryBlock *create(int capacity);
void append(QuorixHistoryBlock *history, const unsigned char *record);
int count(const QuorixHistoryBlock *history);
// Creates the day, month and year histories that are missing (historyDataInit).
int initAll();

// Working-area channel c of a history block.
inline std::uint32_t &sampleCount(QuorixHistoryBlock *h, int c) {
    return h->work[3 * c];
}
inline std::uint32_t &sampleSum(QuorixHistoryBlock *h, int c) {
    return h->work[3 * c + 1];
}
inline std::uint32_t &sampleMax(QuorixHistoryBlock *h, int c) {
    return h->work[3 * c + 2];
}

// Raises getHistoryDataFlag while a reader walks a history, so that a
// recorder elsewhere skips its sample instead of relinking the list.
class ReaderGuard {
public:
    ReaderGuard() : saved_(getHistoryDataFlag) { getHistoryDataFlag = 1; }
    ~ReaderGuard() { getHistoryDataFlag = saved_; }
    ReaderGuard(const ReaderGuard &) = delete;
    ReaderGuard &operator=(const ReaderGuard &) = delete;

private:
    unsigned char saved_;
};

}  // namespace qrx::history
