// quorixctl debug: the debug-flag bytes and the debug log's control files.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include <cstdio>
#include <string>

#include "command.h"
#include "quorix_common_interface.h"

namespace ctl {
namespace {

constexpr const char *kControlDir = "/conf/quorix_debug/";

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
    if (args.size() != 1) return usageError(std::string("debug ") + what + " needs one word");
    const Choice *chosen = nullptr;
    for (const Choice &c : family)
        if (args[0] == c.word) chosen = &c;
    if (chosen == nullptr && args[0] != "off") return usageError(std::string("unknown ") + what + " '" + args[0] + "'");
    mkdir("/conf", 0755);
    mkdir(kControlDir, 0755);
    for (const Choice &c : family) unlink((std::string(kControlDir) + c.file).c_str());
    if (chosen != nullptr && !touchFile(std::string(kControlDir) + chosen->file)) {
        std::perror("quorixctl: cannot create the control file");
        return kExitFailed;
    }
    std::printf("%s: %s\n", what, args[0].c_str());
    return kExitOk;
}

int runLevel(const Args &args) { return selectOne(args, kLevels, "level"); }
int runPath(const Args &args) { return selectOne(args, kPaths, "path"); }

int runModule(const Args &args) {
    if (args.size() != 2 || (args[1] != "on" && args[1] != "off")) return usageError("debug module NAME on|off");
    mkdir("/conf", 0755);
    mkdir(kControlDir, 0755);
    std::string file = std::string(kControlDir) + "ENABLE_" + args[0];
    if (args[1] == "on" ? !touchFile(file) : (unlink(file.c_str()) != 0 && errno != ENOENT)) {
        std::perror("quorixctl: cannot change the module switch");
        return kExitFailed;
    }
    std::printf("module %s: %s\n", args[0].c_str(), args[1].c_str());
    return kExitOk;
}

int runStatus(const Args &) {
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

int runLog(const Args &args) {
    if (args.size() < 3) return usageError("debug log LEVEL MODULE TEXT...");
    long level = 0;
    if (!parseInt(args[0], level)) {
        level = -1;
        for (int i = 0; i < 4; ++i)
            if (args[0] == DebugLevelDesc[i] || args[0] == kLevels[i].word) level = i;
        if (level < 0) return usageError("level is 0-3 or info|warning|error|critical");
    }
    std::string text;
    for (std::size_t i = 2; i < args.size(); ++i) text += (i > 2 ? " " : "") + args[i];
    QuorixDebug(static_cast<unsigned>(level), args[1].c_str(), "%s", text.c_str());
    std::fflush(stdout);
    return kExitOk;
}

int runShow(const Args &) {
    if (!bind()) return kExitUnbound;
    ShowAllDebugInfo();
    return kExitOk;
}

int runSet(const Args &args) {
    if (args.size() != 1) return usageError("debug set debugN_VALUE");
    if (!bind()) return kExitUnbound;
    std::string text = args[0];
    SetDebugInformation(text.data());
    return kExitOk;
}

}  // namespace

std::vector<Command> debugCommands() {
    return {
        {"debug", "show", "", "show the ten debug-flag bytes", runShow},
        {"debug", "set", "debugN_VALUE", "set a debug-flag byte (as --set-debug-info)", runSet},
        {"debug", "status", "", "show the log threshold, output path and enabled modules", runStatus},
        {"debug", "level", "info|warning|error|critical|off", "set the log threshold", runLevel},
        {"debug", "path", "serial|log|both|off", "set where log lines go", runPath},
        {"debug", "module", "NAME on|off", "switch logging of one module", runModule},
        {"debug", "log", "LEVEL MODULE TEXT...", "log a test line through the debug log", runLog},
    };
}

}  // namespace ctl
