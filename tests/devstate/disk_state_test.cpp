// Disk tables, backplane counts, serial numbers, NVMe readers and the count
// of supported disks.
#include <climits>
#include <regex>
#include <string>
#include <vector>

#include "quorix_test.h"

namespace {

using qtest::block;

constexpr std::size_t kFront = 49;
constexpr std::size_t kRear = 39217;
constexpr std::size_t kDisk = 136;
constexpr std::size_t kFrontSize = 39168;
constexpr std::size_t kRearSize = 24480;
constexpr std::size_t kBp = 119099;
constexpr std::size_t kBpSize = 1470;

std::size_t front(int i, std::size_t field) { return kFront + kDisk * i + field; }
std::size_t rear(int i, std::size_t field) { return kRear + kDisk * i + field; }
std::size_t bp(int k, std::size_t field) { return kBp + kBpSize * k + field; }

class DiskState : public qtest::BoundTest {};

std::vector<unsigned char> pattern(std::size_t size, unsigned seed) {
    std::vector<unsigned char> v(size);
    for (std::size_t i = 0; i < size; ++i) v[i] = static_cast<unsigned char>((i * 7 + seed) ^ (i >> 8));
    return v;
}

TEST_F(DiskState, TableCopies_MoveWholeTablesByType) {
    auto frontImage = pattern(kFrontSize, 3);
    auto rearImage = pattern(kRearSize, 11);
    EXPECT_EQ(WriteHwHDDInfo(frontImage.data(), 1), 0);
    EXPECT_EQ(qtest::blockBytes(kFront, kFrontSize), frontImage);
    EXPECT_EQ(qtest::blockBytes(kRear, kRearSize), std::vector<unsigned char>(kRearSize, 0));
    EXPECT_EQ(WriteHwHDDInfo(rearImage.data(), 2), 0);
    EXPECT_EQ(qtest::blockBytes(kRear, kRearSize), rearImage);
    EXPECT_EQ(qtest::blockBytes(kFront, kFrontSize), frontImage);
    EXPECT_EQ(qtest::blockBytes(kRear + kRearSize, 16), std::vector<unsigned char>(16, 0));

    std::vector<unsigned char> out(kFrontSize, 0);
    EXPECT_EQ(QuorixGetHDDInfoFromShareMem(out.data(), 1), 0);
    EXPECT_EQ(out, frontImage);
    std::vector<unsigned char> outRear(kRearSize + 4, 0xEE);
    EXPECT_EQ(QuorixGetHDDInfoFromShareMem(outRear.data(), 2), 0);
    EXPECT_EQ(std::vector<unsigned char>(outRear.begin(), outRear.begin() + kRearSize), rearImage);
    EXPECT_EQ(outRear[kRearSize], 0xEE);
}

TEST_F(DiskState, TableCopies_RefuseNullAndOtherTypes) {
    auto image = pattern(kFrontSize, 5);
    for (int type : {0, 3, -1}) {
        std::string out = qtest::captureStdout([&] { EXPECT_EQ(WriteHwHDDInfo(image.data(), type), -1); });
        EXPECT_EQ(out, "WriteHwHDDInfo,error CpldType:" + std::to_string(type) + "!!\n");
        EXPECT_EQ(QuorixGetHDDInfoFromShareMem(image.data(), type), -1);
    }
    EXPECT_EQ(WriteHwHDDInfo(nullptr, 1), -1);
    EXPECT_EQ(QuorixGetHDDInfoFromShareMem(nullptr, 2), -1);
    EXPECT_EQ(qtest::blockBytes(kFront, kFrontSize), std::vector<unsigned char>(kFrontSize, 0));
}

TEST_F(DiskState, BackplaneCounts_LogAndClampWhenTooLarge) {
    qtest::logToConsole({"QRXMONITOR"});
    struct Case {
        std::size_t offset;
        int (*read)();
        int raw, expected;
        const char *log;
    } cases[] = {
        {119097, QuorixReadFrontHDDBlackPlaneNum, 8, 8, nullptr},
        {119097, QuorixReadFrontHDDBlackPlaneNum, 9, 8, "QuorixReadFrontHDDBlackPlaneNum:backplane num(9) > max num(8)"},
        {119098, QuorixReadRearHDDBlackPlaneNum, 5, 5, nullptr},
        {119098, QuorixReadRearHDDBlackPlaneNum, 255, 5, "QuorixReadRearHDDBlackPlaneNum:backplane num(255) > max num(5)"},
    };
    for (const Case &c : cases) {
        block().setU8(c.offset, static_cast<unsigned char>(c.raw));
        int result = -1;
        std::string out = qtest::captureStdout([&] { result = c.read(); });
        EXPECT_EQ(result, c.expected);
        if (c.log == nullptr) {
            EXPECT_EQ(out, "");
        } else {
            EXPECT_TRUE(std::regex_match(out, std::regex("\\[Critical\\]:<[-0-9T:]+>" +
                                                         std::regex_replace(std::string(c.log), std::regex("[()]"), "\\$&") +
                                                         "\n")))
                << out;
        }
    }
}

TEST_F(DiskState, NvmeReaders_VisitFirstToLastInclusive) {
    const struct {
        int disk;
        unsigned char present, temperature;
    } disks[] = {{0, 1, 40}, {1, 1, 55}, {2, 0, 90}, {3, 1, 47}, {287, 1, 61}, {288, 1, 99}};
    for (const auto &d : disks) {
        block().setU8(front(d.disk, 1), d.present);
        block().setU8(front(d.disk, 15), d.temperature);
    }
    struct Case {
        int first;
        unsigned last;
        int temperature, present;
    } cases[] = {
        {1, 1, 55, 1}, {2, 2, 0, 0},   {0, 3, 55, 3},     {3, 3, 47, 1},          {4, 2, 0, 0},
        {0, 287, 61, 4}, {287, 288, 99, 2}, {-5, 0, 40, 1}, {0, 0xFFFFFFFFu, 0, 0}, {-3, 0x7FFFFFFFu, 99, 5},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(GetMaxFrontHDDNVMETemp(c.first, c.last), c.temperature) << c.first << ".." << c.last;
        EXPECT_EQ(GetMaxFrontHDDNVMEPresentNum(c.first, c.last), c.present) << c.first << ".." << c.last;
    }
}

TEST_F(DiskState, SerialNumber_AddressesFrontThenRearRecords) {
    auto serial = [](const std::string &tag) { return tag + std::string(24 - tag.size(), 'Z'); };
    struct Disk {
        std::size_t at;
        std::string tag;
    } disks[] = {{front(0, 0), "F0"}, {front(77, 0), "F77"}, {rear(0, 0), "R0"}, {rear(8, 0), "R8"}, {front(78, 0), "F78"},
                 {rear(9, 0), "R9"}};
    for (const Disk &d : disks) {
        block().setU8(d.at + 1, 1);
        qtest::putText(d.at + 18, serial(d.tag));
    }
    block().setU8(front(5, 1), 2);
    qtest::putText(front(5, 18), serial("F5"));
    struct Case {
        int disk;
        std::string expected;
    } cases[] = {{0, serial("F0")}, {77, serial("F77")}, {78, serial("R0")}, {86, serial("R8")},
                 {87, std::string("NULL\0", 5)}, {5, std::string("NULL\0", 5)}, {-1, std::string("NULL\0", 5)},
                 {INT_MAX, std::string("NULL\0", 5)}};
    for (const Case &c : cases) {
        std::vector<unsigned char> out(26, 0xEE);
        EXPECT_EQ(QuorixGetHDDSN(c.disk, out.data()), 0);
        EXPECT_EQ(std::string(out.begin(), out.begin() + c.expected.size()), c.expected) << c.disk;
        EXPECT_EQ(out[c.expected.size()], 0xEE) << c.disk;
    }
    EXPECT_EQ(QuorixGetHDDSN(0, nullptr), -1);
}

void putBackplane(int k, unsigned char inUse, unsigned char slots) {
    block().setU8(bp(k, 0), inUse);
    block().setU8(bp(k, 558), slots);
}

TEST_F(DiskState, NumSupport_AddsTheSlotsOfBackplanesInUse) {
    putBackplane(0, 1, 12);
    putBackplane(1, 1, 255);  // unknown counts as 0
    putBackplane(2, 0, 24);   // not in use
    putBackplane(3, 1, 8);
    putBackplane(8, 1, 4);    // rear 0
    putBackplane(9, 1, 2);
    struct Case {
        unsigned char frontCount, rearCount;
        int type, expected;
    } cases[] = {
        {0, 0, 1, 0}, {1, 0, 1, 12}, {4, 0, 1, 20}, {9, 0, 1, 24},  // a count of 9 runs into rear record 0
        {0, 2, 2, 6}, {0, 1, 2, 4},  {0, 0, 2, 0},  {13, 0, 1, 26}, {255, 255, 1, 26}, {255, 255, 2, 6},
    };
    for (const Case &c : cases) {
        block().setU8(119097, c.frontCount);
        block().setU8(119098, c.rearCount);
        EXPECT_EQ(QuorixGetHDDNumSupport(c.type), c.expected)
            << "front " << int(c.frontCount) << " rear " << int(c.rearCount) << " type " << c.type;
    }
}

TEST_F(DiskState, NumSupport_RefusesOtherTypesWithTheWritersLine) {
    int result = 0;
    EXPECT_EQ(qtest::captureStdout([&] { result = QuorixGetHDDNumSupport(3); }), "WriteHwHDDInfo,error CpldType:3!!\n");
    EXPECT_EQ(result, -1);
}

TEST_F(DiskState, BackplanePortAndMonitorState_ReadTheBlock) {
    EXPECT_EQ(RackHarlo_Get_BackPlanePort(), 0);
    putBackplane(8, 1, 6);  // a rear backplane does not count
    EXPECT_EQ(RackHarlo_Get_BackPlanePort(), 0);
    putBackplane(7, 0, 6);
    EXPECT_EQ(RackHarlo_Get_BackPlanePort(), 1);
    block().setU8(138209, 0x5C);
    EXPECT_EQ(QuorixGetHDDSensorMonitorState(), 0x5C);
}

}  // namespace
