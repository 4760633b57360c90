#include <cstring>
#include <set>

#include "quorix_test.h"

namespace {

using qtest::block;
using qtest::Bytes;
constexpr std::size_t kCurves = 0x618FF7, kCurveSize = 202, kRaise = 0x61C28D;

unsigned char *curve(long long id) { return block().data() + kCurves + kCurveSize * id; }
std::string set(const std::string &command) {
    std::string text = command;
    return qtest::captureStdout([&] { set_fan_param(text.data()); });
}
using Pokes = std::vector<std::pair<int, int>>;  // (offset, byte)

class FanParam : public qtest::BoundTest {};

// After an optional first command on zeroed curves and raise byte: curve id holds the listed bytes, the rest 0.
TEST_F(FanParam, Commands_WriteTheirFieldAndTheType) {
    const struct { const char *before, *command; int id; Pokes bytes; const char *out; int raise = 0; } cases[] = {
        {"", "liner2_num5", 2, {{9, 5}, {0, 2}}, ""}, {"", "liner2_temper1val45", 2, {{11, 45}, {51, 45}, {0, 2}}, ""},
        {"", "liner4_delay9", 4, {{8, 9}, {0, 2}}, ""}, {"", "liner2_temper0val45", 2, {{9, 45}, {49, 45}, {0, 2}}, ""},
        {"", "liner2_pwm0val7", 2, {{8, 7}, {48, 7}, {0, 2}}, ""},  // point 0 overwrites the delay, temper0 the count
        {"", "liner4_threshold80_81", 4, {{109, 81}, {0, 2}}, ""}, {"", "enabl3", 0, {}, ""},
        {"", "liner4_thresholddelay7", 4, {{111, 7}, {0, 2}}, ""},  // "_delay" is not inside "_thresholddelay"
        {"", "liner1_weight19_1.5", 1, {{200, 0xC0}, {201, 0x3F}, {0, 2}}, ""},
        {"", "liner5_weight-1_0.5", 5, {{121, 0x3F}, {0, 2}}, ""},  // below the weights
        {"", "liner0_weight20_1.0", 0, {{0, 2}}, "Invalid weight id 20\n"},
        {"", "liner0_temper99999999val5_delay7", 0, {{0, 2}}, "Invalid curve point 99999999\n"},  // outside the block: ends there
        {"liner3_num7", "liner3_numxyz", 3, {{0, 2}}, ""}, {"bjpid1_kp1.5", "bjpid1_kpabc", 1, {{0, 3}}, ""},  // bad: 0
        {"", "liner_temper2val9", 0, {{13, 9}, {53, 9}, {0, 2}}, ""},  // no id: curve 0
        {"", "bjpid1_kp1.5", 1, {{9, 192}, {10, 63}, {0, 3}}, ""}, {"", "bjpid2_weight0_2", 2, {{125, 64}, {0, 3}}, ""},
        {"", "bjpid1_kd-0.25", 1, {{17, 128}, {18, 190}, {0, 3}}, ""}, {"", "bjpid1_sp60", 1, {{6, 60}, {0, 3}}, ""},
        {"", "bjpid1_threshold100_90", 1, {{31, 90}, {0, 3}}, ""}, {"", "bjpid1_delay12", 1, {{29, 12}, {0, 3}}, ""},
        {"", "bjpid1_weight25_1.0", 1, {{0, 3}}, "Invalid weight id 25\n"}, {"", "enable3", 3, {{1, 1}}, ""},
        {"", "mybjpid4_sp3", 0, {{6, 3}, {0, 3}}, ""},  // the id is scanned from the start: 0
        {"", "liner2_bjpid5_sp3", 2, {{0, 2}}, ""},     // "liner" comes before "bjpid"
        {"enable3", "disable3", 3, {}, ""}, {"enable2", "disable2_enable2", 2, {}, ""},  // "disable" is looked for 1st
        {"", "LINER2_num5", 0, {}, ""}, {"", "", 0, {}, ""}, {"liner1_weight0_2", "liner1_weight_2", 1, {{0, 2}}, ""},
        {"pwmraise9", "pwmraise20", 0, {}, "", 20}, {"", "pwmraise255", 0, {}, "", 255},  // the low byte up to 255
        {"pwmraise20", "pwmraise300", 0, {}, "Invalid miss one fan raise values 300\n", 20},
        {"pwmraise255", "pwmraise256", 0, {}, "Invalid miss one fan raise values 256\n", 255},
        {"", "pwmraise-1", 0, {}, "", 255}, {"", "pwmraise-200", 0, {}, "", 56}, {"", "set_pwmraise7", 0, {}, "", 7},
        {"pwmraise9", "pwmraise", 0, {}, "", 0}, {"pwmraise9", "pwm_raise3", 0, {}, "", 9}};  // no number: 0
    for (const auto &c : cases) {
        std::memset(curve(0), 0, kCurveSize * 8);
        block().setU8(kRaise, 0);
        set(c.before);
        EXPECT_EQ(set(c.command), "set_fan_param name: " + std::string(c.command) + "\n" + c.out);
        Bytes want(kCurveSize * 8, 0);
        for (auto [at, value] : c.bytes) want[kCurveSize * c.id + at] = static_cast<unsigned char>(value);
        EXPECT_EQ(qtest::blockBytes(kCurves, kCurveSize * 8), want) << c.command;
        EXPECT_EQ(block().u8(kRaise), c.raise) << c.command;
    }
    EXPECT_EQ(set_fan_param(nullptr), -1);
}

std::vector<std::pair<int, int>> g_reads;
float temperature(int type, int index, float *) { return g_reads.emplace_back(type, index), 41.6f; }

void put(long long id, Pokes bytes, std::vector<std::pair<int, float>> floats = {}) {
    for (auto [at, v] : bytes) curve(id)[at] = static_cast<unsigned char>(v);
    for (auto [at, v] : floats) qrx::ByteView(curve(id)).setF32(at, v);
}

TEST_F(FanParam, Report_ListsOutputsAndCurvesInUse) {
    qtest::replaceSlot(qrx::Slot::ReadTempSensor, temperature);
    EXPECT_EQ(qtest::captureStdout([] { EXPECT_EQ(show_fan_param(), 0); }), "cooling line/pid count 0, pwm num:0\n");
    block().setU8(0x618FF4, 3), block().setU8(0xFF26, 3);
    const unsigned char outputs[] = {0x34, 0x12, 2, 45, 8, 0, 3, 60, 1, 0, 4, 1}, finals[] = {40, 55, 2};
    block().copyIn(0x622252, outputs, sizeof outputs);
    block().copyIn(0x61C277, finals, sizeof finals);
    // Outputs typed 2, 3 and 4 (the first unknown type). Linear on CPU0_TEMP, 3 up and 2 down points; PID on an
    // unknown sensor; type 0; one past the count.
    put(0, {{0, 2}, {1, 1}, {7, 33}, {8, 5}, {9, 3}, {10, 30}, {11, 25}, {12, 50}, {13, 35}, {14, 80}, {15, 45},
            {90, 2}, {50, 28}, {51, 23}, {52, 70}, {53, 43}, {109, 80}, {110, 95}, {111, 3}, {116, 8}},
        {{2, 37.5f}, {122, 1.0f}, {126, 0.5f}, {122 + 44, 0.25f}, {122 + 48, 9.0f}});  // weight 12 is not reported
    put(1, {{0, 3}, {6, 75}, {29, 12}, {30, 70}, {31, 90}, {32, 4}, {116, 0x34}, {117, 0x12}},
        {{2, 60.25f}, {7, 1.5f}, {11, 0.25f}, {15, -1.0f}, {122, 2.0f}});
    put(2, {{116, 1}}), put(3, {{0, 2}});
    EXPECT_GOLDEN("fan_report.txt", qtest::captureStdout([] { EXPECT_EQ(show_fan_param(), 0); }));
    EXPECT_EQ(g_reads, (std::vector<std::pair<int, int>>{{1, 8}, {1, 0x1234}}));  // one reading per reported curve
}

TEST(FanTables, SensorNamesAreNumberedTerminatedAndUnique) {
    const std::pair<int, const char *> known[] = {{0, "INLET_TEMP"}, {11, "CPU3_TEMP"}, {52, "CPU1_DIMM0_TEMP"},
        {124, "PSU0_TEMP"}, {175, "OCP3_TEMP"}, {464, "GPUBOX3_SW3_TEMP"}, {813, "OEM_TEMP813"}};
    for (auto [number, name] : known) EXPECT_STREQ(g_temp_sensor_descrip[number].name, name) << number;
    std::set<std::string> names;
    for (int i = 0; i < 814; ++i) {
        const QuorixTempSensorDesc &d = g_temp_sensor_descrip[i];
        const std::string name(d.name, sizeof d.name);
        EXPECT_EQ(d.sensor_number, i);
        const std::size_t end = name.find('\0');  // a name, then zeros to the end
        EXPECT_TRUE(names.insert(d.name).second && end - 1 < 31 && name.find_first_not_of('\0', end) == name.npos) << i;
    }
}

}  // namespace
