// FRU devices and the main-board EEPROM failing or moving half of a transfer:
// each caller answers as it defines, and what a device held before survives.
#include <string>
#include <vector>

#include "quorix_test.h"

namespace {

using Bytes = std::vector<unsigned char>;

enum Fault { kNone = 0, kFail = 1, kShort = 2 };
constexpr int kEepromRead = qrx::slotIndex(qrx::Slot::QuorixReadMainBoardEEprom),
              kEepromWrite = qrx::slotIndex(qrx::Slot::QuorixWriteMainBoardEEprom),
              kFruWrite = qrx::slotIndex(qrx::Slot::WriteFru), kFruRead = qrx::slotIndex(qrx::Slot::ReadFru);

constexpr int kComOffset = 5120;
constexpr std::size_t kComCache = 0x621F7B, kSolCache = 0x621F7A;

void setFault(int slot, Fault fault) { ASSERT_EQ(qtest::Sim::get().setFault(slot, fault), 0); }

void putByte(std::size_t offset, unsigned char value) { static_cast<unsigned char *>(intf_quorix_mem)[offset] = value; }

class FaultyFru : public qtest::BoundTest {};

TEST_F(FaultyFru, FailedAndShortTransfersLeaveTheStoredRecord) {
    const Bytes record = {0x01, 0x00, 0x00, 0x01, 0x0A, 0x00, 0x00, 0xF4, 0xC5, 'Q', 'R', 'X', '-', '0', '1', 0xC1};
    Bytes copy = record;
    ASSERT_EQ(quorix_write_fru(7, 0x40, 16, copy.data()), 16);

    Bytes other(16, 0x5A);
    setFault(kFruWrite, kFail);
    int rc = 0;
    EXPECT_EQ(qtest::captureStdout([&] { rc = quorix_write_fru(7, 0x40, 16, other.data()); }),
              "[INFO]: Write FRU Info Failed. Ret = -1\n");
    EXPECT_EQ(rc, -1);

    // A short read is a failure however many bytes arrived.
    setFault(kFruRead, kShort);
    Bytes back(16, 0);
    EXPECT_EQ(qtest::captureStdout([&] { rc = quorix_read_fru(7, 0x40, 16, back.data()); }),
              "[INFO]: Read FRU Info Failed. Length = 8\n");
    EXPECT_EQ(rc, -1);

    setFault(kFruWrite, kNone);
    setFault(kFruRead, kNone);
    back.assign(16, 0);
    ASSERT_EQ(quorix_read_fru(7, 0x40, 16, back.data()), 16);
    EXPECT_EQ(back, record);
    EXPECT_EQ(qtest::Sim::get().callCount(kFruWrite), 2u);
    EXPECT_EQ(qtest::Sim::get().callCount(kFruRead), 2u);
}

TEST_F(FaultyFru, ProtectedDevicesAreRefusedBeforeAFailingDeviceIsReached) {
    setFault(kFruWrite, kFail);
    unsigned char data[4] = {1, 2, 3, 4};
    for (int device : {30, 31, 32, 33}) {
        int rc = 0;
        EXPECT_EQ(qtest::captureStdout([&] { rc = quorix_write_fru(device, 0, 4, data); }), "") << device;
        EXPECT_EQ(rc, -1) << device;
    }
    EXPECT_EQ(qtest::Sim::get().callCount(kFruWrite), 0u);
}

// COM and SOL bytes: the setter does not look at the EEPROM result, so it
// answers 0 and caches the value while the device keeps its old byte.
class FaultyComSolEeprom : public qtest::BoundTest {
protected:
    void SetUp() override {
        BoundTest::SetUp();
        qtest::putEeprom(kComOffset, {1, 4});
        putByte(kComCache, 255);  // not read yet
        putByte(kSolCache, 255);
    }
};

TEST_F(FaultyComSolEeprom, SetAnswersZeroAndCachesWhileTheDeviceKeepsItsByte) {
    setFault(kEepromWrite, kFail);
    EXPECT_EQ(QuorixSetComCfg(2), 0);
    EXPECT_EQ(QuorixSetSolCfg(16), 0);
    EXPECT_EQ(qtest::blockBytes(kSolCache, 2), (Bytes{16, 2}));
    EXPECT_EQ(QuorixGetComCfg(), 2);
    EXPECT_EQ(QuorixGetSolCfg(), 16);
    // Half of one byte is nothing at all.
    setFault(kEepromWrite, kShort);
    EXPECT_EQ(QuorixSetComCfg(0), 0);
    EXPECT_EQ(qtest::blockBytes(kComCache, 1), Bytes{0});
    setFault(kEepromWrite, kNone);
    EXPECT_EQ(qtest::eeprom(kComOffset, 2), (Bytes{1, 4}));
    EXPECT_EQ(qtest::Sim::get().callCount(kEepromWrite), 4u);  // the set-up's write and three sets
    // An invalid value is refused before the device is tried.
    EXPECT_EQ(QuorixSetComCfg(3), -1);
    EXPECT_EQ(qtest::Sim::get().callCount(kEepromWrite), 4u);
}

TEST_F(FaultyComSolEeprom, UnreadableDeviceReadsAsZeroOnceAndStaysCached) {
    for (Fault fault : {kFail, kShort}) {
        putByte(kComCache, 255);
        putByte(kSolCache, 255);
        setFault(kEepromRead, fault);
        EXPECT_EQ(QuorixGetComCfg(), 0) << fault;
        EXPECT_EQ(QuorixGetSolCfg(), 0) << fault;
        EXPECT_EQ(qtest::blockBytes(kSolCache, 2), (Bytes{0, 0})) << fault;
        // Cached now: the device is not asked again, even once it recovers.
        setFault(kEepromRead, kNone);
        const unsigned reads = qtest::Sim::get().callCount(kEepromRead);
        EXPECT_EQ(QuorixGetComCfg(), 0) << fault;
        EXPECT_EQ(qtest::Sim::get().callCount(kEepromRead), reads) << fault;
    }
    EXPECT_EQ(qtest::eeprom(kComOffset, 2), (Bytes{1, 4}));
}

}  // namespace
