// The three history rings: creation, the drop rule, counts, clearing, and the readers built on them.
#include <ctime>
#include <tuple>

#include "quorix_test.h"

namespace {

using namespace qtest;
Record recordAt(const std::vector<unsigned char> &buffer, std::size_t i) { return Record(buffer.begin() + 216 * i, buffer.begin() + 216 * (i + 1)); }
std::vector<Record> made(unsigned from, unsigned to) {
    std::vector<Record> out;
    for (unsigned k = from; k < to; ++k) out.push_back(makeRecord(k));
    return out;
}

TEST_F(HistoryTest, Rings_StartFullOfZeroRecordsAndKeepTheNewestOldestFirst) {
    for (auto [kind, h, capacity] : {std::tuple{1, dayHistoryLinkHead, 24}, {2, monthHistoryLinkHead, 31}, {3, yearHistoryLinkHead, 12}}) {
        EXPECT_EQ(h->nodes, reinterpret_cast<QuorixHistoryNode *>(h + 1));
        EXPECT_EQ(records(h), std::vector<Record>(capacity, Record(216, 0)));
        EXPECT_EQ(std::vector<unsigned>(h->work, h->work + 150), std::vector<unsigned>(150, 0));
        EXPECT_EQ(getHistoryDataNum(128 + kind), 1);
        for (unsigned k = 0; k <= unsigned(capacity); ++k) ASSERT_EQ(AddHistoryData(h, makeRecord(k).data()), 0);
        EXPECT_EQ(records(h), made(1, capacity + 1)) << "the first of capacity + 1 is gone";
        EXPECT_EQ(getHistoryDataNum(kind), capacity);
        EXPECT_EQ(h->head->prev, nullptr);
        for (const QuorixHistoryNode *n = h->head; n->next != nullptr; n = n->next) EXPECT_EQ(n->next->prev, n);
        for (int k = 0; k < capacity; ++k) EXPECT_EQ(h->nodes[k].ring_next, &h->nodes[(k + 1) % capacity]);
    }
    for (auto [kind, expect] : {std::pair{0, 0}, {4, -1}, {-1, -1}, {128, -1}, {132, -1}, {0x101, -1}}) EXPECT_EQ(getHistoryDataNum(kind), expect) << kind;
    // An emptied list starts over at the node area; init again only makes the missing ones.
    QuorixHistoryBlock *year = yearHistoryLinkHead;
    year->head = year->tail = nullptr;
    EXPECT_EQ(getHistoryDataNum(3), 0);
    for (unsigned k : {7, 8}) ASSERT_EQ(AddHistoryData(year, makeRecord(k).data()), 0);
    EXPECT_EQ(year->head, &year->nodes[0]);
    EXPECT_EQ(records(year), made(7, 9));
    std::free(monthHistoryLinkHead);
    monthHistoryLinkHead = nullptr;
    EXPECT_EQ(getHistoryDataNum(130), 0);
    EXPECT_EQ(historyDataInit(), 0);
    EXPECT_EQ(yearHistoryLinkHead, year);
    EXPECT_EQ(getHistoryDataNum(2), 31);
    EXPECT_EQ(AddHistoryData(nullptr, makeRecord(1).data()) + AddHistoryData(dayHistoryLinkHead, nullptr), -2);
}

TEST_F(HistoryTest, Clear_ErasesEveryRecordAndStampsTheNewest) {
    for (unsigned k = 0; k < 5; ++k) AddHistoryData(monthHistoryLinkHead, makeRecord(k).data());
    const auto before = static_cast<std::uint32_t>(std::time(nullptr));
    EXPECT_EQ(clearHistoryData(2), 0);
    std::vector<Record> kept = records(monthHistoryLinkHead);
    const std::uint32_t stamp = qrx::ByteView(kept.back().data()).u32(208);
    EXPECT_TRUE(stamp >= before && stamp <= before + 1) << stamp;
    std::fill(kept.back().begin() + 208, kept.back().begin() + 212, 0xFF);
    EXPECT_EQ(kept, std::vector<Record>(31, Record(216, 0xFF)));
    EXPECT_EQ(records(dayHistoryLinkHead), std::vector<Record>(24, Record(216, 0)));
    for (int kind : {0, 4, -1, 129}) EXPECT_EQ(clearHistoryData(kind), -1) << kind;
}

TEST_F(HistoryTest, Readers_CopyFilledRecordsOldestFirst) {
    std::vector<unsigned char> buffer(216 * 31, 0xAA);
    EXPECT_EQ(getHistoryData(2, buffer.data(), 31), 0) << "placeholders only";
    for (unsigned k = 0; k < 30; ++k) AddHistoryData(dayHistoryLinkHead, makeRecord(k).data());
    for (unsigned k = 0; k < 12; ++k) AddHistoryData(yearHistoryLinkHead, makeRecord(k).data());
    const unsigned from = closedAt(makeRecord(3)), to = closedAt(makeRecord(6));
    const struct { std::function<int()> read; std::vector<Record> expect; } cases[] = {
        {[&] { return getHistoryData(1, buffer.data(), 3); }, made(27, 30)},
        {[&] { return getHistoryData(1, buffer.data(), 24); }, made(6, 30)},
        {[&] { return copyHistoryData(3, from, to, buffer.data(), 12); }, made(3, 7)},
        {[&] { return copyHistoryData(3, from, to, buffer.data(), 2); }, made(3, 5)},
        {[&] { return copyHistoryData(3, from, from, buffer.data(), 12); }, made(3, 4)},
        {[&] { return copyHistoryData(3, to + 1, to + 3599, buffer.data(), 12); }, {}},
    };
    for (const auto &c : cases) {
        std::fill(buffer.begin(), buffer.end(), 0xAA);
        ASSERT_EQ(c.read(), int(c.expect.size()));
        for (std::size_t i = 0; i < c.expect.size(); ++i) EXPECT_EQ(recordAt(buffer, i), c.expect[i]) << i;
        EXPECT_EQ(buffer[216 * c.expect.size()], 0xAA) << "nothing past the count";
    }
    clearHistoryData(1);
    AddHistoryData(dayHistoryLinkHead, makeRecord(9).data());
    ASSERT_EQ(getHistoryData(1, buffer.data(), 24), 1) << "erased records are skipped";
    EXPECT_EQ(recordAt(buffer, 0), makeRecord(9));
    EXPECT_EQ(getHistoryDataFlag, 0);
}

TEST_F(HistoryTest, Readers_RefuseBadArgumentsAndReadMissingHistoriesAsEmpty) {
    unsigned char buffer[216];
    for (int rc : {getHistoryData(0, buffer, 1), getHistoryData(4, buffer, 1), getHistoryData(1, nullptr, 1), getHistoryData(1, buffer, -1),
                   copyHistoryData(129, 0, 1, buffer, 1), copyHistoryData(1, 0, 1, nullptr, 1), copyHistoryData(1, 0, 1, buffer, -5),
                   copyHistoryData(1, 10, 9, buffer, 1)})
        EXPECT_EQ(rc, -1);
    EXPECT_EQ(getHistoryData(1, buffer, 0), 0);
    freeHistories();
    for (int kind = 1; kind <= 3; ++kind)
        for (int rc : {getHistoryDataNum(kind), getHistoryDataNum(128 + kind), clearHistoryData(kind), getHistoryData(kind, buffer, 1),
                       copyHistoryData(kind, 0, 0xFFFFFFFFu, buffer, 1)})
            EXPECT_EQ(rc, 0) << kind;
}

}  // namespace
