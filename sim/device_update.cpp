// Programming devices of the simulated board: each programming slot takes a
// set time (quorix_sim_set_program_time), moves the progress the platform
// reports while it works (the flasher file for the BIOS flash, the task's
// progress byte for supplies, VRs and the SCP flash), and fails half-way
// when its fault is set to 1. The result is the slot's settable result.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "sim_devices.h"
#include "sim_state.h"
#include "update/update_layout.h"

namespace sim {
namespace {

namespace upd = qrx::update;

constexpr const char *kTimesObject = "/quorix_sim_update";
constexpr const char *kFlasherProgressPath = "/var/flasher.progress";
constexpr int kSteps = 20;

// Flasher progress file: byte 0 stage (1 erase, 2 write, 3 verify, 4 done),
// byte 1 percent, bytes 2..92 a text, bytes 93..96 state (1 busy, 2 all
// written, 4 failed).
constexpr std::size_t kFlashFileSize = 97;
constexpr std::size_t kFlashPercent = 1;
constexpr std::size_t kFlashText = 2;
constexpr std::size_t kFlashTextLen = 91;
constexpr std::size_t kFlashState = 93;
constexpr std::uint32_t kStateBusy = 1, kStateDone = 2, kStateFailed = 4;

struct ProgramTimes {
    std::atomic<std::uint32_t> ms[kSlotCount];
};

ProgramTimes &times() {
    static ProgramTimes *mapped = [] {
        int fd = shm_open(kTimesObject, O_RDWR | O_CREAT, 0600);
        if (fd < 0) return static_cast<ProgramTimes *>(nullptr);
        struct stat st {};
        // An object too short to map would fault on first access: use the fallback.
        if (fstat(fd, &st) != 0 || (static_cast<std::size_t>(st.st_size) < sizeof(ProgramTimes) &&
                                    ftruncate(fd, sizeof(ProgramTimes)) != 0)) {
            close(fd);
            return static_cast<ProgramTimes *>(nullptr);
        }
        void *p = mmap(nullptr, sizeof(ProgramTimes), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
        close(fd);
        return p == MAP_FAILED ? nullptr : static_cast<ProgramTimes *>(p);
    }();
    static ProgramTimes fallback{};
    return mapped != nullptr ? *mapped : fallback;
}

qrx::ByteView taskRecord(int id) {
    return qrx::ByteView(block()).at(upd::kTaskTableOffset + upd::kTaskRecordSize * static_cast<std::size_t>(id));
}

void pause(std::uint32_t ms) {
    if (ms == 0) return;
    timespec ts{static_cast<time_t>(ms / 1000), static_cast<long>(ms % 1000) * 1000000L};
    while (nanosleep(&ts, &ts) != 0) {
    }
}

void writeFlasherFile(std::uint8_t stage, int percent, const char *text, std::uint32_t state) {
    unsigned char file[kFlashFileSize] = {};
    qrx::ByteView view(file);
    view.setU8(0, stage);
    view.setU8(kFlashPercent, static_cast<std::uint8_t>(percent));
    std::strncpy(reinterpret_cast<char *>(file + kFlashText), text, kFlashTextLen - 1);
    view.setU32(kFlashState, state);
    // Whole-file replace, so a reader never sees a half-written block.
    char tmp[] = "/var/flasher.progress.XXXXXX";
    int fd = mkstemp(tmp);
    if (fd < 0) return;
    bool ok = write(fd, file, sizeof file) == static_cast<ssize_t>(sizeof file);
    close(fd);
    if (!ok || rename(tmp, kFlasherProgressPath) != 0) unlink(tmp);
}

// The platform knows how long its parts take: the expected duration field
// of an estimated task is filled in when it is still empty.
void seedDuration(int taskId, std::uint32_t ms) {
    std::size_t off = upd::durationOffset(taskId);
    if (off == 0) return;
    qrx::ByteView b(block());
    if (b.u16(off) == 0) b.setU16(off, static_cast<std::uint16_t>(std::max<std::uint32_t>(1, (ms + 999) / 1000)));
}

enum class Report { None, TaskProgress, Flasher };

// One programming run: kSteps pauses, reporting as it goes; a Fail fault
// stops it half-way.
int program(Slot slot, int taskId, Report report) {
    countCall(slot);
    std::uint32_t total = times().ms[slotIndex(slot)].load();
    bool failing = faultOf(slot) == Fault::Fail;
    seedDuration(taskId, total);
    if (report == Report::Flasher) writeFlasherFile(1, 0, "Erasing flash", kStateBusy);
    for (int step = 1; step <= kSteps; ++step) {
        pause(total / kSteps);
        int percent = step * 100 / kSteps;
        if (failing && percent > 50) {
            if (report == Report::Flasher) writeFlasherFile(2, percent - 5, "Write failed", kStateFailed);
            return -1;
        }
        if (report == Report::TaskProgress && taskId >= 0 && percent < 100)
            taskRecord(taskId).setU8(upd::task::kProgress, static_cast<std::uint8_t>(percent));
        if (report == Report::Flasher)
            writeFlasherFile(step == kSteps           ? 4
                             : step > kSteps * 9 / 10 ? 3
                                                      : 2,
                             percent, step == kSteps ? "Flash done" : "Writing flash",
                             step == kSteps ? kStateDone : kStateBusy);
    }
    return resultOf(slot);
}

int cpldTask(int kind) {
    static constexpr int kTasks[] = {upd::kTaskMbCpld, upd::kTaskFrontBpCpld, upd::kTaskRearBpCpld,
                                     upd::kTaskFanPlaneCpld};
    return kind >= 0 && kind < 4 ? kTasks[kind] : -1;
}

}  // namespace

int programCpld(int kind, int, const char *, int) {
    return program(Slot::ProgramCpld, cpldTask(kind), Report::None);
}

int programPsu(const char *, int) {
    return program(Slot::ProgramPsu, upd::kTaskPsu, Report::TaskProgress);
}

int upgradeVr(unsigned char *record, int length) {
    // Operation byte 3: 0 asks whether an upgrade is due, answered at once.
    if (record != nullptr && length > 3 && record[3] == 0) {
        countCall(Slot::UpgradeVr);
        return faultOf(Slot::UpgradeVr) == Fault::Fail ? -1 : resultOf(Slot::UpgradeVr);
    }
    return program(Slot::UpgradeVr, upd::kTaskVr, Report::TaskProgress);
}

int upgradeVrPxe(int, const char *) {
    return program(Slot::UpgradeVrPxe, upd::kTaskVr, Report::TaskProgress);
}
int upgradeVrXdp(int, const char *) {
    return program(Slot::UpgradeVrXdp, upd::kTaskVr, Report::TaskProgress);
}
int upgradeVrMps(int, const char *) {
    return program(Slot::UpgradeVrMps, upd::kTaskVr, Report::TaskProgress);
}

int programFpga(int kind, int, const char *, int) {
    return program(Slot::ProgramFpga, kind == 0 ? upd::kTaskMbFpga : -1, Report::None);
}

int programGpuFpga(int kind, int, const char *, int) {
    return program(Slot::ProgramGpuFpga, kind == 0 ? upd::kTaskGpuFpga : upd::kTaskGpuCec, Report::None);
}

int programScp(const char *, int flash) {
    return flash == 0 ? program(Slot::ProgramScp, upd::kTaskBios, Report::Flasher)
                      : program(Slot::ProgramScp, upd::kTaskScp, Report::TaskProgress);
}

void resetUpdateDevices() {
    for (auto &ms : times().ms) ms = 0;
}

}  // namespace sim

extern "C" __attribute__((visibility("default"))) int quorix_sim_set_program_time(int slot, unsigned int milliseconds) {
    if (slot < 0 || slot >= sim::kSlotCount) return -1;
    sim::times().ms[slot] = milliseconds;
    return 0;
}
