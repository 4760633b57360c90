// System calls interrupted over and over: a thread keeps signalling the caller (the handler is installed
// without SA_RESTART) while a queue read or a sleep waits; each still ends with its normal result and bytes.
#include <thread>

#include "quorix_test.h"

namespace {

using Clock = std::chrono::steady_clock;
std::atomic<int> g_handled{0};
constexpr key_t kKey = 0x51F7;

// Sends SIGUSR1 to the creating thread every 500 µs until destroyed; after 20
// handled signals it runs `release` once, which lets the interrupted call finish.
struct SignalStorm {
    explicit SignalStorm(std::function<void()> release) {
        struct sigaction sa {};
        sa.sa_handler = [](int) { ++g_handled; };
        sigaction(SIGUSR1, &sa, &saved);
        g_handled = 0;
        thread = std::thread([this, target = pthread_self(), release]() mutable {
            for (const auto end = Clock::now() + std::chrono::seconds(20); !stop && Clock::now() < end;
                 std::this_thread::sleep_for(std::chrono::microseconds(500))) {
                pthread_kill(target, SIGUSR1);
                if (release && g_handled >= 20) std::exchange(release, nullptr)();
            }
        });
    }
    ~SignalStorm() {
        stop = true;
        thread.join(), sigaction(SIGUSR1, &saved, nullptr);
        EXPECT_GE(g_handled, 20);
    }
    struct sigaction saved {};
    std::atomic<bool> stop{false};
    std::thread thread;
};

using Interrupted = qtest::BoundTest;

TEST_F(Interrupted, QueueReadGetsTheWholePayload) {
    const int id = QuorixCreateMsgQueue(kKey);
    const qtest::Bytes sent = qtest::pattern(1024, 3);
    qtest::Bytes got(1100, 0xEE), expected = sent;
    expected.resize(got.size(), 0);
    int sendResult = -9, rc = -9;
    {
        SignalStorm storm([&] { sendResult = QuorixWriteMsgQueue(kKey, sent.data(), 1024); });
        rc = QuorixReadMsgQueue(id, got.data(), static_cast<int>(got.size()));
    }
    EXPECT_TRUE(id >= 0 && sendResult == 0 && rc == 0) << id << " " << sendResult << " " << rc;
    EXPECT_EQ(got, expected);
}

// One line per resumed sleep: at least one, never more than the signals seen.
TEST_F(Interrupted, NanoSleepResumesUntilTheFullTimeHasPassed) {
    int rc = -9, handled = 0;
    Clock::duration slept{};
    std::vector<std::string> lines;
    {
        SignalStorm storm(nullptr);
        lines = qtest::splitLines(qtest::captureStdout([&] {
            const auto start = Clock::now();
            rc = QuorixNanoSleep(0, 200'000'000);
            slept = Clock::now() - start, handled = g_handled;
        }));
    }
    EXPECT_TRUE(rc == 0 && slept >= std::chrono::milliseconds(200) && !lines.empty() && lines.size() <= std::size_t(handled))
        << rc << " " << lines.size();
    EXPECT_EQ(lines, std::vector<std::string>(lines.size(), "QuorixNanoSleep "));
}

}  // namespace
