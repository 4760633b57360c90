// quorixctl update: the task table (status report, background query), cancel,
// update runs from images in "/usr/local/lmedia/", and live progress bars.
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
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

bool parseTaskId(const std::string &text, int &id) {
    long value;
    if (!parseInt(text, value) || value < 0 || value > 14) return false;
    id = static_cast<int>(value);
    return true;
}

int runStatus(const Args &args) {
    if (!args.empty()) return usageError("update status");
    if (!bind()) return kExitUnbound;
    std::vector<unsigned char> out(572, 0);
    int length = quietly([&] { return QuorixUpdateStatusQuery(out.data()); });
    if (length < 2) return kExitFailed;
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
    int id = 255;
    if (args.size() > 1 || (args.size() == 1 && args[0] != "all" && !parseTaskId(args[0], id)))
        return usageError("update tasks [ID|all]");
    if (!bind()) return kExitUnbound;
    // One query per slot, so that each record is shown under its slot.
    std::vector<unsigned char> out(2 + kTasks * kRecordSize, 0);
    int shown = 0;
    for (int slot = id == 255 ? 0 : id; slot <= (id == 255 ? kTasks - 1 : id); ++slot) {
        int length = quietly([&] { return QuorixBackgroundTaskQuery(out.data(), slot); });
        if (length < 2) return kExitFailed;
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
    int id;
    if (args.size() != 1 || !parseTaskId(args[0], id)) return usageError("update cancel ID (0-14)");
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

// A run of a CPLD/FPGA task as an updater daemon drives it.
int trackedRun(int id, const std::string &image, const std::function<int()> &run) {
    unsigned char record[kRecordSize] = {};
    record[0] = static_cast<unsigned char>(id);
    std::strncpy(reinterpret_cast<char *>(record + 177), image.c_str(), 127);
    quietly([&] {
        QuorixUpdateTaskInfo(id, record);
        return QuorixSetTaskStatus(id, 2);
    });
    int result = run();
    quietly([&] { return QuorixSetTaskStatus(id, result == 0 ? 3 : 4); });
    return result;
}

void setProgramTime(int slot, long ms) {
    void *lib = dlopen("/usr/local/lib/libquorix_common_feature.so", RTLD_NOW | RTLD_NOLOAD);
    auto set =
        lib == nullptr ? nullptr : reinterpret_cast<int (*)(int, unsigned)>(dlsym(lib, "quorix_sim_set_program_time"));
    if (set != nullptr)
        set(slot, static_cast<unsigned>(ms));
    else
        std::fprintf(stderr, "quorixctl: --program-ms needs the simulator\n");
}

int runRun(const Args &argsIn) {
    static const char *kUsage =
        "update run cpld KIND IMAGE | fpga IMAGE | psu INDEX IMAGE | gpu-fpga IMAGE | cec IMAGE"
        " [--program-ms MS]";
    Args args = argsIn;
    long programMs = -1;
    if (args.size() >= 2 && args[args.size() - 2] == "--program-ms") {
        if (!parseInt(args.back(), programMs) || programMs < 0) return usageError(kUsage);
        args.resize(args.size() - 2);
    }
    if (args.empty()) return usageError(kUsage);
    const std::string &what = args[0];
    long number = 0;
    bool twoArgs = what == "cpld" || what == "psu";
    if (twoArgs ? args.size() != 3 || !parseInt(args[1], number) : args.size() != 2) return usageError(kUsage);
    std::string image = imagePath(args.back());
    if (access(image.c_str(), R_OK) != 0) {
        std::fprintf(stderr, "quorixctl: no image %s\n", image.c_str());
        return kExitFailed;
    }
    if (!bind()) return kExitUnbound;
    int slot = what == "cpld" ? 55 : what == "fpga" ? 169 : what == "psu" ? 56 : 182;
    if (programMs >= 0) setProgramTime(slot, programMs);
    int result;
    if (what == "cpld") {
        static const int kTaskOfKind[] = {2, 3, 4, 10};
        if (number < 0 || number > 3) return usageError("CPLD KIND: 0 main board, 1 front, 2 rear, 3 fan plane");
        result = trackedRun(kTaskOfKind[number], image, [&] {
            return quietly([&] { return QuorixUpdateCpld(static_cast<int>(number), 0, image.c_str()); });
        });
    } else if (what == "fpga") {
        result = trackedRun(7, image, [&] { return quietly([&] { return QuorixUpdateFpga(0, image.c_str()); }); });
    } else if (what == "psu") {
        if (number < 0 || number > 255) return usageError("PSU INDEX: 0-255");
        result = quietly([&] { return QuorixUpdatePSU(image.c_str(), static_cast<unsigned char>(number)); });
    } else if (what == "gpu-fpga") {
        result = quietly([&] { return QuorixUpdateHgx2Fpga(image.c_str()); });
    } else if (what == "cec") {
        result = quietly([&] { return QuorixUpdateGPUCECFpga(image.c_str()); });
    } else {
        return usageError(kUsage);
    }
    std::printf("%s update from %s: %s (%d)\n", what.c_str(), image.c_str(), result == 0 ? "done" : "failed", result);
    return result == 0 ? kExitOk : kExitFailed;
}

std::string bar(int percent) {
    int clamped = percent < 0 ? 0 : percent > 100 ? 100 : percent;
    int filled = clamped * kBarWidth / 100;
    return "[" + std::string(static_cast<std::size_t>(filled), '#') +
           std::string(static_cast<std::size_t>(kBarWidth - filled), '.') + "]";
}

int runWatch(const Args &args) {
    long intervalMs = 500;
    if (!(args.empty() ||
          (args.size() == 2 && args[0] == "--interval" && parseInt(args[1], intervalMs) && intervalMs > 0)))
        return usageError("update watch [--interval MS]");
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
            int percent = progressOf(id);
            char line[128];
            std::snprintf(line, sizeof line, "%-2d %-15s %s %3d%% %s", id, kNames[id], bar(percent).c_str(), percent,
                          statusWord(status));
            lines.push_back(line);
        }
        bool running = false;
        for (int id : watched) running = running || QuorixGetTaskStatus(id) == 1 || QuorixGetTaskStatus(id) == 2;
        if (tty && drawn > 0) std::printf("\033[%dA", drawn);
        for (const std::string &line : lines) std::printf("%s%s\n", tty ? "\033[2K" : "", line.c_str());
        drawn = static_cast<int>(lines.size());
        std::fflush(stdout);
        if (!running) break;
        timespec pause{intervalMs / 1000, (intervalMs % 1000) * 1000000L};
        nanosleep(&pause, nullptr);
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
         "cpld KIND IMAGE | fpga IMAGE | psu INDEX IMAGE | gpu-fpga IMAGE | cec IMAGE [--program-ms MS]",
         "run an update from an image in /usr/local/lmedia/", runRun},
        {"update", "watch", "[--interval MS]", "progress bars of the running tasks until they finish", runWatch},
    };
}

}  // namespace ctl
