// The handler table of QuorixInitSignals: what each signal prints and logs,
// and which ones end the process. Every case runs in a forked child.
#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "quorix_test.h"

namespace {

using Lines = std::vector<std::string>;

// The handlers end the process without flushing; an unbuffered console
// shows every line they printed.
qtest::ChildResult daemonChild(const std::function<void()> &fn) {
    return qtest::runInChild([&] {
        setvbuf(stdout, nullptr, _IONBF, 0);
        fn();
    });
}

using qtest::splitLines;

using qtest::withoutTimes;

// The message part of the syslog datagrams: "<pri>date ident: message".
Lines messagesOf(const std::vector<std::string> &datagrams, unsigned priority) {
    Lines messages;
    const std::string prefix = "<" + std::to_string(priority) + ">";
    for (const std::string &d : datagrams) {
        if (d.rfind(prefix, 0) != 0) continue;
        std::size_t colon = d.find(": ");
        messages.push_back(colon == std::string::npos ? d : d.substr(colon + 2));
    }
    return messages;
}

// Receives the platform log (datagrams to "/dev/log") in a process of its
// own while the daemon child runs: a crashing daemon logs more datagrams
// than the socket queues and would wait for a reader. A process, not a
// thread, so that the daemon children are forked from a single thread.
class LogCollector {
public:
    LogCollector() {
        sockaddr_un addr = logAddress();
        int sock = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        unlink(addr.sun_path);
        if (bind(sock, reinterpret_cast<sockaddr *>(&addr), sizeof addr) != 0)
            ADD_FAILURE() << "cannot bind /dev/log: " << std::strerror(errno);
        closelog();  // the next syslog() call connects to this socket
        int fds[2];
        if (pipe(fds) != 0) ADD_FAILURE() << "pipe";
        pid_ = fork();
        if (pid_ == 0) {
            close(fds[0]);
            char buf[2048];
            for (;;) {
                ssize_t n = recv(sock, buf, sizeof buf, 0);
                if (n < 0) continue;
                if (n == sizeof kEnd - 1 && std::memcmp(buf, kEnd, sizeof kEnd - 1) == 0) _exit(0);
                std::uint32_t length = static_cast<std::uint32_t>(n);
                if (write(fds[1], &length, sizeof length) != sizeof length || write(fds[1], buf, length) != n) _exit(1);
            }
        }
        close(sock);
        close(fds[1]);
        pipe_ = fds[0];
    }
    ~LogCollector() {
        finish();
        unlink("/dev/log");
        closelog();
    }
    // Every datagram received, once the daemon child has ended.
    std::vector<std::string> finish() {
        if (pid_ <= 0) return got_;
        // Datagrams arrive in order: the end mark comes after all the rest.
        sockaddr_un addr = logAddress();
        int sock = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sendto(sock, kEnd, sizeof kEnd - 1, 0, reinterpret_cast<sockaddr *>(&addr), sizeof addr);
        close(sock);
        std::string data;
        char buf[4096];
        ssize_t n;
        while ((n = read(pipe_, buf, sizeof buf)) > 0) data.append(buf, static_cast<std::size_t>(n));
        waitpid(pid_, nullptr, 0);
        close(pipe_);
        pid_ = -1;
        std::size_t at = 0;
        std::uint32_t length = 0;
        while (at + sizeof length <= data.size()) {
            std::memcpy(&length, data.data() + at, sizeof length);
            got_.push_back(data.substr(at + sizeof length, length));
            at += sizeof length + length;
        }
        return got_;
    }

private:
    static constexpr char kEnd[] = "qtest: end of collection";
    static sockaddr_un logAddress() {
        sockaddr_un addr{};
        addr.sun_family = AF_UNIX;
        std::strcpy(addr.sun_path, "/dev/log");
        return addr;
    }
    pid_t pid_ = -1;
    int pipe_ = -1;
    std::vector<std::string> got_;
};

void enableLog(const std::string &module, const char *path) {
    mkdir("/conf/quorix_debug", 0755);
    qtest::writeFile("/conf/quorix_debug/LEVEL_INFO", "");
    qtest::writeFile(std::string("/conf/quorix_debug/") + path, "");
    qtest::writeFile("/conf/quorix_debug/ENABLE_" + module, "");
}

struct TableRow {
    int signum;
    const char *line;  // nullptr: nothing printed
};

const TableRow kSurvivable[] = {
    {SIGTRAP, "  Received SIGTRAP"}, {SIGFPE, nullptr},
    {SIGUSR1, "  Received SIGUSR1"}, {SIGUSR2, "  Received SIGUSR2"},
    {SIGPIPE, "  Received SIGPIPE"}, {SIGCHLD, nullptr},
    {SIGCONT, "  Received SIGCONT"}, {SIGTSTP, "  Received SIGTSTP"},
    {SIGTTIN, "  Received SIGTTIN"}, {SIGTTOU, "  Received SIGTTOU"},
    {SIGURG, "  Received SIGURG"},   {SIGXCPU, "  Received SIGXCPU"},
    {SIGXFSZ, "  Received SIGXFSZ"}, {SIGVTALRM, "  Received SIGVTALRM"},
    {SIGPROF, "  Received SIGPROF"}, {SIGWINCH, "  Received SIGWINCH"},
    {SIGIO, "  Received SIGIO"},     {SIGPWR, "  Received SIGPWR"},
    {SIGTERM, "  Received SIGTERM"},
};
const int kInstalled[] = {SIGQUIT, SIGILL,  SIGTRAP,   SIGABRT, SIGBUS,   SIGFPE,  SIGUSR1, SIGSEGV,
                          SIGUSR2, SIGPIPE, SIGCHLD,   SIGCONT, SIGTSTP,  SIGTTIN, SIGTTOU, SIGURG,
                          SIGXCPU, SIGXFSZ, SIGVTALRM, SIGPROF, SIGWINCH, SIGIO,   SIGPWR,  SIGTERM};
const int kLeftAlone[] = {SIGHUP, SIGINT, SIGALRM, SIGSYS};

class Signals : public qtest::BoundTest {};

TEST_F(Signals, NullModuleNameIsRefusedAndInstallsNothing) {
    qtest::ChildResult child = daemonChild([] {
        // Compared with what was there before: a sanitizer runtime has
        // handlers of its own for some of these.
        std::vector<void (*)(int)> before;
        for (int sig : kInstalled) {
            struct sigaction old {};
            sigaction(sig, nullptr, &old);
            before.push_back(old.sa_handler);
        }
        int rc = QuorixInitSignals(nullptr, 8);
        int installed = 0;
        for (std::size_t i = 0; i < std::size(kInstalled); ++i) {
            struct sigaction now {};
            sigaction(kInstalled[i], nullptr, &now);
            if (now.sa_handler != before[i]) ++installed;
        }
        std::printf("rc=%d installed=%d\n", rc, installed);
    });
    EXPECT_EQ(child.out, "QuorixInitSignals==DebugModuleName NULL,So exit\nrc=-1 installed=0\n");
}

TEST_F(Signals, TableIsInstalledWithEverySignalBlockedAndRestartOthersLeftAlone) {
    qtest::ChildResult child = daemonChild([] {
        std::printf("rc=%d\n", QuorixInitSignals("QRXMONITOR", 11));
        for (int sig : kInstalled) {
            struct sigaction a {};
            sigaction(sig, nullptr, &a);
            bool fullMask = true;
            for (int s = 1; s < 32; ++s)
                if (s != SIGKILL && s != SIGSTOP && !sigismember(&a.sa_mask, s)) fullMask = false;
            if (a.sa_handler == SIG_DFL || a.sa_handler == SIG_IGN || !fullMask || (a.sa_flags & SA_RESTART) == 0)
                std::printf("bad %d\n", sig);
        }
        for (int sig : kLeftAlone) {
            struct sigaction a {};
            sigaction(sig, nullptr, &a);
            if (a.sa_handler != SIG_DFL) std::printf("touched %d\n", sig);
        }
    });
    EXPECT_EQ(child.out, "rc=0\n");
}

TEST_F(Signals, ReportedSignalsPrintTheirLineAndTheDaemonKeepsRunning) {
    for (const TableRow &row : kSurvivable) {
        qtest::ChildResult child = daemonChild([&] {
            QuorixInitSignals("QRXMONITOR", 11);
            kill(getpid(), row.signum);
            std::puts("still running");
        });
        std::string want = row.line != nullptr ? std::string(row.line) + "\n" : "";
        EXPECT_TRUE(child.exited) << row.signum;
        EXPECT_EQ(child.status, 0) << row.signum;
        EXPECT_EQ(child.out, want + "still running\n") << row.signum;
    }
}

TEST_F(Signals, QuitIsPrintedAndLoggedUnderTheModuleName) {
    enableLog("FANCTRL", "PATH_SERIAL");
    qtest::ChildResult child = daemonChild([] {
        QuorixInitSignals("FANCTRL", 8);
        kill(getpid(), SIGQUIT);
        std::puts("still running");
    });
    EXPECT_TRUE(child.exited);
    EXPECT_EQ(withoutTimes(child.out), "Received SIGQUIT\n[Critical]:Received SIGQUIT\nstill running\n");
}

TEST_F(Signals, AbortEndsTheProcessWith255WithoutABacktrace) {
    enableLog("FANCTRL", "PATH_LOG");
    LogCollector log;
    qtest::ChildResult child = daemonChild([] {
        QuorixInitSignals("FANCTRL", 8);
        std::abort();
    });
    EXPECT_TRUE(child.exited);
    EXPECT_EQ(child.status, 255);
    EXPECT_EQ(child.out, "  Received SIGABRT\n") << child.err;
    EXPECT_EQ(log.finish(), std::vector<std::string>{});
}

void *faultingThread(void *) {
    prctl(PR_SET_NAME, "hdd-scan", 0, 0, 0);
    std::printf("tid=%ld\n", static_cast<long>(syscall(SYS_gettid)));
    void *page = mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    *static_cast<volatile int *>(page) = 0x1234;  // a real segmentation fault
    return nullptr;
}

TEST_F(Signals, SegfaultOnANamedThreadPrintsBacktraceAndThreadThenEndsWith255) {
    enableLog("DISKMON", "PATH_LOG");
    LogCollector log;
    qtest::ChildResult child = daemonChild([] {
        QuorixInitSignals("DISKMON", 8);
        pthread_t thread;
        pthread_create(&thread, nullptr, faultingThread, nullptr);
        pthread_join(thread, nullptr);
        std::puts("survived");
    });
    ASSERT_TRUE(child.exited) << "killed by signal " << child.status;
    EXPECT_EQ(child.status, 255);
    Lines lines = splitLines(child.out);
    ASSERT_GE(lines.size(), 4u) << child.out;
    ASSERT_EQ(lines.front().rfind("tid=", 0), 0u);
    const std::string tid = lines.front().substr(4);
    EXPECT_NE(tid, std::to_string(getpid()));
    EXPECT_EQ(lines[lines.size() - 2], "  Thread " + tid + " (hdd-scan) received SIGSEGV");
    EXPECT_EQ(lines.back(), "  DISKMON is terminating because of SIGSEGV !!!!!");

    Lines frames(lines.begin() + 1, lines.end() - 2);
    ASSERT_GE(frames.size(), 2u);
    bool handlerFrame = false;
    for (const std::string &f : frames) {
        EXPECT_NE(f.find("[0x"), std::string::npos) << f;  // backtrace_symbols text
        if (f.find("libquorix_common_interface.so") != std::string::npos) handlerFrame = true;
    }
    EXPECT_TRUE(handlerFrame) << child.out;

    // The log gets the same frames, then the thread and the termination text.
    Lines want = frames;
    want.push_back("  Thread " + tid + " (hdd-scan) received SIGSEGV");
    want.push_back("  is terminating because of SIGSEGV !!!!!");
    EXPECT_EQ(messagesOf(log.finish(), 0xAA), want);
}

struct FatalRow {
    int signum;
    const char *name;
    const char *consoleEnd;
    const char *logEnd;
};

const FatalRow kFatal[] = {
    {SIGSEGV, "SIGSEGV", "  PSUMON is terminating because of SIGSEGV !!!!!",
     "  is terminating because of SIGSEGV !!!!!"},
    {SIGBUS, "SIGBUS", "  PSUMON is terminating because of SIGBUS !!!!!",
     "QuorixMonitor is terminating because of SIGBUS !!!!!"},
    {SIGILL, "SIGILL", "  QuorixMonitor is terminating because of SIGILL !!!!!",
     "  QuorixMonitor is terminating because of SIGILL !!!!!"},
};

TEST_F(Signals, FatalSignalsReportTheMainThreadWithTheirOwnTexts) {
    enableLog("PSUMON", "PATH_LOG");
    for (const FatalRow &row : kFatal) {
        LogCollector log;
        qtest::ChildResult child = daemonChild([&] {
            QuorixInitSignals("PSUMON", 7);
            prctl(PR_SET_NAME, "psu-main", 0, 0, 0);
            std::printf("pid=%d\n", getpid());
            kill(getpid(), row.signum);
            std::puts("survived");
        });
        EXPECT_TRUE(child.exited) << row.name;
        EXPECT_EQ(child.status, 255) << row.name;
        Lines lines = splitLines(child.out);
        ASSERT_GE(lines.size(), 4u) << row.name;
        ASSERT_EQ(lines.front().rfind("pid=", 0), 0u);
        const std::string thread = "  Thread " + lines.front().substr(4) + " (psu-main) received " + row.name;
        EXPECT_EQ(lines[lines.size() - 2], thread);
        EXPECT_EQ(lines.back(), row.consoleEnd);
        Lines logged = messagesOf(log.finish(), 0xAA);
        ASSERT_GE(logged.size(), 3u) << row.name;
        EXPECT_EQ(Lines(logged.end() - 2, logged.end()), (Lines{thread, row.logEnd}));
        EXPECT_EQ(Lines(logged.begin(), logged.end() - 2), Lines(lines.begin() + 1, lines.end() - 2));
    }
}

struct NameCase {
    std::vector<std::pair<const char *, int>> calls;
    std::string shown;
};

TEST_F(Signals, ModuleNameIsABoundedCopyOfAtMost32Bytes) {
    static const char *kLong = "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789abcd";  // 40 characters
    const NameCase cases[] = {
        {{{"SECOND", 7}}, "SECOND"},
        {{{"FIRST", 6}, {"SECOND", 7}}, "SECOND"},        // a second call replaces the name
        {{{"ABCDEFGHIJ", 11}, {"XY", 2}}, "XYCDEFGHIJ"},  // short length: the old tail stays
        {{{"ABCDEFGHIJ", 11}, {"XY", 3}}, "XY"},
        {{{"ABCDEFGHIJ", 11}, {"XY", 32}}, "XY"},  // zero-filled to the bound
        {{{kLong, 41}}, std::string(kLong, 32)},   // cut, never read past the buffer
        {{{"IGNORED", 0}}, "QRXMONITOR"},          // nothing copied: the initial name
        {{{"IGNORED", -5}}, "QRXMONITOR"},
    };
    for (const NameCase &c : cases) {
        qtest::ChildResult child = daemonChild([&] {
            for (auto [name, length] : c.calls) QuorixInitSignals(name, length);
            kill(getpid(), SIGBUS);
        });
        EXPECT_EQ(child.status, 255) << c.shown;
        Lines lines = splitLines(child.out);
        ASSERT_FALSE(lines.empty());
        EXPECT_EQ(lines.back(), "  " + c.shown + " is terminating because of SIGBUS !!!!!");
    }
}

void customHandler(int sig) {
    std::printf("custom %d\n", sig);
}

TEST_F(Signals, InstallSignalPrintsAFailureAndAlwaysReturnsZero) {
    qtest::ChildResult child = daemonChild([] {
        std::printf("kill=%u\n", InstallSignal(SIGKILL, customHandler));
        std::printf("bad=%u\n", InstallSignal(99, customHandler));
        std::printf("usr2=%u\n", InstallSignal(SIGUSR2, customHandler));
        struct sigaction a {};
        sigaction(SIGUSR2, nullptr, &a);
        std::printf("restart=%d blocks-term=%d\n", (a.sa_flags & SA_RESTART) != 0, sigismember(&a.sa_mask, SIGTERM));
        kill(getpid(), SIGUSR2);
    });
    EXPECT_EQ(child.out,
              "Cannot catch signal SigNum 9\nkill=0\nCannot catch signal SigNum 99\nbad=0\nusr2=0\n"
              "restart=1 blocks-term=1\ncustom 12\n");
}

}  // namespace
