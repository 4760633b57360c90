// Operations composed of several slot calls, and the power-button lock.
#include <pthread.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <functional>
#include <cstdlib>
#include <string>
#include <vector>

#include "core/slot_table.h"
#include "quorix_test.h"

namespace {

// What the probes saw, in call order: "slot(arg,arg)".
std::vector<std::string> g_calls;
int g_result161 = 0;
int g_result6Until = 0;  // slot 6 returns 0 from this call on (1-based), never when 0
int g_selector = 0;

template <typename... A>
void record(int slot, A... args) {
    std::string text = std::to_string(slot) + "(";
    std::string sep;
    ((text += sep + std::to_string(static_cast<long>(args)), sep = ","), ...);
    g_calls.push_back(text + ")");
}

int dialSwitch(int port, int mode) { record(161, port, mode); return g_result161; }
int shareLinkDisable() { record(163); return 0x163; }
int platformInit() { record(0); return 7; }
int gpuBoxDevInfo(int index) { record(191, index); return 0x55; }
int fanPresent(int fan, unsigned char *) {
    record(6, fan);
    return g_result6Until != 0 && static_cast<int>(g_calls.size()) >= g_result6Until ? 0 : -3;
}
int diagInterrupt(int code, int action) { record(39, code, action); return g_result161; }
int getBootSelector(int which) { record(172, which); return g_selector; }
int setBootSelector(int selector, int which) { record(173, selector, which); return 0x173; }
int fpgaVersion(int type, int reserved, unsigned char *) { record(170, type, reserved); return 0x170; }
int rtcLock(int locked) { record(235, locked); return 0; }
int rtcControl(int command, void *) { record(215, command); return 0x215; }
int fanInfo(unsigned char *, int index) { record(1, index); return 0x11; }
int buttonInfo() { record(153); return 0x5A; }
int powerOn(int action) {
    // The lock must be held while slot 78 runs.
    record(78, action, pthread_mutex_trylock(&PwrBtnmutex) == 0 ? 0 : 1);
    return 0;
}

class ComposedOps : public qtest::BoundTest {
protected:
    void SetUp() override {
        BoundTest::SetUp();
        g_calls.clear();
        g_result161 = 0;
        g_result6Until = 0;
        g_selector = 0;
    }
    using Calls = std::vector<std::string>;
};

TEST_F(ComposedOps, ShareLinkIsDisabledOnlyWhenTheDialSwitchAllowsIt) {
    qtest::replaceSlot(qrx::Slot::BmcCheckDialSwitchStatus, dialSwitch);
    qtest::replaceSlot(qrx::Slot::BmcShareLinkDisable, shareLinkDisable);
    g_result161 = 4;
    EXPECT_EQ(BmcUpdateShareLink(2, 3), 4);
    EXPECT_EQ(g_calls, (Calls{"161(2,3)"}));

    g_calls.clear();
    g_result161 = 0;
    EXPECT_EQ(BmcUpdateShareLink(2, 3), 0x163);
    EXPECT_EQ(g_calls, (Calls{"161(2,3)", "163()"}));
}

TEST_F(ComposedOps, PlatformInitialisationRunsOnceAndSetsTheSharedFlag) {
    qtest::replaceSlot(qrx::Slot::PlatformInit, platformInit);
    EXPECT_EQ(qtest::blockBytes(22, 1)[0], 0);
    EXPECT_EQ(quorixPlatInit(), 7);
    EXPECT_EQ(qtest::blockBytes(22, 1)[0], 1);
    EXPECT_EQ(quorixPlatInit(), 0);
    EXPECT_EQ(g_calls, (Calls{"0()"}));
}

// Two separate processes, each loading and binding the library on its own.
TEST_F(ComposedOps, PlatformInitialisationFromTwoProcessesCallsSlotZeroOnce) {
    // The real path: under qemu /proc/<pid>/exe is the emulator's own binary.
    char path[4096];
    ssize_t len = readlink("/proc/self/exe", path, sizeof path - 1);
    ASSERT_GT(len, 0);
    std::string self = qtest::programCommand(std::string(path, static_cast<std::size_t>(len)));
    std::vector<std::string> outputs;
    for (int i = 0; i < 2; ++i) {
        qtest::CommandRun run = qtest::runCommand("QUORIX_TEST_ROLE=plat-init " + self + " --gtest_filter=ChildRole.PlatInit");
        EXPECT_EQ(run.status, 0) << run.out;
        outputs.push_back(run.out);
    }
    EXPECT_NE(outputs[0].find("quorixPlatInit=0"), std::string::npos) << outputs[0];
    EXPECT_NE(outputs[1].find("quorixPlatInit=0"), std::string::npos) << outputs[1];
    EXPECT_EQ(qtest::Sim::get().callCount(qrx::slotIndex(qrx::Slot::PlatformInit)), 1u);
    EXPECT_EQ(qtest::blockBytes(22, 1)[0], 1);
}

TEST(ChildRole, PlatInit) {
    const char *role = std::getenv("QUORIX_TEST_ROLE");
    if (role == nullptr || std::string(role) != "plat-init") GTEST_SKIP() << "runs only as a child process";
    ASSERT_EQ(quorix_interface_init(), 0);
    std::printf("quorixPlatInit=%d\n", quorixPlatInit());
}

TEST_F(ComposedOps, GpuBoxQueryPassesAPerProcessCounter) {
    qtest::replaceSlot(qrx::Slot::GetGpuBoxDevInfo, gpuBoxDevInfo);
    qtest::ChildResult child = qtest::runInChild([] {
        for (int i = 0; i < 3; ++i)
            if (QuorixGetGPUBoxDevInfo() != 0) std::exit(1);
        for (const std::string &c : g_calls) std::printf("%s ", c.c_str());
    });
    EXPECT_EQ(child.out, "191(0) 191(1) 191(2) ");
}

TEST_F(ComposedOps, FanPresenceIsRetriedTenTimesAtMost) {
    qtest::replaceSlot(qrx::Slot::quorixGetFanPresent, fanPresent);
    unsigned char present = 0;
    EXPECT_EQ(QuorixRetryGetFanPresent(5, &present), -3);
    EXPECT_EQ(g_calls.size(), 10u);

    g_calls.clear();
    g_result6Until = 3;
    EXPECT_EQ(QuorixRetryGetFanPresent(5, &present), 0);
    EXPECT_EQ(g_calls, (Calls{"6(5)", "6(5)", "6(5)"}));
}

TEST_F(ComposedOps, ChassisDiagnosticInterruptMapsTheResult) {
    qtest::replaceSlot(qrx::Slot::SetBiosBmcItem, diagInterrupt);
    EXPECT_EQ(QuorixDiagInterruptChassis(), 0);
    g_result161 = 9;
    EXPECT_EQ(QuorixDiagInterruptChassis(), -1);
    EXPECT_EQ(g_calls, (Calls{"39(18,1)", "39(18,1)"}));
}

TEST_F(ComposedOps, SetBiosBmcItem_PassesTheTwoRequestBytesAndReportsACompletionCode) {
    qtest::replaceSlot(qrx::Slot::SetBiosBmcItem, diagInterrupt);
    const struct {
        std::vector<unsigned char> request;
        int slotResult;
        unsigned char code;
        Calls calls;
    } cases[] = {
        {{0x12, 0x34}, 0, 0x00, {"39(18,52)"}},
        {{0xFE, 0x01}, -1, 0xFF, {"39(254,1)"}},
        {{0x12}, 0, 0xC7, {}},
        {{0x12, 0x34, 0x56}, 0, 0xC7, {}},
    };
    for (const auto &c : cases) {
        g_calls.clear();
        g_result161 = c.slotResult;
        unsigned char response[2] = {0xEE, 0xEE};
        EXPECT_EQ(QuorixSetBIOSBMCInterface(c.request.data(), static_cast<int>(c.request.size()), response), 1);
        EXPECT_EQ(response[0], c.code);
        EXPECT_EQ(response[1], 0xEE) << "one response byte";
        EXPECT_EQ(g_calls, c.calls);
    }
    unsigned char request[2] = {1, 2}, response[1] = {0xEE};
    EXPECT_EQ(QuorixSetBIOSBMCInterface(nullptr, 2, response), -1);
    EXPECT_EQ(QuorixSetBIOSBMCInterface(request, 2, nullptr), -1);
    EXPECT_EQ(response[0], 0xEE);
}

TEST_F(ComposedOps, SwitchNodeSelectsTheOtherFlash) {
    qtest::replaceSlot(qrx::Slot::QuorixGetBIOSBootSelector, getBootSelector);
    qtest::replaceSlot(qrx::Slot::QuorixSetBIOSBootSelector, setBootSelector);
    g_selector = 0x10;  // bit 0 clear: select 1
    EXPECT_EQ(QuorixBiosSwitchNode(), 0x173);
    g_selector = 0x11;  // bit 0 set: select 0
    EXPECT_EQ(QuorixScpSwitchNode(), 0x173);
    EXPECT_EQ(g_calls, (Calls{"172(0)", "173(1,0)", "172(1)", "173(0,1)"}));
}

TEST_F(ComposedOps, FpgaVersionKnowsOnlyTypeZero) {
    qtest::replaceSlot(qrx::Slot::UpdateFpgaVersion, fpgaVersion);
    std::string out = qtest::captureStdout([] { EXPECT_EQ(QuorixUpdateFpgaVersion(1, 0, nullptr), -1); });
    EXPECT_EQ(out, "\r\n====Error fpga type:1   =====\r\n");
    EXPECT_TRUE(g_calls.empty());
    EXPECT_EQ(QuorixUpdateFpgaVersion(0, 6, nullptr), 0x170);
    EXPECT_EQ(g_calls, (Calls{"170(0,0)"})) << "the second argument is replaced by the kind";
}

TEST_F(ComposedOps, RtcCommandRunsUnderTheRtcLock) {
    qtest::replaceSlot(qrx::Slot::QuorixSetRtcLockStatus, rtcLock);
    qtest::replaceSlot(qrx::Slot::RtcDeviceControl, rtcControl);
    EXPECT_EQ(RTC_DeviceControl(4, nullptr), 0x215);
    EXPECT_EQ(g_calls, (Calls{"235(1)", "215(4)", "235(0)"}));
}

TEST_F(ComposedOps, FanInfoIndexIsBoundedByTheFanCountInTheBlock) {
    qtest::replaceSlot(qrx::Slot::GetFanInfo, fanInfo);
    static_cast<unsigned char *>(intf_quorix_mem)[0x200000] = 4;  // four fans
    unsigned char info[64];
    EXPECT_EQ(get_hw_fan_info(nullptr, 0), -1);
    EXPECT_EQ(get_hw_fan_info(info, 5), -1);
    EXPECT_EQ(get_hw_fan_info(info, 4), 0x11);  // the index may equal the count
    EXPECT_EQ(g_calls, (Calls{"1(4)"}));
}

TEST_F(ComposedOps, PowerButtonStateIsPassedOnUnderTheLock) {
    qtest::replaceSlot(qrx::Slot::QuorixGetMBCPLDButtonInfo, buttonInfo);
    qtest::replaceSlot(qrx::Slot::QuorixBMCControlPWRON, powerOn);
    EXPECT_EQ(QuorixBMCControlPwrBtnmutexInit(), 0);
    EXPECT_EQ(QuorixBMCControlPwrBtnmutexInit(), 0);
    EXPECT_EQ(QuorixBMCControlPwrBtnGetSet(), 0);
    EXPECT_EQ(g_calls, (Calls{"153()", "78(90,1)"}));
    EXPECT_EQ(pthread_mutex_trylock(&PwrBtnmutex), 0) << "the lock is released afterwards";
    pthread_mutex_unlock(&PwrBtnmutex);
}

}  // namespace

namespace {

int g_traceSlot = -1;
int traceUartSet(int) { g_traceSlot = 75; return 0x75; }
int traceUartGet(unsigned char *status) { g_traceSlot = 76; *status = 9; return 0x76; }
int traceCpuMismatch(unsigned char *) { g_traceSlot = 77; return 0x77; }
int traceBlackBox(int, unsigned char *, int) { g_traceSlot = 29; return 0x29; }
int traceHddSet(int, int, int, int action) { g_traceSlot = 43; return action; }
int traceHddGet(int, int, int, unsigned char *action) { g_traceSlot = 44; *action = 1; return 0x44; }
int traceVmd(int, int) { g_traceSlot = 45; return 0x45; }
int traceOverCurrent() { g_traceSlot = 80; return 0x80; }

struct TraceCase {
    int slot;
    std::function<int()> call;
    int expectedResult;
    std::string expectedLine;
};

class TraceForwarders : public qtest::BoundTest {};

TEST_F(TraceForwarders, PrintTheirLineThenForward) {
    qtest::replaceSlot(qrx::Slot::SetUartSwitchStatus, traceUartSet);
    qtest::replaceSlot(qrx::Slot::GetUartSwitchStatus, traceUartGet);
    qtest::replaceSlot(qrx::Slot::GetCpuTypeMismatch, traceCpuMismatch);
    qtest::replaceSlot(qrx::Slot::GetPsuBlackBoxInfo, traceBlackBox);
    qtest::replaceSlot(qrx::Slot::SetHddLedPwrStatus, traceHddSet);
    qtest::replaceSlot(qrx::Slot::GetHddLedPwrStatus, traceHddGet);
    qtest::replaceSlot(qrx::Slot::SetVmdStatus, traceVmd);
    qtest::replaceSlot(qrx::Slot::OverCurrentProtectShutdown, traceOverCurrent);
    static unsigned char uart = 0x2A;
    static unsigned char hddAction = 0;
    const std::string mismatchAddress = std::to_string(static_cast<int>(reinterpret_cast<std::uintptr_t>(&uart)));
    const std::vector<TraceCase> cases = {
        {75, [] { return QuorixSetUARTSwitchStatusInterface(3); }, 0x75,
         "run QuorixSetUARTSwitchStatusInterface:UARTSwitchStatus:3\n"},
        {76, [] { return QuorixGetUARTSwitchStatusInterface(&uart); }, 0x76,
         "run QuorixGetUARTSwitchStatusInterface:UARTSwitchStatus:42;\n"},
        {77, [] { return QuorixGetCPUTypeMisMatchInterface(&uart); }, 0x77,
         "run QuorixGetCPUTypeMisMatchInterface:QUORIX_CPU_TYPE_MISMATCH:" + mismatchAddress + ";\n"},
        {29, [] { return QuorixGetPSUBlackBoxInfoInterface(1, nullptr, 0); }, 0x29,
         "run QuorixGetPSUBlackBoxInfoInterface:QUORIX_PSU_BLACK_BOX_INFO_GET\n"},
        {43, [] { return QuorixSetHDDLedPwrStatusInterface(1, 12, 2, 0x1234); }, 0x1234,
         "run QuorixSetHDDLedPwrStatusInterface:BackPlaneType:1,SlotNumber:12,ActionType:2,Action:4660\n"},
        {44, [] { return QuorixGetHDDLedPwrStatusInterface(2, 7, 1, &hddAction); }, 0x44,
         "run QuorixGetHDDLedPwrStatusInterface:BackPlaneType:2,SlotNumber:7,ActionType:1;\n"},
        {45, [] { return QuorixSetVMDStatusInterface(0, 1); }, 0x45, "run QuorixSetVMDStatusInterface;\n"},
        {80, [] { return QuorixSystemOverCurrentProtectDetectShutdown(); }, 0x80,
         "Run QuorixSystemOverCurrentProtectDetectShutdown......\n"},
    };
    for (const TraceCase &c : cases) {
        g_traceSlot = -1;
        int result = 0;
        std::string out = qtest::captureStdout([&] { result = c.call(); });
        EXPECT_EQ(out, c.expectedLine);
        EXPECT_EQ(result, c.expectedResult);
        EXPECT_EQ(g_traceSlot, c.slot);
    }
    EXPECT_EQ(uart, 9) << "the slot fills the byte after the trace printed the old value";
    EXPECT_EQ(hddAction, 1);
}

}  // namespace
