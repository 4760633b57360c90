// Device upgrades against the simulator: each run moves its task and posts one IDL line, a failure raises the
// event a later success recovers; the first boot of a new BIOS.
#include <algorithm>
#include <atomic>
#include <ctime>
#include <cstring>
#include <thread>

#include "update_cases.h"

namespace {

using namespace qtest;
using DeviceUpgrades = UpdateTest;
using qrx::Slot;

TEST_F(DeviceUpgrades, Runs_MoveTheirTaskAndPostOneLine) {
    for (const char *f : {"/var/psuimage", "/usr/local/lmedia/bios.bin", "/usr/local/lmedia/hgx.bin", "/usr/local/lmedia/mps.bin"})
        writeFile(f, "image");
    writeFile("/usr/local/lmedia/hgx.bin.version", "0.9\n");
    const struct { std::function<int()> run; Slot device; int fault, rc, task; std::string line; } cases[] = {
        {[] { return QuorixUpdatePSU("/var/psuimage", 1); }, Slot::ProgramPsu, 0, 0, 5, "3/1 PSU1 upgrade with image /var/psuimage successed"},
        {[] { return QuorixUpdatePSU("/var/psuimage", 0); }, Slot::ProgramPsu, 1, -1, 5, "3/1 PSU0 upgrade with image /var/psuimage failed"},
        {[] { return QuorixUpdateSCP("/usr/local/lmedia/bios.bin", 1); }, Slot::ProgramScp, 0, 0, 11, "6/1 SCP flash upgrade with image /usr/local/lmedia/bios.bin successed"},
        {[] { return QuorixUpdateSCP("/usr/local/lmedia/bios.bin", 0); }, Slot::ProgramScp, 1, -1, 1, "6/1 BIOS flash upgrade with image /usr/local/lmedia/bios.bin failed"},
        {[] { return QuorixUpdateHgx2Fpga("/usr/local/lmedia/hgx.bin"); }, Slot::ProgramGpuFpga, 0, 0, 8, "5/1 GPU FPGA upgrade to version 0.9 successed"},
        {[] { return QuorixUpdateGPUCECFpga("/usr/local/lmedia/hgx.bin"); }, Slot::ProgramGpuFpga, 1, -1, 9, "5/1 GPU CEC upgrade to version 0.9 failed"},
        {[] { return QuorixInVRMPSUpgrade(3, "/usr/local/lmedia/mps.bin"); }, Slot::UpgradeVrMps, 0, 0, 6, "4/1 VR3 (MPS) upgrade with image /usr/local/lmedia/mps.bin successed"},
        {[] { return QuorixInVRXDPUpgrade(1, "/usr/local/lmedia/mps.bin"); }, Slot::UpgradeVrXdp, 1, -1, 6, "4/1 VR1 (XDP) upgrade with image /usr/local/lmedia/mps.bin failed"},
    };
    Events expectEvents;
    for (const auto &c : cases) {
        Sim::get().setFault(qrx::slotIndex(c.device), c.fault);
        const std::uint32_t before = static_cast<std::uint32_t>(std::time(nullptr));
        EXPECT_EQ(printed(c.run).rc, c.rc) << c.line;
        EXPECT_EQ(idlTexts(), Texts{c.line});
        EXPECT_EQ(blockBytes(taskField(c.task, kStatus), 1), Bytes{std::uint8_t(c.rc == 0 ? 3 : 4)});
        EXPECT_GE(block().u32(taskField(c.task, kStart)), before);
        if (c.rc != 0) expectEvents.push_back({0x07, c.task, 4});
        Sim::get().setFault(qrx::slotIndex(c.device), 0);
    }
    EXPECT_EQ(fileName(5), "/var/psuimage");
    EXPECT_EQ(printed([] { return QuorixUpdatePSU("/var/psuimage", 0); }).rc, 0);
    expectEvents.push_back({0x87, 5, 3});
    EXPECT_EQ(selEvents(), expectEvents);
    EXPECT_EQ(block().u8(taskField(5, kProgress)), 100);
    // Refused before any task moves.
    const struct { std::function<int()> run; Printed expect; } refused[] = {
        {[] { return QuorixUpdatePSU("/var/none", 0); }, {-1, "QuorixUpdatePSU: psu0 image /var/none not found\n"}},
        {[] { return QuorixUpdateSCP("/usr/local/lmedia/bios.bin", 2); }, {-2, "QuorixUpdateSCP: no flash 2\n"}},
        {[] { return QuorixUpdateSCP(nullptr, 1); }, {-1, "QuorixUpdateSCP: image (null) not found\n"}},
        {[] { return QuorixUpdateGPUCECFpga("/usr/local/lmedia/none"); }, {-1, "GPU CEC image /usr/local/lmedia/none not found\n"}},
        {[] { return QuorixInVRPXEUpgrade(0, "/usr/local/lmedia/pxe.bin"); }, {-1, "VR0 PXE image /usr/local/lmedia/pxe.bin not found\n"}},
    };
    const Bytes table = taskTable();
    for (const auto &c : refused) EXPECT_EQ(printed(c.run), c.expect);
    EXPECT_EQ(taskTable(), table);
    EXPECT_EQ(Sim::get().callCount(qrx::slotIndex(Slot::UpgradeVrPxe)), 0u);
}

// Reads the progress byte the way a peer process does, without a lock.
__attribute__((noinline)) int unlockedProgressRead(int id) { return block().u8(taskField(id, kProgress)); }

TEST_F(DeviceUpgrades, Psu_ProgressRisesWhileTheSimulatorPrograms) {
    writeFile("/var/psuimage", "image");
    setProgramTime(56, 400);
    std::atomic<bool> done{false};
    std::vector<int> seen{0};
    std::thread watcher([&] {
        for (; !done; std::this_thread::yield())
            if (int p = unlockedProgressRead(5); p != seen.back()) seen.push_back(p);
    });
    EXPECT_EQ(printed([] { return QuorixUpdatePSU("/var/psuimage", 2); }).rc, 0);
    done = true;
    watcher.join();
    if (seen.back() != unlockedProgressRead(5)) seen.push_back(unlockedProgressRead(5));
    ASSERT_GE(seen.size(), 3u);
    EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()) && std::adjacent_find(seen.begin(), seen.end()) == seen.end());
    EXPECT_EQ(seen.back(), 100);
}

TEST_F(DeviceUpgrades, Vr_StagedRequestIsFoundAndRunOnce) {
    EXPECT_EQ(QuorixInVRCheckUpgrade(), -1);  // blank EEPROM
    EXPECT_EQ(QuorixInVRAutoUpgrade(), -2);
    unsigned char record[48] = {1, 2, 1};
    std::strcpy(reinterpret_cast<char *>(record + 4), "/usr/local/lmedia/vr1.bin");
    ASSERT_EQ(QuorixWriteMainBoardEEprom(3840, record, 48), 48);
    EXPECT_EQ(printed([] { return Quorix_HasUpdateFile(6); }).rc, 1);
    EXPECT_EQ(blockBytes(taskField(6, kStatus), 2), (Bytes{1, 4}));
    EXPECT_EQ(printed(QuorixInVRAutoUpgrade).rc, 0);
    EXPECT_EQ(block().u8(taskField(6, kStatus)), 3);
    EXPECT_EQ(idlTexts(), Texts{"4/1 VR1 upgrade with image /usr/local/lmedia/vr1.bin successed"});
    EXPECT_EQ(QuorixInVRCheckUpgrade(), -1) << "used up";
    EXPECT_EQ(Sim::get().callCount(qrx::slotIndex(Slot::UpgradeVr)), 2u);
    ASSERT_EQ(QuorixWriteMainBoardEEprom(3840, record, 48), 48);
    simResults({{Slot::UpgradeVr, 1}});
    EXPECT_EQ(QuorixInVRCheckUpgrade(), 1) << "the platform says nothing is due";
    EXPECT_EQ(Quorix_HasUpdateFile(6), 0);
}

TEST_F(DeviceUpgrades, BiosBootMonitor_ThirdFailedBootSwitchesImageABootedOneFinishes) {
    static std::vector<std::vector<int>> g_selector;
    replaceSlot(Slot::QuorixSetBIOSBootSelector, +[](int selector, int flash) { g_selector.push_back({selector, flash}); return 0; });
    simResults({{Slot::CheckBIOSDoubleFlashSupport, 1}, {Slot::checkBIOSBootOK, 0}, {Slot::QuorixGetBIOSBootSelector, 1}});
    ASSERT_EQ(QuorixWriteMainBoardEEprom(3892, Bytes{1, 0}.data(), 2), 2);
    for (int boot = 0; boot < 4; ++boot) EXPECT_EQ(printed(QuorixBIOSBootUpMonitor).rc, 0);
    EXPECT_EQ(g_selector, (std::vector<std::vector<int>>{{0, 0}}));
    EXPECT_EQ(eeprom(3892, 2), (std::vector<unsigned char>{0, 0}));
    EXPECT_EQ(block().u8(taskField(1, kStatus)), 4);
    EXPECT_EQ(selEvents(), (Events{{0x07, 1, 4}}));
    EXPECT_EQ(idlTexts(), Texts{"6/1 BIOS boot-up after upgrade failed, switched to image 0"});
    simResults({{Slot::checkBIOSBootOK, 1}, {Slot::CheckBIOSDoubleFlashSupport, 0}});
    ASSERT_EQ(QuorixWriteMainBoardEEprom(3892, Bytes{1, 2}.data(), 2), 2);
    EXPECT_EQ(QuorixBIOSBootUpMonitor(), 0);
    EXPECT_EQ(eeprom(3892, 2), (std::vector<unsigned char>{1, 2})) << "single-flash boards never look";
    simResults({{Slot::CheckBIOSDoubleFlashSupport, 1}});
    EXPECT_EQ(printed(QuorixBIOSBootUpMonitor).rc, 0);
    EXPECT_EQ(eeprom(3892, 2), (std::vector<unsigned char>{0, 0}));
    EXPECT_EQ(block().u8(taskField(1, kStatus)), 3);
    EXPECT_EQ(idlTexts(), Texts{"6/1 BIOS boot-up after upgrade successed"});
}

}  // namespace
