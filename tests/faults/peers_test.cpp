// A reader that dies while a daemon writes to it on a named pipe: the writer gets its failure result
// instead of being killed by SIGPIPE.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/wait.h>

#include "quorix_test.h"

static std::atomic<pid_t> g_victim{0};  // the reader the hook kills

// The writer blocks SIGPIPE between its open and its write, which is where this hook strikes.
extern "C" int pthread_sigmask(int how, const sigset_t *set, sigset_t *old) {
    static auto real = reinterpret_cast<int (*)(int, const sigset_t *, sigset_t *)>(dlsym(RTLD_NEXT, "pthread_sigmask"));
    if (how == SIG_BLOCK && set != nullptr && sigismember(set, SIGPIPE) == 1)
        if (pid_t pid = g_victim.exchange(0); pid > 0) kill(pid, SIGKILL), waitpid(pid, nullptr, 0);  // reaped: its end is closed
    return real(how, set, old);
}

namespace {

using DeadPeers = qtest::BoundTest;

// SIGPIPE keeps its default action in the child: a writer that let it through would die.
TEST_F(DeadPeers, ReaderKilledBetweenOpenAndWriteGivesTheFailureResult) {
    const struct {
        const char *pipe;
        int (*send)();
        std::string out;
    } senders[] = {{"/var/quorix_ipmimain_pipe", QuorixSendReloadToIPMIMain, "rc=-1 epipe=1"},
                   {"/var/quorix_okl_pipe", QuorixPostReqToOneKeyLog, "rc=-1 epipe=1"},
                   {"/var/poweroffscanpipe", [] { return QuorixNotifyTaskThread(2, 5); }, "Error writing Prep commandrc=-1 epipe=1"},
                   {"/var/quorix_ipmimain_pipe", [] { return QuorixAddTaskFailToSEL(0x07, 3, 1); }, "rc=0 epipe=1"}};
    for (const auto &s : senders) {
        // Every daemon creates its pipes at start, often after the peer did: an existing one is kept.
        ASSERT_TRUE(QuorixCreatePipe(s.pipe) == 0 && QuorixCreatePipe(s.pipe) == 0);
        const qtest::ChildResult r = qtest::runInChild([&] {
            signal(SIGPIPE, SIG_DFL);
            int ready[2];
            char ok = 0;
            if (pipe(ready) == 0 && (g_victim = fork()) == 0) {
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

}  // namespace
