// Fan information records, their console report and the speed setting.
#include "quorix_test.h"

namespace {

using qtest::block;
using qtest::Bytes;
constexpr std::size_t kFanCount = 0x200000, kFanRecords = 0x200001;

Bytes fanRecord(unsigned char health, unsigned front, unsigned rear, unsigned char duty, const std::string &name) {
    Bytes r(32, 0);
    qrx::ByteView v(r.data());
    v.setU8(0, 1), v.setU8(1, health), v.setU16(2, front), v.setU16(4, rear), v.setU8(6, duty), v.setU8(7, 1);
    v.setU16(8, 12000), v.copyIn(10, name.data(), name.size());
    return r;
}

class FanInfo : public qtest::BoundTest {};

TEST_F(FanInfo, WriteReadAndShow_KeepTheRecordsAndRaiseTheCount) {
    int (*health)() = [] { return 2; };
    qtest::replaceSlot(qrx::Slot::QuorixGetFanSummaryHealth, health);
    Bytes fan0 = fanRecord(0, 8200, 7900, 45, "FAN0"), fan2 = fanRecord(2, 0, 0, 100, "FAN2\x01");
    EXPECT_EQ(write_quorix_fan_info(2, fan2.data()), 0);
    EXPECT_EQ(write_quorix_fan_info(0, fan0.data()), 0);  // a lower index keeps the count
    EXPECT_EQ(std::vector<int>({block().u8(kFanCount), QuorixGetFanNumber()}), std::vector<int>({3, 3}));
    EXPECT_EQ(qtest::blockBytes(kFanRecords + 64, 32), fan2);
    Bytes out(33, 0xEE);
    EXPECT_EQ(read_quorix_fan_info(2, out.data()), 0);
    fan2.push_back(0xEE);
    EXPECT_EQ(out, fan2);
    int result = 0;
    EXPECT_GOLDEN("fan_info.txt", qtest::captureStdout([&] { result = show_fan_info(); }));
    EXPECT_EQ(result, 2);
}

TEST_F(FanInfo, Bounds_AreCheckedAgainstTheCountAndTheRegion) {
    Bytes buf(32, 0x11);
    const struct { int count, index, read, write; } cases[] = {
        {2, 1, 0, 0}, {2, 2, -1, 0}, {2, -1, -1, -1}, {40, 15, 0, 0}, {40, 16, -1, -1}};
    for (const auto &c : cases) {
        block().setU8(kFanCount, static_cast<unsigned char>(c.count));
        EXPECT_EQ(read_quorix_fan_info(c.index, buf.data()), c.read) << c.count << " " << c.index;
        EXPECT_EQ(write_quorix_fan_info(c.index, buf.data()), c.write) << c.count << " " << c.index;
    }
    EXPECT_EQ(QuorixGetFanNumber(), 16);
    EXPECT_EQ(read_quorix_fan_info(0, nullptr) + write_quorix_fan_info(0, nullptr), -2);
    EXPECT_EQ(qtest::blockBytes(kFanRecords + 32 * 16, 32), Bytes(32, 0));
}

std::vector<int> g_speedCalls;
int g_speedResult = 0;
int setFanSpeed(int fan, int duty) { return g_speedCalls.insert(g_speedCalls.end(), {fan, duty}), g_speedResult; }

TEST_F(FanInfo, SetSpeed_RecordsTheDutyOnlyWhenTheControllerTookIt) {
    qtest::replaceSlot(qrx::Slot::SetFanSpeed, setFanSpeed);
    block().setU8(kFanCount, 3);
    const struct { int fan, duty, slotResult, result; std::vector<int> calls; int stored; } cases[] = {
        {2, 100, 0, 0, {2, 100}, 100}, {0, 0, 0, 0, {0, 0}, 0}, {1, 37, -5, -5, {1, 37}, 0},  // refused: record kept
        {3, 50, 0, -1, {}, 0}, {-1, 50, 0, -1, {}, 0}, {1, 101, 0, -1, {}, 0}, {1, -1, 0, -1, {}, 0}};
    for (const auto &c : cases) {
        g_speedCalls.clear();
        g_speedResult = c.slotResult;
        block().fill(kFanRecords + 6, 0x77, 1), block().fill(kFanRecords + 32 + 6, 0x77, 1), block().fill(kFanRecords + 64 + 6, 0x77, 1);
        EXPECT_EQ(quorixSetFanSpeedInterface(c.fan, c.duty), c.result) << c.fan << " " << c.duty;
        EXPECT_EQ(g_speedCalls, c.calls);
        for (int f = 0; f < 3; ++f)
            EXPECT_EQ(block().u8(kFanRecords + 32 * f + 6), f == c.fan && c.result == 0 ? c.stored : 0x77) << c.fan;
    }
}

}  // namespace
