// Creation, appending, counting and clearing of the power histories.
#include "history/history_store.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "core/export.h"

extern "C" {
QRX_EXPORT QuorixHistoryBlock *dayHistoryLinkHead = nullptr;
QRX_EXPORT QuorixHistoryBlock *monthHistoryLinkHead = nullptr;
QRX_EXPORT QuorixHistoryBlock *yearHistoryLinkHead = nullptr;
QRX_EXPORT unsigned char getHistoryDataFlag = 0;
}

namespace qrx::history {

static_assert(sizeof(QuorixHistoryNode{}.record) == kRecordSize, "node record size");
static_assert(sizeof(QuorixHistoryBlock{}.work) == 600, "working area size");
static_assert(sizeof(QuorixHistoryBlock) % alignof(QuorixHistoryNode) == 0, "nodes follow the header aligned");

QuorixHistoryBlock **slotOf(int kind) {
    switch (kind) {
        case kDay:
            return &dayHistoryLinkHead;
        case kMonth:
            return &monthHistoryLinkHead;
        case kYear:
            return &yearHistoryLinkHead;
        default:
            return nullptr;
    }
}

QuorixHistoryBlock *create(int capacity) {
    // One zero-filled allocation: the header, then the nodes.
    void *memory =
        std::calloc(1, sizeof(QuorixHistoryBlock) + static_cast<std::size_t>(capacity) * sizeof(QuorixHistoryNode));
    if (memory == nullptr) return nullptr;
    auto *history = static_cast<QuorixHistoryBlock *>(memory);
    history->nodes = reinterpret_cast<QuorixHistoryNode *>(history + 1);
    history->head = history->tail = nullptr;
    for (int k = 0; k < capacity; ++k) history->nodes[k].ring_next = &history->nodes[(k + 1) % capacity];
    // Filled at once, so that every later append drops the oldest record.
    const unsigned char zero[kRecordSize] = {};
    for (int k = 0; k < capacity; ++k) append(history, zero);
    return history;
}

void append(QuorixHistoryBlock *history, const unsigned char *record) {
    QuorixHistoryNode *node;
    if (history->head == nullptr) {
        node = &history->nodes[0];
        node->prev = node->next = nullptr;
        history->head = node;
    } else {
        node = history->tail->ring_next;
        if (node == history->head) {  // full: drop the oldest
            history->head = history->head->next;
            history->head->prev = nullptr;
        }
        history->tail->next = node;
        node->prev = history->tail;
        node->next = nullptr;
    }
    history->tail = node;
    std::memcpy(node->record, record, kRecordSize);
}

int count(const QuorixHistoryBlock *history) {
    int n = 0;
    for (const QuorixHistoryNode *node = history->tail; node != nullptr; node = node->prev) ++n;
    return n;
}

int initAll() {
    struct Wanted {
        QuorixHistoryBlock **slot;
        int capacity;
        const char *failure;
    };
    static const Wanted kWanted[] = {
        {&dayHistoryLinkHead, kDayCapacity, "HistoryDataInit dayHistoryLinkHead init failed"},
        {&monthHistoryLinkHead, kMonthCapacity, "HistoryDataInit monthHistoryLinkHead init failed"},
        {&yearHistoryLinkHead, kYearCapacity, "HistoryDataInit yearHistoryLinkHead init failed"},
    };
    for (const Wanted &w : kWanted) {
        if (*w.slot != nullptr) continue;
        *w.slot = create(w.capacity);
        if (*w.slot == nullptr) {
            std::puts(w.failure);
            return -1;
        }
    }
    return 0;
}

namespace {

int countOf(int kind) {
    if (kind == 0) return 0;
    if (kind >= (kExistsFlag | kDay) && kind <= (kExistsFlag | kYear))
        return *slotOf(kind & ~kExistsFlag) != nullptr ? 1 : 0;
    QuorixHistoryBlock **slot = slotOf(kind);
    if (slot == nullptr) return -1;
    return *slot != nullptr ? count(*slot) : 0;
}

int clear(int kind) {
    QuorixHistoryBlock **slot = slotOf(kind);
    if (slot == nullptr) return -1;
    QuorixHistoryBlock *history = *slot;
    if (history == nullptr || history->tail == nullptr) return 0;
    for (QuorixHistoryNode *node = history->tail; node != nullptr; node = node->prev)
        std::memset(node->record, 0xFF, kRecordSize);
    ByteView(history->tail->record).setU32(kRefreshedOffset, static_cast<std::uint32_t>(std::time(nullptr)));
    return 0;
}

}  // namespace
}  // namespace qrx::history

extern "C" {

QRX_EXPORT int historyDataInit(void) {
    return qrx::history::initAll();
}

QRX_EXPORT int AddHistoryData(QuorixHistoryBlock *history, const unsigned char *record) {
    if (history == nullptr || record == nullptr || history->nodes == nullptr) return -1;
    qrx::history::append(history, record);
    return 0;
}

QRX_EXPORT int getHistoryDataNum(int kind) {
    return qrx::history::countOf(kind);
}

QRX_EXPORT int clearHistoryData(int kind) {
    return qrx::history::clear(kind);
}

}  // extern "C"
