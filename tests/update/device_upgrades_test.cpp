// Device upgrades with task bookkeeping: supplies, BIOS/SCP flash, GPU FPGA,
// voltage regulators and the first-boot check of a new BIOS, run against the
// simulator's programming devices.
#include <atomic>
#include <cstring>
#include <ctime>
#include <string>
#include <thread>
#include <vector>

#include "quorix_test.h"

namespace {

using namespace qtest;


class DeviceUpgrades : public UpdateTest {};

TEST_F(DeviceUpgrades, Psu_RunIsRecordedAsTask5) {
    qtest::writeFile("/var/psuimage", "image");
    std::time_t before = std::time(nullptr);
    std::string out;
    int result = -5;
    out = qtest::captureStdout([&] { result = QuorixUpdatePSU("/var/psuimage", 1); });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(block().u8(taskField(5, kStatus)), 3);
    EXPECT_EQ(block().u8(taskField(5, kProgress)), 100);
    EXPECT_GE(block().u32(taskField(5, kStart)), static_cast<std::uint32_t>(before));
    EXPECT_EQ(block().u8(taskField(5, 0)), 5);
    EXPECT_STREQ(reinterpret_cast<const char *>(qtest::blockBytes(taskField(5, 177), 128).data()), "/var/psuimage");
    EXPECT_NE(out.find("\r\n==== task_id:5  status:2 =====\r\n"), std::string::npos);
    EXPECT_NE(out.find("\r\n==== task_id:5  status:3 =====\r\n"), std::string::npos);
    auto lines = takeIdlLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].kind, 3);
    EXPECT_EQ(lines[0].text, "PSU1 upgrade with image /var/psuimage successed");
    EXPECT_TRUE(selEvents().empty());
}

TEST_F(DeviceUpgrades, Psu_FailureRaisesTheEventAndTheNextSuccessTheRecovery) {
    qtest::writeFile("/var/psuimage", "image");
    qtest::writeFile("/var/psuimage.version", "2.05\n");
    qtest::Sim::get().setFault(qrx::slotIndex(qrx::Slot::ProgramPsu), 1);
    qtest::captureStdout([] { EXPECT_EQ(QuorixUpdatePSU("/var/psuimage", 0), -1); });
    EXPECT_EQ(block().u8(taskField(5, kStatus)), 4);
    EXPECT_EQ(takeIdlLines()[0].text, "PSU0 upgrade to version 2.05 failed");
    qtest::Sim::get().setFault(qrx::slotIndex(qrx::Slot::ProgramPsu), 0);
    qtest::captureStdout([] { EXPECT_EQ(QuorixUpdatePSU("/var/psuimage", 0), 0); });
    EXPECT_EQ(selEvents(), (std::vector<std::vector<int>>{{0x07, 5, 4}, {0x87, 5, 3}}));
    // A missing image starts no task.
    qtest::captureStdout([] { EXPECT_EQ(QuorixUpdatePSU("/var/none", 0), -1); });
    EXPECT_EQ(qtest::Sim::get().callCount(qrx::slotIndex(qrx::Slot::ProgramPsu)), 2u);
}

// Reads the progress byte the way a peer process does, without a lock.
__attribute__((noinline)) int unlockedProgressRead(int id) {
    return block().u8(taskField(id, kProgress));
}

TEST_F(DeviceUpgrades, Psu_ProgressMovesWhileTheSimulatorProgramsTheSupply) {
    qtest::writeFile("/var/psuimage", "image");
    setProgramTime(56, 400);
    std::atomic<bool> done{false};
    std::vector<int> seen;
    std::thread watcher([&] {
        while (!done) {
            int p = unlockedProgressRead(5);
            if (seen.empty() || seen.back() != p) seen.push_back(p);
            std::this_thread::yield();
        }
    });
    qtest::captureStdout([] { EXPECT_EQ(QuorixUpdatePSU("/var/psuimage", 2), 0); });
    done = true;
    watcher.join();
    if (seen.back() != block().u8(taskField(5, kProgress))) seen.push_back(block().u8(taskField(5, kProgress)));
    ASSERT_GE(seen.size(), 3u);
    for (std::size_t i = 1; i < seen.size(); ++i) EXPECT_GT(seen[i], seen[i - 1]);
    EXPECT_EQ(seen.back(), 100);
}

TEST_F(DeviceUpgrades, BiosFlash_SimulatorWritesTheFlasherFile) {
    qtest::writeFile("/usr/local/lmedia/bios.bin", "image");
    qtest::captureStdout([] { EXPECT_EQ(QuorixUpdateSCP("/usr/local/lmedia/bios.bin", 0), 0); });
    EXPECT_EQ(block().u8(taskField(1, kStatus)), 3);
    unsigned char progress[97];
    int result = 0;
    qtest::captureStdout([&] { result = QuorixGetFlashProgress(progress); });
    EXPECT_EQ(result, 255);
    EXPECT_EQ(progress[1], 100);
    EXPECT_EQ(takeIdlLines()[0].text, "BIOS flash upgrade with image /usr/local/lmedia/bios.bin successed");

    qtest::Sim::get().setFault(qrx::slotIndex(qrx::Slot::ProgramScp), 1);
    qtest::captureStdout([] { EXPECT_EQ(QuorixUpdateSCP("/usr/local/lmedia/bios.bin", 0), -1); });
    qtest::captureStdout([&] { result = QuorixGetFlashProgress(progress); });
    EXPECT_EQ(result, 254);
    EXPECT_EQ(block().u8(taskField(1, kStatus)), 4);
}

TEST_F(DeviceUpgrades, ScpFlash_UsesTask11AndRefusesBadInput) {
    qtest::writeFile("/usr/local/lmedia/scp.bin", "image");
    qtest::captureStdout([] { EXPECT_EQ(QuorixUpdateSCP("/usr/local/lmedia/scp.bin", 1), 0); });
    EXPECT_EQ(block().u8(taskField(11, kStatus)), 3);
    EXPECT_EQ(block().u8(taskField(11, kProgress)), 100);
    EXPECT_EQ(qtest::captureStdout([] { EXPECT_EQ(QuorixUpdateSCP("/usr/local/lmedia/scp.bin", 2), -2); }),
              "QuorixUpdateSCP: no flash 2\n");
    EXPECT_EQ(qtest::captureStdout([] { EXPECT_EQ(QuorixUpdateSCP(nullptr, 1), -1); }),
              "QuorixUpdateSCP: image (null) not found\n");
    EXPECT_EQ(qtest::Sim::get().callCount(qrx::slotIndex(qrx::Slot::ProgramScp)), 1u);
}

TEST_F(DeviceUpgrades, GpuFpgaAndCec_RecordStartTimeForTheEstimate) {
    qtest::writeFile("/usr/local/lmedia/hgx.bin", "image");
    qtest::writeFile("/usr/local/lmedia/hgx.bin.version", "0.9");
    qtest::captureStdout([] { EXPECT_EQ(QuorixUpdateHgx2Fpga("/usr/local/lmedia/hgx.bin"), 0); });
    EXPECT_EQ(block().u8(taskField(8, kStatus)), 3);
    EXPECT_NE(block().u32(taskField(8, kStart)), 0u);
    EXPECT_EQ(QuorixGetFpgaUpgradeProgress(8), 100);
    auto lines = takeIdlLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].kind, 5);
    EXPECT_EQ(lines[0].text, "GPU FPGA upgrade to version 0.9 successed");
    qtest::Sim::get().setResult(qrx::slotIndex(qrx::Slot::ProgramGpuFpga), 3);
    qtest::captureStdout([] { EXPECT_EQ(QuorixUpdateGPUCECFpga("/usr/local/lmedia/hgx.bin"), 3); });
    EXPECT_EQ(block().u8(taskField(9, kStatus)), 4);
    qtest::captureStdout([] { EXPECT_EQ(QuorixUpdateGPUCECFpga("/usr/local/lmedia/none"), -1); });
    EXPECT_EQ(qtest::Sim::get().callCount(qrx::slotIndex(qrx::Slot::ProgramGpuFpga)), 2u);
}

void stageVr(std::uint8_t vendor, std::uint8_t index, const char *image) {
    unsigned char record[48] = {};
    record[0] = 1;
    record[1] = vendor;
    record[2] = index;
    std::strncpy(reinterpret_cast<char *>(record + 4), image, 43);
    ASSERT_EQ(QuorixWriteMainBoardEEprom(3840, record, 48), 48);
}

TEST_F(DeviceUpgrades, Vr_StagedRequestIsFoundCheckedAndRunOnce) {
    EXPECT_EQ(QuorixInVRCheckUpgrade(), -1);  // blank EEPROM
    EXPECT_EQ(QuorixInVRAutoUpgrade(), -2);
    EXPECT_EQ(qtest::Sim::get().callCount(qrx::slotIndex(qrx::Slot::UpgradeVr)), 0u);
    stageVr(2, 1, "/usr/local/lmedia/vr1.bin");
    qtest::captureStdout([] { EXPECT_EQ(Quorix_HasUpdateFile(6), 1); });
    EXPECT_EQ(block().u8(taskField(6, kStatus)), 1);
    EXPECT_EQ(block().u8(taskField(6, 37)), 4);
    qtest::captureStdout([] { EXPECT_EQ(QuorixInVRAutoUpgrade(), 0); });
    EXPECT_EQ(block().u8(taskField(6, kStatus)), 3);
    EXPECT_EQ(takeIdlLines()[0].text, "VR1 upgrade with image /usr/local/lmedia/vr1.bin successed");
    EXPECT_EQ(QuorixInVRCheckUpgrade(), -1);  // used up
    EXPECT_EQ(qtest::Sim::get().callCount(qrx::slotIndex(qrx::Slot::UpgradeVr)), 2u);
    // The platform may answer that nothing is due.
    stageVr(0, 0, "/x");
    qtest::Sim::get().setResult(qrx::slotIndex(qrx::Slot::UpgradeVr), 1);
    EXPECT_EQ(QuorixInVRCheckUpgrade(), 1);
    EXPECT_EQ(Quorix_HasUpdateFile(6), 0);
}

TEST_F(DeviceUpgrades, Vr_VendorUpgradesNeedAnImage) {
    qtest::writeFile("/usr/local/lmedia/mps.bin", "image");
    qtest::captureStdout([] { EXPECT_EQ(QuorixInVRMPSUpgrade(3, "/usr/local/lmedia/mps.bin"), 0); });
    EXPECT_EQ(takeIdlLines()[0].text, "VR3 (MPS) upgrade with image /usr/local/lmedia/mps.bin successed");
    EXPECT_EQ(qtest::captureStdout([] { EXPECT_EQ(QuorixInVRPXEUpgrade(0, "/usr/local/lmedia/pxe.bin"), -1); }),
              "VR0 PXE image /usr/local/lmedia/pxe.bin not found\n");
    qtest::Sim::get().setFault(qrx::slotIndex(qrx::Slot::UpgradeVrXdp), 1);
    qtest::captureStdout([] { EXPECT_EQ(QuorixInVRXDPUpgrade(1, "/usr/local/lmedia/mps.bin"), -1); });
    EXPECT_EQ(block().u8(taskField(6, kStatus)), 4);
    EXPECT_EQ(qtest::Sim::get().callCount(qrx::slotIndex(qrx::Slot::UpgradeVrPxe)), 0u);
    EXPECT_EQ(qtest::Sim::get().callCount(qrx::slotIndex(qrx::Slot::UpgradeVrMps)), 1u);
}

std::vector<std::vector<int>> g_selectorCalls;
int setSelector(int selector, int flash) {
    g_selectorCalls.push_back({selector, flash});
    return 0;
}

std::uint8_t eepromByte(int offset) {
    unsigned char b = 0;
    EXPECT_EQ(QuorixReadMainBoardEEprom(offset, &b, 1), 1);
    return b;
}

TEST_F(DeviceUpgrades, BiosBootMonitor_ThirdFailedBootSwitchesImage) {
    g_selectorCalls.clear();
    qtest::replaceSlot(qrx::Slot::QuorixSetBIOSBootSelector, &setSelector);
    qtest::Sim::get().setResult(qrx::slotIndex(qrx::Slot::CheckBIOSDoubleFlashSupport), 1);
    qtest::Sim::get().setResult(qrx::slotIndex(qrx::Slot::checkBIOSBootOK), 0);
    qtest::Sim::get().setResult(qrx::slotIndex(qrx::Slot::QuorixGetBIOSBootSelector), 1);
    unsigned char pending[2] = {1, 0};
    ASSERT_EQ(QuorixWriteMainBoardEEprom(3892, pending, 2), 2);
    std::string out = qtest::captureStdout([] {
        for (int i = 0; i < 3; ++i) EXPECT_EQ(QuorixBIOSBootUpMonitor(), 0);
    });
    EXPECT_EQ(g_selectorCalls, (std::vector<std::vector<int>>{{0, 0}}));
    EXPECT_EQ(eepromByte(3892), 0);
    EXPECT_EQ(block().u8(taskField(1, kStatus)), 4);
    EXPECT_EQ(selEvents(), (std::vector<std::vector<int>>{{0x07, 1, 4}}));
    EXPECT_EQ(takeIdlLines()[0].text, "BIOS boot-up after upgrade failed, switched to image 0");
    QuorixBIOSBootUpMonitor();  // nothing pending any more
    EXPECT_EQ(g_selectorCalls.size(), 1u);
}

TEST_F(DeviceUpgrades, BiosBootMonitor_BootedBiosFinishesTheTask) {
    qtest::Sim::get().setResult(qrx::slotIndex(qrx::Slot::CheckBIOSDoubleFlashSupport), 1);
    unsigned char pending[2] = {1, 2};
    ASSERT_EQ(QuorixWriteMainBoardEEprom(3892, pending, 2), 2);
    qtest::captureStdout([] { EXPECT_EQ(QuorixBIOSBootUpMonitor(), 0); });
    EXPECT_EQ(eepromByte(3892), 0);
    EXPECT_EQ(eepromByte(3893), 0);
    EXPECT_EQ(block().u8(taskField(1, kStatus)), 3);
    EXPECT_EQ(takeIdlLines()[0].text, "BIOS boot-up after upgrade successed");
    // Single-flash boards never look.
    ASSERT_EQ(QuorixWriteMainBoardEEprom(3892, pending, 2), 2);
    qtest::Sim::get().setResult(qrx::slotIndex(qrx::Slot::CheckBIOSDoubleFlashSupport), 0);
    EXPECT_EQ(QuorixBIOSBootUpMonitor(), 0);
    EXPECT_EQ(eepromByte(3892), 1);
}

}  // namespace
