// Digests and checksums against independent tools and formulas, and password
// protection against the openssl command line.
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include "quorix_test.h"

namespace {

std::string shell(const std::string &command) {
    return qtest::runCommand(command).out;
}

std::string md5Of(const std::string &path, long start, unsigned length) {
    unsigned char digest[16];
    std::memset(digest, 0xEE, sizeof digest);
    FILE *f = std::fopen(path.c_str(), "rb");
    std::fseek(f, start, SEEK_SET);
    QuorixCalcMD5Checksum(f, length, digest);
    std::fclose(f);
    std::string text = qtest::hex(digest, sizeof digest);
    text.erase(std::remove(text.begin(), text.end(), ' '), text.end());
    return text;
}

using Md5 = qtest::BoundTest;

TEST_F(Md5, StretchesOfAFileAgainstMd5sumAndTheLibraryClosesAfterUse) {
    const std::string path = "/tmp/md5-input.bin";
    std::string data;
    for (int i = 0; i < 1000; ++i) data += static_cast<char>((i * 37 + 11) & 0xFF);
    qtest::writeFile(path, data);
    // {start, length, bytes md5sum sees}: the first read takes a full chunk; the end of the file stops it.
    const struct { long start; unsigned length, counted; } cases[] = {
        {0, 64, 64}, {0, 200, 200}, {0, 1000, 1000}, {100, 128, 128}, {7, 333, 333}, {900, 100, 100}, {0, 10, 64},
        {500, 5000, 500}};
    for (const auto &c : cases) {
        const std::string tool = shell("tail -c +" + std::to_string(c.start + 1) + " " + path + " | head -c " +
                                       std::to_string(c.counted) + " | md5sum");
        EXPECT_EQ(md5Of(path, c.start, c.length), tool.substr(0, 32)) << c.start << "+" << c.length;
    }
    EXPECT_EQ(dl_md5, nullptr) << "the digest library is closed after use";
}

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
    // Pack and deposit against the bit loop written out.
    for (unsigned mask : {0x00u, 0x0Fu, 0x81u, 0xE0u, 0x5Au, 0xFFu}) {
        for (unsigned v = 0; v < 256; ++v) {
            unsigned packed = 0, deposited = 0;
            for (unsigned bit = 0, n = 0; bit < 8; ++bit) {
                if (!(mask >> bit & 1)) continue;
                packed |= (v >> bit & 1) << n;
                deposited |= (v >> n & 1) << bit;
                ++n;
            }
            const auto value = static_cast<unsigned char>(v), m = static_cast<unsigned char>(mask);
            EXPECT_EQ(QuorixGetBits(value, m), packed) << v << "/" << mask;
            EXPECT_EQ(QuorixSetBits(m, value), deposited) << v << "/" << mask;
        }
    }
}

constexpr const char *kKeyFile = "/etc/quorix/encrypt.key";

class Secret : public qtest::BoundTest {
protected:
    void TearDown() override {
        protection(true);
        BoundTest::TearDown();
    }
    static void protection(bool on) {
        qtest::writeFile("/etc/quorix/features",
                         std::string("# build features\nCONFIG_FEATURE_ENABLE_USERPSWD_ENCRYPTION=") + (on ? "y\n" : "n\n"));
    }
};

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

TEST_F(Secret, ProtectionOffKeepsPlainTextAndMakesNoKey) {
    protection(false);
    unsigned char buf[80] = "plain-secret", empty[4] = {};
    EXPECT_EQ(QuorixPwEncrypt(buf, 65), 0);
    EXPECT_EQ(QuorixPwEncrypt(buf, 12), 0);
    EXPECT_EQ(QuorixPwDecrypt(buf, 12), 0);
    EXPECT_STREQ(reinterpret_cast<char *>(buf), "plain-secret");
    EXPECT_EQ(QuorixPwEncrypt(empty, 4), -1) << "emptiness is tested before the feature";
    char out[8] = {}, back[8] = "zz";
    EXPECT_EQ(QuorixPwEncryptAndCyo("Secr3t", out, "key", 6) + QuorixPwDecryptAndCyo("AAAA", back, "key", sizeof back), 0);
    EXPECT_EQ(std::string(out) + back, "zz") << "neither side writes";
    EXPECT_FALSE(qtest::fileExists(kKeyFile));
}

TEST_F(Secret, Base64FormMatchesTheOpensslToolAndRoundTrips) {
    const std::string plain = "Smtp-Passw0rd-1234";
    char out[64] = {}, back[32];
    ASSERT_EQ(QuorixPwEncryptAndCyo(plain.c_str(), out, "0123456789abcdef", static_cast<int>(plain.size())), 0);
    EXPECT_EQ(std::string(out), shell("printf '%s' '" + plain + "' | openssl enc -bf-cfb -provider legacy -provider default"
                                      " -K 30313233343536373839616263646566 -iv 5152582d42464956 | base64 -w0"));
    std::memset(back, 'z', sizeof back);
    ASSERT_EQ(QuorixPwDecryptAndCyo(out, back, "0123456789abcdef", sizeof back), 0);
    EXPECT_EQ(std::string(back, sizeof back), plain + std::string(sizeof back - plain.size(), '\0'));
}

TEST_F(Secret, Base64RefusalsPrintWhyAndLeaveAnEmptyText) {
    const std::string huge(400, 'A');  // its decoded form would not fit the cipher buffer
    const struct { bool encrypt; const char *text, *key; int length; const char *says; } cases[] = {
        {true, "", "k", 1, "OriginPwd error. quitting...\n"},
        {true, "abc", "", 3, "the encryption key input error. quitting...\n"},
        {true, "abc", "k", 0, "Error in encrypting the  password.\n"},
        {false, "", "k", 16, "the encryption Password input error. quitting...\n"},
        {false, "QUJD", nullptr, 16, "the encryption key input error. quitting...\n"},
        {false, "not base64!", "k", 16, "Error in decrypting the password.\n"},
        {false, huge.c_str(), "k", 16, "the encryption Password input error. quitting...\n"}};
    for (const auto &c : cases) {
        char out[16];
        std::memset(out, 'z', sizeof out);
        int result = 0;
        EXPECT_EQ(qtest::captureStdout([&] {
                      result = c.encrypt ? QuorixPwEncryptAndCyo(c.text, out, c.key, c.length)
                                         : QuorixPwDecryptAndCyo(c.text, out, c.key, c.length);
                  }),
                  c.says);
        EXPECT_EQ(result, -1) << c.says;
        if (!c.encrypt) {
            EXPECT_EQ(std::string(out, 16), std::string(16, '\0')) << "a refused decryption leaves an empty text";
        }
    }
}

}  // namespace
