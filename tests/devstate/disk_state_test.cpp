#include <sys/msg.h>

#include <climits>
#include <cstdio>
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

TEST_F(DiskState, TableCopiesAndCount_MoveWholeTablesByTypeAndRefuseOthers) {
    Bytes image = qtest::pattern(kFrontSize + kRearSize, 3), out(kFrontSize + kRearSize + 4, 0xEE);
    for (int type : {0, 3, -1}) {
        const std::string refused = "WriteHwHDDInfo,error CpldType:" + std::to_string(type) + "!!\n";
        EXPECT_EQ(qtest::captureStdout([&] { EXPECT_EQ(WriteHwHDDInfo(image.data(), type), -1); }), refused);
        EXPECT_EQ(qtest::captureStdout([&] { EXPECT_EQ(QuorixGetHDDNumSupport(type), -1); }), refused);
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
}

TEST_F(DiskState, RackFormat_OrdersSourceRecordsBySlotTable) {
    constexpr std::size_t kRec = 114, kName = 76;
    using Sources = std::vector<std::pair<int, const char *>>;  // source record, name; a later one wins a slot
    const struct { int nvmeBackplane; Sources sources; std::map<int, int> from; } cases[] = {  // report slot: source
        {1, {{0, "sSATA2"}, {3, "SATA7"}, {9, "NVME1"}, {10, "NVME8"}, {11, "SATA0"}}, {{2, 0}, {10, 11}, {17, 9}}},
        {0, {{9, "SATA3"}, {4, "SATA5"}, {30, "NVME1"}, {5, "NVME2"}, {6, "sSATA0"}},
         {{0, 6}, {9, 9}, {10, 5}, {11, 30}}},
        {0, {{9, "NVME1"}, {1, "SATA3"}, {2, "SATA4"}, {3, "SATA5"}}, {{9, 9}, {10, 2}, {11, 3}}},
        {0, {}, {}}};  // every name unterminated
    for (const auto &c : cases) {
        block().setU8(kBp + 1470 * 2 + 558, c.nvmeBackplane ? 6 : 0);
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

// The disk sensor over multi-scan sequences, each in a fresh child: its state lives in the calling process.
constexpr const char *kIpmiMainPipe = "/var/quorix_ipmimain_pipe";

struct Disk { bool rear; int index; unsigned char presence, status; };
std::size_t at(const Disk &d) { return (d.rear ? kRear : kFront) + kDisk * d.index; }
struct Step { std::vector<Disk> disks; int scans; int frontBackplanes = -1; };
// Per scan: "s<scan> <sensor> +|-<offset>" for a SEL record on the IPMI-main pipe, "i<scan> <sensor> d<disk>" for IDL.
using Transcript = std::vector<std::string>;

std::string sel(const unsigned char *r) {
    const auto assertion = static_cast<unsigned char>(0x6F | (r[7] & 0x80));  // 0x6F asserts, 0xEF deasserts
    const unsigned char want[18] = {0, 0, 0x20, 0, 0, 0x0D, r[6], assertion, r[8], 0xFF};
    return std::memcmp(r, want, 18) ? "bad sel " + qtest::hex(r, 18)
                                     : std::to_string(r[6]) + (r[7] & 0x80 ? " -" : " +") + std::to_string(r[8]);
}

// Request code 0, then the IDL sensor-event record of a disk.
std::string idl(const unsigned char *p) {
    unsigned char want[300] = {0, 0, 0, 0, 0, 0, 0, 0, 0x20, 0, 0, 0, 0, 0, 0, 0, 0x0D, 0, p[18], 0x6F, 1, p[21]};
    const std::string label = "DISK" + std::to_string(p[21]) + "_Status ";
    std::copy(label.begin(), label.end(), want + 23), want[43] = 0x0A;
    if (std::memcmp(p, want, 300) != 0) return "bad idl " + qtest::hex(p, 44);
    return std::to_string(p[18]) + " d" + std::to_string(p[21]);
}

struct Sequence { const char *name; int type, front, rear, slots; std::vector<Step> steps; Transcript out; };

Transcript run(const Sequence &sequence) {
    EXPECT_EQ(QuorixCreatePipe(kIpmiMainPipe), 0);
    qtest::FifoReader pipe(kIpmiMainPipe);
    qtest::removeQueue(12345);
    const int queue = msgget(12345, IPC_CREAT | 0666);
    block().fill(kFront, 0, kFrontSize + kRearSize);
    block().setU8(119097, static_cast<unsigned char>(sequence.front));
    block().setU8(119098, static_cast<unsigned char>(sequence.rear));
    for (std::size_t bp = kBp; bp < kBp + 1470 * 13; bp += 1470)
        block().setU8(bp, 1), block().setU8(bp + 558, static_cast<unsigned char>(sequence.slots));
    const qtest::ChildResult child = qtest::runInChild([&] {
        int scan = 0;
        for (const Step &step : sequence.steps) {
            for (const Disk &d : step.disks) block().setU8(at(d), d.presence), block().setU8(at(d) + 4, d.status);
            if (step.frontBackplanes >= 0) block().setU8(119097, static_cast<unsigned char>(step.frontBackplanes));
            for (int s = 0; s < step.scans; ++s) {
                ++scan;
                if (int rc = QuorixSetHDDSensor(sequence.type); rc != 0) std::printf("r%d %d\n", scan, rc);
                const qtest::Bytes records = pipe.take();
                for (std::size_t i = 0; i + 18 <= records.size(); i += 18)
                    std::printf("s%d %s\n", scan, sel(&records[i]).c_str());
                msqid_ds ds{};
                unsigned char payload[300];
                while (msgctl(queue, IPC_STAT, &ds) == 0 && ds.msg_qnum && !QuorixReadMsgQueue(queue, payload, 300))
                    std::printf("i%d %s\n", scan, idl(payload).c_str());
            }
        }
    });
    EXPECT_TRUE(child.exited && child.status == 0) << child.err;
    return qtest::splitLines(child.out);
}

TEST_F(DiskState, SensorEventsFollowTheSixScanRule) {
    const Sequence cases[] = {
        {"flicker shorter than six scans is ignored", 1, 1, 0, 2,
         {{{{false, 1, 1, 0}}, 5}, {{{false, 1, 0, 0}}, 1}, {{{false, 1, 1, 0}}, 5}, {{}, 1}}, {"s12 150 +0"}},
        {"fault asserted and posted, deasserted when cleared", 1, 1, 0, 4,
         {{{{false, 2, 1, 0}}, 6}, {{{false, 2, 1, 2}}, 5}, {{}, 2}, {{{false, 2, 1, 0}}, 7}},
         {"s6 150 +0", "s12 150 +1", "i12 150 d2", "s19 150 -1"}},
        {"faults counted per disk, asserted on the first", 1, 1, 0, 4,
         {{{{false, 0, 1, 2}, {false, 3, 1, 2}}, 6}, {{{false, 0, 1, 0}}, 6}, {{{false, 3, 1, 0}}, 6}},
         {"s6 150 +1", "s6 150 +0", "i6 150 d0", "i6 150 d3", "s18 150 -1"}},
        {"predictive failure and rebuild", 1, 1, 0, 2,
         {{{{false, 1, 0, 16 | 8}}, 6}, {{{false, 1, 0, 8}}, 6}, {{{false, 1, 0, 0}}, 6}},
         {"s6 150 +2", "s6 150 +7", "s12 150 -2", "s18 150 -7"}},
        {"asserted once on the sixth scan, deasserted once on removal, asserted again", 1, 1, 0, 2,
         {{{{false, 0, 1, 0}}, 6}, {{{false, 0, 0, 0}}, 8}, {{{false, 0, 1, 0}}, 7}},
         {"s6 150 +0", "s12 150 -0", "s20 150 +0"}},
        {"no supported disks deasserts what was asserted", 1, 1, 0, 2, {{{{false, 0, 1, 2 | 16}}, 6}, {{}, 2, 0}},
         {"s6 150 +1", "s6 150 +2", "s6 150 +0", "i6 150 d0", "s7 150 -1", "s7 150 -2", "s7 150 -0"}},
        {"rear table: sensor 151, the front table unread", 2, 0, 1, 3, {{{{true, 2, 1, 2}, {false, 2, 1, 2}}, 6}},
         {"s6 151 +1", "s6 151 +0", "i6 151 d2"}},
        {"other types refused", 0, 1, 0, 2, {{{{false, 0, 1, 0}}, 1}}, {"WriteHwHDDInfo,error CpldType:0!!", "r1 -1"}}};
    for (const auto &c : cases) EXPECT_EQ(run(c), c.out) << c.name;
}

}  // namespace
