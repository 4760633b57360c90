// System calls interrupted over and over: a thread keeps signalling the caller
// (the handler is installed without SA_RESTART) while a queue, pipe or sleep
// call waits; each call still ends with its normal result and exact bytes.
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/msg.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

#include "quorix_platform.h"
#include "quorix_test.h"

namespace {

using qtest::Bytes;
using Clock = std::chrono::steady_clock;
std::atomic<int> g_handled{0};
constexpr key_t kKey = 0x51F7;

// Sends SIGUSR1 to the creating thread every 500 µs until destroyed; after 20
// handled signals it runs `release` once, which lets the interrupted call finish.
class SignalStorm {
public:
    explicit SignalStorm(std::function<void()> release) : target_(pthread_self()), release_(std::move(release)) {
        struct sigaction sa {};
        sa.sa_handler = [](int) { ++g_handled; };
        sigaction(SIGUSR1, &sa, &saved_);
        g_handled = 0;
        thread_ = std::thread([this] {
            for (const auto end = Clock::now() + std::chrono::seconds(20); !stop_ && Clock::now() < end;) {
                pthread_kill(target_, SIGUSR1);
                std::this_thread::sleep_for(std::chrono::microseconds(500));
                if (!released && g_handled >= 20) release_ ? release_() : void(), released = true;
            }
        });
    }
    ~SignalStorm() {
        stop_ = true;
        thread_.join();
        sigaction(SIGUSR1, &saved_, nullptr);
        EXPECT_GE(g_handled, 20);
    }
    std::atomic<bool> released{false};

private:
    pthread_t target_;
    std::function<void()> release_;
    struct sigaction saved_ {};
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

struct Interrupted : qtest::BoundTest {
    void SetUp() override { BoundTest::SetUp(), qtest::removeQueue(kKey); }
    void TearDown() override { qtest::removeQueue(kKey), BoundTest::TearDown(); }
};

TEST_F(Interrupted, QueueReadGetsTheWholePayloadAndABlockedSendGoesOutOnce) {
    const int id = QuorixCreateMsgQueue(kKey);
    ASSERT_GE(id, 0);
    const Bytes sent = qtest::pattern(1024, 3);
    Bytes got(1100, 0xEE);
    int sendResult = -9, rc = -9;
    {
        SignalStorm storm([&] { sendResult = QuorixWriteMsgQueue(kKey, sent.data(), 1024); });
        rc = QuorixReadMsgQueue(id, got.data(), static_cast<int>(got.size()));
    }
    EXPECT_EQ(sendResult + rc, 0);
    EXPECT_EQ(Bytes(got.begin(), got.begin() + 1024), sent);
    EXPECT_EQ(Bytes(got.begin() + 1024, got.end()), Bytes(76, 0));

    struct {
        long type;
        unsigned char text[512];
    } filler{1, {}}, last{2, {}}, back{};
    int queued = 0;  // until the kernel refuses another message
    while (msgsnd(id, &filler, sizeof filler.text, IPC_NOWAIT) == 0) ++queued;
    const Bytes text = qtest::pattern(sizeof last.text, 9);
    std::copy(text.begin(), text.end(), last.text);
    {
        SignalStorm storm([&] { msgrcv(id, &back, sizeof back.text, 1, IPC_NOWAIT); });  // room only after 20 signals
        EXPECT_EQ(sigwrap_msgsnd(id, &last, sizeof last.text, 0), 0);
    }
    EXPECT_EQ(qtest::queuedMessages(kKey), queued);  // one taken, one added
    ASSERT_EQ(msgrcv(id, &back, sizeof back.text, 2, IPC_NOWAIT), static_cast<ssize_t>(sizeof back.text));
    EXPECT_EQ(Bytes(back.text, back.text + sizeof back.text), text);
}

// Records of at most PIPE_BUF bytes go through a pipe whole or wait: never split or repeated.
TEST_F(Interrupted, PipeWritesOfWholeRecordsArriveExactlyOnce) {
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    Bytes received, expected;
    std::thread reader;
    std::vector<ssize_t> results;
    {
        SignalStorm storm([&] {  // the reader starts once the writer waits on a full pipe
            reader = std::thread([&] {
                unsigned char chunk[1000];
                for (ssize_t n; (n = read(fds[0], chunk, sizeof chunk)) > 0;) received.insert(received.end(), chunk, chunk + n);
            });
        });
        for (unsigned i = 0; i < 96; ++i) {
            const Bytes record = qtest::pattern(4096, static_cast<std::uint8_t>(i));
            expected.insert(expected.end(), record.begin(), record.end());
            results.push_back(sigwrap_write(fds[1], record.data(), record.size()));
        }
        while (!storm.released) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    ASSERT_EQ(sigwrap_close(fds[1]), 0);
    reader.join();
    close(fds[0]);
    EXPECT_EQ(results, std::vector<ssize_t>(96, 4096));
    EXPECT_TRUE(received == expected) << received.size() << " bytes received";
}

TEST_F(Interrupted, FifoOpenWaitsForItsReaderAndNanoSleepForTheFullTime) {
    const char *path = "/var/faults_fifo";
    ASSERT_EQ(QuorixCreatePipe(path), 0);
    int readFd = -1, writeFd = -9;
    {
        SignalStorm storm([&] { readFd = open(path, O_RDONLY | O_NONBLOCK); });
        writeFd = sigwrap_open(path, O_WRONLY);
    }
    char got[3] = {};
    EXPECT_EQ(sigwrap_write(writeFd, "ok", 2) + read(readFd, got, 2), 4);
    EXPECT_STREQ(got, "ok");

    int rc = -9, handled = 0;
    Clock::duration slept{};
    std::string out;
    {
        SignalStorm storm(nullptr);
        out = qtest::captureStdout([&] {
            const auto start = Clock::now();
            rc = QuorixNanoSleep(0, 200'000'000);
            slept = Clock::now() - start;
            handled = g_handled;
        });
    }
    EXPECT_EQ(rc, 0);
    EXPECT_GE(slept, std::chrono::milliseconds(200));
    // One line per resumed sleep: at least one, never more than the signals seen.
    const auto lines = qtest::splitLines(out);
    EXPECT_TRUE(!lines.empty() && lines.size() <= std::size_t(handled)) << lines.size();
    EXPECT_EQ(lines, decltype(lines)(lines.size(), "QuorixNanoSleep "));
}

}  // namespace
