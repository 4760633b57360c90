// Every generated forwarder against a probe in its slot: the arguments arrive unchanged at the
// right slot, and the result, an empty slot and NULL arguments are treated as its kind says.
#include <functional>
#include <map>

#include "quorix_test.h"

namespace {

struct Call {
    int slot = -1;
    std::vector<std::uintptr_t> args;
} g_call;
long g_probeResult = 0;
constexpr std::size_t kNoNull = ~std::size_t{0};

// Argument i: a distinct value of its type (pointers NULL at nullIndex), and the word a probe records.
template <typename T>
T argValue(std::size_t i, std::size_t nullIndex) {
    if constexpr (std::is_pointer_v<T>)
        return i == nullIndex ? nullptr : reinterpret_cast<T>(0x1000 + 0x10 * i);
    else if constexpr (std::is_floating_point_v<T>)
        return static_cast<T>(1.5 + static_cast<double>(i));
    else
        return static_cast<T>(0x21 + i);
}
template <typename T>
std::uintptr_t asWord(T value) {
    if constexpr (std::is_pointer_v<T>)
        return reinterpret_cast<std::uintptr_t>(value);
    else if constexpr (std::is_floating_point_v<T>)
        return static_cast<std::uintptr_t>(value * 100);
    else
        return static_cast<std::uintptr_t>(value);
}

template <int Slot, typename Fn>
struct Probe;
template <int Slot, typename R, typename... A>
struct Probe<Slot, R (*)(A...)> {
    static R call(A... args) {
        g_call = {Slot, {asWord(args)...}};
        return static_cast<R>(g_probeResult);
    }
};

struct Case {
    std::string kind, name;
    int slot;
    void *probe;
    std::vector<std::uintptr_t> expectedArgs;
    std::function<long(std::size_t nullIndex)> call;  // the forwarder, argument nullIndex NULL
    std::function<long(long)> asResult;               // a probe result as the forwarder's type sees it
};

template <int Slot, typename R, typename... A, std::size_t... I>
Case makeCaseOf(const char *kind, const char *name, R (*fn)(A...), std::index_sequence<I...>) {
    auto call = [fn](std::size_t nullIndex) -> long {
        if constexpr (std::is_void_v<R>)
            return fn(argValue<A>(I, nullIndex)...), 0;
        else
            return static_cast<long>(fn(argValue<A>(I, nullIndex)...));
    };
    auto asResult = [](long v) -> long {
        if constexpr (std::is_void_v<R>)
            return 0;
        else
            return static_cast<long>(static_cast<R>(v));
    };
    return {kind,
            name,
            Slot,
            reinterpret_cast<void *>(&Probe<Slot, typename qrx::SlotSig<Slot>::type>::call),
            {asWord(argValue<A>(I, kNoNull))...},
            call,
            asResult};
}

template <int Slot, typename R, typename... A>
Case makeCase(const char *kind, const char *name, R (*fn)(A...)) {
    return makeCaseOf<Slot>(kind, name, fn, std::index_sequence_for<A...>{});
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

// What each kind does: with the result, with an empty slot, with NULL arguments.
enum class Result { Passed, Zero, Status, LowByte };
constexpr long kUnchecked = 0x7777, kNoop = 0x6666;
struct KindRule {
    Result result;
    long emptySlot;  // the result without a call, kUnchecked: the slot is not looked at
    std::vector<std::size_t> guarded;
};
// clang-format off
const std::map<std::string, KindRule> kRules = {
    {"Plain", {Result::Passed, kUnchecked, {}}},         {"Ignored", {Result::Zero, kUnchecked, {}}},
    {"Status", {Result::Status, kUnchecked, {}}},        {"LowByte", {Result::LowByte, kUnchecked, {}}},
    {"EmptyNeg", {Result::Passed, -1, {}}},              {"EmptyCallZero", {Result::Zero, -1, {}}},
    {"EmptyIgnored", {Result::Zero, 0, {}}},             {"EmptyNoop", {Result::Passed, kNoop, {}}},
    {"NullFirst", {Result::Passed, kUnchecked, {0}}},    {"NullSecond", {Result::Passed, kUnchecked, {1}}},
    {"NullFirstThree", {Result::Passed, kUnchecked, {0, 1, 2}}},
    {"NullFirstEmptyZero", {Result::Passed, 0, {0}}},   {"FullyGuarded", {Result::Passed, 0, {0}}},
};
// clang-format on

class Forwarder : public qtest::BoundTest, public ::testing::WithParamInterface<Case> {
protected:
    long callThroughProbe(long probeResult, std::size_t nullIndex = kNoNull) {
        const Case &c = GetParam();
        qtest::replaceSlot(c.slot, reinterpret_cast<void (*)()>(c.probe));
        g_call = Call{};
        g_probeResult = probeResult;
        return c.call(nullIndex);
    }
};

TEST_P(Forwarder, ForwardsToItsSlotAndTreatsResultEmptySlotAndNullAsItsKindSays) {
    const Case &c = GetParam();
    const KindRule &rule = kRules.at(c.kind);
    const long result = callThroughProbe(0x1234);
    EXPECT_EQ(g_call.slot, c.slot);
    EXPECT_EQ(g_call.args, c.expectedArgs);
    switch (rule.result) {
        case Result::Passed:
            EXPECT_EQ(result, c.asResult(0x1234));
            break;
        case Result::Zero:
            EXPECT_EQ(result, 0);
            break;
        case Result::LowByte:
            EXPECT_EQ(result, 0x34);
            break;
        case Result::Status:
            EXPECT_EQ(result, -1);
            EXPECT_EQ(callThroughProbe(0), 0);
            break;
    }
    for (std::size_t index : rule.guarded) {
        EXPECT_EQ(callThroughProbe(0x1234, index), -1) << "NULL argument " << index;
        EXPECT_EQ(g_call.slot, -1);
    }
    if (rule.emptySlot == kUnchecked) return;
    intf_handle[c.slot] = nullptr;
    g_call = Call{};
    const long empty = c.call(kNoNull);
    EXPECT_EQ(rule.emptySlot == kNoop ? kNoop : empty, rule.emptySlot);
    EXPECT_EQ(g_call.slot, -1);
}

std::string caseName(const ::testing::TestParamInfo<Case> &info) {
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(AllSlots, Forwarder, ::testing::ValuesIn(allForwarders()), caseName);

}  // namespace
