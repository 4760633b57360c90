// Offsets of the fan-curve region, written out for the tests.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "quorix_common_interface.h"

namespace ftest {

inline constexpr std::size_t kBlockSize = 0x640000;
inline constexpr std::size_t kCurves = 0x618FF7;
inline constexpr std::size_t kCurveSize = 202;
inline constexpr std::size_t kCurveCount = 0x618FF4;
inline constexpr std::size_t kPwmCount = 0xFF26;
inline constexpr std::size_t kFinalPwm = 0x61C277;
inline constexpr std::size_t kRaise = 0x61C28D;
inline constexpr std::size_t kOutputs = 0x622252;

inline unsigned char *block() {
    return static_cast<unsigned char *>(intf_quorix_mem);
}
inline unsigned char *curve(long long id) {
    return block() + kCurves + kCurveSize * id;
}

inline void putFloat(unsigned char *at, float v) {
    std::uint32_t bits;
    std::memcpy(&bits, &v, 4);
    for (int i = 0; i < 4; ++i) at[i] = static_cast<unsigned char>(bits >> (8 * i));
}

}  // namespace ftest
