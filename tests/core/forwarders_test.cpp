// Every generated forwarder against a probe put into its slot: the arguments
// arrive unchanged at the right slot, and each variant treats the result,
// empty slots and NULL arguments as its kind says.
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "core/slot_table.h"
#include "quorix_test.h"

namespace {

struct Call {
    int slot = -1;
    std::vector<std::uintptr_t> args;
};
Call g_call;
long g_probeResult = 0;

template <typename T>
T argValue(std::size_t index, std::size_t nullIndex) {
    if constexpr (std::is_pointer_v<T>) {
        if (index == nullIndex) return nullptr;
        return reinterpret_cast<T>(static_cast<std::uintptr_t>(0x1000 + 0x10 * index));
    } else if constexpr (std::is_floating_point_v<T>) {
        return static_cast<T>(1.5 + static_cast<double>(index));
    } else {
        return static_cast<T>(0x21 + index);  // distinct per position, fits every integer type
    }
}

template <typename T>
std::uintptr_t asWord(T value) {
    if constexpr (std::is_pointer_v<T>) return reinterpret_cast<std::uintptr_t>(value);
    else if constexpr (std::is_floating_point_v<T>) return static_cast<std::uintptr_t>(value * 100);
    else return static_cast<std::uintptr_t>(value);
}

constexpr std::size_t kNoNull = ~std::size_t{0};

struct Case {
    std::string kind;
    std::string name;
    int slot;
    void *probe;
    std::size_t arity;
    std::vector<std::uintptr_t> expectedArgs;
    // Calls the forwarder, with argument nullIndex NULL (kNoNull: none).
    std::function<long(std::size_t nullIndex)> call;
    // The probe's result as the forwarder's result type sees it.
    std::function<long(long)> asResult;
};

template <int Slot, typename Fn>
struct Probe;

template <int Slot, typename R, typename... A>
struct Probe<Slot, R (*)(A...)> {
    static R call(A... args) {
        g_call.slot = Slot;
        g_call.args = {asWord(args)...};
        if constexpr (!std::is_void_v<R>) return static_cast<R>(g_probeResult);
    }
};

template <typename R, typename... A, std::size_t... I>
long invoke(R (*fn)(A...), std::size_t nullIndex, std::index_sequence<I...>) {
    if constexpr (std::is_void_v<R>) {
        fn(argValue<A>(I, nullIndex)...);
        return 0;
    } else {
        return static_cast<long>(fn(argValue<A>(I, nullIndex)...));
    }
}

template <int Slot, typename R, typename... A>
Case makeCase(const char *kind, const char *name, R (*fn)(A...)) {
    Case c;
    c.kind = kind;
    c.name = name;
    c.slot = Slot;
    c.probe = reinterpret_cast<void *>(&Probe<Slot, typename qrx::SlotSig<Slot>::type>::call);
    c.arity = sizeof...(A);
    std::size_t i = 0;
    c.expectedArgs = {asWord(argValue<A>(i++, kNoNull))...};
    c.call = [fn](std::size_t nullIndex) { return invoke(fn, nullIndex, std::index_sequence_for<A...>{}); };
    c.asResult = [](long v) -> long {
        if constexpr (std::is_void_v<R>) return 0;
        else return static_cast<long>(static_cast<R>(v));
    };
    return c;
}

std::vector<Case> allForwarders() {
    std::vector<Case> cases;
#define QRX_CASE(kind, slot, name) cases.push_back(makeCase<slot>(#kind, #name, &name));
#define QRX_SLOT(kind, slot, ret, name, params, args) QRX_CASE_##kind(kind, slot, name)
#define QRX_SLOT_UNUSED(slot)
#define QRX_CASE_Plain QRX_CASE
#define QRX_CASE_Ignored QRX_CASE
#define QRX_CASE_Status QRX_CASE
#define QRX_CASE_LowByte QRX_CASE
#define QRX_CASE_EmptyNeg QRX_CASE
#define QRX_CASE_EmptyCallZero QRX_CASE
#define QRX_CASE_EmptyIgnored QRX_CASE
#define QRX_CASE_EmptyNoop QRX_CASE
#define QRX_CASE_NullFirst QRX_CASE
#define QRX_CASE_NullSecond QRX_CASE
#define QRX_CASE_NullFirstThree QRX_CASE
#define QRX_CASE_NullFirstEmptyZero QRX_CASE
#define QRX_CASE_FullyGuarded QRX_CASE
#define QRX_CASE_Custom(kind, slot, name)
#include "core/slots.def"
    return cases;
}

class Forwarder : public qtest::BoundTest, public ::testing::WithParamInterface<Case> {
protected:
    // Calls with the probe in the slot; returns the forwarder's result.
    long callThroughProbe(long probeResult, std::size_t nullIndex = kNoNull) {
        const Case &c = GetParam();
        qtest::replaceSlot(c.slot, reinterpret_cast<void (*)()>(c.probe));
        g_call = Call{};
        g_probeResult = probeResult;
        return c.call(nullIndex);
    }
    long callWithEmptySlot(std::size_t nullIndex = kNoNull) {
        const Case &c = GetParam();
        intf_handle[c.slot] = nullptr;
        g_call = Call{};
        return c.call(nullIndex);
    }
    void expectForwarded() {
        const Case &c = GetParam();
        EXPECT_EQ(g_call.slot, c.slot);
        EXPECT_EQ(g_call.args, c.expectedArgs);
    }
    void expectNotCalled() { EXPECT_EQ(g_call.slot, -1); }
};

constexpr long kDistinctResult = 0x1234;

TEST_P(Forwarder, ReachesItsSlotAndTreatsTheResultAsItsKindSays) {
    const Case &c = GetParam();
    long result = callThroughProbe(kDistinctResult);
    expectForwarded();
    const long passedOn = c.asResult(kDistinctResult);
    if (c.kind == "Ignored" || c.kind == "EmptyCallZero" || c.kind == "EmptyIgnored") {
        EXPECT_EQ(result, 0);
    } else if (c.kind == "Status") {
        EXPECT_EQ(result, -1);
        EXPECT_EQ(callThroughProbe(0), 0);
    } else if (c.kind == "LowByte") {
        EXPECT_EQ(result, 0x34);
    } else {
        EXPECT_EQ(result, passedOn);
    }
}

TEST_P(Forwarder, EmptySlotGivesTheKindsResultWithoutACall) {
    const Case &c = GetParam();
    if (c.kind == "EmptyNeg" || c.kind == "EmptyCallZero") {
        EXPECT_EQ(callWithEmptySlot(), -1);
    } else if (c.kind == "EmptyIgnored" || c.kind == "NullFirstEmptyZero" || c.kind == "FullyGuarded") {
        EXPECT_EQ(callWithEmptySlot(), 0);
    } else if (c.kind == "EmptyNoop") {
        callWithEmptySlot();  // must simply return
    } else {
        GTEST_SKIP() << c.kind << " forwarders do not look at the slot";
    }
    expectNotCalled();
}

TEST_P(Forwarder, NullArgumentsAreRefusedWhereTheKindGuardsThem) {
    const Case &c = GetParam();
    std::vector<std::size_t> guarded;
    if (c.kind == "NullFirst" || c.kind == "NullFirstEmptyZero" || c.kind == "FullyGuarded") guarded = {0};
    if (c.kind == "NullSecond") guarded = {1};
    if (c.kind == "NullFirstThree") guarded = {0, 1, 2};
    if (guarded.empty()) GTEST_SKIP() << c.kind << " forwarders pass NULL on";
    for (std::size_t index : guarded) {
        EXPECT_EQ(callThroughProbe(kDistinctResult, index), -1) << "argument " << index;
        expectNotCalled();
    }
}

std::string caseName(const ::testing::TestParamInfo<Case> &info) { return info.param.name; }

INSTANTIATE_TEST_SUITE_P(AllSlots, Forwarder, ::testing::ValuesIn(allForwarders()), caseName);

}  // namespace
