// set_fan_param: one console command edits one field of one fan curve.
//
// Keywords and sub-keywords are found anywhere in the command (case-sensitive)
// in a fixed order, and each value is scanned from where its keyword occurs;
// values that do not scan stay 0 and 0 is stored. Every write is checked
// against the shared block: a curve id, point or weight index whose bytes
// would fall outside it is refused with a message and nothing is written.
#include <cstdio>
#include <cstring>

#include "core/export.h"
#include "fan/fan_curve_layout.h"

namespace qrx::fancurve {
namespace {

class CommandRun {
public:
    explicit CommandRun(const char *command) : command_(command) {}

    int run() {
        rc_ = std::printf("set_fan_param name: %s\n", command_);
        if (has("disable")) {
            setEnabled("disable%d", 0);
        } else if (has("enable")) {
            setEnabled("enable%d", 1);
        } else if (has("liner")) {
            linear();
        } else if (has("bjpid")) {
            pid();
        } else if (has("pwmraise")) {
            pwmRaise();
        }
        return rc_;
    }

private:
    const char *find(const char *word) const { return std::strstr(command_, word); }
    bool has(const char *word) const { return find(word) != nullptr; }

    // The result of the last scan or print is the command's result.
    template <typename... T>
    void scan(const char *text, const char *fmt, T *...values) {
        rc_ = std::sscanf(text, fmt, values...);
    }

    // Scans the curve id from the start of the command; false (with a message)
    // when the curve's record would not lie inside the block.
    bool curve(const char *fmt) {
        scan(command_, fmt, &id_);
        base_ = curveOffset(id_);
        if (insideBlock(base_, kCurveSize)) return true;
        rc_ = std::printf("Invalid fan curve id %d\n", id_);
        return false;
    }

    void setByte(long long offsetInCurve, int value) {
        sharedBlock().setU8(static_cast<std::size_t>(base_ + offsetInCurve), static_cast<std::uint8_t>(value));
    }
    void setFloat(long long offsetInCurve, float value) {
        sharedBlock().setF32(static_cast<std::size_t>(base_ + offsetInCurve), value);
    }

    void setEnabled(const char *fmt, int enabled) {
        if (curve(fmt)) setByte(curve::kEnabled, enabled);
    }

    // "<keyword>%d" scanned where the keyword occurs, stored as a byte.
    bool byteField(const char *keyword, const char *fmt, std::size_t offset) {
        const char *at = find(keyword);
        if (at == nullptr) return false;
        int value = 0;
        scan(at, fmt, &value);
        setByte(static_cast<long long>(offset), value);
        return true;
    }

    bool floatField(const char *keyword, const char *fmt, std::size_t offset) {
        const char *at = find(keyword);
        if (at == nullptr) return false;
        float value = 0.0f;
        scan(at, fmt, &value);
        setFloat(static_cast<long long>(offset), value);
        return true;
    }

    // A rising and a falling point byte: the same value goes into both.
    bool pointField(const char *keyword, const char *fmt, std::size_t rising, std::size_t falling) {
        const char *at = find(keyword);
        if (at == nullptr) return false;
        int point = 0, value = 0;
        scan(at, fmt, &point, &value);
        const long long r = static_cast<long long>(rising) + 2LL * point;
        const long long f = static_cast<long long>(falling) + 2LL * point;
        if (!insideBlock(base_ + r, 1) || !insideBlock(base_ + f, 1)) {
            rc_ = std::printf("Invalid curve point %d\n", point);
            return true;
        }
        setByte(r, value);
        setByte(f, value);
        return true;
    }

    bool weightField() {
        const char *at = find("_weight");
        if (at == nullptr) return false;
        int w = 0;
        float weight = 0.0f;
        scan(at, "_weight%d_%f", &w, &weight);
        // The bound is signed: a negative index writes below the weights.
        // Only the block's edges are enforced beyond it.
        const long long offset = static_cast<long long>(curve::kWeights) + 4LL * w;
        if (w > curve::kMaxWeight || !insideBlock(base_ + offset, 4)) {
            rc_ = std::printf("Invalid weight id %d\n", w);
            return true;
        }
        setFloat(offset, weight);
        return true;
    }

    void linear() {
        if (!curve("liner%d")) return;
        (void)(byteField("_num", "_num%d", curve::kPointCount) ||
               pointField("_temper", "_temper%dval%d", curve::kRisingTemperature, curve::kFallingTemperature) ||
               pointField("_pwm", "_pwm%dval%d", curve::kRisingPwm, curve::kFallingPwm) ||
               byteField("_delay", "_delay%d", curve::kDelay) || weightField() ||
               byteField("_threshold80", "_threshold80_%d", curve::kThreshold80) ||
               byteField("_threshold100", "_threshold100_%d", curve::kThreshold100) ||
               byteField("_thresholddelay", "_thresholddelay%d", curve::kThresholdDelay));
        setByte(curve::kType, kTypeLinear);
    }

    void pid() {
        if (!curve("bjpid%d")) return;
        (void)(byteField("_sp", "_sp%d", curve::kPidSetPoint) || floatField("_kp", "_kp%f", curve::kPidKp) ||
               floatField("_ki", "_ki%f", curve::kPidKi) || floatField("_kd", "_kd%f", curve::kPidKd) ||
               byteField("_delay", "_delay%d", curve::kPidDelay) || weightField() ||
               byteField("_threshold80", "_threshold80_%d", curve::kPidThreshold80) ||
               byteField("_threshold100", "_threshold100_%d", curve::kPidThreshold100) ||
               byteField("_thresholddelay", "_thresholddelay%d", curve::kPidThresholdDelay));
        setByte(curve::kType, kTypePidBj);
    }

    void pwmRaise() {
        int value = 0;
        scan(find("pwmraise"), "pwmraise%d", &value);
        // Signed comparison: a negative value passes and its low byte is stored.
        if (value > 255) {
            rc_ = std::printf("Invalid miss one fan raise values %d\n", value);
            return;
        }
        sharedBlock().setU8(kMissingFanRaiseOffset, static_cast<std::uint8_t>(value));
    }

    const char *command_;
    int rc_ = 0;
    int id_ = 0;
    long long base_ = 0;
};

}  // namespace
}  // namespace qrx::fancurve

extern "C" QRX_EXPORT int set_fan_param(char *command) {
    if (command == nullptr || intf_quorix_mem == nullptr) return -1;
    return qrx::fancurve::CommandRun(command).run();
}
