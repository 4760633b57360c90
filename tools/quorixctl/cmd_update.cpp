// quorixctl update: the task table (status report, background query), cancel,
// update runs from images in "/usr/local/lmedia/", and live progress bars.
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <signal.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

#include "command.h"
#include "quorix_common_interface.h"

namespace ctl {
namespace {

constexpr const char *kUploadDir = "/usr/local/lmedia/";
constexpr int kTasks = 15;
constexpr std::size_t kRecordSize = 307;
constexpr int kBarWidth = 30;
constexpr const char *kStatusWords[] = {"none", "waiting", "running", "finished", "failed", "accepted"};
constexpr const char *kNames[] = {"BMC",     "BIOS",    "MB CPLD",  "FRONT BP CPLD", "REAR BP CPLD",   "PSU",
                                  "VR",      "MB FPGA", "GPU FPGA", "GPU CEC",       "FAN PLANE CPLD", "SCP",
                                  "task 12", "task 13", "task 14"};

const char *statusWord(int status) {
    return status >= 0 && status <= 5 ? kStatusWords[status] : "?";
}

// The library's own console lines (estimate traces, banners) would break the
// tables; they go to /dev/null while fn runs.
template <typename Fn>
auto quietly(Fn fn) {
    std::fflush(stdout);
    int saved = dup(STDOUT_FILENO);
    int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (null >= 0) dup2(null, STDOUT_FILENO);
    auto result = fn();
    std::fflush(stdout);
    if (saved >= 0) {
        dup2(saved, STDOUT_FILENO);
        close(saved);
    }
    if (null >= 0) close(null);
    return result;
}

int taskId(const std::string &text) {
    return static_cast<int>(number(text, "task id", 0, kTasks - 1));
}

int runStatus(const Args &args) {
    expectArgs(args, 0, 0);
    if (!bind()) return kExitUnbound;
    std::vector<unsigned char> out(572, 0);
    int length = quietly([&] { return QuorixUpdateStatusQuery(out.data()); });
    if (length < 2) {
        std::fprintf(stderr, "quorixctl: the status report failed (%d)\n", length);
        return kExitFailed;
    }
    std::printf("%-3s %-16s %-9s %8s %7s %6s %6s\n", "ID", "COMPONENT", "STATUS", "PROGRESS", "TRIGGER", "A", "B");
    for (int k = 0; k < out[1]; ++k) {
        const unsigned char *e = out.data() + 2 + 38 * k;
        char name[33] = {};
        std::memcpy(name, e + 1, 32);
        std::printf("%-3d %-16s %-9s %7d%% %7d 0x%02x   0x%02x\n", e[0], name[0] != 0 ? name : "-", statusWord(e[33]),
                    e[34], e[35], e[36], e[37]);
    }
    if (out[1] == 0) std::puts("no update tasks");
    return kExitOk;
}

std::string fixedText(const unsigned char *field, std::size_t length) {
    return std::string(reinterpret_cast<const char *>(field), strnlen(reinterpret_cast<const char *>(field), length));
}

int runTasks(const Args &args) {
    expectArgs(args, 0, 1);
    const int id = args.empty() || args[0] == "all" ? 255 : taskId(args[0]);
    if (!bind()) return kExitUnbound;
    // One query per slot, so that each record is shown under its slot.
    std::vector<unsigned char> out(2 + kTasks * kRecordSize, 0);
    int shown = 0;
    for (int slot = id == 255 ? 0 : id; slot <= (id == 255 ? kTasks - 1 : id); ++slot) {
        int length = quietly([&] { return QuorixBackgroundTaskQuery(out.data(), slot); });
        if (length < 2) {
            std::fprintf(stderr, "quorixctl: the query of task %d failed (%d)\n", slot, length);
            return kExitFailed;
        }
        if (out[1] == 0) continue;
        const unsigned char *r = out.data() + 2;
        std::uint32_t start =
            static_cast<std::uint32_t>(r[38] | r[39] << 8 | r[40] << 16) | static_cast<std::uint32_t>(r[41]) << 24;
        std::printf("task %d (%s), record id %d\n", slot, kNames[slot], r[0]);
        std::printf("  type %d  status %d (%s)  sub-state %d  trigger %d  progress %d%%\n", r[1], r[36],
                    statusWord(r[36]), r[37], r[107], r[176]);
        std::printf("  component %d  board %d  report 0x%02x 0x%02x  start %u\n", r[42], r[43], r[2], r[3], start);
        std::printf("  image %s\n", fixedText(r + 177, 128).c_str());
        ++shown;
    }
    if (shown == 0) std::puts("no update tasks");
    return kExitOk;
}

int runCancel(const Args &args) {
    expectArgs(args, 1, 1);
    const int id = taskId(args[0]);
    if (!bind()) return kExitUnbound;
    int result = quietly([&] { return QuorixBackgroundTaskCancel(id); });
    if (result == -2) {
        std::printf("task %d is %s: only a waiting task can be cancelled\n", id, statusWord(QuorixGetTaskStatus(id)));
        return kExitFailed;
    }
    std::printf("cancel of task %d sent to the power-off scan task\n", id);
    return result == 0 ? kExitOk : kExitFailed;
}

std::string imagePath(const std::string &name) {
    return name.find('/') == std::string::npos ? std::string(kUploadDir) + name : name;
}

// Progress of a task the way the library reports it: estimates for the
// CPLD and FPGA tasks, the stored byte for the others.
int progressOf(int id) {
    return quietly([&] {
        switch (id) {
            case 2:
            case 3:
            case 4:
            case 10:
                return QuorixGetCpldUpgradeProgress(id);
            case 7:
            case 8:
            case 9:
            case 14:
                return QuorixGetFpgaUpgradeProgress(id);
            default: {
                unsigned char record[kRecordSize] = {};
                return QuorixGetUpgradeInfo(record, id) == 0 ? static_cast<int>(record[176]) : 0;
            }
        }
    });
}

std::string bar(int percent) {
    int clamped = percent < 0 ? 0 : percent > 100 ? 100 : percent;
    int filled = clamped * kBarWidth / 100;
    return "[" + std::string(static_cast<std::size_t>(filled), '#') +
           std::string(static_cast<std::size_t>(kBarWidth - filled), '.') + "]";
}

std::string barLine(int id, int percent, int status) {
    char line[128];
    std::snprintf(line, sizeof line, "%-2d %-15s %s %3d%% %s", id, kNames[id], bar(percent).c_str(), percent,
                  statusWord(status));
    return line;
}

void setProgramTime(int slot, long long ms) {
    void *lib = dlopen("/usr/local/lib/libquorix_common_feature.so", RTLD_NOW | RTLD_NOLOAD);
    auto set =
        lib == nullptr ? nullptr : reinterpret_cast<int (*)(int, unsigned)>(dlsym(lib, "quorix_sim_set_program_time"));
    if (set == nullptr) throw EnvError("--program-ms needs the simulated feature library");
    set(slot, static_cast<unsigned>(ms));
}

volatile sig_atomic_t gInterrupted = 0;
constexpr int kInterrupted = INT_MIN;  // supervisedRun's result when the run was stopped

// What the library printed while it ran, without its banners: its reasons.
std::string reasons(const std::string &output) {
    std::string kept;
    std::size_t at = 0;
    while (at < output.size()) {
        std::size_t end = output.find('\n', at);
        if (end == std::string::npos) end = output.size();
        std::string line = output.substr(at, end - at);
        at = end + 1;
        line.erase(std::remove(line.begin(), line.end(), '\r'), line.end());
        if (line.empty() || line.find("====") != std::string::npos) continue;
        kept += "  " + line + "\n";
    }
    return kept;
}

// Runs the update in a child process, so that this one can draw the task's
// progress bar meanwhile (on a terminal) and keep the library's console lines
// apart. An interrupted run ends its task as failed, never left "running".
int supervisedRun(int task, const std::string &image, long long intervalMs, const std::function<int()> &update) {
    if (task >= 0) {
        unsigned char record[kRecordSize] = {};
        record[0] = static_cast<unsigned char>(task);
        std::strncpy(reinterpret_cast<char *>(record + 177), image.c_str(), 127);
        quietly([&] {
            QuorixUpdateTaskInfo(task, record);
            return QuorixSetTaskStatus(task, 2);
        });
    }
    int out[2], res[2];
    if (pipe(out) != 0 || pipe(res) != 0) throw EnvError(std::string("pipe: ") + std::strerror(errno));
    std::fflush(stdout);
    const pid_t child = fork();
    if (child < 0) throw EnvError(std::string("fork: ") + std::strerror(errno));
    if (child == 0) {
        dup2(out[1], STDOUT_FILENO);
        close(out[0]);
        close(res[0]);
        const int result = update();
        std::fflush(stdout);
        ssize_t written = write(res[1], &result, sizeof result);
        _exit(written == static_cast<ssize_t>(sizeof result) ? 0 : 1);
    }
    close(out[1]);
    close(res[1]);
    struct sigaction sa {};
    sa.sa_handler = [](int) { gInterrupted = 1; };
    for (int sig : {SIGINT, SIGTERM, SIGHUP}) sigaction(sig, &sa, nullptr);
    fcntl(out[0], F_SETFL, O_NONBLOCK);
    const bool tty = isatty(STDOUT_FILENO) != 0;
    std::string output;
    int status = 0;
    while (waitpid(child, &status, WNOHANG) == 0) {
        if (gInterrupted) {
            kill(child, SIGKILL);
            waitpid(child, &status, 0);
            break;
        }
        char buf[512];
        for (ssize_t n; (n = read(out[0], buf, sizeof buf)) > 0;) output.append(buf, static_cast<std::size_t>(n));
        if (tty && task >= 0) {
            std::printf("\r\033[2K%s", barLine(task, progressOf(task), QuorixGetTaskStatus(task)).c_str());
            std::fflush(stdout);
        }
        sleepMs(intervalMs);
    }
    fcntl(out[0], F_SETFL, 0);
    char buf[512];
    for (ssize_t n; (n = read(out[0], buf, sizeof buf)) > 0;) output.append(buf, static_cast<std::size_t>(n));
    int result = -1;
    const bool reported = !gInterrupted && read(res[0], &result, sizeof result) == static_cast<ssize_t>(sizeof result);
    close(out[0]);
    close(res[0]);
    if (!reported) result = -1;
    if (task >= 0) {
        quietly([&] { return QuorixSetTaskStatus(task, result == 0 ? 3 : 4); });
        if (tty) std::printf("\r\033[2K");
        std::printf("%s\n", barLine(task, progressOf(task), QuorixGetTaskStatus(task)).c_str());
    }
    if (gInterrupted) {
        std::fprintf(stderr, "quorixctl: interrupted: the update was stopped%s\n",
                     task >= 0 ? " and its task marked failed" : "");
        return kInterrupted;
    }
    if (!reported) std::fprintf(stderr, "quorixctl: the update process ended without a result\n");
    if (result != 0 && !reasons(output).empty())
        std::fprintf(stderr, "quorixctl: the library said:\n%s", reasons(output).c_str());
    return result;
}

const char *resultMeaning(const std::string &what, int result) {
    if (result == 0) return "done";
    if ((what == "cpld" || what == "fpga") && result == -1) return "failed: board id mismatch";
    if (what == "cpld" && result == -2) return "failed: no device of that kind matches the image name";
    return "failed";
}

int runRun(const Args &argsIn) {
    const Parsed parsed = parseOptions(argsIn, {{"program-ms", true}, {"interval", true}});
    const Args &args = parsed.positional;
    const long long programMs =
        parsed.has("program-ms") ? number(parsed.value("program-ms"), "--program-ms", 0, 3600000) : -1;
    const long long intervalMs = number(parsed.value("interval", "200"), "--interval", 10, 60000);
    if (args.empty()) throw UsageError("missing what to update: cpld, fpga, psu, gpu-fpga or cec");
    const std::string &what = args[0];
    if (what != "cpld" && what != "fpga" && what != "psu" && what != "gpu-fpga" && what != "cec")
        throw UsageError("'" + what + "' is not cpld, fpga, psu, gpu-fpga or cec");
    const bool twoArgs = what == "cpld" || what == "psu";
    expectArgs(args, twoArgs ? 3 : 2, twoArgs ? 3 : 2);
    long long number_ = 0;
    if (what == "cpld") number_ = number(args[1], "CPLD kind", 0, 3);
    if (what == "psu") number_ = number(args[1], "supply", 0, 7);
    const std::string image = readableFile(imagePath(args.back()));
    if (!bind()) return kExitUnbound;
    if (what == "psu") {
        const int count = ReadQuorixPSUNum();
        if (count <= 0) throw UsageError("no power supplies (the block's supply count is 0)");
        number(args[1], "supply", 0, std::min(count, 8) - 1);
    }
    const bool sideFile = access((image + ".version").c_str(), R_OK) == 0;
    if ((what == "cpld" || what == "fpga") && !sideFile)
        std::fprintf(stderr, "quorixctl: no side file %s.version: the library posts no IDL update line\n",
                     image.c_str());
    int slot = what == "cpld" ? 55 : what == "fpga" ? 169 : what == "psu" ? 56 : 182;
    if (programMs >= 0) setProgramTime(slot, programMs);
    static const int kTaskOfKind[] = {2, 3, 4, 10};
    const int kind = static_cast<int>(number_);
    std::function<int()> update;
    int task = -1;
    if (what == "cpld") {
        task = kTaskOfKind[kind];
        update = [&] { return QuorixUpdateCpld(kind, 0, image.c_str()); };
    } else if (what == "fpga") {
        task = 7;
        update = [&] { return QuorixUpdateFpga(0, image.c_str()); };
    } else if (what == "psu") {
        update = [&] { return QuorixUpdatePSU(image.c_str(), static_cast<unsigned char>(kind)); };
    } else if (what == "gpu-fpga") {
        update = [&] { return QuorixUpdateHgx2Fpga(image.c_str()); };
    } else {
        update = [&] { return QuorixUpdateGPUCECFpga(image.c_str()); };
    }
    const int result = supervisedRun(task, image, intervalMs, update);
    if (result == kInterrupted)
        std::printf("%s update from %s: interrupted\n", what.c_str(), image.c_str());
    else
        std::printf("%s update from %s: %s (%d)\n", what.c_str(), image.c_str(), resultMeaning(what, result), result);
    return result == 0 ? kExitOk : kExitFailed;
}

int runWatch(const Args &args) {
    const Parsed parsed = parseOptions(args, {{"interval", true}});
    expectArgs(parsed.positional, 0, 0);
    const long long intervalMs = number(parsed.value("interval", "500"), "--interval", 10, 60000);
    if (!bind()) return kExitUnbound;
    bool tty = isatty(STDOUT_FILENO) != 0;
    int drawn = 0;
    std::vector<int> watched;
    while (true) {
        std::vector<std::string> lines;
        for (int id = 0; id < kTasks; ++id) {
            int status = QuorixGetTaskStatus(id);
            bool seen = std::find(watched.begin(), watched.end(), id) != watched.end();
            if (status != 1 && status != 2 && !seen) continue;
            if (!seen) watched.push_back(id);
            lines.push_back(barLine(id, progressOf(id), status));
        }
        bool running = false;
        for (int id : watched) running = running || QuorixGetTaskStatus(id) == 1 || QuorixGetTaskStatus(id) == 2;
        if (tty && drawn > 0) std::printf("\033[%dA", drawn);
        // Off a terminal only the final state is printed.
        if (tty || !running)
            for (const std::string &line : lines) std::printf("%s%s\n", tty ? "\033[2K" : "", line.c_str());
        drawn = tty ? static_cast<int>(lines.size()) : 0;
        std::fflush(stdout);
        if (!running) break;
        sleepMs(intervalMs);
    }
    if (watched.empty()) std::puts("no running update tasks");
    return kExitOk;
}

}  // namespace

std::vector<Command> updateCommands() {
    return {
        {"update", "status", "", "the update status report as a table", runStatus},
        {"update", "tasks", "[ID|all]", "background tasks, decoded", runTasks},
        {"update", "cancel", "ID", "cancel a waiting task", runCancel},
        {"update", "run",
         "cpld KIND IMAGE | fpga IMAGE | psu INDEX IMAGE | gpu-fpga IMAGE | cec IMAGE [--program-ms MS] "
         "[--interval MS]",
         "run an update from an image in /usr/local/lmedia/", runRun,
         "Images go to /usr/local/lmedia/ (on the console: build/host/state/console/lmedia/ of the host); an IMAGE "
         "without a slash is taken from there. Next to each CPLD or FPGA image a side file IMAGE.version holds the "
         "new version text: without it the update runs but the library posts no IDL update line. A main-board "
         "image name must hold the board id in hex (\"%2x\"), a backplane or fan plane name its board text after "
         "\"cpld\".\nKIND: 0 main board, 1 front backplane, 2 rear backplane, 3 fan plane. INDEX: a supply below "
         "the supply count.\nOn a terminal the task's progress bar is drawn every --interval MS (default 200) while "
         "the update runs. An interrupted run (Ctrl-C) ends its task as failed. --program-ms sets how long the "
         "simulator takes to program a device."},
        {"update", "watch", "[--interval MS]", "progress bars of the running tasks until they finish", runWatch,
         "On a terminal the bars are redrawn every --interval MS (default 500); otherwise only the final state "
         "is printed."},
    };
}

}  // namespace ctl
