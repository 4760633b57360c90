// Peers that die or stall in the middle of a conversation on a named pipe:
// the writer gets its failure result instead of being killed by SIGPIPE, and
// a reader sees the end of the stream instead of waiting for ever.
#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "quorix_test.h"

namespace {

using Bytes = std::vector<unsigned char>;

// The reader to kill once the writer has opened the pipe: the writer blocks
// SIGPIPE between its open and its write, which is where this hook strikes.
std::atomic<pid_t> g_victim{0};
std::atomic<int> g_strikes{0};

}  // namespace

extern "C" int pthread_sigmask(int how, const sigset_t *set, sigset_t *old) {
    using Fn = int (*)(int, const sigset_t *, sigset_t *);
    static Fn real = reinterpret_cast<Fn>(dlsym(RTLD_NEXT, "pthread_sigmask"));
    if (how == SIG_BLOCK && set != nullptr && sigismember(set, SIGPIPE) == 1) {
        if (pid_t pid = g_victim.exchange(0); pid > 0) {
            kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);  // its descriptors are closed once it is reaped
            g_strikes.fetch_add(1);
        }
    }
    return real(how, set, old);
}

namespace {

constexpr const char *kIpmiMain = "/var/quorix_ipmimain_pipe";
constexpr const char *kOneKeyLog = "/var/quorix_okl_pipe";
constexpr const char *kScanTask = "/var/poweroffscanpipe";

// A separate process holding the read end of a FIFO, reading nothing until
// told to (one byte per record length); it passes on what it read.
struct Reader {
    pid_t pid = -1;
    int report = -1, go = -1;

    explicit Reader(const char *path) {
        int ready[2], rep[2], cmd[2];
        if (pipe(ready) != 0 || pipe(rep) != 0 || pipe(cmd) != 0) return;
        pid = fork();
        if (pid == 0) {
            int fd = open(path, O_RDONLY | O_NONBLOCK);
            fcntl(fd, F_SETFL, 0);  // blocking reads from here on
            char ok = fd >= 0 ? 1 : 0;
            unsigned char length, record[256];
            if (write(ready[1], &ok, 1) != 1) _exit(3);
            while (read(cmd[0], &length, 1) == 1) {
                ssize_t n = read(fd, record, length);
                if (n <= 0 || write(rep[1], record, static_cast<std::size_t>(n)) != n) _exit(4);
            }
            _exit(0);
        }
        close(ready[1]);
        close(rep[1]);
        close(cmd[0]);
        char ok = 0;
        if (read(ready[0], &ok, 1) != 1 || ok != 1) pid = -1;
        close(ready[0]);
        report = rep[0];
        go = cmd[1];
    }
    ~Reader() {
        kill9();
        close(report);
        close(go);
    }
    Bytes readRecord(unsigned char length) {
        Bytes got(length);
        ssize_t n = write(go, &length, 1) == 1 ? read(report, got.data(), got.size()) : 0;
        got.resize(n > 0 ? static_cast<std::size_t>(n) : 0);
        return got;
    }
    void kill9() {
        if (pid > 0 && kill(pid, SIGKILL) == 0) waitpid(pid, nullptr, 0);
        pid = -1;
    }
};

class DeadPeers : public qtest::BoundTest {
protected:
    void SetUp() override {
        BoundTest::SetUp();
        // Every daemon creates its pipes at start, often after the peer did: an existing one is kept.
        for (const char *path : {kIpmiMain, kOneKeyLog, kScanTask, kIpmiMain}) ASSERT_EQ(QuorixCreatePipe(path), 0);
    }
    void TearDown() override {
        g_victim = 0;
        BoundTest::TearDown();
    }
};

struct Sender {
    const char *pipe;
    int (*send)();
    int failure;          // the result when the reader is gone
    const char *printed;  // what the failure prints on standard output
};

const Sender kSenders[] = {
    {kIpmiMain, QuorixSendReloadToIPMIMain, -1, ""},
    {kOneKeyLog, QuorixPostReqToOneKeyLog, -1, ""},
    {kScanTask, [] { return QuorixNotifyTaskThread(2, 5); }, -1, "Error writing Prep command"},
    {kIpmiMain, [] { return QuorixAddTaskFailToSEL(0x07, 3, 1); }, 0, ""},
};

// The reader dies after the writer opened the pipe and before it wrote: the
// write meets a pipe without readers. SIGPIPE keeps its default action here,
// so a writer that let it through would die.
TEST_F(DeadPeers, ReaderKilledBetweenOpenAndWriteGivesTheFailureResult) {
    for (const Sender &s : kSenders) {
        SCOPED_TRACE(s.printed);
        qtest::ChildResult r = qtest::runInChild([&] {
            signal(SIGPIPE, SIG_DFL);
            Reader reader(s.pipe);
            if (reader.pid <= 0) _exit(5);
            g_strikes = 0;
            g_victim = reader.pid;
            reader.pid = -1;  // reaped by the hook
            errno = 0;
            const int rc = s.send(), err = errno;
            sigset_t pending;
            sigpending(&pending);
            std::printf("rc=%d strikes=%d pending=%d", rc, g_strikes.load(), sigismember(&pending, SIGPIPE));
            if (rc == -1) std::printf(" epipe=%d", err == EPIPE);
            std::printf("\n");
        });
        EXPECT_TRUE(r.exited && r.status == 0) << r.status << r.err;
        EXPECT_EQ(r.out, std::string(s.printed) + "rc=" + std::to_string(s.failure) + " strikes=1 pending=0" +
                             (s.failure == -1 ? " epipe=1" : "") + "\n");
        struct stat st {};
        EXPECT_TRUE(stat(s.pipe, &st) == 0 && S_ISFIFO(st.st_mode));
    }
}

TEST_F(DeadPeers, ReaderKilledAfterARecordLeavesLaterWritesFailingNotFatal) {
    Reader reader(kIpmiMain);
    ASSERT_GT(reader.pid, 0);
    ASSERT_EQ(QuorixSendReloadToIPMIMain(), 18);
    Bytes reloadRecord(18, 0);
    reloadRecord[0] = 1;
    EXPECT_EQ(reader.readRecord(18), reloadRecord);
    reader.kill9();
    qtest::ChildResult r = qtest::runInChild([] {
        signal(SIGPIPE, SIG_DFL);
        const int reload = QuorixSendReloadToIPMIMain(), err = errno;
        std::printf("reload=%d enxio=%d event=%d\n", reload, err == ENXIO, QuorixAddTaskFailToSEL(0x87, 3, 0));
    });
    EXPECT_TRUE(r.exited);
    EXPECT_EQ(r.out, "reload=-1 enxio=1 event=0\n");
}

// A reader that is alive but stopped reading: the notices that fit go out
// whole, the next one fails at once instead of blocking the sender.
TEST_F(DeadPeers, StalledReaderFillsThePipeAndTheNextNoticeFailsAtOnce) {
    Reader reader(kScanTask);
    ASSERT_GT(reader.pid, 0);
    int accepted = 0, rc = 0;
    std::string out;
    const auto start = std::chrono::steady_clock::now();
    for (; accepted < 200; ++accepted) {
        out = qtest::captureStdout([&] { rc = QuorixNotifyTaskThread(accepted % 2 == 0 ? 2 : 1, 7); });
        if (rc != 0) break;
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
    EXPECT_EQ(rc, -1);
    EXPECT_EQ(out, "Error writing Prep command");
    ASSERT_GT(accepted, 0);
    ASSERT_LT(accepted, 200);
    // Everything that was accepted is there, notice by notice.
    for (int i = 0; i < accepted; ++i) {
        Bytes expected(1025, 0), got;
        expected[0] = i % 2 == 0 ? 2 : 1;
        expected[1] = i % 2 == 0 ? 7 : 0;
        while (got.size() < 1025) {
            Bytes part = reader.readRecord(static_cast<unsigned char>(std::min<std::size_t>(255, 1025 - got.size())));
            ASSERT_FALSE(part.empty()) << "notice " << i;
            got.insert(got.end(), part.begin(), part.end());
        }
        ASSERT_EQ(got, expected) << "notice " << i;
    }
    // Drained: the next notice goes out again.
    EXPECT_EQ(QuorixNotifyTaskThread(3, 0), 0);
}

// The other direction: a writer that dies with the pipe open leaves the
// reader an end of stream once the bytes it wrote are consumed.
TEST_F(DeadPeers, WriterKilledMidRecordLeavesTheReaderItsBytesThenEndOfStream) {
    const int fd = QuorixOpenPipe(kOneKeyLog, O_RDONLY | O_NONBLOCK, 0);
    ASSERT_GE(fd, 0);
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    pid_t writer = fork();
    if (writer == 0) {
        int w = open(kOneKeyLog, O_WRONLY);
        const Bytes half(150, 3);
        char ok = w >= 0 && write(w, half.data(), half.size()) == 150;
        if (write(ready[1], &ok, 1) != 1) _exit(3);
        pause();
        _exit(0);
    }
    close(ready[1]);
    char ok = 0;
    ASSERT_EQ(read(ready[0], &ok, 1), 1);
    ASSERT_EQ(ok, 1);
    close(ready[0]);
    kill(writer, SIGKILL);
    ASSERT_EQ(waitpid(writer, nullptr, 0), writer);
    ASSERT_EQ(fcntl(fd, F_SETFL, 0), 0);  // a read that would wait for ever would hang the test
    unsigned char buffer[300];
    std::memset(buffer, 0xEE, sizeof buffer);
    EXPECT_EQ(QuorixReadPipe(fd, buffer, 300), 150);
    EXPECT_EQ(Bytes(buffer, buffer + 150), Bytes(150, 3));
    EXPECT_EQ(QuorixReadPipe(fd, buffer, 300), 0);
    close(fd);
}

}  // namespace
