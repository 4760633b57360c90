// Whole numbers from float readings, worked out from the float's bits.
//
// The board has no FPU: every float compare or conversion is a library call
// there. The readers only need the whole part of a non-negative reading and
// whether its fraction reaches one half; both follow from the exponent and
// the mantissa with integer operations, giving exactly what the float
// arithmetic gives.
#pragma once

#include <cstdint>
#include <cstring>

namespace qrx::floatbits {

inline constexpr std::uint64_t kTooLarge = UINT64_MAX;

// floor(2 * value) for 0 <= value < 2^32 (so bit 0 is the half bit); 0 for
// NaN and negative values; kTooLarge from 2^32 on, infinity included.
inline std::uint64_t twiceFloor(float value) {
    std::uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    if (bits >> 31) return 0;
    const unsigned exponent = (bits >> 23) & 0xFFu;
    const std::uint32_t fraction = bits & 0x7FFFFFu;
    if (exponent == 0xFFu) return fraction != 0 ? 0 : kTooLarge;
    if (exponent >= 127 + 32) return kTooLarge;
    if (exponent == 0) return 0;  // subnormal: far below one half
    // value = mantissa x 2^(exponent - 150), so 2 x value = mantissa x 2^(exponent - 149).
    const std::uint64_t mantissa = fraction | 0x800000u;
    const int shift = static_cast<int>(exponent) - 149;
    if (shift >= 0) return mantissa << shift;
    return -shift >= 64 ? 0 : mantissa >> -shift;
}

// Toward zero; NaN and negative values give 0, 2^32 and more all ones.
inline std::uint32_t truncatedSaturated(float value) {
    const std::uint64_t twice = twiceFloor(value);
    return twice == kTooLarge ? UINT32_MAX : static_cast<std::uint32_t>(twice >> 1);
}

// floor(value + 0.5); NaN and negative values give 0, 2^32 and more all ones.
inline std::uint32_t roundedHalfUpSaturated(float value) {
    const std::uint64_t twice = twiceFloor(value);
    return twice == kTooLarge ? UINT32_MAX : static_cast<std::uint32_t>((twice + 1) >> 1);
}

// The truncated value plus one when the fraction reaches 0.5, as the power
// history has always rounded: the plus one wraps a reading above 2^32 to 0.
inline std::uint32_t roundedHalfUpWrapped(float value) {
    if (twiceFloor(value) == kTooLarge) return value == 4294967296.0f ? UINT32_MAX : 0;
    return roundedHalfUpSaturated(value);
}

}  // namespace qrx::floatbits
