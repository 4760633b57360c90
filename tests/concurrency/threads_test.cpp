// Several threads of one daemon calling into the library at once: forwarders,
// the power-button lock and the debug log. The threads start together so that
// their calls overlap.
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
            for (++ready; ready < kThreads;) std::this_thread::yield();
            work(t);
        });
    for (std::thread &thread : group) thread.join();
}

using Threads = qtest::BoundTest;

// Arguments and result of every call stay with the calling thread.
TEST_F(Threads, PlainForwarder_EachThreadGetsItsOwnResult) {
    static std::atomic<long> calls{0};
    qtest::replaceSlot(qrx::Slot::checkSystemPowerOk, +[](int node, int source, int flags) {
        ++calls;
        return node * 1000003 + source * 31 + (flags ^ 0x5A5A);
    });
    std::atomic<int> wrong{0};
    runTogether([&](int t) {
        for (int i = 0; i < 5000; ++i) wrong += checkSystemPowerOk(t, i, i ^ (t << 12)) != t * 1000003 + i * 31 + ((i ^ (t << 12)) ^ 0x5A5A);
    });
    EXPECT_EQ(std::make_pair(wrong.load(), calls.load()), std::make_pair(0, kThreads * 5000L));
}

// The button handler (slot 78) sees one caller at a time, each with the button read just before.
TEST_F(Threads, PowerButtonLock_OneCallerAtATimeEvenWhileInitialising) {
    static std::atomic<int> inside{0}, mostInside{0}, reads{0}, lastRead{-1}, unpaired{0};
    qtest::replaceSlot(qrx::Slot::QuorixGetMBCPLDButtonInfo, +[] { return lastRead = reads++; });
    qtest::replaceSlot(qrx::Slot::QuorixBMCControlPWRON, +[](int buttonInfo) {
        for (int now = ++inside, most = mostInside; now > most && !mostInside.compare_exchange_weak(most, now);) {
        }
        unpaired += buttonInfo != lastRead;  // another caller's read in between
        for (volatile int spin = 0; spin < 200; ++spin) {
        }
        --inside;
        return 0;
    });
    std::atomic<int> nonZero{0};
    runTogether([&](int) {
        nonZero += QuorixBMCControlPwrBtnmutexInit() != 0;  // every daemon thread initialises the lock first
        for (int i = 0; i < 2000; ++i) nonZero += QuorixBMCControlPwrBtnGetSet() != 0;
    });
    EXPECT_EQ(std::vector<int>({nonZero, mostInside, reads, unpaired}), std::vector<int>({0, 1, kThreads * 2000, 0}));
    EXPECT_EQ(pthread_mutex_trylock(&PwrBtnmutex) + pthread_mutex_unlock(&PwrBtnmutex), 0);
}

// QuorixDebug from every thread, in a fresh child each (the cache is per
// process), with the control files cached and with the reload marker present
// (every call re-reads them while another thread checks).
TEST_F(Threads, DebugLog_EveryPassingLineOnceAndWhole) {
    qtest::touchControl({"LEVEL_ERROR", "PATH_SERIAL", "ENABLE_QRXMONITOR", "ENABLE_IPMI"});
    const char *const levels[] = {"Info", "Warning", "Error", "Critical"};
    std::vector<std::string> expected;  // Error and Critical lines of the enabled modules
    for (int t = 0; t < kThreads; ++t)
        for (int i = 0; i < 240; ++i)
            if (i % 4 >= 2 && i % 3 != 2)
                expected.push_back(std::string("[") + levels[i % 4] + "]:thread " + std::to_string(t) + " message " + std::to_string(i));
    std::sort(expected.begin(), expected.end());
    for (bool reloading : {false, true}) {
        if (reloading) qtest::writeFile(qtest::kReloadMarker, "");
        std::vector<std::string> lines = qtest::splitLines(qtest::withoutTimes(qtest::inChild([] {
            runTogether([](int t) {
                const char *modules[] = {"QRXMONITOR", "IPMI", "QRXDIAG"};
                for (int i = 0; i < 240; ++i) QuorixDebug(static_cast<unsigned>(i % 4), modules[i % 3], "thread %d message %d", t, i);
            });
        })));
        std::sort(lines.begin(), lines.end());
        EXPECT_EQ(lines, expected) << "reload marker " << reloading;
    }
}

}  // namespace
