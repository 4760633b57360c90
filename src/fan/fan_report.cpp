// show_fan_param: the console report of the PWM outputs and fan curves.
#include <cstdio>

#include "core/export.h"
#include "sensor/sensor_reading.h"
#include "fan/fan_curve_layout.h"
#include "quorix_common_interface.h"

namespace qrx::fancurve {
namespace {

// IPMI sensor type code of temperature sensors, the selector of slot 24.
constexpr int kTemperatureSensorType = 0x01;
constexpr int kSensorTableSize = 814;

const char *typeName(unsigned type) {
    return type < kTypeCount ? quorix_fan_ctrl_type[type] : "FAN_TYPE_UNKNOWN";
}

// Name of a sensor number: the first matching entry; an unknown sensor has no name.
const char *sensorName(unsigned number) {
    for (int i = 0; i < kSensorTableSize; ++i)
        if (g_temp_sensor_descrip[i].sensor_number == number) return g_temp_sensor_descrip[i].name;
    return "";
}

// Straight line through the first and last points of one side of a linear
// curve: pwm = ka * temperature + kb. Flat (ka 0) for a single point or two
// points at one temperature; 0, 0 without points.
struct Line {
    float ka = 0.0f;
    float kb = 0.0f;
};

Line lineThrough(const ByteView &c, std::size_t pwmBase, std::size_t tempBase, int points) {
    Line line;
    if (points < 1) return line;
    const int firstPwm = c.u8(pwmBase + 2), firstTemp = c.u8(tempBase + 2);
    const int lastPwm = c.u8(pwmBase + 2 * points), lastTemp = c.u8(tempBase + 2 * points);
    if (lastTemp != firstTemp)
        line.ka = static_cast<float>(lastPwm - firstPwm) / static_cast<float>(lastTemp - firstTemp);
    line.kb = static_cast<float>(firstPwm) - line.ka * static_cast<float>(firstTemp);
    return line;
}

int clampPoints(int count, int most) {
    return count > most ? most : count;
}

void printWeights(const ByteView &c) {
    for (int w = 0; w < curve::kReportedWeights; ++w)
        std::printf(w == 0 ? "%5.2f" : ",%5.2f", static_cast<double>(c.f32(curve::kWeights + 4 * w)));
}

void printLinear(const ByteView &c, float temperature) {
    std::printf(" line:  temp %0.2f, pwm:%f, lastTemp:%d, upDown:%s,delay:%d,weigth0~7:[",
                static_cast<double>(temperature), static_cast<double>(c.f32(curve::kPwm)),
                c.u8(curve::kLastTemperature), c.u8(curve::kDirection) == 0 ? "up" : "down", c.u8(curve::kDelay));
    printWeights(c);
    std::printf("],threshold:[threshold80:%d,threshold100:%d,thresholddelay:%d]", c.u8(curve::kThreshold80),
                c.u8(curve::kThreshold100), c.u8(curve::kThresholdDelay));

    // The rising count is byte 9, the falling count byte 90; points run from 1.
    const int up = clampPoints(c.u8(curve::kPointCount), curve::kMaxRisingPoints);
    const int down = clampPoints(c.u8(curve::kFallingPointCount), curve::kMaxFallingPoints);
    int pwmMin = 255, pwmMax = 0;
    auto points = [&](const char *heading, int count, std::size_t pwmBase, std::size_t tempBase) {
        std::printf(heading, count);
        for (int i = 1; i <= count; ++i) {
            const int pwm = c.u8(pwmBase + 2 * i);
            std::printf(" %d/%d", c.u8(tempBase + 2 * i), pwm);
            pwmMin = pwm < pwmMin ? pwm : pwmMin;
            pwmMax = pwm > pwmMax ? pwm : pwmMax;
        }
    };
    points("        up-points %d:temper/pwm):", up, curve::kRisingPwm, curve::kRisingTemperature);
    points(" down-points %d:temper/pwm):", down, curve::kFallingPwm, curve::kFallingTemperature);
    if (up + down == 0) pwmMin = 0;
    const Line rising = lineThrough(c, curve::kRisingPwm, curve::kRisingTemperature, up);
    const Line falling = lineThrough(c, curve::kFallingPwm, curve::kFallingTemperature, down);
    std::printf("        Ka1:%0.2f, Kb2:%0.2f, Ka1:%0.2f, Kb2:%0.2f;pwmMin:%d;pwmMax:%d\n",
                static_cast<double>(rising.ka), static_cast<double>(rising.kb), static_cast<double>(falling.ka),
                static_cast<double>(falling.kb), pwmMin, pwmMax);
}

void printPid(const ByteView &c, float temperature) {
    std::printf(" pid: sp%3d, kp%5.2f, ki%5.2f, kd%5.2f,delay:%d,weigth0~7:[", c.u8(curve::kPidSetPoint),
                static_cast<double>(c.f32(curve::kPidKp)), static_cast<double>(c.f32(curve::kPidKi)),
                static_cast<double>(c.f32(curve::kPidKd)), c.u8(curve::kPidDelay));
    printWeights(c);
    std::printf("], threshold:[threshold80:%d,threshold100:%d,thresholddelay:%d],temp:%0.2f, pwm:%f\n",
                c.u8(curve::kPidThreshold80), c.u8(curve::kPidThreshold100), c.u8(curve::kPidThresholdDelay),
                static_cast<double>(temperature), static_cast<double>(c.f32(curve::kPwm)));
}

void report() {
    const ByteView block = sharedBlock();
    const int curves = block.u8(kCurveCountOffset);
    const int outputs = block.u8(kPwmCountOffset);
    std::printf("cooling line/pid count %d, pwm num:%d\n", curves, outputs);
    for (int n = 0; n < outputs; ++n) {
        const ByteView out = block.at(kOutputsOffset + kOutputSize * n);
        std::printf("Final pwm:pwmnum--%d: %d SensorIndex:%d EffectiveType:%s EffectivePWM:%d\n", n,
                    block.u8(kFinalPwmOffset + n), out.u16(output::kSensorIndex),
                    typeName(out.u8(output::kEffectiveType)), out.u8(output::kEffectivePwm));
    }
    for (int id = 0; id < curves; ++id) {
        const ByteView c = block.at(static_cast<std::size_t>(curveOffset(id)));
        const unsigned type = c.u8(curve::kType);
        if (type != kTypeLinear && type != kTypePid && type != kTypePidBj) continue;
        const unsigned sensor = c.u16(curve::kSensorNumber);
        std::printf("Id:%d,sensorindex:%d;%-32s - %s ", id, sensor, sensorName(sensor),
                    c.u8(curve::kEnabled) == 1 ? "Enable" : "Disable");
        const float temperature = qrx::sensor::temperatureReading(kTemperatureSensorType, static_cast<int>(sensor));
        if (type == kTypeLinear)
            printLinear(c, temperature);
        else
            printPid(c, temperature);
    }
}

}  // namespace
}  // namespace qrx::fancurve

extern "C" QRX_EXPORT int show_fan_param(void) {
    if (intf_quorix_mem == nullptr) return -1;
    qrx::fancurve::report();
    return 0;
}
