// Float-to-integer conversions of the device readers.
//
// The board converts with the ARM EABI helpers, which saturate: NaN and
// negative values give 0, values too large for 32 bits give all ones. The
// same rule is written out here so the host gives the board's bytes and no
// conversion is ever undefined.
#pragma once

#include <cstdint>

namespace qrx {

inline std::uint32_t toUnsignedSaturated(double value) {
    if (!(value >= 0.0)) return 0;
    if (value >= 4294967296.0) return 0xFFFFFFFFu;
    return static_cast<std::uint32_t>(value);
}

// Toward zero, saturated at the int range.
inline int truncatedInt(double value) {
    if (value != value) return 0;
    if (value >= 2147483648.0) return INT32_MAX;
    if (value <= -2147483649.0) return INT32_MIN;
    return static_cast<int>(value);
}

// Widened to double, plus 0.5, truncated, low 16 bits.
inline std::uint16_t rounded16(float value) {
    return static_cast<std::uint16_t>(toUnsignedSaturated(static_cast<double>(value) + 0.5));
}

// Multiplied by 100 in single precision, truncated, low 16 bits.
inline std::uint16_t hundredthsTruncated16(float value) {
    float scaled = value * 100.0f;
    return static_cast<std::uint16_t>(toUnsignedSaturated(static_cast<double>(scaled)));
}

}  // namespace qrx
