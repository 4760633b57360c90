// show_fan_param's report and the exported name tables.
#include <cstring>
#include <string>
#include <vector>

#include "fan_test_support.h"
#include "quorix_test.h"

namespace {

using ftest::block;
using ftest::curve;
using ftest::putFloat;

std::vector<std::pair<int, int>> g_reads;

float temperature(int type, int index, float *) {
    g_reads.emplace_back(type, index);
    return 41.6f;
}

class FanReport : public qtest::BoundTest {
protected:
    void SetUp() override {
        BoundTest::SetUp();
        g_reads.clear();
        qtest::replaceSlot(24, temperature);
    }
    static std::string report() {
        return qtest::captureStdout([] { EXPECT_EQ(show_fan_param(), 0); });
    }
};

// A sensor name as "%-32s" prints it.
std::string pad(const std::string &name) {
    return name + std::string(32 - name.size(), ' ');
}

void output(int n, unsigned sensor, unsigned char type, unsigned char pwm, unsigned char finalPwm) {
    unsigned char *o = block() + ftest::kOutputs + 4 * n;
    o[0] = static_cast<unsigned char>(sensor);
    o[1] = static_cast<unsigned char>(sensor >> 8);
    o[2] = type;
    o[3] = pwm;
    block()[ftest::kFinalPwm + n] = finalPwm;
}

TEST_F(FanReport, ListsOutputsAndCurvesInUse) {
    block()[ftest::kCurveCount] = 3;
    block()[ftest::kPwmCount] = 3;
    output(0, 0x1234, 2, 45, 40);
    output(1, 8, 3, 60, 55);
    output(2, 1, 9, 1, 2);

    unsigned char *line = curve(0);  // linear curve on CPU0_TEMP
    line[0] = 2;
    line[1] = 1;
    putFloat(line + 2, 37.5f);
    line[7] = 33;
    line[8] = 5;
    line[9] = 3;
    const unsigned char up[][2] = {{30, 25}, {50, 35}, {80, 45}};  // pwm, temperature
    for (int i = 1; i <= 3; ++i) line[8 + 2 * i] = up[i - 1][0], line[9 + 2 * i] = up[i - 1][1];
    line[90] = 2;
    const unsigned char down[][2] = {{28, 23}, {70, 43}};
    for (int i = 1; i <= 2; ++i) line[48 + 2 * i] = down[i - 1][0], line[49 + 2 * i] = down[i - 1][1];
    line[109] = 80, line[110] = 95, line[111] = 3;
    line[116] = 8;
    putFloat(line + 122, 1.0f);
    putFloat(line + 126, 0.5f);
    putFloat(line + 122 + 4 * 11, 0.25f);
    putFloat(line + 122 + 4 * 12, 9.0f);  // not reported

    unsigned char *pid = curve(1);  // PID curve on a sensor the table does not know
    pid[0] = 3;
    putFloat(pid + 2, 60.25f);
    pid[6] = 75;
    putFloat(pid + 7, 1.5f);
    putFloat(pid + 11, 0.25f);
    putFloat(pid + 15, -1.0f);
    pid[29] = 12, pid[30] = 70, pid[31] = 90, pid[32] = 4;
    pid[116] = 0x34, pid[117] = 0x12;
    putFloat(pid + 122, 2.0f);

    curve(2)[116] = 1;  // type 0: not reported
    curve(3)[0] = 2;    // beyond the curve count

    const std::string expected =
        std::string(
            "cooling line/pid count 3, pwm num:3\n"
            "Final pwm:pwmnum--0: 40 SensorIndex:4660 EffectiveType:FAN_TYPE_LINER EffectivePWM:45\n"
            "Final pwm:pwmnum--1: 55 SensorIndex:8 EffectiveType:FAN_TYPE_PID_BJ EffectivePWM:60\n"
            "Final pwm:pwmnum--2: 2 SensorIndex:1 EffectiveType:FAN_TYPE_UNKNOWN EffectivePWM:1\n"
            "Id:0,sensorindex:8;") +
        pad("CPU0_TEMP") +
        " - Enable "
        " line:  temp 41.00, pwm:37.500000, lastTemp:33, upDown:up,delay:5,"
        "weigth0~7:[ 1.00, 0.50, 0.00, 0.00, 0.00, 0.00, 0.00, 0.00, 0.00, 0.00, 0.00, 0.25],"
        "threshold:[threshold80:80,threshold100:95,thresholddelay:3]"
        "        up-points 3:temper/pwm): 25/30 35/50 45/80"
        " down-points 2:temper/pwm): 23/28 43/70"
        "        Ka1:2.50, Kb2:-32.50, Ka1:2.10, Kb2:-20.30;pwmMin:28;pwmMax:80\n"
        "Id:1,sensorindex:4660;" +
        pad("") +
        " - Disable "
        " pid: sp 75, kp 1.50, ki 0.25, kd-1.00,delay:12,"
        "weigth0~7:[ 2.00, 0.00, 0.00, 0.00, 0.00, 0.00, 0.00, 0.00, 0.00, 0.00, 0.00, 0.00], "
        "threshold:[threshold80:70,threshold100:90,thresholddelay:4],temp:41.00, pwm:60.250000\n";
    EXPECT_EQ(report(), expected);
    // One temperature reading per reported curve, for its sensor.
    EXPECT_EQ(g_reads, (std::vector<std::pair<int, int>>{{1, 8}, {1, 0x1234}}));
}

TEST_F(FanReport, LinearCurveWithoutPointsAndDownwardDirection) {
    block()[ftest::kCurveCount] = 1;
    curve(0)[0] = 2;
    curve(0)[6] = 1;
    curve(0)[116] = 1;
    const std::string text = report();
    EXPECT_EQ(text, std::string("cooling line/pid count 1, pwm num:0\n"
                                "Id:0,sensorindex:1;") +
                        pad("OUTLET_TEMP") +
                        " - Disable "
                        " line:  temp 41.00, pwm:0.000000, lastTemp:0, upDown:down,delay:0,"
                        "weigth0~7:[ 0.00, 0.00, 0.00, 0.00, 0.00, 0.00, 0.00, 0.00, 0.00, 0.00, 0.00, 0.00],"
                        "threshold:[threshold80:0,threshold100:0,thresholddelay:0]"
                        "        up-points 0:temper/pwm): down-points 0:temper/pwm):"
                        "        Ka1:0.00, Kb2:0.00, Ka1:0.00, Kb2:0.00;pwmMin:0;pwmMax:0\n");
}

TEST_F(FanReport, EmptyTableGivesTheHeadingOnly) {
    EXPECT_EQ(report(), "cooling line/pid count 0, pwm num:0\n");
    EXPECT_TRUE(g_reads.empty());
}

TEST(FanTables, NamesOfTypesAndSensors) {
    EXPECT_STREQ(quorix_fan_ctrl_type[0], "FAN_TYPE_NONE");
    EXPECT_STREQ(quorix_fan_ctrl_type[1], "FAN_TYPE_PID");
    EXPECT_STREQ(quorix_fan_ctrl_type[2], "FAN_TYPE_LINER");
    EXPECT_STREQ(quorix_fan_ctrl_type[3], "FAN_TYPE_PID_BJ");
    EXPECT_EQ(sizeof g_temp_sensor_descrip, 814u * 34u);
    const struct {
        int number;
        const char *name;
    } named[] = {{0, "INLET_TEMP"},       {1, "OUTLET_TEMP"},      {8, "CPU0_TEMP"},   {11, "CPU3_TEMP"},
                 {28, "CPU0_DIMM0_TEMP"}, {52, "CPU1_DIMM0_TEMP"}, {124, "PSU0_TEMP"}, {813, "OEM_TEMP813"}};
    for (const auto &n : named) EXPECT_STREQ(g_temp_sensor_descrip[n.number].name, n.name) << n.number;
    for (int i = 0; i < 814; ++i) {
        const QuorixTempSensorDesc &d = g_temp_sensor_descrip[i];
        EXPECT_EQ(d.sensor_number, i);
        const std::size_t len = strnlen(d.name, sizeof d.name);
        ASSERT_GT(len, 0u) << i;
        ASSERT_LT(len, sizeof d.name) << i;
        for (std::size_t k = len; k < sizeof d.name; ++k) ASSERT_EQ(d.name[k], '\0') << i;
        for (int j = 0; j < i; ++j) ASSERT_STRNE(d.name, g_temp_sensor_descrip[j].name) << i << " " << j;
    }
}

}  // namespace
