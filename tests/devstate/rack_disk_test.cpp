// Rack disk report: slot lookup and the ordering of the 32 source records
// with each of the three slot tables and their overwrite rule.
#include <cstring>
#include <string>
#include <vector>

#include "quorix_test.h"

namespace {

constexpr std::size_t kRec = 114;
constexpr std::size_t kName = 76;

using Records = std::vector<unsigned char>;

// Source record j: its name, then bytes that tell the record apart.
void putSource(Records &src, int j, const std::string &name) {
    unsigned char *r = src.data() + kRec * j;
    for (std::size_t k = 0; k < kRec; ++k) r[k] = static_cast<unsigned char>(0x80 + j + k);
    std::memset(r + kName, 0, kRec - kName);
    std::memcpy(r + kName, name.c_str(), name.size() + 1);
}

std::string nameAt(const Records &dst, int k) { return reinterpret_cast<const char *>(dst.data() + kRec * k + kName); }

// Destination record s filled from source record j.
void expectFrom(const Records &dst, int s, const Records &src, int j) {
    const unsigned char *d = dst.data() + kRec * s;
    const unsigned char *r = src.data() + kRec * j;
    EXPECT_EQ(d[0], s);
    EXPECT_EQ(std::vector<unsigned char>(d + 1, d + kRec), std::vector<unsigned char>(r + 1, r + kRec))
        << "slot " << s << " from source " << j;
}

class RackDisk : public qtest::BoundTest {
protected:
    Records src = Records(kRec * 32, 0);
    Records dst = Records(kRec * 18, 0);
    void useNvmeBackplane() { qtest::block().setU8(119099 + 1470 * 2 + 558, 6); }
};

TEST_F(RackDisk, GetSlot_MatchesWholeNamesInOrder) {
    unsigned char table[4 * 9] = {};
    const char *names[] = {"SATA1", "SATA10", "SATA1", "ABCDEFGH"};
    const unsigned char slots[] = {3, 7, 9, 12};
    for (int i = 0; i < 4; ++i) {
        std::memcpy(table + 9 * i, names[i], std::strlen(names[i]));
        table[9 * i + 8] = slots[i];
    }
    struct Case {
        const char *name;
        int count, slot;
    } cases[] = {{"SATA1", 4, 3},  {"SATA10", 4, 7}, {"SATA", 4, 255}, {"ABCDEFGH", 4, 12}, {"ABCDEFGHI", 4, 255},
                 {"SATA10", 1, 255}, {"SATA1", 0, 255}, {"SATA1", -3, 255}};
    for (const Case &c : cases) EXPECT_EQ(RackHarlo_Get_Slot(c.name, table, c.count), c.slot) << c.name << " " << c.count;
    EXPECT_EQ(RackHarlo_Get_Slot(nullptr, table, 4), 255);
    EXPECT_EQ(RackHarlo_Get_Slot("SATA1", nullptr, 4), 255);
}

TEST_F(RackDisk, Format_TwentyTwoEntryTableForAnNvmeBackplane) {
    useNvmeBackplane();
    putSource(src, 0, "sSATA2");
    putSource(src, 3, "SATA7");
    putSource(src, 9, "NVME1");   // also slot 17: the later record wins
    putSource(src, 10, "NVME8");
    putSource(src, 11, "SATA0");  // also slot 10: the later record wins
    putSource(src, 20, "BOGUS");
    EXPECT_EQ(RackHarlo_Formate_DiskInfo(src.data(), dst.data()), 0);
    expectFrom(dst, 2, src, 0);
    expectFrom(dst, 17, src, 9);
    expectFrom(dst, 10, src, 11);
    for (int k : {1, 3, 4, 5, 6, 7, 8, 9, 11, 12, 13, 14, 15, 16}) {
        EXPECT_EQ(dst[kRec * k], k);
        EXPECT_EQ(nameAt(dst, k), "N/A") << k;
    }
    // Record 0 keeps its own number and gets "N/A" because its byte 2 is 0.
    EXPECT_EQ(dst[0], 0);
    EXPECT_EQ(nameAt(dst, 0), "N/A");
}

TEST_F(RackDisk, Format_FourteenEntryTableWhenRecordNineIsNotNvme1) {
    putSource(src, 9, "SATA3");
    putSource(src, 4, "SATA5");
    putSource(src, 30, "NVME1");  // shares slot 11 with SATA5
    putSource(src, 5, "NVME2");
    putSource(src, 6, "sSATA0");
    EXPECT_EQ(RackHarlo_Formate_DiskInfo(src.data(), dst.data()), 0);
    expectFrom(dst, 9, src, 9);
    expectFrom(dst, 11, src, 30);
    expectFrom(dst, 10, src, 5);
    expectFrom(dst, 0, src, 6);  // byte 2 is non-zero: record 0 keeps its name
    EXPECT_EQ(nameAt(dst, 0), "sSATA0");
    for (int k = 12; k < 18; ++k) EXPECT_EQ(nameAt(dst, k), "N/A") << k;
}

TEST_F(RackDisk, Format_TwelveEntryTableHasNoSata3) {
    putSource(src, 9, "NVME1");
    putSource(src, 1, "SATA3");
    putSource(src, 2, "SATA4");
    putSource(src, 3, "SATA5");
    EXPECT_EQ(RackHarlo_Formate_DiskInfo(src.data(), dst.data()), 0);
    expectFrom(dst, 9, src, 9);
    expectFrom(dst, 10, src, 2);
    expectFrom(dst, 11, src, 3);
    for (int k : {1, 2, 3, 4, 5, 6, 7, 8, 12, 13, 14, 15, 16, 17}) EXPECT_EQ(nameAt(dst, k), "N/A") << k;
}

TEST_F(RackDisk, Format_UnterminatedNamesMatchNothingAndNullsAreRefused) {
    for (int j = 0; j < 32; ++j) {
        putSource(src, j, "x");
        std::memset(src.data() + kRec * j + kName, 'S', kRec - kName);  // no terminator anywhere
    }
    EXPECT_EQ(RackHarlo_Formate_DiskInfo(src.data(), dst.data()), 0);
    for (int k = 0; k < 18; ++k) EXPECT_EQ(nameAt(dst, k), "N/A") << k;
    EXPECT_EQ(RackHarlo_Formate_DiskInfo(nullptr, dst.data()), -1);
    EXPECT_EQ(RackHarlo_Formate_DiskInfo(src.data(), nullptr), -1);
}

}  // namespace
