// The disk sensor over multi-scan sequences. Its state lives in the calling
// process, so every sequence runs in a fresh child; the child prints, scan
// by scan, the SEL records a reader of the IPMI-main pipe receives and the
// IDL records that reach queue 12345, and the test compares that transcript.
#include <fcntl.h>
#include <sys/msg.h>
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "quorix_test.h"

namespace {

using qtest::block;

constexpr std::size_t kFront = 49;
constexpr std::size_t kRear = 39217;
constexpr std::size_t kDisk = 136;
constexpr std::size_t kBp = 119099;
constexpr std::size_t kBpSize = 1470;
constexpr const char *kIpmiMainPipe = "/var/quorix_ipmimain_pipe";

struct Step {
    std::function<void()> change;  // applied before the step's scans
    int scans;
};

void setFront(int disk, int presence, int status) {
    block().setU8(kFront + kDisk * disk, static_cast<unsigned char>(presence));
    block().setU8(kFront + kDisk * disk + 4, static_cast<unsigned char>(status));
}
void setRear(int disk, int presence, int status) {
    block().setU8(kRear + kDisk * disk, static_cast<unsigned char>(presence));
    block().setU8(kRear + kDisk * disk + 4, static_cast<unsigned char>(status));
}
void useBackplanes(unsigned char frontCount, unsigned char rearCount, unsigned char slots) {
    block().setU8(119097, frontCount);
    block().setU8(119098, rearCount);
    for (int k = 0; k < 13; ++k) {
        block().setU8(kBp + kBpSize * k, 1);
        block().setU8(kBp + kBpSize * k + 558, slots);
    }
}

int idlQueue() { return msgget(12345, IPC_CREAT | 0666); }

void drainIdlQueue() {
    int id = idlQueue();
    unsigned char payload[300];
    msqid_ds ds{};
    while (msgctl(id, IPC_STAT, &ds) == 0 && ds.msg_qnum > 0) QuorixReadMsgQueue(id, payload, sizeof payload);
}

class DiskSensor : public qtest::BoundTest {
protected:
    void SetUp() override {
        BoundTest::SetUp();
        ASSERT_EQ(QuorixCreatePipe(kIpmiMainPipe), 0);
        pipeFd_ = open(kIpmiMainPipe, O_RDONLY | O_NONBLOCK);
        ASSERT_GE(pipeFd_, 0);
        drainIdlQueue();
    }
    void TearDown() override {
        close(pipeFd_);
        BoundTest::TearDown();
    }

    // Runs the steps in a child and returns its transcript.
    std::string run(int cpldType, const std::vector<Step> &steps) {
        int fd = pipeFd_;
        qtest::ChildResult child = qtest::runInChild([&] {
            int scan = 0;
            for (const Step &step : steps) {
                if (step.change) step.change();
                for (int s = 0; s < step.scans; ++s) {
                    ++scan;
                    int rc = QuorixSetHDDSensor(cpldType);
                    if (rc != 0) std::printf("scan %d: result %d\n", scan, rc);
                    unsigned char record[18];
                    while (read(fd, record, sizeof record) == static_cast<ssize_t>(sizeof record))
                        std::printf("scan %d: sel %s\n", scan, qtest::hex(record, sizeof record).c_str());
                    int id = idlQueue();
                    msqid_ds ds{};
                    while (msgctl(id, IPC_STAT, &ds) == 0 && ds.msg_qnum > 0) {
                        unsigned char payload[300];
                        QuorixReadMsgQueue(id, payload, sizeof payload);
                        bool restZero = true;
                        for (std::size_t k = 4 + 40; k < sizeof payload; ++k) restZero = restZero && payload[k] == 0;
                        std::printf("scan %d: idl %s%s\n", scan, qtest::hex(payload, 4 + 40).c_str(),
                                    restZero ? "" : " +");
                    }
                }
            }
        });
        EXPECT_TRUE(child.exited);
        EXPECT_EQ(child.status, 0);
        return child.out;
    }

    int pipeFd_ = -1;
};

// The 18-byte IPMI-main record of a drive-slot SEL event.
std::string sel(int scan, unsigned sensor, bool assert, unsigned offset) {
    unsigned char r[18] = {0, 0, 0x20, 0, 0, 0x0D, static_cast<unsigned char>(sensor),
                           static_cast<unsigned char>(assert ? 0x6F : 0xEF), static_cast<unsigned char>(offset), 0xFF, 0};
    return "scan " + std::to_string(scan) + ": sel " + qtest::hex(r, sizeof r) + "\n";
}

// Request code 0, then the first 40 bytes of the IDL sensor-event record.
std::string idl(int scan, unsigned sensor, int disk) {
    unsigned char p[44] = {};
    unsigned char *r = p + 4;
    r[4] = 0x20;
    r[12] = 0x0D;
    r[14] = static_cast<unsigned char>(sensor);
    r[15] = 0x6F;
    r[16] = 1;
    r[17] = static_cast<unsigned char>(disk);
    std::string label = "DISK" + std::to_string(disk) + "_Status ";
    std::copy(label.begin(), label.end(), r + 19);
    r[39] = 0x0A;
    return "scan " + std::to_string(scan) + ": idl " + qtest::hex(p, sizeof p) + "\n";
}

TEST_F(DiskSensor, Presence_IsTakenOnTheSixthScanAndAssertedOnce) {
    useBackplanes(1, 0, 2);
    std::string out = run(1, {{[] { setFront(0, 1, 0); }, 8}});
    EXPECT_EQ(out, sel(6, 150, true, 0));
}

TEST_F(DiskSensor, Presence_FlickerShorterThanSixScansIsIgnored) {
    useBackplanes(1, 0, 2);
    std::string out = run(1, {{[] { setFront(1, 1, 0); }, 5}, {[] { setFront(1, 0, 0); }, 1}, {[] { setFront(1, 1, 0); }, 5},
                              {nullptr, 1}});
    EXPECT_EQ(out, sel(12, 150, true, 0));
}

TEST_F(DiskSensor, Fault_AssertsAndPostsOnTheSixthScanAndDeassertsWhenCleared) {
    useBackplanes(1, 0, 4);
    std::string out = run(1, {{[] { setFront(2, 1, 0); }, 6},
                              {[] { setFront(2, 1, 2); }, 5},
                              {nullptr, 2},
                              {[] { setFront(2, 1, 0); }, 7}});
    EXPECT_EQ(out, sel(6, 150, true, 0) + sel(12, 150, true, 1) + idl(12, 150, 2) + sel(19, 150, false, 1));
}

TEST_F(DiskSensor, Fault_CountsDisksButAssertsOnlyOnTheFirst) {
    useBackplanes(1, 0, 4);
    std::string out = run(1, {{[] {
                                   setFront(0, 1, 2);
                                   setFront(3, 1, 2);
                               },
                               6},
                              {[] { setFront(0, 1, 0); }, 6},
                              {[] { setFront(3, 1, 0); }, 6}});
    EXPECT_EQ(out, sel(6, 150, true, 1) + sel(6, 150, true, 0) + idl(6, 150, 0) + idl(6, 150, 3) + sel(18, 150, false, 1));
}

TEST_F(DiskSensor, PredictiveFailureAndRebuild_FollowTheCountRule) {
    useBackplanes(1, 0, 2);
    std::string out = run(1, {{[] { setFront(1, 0, 16 | 8); }, 6}, {[] { setFront(1, 0, 8); }, 6}, {[] { setFront(1, 0, 0); }, 6}});
    EXPECT_EQ(out, sel(6, 150, true, 2) + sel(6, 150, true, 7) + sel(12, 150, false, 2) + sel(18, 150, false, 7));
}

TEST_F(DiskSensor, Removal_DeassertsOnceAndReinsertionAssertsAgain) {
    useBackplanes(1, 0, 2);
    std::string out = run(1, {{[] { setFront(0, 1, 0); }, 6}, {[] { setFront(0, 0, 0); }, 8}, {[] { setFront(0, 1, 0); }, 7}});
    EXPECT_EQ(out, sel(6, 150, true, 0) + sel(12, 150, false, 0) + sel(20, 150, true, 0));
}

TEST_F(DiskSensor, NoSupportedDisks_DeassertsWhatWasAsserted) {
    useBackplanes(1, 0, 2);
    std::string out = run(1, {{[] { setFront(0, 1, 2 | 16); }, 6}, {[] { block().setU8(119097, 0); }, 2}});
    EXPECT_EQ(out, sel(6, 150, true, 1) + sel(6, 150, true, 2) + sel(6, 150, true, 0) + idl(6, 150, 0) +
                       sel(7, 150, false, 1) + sel(7, 150, false, 2) + sel(7, 150, false, 0));
}

TEST_F(DiskSensor, RearTable_UsesSensor151AndTheRearBackplanes) {
    useBackplanes(0, 1, 3);
    std::string out = run(2, {{[] {
                                   setRear(2, 1, 2);
                                   setFront(2, 1, 2);  // the front table is not looked at
                               },
                               6}});
    EXPECT_EQ(out, sel(6, 151, true, 1) + sel(6, 151, true, 0) + idl(6, 151, 2));
}

TEST_F(DiskSensor, SlotSumBeyondTheTable_StaysInsideIt) {
    useBackplanes(13, 0, 254);  // 13 x 254 slots claimed, 288 front disks exist
    std::string out = run(1, {{[] { setFront(287, 1, 0); }, 6}});
    EXPECT_EQ(out, sel(6, 150, true, 0));
}

TEST_F(DiskSensor, OtherTypes_AreRefusedWithTheWritersLine) {
    int result = 0;
    EXPECT_EQ(qtest::captureStdout([&] { result = QuorixSetHDDSensor(0); }), "WriteHwHDDInfo,error CpldType:0!!\n");
    EXPECT_EQ(result, -1);
}

TEST_F(DiskSensor, StatusPost_SendsTheDiskRecordToTheLogService) {
    EXPECT_EQ(QuorixHddStatusPostIdl(1, 1, 12, 151), 0);
    EXPECT_EQ(QuorixHddStatusPostIdl(1, 0, 100, 150), 0);
    int id = idlQueue();
    unsigned char payload[300];
    ASSERT_EQ(QuorixReadMsgQueue(id, payload, sizeof payload), 0);
    EXPECT_EQ("scan 0: idl " + qtest::hex(payload, 44) + "\n", idl(0, 151, 12));
    ASSERT_EQ(QuorixReadMsgQueue(id, payload, sizeof payload), 0);
    EXPECT_EQ(payload[4 + 15], 0xEF);
    EXPECT_EQ(payload[4 + 17], 100);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(payload + 4 + 19), 16), std::string("DISK100_Status \0", 16));
}

}  // namespace
