// The three history rings: creation, order and drop rule, counts, clearing,
// and the readers built on them.
#include <algorithm>
#include <ctime>
#include <set>

#include "quorix_test.h"

namespace {

using qtest::HistoryTest;
using qtest::makeRecord;
using qtest::Record;

QuorixHistoryBlock *const &history(int kind) {
    return kind == 1 ? dayHistoryLinkHead : kind == 2 ? monthHistoryLinkHead : yearHistoryLinkHead;
}

TEST_F(HistoryTest, Init_CreatesFullHistoriesOfZeroRecords) {
    const int capacity[] = {0, 24, 31, 12};
    for (int kind = 1; kind <= 3; ++kind) {
        SCOPED_TRACE(kind);
        EXPECT_EQ(getHistoryDataNum(kind), capacity[kind]);
        EXPECT_EQ(getHistoryDataNum(128 + kind), 1);
        const QuorixHistoryBlock *h = history(kind);
        EXPECT_EQ(h->nodes, reinterpret_cast<const QuorixHistoryNode *>(h + 1));  // nodes follow the header
        EXPECT_EQ(h->head, &h->nodes[0]);
        EXPECT_EQ(h->tail, &h->nodes[capacity[kind] - 1]);
        EXPECT_EQ(h->period, 0u);
        for (const Record &r : qtest::records(h)) EXPECT_EQ(r, Record(216, 0));
        for (unsigned w : h->work) ASSERT_EQ(w, 0u);
    }
}

TEST_F(HistoryTest, Init_AgainKeepsExistingHistoriesAndMakesMissingOnes) {
    QuorixHistoryBlock *day = dayHistoryLinkHead;
    std::free(monthHistoryLinkHead);
    monthHistoryLinkHead = nullptr;
    EXPECT_EQ(getHistoryDataNum(130), 0);
    EXPECT_EQ(getHistoryDataNum(2), 0);
    EXPECT_EQ(historyDataInit(), 0);
    EXPECT_EQ(dayHistoryLinkHead, day);
    EXPECT_EQ(getHistoryDataNum(2), 31);
}

TEST_F(HistoryTest, Num_KindsOutsideTheTableGiveZeroOrMinusOne) {
    const struct {
        int kind;
        int expected;
    } cases[] = {{0, 0}, {4, -1}, {-1, -1}, {128, -1}, {132, -1}, {0x101, -1}, {255, -1}};
    for (const auto &c : cases) EXPECT_EQ(getHistoryDataNum(c.kind), c.expected) << c.kind;
}

TEST_F(HistoryTest, Missing_HistoriesReadAsEmpty) {
    qtest::freeHistories();
    unsigned char buffer[216];
    for (int kind = 1; kind <= 3; ++kind) {
        EXPECT_EQ(getHistoryDataNum(kind), 0);
        EXPECT_EQ(getHistoryDataNum(128 + kind), 0);
        EXPECT_EQ(clearHistoryData(kind), 0);
        EXPECT_EQ(getHistoryData(kind, buffer, 1), 0);
        EXPECT_EQ(copyHistoryData(kind, 0, 0xFFFFFFFFu, buffer, 1), 0);
    }
}

TEST_F(HistoryTest, Append_TwentyFiveRecordsKeepTheNewestTwentyFourOldestFirst) {
    std::set<const QuorixHistoryNode *> ring;
    for (int k = 0; k < 24; ++k) ring.insert(dayHistoryLinkHead->nodes[k].ring_next);
    for (unsigned k = 0; k < 25; ++k) ASSERT_EQ(AddHistoryData(dayHistoryLinkHead, makeRecord(k).data()), 0);

    EXPECT_EQ(getHistoryDataNum(1), 24);
    const auto kept = qtest::records(dayHistoryLinkHead);
    ASSERT_EQ(kept.size(), 24u);
    for (unsigned i = 0; i < 24; ++i) EXPECT_EQ(kept[i], makeRecord(i + 1)) << i;  // the first of the 25 is gone

    // The list is consistent both ways and the ring successors never moved.
    const QuorixHistoryBlock *h = dayHistoryLinkHead;
    EXPECT_EQ(h->head->prev, nullptr);
    EXPECT_EQ(h->tail->next, nullptr);
    for (const QuorixHistoryNode *n = h->head; n->next != nullptr; n = n->next) EXPECT_EQ(n->next->prev, n);
    for (int k = 0; k < 24; ++k) EXPECT_EQ(h->nodes[k].ring_next, &h->nodes[(k + 1) % 24]);
    EXPECT_EQ(ring.size(), 24u);
}

TEST_F(HistoryTest, Append_IntoAnEmptiedRingStartsAtTheFirstNode) {
    // A history whose list was emptied starts over at the node area.
    QuorixHistoryBlock *h = yearHistoryLinkHead;
    h->head = h->tail = nullptr;
    EXPECT_EQ(getHistoryDataNum(3), 0);
    ASSERT_EQ(AddHistoryData(h, makeRecord(7).data()), 0);
    EXPECT_EQ(h->head, &h->nodes[0]);
    EXPECT_EQ(h->tail, &h->nodes[0]);
    ASSERT_EQ(AddHistoryData(h, makeRecord(8).data()), 0);
    EXPECT_EQ(getHistoryDataNum(3), 2);
    EXPECT_EQ(qtest::records(h), (std::vector<Record>{makeRecord(7), makeRecord(8)}));
}

TEST_F(HistoryTest, Append_NullHistoryOrRecordDoesNothing) {
    const Record r = makeRecord(3);
    EXPECT_EQ(AddHistoryData(nullptr, r.data()), -1);
    EXPECT_EQ(AddHistoryData(dayHistoryLinkHead, nullptr), -1);
    for (const Record &rec : qtest::records(dayHistoryLinkHead)) EXPECT_EQ(rec, Record(216, 0));
}

TEST_F(HistoryTest, Clear_ErasesEveryRecordAndStampsTheNewest) {
    for (unsigned k = 0; k < 5; ++k) AddHistoryData(monthHistoryLinkHead, makeRecord(k).data());
    const std::uint32_t before = static_cast<std::uint32_t>(std::time(nullptr));
    EXPECT_EQ(clearHistoryData(2), 0);
    const std::uint32_t after = static_cast<std::uint32_t>(std::time(nullptr));

    EXPECT_EQ(getHistoryDataNum(2), 31);
    const auto kept = qtest::records(monthHistoryLinkHead);
    for (std::size_t i = 0; i + 1 < kept.size(); ++i) EXPECT_EQ(kept[i], Record(216, 0xFF)) << i;
    Record newest = kept.back();
    const std::uint32_t stamp = qrx::ByteView(newest.data()).u32(208);
    EXPECT_GE(stamp, before);
    EXPECT_LE(stamp, after);
    std::fill(newest.begin() + 208, newest.begin() + 212, 0xFF);
    EXPECT_EQ(newest, Record(216, 0xFF));
    // The other histories are untouched.
    for (const Record &rec : qtest::records(dayHistoryLinkHead)) EXPECT_EQ(rec, Record(216, 0));
}

TEST_F(HistoryTest, Clear_BadKindsAreRefused) {
    for (int kind : {0, 4, -1, 129}) EXPECT_EQ(clearHistoryData(kind), -1) << kind;
}

TEST_F(HistoryTest, GetHistoryData_CopiesTheNewestFilledRecordsOldestFirst) {
    for (unsigned k = 0; k < 30; ++k) AddHistoryData(dayHistoryLinkHead, makeRecord(k).data());
    std::vector<unsigned char> buffer(216 * 24, 0xAA);
    ASSERT_EQ(getHistoryData(1, buffer.data(), 3), 3);
    for (unsigned i = 0; i < 3; ++i)
        EXPECT_EQ(Record(buffer.begin() + 216 * i, buffer.begin() + 216 * (i + 1)), makeRecord(27 + i)) << i;
    EXPECT_EQ(buffer[216 * 3], 0xAA);  // nothing past the count

    ASSERT_EQ(getHistoryData(1, buffer.data(), 24), 24);
    EXPECT_EQ(Record(buffer.begin(), buffer.begin() + 216), makeRecord(6));
}

TEST_F(HistoryTest, GetHistoryData_SkipsZeroAndErasedRecords) {
    std::vector<unsigned char> buffer(216 * 31);
    EXPECT_EQ(getHistoryData(2, buffer.data(), 31), 0);  // only placeholders
    AddHistoryData(monthHistoryLinkHead, makeRecord(1).data());
    AddHistoryData(monthHistoryLinkHead, makeRecord(2).data());
    EXPECT_EQ(getHistoryData(2, buffer.data(), 31), 2);
    clearHistoryData(2);
    EXPECT_EQ(getHistoryData(2, buffer.data(), 31), 0);
    AddHistoryData(monthHistoryLinkHead, makeRecord(9).data());
    ASSERT_EQ(getHistoryData(2, buffer.data(), 31), 1);
    EXPECT_EQ(Record(buffer.begin(), buffer.begin() + 216), makeRecord(9));
}

TEST_F(HistoryTest, CopyHistoryData_TakesRecordsClosedWithinTheRange) {
    for (unsigned k = 0; k < 12; ++k) AddHistoryData(yearHistoryLinkHead, makeRecord(k).data());
    std::vector<unsigned char> buffer(216 * 12);
    // Closing times are 0x69000001 + 3600 k; the range is inclusive at both ends.
    const unsigned from = qtest::closedAt(makeRecord(3)), to = qtest::closedAt(makeRecord(6));
    ASSERT_EQ(copyHistoryData(3, from, to, buffer.data(), 12), 4);
    for (unsigned i = 0; i < 4; ++i)
        EXPECT_EQ(Record(buffer.begin() + 216 * i, buffer.begin() + 216 * (i + 1)), makeRecord(3 + i)) << i;
    // At most max_records, the oldest of the range first.
    ASSERT_EQ(copyHistoryData(3, from, to, buffer.data(), 2), 2);
    EXPECT_EQ(Record(buffer.begin() + 216, buffer.begin() + 432), makeRecord(4));
    EXPECT_EQ(copyHistoryData(3, to + 1, to + 3599, buffer.data(), 12), 0);
    EXPECT_EQ(copyHistoryData(3, from, from, buffer.data(), 12), 1);
}

TEST_F(HistoryTest, Readers_RefuseBadArgumentsAndRestoreTheFlag) {
    unsigned char buffer[216] = {};
    EXPECT_EQ(getHistoryData(0, buffer, 1), -1);
    EXPECT_EQ(getHistoryData(4, buffer, 1), -1);
    EXPECT_EQ(getHistoryData(1, nullptr, 1), -1);
    EXPECT_EQ(getHistoryData(1, buffer, -1), -1);
    EXPECT_EQ(copyHistoryData(129, 0, 1, buffer, 1), -1);
    EXPECT_EQ(copyHistoryData(1, 0, 1, nullptr, 1), -1);
    EXPECT_EQ(copyHistoryData(1, 0, 1, buffer, -5), -1);
    EXPECT_EQ(copyHistoryData(1, 10, 9, buffer, 1), -1);
    EXPECT_EQ(getHistoryData(1, buffer, 0), 0);

    getHistoryDataFlag = 0;
    AddHistoryData(dayHistoryLinkHead, makeRecord(1).data());
    EXPECT_EQ(getHistoryData(1, buffer, 1), 1);
    EXPECT_EQ(getHistoryDataFlag, 0);
}

}  // namespace
