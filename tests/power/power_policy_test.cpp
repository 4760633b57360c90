// Press marker, the power-state poll with its AC-failure rule, the EEPROM
// power state, and the COM/SOL configuration bytes.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "quorix_test.h"

namespace {

// EEPROM offsets and block offsets of the power configuration.
constexpr int kPowerStatusOffset = 4481, kComOffset = 5120;  // SOL follows COM at 5121
constexpr std::size_t kBlockPowerState = 0x621F8F, kBlockCom = 0x621F7B, kBlockSol = 0x621F7A;

const std::string kMarker = "/var/tmp/power_button_press_flag";

class PowerPolicy : public qtest::BoundTest {
protected:
    void SetUp() override {
        qtest::BoundTest::SetUp();
        mkdir("/var/tmp", 01777);
        qtest::removeQueue(12345);
    }
};

TEST_F(PowerPolicy, Marker_DecidesWhetherPolicyRuns) {
    EXPECT_EQ(IsPowerPolicyNeedRun(), 1);
    qtest::writeFile(kMarker, "");
    EXPECT_EQ(IsPowerPolicyNeedRun(), 0);
    EXPECT_EQ(ClearPowerButtonPressFaileFlag(), 0);
    EXPECT_FALSE(qtest::fileExists(kMarker));
    EXPECT_EQ(IsPowerPolicyNeedRun(), 1);
}

TEST_F(PowerPolicy, ClearMarker_MissingFileIsLoggedAndStillZero) {
    qtest::logToConsole({"QRXMONITOR"});
    std::string out = qtest::captureStdout([] { EXPECT_EQ(ClearPowerButtonPressFaileFlag(), 0); });
    EXPECT_EQ(qtest::logLines(out),
              (std::vector<std::string>{
                  "[Critical]:Unlink /var/tmp/power_button_press_flag fail in ClearPowerButtonPressFaileFlag "}));
}

TEST_F(PowerPolicy, NotStartCause_ZeroClearsMarkerAndPostsIdlText) {
    qtest::writeFile(kMarker, "");
    EXPECT_EQ(LoggingPowerPolicyNotStartCause(1), -1);
    EXPECT_EQ(LoggingPowerPolicyNotStartCause(-1), -1);
    EXPECT_TRUE(qtest::fileExists(kMarker)) << "a non-zero value does nothing";
    EXPECT_EQ(qtest::queuedMessages(12345), 0);

    EXPECT_EQ(LoggingPowerPolicyNotStartCause(0), 0);
    EXPECT_FALSE(qtest::fileExists(kMarker));
    qtest::KernelMessage m = qtest::receiveInChild(12345);
    ASSERT_TRUE(m.received);
    qtest::Bytes raw = m.raw();
    ASSERT_GE(raw.size(), 1u + 4u + 296u);
    const unsigned char *record = raw.data() + 1 + 4;  // frame marker, request code
    EXPECT_EQ(record[0], 1) << "stamped with the current time";
    EXPECT_EQ(record[4], 0x14);
    EXPECT_EQ(record[12], 0xFF);
    EXPECT_EQ(record[13], 0);
    EXPECT_EQ(record[14], 1);
    const std::string text = "Power button has been pressed before power policy starting,So power policy no start";
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(record + 15)), text);
    for (std::size_t i = 15 + text.size(); i < 296; ++i) ASSERT_EQ(record[i], 0) << "byte " << i;
}

TEST_F(PowerPolicy, EepromPowerStatus_ReadWriteAndFailures) {
    qtest::logToConsole({"QRXMONITOR"});
    unsigned char state = 0x5A;
    EXPECT_EQ(QuorixEEPROMWritePowerStatus(&state), 0);
    EXPECT_EQ(qtest::eeprom(kPowerStatusOffset, 1), std::vector<unsigned char>{0x5A});
    unsigned char back = 0;
    EXPECT_EQ(QuorixEEPROMReadPowerStatus(&back), 0);
    EXPECT_EQ(back, 0x5A);

    std::string out = qtest::captureStdout([] {
        EXPECT_EQ(QuorixEEPROMWritePowerStatus(nullptr), -3);
        EXPECT_EQ(QuorixEEPROMReadPowerStatus(nullptr), -3);
    });
    EXPECT_EQ(qtest::logLines(out),
              (std::vector<std::string>{"[Error]:NULL buffer pointer passed into read policy!",
                                        "[Error]:NULL buffer pointer passed into read power  status!"}));
    qtest::Sim::get().setFault(qrx::slotIndex(qrx::Slot::QuorixReadMainBoardEEprom), 1);
    qtest::Sim::get().setFault(qrx::slotIndex(qrx::Slot::QuorixWriteMainBoardEEprom), 1);
    out = qtest::captureStdout([&] {
        EXPECT_EQ(QuorixEEPROMWritePowerStatus(&state), -2);
        EXPECT_EQ(QuorixEEPROMReadPowerStatus(&back), -2);
    });
    EXPECT_EQ(qtest::logLines(out),
              (std::vector<std::string>{"[Error]:Write power status from EEPROM failed! retval=-1",
                                        "[Error]:Read power last status from EEPROM failed! retval=-1"}));
}

TEST_F(PowerPolicy, MonitorPowerStatus_AcFailureKeepsPreOutageState) {
    qtest::logToConsole({"QRXMONITOR"});
    qtest::Sim::get().setResult(qrx::slotIndex(qrx::Slot::GetACFailFromCPLD), 1);  // the CPLD latched AC_FAIL
    std::string out = qtest::inChild([] {
        const int polls[] = {1, 1, 0, 1};
        for (int state : polls) {
            qtest::Sim::get().setResult(qrx::slotIndex(qrx::Slot::checkSystemPowerOk), state);
            int rc = QuorixMonitorPowerStatus(0, 1, 2);
            std::printf("poll %d rc=%d block=%d writes=%u eeprom=%d\n", state, rc,
                        qtest::blockBytes(kBlockPowerState, 1)[0], qtest::Sim::get().callCount(qrx::slotIndex(qrx::Slot::QuorixWriteMainBoardEEprom)),
                        qtest::eeprom(kPowerStatusOffset, 1)[0]);
        }
    });
    EXPECT_EQ(qtest::plainOutput(out),
              "poll 1 rc=0 block=1 writes=1 eeprom=1\n"
              "poll 1 rc=0 block=1 writes=1 eeprom=1\n"
              "poll 0 rc=0 block=0 writes=1 eeprom=1\n"
              "poll 1 rc=0 block=1 writes=2 eeprom=1\n");
    EXPECT_EQ(qtest::logLines(out),
              (std::vector<std::string>{"[Critical]:Write power status to EEPROM. Status=1",
                                        "[Critical]:MBCPLD detected AC_FAIL, stop write power status to EEPROM.",
                                        "[Critical]:Write power status to EEPROM. Status=1"}));
}

TEST_F(PowerPolicy, MonitorPowerStatus_OrderlyPowerOffIsStored) {
    qtest::Sim::get().setResult(qrx::slotIndex(qrx::Slot::GetACFailFromCPLD), 0);
    std::string out = qtest::inChild([] {
        qtest::Sim::get().setResult(qrx::slotIndex(qrx::Slot::checkSystemPowerOk), 0x101);  // only the low byte counts
        QuorixMonitorPowerStatus(0, 0, 0);
        std::printf("%d\n", qtest::eeprom(kPowerStatusOffset, 1)[0]);
        qtest::Sim::get().setResult(qrx::slotIndex(qrx::Slot::checkSystemPowerOk), 0);
        QuorixMonitorPowerStatus(0, 0, 0);
        int stored = qtest::eeprom(kPowerStatusOffset, 1)[0];
        std::printf("%d %u\n", stored, qtest::Sim::get().callCount(qrx::slotIndex(qrx::Slot::GetACFailFromCPLD)));
    });
    EXPECT_EQ(qtest::plainOutput(out), "1\n0 1\n");
}

TEST_F(PowerPolicy, ComSolValidity_TrueMeansInvalid) {
    for (int v = 0; v < 256; ++v) {
        bool comValid = v <= 2;
        bool solValid = v == 0 || v == 2 || v == 3 || v == 4 || v == 16;
        EXPECT_EQ(IsComCfgValid(static_cast<unsigned char>(v)) != 0, !comValid) << v;
        EXPECT_EQ(IsSolCfgValid(static_cast<unsigned char>(v)) != 0, !solValid) << v;
    }
}

TEST_F(PowerPolicy, ComSol_SetStoresEepromAndBlockCache) {
    EXPECT_EQ(QuorixSetSolCfg(16), 0);
    EXPECT_EQ(QuorixSetSolCfg(1), -1);
    EXPECT_EQ(QuorixSetSolCfg(5), -1);
    EXPECT_EQ(QuorixSetComCfg(2), 0);
    EXPECT_EQ(QuorixSetComCfg(3), -1);
    EXPECT_EQ(qtest::eeprom(kComOffset, 2), (std::vector<unsigned char>{2, 16}));
    EXPECT_EQ(qtest::blockBytes(kBlockSol, 2), (std::vector<unsigned char>{16, 2}));
    EXPECT_EQ(qtest::Sim::get().callCount(qrx::slotIndex(qrx::Slot::QuorixWriteMainBoardEEprom)), 2u) << "refused values are not written";
    EXPECT_EQ(QuorixGetSolCfg(), 16);
    EXPECT_EQ(QuorixGetComCfg(), 2);
}

TEST_F(PowerPolicy, ComSol_GetReadsEepromOnceAndMapsInvalidToZero) {
    qtest::block().setU8(kBlockCom, 255);  // not read yet
    qtest::block().setU8(kBlockSol, 255);
    // Blank EEPROM (0xFF) is invalid for both: answered and cached as 0, EEPROM left alone.
    EXPECT_EQ(QuorixGetComCfg(), 0);
    EXPECT_EQ(QuorixGetSolCfg(), 0);
    EXPECT_EQ(qtest::blockBytes(kBlockSol, 2), (std::vector<unsigned char>{0, 0}));
    EXPECT_EQ(qtest::eeprom(kComOffset, 2), (std::vector<unsigned char>{0xFF, 0xFF}));
    EXPECT_EQ(qtest::Sim::get().callCount(qrx::slotIndex(qrx::Slot::QuorixWriteMainBoardEEprom)), 0u);

    qtest::putEeprom(kComOffset, {1, 4});
    qtest::block().setU8(kBlockCom, 255);
    qtest::block().setU8(kBlockSol, 255);
    EXPECT_EQ(QuorixGetComCfg(), 1);
    EXPECT_EQ(QuorixGetSolCfg(), 4);
    unsigned reads = qtest::Sim::get().callCount(qrx::slotIndex(qrx::Slot::QuorixReadMainBoardEEprom));
    qtest::putEeprom(kComOffset, {2, 3});
    EXPECT_EQ(QuorixGetComCfg(), 1) << "cached";
    EXPECT_EQ(QuorixGetSolCfg(), 4) << "cached";
    EXPECT_EQ(qtest::Sim::get().callCount(qrx::slotIndex(qrx::Slot::QuorixReadMainBoardEEprom)), reads);
}

TEST_F(PowerPolicy, PowerButtonLock_InitOnceAndGetSetPassesButtonInfo) {
    EXPECT_EQ(QuorixBMCControlPwrBtnmutexInit(), 0);
    EXPECT_EQ(QuorixBMCControlPwrBtnmutexInit(), 0);
    qtest::Sim::get().setResult(qrx::slotIndex(qrx::Slot::QuorixGetMBCPLDButtonInfo), 0x21);
    static int seen = -1;
    qtest::replaceSlot(
        qrx::Slot::QuorixBMCControlPWRON, +[](int info) -> int {
            seen = info;
            return 0;
        });
    EXPECT_EQ(QuorixBMCControlPwrBtnGetSet(), 0);
    EXPECT_EQ(seen, 0x21);
    EXPECT_EQ(pthread_mutex_trylock(&PwrBtnmutex), 0) << "released afterwards";
    pthread_mutex_unlock(&PwrBtnmutex);
}

}  // namespace
