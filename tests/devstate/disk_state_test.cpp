#include <climits>
#include <cstring>
#include <map>

#include "quorix_test.h"

namespace {

using qtest::block;
using qtest::Bytes;
constexpr std::size_t kFront = 49, kRear = 39217, kDisk = 136, kFrontSize = 39168, kRearSize = 24480, kBp = 119099;
std::size_t front(int i, std::size_t field) { return kFront + kDisk * i + field; }
std::size_t rear(int i, std::size_t field) { return kRear + kDisk * i + field; }

class DiskState : public qtest::BoundTest {};

TEST_F(DiskState, TableCopies_MoveWholeTablesByTypeAndRefuseOthers) {
    Bytes image = qtest::pattern(kFrontSize + kRearSize, 3), out(kFrontSize + kRearSize + 4, 0xEE);
    for (int type : {0, 3, -1}) {
        EXPECT_EQ(qtest::captureStdout([&] { EXPECT_EQ(WriteHwHDDInfo(image.data(), type), -1); }),
                  "WriteHwHDDInfo,error CpldType:" + std::to_string(type) + "!!\n");
        EXPECT_EQ(QuorixGetHDDInfoFromShareMem(out.data(), type), -1);
    }
    EXPECT_EQ(WriteHwHDDInfo(nullptr, 1) + QuorixGetHDDInfoFromShareMem(nullptr, 2), -2);
    // Rear before front both ways, so a copy longer than its table shows.
    EXPECT_EQ(WriteHwHDDInfo(image.data() + kFrontSize, 2) + WriteHwHDDInfo(image.data(), 1), 0);
    image.resize(image.size() + 16, 0);  // nothing past the rear table
    EXPECT_TRUE(qtest::blockBytes(kFront, image.size()) == image);
    EXPECT_EQ(QuorixGetHDDInfoFromShareMem(&out[kFrontSize], 2) + QuorixGetHDDInfoFromShareMem(&out[0], 1), 0);
    image.resize(kFrontSize + kRearSize), image.resize(out.size(), 0xEE);
    EXPECT_TRUE(out == image);
}

TEST_F(DiskState, NvmeReaders_VisitFirstToLastInclusive) {
    const struct { int disk; unsigned char present, celsius; } disks[] = {
        {0, 1, 40}, {1, 1, 55}, {2, 0, 90}, {3, 1, 47}, {287, 1, 61}, {288, 1, 99}};
    for (const auto &d : disks) block().setU8(front(d.disk, 1), d.present), block().setU8(front(d.disk, 15), d.celsius);
    const struct { int first; unsigned last; int temperature, present; } cases[] = {
        {1, 1, 55, 1}, {2, 2, 0, 0}, {0, 3, 55, 3}, {3, 3, 47, 1}, {4, 2, 0, 0}, {0, 287, 61, 4},
        {287, 288, 99, 2}, {-5, 0, 40, 1}, {0, 0xFFFFFFFFu, 0, 0}, {-3, 0x7FFFFFFFu, 99, 5}};
    for (const auto &c : cases) {
        EXPECT_EQ(GetMaxFrontHDDNVMETemp(c.first, c.last), c.temperature) << c.first << ".." << c.last;
        EXPECT_EQ(GetMaxFrontHDDNVMEPresentNum(c.first, c.last), c.present) << c.first << ".." << c.last;
    }
}

// Disks 0..77 are front records, 78..86 rear ones; an absent disk (presence other than 1) or one beyond: "NULL".
TEST_F(DiskState, SerialNumber_AddressesFrontThenRearRecords) {
    const struct { int disk; std::size_t at; unsigned char presence; int read; } cases[] = {
        {0, front(0, 0), 1, 1}, {77, front(77, 0), 1, 1}, {78, rear(0, 0), 1, 1}, {86, rear(8, 0), 1, 1},
        {87, rear(9, 0), 1, 0}, {5, front(5, 0), 2, 0}, {-1, front(99, 0), 1, 0}, {INT_MAX, front(78, 0), 1, 0}};
    for (const auto &c : cases) {
        const std::string serial = "SN" + std::to_string(c.disk) + std::string(22 - std::to_string(c.disk).size(), 'Z');
        block().setU8(c.at + 1, c.presence), qtest::putText(c.at + 18, serial);
        Bytes out(26, 0xEE);
        EXPECT_EQ(QuorixGetHDDSN(c.disk, out.data()), 0);
        const std::string want = c.read ? serial : std::string("NULL\0", 5);
        EXPECT_EQ(std::string(out.begin(), out.begin() + want.size() + 1), want + "\xEE") << c.disk;
    }
    EXPECT_EQ(QuorixGetHDDSN(0, nullptr), -1);
}

TEST_F(DiskState, NumSupport_AddsTheSlotsOfBackplanesInUse) {
    const struct { int k; unsigned char inUse, slots; } backplanes[] = {
        {0, 1, 12}, {1, 1, 255}, {2, 0, 24}, {3, 1, 8}, {8, 1, 4}, {9, 1, 2}};  // 255: unknown, counts 0; 8: rear 0
    for (const auto &b : backplanes) {
        block().setU8(kBp + 1470 * b.k, b.inUse);
        block().setU8(kBp + 1470 * b.k + 558, b.slots);
    }
    const struct { unsigned char frontCount, rearCount; int type, expected; } cases[] = {
        {0, 0, 1, 0}, {1, 0, 1, 12}, {4, 0, 1, 20}, {9, 0, 1, 24}, {0, 2, 2, 6},  // 9 runs into rear record 0
        {0, 1, 2, 4}, {0, 0, 2, 0}, {13, 0, 1, 26}, {255, 255, 1, 26}, {255, 255, 2, 6}};
    for (const auto &c : cases) {
        block().setU8(119097, c.frontCount), block().setU8(119098, c.rearCount);
        EXPECT_EQ(QuorixGetHDDNumSupport(c.type), c.expected) << +c.frontCount << "/" << +c.rearCount << " " << c.type;
    }
    EXPECT_EQ(qtest::captureStdout([] { EXPECT_EQ(QuorixGetHDDNumSupport(3), -1); }),
              "WriteHwHDDInfo,error CpldType:3!!\n");
}

// A later source wins a shared slot.
TEST_F(DiskState, RackFormat_OrdersSourceRecordsBySlotTable) {
    constexpr std::size_t kRec = 114, kName = 76;
    using Sources = std::vector<std::pair<int, const char *>>;  // source record, name
    const struct { int nvmeBackplane; Sources sources; std::map<int, int> from; } cases[] = {  // report slot: source
        {1, {{0, "sSATA2"}, {3, "SATA7"}, {9, "NVME1"}, {10, "NVME8"}, {11, "SATA0"}}, {{2, 0}, {10, 11}, {17, 9}}},
        {0, {{9, "SATA3"}, {4, "SATA5"}, {30, "NVME1"}, {5, "NVME2"}, {6, "sSATA0"}},
         {{0, 6}, {9, 9}, {10, 5}, {11, 30}}},
        {0, {{9, "NVME1"}, {1, "SATA3"}, {2, "SATA4"}, {3, "SATA5"}}, {{9, 9}, {10, 2}, {11, 3}}},
        {0, {}, {}}};  // every name unterminated
    for (const auto &c : cases) {
        block().setU8(119099 + 1470 * 2 + 558, c.nvmeBackplane ? 6 : 0);
        Bytes src(kRec * 32), dst(kRec * 18, 0);
        for (int j = 0; j < 32; ++j) {
            for (std::size_t k = 0; k < kRec; ++k) src[kRec * j + k] = static_cast<unsigned char>(0x80 + j + k);
            std::memset(&src[kRec * j + kName], c.sources.empty() ? 'S' : 0, kRec - kName);
        }
        for (auto [j, name] : c.sources) std::strcpy(reinterpret_cast<char *>(&src[kRec * j + kName]), name);
        EXPECT_EQ(RackHarlo_Formate_DiskInfo(src.data(), dst.data()), 0);
        for (int s = 0; s < 18; ++s) {
            const unsigned char *d = &dst[kRec * s];
            EXPECT_EQ(d[0], s);
            const auto from = c.from.find(s);
            const unsigned char *r = from == c.from.end() ? nullptr : &src[kRec * from->second];
            if (r == nullptr) EXPECT_STREQ(reinterpret_cast<const char *>(d + kName), "N/A") << s;
            else EXPECT_EQ(Bytes(d + 1, d + kRec), Bytes(r + 1, r + kRec)) << s;
        }
    }
    Bytes buf(kRec * 32);
    EXPECT_EQ(RackHarlo_Formate_DiskInfo(nullptr, buf.data()), -1);
    EXPECT_EQ(RackHarlo_Formate_DiskInfo(buf.data(), nullptr), -1);
}

}  // namespace
