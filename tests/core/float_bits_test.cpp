// Whole numbers from float bits against the float arithmetic they replace,
// over every exponent and a spread of mantissas, on the host and the board.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "core/float_bits.h"

namespace {

std::uint32_t truncatedByDouble(double value) {
    return !(value >= 0.0) ? 0 : value >= 4294967296.0 ? UINT32_MAX : static_cast<std::uint32_t>(value);
}

TEST(FloatBits, AgreeWithTheFloatArithmeticTheyReplace) {
    using namespace qrx::floatbits;
    // Every exponent with edge and spread mantissas (zeros, infinities, NaNs, subnormals and
    // the 2^32 bound among them), and ties that no mantissa row hits.
    std::vector<float> samples = {2.5f, 65535.5f};
    const std::uint32_t mantissas[] = {0, 1, 0x400000, 0x3FFFFF, 0x7FFFFF, 0x155555, 0x6AAAAB};
    for (std::uint32_t sign : {0u, 1u})
        for (std::uint32_t exponent = 0; exponent < 256; ++exponent)
            for (std::uint32_t mantissa : mantissas) {
                const std::uint32_t bits = sign << 31 | exponent << 23 | mantissa;
                std::memcpy(&samples.emplace_back(), &bits, sizeof bits);
            }
    for (float v : samples) {
        SCOPED_TRACE(testing::Message() << v);
        const std::uint32_t truncated = truncatedByDouble(v);
        EXPECT_EQ(truncatedSaturated(v), truncated);
        EXPECT_EQ(roundedHalfUpSaturated(v), truncatedByDouble(static_cast<double>(v) + 0.5));
        EXPECT_EQ(roundedHalfUpWrapped(v), v - static_cast<float>(truncated) >= 0.5f ? truncated + 1 : truncated);
    }
}

}  // namespace
