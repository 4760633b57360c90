// Operations composed of slot calls, and the trace forwarders: every slot a row
// touches records "slot(args)" (a pointer as "*byte", the byte it points to).
#include <functional>
#include <map>
#include <tuple>

#include "quorix_test.h"

namespace {

using Calls = std::vector<std::string>;
Calls g_calls;
std::map<int, std::vector<long>> g_results;  // per slot, in call order; the last one repeats

template <typename T>
std::string word(T v) {
    if constexpr (std::is_pointer_v<T>)
        return v ? "*" + std::to_string(*reinterpret_cast<const unsigned char *>(v)) : "null";
    else
        return std::to_string(static_cast<long>(v));
}

template <int Slot, typename Fn>
struct Recorder;
template <int Slot, typename R, typename... A>
struct Recorder<Slot, R (*)(A...)> {
    static R call(A... args) {
        std::string text = std::to_string(Slot) + "(", sep;
        ((text += sep + word(args), sep = ","), ...);
        g_calls.push_back(text + ")");
        std::vector<long> &r = g_results[Slot];
        long result = r.empty() ? 0 : r.front();
        if (r.size() > 1) r.erase(r.begin());
        return static_cast<R>(result);
    }
};
template <int... S>
void installRecorders() {
    (qtest::replaceSlot(S, &Recorder<S, typename qrx::SlotSig<S>::type>::call), ...);
}

using ComposedOps = qtest::BoundTest;

struct Row {
    const char *what;
    std::map<int, std::vector<long>> results;
    std::function<long()> call;
    long result;
    Calls calls;
    std::string out = "";
};

unsigned char g_byte = 42, g_zero = 0;

// The BIOS item request: its result and the one response byte (0xEE: untouched) as result * 0x1000 + byte.
long biosItem(std::vector<unsigned char> request, bool response = true) {
    unsigned char code[2] = {0xEE, 0xEE};
    const int result = QuorixSetBIOSBMCInterface(request.empty() ? nullptr : request.data(), int(request.size()),
                                                 response ? code : nullptr);
    EXPECT_EQ(code[1], 0xEE) << "one response byte";
    return result * 0x1000 + code[0];
}

TEST_F(ComposedOps, CallTheirSlotsInOrderAndMapTheResult) {
    installRecorders<0, 1, 6, 29, 39, 43, 44, 45, 75, 76, 77, 78, 80, 153, 161, 163, 170, 172, 173, 215, 235>();
    qtest::block().setU8(0x200000, 4);  // four fans
    const std::string address = std::to_string(static_cast<int>(reinterpret_cast<std::uintptr_t>(&g_byte)));
    // clang-format off
    const Row rows[] = {
        {"dial switch refuses", {{161, {4}}}, [] { return BmcUpdateShareLink(2, 3); }, 4, {"161(2,3)"}},
        {"share link disabled", {{163, {0x163}}}, [] { return BmcUpdateShareLink(2, 3); }, 0x163, {"161(2,3)", "163()"}},
        {"fan presence tried ten times", {{6, {-3}}}, [] { return QuorixRetryGetFanPresent(5, &g_zero); }, -3, Calls(10, "6(5,*0)")},
        {"fan presence until it answers", {{6, {-3, -3, 0}}}, [] { return QuorixRetryGetFanPresent(5, &g_zero); }, 0, Calls(3, "6(5,*0)")},
        {"chassis interrupt", {}, QuorixDiagInterruptChassis, 0, {"39(18,1)"}},
        {"chassis interrupt fails", {{39, {9}}}, QuorixDiagInterruptChassis, -1, {"39(18,1)"}},
        {"BIOS flash 0 -> 1", {{172, {0x10}}, {173, {0x173}}}, QuorixBiosSwitchNode, 0x173, {"172(0)", "173(1,0)"}},
        {"SCP flash 1 -> 0", {{172, {0x11}}, {173, {0x173}}}, QuorixScpSwitchNode, 0x173, {"172(1)", "173(0,1)"}},
        {"FPGA type 1", {}, [] { return QuorixUpdateFpgaVersion(1, 0, nullptr); }, -1, {}, "\r\n====Error fpga type:1   =====\r\n"},
        {"FPGA type 0, kind replaces the index", {{170, {0x170}}}, [] { return QuorixUpdateFpgaVersion(0, 6, nullptr); }, 0x170, {"170(0,0,null)"}},
        {"RTC under its lock", {{215, {0x215}}}, [] { return RTC_DeviceControl(4, nullptr); }, 0x215, {"235(1)", "215(4,null)", "235(0)"}},
        {"fan info without buffer", {}, [] { return get_hw_fan_info(nullptr, 0); }, -1, {}},
        {"fan index above the count", {}, [] { return get_hw_fan_info(&g_zero, 5); }, -1, {}},
        {"fan index equal to the count", {{1, {0x11}}}, [] { return get_hw_fan_info(&g_zero, 4); }, 0x11, {"1(*0,4)"}},
        {"BIOS item", {}, [] { return biosItem({0x12, 0x34}); }, 0x1000, {"39(18,52)"}},
        {"BIOS item fails", {{39, {-1}}}, [] { return biosItem({0xFE, 0x01}); }, 0x10FF, {"39(254,1)"}},
        {"BIOS item short", {}, [] { return biosItem({0x12}); }, 0x10C7, {}},
        {"BIOS item long", {}, [] { return biosItem({0x12, 0x34, 0x56}); }, 0x10C7, {}},
        {"BIOS item without request", {}, [] { return biosItem({}); }, -0x1000 + 0xEE, {}},
        {"BIOS item without response", {}, [] { return biosItem({1, 2}, false); }, -0x1000 + 0xEE, {}},
        // Runs once (slot 0's result, then 0) and sets the shared flag at block offset 22.
        {"platform init", {{0, {7}}}, [] { return quorixPlatInit() * 0x100 + quorixPlatInit() * 0x10 + qtest::blockBytes(22, 1)[0]; }, 0x701, {"0()"}},
        {"power button state passed on", {{153, {0x5A}}}, [] { return QuorixBMCControlPwrBtnmutexInit() + QuorixBMCControlPwrBtnGetSet(); }, 0, {"153()", "78(90)"}},
        {"trace UART set", {{75, {0x75}}}, [] { return QuorixSetUARTSwitchStatusInterface(3); }, 0x75, {"75(3)"},
         "run QuorixSetUARTSwitchStatusInterface:UARTSwitchStatus:3\n"},
        {"trace UART get", {{76, {0x76}}}, [] { return QuorixGetUARTSwitchStatusInterface(&g_byte); }, 0x76, {"76(*42)"},
         "run QuorixGetUARTSwitchStatusInterface:UARTSwitchStatus:42;\n"},
        {"trace CPU mismatch", {{77, {0x77}}}, [] { return QuorixGetCPUTypeMisMatchInterface(&g_byte); }, 0x77, {"77(*42)"},
         "run QuorixGetCPUTypeMisMatchInterface:QUORIX_CPU_TYPE_MISMATCH:" + address + ";\n"},
        {"trace black box", {{29, {0x29}}}, [] { return QuorixGetPSUBlackBoxInfoInterface(1, nullptr, 0); }, 0x29, {"29(1,null,0)"},
         "run QuorixGetPSUBlackBoxInfoInterface:QUORIX_PSU_BLACK_BOX_INFO_GET\n"},
        {"trace HDD set", {{43, {0x1234}}}, [] { return QuorixSetHDDLedPwrStatusInterface(1, 12, 2, 0x1234); }, 0x1234, {"43(1,12,2,4660)"},
         "run QuorixSetHDDLedPwrStatusInterface:BackPlaneType:1,SlotNumber:12,ActionType:2,Action:4660\n"},
        {"trace HDD get", {{44, {0x44}}}, [] { return QuorixGetHDDLedPwrStatusInterface(2, 7, 1, &g_zero); }, 0x44, {"44(2,7,1,*0)"},
         "run QuorixGetHDDLedPwrStatusInterface:BackPlaneType:2,SlotNumber:7,ActionType:1;\n"},
        {"trace VMD", {{45, {0x45}}}, [] { return QuorixSetVMDStatusInterface(0, 1); }, 0x45, {"45(0,1)"}, "run QuorixSetVMDStatusInterface;\n"},
        {"trace over-current", {{80, {0x80}}}, QuorixSystemOverCurrentProtectDetectShutdown, 0x80, {"80()"},
         "Run QuorixSystemOverCurrentProtectDetectShutdown......\n"},
    };
    // clang-format on
    for (const Row &r : rows) {
        g_calls.clear();
        g_results = r.results;
        long result = 0;
        const std::string out = qtest::captureStdout([&] { result = r.call(); });
        EXPECT_EQ(std::tie(out, result, g_calls), std::tie(r.out, r.result, r.calls)) << r.what;
    }
}

}  // namespace
