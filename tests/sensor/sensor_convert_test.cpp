// SDR conversion, the result-exponent mapping and the averaging helper.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "quorix_common_interface.h"

namespace {

// The mapping written out as a table, independent of the library's rule.
constexpr int kMirroredExponent[16] = {0, 7, 6, 5, 4, 3, 2, 1, -8, -7, -6, -5, -4, -3, -2, -1};

TEST(ResultExponent, MapsEveryNibble) {
    for (int n = 0; n < 16; ++n) EXPECT_EQ(TO_R_EXP(n), kMirroredExponent[n]) << n;
    // Only the low nibble counts.
    EXPECT_EQ(TO_R_EXP(0x21), 7);
    EXPECT_EQ(TO_R_EXP(0xF8), -8);
    EXPECT_EQ(TO_R_EXP(-1), -1);
}

TEST(SdrConvert, TableOfCases) {
    const struct {
        int raw, m, b;
        unsigned char exponents;
        double expected;
    } cases[] = {
        {100, 2, 5, 0x00, 205.0},
        {100, 2, 5, 0x01, 250.0},                           // K1 = 1
        {100, 2, 0, 0xF0, 20.0},                            // R = -1
        {100, 2, 0, 0x10, 2000000000.0},                    // R nibble 1 is mirrored to 7
        {100, 2, 0, 0x70, 2000.0},                          // R nibble 7 gives 1
        {100, 2, 0, 0x80, 200e-8},                          // R = -8
        {0x1234, 3, -7, 0xE2, (0x1234 * 3 - 700) / 100.0},  // R = -2, K1 = 2
        {-40, 1, 0, 0x00, -40.0},                           // negative reading
        {25, -4, 3, 0x0F, -100 + 3e15},                     // K1 15 is taken unsigned, not as -1
        {7, 1, -1, 0x08, 7 - 1e8},                          // K1 8 is 8, not -8
        {1, 1, 1, 0x17, (1 + 1e7) * 1e7},                   // large exponents on both sides
        {0x10000, 0x10000, 0, 0x00, 0.0},                   // the 32-bit product wraps to 0
        {0x7FFFFFFF, 2, 0, 0x00, -2.0},                     // and to a negative value
    };
    for (const auto &c : cases) {
        const double got = SdrConvertSensorReading(c.raw, c.m, c.b, c.exponents);
        EXPECT_NEAR(got, c.expected, std::fabs(c.expected) * 1e-12)
            << c.raw << " " << c.m << " " << c.b << " 0x" << std::hex << int(c.exponents);
    }
}

// The library takes its powers of ten from a table; the formula written out
// with pow() must give the very same bits for every exponent byte.
TEST(SdrConvert, BitIdenticalToPowForEveryExponentByteOverAGrid) {
    const int raws[] = {0, 1, -1, 0x56, -0x1234, 255, INT_MAX, INT_MIN};
    const int ms[] = {1, -0x12, 0x3FF, -512, 0x10001};
    const int bs[] = {0, 0x34, -0x1FF, 511, -1};
    int mismatches = 0;
    for (int e = 0; e < 256; ++e)
        for (int raw : raws)
            for (int m : ms)
                for (int b : bs) {
                    const auto product =
                        static_cast<std::int32_t>(static_cast<std::uint32_t>(raw) * static_cast<std::uint32_t>(m));
                    const double expected = (static_cast<double>(product) + b * std::pow(10.0, e & 0x0F)) *
                                            std::pow(10.0, kMirroredExponent[e >> 4]);
                    const double got = SdrConvertSensorReading(raw, m, b, static_cast<unsigned char>(e));
                    if (std::memcmp(&got, &expected, sizeof got) != 0 && ++mismatches <= 5)
                        ADD_FAILURE() << "e=0x" << std::hex << e << std::dec << " raw=" << raw << " m=" << m
                                      << " b=" << b << ": " << got << " != " << expected;
                }
    EXPECT_EQ(mismatches, 0);
}

TEST(Average, DropsOneSmallestAndOneLargestAboveTwoValues) {
    const struct {
        std::vector<float> values;
        float expected;
    } cases[] = {
        {{1, 2, 3, 100}, 2.5f},    {{4, 6}, 5.0f},          {{7}, 7.0f},
        {{5, 5, 5}, 5.0f},                                  // ties: one of each extreme goes
        {{-10, 3, 3.5f, 0}, 1.5f}, {{100, 1, 2, 3}, 2.5f},  // extremes at either end
        {{2, 9, 9, 1, 1}, 4.0f},   {{-2.5f, -7.5f}, -5.0f},
    };
    for (const auto &c : cases) {
        float out = -1.0f;
        EXPECT_FLOAT_EQ(GetAveValue(c.values.data(), static_cast<int>(c.values.size()), &out), c.expected);
        EXPECT_FLOAT_EQ(out, c.expected);
    }
}

TEST(Average, EmptyInputIsNotANumber) {
    const float one = 1.0f;
    float out = 0.0f;
    EXPECT_TRUE(std::isnan(GetAveValue(&one, 0, &out)));
    EXPECT_TRUE(std::isnan(out));
    out = 0.0f;
    EXPECT_TRUE(std::isnan(GetAveValue(nullptr, 3, &out)));
    EXPECT_TRUE(std::isnan(out));
}

TEST(Average, WorksWithoutAnOutPointerAndKeepsSinglePrecision) {
    const float values[] = {0.1f, 0.2f, 0.3f, 0.4f};
    // (0.1 + 0.2 + 0.3 + 0.4 - 0.1 - 0.4) / 2 summed in float.
    float sum = 0.0f;
    for (float v : values) sum += v;
    EXPECT_EQ(GetAveValue(values, 4, nullptr), (sum - 0.1f - 0.4f) / 2.0f);
    EXPECT_EQ(GetAveValue(values, -2, nullptr), 0.0f);  // no values, divided by a negative count
}

}  // namespace
