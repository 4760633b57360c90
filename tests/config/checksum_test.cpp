// MD5 over a stretch of a file (checked against md5sum), hex text, zero
// checksum and bit-field packing.
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "quorix_test.h"

namespace {

std::string hex(const unsigned char *bytes, std::size_t n) {
    std::string out;
    char two[3];
    for (std::size_t i = 0; i < n; ++i) {
        std::snprintf(two, sizeof two, "%02x", bytes[i]);
        out += two;
    }
    return out;
}

// Digest of a byte range by the coreutils tool, independent of the library.
std::string md5sumOf(const std::string &path, std::size_t skip, std::size_t count) {
    std::string cmd =
        "tail -c +" + std::to_string(skip + 1) + " " + path + " | head -c " + std::to_string(count) + " | md5sum";
    std::unique_ptr<FILE, int (*)(FILE *)> p(popen(cmd.c_str(), "r"), pclose);
    char line[128] = {};
    if (!p || std::fgets(line, sizeof line, p.get()) == nullptr) return "";
    return std::string(line, 32);
}

class Md5 : public qtest::BoundTest {
protected:
    void SetUp() override {
        BoundTest::SetUp();
        std::string data;
        for (int i = 0; i < 1000; ++i) data += static_cast<char>((i * 37 + 11) & 0xFF);
        qtest::writeFile(path_, data);
    }
    std::string digestOf(long start, unsigned length) {
        unsigned char digest[16];
        std::memset(digest, 0xEE, sizeof digest);
        FILE *f = std::fopen(path_.c_str(), "rb");
        std::fseek(f, start, SEEK_SET);
        QuorixCalcMD5Checksum(f, length, digest);
        std::fclose(f);
        return hex(digest, sizeof digest);
    }
    const std::string path_ = "/tmp/md5-input.bin";
};

TEST_F(Md5, KnownVectorOfAShortFile) {
    qtest::writeFile("/tmp/fox.txt", "The quick brown fox jumps over the lazy dog");
    unsigned char digest[16] = {};
    FILE *f = std::fopen("/tmp/fox.txt", "rb");
    QuorixCalcMD5Checksum(f, 43, digest);
    std::fclose(f);
    EXPECT_EQ(hex(digest, 16), "9e107d9d372bb6826bd81d3542a419d6");
    EXPECT_EQ(dl_md5, nullptr);
}

TEST_F(Md5, StretchesAgainstMd5sum) {
    const struct {
        long start;
        unsigned length;
    } cases[] = {{0, 64}, {0, 200}, {0, 1000}, {100, 128}, {7, 333}, {900, 100}};
    for (const auto &c : cases) {
        EXPECT_EQ(digestOf(c.start, c.length), md5sumOf(path_, static_cast<std::size_t>(c.start), c.length))
            << c.start << "+" << c.length;
    }
    // The first read always takes a full chunk: a shorter length covers 64 bytes.
    EXPECT_EQ(digestOf(0, 10), md5sumOf(path_, 0, 64));
    // A length beyond the end stops at the end of the file.
    EXPECT_EQ(digestOf(500, 5000), md5sumOf(path_, 500, 500));
    EXPECT_EQ(dl_md5, nullptr);
}

TEST_F(Md5, LibraryHandleOpensOnceAndClosesOnce) {
    // Every entry of the binding table resolves (its names are the library's).
    ASSERT_EQ(QuorixInitializeMd5library(), 0);
    EXPECT_NE(dl_md5, nullptr);
    for (QuorixMd5Fn fn : g_Md5Handle) EXPECT_NE(fn, nullptr);
    EXPECT_EQ(QuorixInitializeMd5library(), 0);
    QuorixCloseMd5Library();
    EXPECT_EQ(dl_md5, nullptr);
    QuorixCloseMd5Library();
    EXPECT_EQ(dl_md5, nullptr);
}

TEST(HexText, CapacityRuleAndTerminatorBeyondIt) {
    const unsigned char in[] = {0x12, 0x34, 0xAB};
    char out[8];
    std::memset(out, 'x', sizeof out);
    EXPECT_EQ(QuorixConvertHextoStr(in, out, 3, 6), 0);
    EXPECT_EQ(std::string(out, 8), std::string("1234ab\0x", 8));
    std::memset(out, 'x', sizeof out);
    EXPECT_EQ(QuorixConvertHextoStr(in, out, 3, 5), 1);
    EXPECT_EQ(std::string(out, 8), "xxxxxxxx");
    EXPECT_EQ(QuorixConvertHextoStr(in, out, 0, 0), 0);
    EXPECT_EQ(QuorixConvertHextoStr(in, out, -2, 0), 0);
    EXPECT_EQ(std::string(out, 8), "xxxxxxxx");
}

TEST(ZeroChecksum, SumsToZeroModulo256) {
    const unsigned char ipmi[] = {0x20, 0x81, 0x00};
    EXPECT_EQ(QuorixCalculateZeroChksum(ipmi, 3), 0x5F);
    EXPECT_EQ(QuorixCalculateZeroChksum(ipmi, 0), 0);
    EXPECT_EQ(QuorixCalculateZeroChksum(ipmi, -4), 0);
    const unsigned char wrap[] = {0xFF, 0xFF, 0x02};
    EXPECT_EQ(QuorixCalculateZeroChksum(wrap, 3), 0x00);
    const unsigned char one[] = {0x01};
    EXPECT_EQ(QuorixCalculateZeroChksum(one, 1), 0xFF);
}

TEST(BitFields, PackAndDeposit) {
    const struct {
        unsigned char value, mask, packed;
    } get[] = {{0xB0, 0xE0, 0x05}, {0xFF, 0x0F, 0x0F}, {0xA5, 0x00, 0x00}, {0x81, 0x81, 0x03}, {0x5A, 0xFF, 0x5A}};
    for (const auto &c : get) EXPECT_EQ(QuorixGetBits(c.value, c.mask), c.packed) << int(c.value) << "/" << int(c.mask);
    const struct {
        unsigned char mask, value, deposited;
    } set[] = {{0xE0, 0x05, 0xA0}, {0x0F, 0xFF, 0x0F}, {0x81, 0x03, 0x81}, {0x81, 0x02, 0x80}, {0x00, 0xFF, 0x00}};
    for (const auto &c : set) EXPECT_EQ(QuorixSetBits(c.mask, c.value), c.deposited) << int(c.mask);
    // Deposit undoes pack for every value under a scattered mask.
    for (unsigned v = 0; v < 256; ++v) {
        auto value = static_cast<unsigned char>(v);
        EXPECT_EQ(QuorixSetBits(0x5A, QuorixGetBits(value, 0x5A)), value & 0x5A);
    }
}

}  // namespace
