// QuorixInitSignals' handler table: what each signal prints and logs, and which ones end the process. Each
// case runs in a forked child whose debug log goes to the unbuffered console: one stream shows both in order.
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include "quorix_test.h"

namespace {

const std::vector<int> kReported = {SIGTRAP, SIGUSR1, SIGUSR2, SIGPIPE,   SIGCONT,  SIGTSTP, SIGTTIN, SIGTTOU, SIGURG,
                                    SIGXCPU, SIGXFSZ, SIGPROF, SIGVTALRM, SIGWINCH, SIGPWR,  SIGTERM},
                       kAll = {SIGIO, SIGQUIT, SIGILL, SIGABRT, SIGBUS, SIGFPE, SIGSEGV, SIGCHLD, 0, SIGHUP, SIGINT, SIGALRM, SIGSYS};

qtest::ChildResult daemon(const std::function<void()> &fn) {
    return qtest::runInChild([&] { setvbuf(stdout, nullptr, _IONBF, 0), fn(); });  // the handlers end without flushing
}

// Per signal (0: a separator): 'R' a handler that blocks every signal and restarts calls, 'D' the default, '?' else.
std::string dispositions(std::vector<int> signals = kAll) {
    std::string d;
    if (signals == kAll) signals.insert(signals.begin(), kReported.begin(), kReported.end());
    for (int sig : signals) {
        struct sigaction a {};
        bool blocksAll = sig != 0 && sigaction(sig, nullptr, &a) == 0 && (a.sa_flags & SA_RESTART) != 0;
        for (int s = 1; s < 32; ++s) blocksAll = blocksAll && (s == SIGKILL || s == SIGSTOP || sigismember(&a.sa_mask, s));
        d += sig == 0 ? '|' : a.sa_handler == SIG_DFL ? 'D' : blocksAll ? 'R' : '?';
    }
    return d;
}

struct Signals : qtest::BoundTest {
    void SetUp() override {
        BoundTest::SetUp(), qtest::logToConsole({"QRXMONITOR", "PSUMON", "SECOND", "XYCDEFGHIJ", "XY", "ABCDEFGHIJKLMNOPQRSTUVWXYZ012345"});
    }
};

TEST_F(Signals, InitInstallsTheWholeTableOnlyWhenGivenAModuleName) {
    const auto child = daemon([] {
        const std::string before = dispositions();  // a sanitizer may hold some
        const int refused = QuorixInitSignals(nullptr, 8), unchanged = dispositions() == before;
        const int accepted = QuorixInitSignals("QRXMONITOR", 11);
        std::printf("%d %d %d %s\n", refused, unchanged, accepted, dispositions().c_str());
        const unsigned kill = InstallSignal(SIGKILL, SIG_IGN), bad = InstallSignal(99, SIG_IGN), hup = InstallSignal(SIGHUP, SIG_IGN);
        std::printf("%u %u %u %s\n", kill, bad, hup, dispositions({SIGHUP}).c_str());
    });
    EXPECT_EQ(child.out, "QuorixInitSignals==DebugModuleName NULL,So exit\n-1 1 0 " + std::string(kReported.size() + 8, 'R') +
                             "|DDDD\nCannot catch signal SigNum 9\nCannot catch signal SigNum 99\n0 0 0 R\n");
}

TEST_F(Signals, NonFatalSignalsPrintTheirLineAndOnlyAbortEndsTheDaemon) {
    std::vector<std::tuple<int, int, std::string>> rows = {  // status -1: unchecked (ThreadSanitizer reports the logging handler)
        {SIGFPE, 0, ""}, {SIGCHLD, 0, ""}, {SIGIO, 0, "  Received SIGIO\n"}, {SIGABRT, 255, "  Received SIGABRT\n"},
        {SIGQUIT, -1, "Received SIGQUIT\n[Critical]:Received SIGQUIT\n"}};
    for (int sig : kReported) rows.emplace_back(sig, 0, std::string("  Received SIG") + sigabbrev_np(sig) + "\n");
    for (const auto &[signum, status, out] : rows) {
        const auto child = daemon([&, signum = signum] { QuorixInitSignals("QRXMONITOR", 11), raise(signum), std::puts("still running"); });
        EXPECT_TRUE(child.exited && (status < 0 || child.status == status)) << signum << ": " << child.status;
        EXPECT_EQ(qtest::withoutTimes(child.out), out + (status != 255 ? "still running\n" : "")) << signum;
    }
}

void *faultOnNamedThread(void *) {
    prctl(PR_SET_NAME, "hdd-scan", 0, 0, 0), std::printf("tid=%ld\n", static_cast<long>(syscall(SYS_gettid)));
    *static_cast<volatile int *>(mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)) = 0x1234;
    return nullptr;
}

// The backtrace, the thread and the termination text, each line logged right after it, then status 255.
// The module name is a copy of at most 32 bytes with the semantics of strncpy.
TEST_F(Signals, FatalSignalsPrintAndLogBacktraceAndThreadThenEndWith255) {
    const std::string kLong = "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789abcd";
    const struct {
        std::vector<std::pair<const char *, int>> names;
        int signum;
        std::string thread, consoleName, logName;  // thread "(hdd-scan)": a real fault on a named thread
    } rows[] = {{{{"PSUMON", 7}}, SIGSEGV, "(hdd-scan)", "PSUMON", " "}, {{{"PSUMON", 7}}, SIGSEGV, "(psu-main)", "PSUMON", " "},
                {{{"PSUMON", 7}}, SIGILL, "(psu-main)", "QuorixMonitor", "  QuorixMonitor"},
                {{{"FIRST", 6}, {"SECOND", 7}}, SIGBUS, "(psu-main)", "SECOND", "QuorixMonitor"},
                {{{"ABCDEFGHIJ", 11}, {"XY", 2}}, SIGBUS, "(psu-main)", "XYCDEFGHIJ", "QuorixMonitor"},
                {{{"ABCDEFGHIJ", 11}, {"XY", 3}}, SIGBUS, "(psu-main)", "XY", "QuorixMonitor"},
                {{{"ABCDEFGHIJ", 11}, {"XY", 32}}, SIGBUS, "(psu-main)", "XY", "QuorixMonitor"},
                {{{kLong.c_str(), 41}}, SIGBUS, "(psu-main)", kLong.substr(0, 32), "QuorixMonitor"},
                {{{"IGNORED", 0}}, SIGBUS, "(psu-main)", "QRXMONITOR", "QuorixMonitor"}, {{{"IGNORED", -5}}, SIGBUS, "(psu-main)", "QRXMONITOR", "QuorixMonitor"}};
    for (const auto &row : rows) {
        const auto child = daemon([&] {
            for (auto [name, length] : row.names) QuorixInitSignals(name, length);
            pthread_t thread;
            if (row.thread == "(hdd-scan)" && pthread_create(&thread, nullptr, faultOnNamedThread, nullptr) == 0) pthread_join(thread, nullptr);
            prctl(PR_SET_NAME, "psu-main", 0, 0, 0), std::printf("tid=%d\n", getpid()), raise(row.signum);
        });
        const auto lines = qtest::splitLines(qtest::withoutTimes(child.out));
        ASSERT_TRUE(child.exited && child.status == 255 && lines.size() >= 9 && lines.size() % 2 == 1) << child.out;
        const std::string name = std::string("SIG") + sigabbrev_np(row.signum), end = " is terminating because of " + name + " !!!!!",
                          thread = "  Thread " + lines[0].substr(4) + " " + row.thread + " received " + name;
        EXPECT_EQ(std::vector<std::string>(lines.end() - 4, lines.end()),
                  (std::vector<std::string>{thread, "  " + row.consoleName + end, "[Critical]:" + thread, "[Critical]:" + row.logName + end}));
        bool handlerFrame = false;  // every frame printed, then logged; one of them is the library's handler
        for (std::size_t i = 1; i + 4 < lines.size(); i += 2) {
            EXPECT_TRUE(lines[i].find("[0x") != std::string::npos && lines[i + 1] == "[Critical]:" + lines[i]) << lines[i];
            handlerFrame = handlerFrame || lines[i].find("libquorix_common_interface.so") != std::string::npos;
        }
        EXPECT_TRUE(handlerFrame) << child.out;
    }
}

}  // namespace
