// Two processes that share the device block, as daemons do on the board:
// this test and a peer program, each bound to the library on its own, take
// turns through fan records, then write separate records at the same time.
#include <cstdio>
#include <string>

#include "block_exchange.h"
#include "quorix_test.h"

namespace {

using namespace blockx;

constexpr int kTimeoutMs = 20000;
// The peer's first answer waits for it to start, which under valgrind or
// qemu takes far longer than a turn.
constexpr int kStartTimeoutMs = 120000;

class SharedBlockPeer : public qtest::BoundTest {};

TEST_F(SharedBlockPeer, TurnsAndSeparateWrites_BothProcessesSeeEachOthersValues) {
    // A zero record at 15 makes all 16 records readable from the start.
    FanRecord blank{};
    ASSERT_EQ(write_quorix_fan_info(15, blank.data()), 0);
    ASSERT_EQ(QuorixGetFanNumber(), 16);

    std::string command = qtest::programCommand(QRX_BLOCK_PEER) + " 2>&1";
    FILE *peer = popen(command.c_str(), "r");
    ASSERT_NE(peer, nullptr);

    int answered = 0;
    for (int round = 1; round <= kRounds; ++round) {
        FanRecord turn = record(1, round);
        ASSERT_EQ(write_quorix_fan_info(kTestRecord, turn.data()), 0);
        if (!waitForRecord(kPeerRecord, record(2, round), round == 1 ? kStartTimeoutMs : kTimeoutMs)) break;
        ++answered;
    }
    EXPECT_EQ(answered, kRounds);

    if (answered == kRounds) {
        for (int w = 0; w < kBusyWrites; ++w) {
            for (int i = 0; i < kOwnedCount; ++i) {
                FanRecord r = record(1, w * kOwnedCount + i);
                ASSERT_EQ(write_quorix_fan_info(kFirstTestOwned + i, r.data()), 0);
            }
        }
        ASSERT_EQ(write_device_scan_enable(4, 2), 0);
        FanRecord done = record(1, kBusyDoneRound);
        ASSERT_EQ(write_quorix_fan_info(kTestDoneRecord, done.data()), 0);

        EXPECT_TRUE(waitForRecord(kPeerDoneRecord, record(2, kBusyDoneRound), kTimeoutMs));
        for (int i = 0; i < kOwnedCount; ++i) {
            EXPECT_TRUE(waitForRecord(kFirstPeerOwned + i, record(2, (kBusyWrites - 1) * kOwnedCount + i), kTimeoutMs))
                << "peer record " << kFirstPeerOwned + i;
            EXPECT_TRUE(waitForRecord(kFirstTestOwned + i, record(1, (kBusyWrites - 1) * kOwnedCount + i), 0))
                << "own record " << kFirstTestOwned + i;
        }
        // The peer's debug-flag byte, through the library's report.
        std::string report = qtest::captureStdout([] { ShowAllDebugInfo(); });
        EXPECT_NE(report.find("====Debuginfo[3] (debugd):0x4d ====\n"), std::string::npos) << report;
        EXPECT_EQ(qtest::blockBytes(0x621F7C, 10), (std::vector<unsigned char>{0, 0, 0, 77, 0, 0, 0, 0, 0, 0}));
    }

    std::string out;
    char line[256];
    while (std::fgets(line, sizeof line, peer) != nullptr) out += line;
    int status = pclose(peer);
    EXPECT_EQ(status, 0) << out;
    EXPECT_EQ(out, "peer: " + std::to_string(kRounds) +
                       " rounds answered\n"
                       "SetDebugInformation input string: debug3_77\n"
                       "example:quorix_monitor_app --set-debug-info debug0_10\n"
                       "peer: busy phase checked\n");
}

}  // namespace
