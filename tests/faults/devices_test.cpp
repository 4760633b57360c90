// FRU devices and the main-board EEPROM failing or moving half of a transfer:
// each caller answers as it defines, and what a device held before survives.
#include <string>
#include <vector>

#include "quorix_test.h"

namespace {

using Bytes = std::vector<unsigned char>;
enum Fault { kNone, kFail, kShort };
const int kEepromRead = qrx::slotIndex(qrx::Slot::QuorixReadMainBoardEEprom),
          kEepromWrite = qrx::slotIndex(qrx::Slot::QuorixWriteMainBoardEEprom),
          kFruWrite = qrx::slotIndex(qrx::Slot::WriteFru), kFruRead = qrx::slotIndex(qrx::Slot::ReadFru);
constexpr std::size_t kSolCache = 0x621F7A, kComCache = 0x621F7B;  // 255: not read from the EEPROM yet

class FaultyDevices : public qtest::BoundTest {
protected:
    static void fault(int slot, Fault f) { ASSERT_EQ(qtest::Sim::get().setFault(slot, f), 0); }
    static unsigned calls(int slot) { return qtest::Sim::get().callCount(slot); }
};

TEST_F(FaultyDevices, FruFailuresAndShortReadsLeaveTheStoredRecordAndProtectedDevicesAreNeverReached) {
    const Bytes record = {0x01, 0x00, 0x00, 0x01, 0x0A, 0x00, 0x00, 0xF4, 0xC5, 'Q', 'R', 'X', '-', '0', '1', 0xC1};
    Bytes copy = record, other(16, 0x5A), back(16, 0);
    ASSERT_EQ(quorix_write_fru(7, 0x40, 16, copy.data()), 16);
    fault(kFruWrite, kFail);
    fault(kFruRead, kShort);  // a short read is a failure however many bytes arrived
    int write = 0, read = 0;
    EXPECT_EQ(qtest::captureStdout([&] { write = quorix_write_fru(7, 0x40, 16, other.data()); }) +
                  qtest::captureStdout([&] { read = quorix_read_fru(7, 0x40, 16, back.data()); }),
              "[INFO]: Write FRU Info Failed. Ret = -1\n[INFO]: Read FRU Info Failed. Length = 8\n");
    EXPECT_EQ(write + read, -2);
    for (int device : {30, 31, 32, 33}) EXPECT_EQ(quorix_write_fru(device, 0, 4, other.data()), -1) << device;
    EXPECT_EQ(calls(kFruWrite), 2u);
    fault(kFruRead, kNone);
    ASSERT_EQ(quorix_read_fru(7, 0x40, 16, back.data()), 16);
    EXPECT_EQ(back, record);
}

// The COM and SOL setters do not look at the EEPROM result: they answer 0
// and cache the value while the device keeps its old byte.
TEST_F(FaultyDevices, ComAndSolSettersCacheWhatTheEepromRefused) {
    qtest::putEeprom(5120, {1, 4});
    qtest::putText(kSolCache, "\xFF\xFF");
    for (Fault f : {kFail, kShort}) {  // half of one byte is nothing at all
        fault(kEepromWrite, f);
        EXPECT_EQ(QuorixSetComCfg(f == kFail ? 2 : 0) + QuorixSetSolCfg(16), 0);
        EXPECT_EQ(qtest::blockBytes(kSolCache, 2), (Bytes{16, static_cast<unsigned char>(f == kFail ? 2 : 0)}));
        EXPECT_EQ(QuorixGetComCfg() * 100 + QuorixGetSolCfg(), (f == kFail ? 2 : 0) * 100 + 16);
    }
    EXPECT_EQ(QuorixSetComCfg(3), -1);  // refused before the device is tried
    EXPECT_EQ(calls(kEepromWrite), 5u);  // the set-up's write and four sets
    fault(kEepromWrite, kNone);
    EXPECT_EQ(qtest::eeprom(5120, 2), (Bytes{1, 4}));
}

// An unreadable device reads as zero once and stays cached, even after it recovers.
TEST_F(FaultyDevices, UnreadableComAndSolReadAsZeroOnce) {
    qtest::putEeprom(5120, {1, 4});
    for (Fault f : {kFail, kShort}) {
        qtest::putText(kSolCache, "\xFF\xFF");
        fault(kEepromRead, f);
        EXPECT_EQ(QuorixGetComCfg() + QuorixGetSolCfg(), 0) << f;
        EXPECT_EQ(qtest::blockBytes(kSolCache, 2), (Bytes{0, 0})) << f;
        fault(kEepromRead, kNone);
        const unsigned reads = calls(kEepromRead);
        EXPECT_EQ(QuorixGetComCfg() + QuorixGetSolCfg(), 0) << f;
        EXPECT_EQ(calls(kEepromRead), reads) << f;
    }
}

}  // namespace
