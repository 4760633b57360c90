// Two processes that share the device block, as daemons do on the board: the
// test and a peer program (this file built with QRX_BLOCK_PEER_MAIN), each
// bound to the library on its own, take turns through fan records, then write
// separate records at the same time and read each other's.
#include <array>
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>

#include "quorix_common_interface.h"

namespace {

using FanRecord = std::array<unsigned char, 32>;
// Record 0 carries the test's turn, record 1 the peer's answer. In the busy
// phase the test owns records 2..7 and the peer 8..13; each ends it in a
// record written once (14, 15), so a slow reader cannot miss it.
constexpr int kRounds = 300, kOwned = 6, kBusyWrites = 400, kDoneRound = 1000, kTimeoutMs = 20000;
constexpr int kTurnRecord[] = {0, 0, 1}, kFirstOwned[] = {0, 2, 8}, kDoneRecord[] = {0, 14, 15};

// Every byte depends on side and round; the u16 fields have differing bytes.
FanRecord record(int side, int round) {
    FanRecord r{1, static_cast<unsigned char>(round % 3), static_cast<unsigned char>(round),
                static_cast<unsigned char>(0x10 + ((round >> 8) & 0x0F)), static_cast<unsigned char>(side * 0x11),
                static_cast<unsigned char>(0x20 + side), static_cast<unsigned char>(round % 101),
                static_cast<unsigned char>(side), 0x34, 0x12};
    std::snprintf(reinterpret_cast<char *>(&r[10]), 16, "S%d R%d", side % 10, round % 10000);
    for (std::size_t i = 26; i < r.size(); ++i) r[i] = static_cast<unsigned char>(round + side + i);
    return r;
}

bool waitFor(int index, const FanRecord &expected, int timeoutMs) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    for (FanRecord seen{};; std::this_thread::yield()) {
        if (read_quorix_fan_info(index, seen.data()) == 0 && seen == expected) return true;
        if (std::chrono::steady_clock::now() > deadline) return false;
    }
}

// One side's part (1 the test, 2 the peer): "" or what went wrong.
std::string exchange(int side, int startTimeoutMs) {
    const int other = 3 - side, last = (kBusyWrites - 1) * kOwned;
    for (int round = 1; round <= kRounds; ++round) {
        FanRecord turn = record(side, round);
        if (side == 2 && !waitFor(kTurnRecord[1], record(1, round), kTimeoutMs)) return "no turn " + std::to_string(round);
        if (write_quorix_fan_info(kTurnRecord[side], turn.data()) != 0) return "write refused";
        if (side == 1 && !waitFor(kTurnRecord[2], record(2, round), round == 1 ? startTimeoutMs : kTimeoutMs))
            return "no answer " + std::to_string(round);
    }
    for (int w = 0; w < kBusyWrites * kOwned; ++w)
        if (FanRecord r = record(side, w); write_quorix_fan_info(kFirstOwned[side] + w % kOwned, r.data()) != 0)
            return "busy write refused";
    char setting[] = "debug3_77";
    if (side == 1 ? write_device_scan_enable(4, 2) != 0 : (SetDebugInformation(setting), false)) return "flag refused";
    FanRecord done = record(side, kDoneRound);
    write_quorix_fan_info(kDoneRecord[side], done.data());
    if (!waitFor(kDoneRecord[other], record(other, kDoneRound), kTimeoutMs)) return "other side never finished";
    for (int i = 0; i < kOwned; ++i) {
        if (!waitFor(kFirstOwned[other] + i, record(other, last + i), kTimeoutMs)) return "other's busy record missing";
        if (!waitFor(kFirstOwned[side] + i, record(side, last + i), 0)) return "own busy record overwritten";
    }
    return side == 2 && read_device_scan_enable(4) != 2 ? "scan enable 4 not set by the test" : "";
}

}  // namespace

#ifdef QRX_BLOCK_PEER_MAIN
int main() {
    const std::string problem = quorix_interface_init() != 0 ? "cannot bind" : exchange(2, kTimeoutMs);
    std::printf("peer: %s\n", problem.empty() ? "done" : problem.c_str());
    return problem.empty() ? 0 : 1;
}
#else
#include "quorix_test.h"

using SharedBlockPeer = qtest::BoundTest;

TEST_F(SharedBlockPeer, TurnsAndSeparateWrites_BothProcessesSeeEachOthersValues) {
    FanRecord blank{};  // a zero record at 15 makes all 16 records readable from the start
    ASSERT_EQ(write_quorix_fan_info(15, blank.data()), 0);
    ASSERT_EQ(QuorixGetFanNumber(), 16);
    FILE *peer = popen((qtest::programCommand(QRX_BLOCK_PEER) + " 2>&1").c_str(), "r");
    ASSERT_NE(peer, nullptr);
    EXPECT_EQ(exchange(1, 120000), "");
    EXPECT_NE(qtest::captureStdout([] { ShowAllDebugInfo(); }).find("====Debuginfo[3] (debugd):0x4d ====\n"), std::string::npos);
    std::string out;
    for (char line[256]; std::fgets(line, sizeof line, peer) != nullptr;) out += line;
    EXPECT_EQ(pclose(peer), 0) << out;
    EXPECT_EQ(out, "SetDebugInformation input string: debug3_77\nexample:quorix_monitor_app --set-debug-info debug0_10\npeer: done\n");
}
#endif
