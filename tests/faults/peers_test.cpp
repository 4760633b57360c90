// Peers that die or stall in the middle of a conversation on a named pipe:
// the writer gets its failure result instead of being killed by SIGPIPE, and
// never blocks on a reader that stopped reading.
#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <string>

#include "quorix_test.h"

namespace {
// The reader to kill once the writer opened the pipe: the writer blocks
// SIGPIPE between its open and its write, which is where this hook strikes.
std::atomic<pid_t> g_victim{0};
}  // namespace

extern "C" int pthread_sigmask(int how, const sigset_t *set, sigset_t *old) {
    static auto real = reinterpret_cast<int (*)(int, const sigset_t *, sigset_t *)>(dlsym(RTLD_NEXT, "pthread_sigmask"));
    if (how == SIG_BLOCK && set != nullptr && sigismember(set, SIGPIPE) == 1)
        if (pid_t pid = g_victim.exchange(0); pid > 0) kill(pid, SIGKILL), waitpid(pid, nullptr, 0);  // reaped: its end is closed
    return real(how, set, old);
}

namespace {

constexpr const char *kIpmiMain = "/var/quorix_ipmimain_pipe", *kOneKeyLog = "/var/quorix_okl_pipe",
                     *kScanTask = "/var/poweroffscanpipe";

class DeadPeers : public qtest::BoundTest {
    void SetUp() override {
        BoundTest::SetUp();
        // Every daemon creates its pipes at start, often after the peer did: an existing one is kept.
        for (const char *path : {kIpmiMain, kOneKeyLog, kScanTask, kIpmiMain}) ASSERT_EQ(QuorixCreatePipe(path), 0);
    }
};

// SIGPIPE keeps its default action in the child: a writer that let it through would die.
TEST_F(DeadPeers, ReaderKilledBetweenOpenAndWriteGivesTheFailureResult) {
    const struct {
        const char *pipe;
        int (*send)();
        std::string out;
    } senders[] = {{kIpmiMain, QuorixSendReloadToIPMIMain, "rc=-1 epipe=1"},
                   {kOneKeyLog, QuorixPostReqToOneKeyLog, "rc=-1 epipe=1"},
                   {kScanTask, [] { return QuorixNotifyTaskThread(2, 5); }, "Error writing Prep commandrc=-1 epipe=1"},
                   {kIpmiMain, [] { return QuorixAddTaskFailToSEL(0x07, 3, 1); }, "rc=0 epipe=1"}};
    for (const auto &s : senders) {
        const qtest::ChildResult r = qtest::runInChild([&] {
            signal(SIGPIPE, SIG_DFL);
            int ready[2];
            char ok = 0;
            if (pipe(ready) != 0) return;
            if ((g_victim = fork()) == 0) {
                ok = open(s.pipe, O_RDONLY | O_NONBLOCK) >= 0;
                if (write(ready[1], &ok, 1) == 1) pause();
                _exit(0);
            }
            if (read(ready[0], &ok, 1) != 1 || !ok) return;
            errno = 0;
            const int rc = s.send(), err = errno;
            sigset_t pending;
            sigpending(&pending);
            std::printf("rc=%d epipe=%d%s", rc, err == EPIPE, g_victim != 0 || sigismember(&pending, SIGPIPE) ? " !" : "");
        });
        EXPECT_TRUE(r.exited && r.status == 0) << r.status << r.err;
        EXPECT_EQ(r.out, s.out);
    }
}

// A reader that is alive but stopped reading: the notices that fit go out
// whole, the next one fails at once, and after draining they go out again.
TEST_F(DeadPeers, StalledReaderFillsThePipeAndTheNextNoticeFailsAtOnce) {
    const int fd = open(kScanTask, O_RDONLY | O_NONBLOCK);
    ASSERT_GE(fd, 0);
    int accepted = 0, rc = 0;
    std::string out;
    while (accepted < 200 && (out = qtest::captureStdout([&] { rc = QuorixNotifyTaskThread(accepted % 2 ? 1 : 2, 7); })).empty())
        ++accepted;
    EXPECT_EQ(rc, -1);
    EXPECT_EQ(out, "Error writing Prep command");
    ASSERT_TRUE(accepted > 0 && accepted < 200) << accepted;
    qtest::Bytes got(1025);
    for (int i = 0; i < accepted; ++i) {
        qtest::Bytes expected(1025, 0);
        expected[0] = i % 2 ? 1 : 2;
        expected[1] = i % 2 ? 0 : 7;
        ASSERT_EQ(read(fd, got.data(), got.size()), 1025) << i;
        ASSERT_EQ(got, expected) << "notice " << i;
    }
    EXPECT_LE(read(fd, got.data(), 1), 0) << "more than was accepted";
    EXPECT_EQ(QuorixNotifyTaskThread(3, 0), 0);
    close(fd);
}

}  // namespace
