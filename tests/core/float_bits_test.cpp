// Whole numbers from float bits against the float arithmetic they replace,
// over every exponent and a spread of mantissas, on the host and the board.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include "core/float_bits.h"

namespace {

std::uint32_t truncatedByDouble(double value) {
    if (!(value >= 0.0)) return 0;
    if (value >= 4294967296.0) return UINT32_MAX;
    return static_cast<std::uint32_t>(value);
}

std::uint32_t wrappedByFloat(float value) {
    std::uint32_t truncated = !(value > 0.0f) ? 0 : value >= 4294967296.0f ? UINT32_MAX : static_cast<std::uint32_t>(value);
    return value - static_cast<float>(truncated) >= 0.5f ? truncated + 1 : truncated;
}

std::vector<float> samples() {
    std::vector<float> values = {0.0f, -0.0f, 0.5f, 0.49999997f, 1.5f, 2.5f, 65535.5f, 8388607.5f, 16777215.0f,
                                 4294967040.0f, 4294967296.0f, 4294967808.0f,
                                 std::numeric_limits<float>::infinity(), -std::numeric_limits<float>::infinity(),
                                 std::numeric_limits<float>::quiet_NaN(), -std::numeric_limits<float>::quiet_NaN(),
                                 std::numeric_limits<float>::denorm_min(), std::numeric_limits<float>::min()};
    const std::uint32_t mantissas[] = {0, 1, 0x400000, 0x3FFFFF, 0x7FFFFF, 0x155555, 0x6AAAAB};
    for (std::uint32_t sign : {0u, 1u})
        for (std::uint32_t exponent = 0; exponent < 256; ++exponent)
            for (std::uint32_t mantissa : mantissas) {
                const std::uint32_t bits = sign << 31 | exponent << 23 | mantissa;
                float value;
                std::memcpy(&value, &bits, sizeof value);
                values.push_back(value);
            }
    return values;
}

TEST(FloatBits, AgreeWithTheFloatArithmeticTheyReplace) {
    using namespace qrx::floatbits;
    for (float v : samples()) {
        SCOPED_TRACE(testing::Message() << v);
        EXPECT_EQ(truncatedSaturated(v), truncatedByDouble(static_cast<double>(v)));
        EXPECT_EQ(roundedHalfUpSaturated(v), truncatedByDouble(static_cast<double>(v) + 0.5));
        EXPECT_EQ(roundedHalfUpWrapped(v), wrappedByFloat(v));
    }
}

}  // namespace
