// CPLD and FPGA update runs: board matching, programming through the
// feature library, IDL update lines from the ".version" side files, version
// readers and progress estimates.
#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <iterator>
#include <climits>
#include <string_view>

#include "core/export.h"
#include "core/unique.h"
#include "core/slot_table.h"
#include "ipc/wire_records.h"
#include "quorix_common_interface.h"
#include "update/update_internal.h"
#include "update/update_layout.h"
#include "devstate/board_layout.h"
#include "devstate/disk_layout.h"

namespace qrx::update {
namespace {

constexpr std::size_t kSideFilePathMax = 256;  // path plus ".version", at most 255 characters
constexpr std::size_t kVersionTextSize = 32;
constexpr std::uint8_t kVersionUnknown = 255;
constexpr int kLocationFront = 7, kLocationRear = 8, kMaxEstimate = 95;
constexpr const char *kWordOk = "successed";
constexpr const char *kWordFailed = "failed";

enum CpldKind { kCpldMainBoard = 0, kCpldFront = 1, kCpldRear = 2, kCpldFanPlane = 3 };

// Last estimate made while the task ran, per process.
std::uint8_t g_cpldProgress[kTaskCount];
std::uint8_t g_fpgaProgress[kTaskCount];

struct CpldDevices {
    int taskId;
    std::size_t countOffset;  // 0: one device, no board text
    std::size_t textOffset;
    std::size_t stride;
};

bool cpldDevices(int kind, CpldDevices &out) {
    switch (kind) {
        case kCpldMainBoard:
            out = {kTaskMbCpld, 0, 0, 0};
            return true;
        case kCpldFront:
            out = {kTaskFrontBpCpld, disk::kFrontBackplaneCountOffset, disk::kFrontBackplanesOffset + disk::kBpBoardText, disk::kBackplaneRecordSize};
            return true;
        case kCpldRear:
            out = {kTaskRearBpCpld, disk::kRearBackplaneCountOffset, disk::kRearBackplanesOffset + disk::kBpBoardText, disk::kBackplaneRecordSize};
            return true;
        case kCpldFanPlane:
            out = {kTaskFanPlaneCpld, board::kFanPlaneCountOffset, board::kFanPlaneRecordsOffset + board::kFanPlaneBoardText, board::kFanPlaneRecordSize};
            return true;
        default:
            return false;
    }
}


// The board id as "%2x" must appear in the image path.
bool pathHoldsBoardId(const char *path, std::size_t idOffset) {
    int id = sharedBlock().u8(idOffset);
    char idText[8];
    std::snprintf(idText, sizeof idText, "%2x", id);
    if (path != nullptr && std::strstr(path, idText) != nullptr) return true;
    std::printf("Can not get boardid [%d] from file name[%s]\n", id, path == nullptr ? "(null)" : path);
    return false;
}

// Compares 12 characters of the board text with those after the first
// "cpld" in the path (the path may end earlier: then they differ).
bool boardTextMatches(const char *path, std::size_t textOffset) {
    const char *mark = std::strstr(path, "cpld");
    if (mark == nullptr) return false;
    char field[board::kBoardTextLen + 1] = {};
    sharedBlock().copyOut(textOffset, field, board::kBoardTextLen);
    return std::strncmp(mark + 4, field, board::kBoardTextLen) == 0;
}

void storeStartTime(int taskId, std::time_t now) {
    taskRecord(taskId).setU32(task::kStartTime, static_cast<std::uint32_t>(now));
}

// The IDL lines of a finished run, defined with the version readers below.
void cpldPostIdl(int kind, int index, const char *path, int flag, const char *word);
void fpgaPostIdl(int kind, const char *path, int flag, const char *word);

int updateCpld(int kind, const char *path) {
    CpldDevices dev{};
    if (!cpldDevices(kind, dev)) return -2;
    if (path == nullptr) {
        std::printf("Can not get boardid [%d] from file name[%s]\n", sharedBlock().u8(board::kMbCpldBoardIdOffset), "(null)");
        return -1;
    }
    int count = 1;
    if (kind == kCpldMainBoard) {
        if (!pathHoldsBoardId(path, board::kMbCpldBoardIdOffset)) return -1;
    } else {
        count = sharedBlock().u8(dev.countOffset);
        if (count == 0) return -2;
    }
    int programmed = 0;
    int result = 0;
    ByteView rec = taskRecord(dev.taskId);
    for (int i = 0; i < count; ++i) {
        if (i == 0) {
            std::time_t now = std::time(nullptr);
            storeStartTime(dev.taskId, now);
            std::printf("\r\n=====start update cpld time:%ld file:%s======\r\n", static_cast<long>(now), path);
        }
        if (kind != kCpldMainBoard &&
            !boardTextMatches(path, dev.textOffset + dev.stride * static_cast<std::size_t>(i)))
            continue;
        int r = slotFn<Slot::ProgramCpld>()(kind, i, path, rec.u8(task::kTrigger));
        ++programmed;
        result |= r;
        cpldPostIdl(kind, i, path, 1, r != 0 ? kWordFailed : kWordOk);
    }
    return programmed == 0 ? -2 : result;
}

int updateFpga(int kind, const char *path) {
    if (kind == 0 && !pathHoldsBoardId(path, board::kFpgaBoardIdOffset)) return -1;
    // Kinds other than 0 keep their start time in task 0's record (kept so).
    int taskId = kind == 0 ? kTaskMbFpga : kTaskBmc;
    std::time_t now = std::time(nullptr);
    storeStartTime(taskId, now);
    std::printf("\r\n=====start update fpga time:%ld file:%s======\r\n", static_cast<long>(now),
                path == nullptr ? "(null)" : path);
    int result = slotFn<Slot::ProgramFpga>()(kind, 0, path, taskRecord(taskId).u8(task::kTrigger));
    fpgaPostIdl(kind, path, 1, result != 0 ? kWordFailed : kWordOk);
    return result;
}

}  // namespace

// New version from "<path>.version": false when missing or empty.
bool readSideFile(const char *path, SideVersion &version) {
    char sidePath[kSideFilePathMax];
    std::snprintf(sidePath, sizeof sidePath, "%s.version", path);
    UniqueFile file(std::fopen(sidePath, "r+"));
    if (!file) return false;
    std::memset(version, 0, sizeof version);
    std::size_t got = std::fread(version, 1, kSideFileRead, file.get());
    if (got == 0) return false;
    // A side file written by a shell ends in a newline that is not part of the version.
    std::size_t length = strnlen(version, got);
    while (length > 0 && (version[length - 1] == '\n' || version[length - 1] == '\r')) version[--length] = '\0';
    return true;
}

namespace {

int formatVersion(std::uint8_t version, char *buffer, int size) {
    if (buffer == nullptr || size < 1 || version == kVersionUnknown) return -1;
    std::snprintf(buffer, static_cast<std::size_t>(size - 1), "%d.%d", version >> 4, version & 15);
    return 0;
}

int boardCpldVersion(char *buffer, int size) {
    return formatVersion(sharedBlock().u8(board::kMbCpldVersionOffset), buffer, size);
}

int boardFpgaVersion(char *buffer, int size) {
    if (slotFn<Slot::QuorixCheckFPGAEnable>()() <= 0) return -1;
    return formatVersion(sharedBlock().u8(board::kFpgaVersionOffset), buffer, size);
}

int hddCpldVersion(int location, int index, char *buffer, int size) {
    std::size_t countOffset, versionOffset;
    if (location == kLocationFront) {
        countOffset = disk::kFrontBackplaneCountOffset;
        versionOffset = disk::kFrontBackplanesOffset + disk::kBpCpldVersion;
    } else if (location == kLocationRear) {
        countOffset = disk::kRearBackplaneCountOffset;
        versionOffset = disk::kRearBackplanesOffset + disk::kBpCpldVersion;
    } else {
        std::printf("[Error]: Program should not run into here! ");
        return -1;
    }
    if (buffer == nullptr || index < 0 || index >= sharedBlock().u8(countOffset)) return -1;
    return formatVersion(sharedBlock().u8(versionOffset + disk::kBackplaneRecordSize * static_cast<std::size_t>(index)), buffer, size);
}

void postLine(std::uint8_t idlKind, int flag, const char *text) {
    ipc::IdlRecord record;
    record.logType(ipc::kIdlLogStampTime).source(0).textLine(idlKind, static_cast<std::uint8_t>(flag), text);
    ipc::postToIdl(record.record());
}

void cpldPostIdl(int kind, int index, const char *path, int flag, const char *word) {
    if (path == nullptr || word == nullptr) return;
    SideVersion newVersion;
    if (!readSideFile(path, newVersion)) return;
    char current[kVersionTextSize] = {};
    bool known = false;
    const char *withVersion = nullptr;
    const char *withoutVersion = nullptr;
    if (kind == kCpldMainBoard) {
        if (index != 0) return;
        known = boardCpldVersion(current, sizeof current) == 0;
        withVersion = "MainBoard CPLD%d upgrade from version %s to version %s %s";
        withoutVersion = "MainBoard CPLD%d upgrade from NULL to version %s %s";
    } else if (kind == kCpldFront || kind == kCpldRear) {
        int count = sharedBlock().u8(kind == kCpldFront ? disk::kFrontBackplaneCountOffset : disk::kRearBackplaneCountOffset);
        if (count > kMaxIdlBackplanes || index < 0 || index >= count || qrx::slotFn<qrx::Slot::quorixGetBackPlanePresent>()(kind, index) != 1)
            return;
        known = hddCpldVersion(kind == kCpldFront ? kLocationFront : kLocationRear, index, current, sizeof current) == 0;
        withVersion = kind == kCpldFront ? "Front BackPlane CPLD%d upgrade from version %s to version %s %s"
                                         : "Rear BackPlane CPLD%d upgrade from version %s to version %s %s";
        withoutVersion = kind == kCpldFront ? "Front BackPlane CPLD%d upgrade from NULL to version %s %s"
                                            : "Rear BackPlane CPLD%d upgrade from NULL to version %s %s";
    }
    char text[kIdlTextSize] = {};
    if (withVersion != nullptr) {
        if (known)
            std::snprintf(text, sizeof text, withVersion, index, current, newVersion, word);
        else
            std::snprintf(text, sizeof text, withoutVersion, index, newVersion, word);
    }
    postLine(kIdlKindCpld, flag, text);
}

void fpgaPostIdl(int kind, const char *path, int flag, const char *word) {
    if (path == nullptr || word == nullptr) return;
    SideVersion newVersion;
    if (!readSideFile(path, newVersion)) return;
    char text[kIdlTextSize] = {};
    if (kind == 0) {
        char current[kVersionTextSize] = {};
        if (boardFpgaVersion(current, sizeof current) == 0)
            std::snprintf(text, sizeof text, "MainBoard FPGA upgrade from version %s to version %s %s", current,
                          newVersion, word);
        else
            std::snprintf(text, sizeof text, "MainBoard FPGA upgrade from NULL to version %s %s", newVersion,
                          word);
    }
    postLine(kIdlKindFpga, flag, text);
}

long long secondsSince(std::uint32_t start, std::time_t now) {
    return static_cast<long long>(now) - static_cast<long long>(start);
}

// The CPLD and FPGA estimates share their arithmetic but not their bookkeeping:
// the CPLD one answers 0 for a running task without a start time and clears the
// start time once the task ended; the FPGA one keeps it.
struct Estimator {
    int ids[4];
    const char *durationLabel;
    bool zeroWithoutStart;
    bool clearStartWhenEnded;
    std::uint8_t *lastEstimate;
};

const Estimator kCpldEstimator{
    {kTaskMbCpld, kTaskFrontBpCpld, kTaskRearBpCpld, kTaskFanPlaneCpld}, "cpldUpdataTime", true, true, g_cpldProgress};
const Estimator kFpgaEstimator{
    {kTaskMbFpga, kTaskGpuFpga, kTaskGpuCec, 14}, "fpgaUpdataTime", false, false, g_fpgaProgress};

int estimateProgress(int id, const Estimator &e) {
    if (std::find(std::begin(e.ids), std::end(e.ids), id) == std::end(e.ids)) return -1;
    ByteView rec = taskRecord(id);
    std::uint8_t &last = e.lastEstimate[id];
    int duration = sharedBlock().u16(durationOffset(id));
    std::uint32_t start = rec.u32(task::kStartTime);
    auto clearStart = [&] {
        if (e.clearStartWhenEnded) rec.setU32(task::kStartTime, 0);
    };
    switch (rec.u8(task::kStatus)) {
        case kStatusRunning: {
            last = 0;
            std::time_t now = std::time(nullptr);
            long long elapsed = secondsSince(start, now);
            std::printf("\r\n=====current time:%ld  start time:%ld, tmptime:%ld  %s:%d======\r\n",
                        static_cast<long>(now), static_cast<long>(start), static_cast<long>(elapsed),
                        e.durationLabel, duration);
            if (e.zeroWithoutStart && start == 0) return 0;
            // A zero duration with a start time ahead of the clock would divide by
            // zero; it reads as a run past its expected duration.
            if (duration > 0 && duration > elapsed) {
                last = std::min<std::uint8_t>(static_cast<std::uint8_t>(elapsed * 100 / duration), kMaxEstimate);
                return last;
            }
            // Another process may have finished it meanwhile.
            if (rec.u8(task::kStatus) == kStatusFinished) {
                clearStart();
                return kDone;
            }
            return kMaxEstimate;
        }
        case kStatusFinished:
            clearStart();
            last = 0;
            return kDone;
        case kStatusWaiting:
            last = 0;
            return 0;
        case kStatusFailed:
        case kStatusAccepted:
            clearStart();
            return last;
        default:
            return 0;
    }
}

}  // namespace

int cpldProgress(int id) {
    return estimateProgress(id, kCpldEstimator);
}

int fpgaProgress(int id) {
    return estimateProgress(id, kFpgaEstimator);
}

void postUpdateLine(std::uint8_t kind, const char *text) {
    postLine(kind, 1, text);
}

}  // namespace qrx::update

using namespace qrx::update;

extern "C" {

QRX_EXPORT int QuorixUpdateCpld(int kind, int reserved, const char *image_path) {
    (void)reserved;
    return updateCpld(kind, image_path);
}

QRX_EXPORT int QuorixUpdateFpga(int kind, const char *image_path) {
    return updateFpga(kind, image_path);
}

QRX_EXPORT void QuorixCPLDUpdatePostIdl(int kind, int index, const char *image_path, int flag, const char *result) {
    cpldPostIdl(kind, index, image_path, flag, result);
}

QRX_EXPORT void QuorixFPGAUpdatePostIdl(int kind, const char *image_path, int flag, const char *result) {
    fpgaPostIdl(kind, image_path, flag, result);
}

QRX_EXPORT int QuorixGetCpldUpgradeProgress(int task_id) {
    return cpldProgress(task_id);
}

QRX_EXPORT int QuorixGetFpgaUpgradeProgress(int task_id) {
    return fpgaProgress(task_id);
}

QRX_EXPORT int QuorixUpdateCpldVersion(int kind, int index, unsigned char *version) {
    (void)index;  // replaced by the kind for the backplanes, as the platform expects
    switch (kind) {
        case kCpldMainBoard:
            return qrx::slotFn<qrx::Slot::UpdateMbCpldVersion>()(0, 0, version);
        case kCpldFront:
        case kCpldRear:
            return qrx::slotFn<qrx::Slot::UpdateBpCpldVersion>()(kind, kind, version);
        case kCpldFanPlane:
            return 0;
        default:
            std::printf("\r\n====Error cpld type:%d   =====\r\n", kind);
            return -1;
    }
}

QRX_EXPORT int QuorixGetBoardCpldVersion(char *buffer, int size) {
    return boardCpldVersion(buffer, size);
}

QRX_EXPORT int QuorixGetHddCpldVersion(int location, int index, char *buffer, int size) {
    return hddCpldVersion(location, index, buffer, size);
}

QRX_EXPORT int QuorixGetBoardFPGAVersion(char *buffer, int size) {
    return boardFpgaVersion(buffer, size);
}

QRX_EXPORT int QuorixGetBoardFanPanelCPLDVersion(int index, char *buffer, int size) {
    if (index < 0 || index >= qrx::board::kFanPlaneRecords) return -1;
    return formatVersion(
        qrx::sharedBlock().u8(qrx::board::kFanPlaneRecordsOffset + qrx::board::kFanPlaneCpldVersion + qrx::board::kFanPlaneRecordSize * static_cast<std::size_t>(index)), buffer,
        size);
}

}  // extern "C"
