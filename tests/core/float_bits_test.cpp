// Whole numbers from float bits against the float arithmetic they replace,
// over every exponent and a spread of mantissas, on the host and the board.
#include <gtest/gtest.h>

#include <cstring>
#include <limits>

#include "core/float_bits.h"

namespace {

std::uint32_t truncatedByDouble(double value) {
    return !(value >= 0.0) ? 0 : value >= 4294967296.0 ? UINT32_MAX : static_cast<std::uint32_t>(value);
}

std::uint32_t wrappedByFloat(float value) {
    std::uint32_t truncated = !(value > 0.0f) ? 0 : value >= 4294967296.0f ? UINT32_MAX : static_cast<std::uint32_t>(value);
    return value - static_cast<float>(truncated) >= 0.5f ? truncated + 1 : truncated;
}

TEST(FloatBits, AgreeWithTheFloatArithmeticTheyReplace) {
    std::vector<float> values = {0.5f, 0.49999997f, 2.5f, 8388607.5f, 4294967040.0f, 4294967296.0f,
                                 std::numeric_limits<float>::quiet_NaN(), -std::numeric_limits<float>::quiet_NaN()};
    for (std::uint32_t bits = 0; bits < 512; ++bits)  // sign and exponent
        for (std::uint32_t mantissa : {0u, 1u, 0x400000u, 0x3FFFFFu, 0x7FFFFFu, 0x155555u, 0x6AAAABu}) {
            const std::uint32_t word = bits << 23 | mantissa;
            values.push_back(0);
            std::memcpy(&values.back(), &word, sizeof word);
        }
    for (float v : values) {
        SCOPED_TRACE(testing::Message() << v);
        EXPECT_EQ(qrx::floatbits::truncatedSaturated(v), truncatedByDouble(static_cast<double>(v)));
        EXPECT_EQ(qrx::floatbits::roundedHalfUpSaturated(v), truncatedByDouble(static_cast<double>(v) + 0.5));
        EXPECT_EQ(qrx::floatbits::roundedHalfUpWrapped(v), wrappedByFloat(v));
    }
}

}  // namespace
