// Several threads of one daemon calling into the library at once: forwarders,
// main-board EEPROM transfers through the simulator, and the power-button lock.
#include <atomic>
#include <cstdint>
#include <vector>

#include "quorix_test.h"
#include "thread_group.h"

namespace {

using conctest::kThreads;
using conctest::runTogether;

class Threads : public qtest::BoundTest {};

// Arguments and result of every call stay with the calling thread.
std::atomic<long> g_powerOkCalls{0};
std::atomic<long> g_powerOkArgSum{0};
int powerOkProbe(int node, int source, int flags) {
    g_powerOkCalls.fetch_add(1, std::memory_order_relaxed);
    g_powerOkArgSum.fetch_add(node + source + flags, std::memory_order_relaxed);
    return node * 1000003 + source * 31 + (flags ^ 0x5A5A);
}

TEST_F(Threads, PlainForwarder_EachThreadGetsItsOwnResult) {
    g_powerOkCalls = 0;
    g_powerOkArgSum = 0;
    qtest::replaceSlot(2, &powerOkProbe);
    constexpr int kCalls = 5000;
    std::atomic<int> wrong{0};
    runTogether(kThreads, [&](int t) {
        for (int i = 0; i < kCalls; ++i) {
            int flags = i ^ (t << 12);
            if (checkSystemPowerOk(t, i, flags) != t * 1000003 + i * 31 + (flags ^ 0x5A5A)) wrong.fetch_add(1);
        }
    });
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_EQ(g_powerOkCalls.load(), long{kThreads} * kCalls);
    long expectedSum = 0;
    for (int t = 0; t < kThreads; ++t)
        for (int i = 0; i < kCalls; ++i) expectedSum += t + i + (i ^ (t << 12));
    EXPECT_EQ(g_powerOkArgSum.load(), expectedSum);
}

TEST_F(Threads, SimulatedSlots_CountEveryCallAndKeepTheirResult) {
    ASSERT_EQ(qtest::Sim::get().setResult(3, 0x1234), 0);
    ASSERT_EQ(qtest::Sim::get().setResult(12, -7), 0);
    constexpr int kCalls = 4000;
    std::atomic<int> wrong{0};
    runTogether(kThreads, [&](int t) {
        for (int i = 0; i < kCalls; ++i) {
            // Threads 0 and 2 call slot 3, threads 1 to 3 slot 12: calls meet on each slot and across both.
            if (t % 2 == 0 && checkPcpPowerOk() != 0x1234) wrong.fetch_add(1);
            if (t != 0 && QuorixGetFanSummaryHealth() != -7) wrong.fetch_add(1);
        }
    });
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_EQ(qtest::Sim::get().callCount(3), unsigned{kThreads / 2} * kCalls);
    EXPECT_EQ(qtest::Sim::get().callCount(12), unsigned{kThreads - 1} * kCalls);
}

// Each thread owns a stretch of a blank EEPROM: every write lands, none
// overwrites another thread's bytes, and the untouched gaps stay erased.
TEST_F(Threads, EepromWritesToSeparateOffsets_AllLand) {
    constexpr int kStretch = 64;
    constexpr int kBase = 1000;
    constexpr int kWrites = 12;
    std::atomic<int> shortTransfers{0};
    runTogether(kThreads, [&](int t) {
        for (int w = 0; w < kWrites; ++w) {
            unsigned char bytes[8];
            for (int b = 0; b < 8; ++b) bytes[b] = static_cast<unsigned char>(t * 16 + w * 3 + b);
            int offset = kBase + t * kStretch + w * 4;
            if (QuorixWriteMainBoardEEprom(offset, bytes, 8) != 8) shortTransfers.fetch_add(1);
        }
    });
    EXPECT_EQ(shortTransfers.load(), 0);

    std::vector<unsigned char> image = qtest::eeprom(kBase, kThreads * kStretch);
    for (int t = 0; t < kThreads; ++t) {
        std::vector<unsigned char> expected(kStretch, 0xFF);
        // A thread's writes overlap by 4 bytes; its later write wins.
        for (int w = 0; w < kWrites; ++w)
            for (int b = 0; b < 8; ++b)
                expected[static_cast<std::size_t>(w * 4 + b)] = static_cast<unsigned char>(t * 16 + w * 3 + b);
        std::vector<unsigned char> stretch(image.begin() + t * kStretch, image.begin() + (t + 1) * kStretch);
        EXPECT_EQ(stretch, expected) << "thread " << t;
    }
}

// Slot 78 sees one caller at a time, and every call gets through.
std::atomic<int> g_inside{0};
std::atomic<int> g_mostInside{0};
std::atomic<long> g_pressCalls{0};
std::atomic<int> g_buttonReads{0};
std::atomic<int> g_lastButtonRead{-1};
std::atomic<int> g_unpairedReads{0};

int buttonInfoProbe() {
    int value = g_buttonReads.fetch_add(1);
    g_lastButtonRead.store(value);
    return value;
}

int powerOnProbe(int buttonInfo) {
    int now = g_inside.fetch_add(1) + 1;
    int most = g_mostInside.load();
    while (now > most && !g_mostInside.compare_exchange_weak(most, now)) {
    }
    // Another caller's read between this caller's read and its use would show here.
    if (buttonInfo != g_lastButtonRead.load()) g_unpairedReads.fetch_add(1);
    g_pressCalls.fetch_add(1);
    for (volatile int spin = 0; spin < 200; ++spin) {
    }
    g_inside.fetch_sub(1);
    return 0;
}

TEST_F(Threads, PowerButtonLock_OneCallerAtATimeEvenWhileInitialising) {
    g_inside = 0;
    g_mostInside = 0;
    g_pressCalls = 0;
    g_buttonReads = 0;
    g_lastButtonRead = -1;
    g_unpairedReads = 0;
    qtest::replaceSlot(153, &buttonInfoProbe);
    qtest::replaceSlot(78, &powerOnProbe);
    constexpr int kCalls = 2000;
    std::atomic<int> nonZero{0};
    runTogether(kThreads, [&](int) {
        // Every daemon thread initialises the lock before its first use.
        if (QuorixBMCControlPwrBtnmutexInit() != 0) nonZero.fetch_add(1);
        for (int i = 0; i < kCalls; ++i)
            if (QuorixBMCControlPwrBtnGetSet() != 0) nonZero.fetch_add(1);
    });
    EXPECT_EQ(nonZero.load(), 0);
    EXPECT_EQ(g_mostInside.load(), 1);
    EXPECT_EQ(g_pressCalls.load(), long{kThreads} * kCalls);
    EXPECT_EQ(g_buttonReads.load(), kThreads * kCalls);
    EXPECT_EQ(g_unpairedReads.load(), 0);
    EXPECT_EQ(pthread_mutex_trylock(&PwrBtnmutex), 0);
    EXPECT_EQ(pthread_mutex_unlock(&PwrBtnmutex), 0);
}

}  // namespace
