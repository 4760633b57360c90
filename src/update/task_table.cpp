// Update task records in the shared block: status and sub-state setters,
// failure/recovery events, the flasher progress file, the pending-task scan,
// background-task query and cancel, the status report and its IPMI handlers.
#include <cstdio>
#include <cstring>
#include <initializer_list>

#include "core/completion_codes.h"
#include "core/export.h"
#include "core/unique.h"
#include "ipc/wire_records.h"
#include "quorix_common_interface.h"
#include "update/update_internal.h"
#include "update/update_layout.h"

namespace qrx::update {
namespace {

constexpr const char *kFlasherProgressPath = "/var/flasher.progress";
constexpr std::size_t kFlashProgressSize = 97, kFlashStageOffset = 0, kFlashStateOffset = 93;
constexpr std::uint8_t kFlashStageDone = 4;
constexpr std::uint32_t kFlashStateAllWritten = 2;
constexpr std::uint32_t kFlashStateFailed = 4;
constexpr int kFlashReadAttempts = 3;
// Read errors do not use up an attempt (kept so); this bound only stops a
// path that can never be read (a directory) from spinning for ever.
constexpr int kFlashReadErrorLimit = 64, kFlashAllComplete = 255, kFlashFailed = 254;

constexpr std::uint8_t kSelTaskFail = 0x07;
constexpr std::uint8_t kSelTaskRecovered = 0x87;  // same event, deassertion bit

constexpr std::size_t kQueryHeadSize = 2;
constexpr std::size_t kQueryClearSize = kQueryHeadSize + kTaskCount * kTaskRecordSize;  // 4607
constexpr std::size_t kReportEntrySize = 38, kReportNameLen = 32, kReportClearSize = 572;
constexpr int kReportedTasks = 12;  // ids 0..11
namespace entry {
constexpr std::size_t kId = 0, kName = 1, kStatus = 33, kProgress = 34, kTrigger = 35, kReportA = 36, kReportB = 37;
}  // namespace entry
static_assert(entry::kReportB + 1 == kReportEntrySize, "report entry is 38 bytes");
static_assert(kQueryClearSize == 4607, "query output is 4607 bytes");
// The layouts the public header gives.
static_assert(QUORIX_TASK_ENTRY_ID == entry::kId && QUORIX_TASK_ENTRY_NAME == entry::kName &&
              QUORIX_TASK_ENTRY_NAME_SIZE == kReportNameLen && QUORIX_TASK_ENTRY_STATUS == entry::kStatus &&
              QUORIX_TASK_ENTRY_PROGRESS == entry::kProgress && QUORIX_TASK_ENTRY_TRIGGER == entry::kTrigger &&
              QUORIX_TASK_ENTRY_REPORT_A == entry::kReportA && QUORIX_TASK_ENTRY_REPORT_B == entry::kReportB &&
              QUORIX_TASK_ENTRY_SIZE == kReportEntrySize && QUORIX_TASK_QUERY_HEAD == kQueryHeadSize &&
              QUORIX_TASK_QUERY_MAX_LEN == kQueryClearSize &&
              QUORIX_TASK_REPORT_MAX_LEN == QUORIX_TASK_REPORT_HEAD + kReportedTasks * kReportEntrySize);
static_assert(QUORIX_FLASH_PROGRESS_STAGE == kFlashStageOffset && QUORIX_FLASH_PROGRESS_STATE == kFlashStateOffset &&
              QUORIX_FLASH_PROGRESS_SIZE == kFlashProgressSize);

constexpr std::size_t kAsynNoticeSize = 1025;
constexpr std::size_t kAsynTypeOffset = 0;
constexpr std::size_t kAsynTaskTypeOffset = 2;  // record byte 1 after the type byte
constexpr std::size_t kAsynValueOffset = 38;    // record byte 37, the sub-state
constexpr std::uint8_t kAsynTaskType = 11;

constexpr std::uint8_t kCcOk = 0x00;
using namespace qrx::cc;
constexpr std::uint8_t kCcUnspecified = 0xFF;
constexpr int kOpQuery = 0;
constexpr int kOpCancel = 1;

constexpr const char *kComponentNames[] = {
    "BMC", "BIOS",    "MB CPLD",  "FRONT BP CPLD", "REAR BP CPLD",   "PSU",
    "VR",  "MB FPGA", "GPU FPGA", "GPU CEC",       "FAN PLANE CPLD",
};

// Last status of 4 or 3 this process set per task; decides the recovery event.
std::uint8_t g_failureMemory[kTaskCount];

bool queryIdValid(int id) {
    int low = id & 0xFF;
    return low <= kMaxTaskId || low == kAllTasks;
}

bool isCpldTask(int id) {
    return id == kTaskMbCpld || id == kTaskFrontBpCpld || id == kTaskRearBpCpld || id == kTaskFanPlaneCpld;
}

bool isFpgaTask(int id) {
    return id == kTaskMbFpga || id == kTaskGpuFpga || id == kTaskGpuCec || id == 14;
}

int readFlashProgress(unsigned char *buffer) {
    if (buffer == nullptr) return -1;
    int attempts = kFlashReadAttempts;
    int errors = 0;
    while (attempts > 0) {
        qrx::UniqueFile file(std::fopen(kFlasherProgressPath, "r"));
        if (!file) return -1;
        std::size_t got = std::fread(buffer, 1, kFlashProgressSize, file.get());
        if (got == kFlashProgressSize) break;
        if (std::ferror(file.get()) != 0) {
            std::printf("Error while reading flash progress!!");
            if (++errors >= kFlashReadErrorLimit) return -1;
            continue;
        }
        std::printf("End of file reached while reading flash progress");
        --attempts;
        std::printf("retrying reading status file...");
    }
    std::printf("Read prpgress file in flashlib");
    ByteView block(buffer);
    std::uint32_t state = block.u32(kFlashStateOffset);
    if (block.u8(kFlashStageOffset) == kFlashStageDone && state == kFlashStateAllWritten) {
        std::printf("Flash All Complete!!");
        return kFlashAllComplete;
    }
    return state == kFlashStateFailed ? kFlashFailed : 0;
}

int hasPendingTask() {
    static constexpr int kScanOrder[] = {1, 2, 5, 6, 7, 8, 9, 10, 11};
    for (int id : kScanOrder) {
        int status = taskRecord(id).u8(task::kStatus);
        if (status == kStatusWaiting || status == kStatusRunning) return status;
        if (hasUpdateFile(id) != 0) {
            sharedBlock().setU8(kPendingTaskFlagOffset, 1);
            return kStatusRunning;
        }
    }
    return 0;
}

int backgroundTaskActive(unsigned char *buffer) {
    if (buffer == nullptr) {
        std::printf("Get task-%d info fail!\r\n", 0);
        return -1;
    }
    for (int slot = 0; slot < kTaskCount; ++slot) {
        ByteView rec = taskRecord(slot);
        rec.copyOut(0, buffer, kTaskRecordSize);
        int owner = rec.u8(task::kId);
        bool activeKind =
            owner == 1 || owner == 2 || owner == 3 || owner == 5 || owner == 6 || owner == 7 || owner == 14;
        if (rec.u8(task::kStatus) == kStatusRunning && activeKind) return slot;
    }
    return -1;
}

void refreshEstimate(int id) {
    if (isFpgaTask(id)) {
        taskRecord(id).setU8(task::kProgress, static_cast<std::uint8_t>(fpgaProgress(id)));
    } else if (isCpldTask(id)) {
        taskRecord(id).setU8(task::kProgress, static_cast<std::uint8_t>(cpldProgress(id)));
    }
}

int backgroundTaskQuery(unsigned char *out, int id) {
    if (out == nullptr || !queryIdValid(id)) return -1;
    std::memset(out, 0, kQueryClearSize);
    int wanted = id & 0xFF;
    int count = 0;
    for (int slot = 0; slot < kTaskCount; ++slot) {
        refreshEstimate(slot);
        if (slot == kTaskBmc || slot == kTaskBios)
            std::printf(" query Flash progress -task:  %d,task_progress:%d\n", slot,
                        taskRecord(slot).u8(task::kProgress));
        ByteView rec = taskRecord(slot);
        if (rec.u8(task::kStatus) == kStatusNone) continue;
        if (wanted == kAllTasks || wanted == slot) {
            rec.copyOut(0, out + kQueryHeadSize + kTaskRecordSize * static_cast<std::size_t>(count), kTaskRecordSize);
            ++count;
            if (wanted == slot) break;
        }
    }
    out[1] = static_cast<unsigned char>(count);
    return static_cast<int>(kQueryHeadSize + kTaskRecordSize * static_cast<std::size_t>(count));
}

int updateStatusQuery(unsigned char *out) {
    if (out == nullptr) return -1;
    std::memset(out, 0, kReportClearSize);
    int count = 0;
    for (int id = 0; id < kReportedTasks; ++id) {
        refreshEstimate(id);
        if (id == kTaskBmc || id == kTaskBios)
            std::printf(" query Flash progress -task:  %d,UpdRogress:%d\n", id, taskRecord(id).u8(task::kProgress));
        ByteView rec = taskRecord(id);
        if (rec.u8(task::kStatus) == kStatusNone) continue;
        ByteView e(out + kQueryHeadSize + kReportEntrySize * static_cast<std::size_t>(count));
        e.setU8(entry::kId, rec.u8(task::kId));
        std::snprintf(reinterpret_cast<char *>(e.data() + entry::kName), kReportNameLen, "%s", componentName(id));
        e.setU8(entry::kStatus, rec.u8(task::kStatus));
        e.setU8(entry::kProgress, rec.u8(task::kProgress));
        e.setU8(entry::kTrigger, rec.u8(task::kTrigger));
        e.setU8(entry::kReportA, rec.u8(task::kReportA));
        e.setU8(entry::kReportB, rec.u8(task::kReportB));
        ++count;
    }
    out[1] = static_cast<unsigned char>(count);
    return static_cast<int>(kQueryHeadSize + kReportEntrySize * static_cast<std::size_t>(count));
}

int backgroundTaskCancel(int id) {
    if (!validTaskId(id)) {
        std::printf("Invalid task type !");
        return -1;
    }
    if (taskRecord(id).u8(task::kStatus) != kStatusWaiting) {
        std::printf("The status is not allowed to cancel the task.");
        return -2;
    }
    // The power-off scan task does the cancelling; a failed post changes nothing here.
    ipc::notifyTaskThread(ipc::kNoticeTaskType, static_cast<unsigned>(id));
    return 0;
}

int notifyAsynTask(int msgType, int value) {
    unsigned char notice[kAsynNoticeSize] = {};
    notice[kAsynTypeOffset] = static_cast<unsigned char>(msgType);
    notice[kAsynTaskTypeOffset] = kAsynTaskType;
    notice[kAsynValueOffset] = static_cast<unsigned char>(value);
    if (ipc::writeNamedPipe(ipc::kPowerOffScanPipe, notice, static_cast<int>(kAsynNoticeSize)) ==
        static_cast<int>(kAsynNoticeSize))
        return 0;
    std::printf("Error writing Prep command");
    return -1;
}

int taskOperation(const unsigned char *req, int len, unsigned char *resp) {
    if (resp == nullptr) return -1;
    if (req == nullptr || len != 2) {
        resp[0] = kCcReqDataLenInvalid;
        return 1;
    }
    int op = req[0];
    if (op > kOpCancel) {
        resp[0] = kCcInvalidDataField;
        return 1;
    }
    int id = req[1];
    if (op == kOpCancel) {
        int result = backgroundTaskCancel(id);
        resp[0] = result == 0    ? kCcOk
                  : result == -1 ? kCcInvalidDataField
                  : result == -2 ? kCcNotAllowedNow
                                 : kCcUnspecified;
        return 1;
    }
    static_assert(kOpQuery == 0, "query is operation 0");
    if (!queryIdValid(id)) {
        resp[0] = kCcInvalidDataField;
        return 1;
    }
    // A query that finds no task answers like a failed one: 0xFF, length 1.
    int length = backgroundTaskQuery(resp, id);
    if (length <= static_cast<int>(kQueryHeadSize)) {
        resp[0] = kCcUnspecified;
        return 1;
    }
    resp[0] = kCcOk;
    return length;
}

int updateInfoOperation(const unsigned char *req, int len, unsigned char *resp) {
    if (resp == nullptr) return -1;
    if (req == nullptr || len != 1) {
        resp[0] = kCcReqDataLenInvalid;
        return 1;
    }
    if (req[0] != 0) {
        resp[0] = kCcInvalidDataField;
        return 1;
    }
    int length = updateStatusQuery(resp);
    if (length < 2) {
        resp[0] = kCcUnspecified;
        return 1;
    }
    resp[0] = kCcOk;
    return length;
}

}  // namespace

int setTaskStatus(int id, int status) {
    if (status < 0 || status > kMaxStatus || !validTaskId(id)) {
        std::printf("set update flag fail!!!\r");
        return -1;
    }
    std::printf("\r\n==== task_id:%d  status:%d =====\r\n", id, status);
    taskRecord(id).setU8(task::kStatus, static_cast<std::uint8_t>(status));
    if (status == kStatusFailed) {
        g_failureMemory[id] = kStatusFailed;
        qrx::ipc::addTaskFailToSel(kSelTaskFail, static_cast<unsigned char>(id), kStatusFailed);
    } else if (status == kStatusFinished && g_failureMemory[id] == kStatusFailed) {
        g_failureMemory[id] = kStatusFinished;
        qrx::ipc::addTaskFailToSel(kSelTaskRecovered, static_cast<unsigned char>(id), kStatusFinished);
    }
    return 0;
}

int setUpdateStatus(int task_id, int sub_state) {
    if (!validTaskId(task_id)) {
        std::printf("set update status fail!!!\r");
        return -1;
    }
    if (sub_state < 0 || sub_state > kMaxSubState) {
        std::printf("set update substatus fail!!!\r");
        return -1;
    }
    std::printf("\r\n==== task_id:%d  task_substate:%d =====\r\n", task_id, sub_state);
    taskRecord(task_id).setU8(task::kSubState, static_cast<std::uint8_t>(sub_state));
    return 0;
}

int setFileName(int task_id, const char *name) {
    if (!validTaskId(task_id) || name == nullptr) {
        std::printf("set update file name fail!!!\r");
        return -1;
    }
    // Stops at the name's end and keeps the field terminated, so a short
    // caller buffer is never read past.
    ByteView field = taskRecord(task_id).at(task::kFileName);
    std::size_t len = strnlen(name, task::kFileNameLen - 1);
    field.fill(0, 0, task::kFileNameLen);
    field.copyIn(0, name, len);
    std::printf("\r\n==== task_id:%d  set file_name:%s file:%s=====\r\n", task_id, name,
                reinterpret_cast<const char *>(field.data()));
    return 0;
}

int setFlashProgress(int task_id, int percent) {
    if (!validTaskId(task_id)) {
        std::printf("set update flash progress fail!!!\r");
        return -1;
    }
    taskRecord(task_id).setU8(task::kProgress, static_cast<std::uint8_t>(percent & 0xFF));
    return 0;
}

const char *componentName(int id) {
    if (id < 0 || id >= static_cast<int>(sizeof kComponentNames / sizeof kComponentNames[0])) return "";
    return kComponentNames[id];
}

}  // namespace qrx::update

using namespace qrx::update;

extern "C" {

QRX_EXPORT int QuorixSetPowerOnFlag(int flag) {
    if (flag < 0 || flag > 1) {
        std::printf("set flag fail!!!\r");
        return -1;
    }
    std::printf("\r\n==== flag:%d =====\r\n", flag);
    qrx::sharedBlock().setU8(kPowerOnFlagOffset, static_cast<std::uint8_t>(flag));
    return 0;
}

QRX_EXPORT int QuorixIsRequirePowerOn(void) {
    return qrx::sharedBlock().u8(kPowerOnFlagOffset);
}

QRX_EXPORT int QuorixGetUpdateStatus(int task_id) {
    if (!validTaskId(task_id)) {
        std::printf("set update type fail!!!\r");
        return -1;
    }
    return taskRecord(task_id).u8(task::kSubState);
}

QRX_EXPORT int QuorixSetUpdateStatus(int task_id, int sub_state) {
    return setUpdateStatus(task_id, sub_state);
}

QRX_EXPORT int QuorixGetTaskStatus(int task_id) {
    if (!validTaskId(task_id)) {
        std::printf("get update flag  fail!!!\r");
        return -1;
    }
    return taskRecord(task_id).u8(task::kStatus);
}

QRX_EXPORT int QuorixSetTaskStatus(int task_id, int status) {
    return qrx::update::setTaskStatus(task_id, status);
}

QRX_EXPORT int QuorixGetTaskTriggerMoment(int task_id) {
    if (!validTaskId(task_id)) {
        std::printf("get task trigger moment fail,task id is %d,tool large !!!\r\n", task_id);
        return -1;
    }
    return taskRecord(task_id).u8(task::kTrigger);
}

QRX_EXPORT int QuorixSetFileName(int task_id, const char *name) {
    return setFileName(task_id, name);
}

QRX_EXPORT int QuorixSetFlashProgress(int task_id, int percent) {
    return setFlashProgress(task_id, percent);
}

QRX_EXPORT int QuorixUpdateTaskInfo(int task_id, const unsigned char *record) {
    if (!validTaskId(task_id) || record == nullptr) {
        std::printf("Set update type fail !!!\r");
        return -1;
    }
    qrx::ByteView slot = taskRecord(task_id);
    qrx::ByteView given(const_cast<unsigned char *>(record));
    for (std::size_t off : {task::kId, task::kType, task::kSubState, task::kUpdaterByte1, task::kUpdaterByte2})
        slot.setU8(off, given.u8(off));
    slot.copyIn(task::kUpdaterBlock, record + task::kUpdaterBlock, task::kUpdaterBlockLen);
    slot.copyIn(task::kFileName, record + task::kFileName, task::kFileNameLen);
    slot.setU8(task::kProgress, 0);
    std::printf(
        "\r\n==== task_id:%d  task_type:%d trigger_moment:%d task_substate: %d ComponentID:%d BoardId:%d"
        "file_name:%.128s=====\r\n",
        task_id, slot.u8(task::kType), slot.u8(task::kTrigger), slot.u8(task::kSubState), slot.u8(task::kComponentId),
        slot.u8(task::kBoardId), reinterpret_cast<const char *>(slot.data() + task::kFileName));
    return 0;
}

QRX_EXPORT int QuorixGetUpgradeInfo(unsigned char *buffer, int task_id) {
    if (!validTaskId(task_id) || buffer == nullptr) {
        std::printf("Get update type fail!!!\r");
        return -1;
    }
    taskRecord(task_id).copyOut(0, buffer, kTaskRecordSize);
    return 0;
}

QRX_EXPORT int QuorixGetFlashProgress(unsigned char *buffer) {
    return readFlashProgress(buffer);
}

QRX_EXPORT int QuorixHasPendingTask(void) {
    return hasPendingTask();
}

QRX_EXPORT int QuorixGetBackgroundTaskActive(unsigned char *buffer) {
    return backgroundTaskActive(buffer);
}

QRX_EXPORT int QuorixBackgroundTaskQuery(unsigned char *out, int task_id) {
    return backgroundTaskQuery(out, task_id);
}

QRX_EXPORT int QuorixUpdateStatusQuery(unsigned char *out) {
    return updateStatusQuery(out);
}

QRX_EXPORT int QuorixBackgroundTaskCancel(int task_id) {
    return backgroundTaskCancel(task_id);
}

QRX_EXPORT int QuorixNotifyAsynTask(int msg_type, int value) {
    return notifyAsynTask(msg_type, value);
}

QRX_EXPORT int QuorixBackgroundTaskOperaInterface(const unsigned char *req, int req_len, unsigned char *resp) {
    return taskOperation(req, req_len, resp);
}

QRX_EXPORT int QuorixGetUpdateInfoInterface(const unsigned char *req, int req_len, unsigned char *resp) {
    return updateInfoOperation(req, req_len, resp);
}

}  // extern "C"
