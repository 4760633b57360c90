// Fan-control curves, PWM outputs and the raise setting in the shared block.
//
//   65318            u8   number of PWM outputs
//   6393844            u8   number of curves in use
//   6393847 + 202 id   202  curve record id
//   6406775 + n        u8   final PWM of output n
//   6406797            u8   PWM raise when one fan is missing
//   6431314 + 4 n      4    output n: u16 sensor index, u8 effective type, u8 effective PWM
//
// Curve record (byte-packed, little-endian):
//   0 type (0 none, 1 PID, 2 linear, 3 PID_BJ)   1 enabled (1)
//   linear: 2 f32 current PWM, 6 direction (0 up), 7 last temperature,
//           8 delay, 9 rising point count, rising point i at 8+2i (PWM) / 9+2i
//           (temperature), falling point i at 48+2i / 49+2i, 90 falling point
//           count, 109/110/111 threshold80/threshold100/thresholddelay
//   PID:    6 set point, 7 f32 kp, 11 f32 ki, 15 f32 kd, 29 delay,
//           30/31/32 threshold80/threshold100/thresholddelay
//   both:   116 u16 sensor number, 122 + 4w f32 weight w (w = 0..19)
// Point index 0 overlays the delay and point count (bytes 8, 9) and falling
// point 0 overlays rising point 20: the layout is shared with the controller.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/shared_block.h"

namespace qrx::fancurve {

inline constexpr std::size_t kPwmCountOffset = 65318, kCurveCountOffset = 6393844, kCurvesOffset = 6393847;
inline constexpr std::size_t kCurveSize = 202, kFinalPwmOffset = 6406775, kMissingFanRaiseOffset = 6406797;
inline constexpr std::size_t kOutputsOffset = 6431314, kOutputSize = 4;
// Room the block leaves: curves up to the final PWM bytes, outputs up to the raise byte.
inline constexpr int kMaxCurves = (kFinalPwmOffset - kCurvesOffset) / kCurveSize;
inline constexpr int kMaxOutputs = kMissingFanRaiseOffset - kFinalPwmOffset;
static_assert(kMaxCurves == 64 && kMaxOutputs == 22, "curve and output room");

enum CurveType : std::uint8_t { kTypeNone = 0, kTypePid = 1, kTypeLinear = 2, kTypePidBj = 3 };
inline constexpr unsigned kTypeCount = 4;

namespace curve {
inline constexpr std::size_t kType = 0, kEnabled = 1, kPwm = 2, kDirection = 6, kLastTemperature = 7, kDelay = 8;
inline constexpr std::size_t kPointCount = 9;
inline constexpr std::size_t kRisingPwm = 8;          // + 2i
inline constexpr std::size_t kRisingTemperature = 9;  // + 2i
inline constexpr std::size_t kFallingPwm = 48;        // + 2i
inline constexpr std::size_t kFallingTemperature = 49;  // + 2i
inline constexpr std::size_t kFallingPointCount = 90, kThreshold80 = 109, kThreshold100 = 110, kThresholdDelay = 111;
inline constexpr int kMaxRisingPoints = 19;   // points 1..19 end before the falling array
inline constexpr int kMaxFallingPoints = 20;  // points 1..20 end before the falling count

inline constexpr std::size_t kPidSetPoint = 6, kPidKp = 7, kPidKi = 11, kPidKd = 15, kPidDelay = 29;
inline constexpr std::size_t kPidThreshold80 = 30, kPidThreshold100 = 31, kPidThresholdDelay = 32;

inline constexpr std::size_t kSensorNumber = 116;
inline constexpr std::size_t kWeights = 122;  // + 4w
inline constexpr int kMaxWeight = 19;
inline constexpr int kReportedWeights = 12;
static_assert(kWeights + 4 * (kMaxWeight + 1) == kCurveSize, "the weights end the record");
}  // namespace curve

namespace output {
inline constexpr std::size_t kSensorIndex = 0, kEffectiveType = 2, kEffectivePwm = 3;
}  // namespace output

// Block offset of curve id's record (outside the block for a bad id).
inline constexpr long long curveOffset(long long id) {
    return static_cast<long long>(kCurvesOffset) + static_cast<long long>(kCurveSize) * id;
}

inline bool insideBlock(long long offset, long long length) {
    // Checked in 64 bits first: size_t is 32 bits on the board.
    return offset >= 0 && length >= 0 && offset <= static_cast<long long>(kSharedBlockSize) &&
           length <= static_cast<long long>(kSharedBlockSize) &&
           insideSharedBlock(static_cast<std::size_t>(offset), static_cast<std::size_t>(length));
}

}  // namespace qrx::fancurve
