// The exchange between a test and its peer process over the shared device
// block: fan records written and read back through the library.
#pragma once

#include <array>
#include <cstdint>

namespace blockx {

using FanRecord = std::array<unsigned char, 32>;

// Fan record 0 carries the test's turn, record 1 the peer's answer; neither
// is written again before the other side has seen it.
inline constexpr int kTestRecord = 0;
inline constexpr int kPeerRecord = 1;
inline constexpr int kRounds = 300;
// During the busy phase the test owns records 2..7 and the peer 8..13.
inline constexpr int kFirstTestOwned = 2;
inline constexpr int kFirstPeerOwned = 8;
inline constexpr int kOwnedCount = 6;
inline constexpr int kBusyWrites = 400;
// Each side ends its busy phase in a record of its own, written once, so a
// slow reader (valgrind, qemu) cannot miss it under a later write.
inline constexpr int kTestDoneRecord = 14;
inline constexpr int kPeerDoneRecord = 15;
inline constexpr int kBusyDoneRound = 1000;

// Record contents for (sender, round): every byte depends on both, multi-byte
// fields have differing bytes, and the name spells them out.
FanRecord record(int sender, int round);

// Polls fan record index until it equals expected; false after timeoutMs.
bool waitForRecord(int index, const FanRecord &expected, int timeoutMs);

}  // namespace blockx
