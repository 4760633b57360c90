// FRU devices and the main-board EEPROM failing or moving half of a transfer: each caller answers as it
// defines, and what a device held before survives.
#include "quorix_test.h"

namespace {

using Bytes = std::vector<unsigned char>;
enum Fault { kNone, kFail, kShort };
const int kEepromRead = qrx::slotIndex(qrx::Slot::QuorixReadMainBoardEEprom), kFruRead = qrx::slotIndex(qrx::Slot::ReadFru),
          kEepromWrite = qrx::slotIndex(qrx::Slot::QuorixWriteMainBoardEEprom), kFruWrite = qrx::slotIndex(qrx::Slot::WriteFru);
constexpr std::size_t kSolCache = 0x621F7A;  // then the COM byte; 255: not read from the EEPROM yet

struct FaultyDevices : qtest::BoundTest {
    static void fault(int slot, Fault f) { ASSERT_EQ(qtest::Sim::get().setFault(slot, f), 0); }
};

TEST_F(FaultyDevices, FruFailuresAndShortReadsLeaveTheStoredRecordAndProtectedDevicesAreNeverReached) {
    const Bytes record = {0x01, 0x00, 0x00, 0x01, 0x0A, 0x00, 0x00, 0xF4, 0xC5, 'Q', 'R', 'X', '-', '0', '1', 0xC1};
    Bytes copy = record, other(16, 0x5A), back(16, 0);
    ASSERT_EQ(quorix_write_fru(7, 0x40, 16, copy.data()), 16);
    fault(kFruWrite, kFail), fault(kFruRead, kShort);  // a short read is a failure however many bytes arrived
    int write = 0, read = 0;
    EXPECT_EQ(qtest::captureStdout([&] { write = quorix_write_fru(7, 0x40, 16, other.data()), read = quorix_read_fru(7, 0x40, 16, back.data()); }),
              "[INFO]: Write FRU Info Failed. Ret = -1\n[INFO]: Read FRU Info Failed. Length = 8\n");
    for (int device : {30, 31, 32, 33}) EXPECT_EQ(quorix_write_fru(device, 0, 4, other.data()), -1) << device;
    fault(kFruRead, kNone);
    EXPECT_EQ(std::vector<int>({write, read, quorix_read_fru(7, 0x40, 16, back.data()), int(qtest::Sim::get().callCount(kFruWrite))}),
              std::vector<int>({-1, -1, 16, 2}));
    EXPECT_EQ(back, record);
}

// The COM and SOL setters do not look at the EEPROM result: they answer 0 and cache the value while the
// device keeps its byte. An unreadable device reads as zero once and stays cached, even after it recovers.
TEST_F(FaultyDevices, ComAndSolCacheWhatTheEepromRefusedOrCouldNotRead) {
    qtest::putEeprom(5120, {1, 4});
    for (Fault f : {kFail, kShort}) {  // half of one byte is nothing at all
        qtest::putText(kSolCache, "\xFF\xFF");
        fault(kEepromWrite, f), fault(kEepromRead, f);
        const int com = f == kFail ? 2 : 0, set = QuorixSetComCfg(com) + QuorixSetSolCfg(16) + 10 * QuorixSetComCfg(3);
        EXPECT_EQ(std::vector<int>({set, QuorixGetComCfg(), QuorixGetSolCfg()}), std::vector<int>({-10, com, 16})) << f;
        qtest::putText(kSolCache, "\xFF\xFF");
        EXPECT_EQ(QuorixGetComCfg() + QuorixGetSolCfg(), 0) << f;
        fault(kEepromRead, kNone);
        EXPECT_EQ(qtest::blockBytes(kSolCache, 2), Bytes(2, 0)) << f;
        EXPECT_EQ(QuorixGetComCfg() + QuorixGetSolCfg(), 0) << f;  // cached: the device is not asked again
    }
    EXPECT_EQ(qtest::Sim::get().callCount(kEepromWrite), 5u);  // the set-up's write and four sets; 3 is refused first
    fault(kEepromWrite, kNone);
    EXPECT_EQ(qtest::eeprom(5120, 2), (Bytes{1, 4}));
}

}  // namespace
