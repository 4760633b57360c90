// Several threads of one daemon pressing the power button through the library
// at once: the threads start together so that their calls overlap.
#include <atomic>
#include <thread>

#include "quorix_test.h"

namespace {

constexpr int kThreads = 4;

void runTogether(const std::function<void()> &work) {
    std::atomic<int> ready{0};
    std::vector<std::thread> group;
    for (int t = 0; t < kThreads; ++t) group.emplace_back([&] {
        for (++ready; ready < kThreads;) std::this_thread::yield();
        work();
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
    runTogether([&] {
        nonZero += QuorixBMCControlPwrBtnmutexInit() != 0;  // every daemon thread initialises the lock first
        for (int i = 0; i < 2000; ++i) nonZero += QuorixBMCControlPwrBtnGetSet() != 0;
    });
    EXPECT_EQ(std::vector<int>({nonZero, mostInside, reads, unpaired}), std::vector<int>({0, 1, kThreads * 2000, 0}));
    EXPECT_EQ(pthread_mutex_trylock(&PwrBtnmutex) + pthread_mutex_unlock(&PwrBtnmutex), 0);
}

}  // namespace
