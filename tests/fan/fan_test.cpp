// Fan control curves: set_fan_param's keywords, scan formats, overlaps,
// bounds and refusals; show_fan_param's report; the sensor name table.
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "quorix_test.h"

namespace {

using qtest::block;
constexpr std::size_t kBlockSize = 0x640000;
constexpr std::size_t kCurves = 0x618FF7, kCurveSize = 202, kCurveCount = 0x618FF4;
constexpr std::size_t kPwmCount = 0xFF26, kFinalPwm = 0x61C277, kRaise = 0x61C28D, kOutputs = 0x622252;

unsigned char *curve(long long id) { return block().data() + kCurves + kCurveSize * id; }
void putFloat(unsigned char *at, float v) { qrx::ByteView(at).setF32(0, v); }
using Bytes = std::vector<std::pair<std::size_t, unsigned char>>;  // (offset in curve, value)

class FanParam : public qtest::BoundTest {
protected:
    // Runs the command; returns what it printed.
    static std::string set(const std::string &command) {
        std::string text = command;
        return qtest::captureStdout([&] { set_fan_param(text.data()); });
    }
    static std::string nameLine(const std::string &command) { return "set_fan_param name: " + command + "\n"; }

    // The curve's bytes equal `expected` where listed and 0 elsewhere.
    static void expectCurve(long long id, const Bytes &expected) {
        std::vector<unsigned char> want(kCurveSize, 0);
        for (const auto &[off, value] : expected) want[off] = value;
        EXPECT_EQ(std::vector<unsigned char>(curve(id), curve(id) + kCurveSize), want) << "curve " << id;
    }
};

TEST_F(FanParam, Commands_WriteTheirFieldAndTheType) {
    const struct {
        const char *command;
        int id;
        Bytes bytes;
    } cases[] = {
        {"liner2_num5", 2, {{9, 5}, {0, 2}}},
        {"liner2_num300", 2, {{9, 300 & 0xFF}, {0, 2}}},
        {"liner2_temper1val45", 2, {{11, 45}, {51, 45}, {0, 2}}},
        {"liner2_temper0val45", 2, {{9, 45}, {49, 45}, {0, 2}}},  // point 0 overwrites the point count
        {"liner2_pwm3val200", 2, {{14, 200}, {54, 200}, {0, 2}}},
        {"liner2_pwm0val7", 2, {{8, 7}, {48, 7}, {0, 2}}},  // point 0 overwrites the delay
        {"liner4_delay9", 4, {{8, 9}, {0, 2}}},
        {"liner4_thresholddelay7", 4, {{111, 7}, {0, 2}}},  // "_delay" is not inside "_thresholddelay"
        {"liner4_threshold80_81", 4, {{109, 81}, {0, 2}}},
        {"liner4_threshold100_99", 4, {{110, 99}, {0, 2}}},
        {"liner4_threshold100_99_threshold80_5", 4, {{109, 5}, {0, 2}}},  // "_threshold80" is looked for first
        {"liner1_weight3_1.5", 1, {{134, 0x00}, {135, 0x00}, {136, 0xC0}, {137, 0x3F}, {0, 2}}},
        {"liner0_weight19_-2", 0, {{198, 0x00}, {199, 0x00}, {200, 0x00}, {201, 0xC0}, {0, 2}}},
        {"liner5_weight-1_0.5", 5, {{118, 0x00}, {119, 0x00}, {120, 0x00}, {121, 0x3F}, {0, 2}}},  // below the weights
        {"liner0", 0, {{0, 2}}},
        {"liner6_num1_delay2", 6, {{9, 1}, {0, 2}}},  // one sub-keyword per command
        {"liner1_pwm2val3pwmraise9", 1, {{12, 3}, {52, 3}, {0, 2}}},
        {"bjpid1_kp1.5", 1, {{7, 0x00}, {8, 0x00}, {9, 0xC0}, {10, 0x3F}, {0, 3}}},
        {"bjpid1_sp60", 1, {{6, 60}, {0, 3}}},
        {"bjpid1_ki0.25", 1, {{11, 0x00}, {12, 0x00}, {13, 0x80}, {14, 0x3E}, {0, 3}}},
        {"bjpid1_kd-1", 1, {{15, 0x00}, {16, 0x00}, {17, 0x80}, {18, 0xBF}, {0, 3}}},
        {"bjpid1_delay12", 1, {{29, 12}, {0, 3}}},
        {"bjpid1_threshold80_70", 1, {{30, 70}, {0, 3}}},
        {"bjpid1_threshold100_90", 1, {{31, 90}, {0, 3}}},
        {"bjpid1_thresholddelay4", 1, {{32, 4}, {0, 3}}},
        {"bjpid2_weight0_2", 2, {{122, 0x00}, {123, 0x00}, {124, 0x00}, {125, 0x40}, {0, 3}}},
        {"bjpid7", 7, {{0, 3}}},
        {"mybjpid4_sp3", 0, {{6, 3}, {0, 3}}},  // the id is scanned from the start: 0
        {"liner2_bjpid5_sp3", 2, {{0, 2}}},     // "liner" comes before "bjpid"
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.command);
        std::memset(curve(0), 0, kCurveSize * 8);
        EXPECT_EQ(set(c.command), nameLine(c.command));
        expectCurve(c.id, c.bytes);
    }
}

TEST_F(FanParam, EnableAndDisable_TouchOnlyTheEnabledByte) {
    curve(3)[0] = 2;
    EXPECT_EQ(set("enable3"), nameLine("enable3"));
    expectCurve(3, {{0, 2}, {1, 1}});
    EXPECT_EQ(set("disable3"), nameLine("disable3"));
    expectCurve(3, {{0, 2}, {1, 0}});
    // "disable" is looked for first, so a command naming both disables.
    curve(2)[1] = 1;
    set("disable2_enable2");
    expectCurve(2, {});
    // The id is scanned from the start of the command.
    set("xenable3");
    expectCurve(0, {{1, 1}});
}

TEST_F(FanParam, BadWeightIndex_IsReportedAndOnlyTheTypeChanges) {
    EXPECT_EQ(set("liner0_weight20_1.0"), nameLine("liner0_weight20_1.0") + "Invalid weight id 20\n");
    expectCurve(0, {{0, 2}});
    EXPECT_EQ(set("bjpid1_weight25_1.0"), nameLine("bjpid1_weight25_1.0") + "Invalid weight id 25\n");
    expectCurve(1, {{0, 3}});
}

TEST_F(FanParam, PwmRaise_StoresTheLowByteOfValuesUpTo255) {
    const struct {
        const char *command;
        unsigned char stored;
        const char *message;
    } cases[] = {
        {"pwmraise20", 20, ""},   {"pwmraise300", 20, "Invalid miss one fan raise values 300\n"},
        {"pwmraise255", 255, ""}, {"pwmraise256", 255, "Invalid miss one fan raise values 256\n"},
        {"pwmraise-1", 255, ""},  {"pwmraise-200", 56, ""},
        {"set_pwmraise7", 7, ""},  // scanned where the keyword occurs
        {"pwmraise", 0, ""},       // no number: 0
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.command);
        EXPECT_EQ(set(c.command), nameLine(c.command) + c.message);
        EXPECT_EQ(block().u8(kRaise), c.stored);
    }
}

TEST_F(FanParam, MalformedNumbers_StoreZero) {
    curve(3)[9] = 7;
    set("liner3_numxyz");
    expectCurve(3, {{0, 2}});
    curve(1)[7] = 0x11;
    set("bjpid1_kpabc");
    expectCurve(1, {{0, 3}});
    set("liner_temper2val9");  // no id: curve 0
    expectCurve(0, {{13, 9}, {53, 9}, {0, 2}});
}

TEST_F(FanParam, UnknownCommands_OnlyPrintTheirName) {
    for (const char *command : {"LINER2_num5", "", "fan", "enabl3", "pwm_raise3"}) {
        EXPECT_EQ(set(command), nameLine(command));
    }
    EXPECT_EQ(qtest::blockBytes(kCurves, kCurveSize * 8),
              std::vector<unsigned char>(kCurveSize * 8, 0));
    EXPECT_EQ(block().u8(kRaise), 0);
}

TEST_F(FanParam, CurveIdsInsideTheBlock_AreWrittenEvenBeyondTheTable) {
    // The last curve whose record fits in the block, and one before the table.
    set("enable789");
    EXPECT_EQ(curve(789)[1], 1);
    set("liner-1_num5");
    EXPECT_EQ(curve(-1)[9], 5);
    EXPECT_EQ(curve(-1)[0], 2);
}

TEST_F(FanParam, WritesOutsideTheBlock_AreRefusedWithAMessage) {
    const std::vector<unsigned char> before = qtest::blockBytes(0, kBlockSize);
    const struct {
        const char *command;
        const char *message;
    } cases[] = {
        {"enable790", "Invalid fan curve id 790\n"},
        {"disable2147483647", "Invalid fan curve id 2147483647\n"},
        {"liner40000_num1", "Invalid fan curve id 40000\n"},
        {"bjpid-40000_sp1", "Invalid fan curve id -40000\n"},
        {"liner-2147483648_num1", "Invalid fan curve id -2147483648\n"},
    };
    for (const auto &c : cases) EXPECT_EQ(set(c.command), nameLine(c.command) + c.message);
    EXPECT_TRUE(qtest::blockBytes(0, kBlockSize) == before) << "the block changed";

    // Points and weights far outside: the type is still set, nothing else.
    EXPECT_EQ(set("liner0_temper2000000000val1"),
              nameLine("liner0_temper2000000000val1") + "Invalid curve point 2000000000\n");
    EXPECT_EQ(set("liner0_pwm-2000000000val1"),
              nameLine("liner0_pwm-2000000000val1") + "Invalid curve point -2000000000\n");
    EXPECT_EQ(set("bjpid789_weight-2000000000_1"),
              nameLine("bjpid789_weight-2000000000_1") + "Invalid weight id -2000000000\n");
    std::vector<unsigned char> after = qtest::blockBytes(0, kBlockSize);
    EXPECT_EQ(after[kCurves], 2);
    EXPECT_EQ(after[kCurves + kCurveSize * 789], 3);
    after[kCurves] = 0;
    after[kCurves + kCurveSize * 789] = 0;
    EXPECT_TRUE(after == before) << "only the type bytes may change";
}

TEST_F(FanParam, NullCommand_IsRefused) {
    EXPECT_EQ(set_fan_param(nullptr), -1);
}

TEST_F(FanParam, RandomCommands_NeverFault) {
    // Keyword fragments and extreme numbers glued at random; every command must
    // run to its end without touching memory outside the block.
    const char *words[] = {
        "enable", "disable", "liner",   "bjpid", "pwmraise",      "_num",           "_temper",         "val",
        "_pwm",   "_delay",  "_weight", "_",     "_threshold80_", "_threshold100_", "_thresholddelay", "_sp",
        "_kp",    "_ki",     "_kd",     "x"};
    const char *numbers[] = {"-2147483648", "-40000",      "-31655", "-1",      "0",   "1",
                             "19",          "20",          "255",    "256",     "789", "790",
                             "2147483647",  "99999999999", "1.5",    "-2.5e30", "nan", ""};
    const qtest::ChildResult child = qtest::runInChild([&] {
        std::mt19937 random(0x1234);
        for (int n = 0; n < 4000; ++n) {
            std::string command;
            const int parts = 1 + static_cast<int>(random() % 6);
            for (int p = 0; p < parts; ++p) {
                command += words[random() % (sizeof words / sizeof *words)];
                command += numbers[random() % (sizeof numbers / sizeof *numbers)];
            }
            set_fan_param(command.data());
        }
        std::fflush(stdout);
    });
    EXPECT_TRUE(child.exited);
    EXPECT_EQ(child.status, 0);
    EXPECT_EQ(child.err, "");
}

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
        qtest::replaceSlot(qrx::Slot::ReadTempSensor, temperature);
    }
    static std::string report() {
        return qtest::captureStdout([] { EXPECT_EQ(show_fan_param(), 0); });
    }
};

void output(int n, unsigned sensor, unsigned char type, unsigned char pwm, unsigned char finalPwm) {
    unsigned char *o = block().data() + kOutputs + 4 * n;
    o[0] = static_cast<unsigned char>(sensor);
    o[1] = static_cast<unsigned char>(sensor >> 8);
    o[2] = type;
    o[3] = pwm;
    block().setU8(kFinalPwm + n, finalPwm);
}

TEST_F(FanReport, ListsOutputsAndCurvesInUse) {
    block().setU8(kCurveCount, 3);
    block().setU8(kPwmCount, 3);
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

    EXPECT_GOLDEN("fan_report.txt", report());
    // One temperature reading per reported curve, for its sensor.
    EXPECT_EQ(g_reads, (std::vector<std::pair<int, int>>{{1, 8}, {1, 0x1234}}));
}

TEST_F(FanReport, LinearCurveWithoutPointsAndDownwardDirection) {
    block().setU8(kCurveCount, 1);
    curve(0)[0] = 2;
    curve(0)[6] = 1;
    curve(0)[116] = 1;
    EXPECT_GOLDEN("fan_report_bare_line.txt", report());
}

TEST_F(FanReport, EmptyTableGivesTheHeadingOnly) {
    EXPECT_EQ(report(), "cooling line/pid count 0, pwm num:0\n");
    EXPECT_TRUE(g_reads.empty());
}

TEST(FanTables, SensorNamesAreNumberedTerminatedAndUnique) {
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
