// The reading calls through slots 23, 24 and 25.
#include <climits>
#include <cmath>
#include <limits>
#include <vector>

#include "quorix_test.h"

namespace {

float g_reading = 0.0f;
std::vector<int> g_args;
float g_scratchSeen = -1.0f;

float readSensor(int type, int index, float *value) {
    g_args = {type, index};
    g_scratchSeen = *value;
    *value = 99.0f;  // scratch only: never the result
    return g_reading;
}

int sensorReading(int type, float *reading, int index) {
    g_args = {type, index};
    *reading = 12.5f;
    return 0x5A;
}

class Readings : public qtest::BoundTest {
protected:
    void SetUp() override {
        BoundTest::SetUp();
        g_args.clear();
        g_scratchSeen = -1.0f;
    }
};

TEST_F(Readings, TemperatureAndPowerAreTruncatedTowardZero) {
    qtest::replaceSlot(qrx::Slot::ReadTempSensor, readSensor);
    qtest::replaceSlot(qrx::Slot::ReadPowerSensor, readSensor);
    const struct {
        float slot;
        float expected;
    } cases[] = {
        {41.9f, 41.0f},
        {-3.7f, -3.0f},
        {0.99f, 0.0f},
        {-0.5f, 0.0f},
        {255.0f, 255.0f},
        {std::numeric_limits<float>::quiet_NaN(), 0.0f},
        {3e9f, static_cast<float>(INT_MAX)},
        {-3e9f, static_cast<float>(INT_MIN)},
    };
    for (const auto &c : cases) {
        g_reading = c.slot;
        EXPECT_EQ(QuorixGetTempSensorReading(0x01, 0x1234), c.expected) << c.slot;
        EXPECT_EQ(g_args, (std::vector<int>{0x01, 0x1234}));
        EXPECT_EQ(g_scratchSeen, 0.0f);
        EXPECT_EQ(QuorixGetPowerSensorReading(0x0B, 0x56), c.expected) << c.slot;
        EXPECT_EQ(g_args, (std::vector<int>{0x0B, 0x56}));
    }
}

TEST_F(Readings, EmptySlotsReadAsZero) {
    intf_handle[24] = nullptr;
    intf_handle[25] = nullptr;
    EXPECT_EQ(QuorixGetTempSensorReading(1, 2), 0.0f);
    EXPECT_EQ(QuorixGetPowerSensorReading(1, 2), 0.0f);
}

TEST_F(Readings, SensorReadingRefusesANullOutputAndForwardsOtherwise) {
    qtest::replaceSlot(qrx::Slot::QuorixGetSensorReading, sensorReading);
    EXPECT_EQ(QuorixGetSensorReading(3, nullptr, 4), -1);
    EXPECT_TRUE(g_args.empty());
    float reading = 0.0f;
    EXPECT_EQ(QuorixGetSensorReading(3, &reading, 4), 0x5A);
    EXPECT_EQ(g_args, (std::vector<int>{3, 4}));
    EXPECT_EQ(reading, 12.5f);
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
    const struct {
        int previous, next, firstResult, secondResult, result;  // slot results in call order
        Calls calls;
    } cases[] = {
        {2, 5, 0, 0, 0, {{7, 3, 2, 0}, {7, 3, 5, 1}}},
        {-1, 14, 0, 0, 0, {{7, 3, 14, 1}}},             // nothing asserted before
        {2, 5, 0x33, 0, 0x33, {{7, 3, 2, 0}}},          // a failed deassert keeps the old state
        {0, 1, 0, 0x44, 0x44, {{7, 3, 0, 0}, {7, 3, 1, 1}}},
        {-1, 3, 0x55, 0, 0x55, {{7, 3, 3, 1}}},
        {4, 4, 0, 0, 0, {}},                            // unchanged: no call
        {2, 15, 0, 0, -1, {}}, {2, -1, 0, 0, -1, {}}, {15, 1, 0, 0, -1, {}}, {-2, 1, 0, 0, -1, {}},
    };
    for (const auto &c : cases) {
        g_eventCalls.clear();
        g_eventResults[0] = c.firstResult;
        g_eventResults[1] = c.secondResult;
        EXPECT_EQ(QuorixSetSensorReading(7, 3, c.previous, c.next), c.result) << c.previous << "->" << c.next;
        EXPECT_EQ(g_eventCalls, c.calls) << c.previous << "->" << c.next;
    }
}

}  // namespace
