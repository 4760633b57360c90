#include <climits>
#include <cmath>
#include <cstring>
#include <limits>

#include "quorix_test.h"

namespace {

constexpr int kResultExponent[16] = {0, 7, 6, 5, 4, 3, 2, 1, -8, -7, -6, -5, -4, -3, -2, -1};

// Every exponent byte over a grid including 32-bit products that wrap: the very bits of the formula with pow().
TEST(SdrConvert, BitIdenticalToTheFormulaForEveryExponentByte) {
    for (int n : {0, 1, 8, 15, 0x21, 0xF8, -1}) EXPECT_EQ(TO_R_EXP(n), kResultExponent[n & 0x0F]) << n;
    const int raws[] = {0, 1, -1, 0x56, -0x1234, 255, 0x10000, INT_MAX, INT_MIN};
    const int ms[] = {1, -0x12, 0x3FF, -512, 0x10000, 0x10001}, bs[] = {0, 0x34, -0x1FF, 511, -1};
    int mismatches = 0;
    for (int e = 0; e < 256; ++e) for (int raw : raws) for (int m : ms) for (int b : bs) {
        const auto product = static_cast<std::int32_t>(static_cast<std::uint32_t>(raw) * static_cast<std::uint32_t>(m));
        const double expected = (product + b * std::pow(10.0, e & 0x0F)) * std::pow(10.0, kResultExponent[e >> 4]);
        const double got = SdrConvertSensorReading(raw, m, b, static_cast<unsigned char>(e));
        if (std::memcmp(&got, &expected, sizeof got) != 0 && ++mismatches <= 5)
            ADD_FAILURE() << "e " << e << " raw " << raw << " m " << m << " b " << b << ": " << got << " " << expected;
    }
    EXPECT_EQ(mismatches, 0);
}

TEST(Average, DropsOneSmallestAndOneLargestAboveTwoValuesInSinglePrecision) {
    const struct { std::vector<float> values; float expected; } cases[] = {
        {{1, 2, 3, 100}, 2.5f}, {{4, 6}, 5.0f}, {{7}, 7.0f}, {{5, 5, 5}, 5.0f}, {{-10, 3, 3.5f, 0}, 1.5f},
        {{100, 1, 2, 3}, 2.5f}, {{2, 9, 9, 1, 1}, 4.0f}, {{-2.5f, -7.5f}, -5.0f},
        {{0.1f, 0.2f, 0.3f, 0.4f}, ((0.1f + 0.2f + 0.3f + 0.4f) - 0.1f - 0.4f) / 2.0f}};
    for (const auto &c : cases) {
        float out = -1.0f;
        const int n = static_cast<int>(c.values.size());
        EXPECT_EQ(std::make_pair(GetAveValue(c.values.data(), n, &out), GetAveValue(c.values.data(), n, nullptr)),
                  std::make_pair(c.expected, c.expected));
        EXPECT_EQ(out, c.expected);
    }
    const float one = 1.0f;
    float out[2] = {};
    EXPECT_TRUE(std::isnan(GetAveValue(&one, 0, &out[0])) && std::isnan(GetAveValue(nullptr, 3, &out[1])));
    EXPECT_TRUE(std::isnan(out[0]) && std::isnan(out[1]));
    EXPECT_EQ(GetAveValue(&one, -2, nullptr), 0.0f);  // no values, divided by a negative count
}

float g_reading = 0.0f, g_scratchSeen = -1.0f;
float readSensor(int type, int index, float *value) {
    g_scratchSeen = *value + static_cast<float>(type * 0x10000 + index);
    return *value = 99.0f, g_reading;  // the value is scratch only, never the result
}

class Readings : public qtest::BoundTest {};

TEST_F(Readings, TemperatureAndPowerAreTruncatedTowardZero) {
    qtest::replaceSlot(qrx::Slot::ReadTempSensor, readSensor);
    qtest::replaceSlot(qrx::Slot::ReadPowerSensor, readSensor);
    const struct { float slot, expected; } cases[] = {{41.9f, 41.0f}, {-3.7f, -3.0f}, {0.99f, 0.0f}, {-0.5f, 0.0f},
        {std::numeric_limits<float>::quiet_NaN(), 0.0f}, {3e9f, float(INT_MAX)}, {-3e9f, float(INT_MIN)}};
    for (const auto &c : cases) {
        g_reading = c.slot;
        EXPECT_EQ(std::vector<float>({QuorixGetTempSensorReading(0x01, 0x1234), g_scratchSeen,
                                      QuorixGetPowerSensorReading(0x0B, 0x56), g_scratchSeen}),
                  std::vector<float>({c.expected, 0x11234, c.expected, 0xB0056})) << c.slot;
    }
    qtest::replaceSlot(qrx::Slot::QuorixGetSensorReading,
                       +[](int type, float *reading, int index) { return *reading = 12.5f, type * 16 + index; });
    float reading = 0.0f;
    EXPECT_EQ(std::vector<float>({static_cast<float>(QuorixGetSensorReading(3, nullptr, 4)),
                                  static_cast<float>(QuorixGetSensorReading(3, &reading, 4)), reading}),
              std::vector<float>({-1, 0x34, 12.5f}));
    intf_handle[24] = intf_handle[25] = nullptr;
    EXPECT_EQ(QuorixGetTempSensorReading(1, 2) + QuorixGetPowerSensorReading(1, 2), 0.0f);
}

std::vector<std::vector<int>> g_eventCalls;
int g_eventResults[2] = {0, 0};
int eventControl(int type, int index, int offset, int assert) {
    g_eventCalls.push_back({type, index, offset, assert});
    return g_eventResults[g_eventCalls.size() == 1 ? 0 : 1];
}

TEST_F(Readings, DiscreteState_DeassertsTheOldEventBeforeAssertingTheNew) {
    qtest::replaceSlot(qrx::Slot::QuorixCPUMEMStatCtrl, eventControl);
    using Calls = std::vector<std::vector<int>>;
    const struct { int previous, next, firstResult, secondResult, result; Calls calls; } cases[] = {
        {2, 5, 0, 0, 0, {{7, 3, 2, 0}, {7, 3, 5, 1}}}, {-1, 14, 0, 0, 0, {{7, 3, 14, 1}}},  // nothing asserted before
        {2, 5, 0x33, 0, 0x33, {{7, 3, 2, 0}}}, {4, 4, 0, 0, 0, {}},  // a failed deassert keeps the old state
        {0, 1, 0, 0x44, 0x44, {{7, 3, 0, 0}, {7, 3, 1, 1}}}, {-1, 3, 0x55, 0, 0x55, {{7, 3, 3, 1}}},
        {2, 15, 0, 0, -1, {}}, {2, -1, 0, 0, -1, {}}, {15, 1, 0, 0, -1, {}}, {-2, 1, 0, 0, -1, {}}};
    for (const auto &c : cases) {
        g_eventCalls.clear();
        g_eventResults[0] = c.firstResult, g_eventResults[1] = c.secondResult;
        EXPECT_EQ(QuorixSetSensorReading(7, 3, c.previous, c.next), c.result) << c.previous << "->" << c.next;
        EXPECT_EQ(g_eventCalls, c.calls) << c.previous << "->" << c.next;
    }
}

}  // namespace
