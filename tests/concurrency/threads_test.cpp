// Several threads of one daemon calling into the library at once: forwarders,
// simulated slots, main-board EEPROM transfers, the power-button lock and
// the debug log. The threads start together so that their calls overlap.
#include <algorithm>
#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "quorix_test.h"

namespace {

constexpr int kThreads = 4;

void runTogether(const std::function<void(int)> &work) {
    std::atomic<int> ready{0};
    std::vector<std::thread> group;
    for (int t = 0; t < kThreads; ++t)
        group.emplace_back([&, t] {
            ready.fetch_add(1);
            while (ready.load() < kThreads) std::this_thread::yield();
            work(t);
        });
    for (std::thread &thread : group) thread.join();
}

class Threads : public qtest::BoundTest {};

// Arguments and result of every call stay with the calling thread.
std::atomic<long> g_calls{0}, g_argSum{0};
int powerOkProbe(int node, int source, int flags) {
    g_calls.fetch_add(1, std::memory_order_relaxed);
    g_argSum.fetch_add(node + source + flags, std::memory_order_relaxed);
    return node * 1000003 + source * 31 + (flags ^ 0x5A5A);
}

TEST_F(Threads, PlainForwarder_EachThreadGetsItsOwnResult) {
    qtest::replaceSlot(qrx::Slot::checkSystemPowerOk, &powerOkProbe);
    constexpr int kCalls = 5000;
    std::atomic<int> wrong{0};
    runTogether([&](int t) {
        for (int i = 0; i < kCalls; ++i)
            wrong += checkSystemPowerOk(t, i, i ^ (t << 12)) != t * 1000003 + i * 31 + ((i ^ (t << 12)) ^ 0x5A5A);
    });
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_EQ(g_calls.load(), long{kThreads} * kCalls);
    long expectedSum = 0;
    for (int t = 0; t < kThreads; ++t)
        for (int i = 0; i < kCalls; ++i) expectedSum += t + i + (i ^ (t << 12));
    EXPECT_EQ(g_argSum.load(), expectedSum);
}

TEST_F(Threads, SimulatedSlots_CountEveryCallAndKeepTheirResult) {
    ASSERT_EQ(qtest::Sim::get().setResult(qrx::slotIndex(qrx::Slot::checkPcpPowerOk), 0x1234), 0);
    ASSERT_EQ(qtest::Sim::get().setResult(qrx::slotIndex(qrx::Slot::QuorixGetFanSummaryHealth), -7), 0);
    constexpr int kCalls = 4000;
    std::atomic<int> wrong{0};
    runTogether([&](int t) {
        // Threads 0 and 2 call slot 3, threads 1 to 3 slot 12: calls meet on each slot and across both.
        for (int i = 0; i < kCalls; ++i)
            wrong += (t % 2 == 0 && checkPcpPowerOk() != 0x1234) + (t != 0 && QuorixGetFanSummaryHealth() != -7);
    });
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_EQ(qtest::Sim::get().callCount(qrx::slotIndex(qrx::Slot::checkPcpPowerOk)), unsigned{kThreads / 2} * kCalls);
    EXPECT_EQ(qtest::Sim::get().callCount(qrx::slotIndex(qrx::Slot::QuorixGetFanSummaryHealth)), unsigned{kThreads - 1} * kCalls);
}

// Each thread owns a stretch of a blank EEPROM: every write lands, none
// overwrites another thread's bytes, and the untouched gaps stay erased.
TEST_F(Threads, EepromWritesToSeparateOffsets_AllLand) {
    constexpr int kStretch = 64, kBase = 1000, kWrites = 12;
    auto byte = [](int t, int w, int b) { return static_cast<unsigned char>(t * 16 + w * 3 + b); };
    std::atomic<int> shortTransfers{0};
    runTogether([&](int t) {
        for (int w = 0; w < kWrites; ++w) {
            unsigned char bytes[8];
            for (int b = 0; b < 8; ++b) bytes[b] = byte(t, w, b);
            shortTransfers += QuorixWriteMainBoardEEprom(kBase + t * kStretch + w * 4, bytes, 8) != 8;
        }
    });
    EXPECT_EQ(shortTransfers.load(), 0);
    std::vector<unsigned char> image = qtest::eeprom(kBase, kThreads * kStretch), expected(image.size(), 0xFF);
    // A thread's writes overlap by 4 bytes; its later write wins.
    for (int t = 0; t < kThreads; ++t)
        for (int w = 0; w < kWrites; ++w)
            for (int b = 0; b < 8; ++b) expected[static_cast<std::size_t>(t * kStretch + w * 4 + b)] = byte(t, w, b);
    EXPECT_EQ(image, expected);
}

// Slot 78 sees one caller at a time, each with the button read just before.
std::atomic<int> g_inside{0}, g_mostInside{0}, g_reads{0}, g_lastRead{-1}, g_unpaired{0};
int buttonInfoProbe() {
    int value = g_reads.fetch_add(1);
    g_lastRead.store(value);
    return value;
}
int powerOnProbe(int buttonInfo) {
    int now = g_inside.fetch_add(1) + 1, most = g_mostInside.load();
    while (now > most && !g_mostInside.compare_exchange_weak(most, now)) {
    }
    g_unpaired += buttonInfo != g_lastRead.load();  // another caller's read in between
    for (volatile int spin = 0; spin < 200; ++spin) {
    }
    g_inside.fetch_sub(1);
    return 0;
}

TEST_F(Threads, PowerButtonLock_OneCallerAtATimeEvenWhileInitialising) {
    qtest::replaceSlot(qrx::Slot::QuorixGetMBCPLDButtonInfo, &buttonInfoProbe);
    qtest::replaceSlot(qrx::Slot::QuorixBMCControlPWRON, &powerOnProbe);
    constexpr int kCalls = 2000;
    std::atomic<int> nonZero{0};
    runTogether([&](int) {
        nonZero += QuorixBMCControlPwrBtnmutexInit() != 0;  // every daemon thread initialises the lock first
        for (int i = 0; i < kCalls; ++i) nonZero += QuorixBMCControlPwrBtnGetSet() != 0;
    });
    EXPECT_EQ(nonZero.load(), 0);
    EXPECT_EQ(g_mostInside.load(), 1);
    EXPECT_EQ(g_reads.load(), kThreads * kCalls);
    EXPECT_EQ(g_unpaired.load(), 0);
    EXPECT_EQ(pthread_mutex_trylock(&PwrBtnmutex), 0);
    EXPECT_EQ(pthread_mutex_unlock(&PwrBtnmutex), 0);
}

// QuorixDebug from every thread, in a fresh child each (the cache is per
// process), with the control files cached and with the reload marker
// present (every call re-reads them while another thread checks).
TEST_F(Threads, DebugLog_EveryPassingLineOnceAndWhole) {
    for (const char *name : {"LEVEL_ERROR", "PATH_SERIAL", "ENABLE_QRXMONITOR", "ENABLE_IPMI"})
        qtest::writeFile(std::string("/conf/quorix_debug/") + name, "");
    constexpr int kMessages = 240;
    const char *const levels[] = {"Info", "Warning", "Error", "Critical"};
    std::vector<std::string> expected;  // Error and Critical lines of the enabled modules
    for (int t = 0; t < kThreads; ++t)
        for (int i = 0; i < kMessages; ++i)
            if (i % 4 >= 2 && i % 3 != 2)
                expected.push_back(std::string("[") + levels[i % 4] + "]:thread " + std::to_string(t) + " message " +
                                   std::to_string(i));
    std::sort(expected.begin(), expected.end());
    for (bool reloading : {false, true}) {
        if (reloading) qtest::writeFile("/var/quorix_debug_reload", "");
        std::vector<std::string> lines = qtest::splitLines(qtest::withoutTimes(qtest::inChild([] {
            runTogether([](int t) {
                const char *modules[] = {"QRXMONITOR", "IPMI", "QRXDIAG"};
                for (int i = 0; i < kMessages; ++i)
                    QuorixDebug(static_cast<unsigned>(i % 4), modules[i % 3], "thread %d message %d", t, i);
            });
        })));
        std::sort(lines.begin(), lines.end());
        EXPECT_EQ(lines, expected) << "reload marker " << reloading;
    }
}

}  // namespace
