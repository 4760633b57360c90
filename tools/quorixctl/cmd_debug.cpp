// quorixctl debug: the debug-flag bytes and the debug log's control files.
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>

#include "command.h"
#include "quorix_common_interface.h"

namespace ctl {
namespace {

constexpr const char *kControlDir = "/conf/quorix_debug/";
constexpr const char *kReloadMarker = "/var/quorix_debug_reload";
constexpr long long kDefaultReloadWaitMs = 5000;

struct Choice {
    const char *word;
    const char *file;
};

// The files that select a threshold or an output path: exactly one of a
// family is kept, so the choice is unambiguous.
constexpr Choice kLevels[] = {
    {"info", "LEVEL_INFO"}, {"warning", "LEVEL_WARNING"}, {"error", "LEVEL_ERROR"}, {"critical", "LEVEL_CRITICAL"}};
constexpr Choice kPaths[] = {{"serial", "PATH_SERIAL"}, {"log", "PATH_LOG"}, {"both", "PATH_BOTH"}};

bool touchFile(const std::string &path) {
    FILE *f = std::fopen(path.c_str(), "w");
    if (f == nullptr) return false;
    std::fclose(f);
    return true;
}

template <std::size_t N>
int selectOne(const Args &args, const Choice (&family)[N], const char *what) {
    expectArgs(args, 1, 1);
    const Choice *chosen = nullptr;
    std::string words;
    for (const Choice &c : family) {
        if (args[0] == c.word) chosen = &c;
        words += std::string(c.word) + ", ";
    }
    if (chosen == nullptr && args[0] != "off")
        throw UsageError(std::string(what) + " '" + args[0] + "' is not one of " + words + "off");
    mkdir("/conf", 0755);
    mkdir(kControlDir, 0755);
    for (const Choice &c : family) unlink((std::string(kControlDir) + c.file).c_str());
    if (chosen != nullptr && !touchFile(std::string(kControlDir) + chosen->file))
        throw EnvError(std::string("cannot create ") + kControlDir + chosen->file + ": " + std::strerror(errno));
    std::printf("%s: %s (running daemons follow after quorixctl debug reload)\n", what, args[0].c_str());
    return kExitOk;
}

int runLevel(const Args &args) { return selectOne(args, kLevels, "level"); }
int runPath(const Args &args) { return selectOne(args, kPaths, "path"); }

int runModule(const Args &args) {
    expectArgs(args, 2, 2);
    if (args[1] != "on" && args[1] != "off") throw UsageError("'" + args[1] + "' is not on or off");
    if (args[0].empty() || args[0].find('/') != std::string::npos) throw UsageError("module name '" + args[0] + "'");
    mkdir("/conf", 0755);
    mkdir(kControlDir, 0755);
    std::string file = std::string(kControlDir) + "ENABLE_" + args[0];
    if (args[1] == "on" ? !touchFile(file) : (unlink(file.c_str()) != 0 && errno != ENOENT))
        throw EnvError("cannot change " + file + ": " + std::strerror(errno));
    std::printf("module %s: %s (running daemons follow after quorixctl debug reload)\n", args[0].c_str(),
                args[1].c_str());
    return kExitOk;
}

int runStatus(const Args &args) {
    expectArgs(args, 0, 0);
    static const char *kLevelWords[] = {"info", "warning", "error", "critical"};
    static const char *kPathWords[] = {"serial", "log", "both"};
    int level = GetDebugEanleLevel();
    int path = GetDebugEanlePath();
    std::printf("level:   %s\n", level >= 0 ? kLevelWords[level] : "off (no LEVEL_ file)");
    std::printf("path:    %s\n", path >= 0 ? kPathWords[path] : "off (no PATH_ file)");
    char slots[256] = {};
    LoadDebugSource(slots);
    std::printf("modules:");
    bool any = false;
    for (int i = 0; i < 16; ++i) {
        if (slots[i * 16] == '\0') continue;
        std::printf(" %.15s%s", &slots[i * 16], GetSourceIsVaild(&slots[i * 16]) == 1 ? "" : "(unlisted)");
        any = true;
    }
    std::puts(any ? "" : " none");
    return kExitOk;
}

int runLog(const Args &argsIn) {
    const Parsed parsed = parseOptions(argsIn, {{"count", true}, {"interval", true}});
    const Args &args = parsed.positional;
    if (args.size() < 3) throw UsageError("missing arguments");
    const long long count = number(parsed.value("count", "1"), "count", 1, 1000000);
    const long long interval = number(parsed.value("interval", "1000"), "interval", 1, 3600000);
    int level = -1;
    for (int i = 0; i < 4; ++i)
        if (args[0] == DebugLevelDesc[i] || args[0] == kLevels[i].word || args[0] == std::to_string(i)) level = i;
    if (level < 0) throw UsageError("level '" + args[0] + "' is not 0..3, info, warning, error or critical");
    std::string text;
    for (std::size_t i = 2; i < args.size(); ++i) text += (i > 2 ? " " : "") + args[i];
    // Repeated, this process stands in for a running daemon: it loads the
    // control files once and again only while the reload marker exists.
    for (long long n = 0; n < count; ++n) {
        if (n > 0) sleepMs(interval);
        QuorixDebug(static_cast<unsigned>(level), args[1].c_str(), "%s", text.c_str());
        std::fflush(stdout);
    }
    return kExitOk;
}

int runReload(const Args &args) {
    const Parsed parsed = parseOptions(args, {{"wait", true}});
    expectArgs(parsed.positional, 0, 0);
    const long long waitMs = number(parsed.value("wait", std::to_string(kDefaultReloadWaitMs)), "wait", 0, 600000);
    if (!touchFile(kReloadMarker))
        throw EnvError(std::string("cannot create ") + kReloadMarker + ": " + std::strerror(errno));
    std::printf("%s created; waiting %lld ms for running daemons to log once\n", kReloadMarker, waitMs);
    std::fflush(stdout);
    // Ctrl-C only cuts the wait short: the marker is removed all the same.
    struct sigaction sa {};
    sa.sa_handler = [](int) {};
    for (int sig : {SIGINT, SIGTERM, SIGHUP}) sigaction(sig, &sa, nullptr);
    sleepMs(waitMs);
    // While it exists every log call re-reads the directory: never leave it behind.
    if (unlink(kReloadMarker) != 0 && errno != ENOENT)
        throw EnvError(std::string("cannot remove ") + kReloadMarker + ": " + std::strerror(errno));
    std::printf("%s removed\n", kReloadMarker);
    return kExitOk;
}

int runShow(const Args &args) {
    expectArgs(args, 0, 0);
    if (!bind()) return kExitUnbound;
    ShowAllDebugInfo();
    return kExitOk;
}

int runSet(const Args &args) {
    expectArgs(args, 1, 1);
    // One setting per call: the library parses only the key at the start of the text.
    const std::string &word = args[0];
    if (word.size() < 8 || word.compare(0, 5, "debug") != 0 || word[5] < '0' || word[5] > '9' || word[6] != '_')
        throw UsageError("'" + word + "' is not debugN_VALUE with N 0..9");
    // The library reads VALUE with %d: decimal only.
    if (word.find_first_not_of("0123456789", 7) != std::string::npos)
        throw UsageError("debug" + word.substr(5, 1) + " value '" + word.substr(7) + "' is not a decimal number (0..255)");
    number(word.substr(7), "debug" + word.substr(5, 1) + " value", 0, 255);
    if (!bind()) return kExitUnbound;
    std::string text = word;
    SetDebugInformation(text.data());
    return kExitOk;
}

}  // namespace

std::vector<Command> debugCommands() {
    return {
        {"debug", "show", "", "show the ten debug-flag bytes", runShow},
        {"debug", "set", "debugN_VALUE", "set debug-flag byte N (0..9) to VALUE (0..255)", runSet},
        {"debug", "status", "", "show the log threshold, output path and enabled modules", runStatus},
        {"debug", "level", "info|warning|error|critical|off", "set the log threshold (then debug reload)", runLevel},
        {"debug", "path", "serial|log|both|off", "set where log lines go", runPath},
        {"debug", "module", "NAME on|off", "switch logging of one module", runModule},
        {"debug", "log", "[--count N] [--interval MS] LEVEL MODULE TEXT...", "log a test line through the debug log",
         runLog,
         "With --count the line is logged N times, --interval MS apart (default 1000): the process then behaves "
         "like a running daemon, which reads the control files once and again only while the reload marker "
         "exists."},
        {"debug", "reload", "[--wait MS]", "make running daemons read the control files again", runReload,
         "A running daemon reads /conf/quorix_debug/ once and then only while /var/quorix_debug_reload exists. "
         "reload creates that marker, waits MS milliseconds (default 5000) so that every daemon logs once, and "
         "removes it again: the marker left in place would make every log call re-read the directory."},
    };
}

}  // namespace ctl
