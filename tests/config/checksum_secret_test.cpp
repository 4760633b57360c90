// Hex text, checksums and bit fields against formulas written out, and
// password protection in place.
#include <sys/stat.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "quorix_test.h"

namespace {

TEST(Checksums, HexTextZeroChecksumAndBitFields) {
    const unsigned char in[] = {0x12, 0x34, 0xAB};
    const struct { int length, capacity, result; std::string buffer; } hexCases[] = {
        {3, 6, 0, std::string("1234ab\0x", 8)}, {3, 5, 1, "xxxxxxxx"}, {0, 0, 0, "xxxxxxxx"}, {-2, 0, 0, "xxxxxxxx"}};
    for (const auto &c : hexCases) {
        char out[8];
        std::memset(out, 'x', sizeof out);
        EXPECT_EQ(QuorixConvertHextoStr(in, out, c.length, c.capacity), c.result) << c.length << "/" << c.capacity;
        EXPECT_EQ(std::string(out, 8), c.buffer) << c.length << "/" << c.capacity;
    }
    const unsigned char bytes[] = {0x20, 0x81, 0x00, 0xFF, 0xFF, 0x02, 0x01};
    const struct { int start, length; unsigned char sum; } sums[] = {{0, 3, 0x5F}, {0, 0, 0}, {0, -4, 0}, {3, 3, 0}, {6, 1, 0xFF}};
    for (const auto &c : sums) EXPECT_EQ(QuorixCalculateZeroChksum(bytes + c.start, c.length), c.sum) << c.start;
    // {value, mask, packed}: pack gathers the masked bits low; deposit spreads them back.
    const struct { unsigned char value, mask, packed; } bits[] = {
        {0xB0, 0xE0, 0x05}, {0xFF, 0x0F, 0x0F}, {0xA5, 0x00, 0x00}, {0x81, 0x81, 0x03}, {0x5A, 0xFF, 0x5A}, {0x80, 0x81, 0x02}};
    for (const auto &c : bits) {
        EXPECT_EQ(QuorixGetBits(c.value, c.mask), c.packed) << int(c.value) << "/" << int(c.mask);
        EXPECT_EQ(QuorixSetBits(c.mask, c.packed), c.value & c.mask) << int(c.value) << "/" << int(c.mask);
    }
}

constexpr const char *kKeyFile = "/etc/quorix/encrypt.key";

using Secret = qtest::BoundTest;

TEST_F(Secret, InPlaceRoundTripIsStableAndTheKeyIsMadeOnceRootOnly) {
    unsigned char field[64] = "auth-Phrase-0x1234", again[64] = "auth-Phrase-0x1234", original[64];
    std::memcpy(original, field, sizeof field);
    ASSERT_EQ(QuorixPwEncrypt(field, 64), 0);
    EXPECT_NE(std::memcmp(field, original, 64), 0);
    ASSERT_EQ(QuorixPwEncrypt(again, 64), 0);
    EXPECT_EQ(std::memcmp(field, again, 64), 0) << "same key and text give the same stored form";
    ASSERT_EQ(QuorixPwDecrypt(field, 64), 0);
    EXPECT_EQ(std::memcmp(field, original, 64), 0);
    struct stat st {};
    ASSERT_EQ(stat(kKeyFile, &st), 0);
    EXPECT_EQ(std::make_pair(st.st_size, st.st_mode & 0777), std::make_pair(off_t{56}, 0600u));
}

TEST_F(Secret, InPlaceRefusalsPrintWhyAndTouchNothing) {
    unsigned char empty[8] = {}, big[80];
    std::memset(big, 'a', sizeof big);
    const struct { bool encrypt, damagedKey; unsigned char *buffer; int length; const char *says; } cases[] = {
        {true, false, empty, 8, ""}, {true, false, nullptr, 8, ""},
        {true, false, big, 65, "blowfish encrypt string length should not larger than 64 bit\n"},
        {false, false, big, 65, "\n Error in Decrypting the SNMP auth Password. \n"},
        {true, true, big, 16, "Unable to get the encryption key. quitting...\n"},
        {false, true, big, 16, "Error in getting the encryption key. quitting......\n"}};
    for (const auto &c : cases) {
        if (c.damagedKey) qtest::writeFile(kKeyFile, "short");  // a damaged key is never replaced
        int result = 0;
        EXPECT_EQ(qtest::captureStdout([&] { result = (c.encrypt ? QuorixPwEncrypt : QuorixPwDecrypt)(c.buffer, c.length); }),
                  c.says);
        EXPECT_EQ(result, -1) << c.says;
        EXPECT_EQ(std::string(reinterpret_cast<char *>(big), 80), std::string(80, 'a')) << c.says;
        EXPECT_TRUE(c.length != 65 || qtest::fileExists(kKeyFile)) << "the key is fetched before the length test";
    }
    EXPECT_EQ(qtest::readFile(kKeyFile), "short");
    std::remove(kKeyFile);
}

}  // namespace
