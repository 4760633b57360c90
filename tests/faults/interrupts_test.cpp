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
#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "quorix_platform.h"
#include "quorix_test.h"

namespace {

using Bytes = std::vector<unsigned char>;
using Clock = std::chrono::steady_clock;

std::atomic<int> g_handled{0};

Bytes pattern(std::size_t length, unsigned seed) {
    Bytes b(length);
    for (std::size_t i = 0; i < length; ++i) b[i] = static_cast<unsigned char>((i * 7 + seed) & 0xFF);
    return b;
}

// Sends SIGUSR1 to the creating thread every 500 µs until destroyed; after
// 20 handled signals it runs `action` once (from its own thread), which is
// what lets the interrupted call finish.
class SignalStorm {
public:
    explicit SignalStorm(std::function<void()> action) : target_(pthread_self()), action_(std::move(action)) {
        struct sigaction sa {};
        sa.sa_handler = [](int) { g_handled.fetch_add(1); };  // no SA_RESTART: every wait sees EINTR
        sigaction(SIGUSR1, &sa, &saved_);
        g_handled = 0;
        thread_ = std::thread([this] {
            for (const auto deadline = Clock::now() + std::chrono::seconds(20); !stop_ && Clock::now() < deadline;) {
                pthread_kill(target_, SIGUSR1);
                std::this_thread::sleep_for(std::chrono::microseconds(500));
                if (!done_ && g_handled.load() >= 20) {
                    if (action_) action_();
                    done_ = true;
                }
            }
        });
    }
    ~SignalStorm() {
        stop_ = true;
        thread_.join();
        sigaction(SIGUSR1, &saved_, nullptr);
    }
    std::atomic<bool> done_{false};

private:
    pthread_t target_;
    std::function<void()> action_;
    struct sigaction saved_ {};
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

constexpr key_t kKey = 0x51F7;

class Interrupted : public qtest::BoundTest {
protected:
    void SetUp() override {
        BoundTest::SetUp();
        removeQueue();
    }
    void TearDown() override {
        removeQueue();
        BoundTest::TearDown();
    }
    static void removeQueue() {
        if (int id = msgget(kKey, 0); id >= 0) msgctl(id, IPC_RMID, nullptr);
    }
};

TEST_F(Interrupted, BlockedQueueReadGetsTheWholePayload) {
    const int id = QuorixCreateMsgQueue(kKey);
    ASSERT_GE(id, 0);
    const Bytes sent = pattern(1024, 3);
    Bytes got(1100, 0xEE);
    int sendResult = -9, rc = -9;
    {
        // Sent only after 20 signals: the read was interrupted at least that often.
        SignalStorm storm([&] { sendResult = QuorixWriteMsgQueue(kKey, sent.data(), 1024); });
        rc = QuorixReadMsgQueue(id, got.data(), static_cast<int>(got.size()));
    }
    EXPECT_GE(g_handled.load(), 20);
    EXPECT_EQ(sendResult, 0);
    EXPECT_EQ(rc, 0);
    EXPECT_EQ(Bytes(got.begin(), got.begin() + 1024), sent);
    EXPECT_EQ(Bytes(got.begin() + 1024, got.end()), Bytes(76, 0));
}

TEST_F(Interrupted, BlockingQueueSendWaitsForRoomAndSendsOnce) {
    const int id = QuorixCreateMsgQueue(kKey);
    ASSERT_GE(id, 0);
    struct Message {
        long type;
        unsigned char text[512];
    } message{1, {}}, last{2, {}}, back{};
    int queued = 0;  // until the kernel refuses another message
    while (msgsnd(id, &message, sizeof message.text, IPC_NOWAIT) == 0) ++queued;
    ASSERT_EQ(errno, EAGAIN);
    ASSERT_GT(queued, 0);
    const Bytes text = pattern(sizeof last.text, 9);
    std::memcpy(last.text, text.data(), text.size());
    int rc = -9;
    {
        // Room appears only after the send has been interrupted many times.
        SignalStorm storm([&] { msgrcv(id, &back, sizeof back.text, 1, IPC_NOWAIT); });
        rc = sigwrap_msgsnd(id, &last, sizeof last.text, 0);
    }
    EXPECT_GE(g_handled.load(), 20);
    EXPECT_EQ(rc, 0);
    struct msqid_ds ds {};
    ASSERT_EQ(msgctl(id, IPC_STAT, &ds), 0);
    EXPECT_EQ(ds.msg_qnum, static_cast<msgqnum_t>(queued));  // one taken, one added
    ASSERT_EQ(msgrcv(id, &back, sizeof back.text, 2, IPC_NOWAIT), static_cast<ssize_t>(sizeof back.text));
    EXPECT_EQ(Bytes(back.text, back.text + sizeof back.text), text);
    EXPECT_LT(msgrcv(id, &back, sizeof back.text, 2, IPC_NOWAIT), 0) << "sent twice";
}

// Records of at most PIPE_BUF bytes go through a pipe whole or wait; the
// storm must never split or repeat one.
TEST_F(Interrupted, PipeWritesOfWholeRecordsArriveExactlyOnce) {
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    constexpr int kRecords = 96;
    constexpr std::size_t kRecord = 4096;
    Bytes received, expected;
    std::thread reader;
    std::vector<ssize_t> results;
    {
        // The reader starts only once the writer is blocked on a full pipe.
        SignalStorm storm([&] {
            reader = std::thread([&] {
                unsigned char chunk[1000];
                for (ssize_t n; (n = read(fds[0], chunk, sizeof chunk)) > 0;) {
                    received.insert(received.end(), chunk, chunk + n);
                    std::this_thread::sleep_for(std::chrono::microseconds(50));
                }
            });
        });
        for (unsigned i = 0; i < kRecords; ++i) {
            const Bytes record = pattern(kRecord, i);
            expected.insert(expected.end(), record.begin(), record.end());
            results.push_back(sigwrap_write(fds[1], record.data(), record.size()));
        }
        // Hold the storm until the reader took over (a fast machine may not fill the pipe first).
        while (!storm.done_) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    ASSERT_EQ(sigwrap_close(fds[1]), 0);
    reader.join();
    close(fds[0]);
    EXPECT_EQ(results, std::vector<ssize_t>(kRecords, static_cast<ssize_t>(kRecord)));
    EXPECT_TRUE(received == expected) << received.size() << " bytes received";
}

TEST_F(Interrupted, FifoOpenWaitsForItsReaderThroughTheSignals) {
    const char *path = "/var/faults_fifo";
    ASSERT_EQ(QuorixCreatePipe(path), 0);
    int readFd = -1, writeFd = -9;
    {
        SignalStorm storm([&] { readFd = open(path, O_RDONLY | O_NONBLOCK); });
        writeFd = sigwrap_open(path, O_WRONLY);
    }
    EXPECT_GE(g_handled.load(), 20);
    ASSERT_GE(writeFd, 0);
    ASSERT_GE(readFd, 0);
    EXPECT_EQ(sigwrap_write(writeFd, "ok", 2), 2);
    char got[3] = {};
    EXPECT_EQ(read(readFd, got, 2), 2);
    EXPECT_STREQ(got, "ok");
    close(writeFd);
    close(readFd);
}

TEST_F(Interrupted, NanoSleepResumesUntilTheFullTimeHasPassed) {
    const long kNanos = 200 * 1000 * 1000;
    int rc = -9, handled = 0;
    std::string out;
    Clock::duration slept{};
    {
        SignalStorm storm(nullptr);
        out = qtest::captureStdout([&] {
            const auto start = Clock::now();
            rc = QuorixNanoSleep(0, kNanos);
            slept = Clock::now() - start;
            handled = g_handled.load();
        });
    }
    EXPECT_EQ(rc, 0);
    EXPECT_GE(slept, std::chrono::nanoseconds(kNanos));
    // One line per resumed sleep: at least one, never more than the signals seen.
    const std::vector<std::string> lines = qtest::splitLines(out);
    EXPECT_GE(lines.size(), 1u);
    EXPECT_LE(lines.size(), static_cast<std::size_t>(handled));
    for (const std::string &line : lines) EXPECT_EQ(line, "QuorixNanoSleep ");
}

}  // namespace
