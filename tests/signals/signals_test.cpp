// The handler table of QuorixInitSignals: what each signal prints and logs,
// and which ones end the process. Every case runs in a forked child whose
// debug log goes to the console, so one stream shows both in call order.
#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "quorix_test.h"

namespace {

using Lines = std::vector<std::string>;

const int kInstalled[] = {SIGQUIT, SIGILL,  SIGTRAP,   SIGABRT, SIGBUS,   SIGFPE,  SIGUSR1, SIGSEGV,
                          SIGUSR2, SIGPIPE, SIGCHLD,   SIGCONT, SIGTSTP,  SIGTTIN, SIGTTOU, SIGURG,
                          SIGXCPU, SIGXFSZ, SIGVTALRM, SIGPROF, SIGWINCH, SIGIO,   SIGPWR,  SIGTERM};

class Signals : public qtest::BoundTest {
protected:
    void SetUp() override {
        BoundTest::SetUp();
        qtest::logToConsole({"QRXMONITOR", "PSUMON"});
    }
    // The handlers end the process without flushing: the console is unbuffered.
    static qtest::ChildResult daemon(const std::function<void()> &fn) {
        return qtest::runInChild([&] {
            setvbuf(stdout, nullptr, _IONBF, 0);
            fn();
        });
    }
};

TEST_F(Signals, NullModuleNameIsRefusedAndInstallsNothing) {
    qtest::ChildResult child = daemon([] {
        // Compared with what was there: a sanitizer runtime has handlers of its own.
        std::vector<void (*)(int)> before;
        for (int sig : kInstalled) {
            struct sigaction old {};
            sigaction(sig, nullptr, &old);
            before.push_back(old.sa_handler);
        }
        int rc = QuorixInitSignals(nullptr, 8), installed = 0;
        for (std::size_t i = 0; i < before.size(); ++i) {
            struct sigaction now {};
            sigaction(kInstalled[i], nullptr, &now);
            installed += now.sa_handler != before[i];
        }
        std::printf("rc=%d installed=%d\n", rc, installed);
    });
    EXPECT_EQ(child.out, "QuorixInitSignals==DebugModuleName NULL,So exit\nrc=-1 installed=0\n");
}

TEST_F(Signals, TableIsInstalledWithEverySignalBlockedAndRestartOthersLeftAlone) {
    qtest::ChildResult child = daemon([] {
        std::printf("rc=%d\n", QuorixInitSignals("QRXMONITOR", 11));
        for (int sig : kInstalled) {
            struct sigaction a {};
            sigaction(sig, nullptr, &a);
            bool fullMask = true;
            for (int s = 1; s < 32; ++s)
                fullMask = fullMask && (s == SIGKILL || s == SIGSTOP || sigismember(&a.sa_mask, s));
            if (a.sa_handler == SIG_DFL || a.sa_handler == SIG_IGN || !fullMask || (a.sa_flags & SA_RESTART) == 0)
                std::printf("bad %d\n", sig);
        }
        for (int sig : {SIGHUP, SIGINT, SIGALRM, SIGSYS}) {
            struct sigaction a {};
            sigaction(sig, nullptr, &a);
            if (a.sa_handler != SIG_DFL) std::printf("touched %d\n", sig);
        }
    });
    EXPECT_EQ(child.out, "rc=0\n");
}

// Signals that do not print a backtrace: their console (and log) lines, and
// whether the daemon keeps running (status 0) or ends with 255. SIGQUIT logs
// from its handler, which ThreadSanitizer reports at exit (status 66): -1
// leaves the status of a daemon that kept running unchecked.
struct Simple {
    int signum;
    int status;
    const char *out;
};
const Simple kSimple[] = {
    {SIGTRAP, 0, "  Received SIGTRAP\n"},   {SIGFPE, 0, ""},
    {SIGUSR1, 0, "  Received SIGUSR1\n"},   {SIGUSR2, 0, "  Received SIGUSR2\n"},
    {SIGPIPE, 0, "  Received SIGPIPE\n"},   {SIGCHLD, 0, ""},
    {SIGCONT, 0, "  Received SIGCONT\n"},   {SIGTSTP, 0, "  Received SIGTSTP\n"},
    {SIGTTIN, 0, "  Received SIGTTIN\n"},   {SIGTTOU, 0, "  Received SIGTTOU\n"},
    {SIGURG, 0, "  Received SIGURG\n"},     {SIGXCPU, 0, "  Received SIGXCPU\n"},
    {SIGXFSZ, 0, "  Received SIGXFSZ\n"},   {SIGVTALRM, 0, "  Received SIGVTALRM\n"},
    {SIGPROF, 0, "  Received SIGPROF\n"},   {SIGWINCH, 0, "  Received SIGWINCH\n"},
    {SIGIO, 0, "  Received SIGIO\n"},       {SIGPWR, 0, "  Received SIGPWR\n"},
    {SIGTERM, 0, "  Received SIGTERM\n"},   {SIGQUIT, -1, "Received SIGQUIT\n[Critical]:Received SIGQUIT\n"},
    {SIGABRT, 255, "  Received SIGABRT\n"},  // no backtrace, nothing logged
};

TEST_F(Signals, SimpleSignalsPrintTheirLineAndEndOnlyOnAbort) {
    for (const Simple &row : kSimple) {
        qtest::ChildResult child = daemon([&] {
            QuorixInitSignals("QRXMONITOR", 11);
            raise(row.signum);
            std::puts("still running");
        });
        EXPECT_TRUE(child.exited) << row.signum;
        EXPECT_TRUE(row.status < 0 || child.status == row.status) << row.signum << " ended with " << child.status;
        EXPECT_EQ(qtest::withoutTimes(child.out), row.out + std::string(row.status != 255 ? "still running\n" : ""))
            << row.signum;
    }
}

void *faultingThread(void *) {
    prctl(PR_SET_NAME, "hdd-scan", 0, 0, 0);
    std::printf("tid=%ld\n", static_cast<long>(syscall(SYS_gettid)));
    void *page = mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    *static_cast<volatile int *>(page) = 0x1234;  // a real segmentation fault
    return nullptr;
}

// Fatal signals: the backtrace, the thread and the termination text on the
// console, each line logged after it, then status 255.
struct Fatal {
    int signum;
    bool onThread;  // a real fault on a named thread, else the main thread signalled
    const char *thread, *consoleEnd, *logEnd;
};
const Fatal kFatal[] = {
    {SIGSEGV, true, "(hdd-scan) received SIGSEGV", "  PSUMON is terminating because of SIGSEGV !!!!!",
     "  is terminating because of SIGSEGV !!!!!"},
    {SIGSEGV, false, "(psu-main) received SIGSEGV", "  PSUMON is terminating because of SIGSEGV !!!!!",
     "  is terminating because of SIGSEGV !!!!!"},
    {SIGBUS, false, "(psu-main) received SIGBUS", "  PSUMON is terminating because of SIGBUS !!!!!",
     "QuorixMonitor is terminating because of SIGBUS !!!!!"},
    {SIGILL, false, "(psu-main) received SIGILL", "  QuorixMonitor is terminating because of SIGILL !!!!!",
     "  QuorixMonitor is terminating because of SIGILL !!!!!"},
};

TEST_F(Signals, FatalSignalsPrintAndLogBacktraceAndThreadThenEndWith255) {
    for (const Fatal &row : kFatal) {
        SCOPED_TRACE(row.thread);
        qtest::ChildResult child = daemon([&] {
            QuorixInitSignals("PSUMON", 7);
            if (row.onThread) {
                pthread_t thread;
                pthread_create(&thread, nullptr, faultingThread, nullptr);
                pthread_join(thread, nullptr);
            }
            prctl(PR_SET_NAME, "psu-main", 0, 0, 0);
            std::printf("tid=%d\n", getpid());
            raise(row.signum);
            std::puts("survived");
        });
        ASSERT_TRUE(child.exited) << "killed by signal " << child.status;
        EXPECT_EQ(child.status, 255);
        Lines lines = qtest::splitLines(qtest::withoutTimes(child.out));
        ASSERT_GE(lines.size(), 9u) << child.out;
        ASSERT_EQ(lines[0].rfind("tid=", 0), 0u);
        const std::string thread = "  Thread " + lines[0].substr(4) + " " + row.thread;
        EXPECT_EQ(Lines(lines.end() - 4, lines.end()),
                  (Lines{thread, row.consoleEnd, "[Critical]:" + thread, std::string("[Critical]:") + row.logEnd}));
        // Every frame printed, then logged; one of them is the library's handler.
        bool handlerFrame = false;
        ASSERT_EQ((lines.size() - 5) % 2, 0u) << child.out;
        for (std::size_t i = 1; i + 4 < lines.size(); i += 2) {
            EXPECT_NE(lines[i].find("[0x"), std::string::npos) << lines[i];  // backtrace_symbols text
            EXPECT_EQ(lines[i + 1], "[Critical]:" + lines[i]);
            handlerFrame = handlerFrame || lines[i].find("libquorix_common_interface.so") != std::string::npos;
        }
        EXPECT_TRUE(handlerFrame) << child.out;
    }
}

TEST_F(Signals, ModuleNameIsABoundedCopyOfAtMost32Bytes) {
    static const char *kLong = "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789abcd";  // 40 characters
    const std::pair<std::vector<std::pair<const char *, int>>, std::string> cases[] = {
        {{{"FIRST", 6}, {"SECOND", 7}}, "SECOND"},        // a second call replaces the name
        {{{"ABCDEFGHIJ", 11}, {"XY", 2}}, "XYCDEFGHIJ"},  // short length: the old tail stays
        {{{"ABCDEFGHIJ", 11}, {"XY", 3}}, "XY"},
        {{{"ABCDEFGHIJ", 11}, {"XY", 32}}, "XY"},  // zero-filled to the bound
        {{{kLong, 41}}, std::string(kLong, 32)},   // cut, never read past the buffer
        {{{"IGNORED", 0}}, "QRXMONITOR"},          // nothing copied: the initial name
        {{{"IGNORED", -5}}, "QRXMONITOR"},
    };
    for (const auto &c : cases) {
        const std::string &shown = c.second;
        qtest::ChildResult child = daemon([&] {
            for (auto [name, length] : c.first) QuorixInitSignals(name, length);
            raise(SIGBUS);
        });
        EXPECT_EQ(child.status, 255) << shown;
        EXPECT_NE(child.out.find("\n  " + shown + " is terminating because of SIGBUS !!!!!\n"), std::string::npos)
            << shown;
    }
}

void customHandler(int sig) {
    std::printf("custom %d\n", sig);
}

TEST_F(Signals, InstallSignalPrintsAFailureAndAlwaysReturnsZero) {
    qtest::ChildResult child = daemon([] {
        std::printf("kill=%u\n", InstallSignal(SIGKILL, customHandler));
        std::printf("bad=%u\n", InstallSignal(99, customHandler));
        std::printf("usr2=%u\n", InstallSignal(SIGUSR2, customHandler));
        struct sigaction a {};
        sigaction(SIGUSR2, nullptr, &a);
        std::printf("restart=%d blocks-term=%d\n", (a.sa_flags & SA_RESTART) != 0, sigismember(&a.sa_mask, SIGTERM));
        raise(SIGUSR2);
    });
    EXPECT_EQ(child.out,
              "Cannot catch signal SigNum 9\nkill=0\nCannot catch signal SigNum 99\nbad=0\nusr2=0\n"
              "restart=1 blocks-term=1\ncustom 12\n");
}

}  // namespace
