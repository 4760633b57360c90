// The pending-image scan of the upload folder: whether an image for a task
// waits there, and if so the task is marked waiting with the image's path.
#include <dirent.h>
#include <limits.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstring>
#include <string_view>

#include "core/export.h"
#include "core/slot_table.h"
#include "core/unique.h"
#include "devstate/board_layout.h"
#include "devstate/disk_layout.h"
#include "update/update_internal.h"
#include "update/update_layout.h"

namespace qrx::update {
namespace {

constexpr const char *kUploadDir = "/usr/local/lmedia/";

std::string_view boardText(std::size_t offset) {
    const char *text = reinterpret_cast<const char *>(sharedBlock().data() + offset);
    return std::string_view(text, strnlen(text, board::kBoardTextLen));
}

bool isRegularFile(const char *dir, const dirent *entry) {
    if (entry->d_type == DT_REG) return true;
    if (entry->d_type != DT_UNKNOWN) return false;
    char path[PATH_MAX];
    int n = std::snprintf(path, sizeof path, "%s%s", dir, entry->d_name);
    struct stat st {};
    return n > 0 && n < static_cast<int>(sizeof path) && stat(path, &st) == 0 && S_ISREG(st.st_mode);
}

using FileName = char[NAME_MAX + 1];

// Moves `next` on to the regular file of the upload folder that follows it
// by name ("" for the first); false after the last. Files are taken by name (the first image wins,
// so the choice must not depend on the directory's order); one pass over the
// folder per file keeps the walk free of a name list.
bool nextUploadedFile(FileName &next) {
    UniqueDir dir(opendir(kUploadDir));
    if (!dir) return false;
    FileName after;
    std::memcpy(after, next, sizeof after);
    bool found = false;
    while (const dirent *entry = readdir(dir.get())) {
        if (std::strcmp(entry->d_name, after) <= 0 || (found && std::strcmp(entry->d_name, next) >= 0)) continue;
        if (!isRegularFile(kUploadDir, entry)) continue;
        std::snprintf(next, sizeof next, "%s", entry->d_name);
        found = true;
    }
    return found;
}

bool textMatchesAny(std::string_view desc, std::size_t countOffset, int fixedCount, std::size_t textOffset,
                    std::size_t stride) {
    int count = countOffset != 0 ? sharedBlock().u8(countOffset) : fixedCount;
    for (int i = 0; i < count; ++i) {
        std::string_view text = boardText(textOffset + stride * static_cast<std::size_t>(i));
        if (!text.empty() && desc == text) return true;
    }
    return false;
}

// Whether a "cpld" image names a device of the task's kind: its 12 characters
// after the prefix equal a board text; a text both backplane kinds carry is
// settled by the feature library's lookup (slot 186).
bool cpldImageForTask(int id, const char *name) {
    const char *after = name + std::strlen("cpld");
    char descText[board::kBoardTextLen + 1] = {};
    std::memcpy(descText, after, strnlen(after, board::kBoardTextLen));
    std::string_view desc(descText);
    if (id == kTaskFanPlaneCpld)
        return textMatchesAny(desc, 0, board::kFanPlaneRecords,
                              board::kFanPlaneRecordsOffset + board::kFanPlaneBoardText, board::kFanPlaneRecordSize);
    bool front = textMatchesAny(desc, disk::kFrontBackplaneCountOffset, 0,
                                disk::kFrontBackplanesOffset + disk::kBpBoardText, disk::kBackplaneRecordSize);
    bool rear = textMatchesAny(desc, disk::kRearBackplaneCountOffset, 0,
                               disk::kRearBackplanesOffset + disk::kBpBoardText, disk::kBackplaneRecordSize);
    if (front && rear) return slotFn<Slot::QuorixGetTaskIDByBpDesc>()(descText, static_cast<int>(desc.size())) == id;
    return id == kTaskFrontBpCpld ? front : rear;
}

const char *imagePrefix(int id) {
    switch (id) {
        case kTaskPsu:
            return "psu";
        case kTaskMbFpga:
            return "fpga";
        case kTaskGpuCec:
            return "cec";
        case kTaskMbCpld:
        case kTaskFrontBpCpld:
        case kTaskRearBpCpld:
        case kTaskFanPlaneCpld:
            return "cpld";
        default:
            return nullptr;
    }
}

}  // namespace

int hasUpdateFile(int id) {
    if (id < kTaskMbCpld || id > kTaskFanPlaneCpld) return 0;
    if (id == kTaskVr) {
        if (vrCheckUpgrade() != 0) return 0;
        setUpdateStatus(id, kSubStateImageFound);
        setTaskStatus(id, kStatusWaiting);
        return 1;
    }
    const char *prefix = imagePrefix(id);
    if (prefix == nullptr) return 0;
    int boardId = sharedBlock().u8(id == kTaskMbFpga ? board::kFpgaBoardIdOffset : board::kMbCpldBoardIdOffset);
    char boardIdText[8];
    std::snprintf(boardIdText, sizeof boardIdText, "%2x", boardId);
    FileName name = "";
    while (nextUploadedFile(name)) {
        if (std::strncmp(name, prefix, std::strlen(prefix)) != 0) continue;
        std::printf("\r\n====   uType:%d,d_name:%s    BoardId:%d BoardIDStr:%s ====\r\n", id, name, boardId,
                    boardIdText);
        if (id == kTaskMbCpld && (std::strstr(name, "MKRA") != nullptr || std::strstr(name, "MKRC") != nullptr))
            continue;
        if ((id == kTaskFrontBpCpld || id == kTaskRearBpCpld || id == kTaskFanPlaneCpld) && !cpldImageForTask(id, name))
            continue;
        if (std::strstr(name, "version") != nullptr) continue;
        if (taskRecord(id).u8(task::kStatus) != kStatusNone) return 0;
        char path[PATH_MAX];
        std::snprintf(path, sizeof path, "%s%s", kUploadDir, name);
        setFileName(id, path);
        std::printf("\r\n====   d_name:%s      ====\r\n", name);
        setUpdateStatus(id, kSubStateImageFound);
        setTaskStatus(id, kStatusWaiting);
        return 1;
    }
    return 0;
}

}  // namespace qrx::update

extern "C" QRX_EXPORT int Quorix_HasUpdateFile(int task_id) {
    return qrx::update::hasUpdateFile(task_id);
}
