// The disk sensor over multi-scan sequences, each in a fresh child: its state lives in the calling process.
#include <sys/msg.h>

#include <cstdio>
#include <cstring>

#include "quorix_test.h"

namespace {

using qtest::block;
constexpr const char *kIpmiMainPipe = "/var/quorix_ipmimain_pipe";

struct Disk { bool rear; int index; unsigned char presence, status; };
std::size_t at(const Disk &d) { return (d.rear ? 39217 : 49) + 136 * d.index; }
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
    block().fill(49, 0, 39168 + 24480);
    block().setU8(119097, static_cast<unsigned char>(sequence.front));
    block().setU8(119098, static_cast<unsigned char>(sequence.rear));
    for (std::size_t bp = 119099; bp < 119099 + 1470 * 13; bp += 1470)
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

class DiskSensor : public qtest::BoundTest {};

TEST_F(DiskSensor, EventsFollowTheSixScanRule) {
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
