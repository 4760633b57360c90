// The second process of the shared-block test: binds the library on its own,
// answers the test's turns through fan records, writes its own records while
// the test writes others, and sets a debug-flag byte for the test to read.
#include <cstdio>

#include "block_exchange.h"
#include "quorix_common_interface.h"

namespace {

constexpr int kTimeoutMs = 20000;

int fail(const char *what, int round) {
    std::printf("peer: %s (round %d)\n", what, round);
    return 1;
}

}  // namespace

int main() {
    if (quorix_interface_init() != 0) return fail("cannot bind", 0);
    using namespace blockx;

    for (int round = 1; round <= kRounds; ++round) {
        if (!waitForRecord(kTestRecord, record(1, round), kTimeoutMs)) return fail("no turn from the test", round);
        FanRecord answer = record(2, round);
        if (write_quorix_fan_info(kPeerRecord, answer.data()) != 0) return fail("write refused", round);
    }
    std::printf("peer: %d rounds answered\n", kRounds);

    for (int w = 0; w < kBusyWrites; ++w) {
        for (int i = 0; i < kOwnedCount; ++i) {
            FanRecord r = record(2, w * kOwnedCount + i);
            if (write_quorix_fan_info(kFirstPeerOwned + i, r.data()) != 0) return fail("busy write refused", w);
        }
    }
    char setting[] = "debug3_77";
    SetDebugInformation(setting);
    FanRecord done = record(2, kBusyDoneRound);
    write_quorix_fan_info(kPeerDoneRecord, done.data());

    if (!waitForRecord(kTestDoneRecord, record(1, kBusyDoneRound), kTimeoutMs)) return fail("test never finished", 0);
    for (int i = 0; i < kOwnedCount; ++i) {
        if (!waitForRecord(kFirstTestOwned + i, record(1, (kBusyWrites - 1) * kOwnedCount + i), kTimeoutMs))
            return fail("test's last busy record missing", i);
        if (!waitForRecord(kFirstPeerOwned + i, record(2, (kBusyWrites - 1) * kOwnedCount + i), 0))
            return fail("own busy record overwritten", i);
    }
    if (read_device_scan_enable(4) != 2) return fail("scan enable 4 not set by the test", 0);
    std::printf("peer: busy phase checked\n");
    return 0;
}
