// Fan information records and their console report.
#include <string>
#include <vector>

#include "quorix_test.h"

namespace {

using qtest::block;

constexpr std::size_t kFanCount = 0x200000;
constexpr std::size_t kFanRecords = 0x200001;

std::vector<unsigned char> fanRecord(unsigned char present, unsigned char health, unsigned front, unsigned rear,
                                     unsigned char duty, unsigned char model, unsigned max, const std::string &name) {
    std::vector<unsigned char> r(32, 0);
    r[0] = present;
    r[1] = health;
    r[2] = static_cast<unsigned char>(front);
    r[3] = static_cast<unsigned char>(front >> 8);
    r[4] = static_cast<unsigned char>(rear);
    r[5] = static_cast<unsigned char>(rear >> 8);
    r[6] = duty;
    r[7] = model;
    r[8] = static_cast<unsigned char>(max);
    r[9] = static_cast<unsigned char>(max >> 8);
    std::copy(name.begin(), name.end(), r.begin() + 10);
    return r;
}

class FanInfo : public qtest::BoundTest {};

TEST_F(FanInfo, WriteAndRead_KeepTheRecordAndRaiseTheCount) {
    auto fan2 = fanRecord(1, 0, 0x1234, 0x2345, 55, 3, 0x4567, "FAN2");
    EXPECT_EQ(write_quorix_fan_info(2, fan2.data()), 0);
    EXPECT_EQ(block().u8(kFanCount), 3);
    EXPECT_EQ(qtest::blockBytes(kFanRecords + 64, 32), fan2);
    EXPECT_EQ(QuorixGetFanNumber(), 3);
    std::vector<unsigned char> out(33, 0xEE);
    EXPECT_EQ(read_quorix_fan_info(2, out.data()), 0);
    EXPECT_EQ(std::vector<unsigned char>(out.begin(), out.begin() + 32), fan2);
    EXPECT_EQ(out[32], 0xEE);
    // A lower index keeps the count.
    EXPECT_EQ(write_quorix_fan_info(0, fan2.data()), 0);
    EXPECT_EQ(block().u8(kFanCount), 3);
}

TEST_F(FanInfo, Bounds_AreCheckedAgainstTheCountAndTheRegion) {
    std::vector<unsigned char> buf(32, 0x11);
    block().setU8(kFanCount, 2);
    EXPECT_EQ(read_quorix_fan_info(1, buf.data()), 0);
    EXPECT_EQ(read_quorix_fan_info(2, buf.data()), -1);
    EXPECT_EQ(read_quorix_fan_info(-1, buf.data()), -1);
    EXPECT_EQ(read_quorix_fan_info(0, nullptr), -1);
    EXPECT_EQ(write_quorix_fan_info(16, buf.data()), -1);
    EXPECT_EQ(write_quorix_fan_info(-1, buf.data()), -1);
    EXPECT_EQ(write_quorix_fan_info(0, nullptr), -1);
    EXPECT_EQ(qtest::blockBytes(kFanRecords + 32 * 16, 32), std::vector<unsigned char>(32, 0));
    block().setU8(kFanCount, 40);
    EXPECT_EQ(QuorixGetFanNumber(), 16);
    EXPECT_EQ(read_quorix_fan_info(15, buf.data()), 0);
    EXPECT_EQ(read_quorix_fan_info(16, buf.data()), -1);
}

int fanHealth() { return 2; }

TEST_F(FanInfo, Show_PrintsEveryFanAndTheSummaryHealth) {
    qtest::replaceSlot(qrx::Slot::QuorixGetFanSummaryHealth, fanHealth);
    auto fan0 = fanRecord(1, 0, 8200, 7900, 45, 1, 12000, "FAN0");
    auto fan2 = fanRecord(1, 2, 0, 0, 100, 1, 12000, "FAN2\x01");
    write_quorix_fan_info(0, fan0.data());
    write_quorix_fan_info(2, fan2.data());
    int result = 0;
    std::string out = qtest::captureStdout([&] { result = show_fan_info(); });
    EXPECT_GOLDEN("fan_info.txt", out);
    EXPECT_EQ(result, 2);
}

std::vector<int> g_speedCalls;
int g_speedResult = 0;
int setFanSpeed(int fan, int duty) {
    g_speedCalls.insert(g_speedCalls.end(), {fan, duty});
    return g_speedResult;
}

TEST_F(FanInfo, SetSpeed_RecordsTheDutyOnlyWhenTheControllerTookIt) {
    qtest::replaceSlot(qrx::Slot::SetFanSpeed, setFanSpeed);
    g_speedCalls.clear();
    block().setU8(kFanCount, 3);
    const struct {
        int fan, duty, slotResult, result, storedDuty;
    } cases[] = {
        {2, 100, 0, 0, 100}, {0, 0, 0, 0, 0}, {1, 37, -5, -5, 0},  // a refused speed leaves the record
        {3, 50, 0, -1, 0},   {-1, 50, 0, -1, 0},                    // outside the fan count: no call
        {1, 101, 0, -1, 0},  {1, -1, 0, -1, 0},                     // duty outside 0..100: no call
    };
    std::vector<int> expectedCalls;
    for (const auto &c : cases) {
        g_speedResult = c.slotResult;
        block().setU8(kFanRecords + 32 * 1 + 6, 0);
        EXPECT_EQ(quorixSetFanSpeedInterface(c.fan, c.duty), c.result) << c.fan << " " << c.duty;
        if (c.result != -1 || c.slotResult != 0) expectedCalls.insert(expectedCalls.end(), {c.fan, c.duty});
        if (c.fan >= 0 && c.fan < 3) {
            EXPECT_EQ(block().u8(kFanRecords + 32 * c.fan + 6), c.storedDuty) << c.fan;
        }
    }
    EXPECT_EQ(g_speedCalls, expectedCalls);
}

}  // namespace
