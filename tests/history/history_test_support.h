// Helpers shared by the power-history tests.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <vector>

#include "core/byte_access.h"
#include "quorix_common_interface.h"
#include "quorix_test.h"

namespace htest {

using Record = std::vector<unsigned char>;

// A record whose fields all differ: channel c average 0x100*c + 0x12 + k and
// maximum one more; time fields from k.
inline Record makeRecord(unsigned k) {
    Record r(QUORIX_HISTORY_RECORD_SIZE, 0);
    qrx::ByteView v(r.data());
    for (int c = 0; c < 50; ++c) {
        v.setU16(4 * c, static_cast<std::uint16_t>(0x100 * c + 0x12 + k));
        v.setU16(4 * c + 2, static_cast<std::uint16_t>(0x100 * c + 0x13 + k));
    }
    v.setU16(200, static_cast<std::uint16_t>(k % 24));
    v.setU16(202, static_cast<std::uint16_t>(1 + k % 28));
    v.setU16(204, static_cast<std::uint16_t>(1 + k % 12));
    v.setU16(206, 2026);
    v.setU32(208, 0x69000000u + k * 3600);
    v.setU32(212, 0x69000000u + k * 3600 + 1);
    return r;
}

inline std::uint32_t closedAt(const Record &r) {
    return qrx::ByteView(const_cast<unsigned char *>(r.data())).u32(212);
}

inline std::vector<Record> records(const QuorixHistoryBlock *h) {
    std::vector<Record> out;
    for (const QuorixHistoryNode *n = h->head; n != nullptr; n = n->next) out.emplace_back(n->record, n->record + 216);
    return out;
}

inline void freeHistories() {
    for (QuorixHistoryBlock **h : {&dayHistoryLinkHead, &monthHistoryLinkHead, &yearHistoryLinkHead}) {
        std::free(*h);
        *h = nullptr;
    }
}

// Fresh histories for every test (they are per-process globals).
class HistoryTest : public qtest::BoundTest {
protected:
    void SetUp() override {
        BoundTest::SetUp();
        freeHistories();
        getHistoryDataFlag = 0;
        ASSERT_EQ(historyDataInit(), 0);
    }
    void TearDown() override {
        freeHistories();
        getHistoryDataFlag = 0;
        BoundTest::TearDown();
    }
};

}  // namespace htest
