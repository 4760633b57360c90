// Every generated forwarder against a probe in its slot: the arguments arrive unchanged at the
// right slot, and the result, an empty slot and NULL arguments are treated as its kind says.
#include <cstring>
#include <functional>
#include <tuple>

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
    else  // a fraction for floats, so that a detour through an integer shows
        return static_cast<T>(0x21 + static_cast<double>(i) + (std::is_floating_point_v<T> ? 0.5 : 0.0));
}
template <typename T>
std::uintptr_t asWord(T value) {
    static_assert(sizeof value <= sizeof(std::uintptr_t));
    std::uintptr_t word = 0;
    std::memcpy(&word, &value, sizeof value);
    return word;
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

enum class Result { Passed, Zero, Status, LowByte };
constexpr long kUnchecked = 0x7777, kNoop = 0x6666;
struct KindRule {
    Result result;
    long emptySlot;  // the result without a call, kUnchecked: the slot is not looked at
    std::vector<std::size_t> guarded;  // arguments refused when NULL
};

struct Case {
    std::string name;
    int slot;
    void *probe;
    std::vector<std::uintptr_t> expectedArgs;
    std::function<long(std::size_t nullIndex)> call;  // the forwarder, argument nullIndex NULL
    long passed;                                      // a probe result of 0x1234 as the forwarder's type sees it
    KindRule rule;
};

template <int Slot, typename R, typename... A, std::size_t... I>
Case makeCaseOf(const char *name, R (*fn)(A...), KindRule rule, std::index_sequence<I...>) {
    auto call = [fn](std::size_t nullIndex) -> long {
        if constexpr (std::is_void_v<R>)
            return fn(argValue<A>(I, nullIndex)...), 0;
        else
            return static_cast<long>(fn(argValue<A>(I, nullIndex)...));
    };
    long passed = 0;
    if constexpr (!std::is_void_v<R>) passed = static_cast<long>(static_cast<R>(0x1234));
    return {name, Slot, reinterpret_cast<void *>(&Probe<Slot, typename qrx::SlotSig<Slot>::type>::call),
            {asWord(argValue<A>(I, kNoNull))...}, call, passed, rule};
}

template <int Slot, typename R, typename... A>
Case makeCase(const char *name, R (*fn)(A...), KindRule rule) {
    return makeCaseOf<Slot>(name, fn, rule, std::index_sequence_for<A...>{});
}

// What each kind does: with the result, with an empty slot, with NULL arguments.
std::vector<Case> allForwarders() {
    std::vector<Case> cases;
#define QRX_SLOT(kind, slot, ret, name, params, args) QRX_CASE_##kind(slot, name)
#define QRX_SLOT_UNUSED(slot)
#define QRX_CASE(slot, name, ...) cases.push_back(makeCase<slot>(#name, &name, KindRule{__VA_ARGS__}));
#define QRX_CASE_Custom(slot, name)
#define QRX_CASE_Plain(slot, name) QRX_CASE(slot, name, Result::Passed, kUnchecked, {})
#define QRX_CASE_Ignored(slot, name) QRX_CASE(slot, name, Result::Zero, kUnchecked, {})
#define QRX_CASE_Status(slot, name) QRX_CASE(slot, name, Result::Status, kUnchecked, {})
#define QRX_CASE_LowByte(slot, name) QRX_CASE(slot, name, Result::LowByte, kUnchecked, {})
#define QRX_CASE_EmptyNeg(slot, name) QRX_CASE(slot, name, Result::Passed, -1, {})
#define QRX_CASE_EmptyCallZero(slot, name) QRX_CASE(slot, name, Result::Zero, -1, {})
#define QRX_CASE_EmptyIgnored(slot, name) QRX_CASE(slot, name, Result::Zero, 0, {})
#define QRX_CASE_EmptyNoop(slot, name) QRX_CASE(slot, name, Result::Passed, kNoop, {})
#define QRX_CASE_NullFirst(slot, name) QRX_CASE(slot, name, Result::Passed, kUnchecked, {0})
#define QRX_CASE_NullSecond(slot, name) QRX_CASE(slot, name, Result::Passed, kUnchecked, {1})
#define QRX_CASE_NullFirstThree(slot, name) QRX_CASE(slot, name, Result::Passed, kUnchecked, {0, 1, 2})
#define QRX_CASE_NullFirstEmptyZero(slot, name) QRX_CASE(slot, name, Result::Passed, 0, {0})
#define QRX_CASE_FullyGuarded(slot, name) QRX_CASE(slot, name, Result::Passed, 0, {0})
#include "core/slots.def"
    return cases;
}

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
    const long result = callThroughProbe(0x1234);
    EXPECT_EQ(std::tie(g_call.slot, g_call.args), std::tie(c.slot, c.expectedArgs));
    const long expected[] = {c.passed, 0, -1, 0x34};  // in the order of Result
    EXPECT_EQ(result, expected[static_cast<int>(c.rule.result)]);
    EXPECT_EQ(c.rule.result == Result::Status ? callThroughProbe(0) : 0, 0) << "a Status forwarder passes 0 as 0";
    for (std::size_t index : c.rule.guarded) {
        EXPECT_EQ(callThroughProbe(0x1234, index), -1) << "NULL argument " << index;
        EXPECT_EQ(g_call.slot, -1);
    }
    if (c.rule.emptySlot == kUnchecked) return;
    intf_handle[c.slot] = nullptr;
    g_call = Call{};
    const long empty = c.call(kNoNull);
    EXPECT_EQ(c.rule.emptySlot == kNoop ? kNoop : empty, c.rule.emptySlot);
    EXPECT_EQ(g_call.slot, -1);
}

INSTANTIATE_TEST_SUITE_P(AllSlots, Forwarder, ::testing::ValuesIn(allForwarders()),
                         [](const auto &info) { return info.param.name; });

}  // namespace
