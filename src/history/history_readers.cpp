// Readers of the power histories for the Redfish and web back ends.
//
// Both copy whole 216-byte records, oldest first, and skip the placeholders
// a history starts with (zero records) and erased records (all 0xFF): only
// records that a closed period produced are returned. getHistoryDataNum
// still counts the ring's slots.
#include <cstdint>
#include <cstring>

#include "core/export.h"
#include "history/history_layout.h"
#include "history/history_store.h"

namespace qrx::history {
namespace {

std::uint32_t closedAt(const QuorixHistoryNode *node) {
    return ByteView(const_cast<unsigned char *>(node->record)).u32(kClosedOffset);
}

bool filled(const QuorixHistoryNode *node) {
    const std::uint32_t closed = closedAt(node);
    return closed != 0 && closed != UINT32_MAX;
}

// Copies the newest `limit` filled records, oldest first.
int copyNewest(const QuorixHistoryBlock *history, unsigned char *buffer, int limit) {
    int available = 0;
    for (const QuorixHistoryNode *n = history->tail; n != nullptr; n = n->prev) available += filled(n) ? 1 : 0;
    int skip = available > limit ? available - limit : 0;
    int copied = 0;
    for (const QuorixHistoryNode *n = history->head; n != nullptr && copied < limit; n = n->next) {
        if (!filled(n)) continue;
        if (skip > 0) {
            --skip;
            continue;
        }
        std::memcpy(buffer + kRecordSize * copied++, n->record, kRecordSize);
    }
    return copied;
}

// Copies the filled records closed within [from, to], oldest first, at most `limit`.
int copyRange(const QuorixHistoryBlock *history, std::uint32_t from, std::uint32_t to, unsigned char *buffer,
              int limit) {
    int copied = 0;
    for (const QuorixHistoryNode *n = history->head; n != nullptr && copied < limit; n = n->next) {
        if (!filled(n) || closedAt(n) < from || closedAt(n) > to) continue;
        std::memcpy(buffer + kRecordSize * copied++, n->record, kRecordSize);
    }
    return copied;
}

}  // namespace
}  // namespace qrx::history

extern "C" {

QRX_EXPORT int getHistoryData(int kind, unsigned char *buffer, int max_records) {
    QuorixHistoryBlock **slot = qrx::history::slotOf(kind);
    if (slot == nullptr || buffer == nullptr || max_records < 0) return -1;
    if (*slot == nullptr) return 0;
    qrx::history::ReaderGuard guard;
    return qrx::history::copyNewest(*slot, buffer, max_records);
}

QRX_EXPORT int copyHistoryData(int kind, unsigned int from, unsigned int to, unsigned char *buffer, int max_records) {
    QuorixHistoryBlock **slot = qrx::history::slotOf(kind);
    if (slot == nullptr || buffer == nullptr || max_records < 0 || from > to) return -1;
    if (*slot == nullptr) return 0;
    qrx::history::ReaderGuard guard;
    return qrx::history::copyRange(*slot, from, to, buffer, max_records);
}

}  // extern "C"
