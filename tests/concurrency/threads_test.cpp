// Several threads of one daemon using the library at once (the power-button
// lock, the simulated EEPROM, the debug log's cache): the threads start
// together so that their calls overlap.
#include <algorithm>
#include <atomic>
#include <thread>

#include "quorix_test.h"

namespace {

constexpr int kThreads = 4;

void runTogether(const std::function<void(int)> &work) {
    std::atomic<int> ready{0};
    std::vector<std::thread> group;
    for (int t = 0; t < kThreads; ++t) group.emplace_back([&, t] {
        for (++ready; ready < kThreads;) std::this_thread::yield();
        work(t);
    });
    for (std::thread &thread : group) thread.join();
}

using Threads = qtest::BoundTest;

// The button handler (slot 78) sees one caller at a time, each with the button read just before.
TEST_F(Threads, PowerButtonLock_OneCallerAtATimeEvenWhileInitialising) {
    static std::atomic<int> inside{0}, mostInside{0}, reads{0}, lastRead{-1}, unpaired{0};
    qtest::replaceSlot(qrx::Slot::QuorixGetMBCPLDButtonInfo, +[] { return lastRead = reads++; });
    qtest::replaceSlot(qrx::Slot::QuorixBMCControlPWRON, +[](int buttonInfo) {
        for (int now = ++inside, most = mostInside; now > most && !mostInside.compare_exchange_weak(most, now);) continue;
        unpaired += buttonInfo != lastRead;  // another caller's read in between
        for (volatile int spin = 0; spin < 200; ++spin) continue;
        return --inside, 0;
    });
    std::atomic<int> nonZero{0};
    runTogether([&](int) {
        nonZero += QuorixBMCControlPwrBtnmutexInit() != 0;  // every daemon thread initialises the lock first
        for (int i = 0; i < 2000; ++i) nonZero += QuorixBMCControlPwrBtnGetSet() != 0;
    });
    EXPECT_EQ(std::vector<int>({nonZero, mostInside, reads, unpaired}), std::vector<int>({0, 1, kThreads * 2000, 0}));
    EXPECT_EQ(pthread_mutex_trylock(&PwrBtnmutex) + pthread_mutex_unlock(&PwrBtnmutex), 0);
}

// Each thread writes its own stretch of a blank EEPROM, later writes
// overlapping earlier ones by 4 bytes: all land, the gaps stay erased.
TEST_F(Threads, EepromWritesToSeparateStretches_AllLand) {
    constexpr int kStretch = 64, kBase = 1000, kWrites = 12;
    auto byte = [](int t, int w, int b) { return static_cast<unsigned char>(t * 16 + w * 3 + b); };
    std::atomic<int> short_{0};
    runTogether([&](int t) {
        for (int w = 0; w < kWrites; ++w) {
            unsigned char bytes[8];
            for (int b = 0; b < 8; ++b) bytes[b] = byte(t, w, b);
            short_ += QuorixWriteMainBoardEEprom(kBase + t * kStretch + w * 4, bytes, 8) != 8;
        }
    });
    std::vector<unsigned char> expected(kThreads * kStretch, 0xFF);
    for (int t = 0; t < kThreads; ++t)
        for (int w = 0; w < kWrites; ++w)
            for (int b = 0; b < 8; ++b) expected[static_cast<std::size_t>(t * kStretch + w * 4 + b)] = byte(t, w, b);
    EXPECT_EQ(short_, 0);
    EXPECT_EQ(qtest::eeprom(kBase, kThreads * kStretch), expected);
}

// The log's per-process cache, filled by racing first calls and re-read on
// every call while the reload marker exists: every passing line once, whole.
TEST_F(Threads, DebugLog_EveryPassingLineOnceAndWhole) {
    qtest::touchControl({"LEVEL_ERROR", "PATH_SERIAL", "ENABLE_QRXMONITOR", "ENABLE_IPMI"});
    constexpr int kMessages = 240;
    const char *const levels[] = {"Info", "Warning", "Error", "Critical"};
    std::vector<std::string> expected;  // Error and Critical lines of the two enabled modules
    for (int t = 0; t < kThreads; ++t)
        for (int i = 0; i < kMessages; ++i)
            if (i % 4 >= 2 && i % 3 != 2)
                expected.push_back("[" + std::string(levels[i % 4]) + "]:thread " + std::to_string(t) + " message " +
                                   std::to_string(i));
    std::sort(expected.begin(), expected.end());
    for (bool reloading : {false, true}) {
        if (reloading) qtest::writeFile(qtest::kReloadMarker, "");
        auto lines = qtest::splitLines(qtest::withoutTimes(qtest::inChild([] {
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
