// Crash and signal handling: one fixed handler table that a daemon installs
// with a single call. Fatal signals print a backtrace and the faulting
// thread, log the same under the daemon's module name and end the process.
//
// The handlers print and log although neither is async-signal-safe: the
// fatal ones end the process right after, and the others only print a line.
#include <execinfo.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "core/export.h"
#include "diag/log_names.h"
#include "quorix_common_interface.h"

namespace qrx::diag {
namespace {

constexpr int kBacktraceDepth = 100;
constexpr int kFatalStatus = -1;  // seen by the parent as 255
constexpr std::size_t kModuleNameSize = 32;
constexpr std::size_t kThreadNameSize = 256;

// Module name of the crash reports. A name copied with 32 or more bytes is
// not terminated by the copy; the extra byte keeps every use of it bounded.
char g_moduleName[kModuleNameSize + 1] = "QRXMONITOR";

enum class Action { Report, Quit, Quiet, Abort, Fatal };

struct FatalTexts {
    const char *signalName;
    const char *consoleEnd;  // printf format; %s is the module name where present
    const char *logEnd;      // kept as each signal has always logged it
};

struct SignalEntry {
    int signum;
    Action action;
    const char *line;  // printed by Report, Quit and Abort
    FatalTexts fatal;
};

constexpr FatalTexts kNoFatal{nullptr, nullptr, nullptr};

// In installation order; SIGTERM comes last.
constexpr SignalEntry kSignalTable[] = {
    {SIGQUIT, Action::Quit, "Received SIGQUIT", kNoFatal},
    {SIGILL,
     Action::Fatal,
     nullptr,
     {"SIGILL", "  QuorixMonitor is terminating because of SIGILL !!!!!\n",
      "  QuorixMonitor is terminating because of SIGILL !!!!!"}},
    {SIGTRAP, Action::Report, "  Received SIGTRAP", kNoFatal},
    {SIGABRT, Action::Abort, "  Received SIGABRT", kNoFatal},
    {SIGBUS,
     Action::Fatal,
     nullptr,
     {"SIGBUS", "  %s is terminating because of SIGBUS !!!!!\n",
      "QuorixMonitor is terminating because of SIGBUS !!!!!"}},
    {SIGFPE, Action::Quiet, nullptr, kNoFatal},
    {SIGUSR1, Action::Report, "  Received SIGUSR1", kNoFatal},
    {SIGSEGV,
     Action::Fatal,
     nullptr,
     {"SIGSEGV", "  %s is terminating because of SIGSEGV !!!!!\n", "  is terminating because of SIGSEGV !!!!!"}},
    {SIGUSR2, Action::Report, "  Received SIGUSR2", kNoFatal},
    {SIGPIPE, Action::Report, "  Received SIGPIPE", kNoFatal},
    {SIGCHLD, Action::Quiet, nullptr, kNoFatal},
    {SIGCONT, Action::Report, "  Received SIGCONT", kNoFatal},
    {SIGTSTP, Action::Report, "  Received SIGTSTP", kNoFatal},
    {SIGTTIN, Action::Report, "  Received SIGTTIN", kNoFatal},
    {SIGTTOU, Action::Report, "  Received SIGTTOU", kNoFatal},
    {SIGURG, Action::Report, "  Received SIGURG", kNoFatal},
    {SIGXCPU, Action::Report, "  Received SIGXCPU", kNoFatal},
    {SIGXFSZ, Action::Report, "  Received SIGXFSZ", kNoFatal},
    {SIGVTALRM, Action::Report, "  Received SIGVTALRM", kNoFatal},
    {SIGPROF, Action::Report, "  Received SIGPROF", kNoFatal},
    {SIGWINCH, Action::Report, "  Received SIGWINCH", kNoFatal},
    {SIGIO, Action::Report, "  Received SIGIO", kNoFatal},
    {SIGPWR, Action::Report, "  Received SIGPWR", kNoFatal},
    {SIGTERM, Action::Report, "  Received SIGTERM", kNoFatal},
};

const SignalEntry *findEntry(int signum) {
    for (const SignalEntry &e : kSignalTable)
        if (e.signum == signum) return &e;
    return nullptr;
}

void printBacktrace() {
    void *frames[kBacktraceDepth];
    int count = backtrace(frames, kBacktraceDepth);
    char **symbols = backtrace_symbols(frames, count);
    if (symbols == nullptr) {
        std::perror("backtrace_symbols");
        _exit(EXIT_FAILURE);
    }
    for (int i = 0; i < count; ++i) {
        std::printf("%s\n", symbols[i]);
        qrx::debugLog(qrx::kLogCritical, g_moduleName, "%s", symbols[i]);
    }
    std::free(symbols);
}

void fatalReport(const FatalTexts &texts) {
    printBacktrace();
    char threadName[kThreadNameSize] = {};
    prctl(PR_GET_NAME, threadName, 0, 0, 0);
    long tid = static_cast<long>(syscall(SYS_gettid));
    std::printf("  Thread %ld (%s) received %s\n", tid, threadName, texts.signalName);
    std::printf(texts.consoleEnd, g_moduleName);
    qrx::debugLog(qrx::kLogCritical, g_moduleName, "  Thread %ld (%s) received %s", tid, threadName, texts.signalName);
    qrx::debugLog(qrx::kLogCritical, g_moduleName, "%s", texts.logEnd);
    _exit(kFatalStatus);
}

void onSignal(int signum) {
    const SignalEntry *entry = findEntry(signum);
    if (entry == nullptr) return;
    switch (entry->action) {
        case Action::Quiet:
            return;
        case Action::Report:
            std::puts(entry->line);
            return;
        case Action::Quit:
            std::puts(entry->line);
            qrx::debugLog(qrx::kLogCritical, g_moduleName, "%s", entry->line);
            return;
        case Action::Abort:
            std::puts(entry->line);
            _exit(kFatalStatus);
        case Action::Fatal:
            fatalReport(entry->fatal);
    }
}

unsigned installSignal(int signum, void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    sigfillset(&action.sa_mask);  // handlers never nest
    action.sa_flags = SA_RESTART;
    if (sigaction(signum, &action, nullptr) != 0) std::printf("Cannot catch signal SigNum %d\n", signum);
    return 0;
}

int initSignals(const char *moduleName, int length) {
    if (moduleName == nullptr) {
        std::puts("QuorixInitSignals==DebugModuleName NULL,So exit");
        return -1;
    }
    // strncpy semantics on purpose: zero-fills after a short source, leaves
    // the previous tail when length is shorter than the name.
    std::size_t count = std::min<std::size_t>(static_cast<std::size_t>(std::max(length, 0)), kModuleNameSize);
    std::strncpy(g_moduleName, moduleName, count);
    // backtrace() loads its unwinder on first use; do it now rather than
    // inside a crashing thread.
    void *warmUp[1];
    backtrace(warmUp, 1);
    for (const SignalEntry &e : kSignalTable) installSignal(e.signum, onSignal);
    return 0;
}

}  // namespace
}  // namespace qrx::diag

extern "C" {

QRX_EXPORT int QuorixInitSignals(const char *module_name, int length) {
    return qrx::diag::initSignals(module_name, length);
}

QRX_EXPORT unsigned int InstallSignal(int signum, void (*handler)(int)) {
    return qrx::diag::installSignal(signum, handler);
}

}  // extern "C"
