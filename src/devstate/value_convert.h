// Float-to-integer conversions of the device readers.
//
// The board converts with the ARM EABI helpers, which saturate: NaN and
// negative values give 0, values too large for 32 bits give all ones. The
// same rule is written out here so the host gives the board's bytes and no
// conversion is ever undefined.
#pragma once

#include <cstdint>

#include "core/float_bits.h"

namespace qrx {

// Toward zero, saturated at the int range.
inline int truncatedInt(double value) {
    if (value != value) return 0;
    if (value >= 2147483648.0) return INT32_MAX;
    if (value <= -2147483649.0) return INT32_MIN;
    return static_cast<int>(value);
}

// Widened to double, plus 0.5, truncated, low 16 bits: floor(value + 0.5),
// which the float's bits give without a soft-float call.
inline std::uint16_t rounded16(float value) {
    return static_cast<std::uint16_t>(floatbits::roundedHalfUpSaturated(value));
}

// Multiplied by 100 in single precision, truncated, low 16 bits.
inline std::uint16_t hundredthsTruncated16(float value) {
    return static_cast<std::uint16_t>(floatbits::truncatedSaturated(value * 100.0f));
}

}  // namespace qrx
