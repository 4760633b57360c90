#include <algorithm>
#include <climits>

#include "quorix_test.h"

namespace {

using qtest::block;
using qtest::Bytes;
constexpr std::size_t kCount = 67604, kRecords = 67605, kRecordSize = 159, kNormalNum = 68878;

std::size_t rec(long long i, std::size_t field) { return kRecords + i * static_cast<long long>(kRecordSize) + field; }

// Record bytes 2..13, readings from 14, texts 58..151; summaries: rounded, x100 cut (7th-9th), low 16 bits (10th).
const Bytes kHead = {0x21, 0x34, 0x12, 0x78, 0x56, 0x03, 0x01, 0x44, 0x0A, 0x0B, 0x0C, 0x0D};
const float kReadings[] = {25.5f, 30.4f, 41.6f, 99.5f, 99.4f, 229.7f, 12.2f, 4.56f, 1.15f, 70000.0f, 8123.5f};
const unsigned kSummaryReadings[] = {26, 30, 42, 100, 99, 230, 1220, 456, 115, 4464, 8124};
Bytes texts(int i) { return qtest::pattern(94, static_cast<std::uint8_t>(i)); }

void putPsu(int i, unsigned char present = 1) {
    block().setU8(rec(i, 1), present), block().copyIn(rec(i, 2), kHead.data(), kHead.size());
    for (int k = 0; k < 11; ++k) block().setF32(rec(i, 14 + 4 * k), kReadings[k]);
    block().copyIn(rec(i, 58), texts(i).data(), 94), block().setU8(rec(i, 153), 0x02), block().setU8(rec(i, 158), 0x01);
}

Bytes summary(int index) {
    Bytes s = {static_cast<unsigned char>(index), 1}, t = texts(index);
    s.insert(s.end(), kHead.begin(), kHead.begin() + 8);
    for (unsigned v : kSummaryReadings) s.insert(s.end(), {std::uint8_t(v), std::uint8_t(v >> 8)});
    return s.insert(s.end(), t.begin(), t.end()), s;
}

Bytes invalidSummary(int index, unsigned char present) {
    Bytes s = {static_cast<unsigned char>(index), present};
    return s.resize(32, 255), s.resize(126, 0), s;
}

class PsuState : public qtest::BoundTest {};

TEST_F(PsuState, Readers_EachKeepsItsOwnBoundOverOneSetOfRecords) {
    putPsu(-1), putPsu(0), putPsu(1, 2), putPsu(2), putPsu(3), putPsu(8);  // 8 lies over the counters
    block().setU8(kNormalNum - 1, 0x12);
    EXPECT_EQ(std::vector<int>({ReadQuorixPSUConfigNum(), ReadQuorixPSUNormalNum(), GetQuorixPSURedundantNum()}),
              std::vector<int>({0x12, 1, kHead[0]}));  // the normal number is "record 8"'s present byte
    const struct { int (*read)(int); int value; } readers[] = {
        {ReadQuorixPSUStatusWord, 0x1234}, {ReadQuorixPSUVoutStatus, 0x0A}, {ReadQuorixPSUIoutStatus, 0x0B},
        {ReadQuorixPSUInputStatus, 0x0C}, {ReadQuorixPSUTemperatureStatus, 0x0D}, {ReadQuorixPSUFanStatus, 0x44}};
    // Power sums the input power of supplies present (byte 1) below the clamped count in float, then truncates.
    const struct { int count, index, present, type, power; bool status, serial; } cases[] = {
        {0, 0, 1, 1, 0, true, true}, {0, 1, -1, 1, 0, false, true}, {2, 0, 1, 1, 99, true, true},
        {2, 1, 2, 1, 99, false, true}, {2, 2, 1, 1, 99, true, true}, {2, 3, -1, 1, 99, false, true},
        {2, -1, 1, -1, 99, true, true}, {2, 8, -1, 1, 99, false, false}, {2, INT_MAX, -1, -1, 99, false, false},
        {2, INT_MIN, -1, -1, 99, false, false}, {3, 3, 1, 1, 199, true, true}, {12, 3, 1, 1, 298, true, true},
        {12, 8, 1, 1, 298, true, false}, {12, 9, -1, 0, 298, false, false}, {8, 8, 1, 1, 298, true, false}};
    for (const auto &c : cases) {
        block().setU8(kCount, static_cast<unsigned char>(c.count));
        const int clamped = std::min(c.count, 8);
        EXPECT_EQ(std::vector<int>({ReadQuorixPSUPresent(c.index), ReadQuorixPSUType(static_cast<unsigned>(c.index)),
                                    ReadQuorixPSUPower(), ReadQuorixPSUNum(), QuorixGetPsuNum()}),
                  std::vector<int>({c.present, c.type, c.power, clamped, clamped})) << c.count << " " << c.index;
        for (const auto &r : readers) EXPECT_EQ(r.read(c.index), c.status ? r.value : 0) << c.count << " " << c.index;
        Bytes serial(24, 0xEE), t = texts(c.index), want = {'N', 'U', 'L', 'L', 0};
        if (c.serial) want.assign(t.begin() + 36, t.begin() + 54);  // present or not, whatever the count
        want.resize(24, 0xEE);
        EXPECT_EQ(QuorixGetPSUSN(c.index, serial.data()), 0);
        EXPECT_EQ(serial, want) << c.index;
    }
    EXPECT_EQ(std::make_pair(QuorixGetPSUSN(0, nullptr), ReadQuorixPSUInfo(0, nullptr)), std::make_pair(-1, -1));
    // Above the raw count: untouched; "record 8" lies over the counters; above 8 or before the block: 255s.
    const struct { int count, index, result; Bytes expected; } infos[] = {
        {3, 2, 0, summary(2)}, {12, 8, 0, summary(8)}, {3, 1, 0, invalidSummary(1, 2)},
        {12, 4, 0, invalidSummary(4, 0)}, {3, 4, -1, Bytes(126, 0xAA)}, {12, 9, 0, invalidSummary(9, 255)},
        {12, 13, -1, Bytes(126, 0xAA)}, {12, INT_MIN, 0, invalidSummary(0, 255)}};
    for (const auto &c : infos) {
        block().setU8(kCount, static_cast<unsigned char>(c.count));
        Bytes out(126, 0xAA);
        EXPECT_EQ(ReadQuorixPSUInfo(c.index, out.data()), c.result) << c.index;
        EXPECT_EQ(qtest::hex(out.data(), 126), qtest::hex(c.expected.data(), 126)) << c.index;
    }
    block().setU8(kCount, 2);  // the dump: supply 0 in detail, supply 1 (present byte 2) as absent
    int result = 0;
    const std::string out = qtest::captureStdout([&] { result = ShowAllPSUInfo(); });
    EXPECT_GOLDEN("psu_dump.txt", out);
    EXPECT_EQ(result, static_cast<int>(out.size() - out.rfind('\n', out.size() - 3) - 1));  // the last print's
    block().setU8(kCount, 0);
    EXPECT_EQ(qtest::captureStdout([] { ShowAllPSUInfo(); }), out.substr(0, out.find('\n') + 1));
}

}  // namespace
