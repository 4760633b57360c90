// MD5 against md5sum; hex text, checksums, bit fields and password protection in place.
#include <sys/stat.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "quorix_test.h"

namespace {

// Stretches of a 1000-byte file: the first read always takes a full chunk (a length of 10
// covers 64 bytes), a length past the end stops there; the library is closed after every digest.
using Md5 = qtest::BoundTest;
TEST_F(Md5, StretchesAgainstMd5sum) {
    std::string data;
    for (int i = 0; i < 1000; ++i) data += static_cast<char>((i * 37 + 11) & 0xFF);
    qtest::writeFile("/tmp/md5.bin", data);
    const struct { long start; unsigned length, covered; } cases[] = {
        {0, 64, 64}, {0, 200, 200}, {0, 1000, 1000}, {100, 128, 128}, {7, 333, 333}, {0, 10, 64}, {500, 5000, 500}};
    for (const auto &c : cases) {
        unsigned char digest[16];
        FILE *f = std::fopen("/tmp/md5.bin", "rb");
        std::fseek(f, c.start, SEEK_SET);
        QuorixCalcMD5Checksum(f, c.length, digest);
        std::fclose(f);
        const auto tool = qtest::runCommand("tail -c +" + std::to_string(c.start + 1) + " /tmp/md5.bin | head -c " +
                                            std::to_string(c.covered) + " | md5sum | head -c 32 | sed 's/../& /g'");
        EXPECT_EQ(qtest::hex(digest, 16) + " ", tool.out) << c.start << "+" << c.length;
        EXPECT_EQ(dl_md5, nullptr);
    }
}

TEST(Checksums, HexTextZeroChecksumAndBitFields) {
    const unsigned char in[] = {0x12, 0x34, 0xAB};
    const struct { int length, capacity, result; std::string buffer; } hexCases[] = {
        {3, 6, 0, std::string("1234ab\0x", 8)}, {3, 5, 1, "xxxxxxxx"}, {0, 0, 0, "xxxxxxxx"}, {-2, 0, 0, "xxxxxxxx"}};
    for (const auto &c : hexCases) {
        std::string out(8, 'x');
        EXPECT_EQ(QuorixConvertHextoStr(in, out.data(), c.length, c.capacity), c.result) << c.length << "/" << c.capacity;
        EXPECT_EQ(out, c.buffer) << c.length << "/" << c.capacity;
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

TEST_F(Secret, RoundTripsAreStableAndTheKeyIsMadeOnceRootOnly) {
    unsigned char field[64] = "auth-Phrase-0x1234", again[64] = "auth-Phrase-0x1234", original[64] = "auth-Phrase-0x1234";
    ASSERT_EQ(std::make_pair(QuorixPwEncrypt(field, 64), QuorixPwEncrypt(again, 64)), std::make_pair(0, 0));
    EXPECT_NE(std::memcmp(field, original, 64), 0);
    EXPECT_EQ(std::memcmp(field, again, 64), 0) << "same key and text give the same stored form";
    ASSERT_EQ(QuorixPwDecrypt(field, 64), 0);
    EXPECT_EQ(std::memcmp(field, original, 64), 0);
    struct stat st {};
    ASSERT_EQ(stat(kKeyFile, &st), 0);
    EXPECT_EQ(std::make_pair(st.st_size, st.st_mode & 0777), std::make_pair(off_t{56}, 0600u));
    char form[64] = {}, back[16] = {};  // the base64 text form for other components
    ASSERT_EQ(QuorixPwEncryptAndCyo("S3cret!pw", form, "device-key", 9), 0);
    ASSERT_EQ(QuorixPwDecryptAndCyo(form, back, "device-key", sizeof back), 0);
    EXPECT_EQ(std::strlen(form), 12u) << "base64 of nine bytes";
    EXPECT_STREQ(back, "S3cret!pw");
    EXPECT_EQ(qtest::captureStdout([&] { EXPECT_EQ(QuorixPwDecryptAndCyo(form, nullptr, "device-key", 16), -1); }),
              "Error in decrypting the password.\n");
}

TEST_F(Secret, InPlaceRefusalsPrintWhyAndTouchNothing) {
    unsigned char empty[8] = {};
    qtest::Bytes big(80, 'a');
    const struct { bool encrypt, damagedKey; unsigned char *buffer; int length; const char *says; } cases[] = {
        {true, false, empty, 8, ""}, {true, false, nullptr, 8, ""},
        {true, false, big.data(), 65, "blowfish encrypt string length should not larger than 64 bit\n"},
        {false, false, big.data(), 65, "\n Error in Decrypting the SNMP auth Password. \n"},
        {true, true, big.data(), 16, "Unable to get the encryption key. quitting...\n"},
        {false, true, big.data(), 16, "Error in getting the encryption key. quitting......\n"}};
    for (const auto &c : cases) {
        if (c.damagedKey) qtest::writeFile(kKeyFile, "short");  // a damaged key is never replaced
        const auto refuse = [&] { EXPECT_EQ((c.encrypt ? QuorixPwEncrypt : QuorixPwDecrypt)(c.buffer, c.length), -1); };
        EXPECT_EQ(qtest::captureStdout(refuse), c.says);
        EXPECT_EQ(big, qtest::Bytes(80, 'a')) << c.says;
        EXPECT_TRUE(c.length != 65 || qtest::fileExists(kKeyFile)) << "the key is fetched before the length test";
    }
    EXPECT_EQ(qtest::readFile(kKeyFile), "short");
    std::remove(kKeyFile);
}

}  // namespace
