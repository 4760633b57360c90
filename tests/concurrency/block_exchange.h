// The exchange between a test and its peer process over the shared device
// block: fan records written and read back through the library.
#pragma once

#include <array>
#include <cstdint>

namespace blockx {

using FanRecord = std::array<unsigned char, 32>;

// Fan record 0 carries the test's turn, record 1 the peer's answer.
inline constexpr int kTestRecord = 0;
inline constexpr int kPeerRecord = 1;
inline constexpr int kRounds = 300;
// During the busy phase the test owns records 2..8 and the peer 9..15.
inline constexpr int kFirstTestOwned = 2;
inline constexpr int kFirstPeerOwned = 9;
inline constexpr int kOwnedCount = 7;
inline constexpr int kBusyWrites = 400;
// Round number that ends the busy phase.
inline constexpr int kBusyDoneRound = 1000;

// Record contents for (sender, round): every byte depends on both, multi-byte
// fields have differing bytes, and the name spells them out.
FanRecord record(int sender, int round);

// Polls fan record index until it equals expected; false after timeoutMs.
bool waitForRecord(int index, const FanRecord &expected, int timeoutMs);

}  // namespace blockx
