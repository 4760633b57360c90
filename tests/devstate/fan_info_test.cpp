// Fan information records and their console report.
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
    block().setU8(kFanCount, 40);  // clamped to the 16 records of the region
    EXPECT_EQ(std::vector<int>({QuorixGetFanNumber(), read_quorix_fan_info(15, out.data()), read_quorix_fan_info(16, out.data()),
                                read_quorix_fan_info(-1, out.data()), write_quorix_fan_info(16, out.data()), read_quorix_fan_info(0, nullptr)}),
              std::vector<int>({16, 0, -1, -1, -1, -1}));
}

}  // namespace
