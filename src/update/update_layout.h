// Update-task table and the expected update durations. The CPLD, FPGA,
// backplane and fan-plane fields the runs read belong to devstate's layouts.
//
//   6423961 + 307 x n   task record n (n = task id 0..14)
//   6428566             u8   pending-task flag
//   6428567             u8   power-on-required flag
//
// Task record (307 bytes):
//   0 id  1 type  2,3 report bytes A,B  36 status  37 sub-state
//   38 u32 start time  42..175 updater block (42 component, 43 board id,
//   107 trigger moment)  176 progress  177..304 image name  305,306 updater
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/shared_block.h"
#include "devstate/board_layout.h"
#include "devstate/disk_layout.h"

namespace qrx::update {

inline constexpr int kTaskCount = 15, kMaxTaskId = 14, kAllTasks = 255;

inline constexpr std::size_t kTaskTableOffset = 6423961, kTaskRecordSize = 307, kPendingTaskFlagOffset = 6428566;
inline constexpr std::size_t kPowerOnFlagOffset = 6428567;
static_assert(kTaskTableOffset + kTaskCount * kTaskRecordSize <= kPendingTaskFlagOffset, "task table overlaps flags");
static_assert(insideSharedBlock(kTaskTableOffset, kTaskCount *kTaskRecordSize), "task table outside the block");

namespace task {
inline constexpr std::size_t kId = 0, kType = 1, kReportA = 2, kReportB = 3, kStatus = 36, kSubState = 37;
inline constexpr std::size_t kStartTime = 38;
inline constexpr std::size_t kUpdaterBlock = 42;  // 42..175, copied as one
inline constexpr std::size_t kUpdaterBlockLen = 134, kComponentId = 42, kBoardId = 43, kTrigger = 107, kProgress = 176;
inline constexpr std::size_t kFileName = 177, kFileNameLen = 128, kUpdaterByte1 = 305, kUpdaterByte2 = 306;
static_assert(kUpdaterBlock + kUpdaterBlockLen == kProgress, "updater block ends at the progress byte");
static_assert(kFileName + kFileNameLen == kUpdaterByte1, "name field ends at 305");
static_assert(kUpdaterByte2 + 1 == kTaskRecordSize, "task record is 307 bytes");
}  // namespace task

// Task statuses (record offset 36).
inline constexpr int kStatusNone = 0, kStatusWaiting = 1, kStatusRunning = 2, kStatusFinished = 3, kStatusFailed = 4;
inline constexpr int kStatusAccepted = 5, kMaxStatus = 5, kMaxSubState = 13, kSubStateImageFound = 4;

// Task ids the runs use.
inline constexpr int kTaskBmc = 0, kTaskBios = 1, kTaskMbCpld = 2, kTaskFrontBpCpld = 3, kTaskRearBpCpld = 4;
inline constexpr int kTaskPsu = 5, kTaskVr = 6, kTaskMbFpga = 7, kTaskGpuFpga = 8, kTaskGpuCec = 9;
inline constexpr int kTaskFanPlaneCpld = 10, kTaskScp = 11;

inline ByteView taskRecord(int id) {
    return sharedBlock().at(kTaskTableOffset + kTaskRecordSize * static_cast<std::size_t>(id));
}
inline bool validTaskId(long id) {
    return id >= 0 && id <= kMaxTaskId;
}

// The IDL version report names at most this many backplanes of a kind.
inline constexpr int kMaxIdlBackplanes = 8;

// Block offset of the expected duration (u16 seconds) of a CPLD or FPGA
// task, 0 for any other id.
inline constexpr std::size_t durationOffset(int id) {
    switch (id) {
        case kTaskMbCpld:
            return board::kMbCpldDurationOffset;
        case kTaskFrontBpCpld:
            return disk::kFrontBackplanesOffset + disk::kBpUpdateDuration;
        case kTaskRearBpCpld:
            return disk::kRearBackplanesOffset + disk::kBpUpdateDuration;
        case kTaskFanPlaneCpld:
            return board::kFanPlaneRecordsOffset + board::kFanPlaneUpdateDuration;
        case kTaskMbFpga:
            return board::kFpgaDurationOffset;
        // These keep it in their own record, over the two report bytes.
        case kTaskGpuFpga:
        case kTaskGpuCec:
        case kMaxTaskId:
            return kTaskTableOffset + kTaskRecordSize * static_cast<std::size_t>(id) + task::kReportA;
        default:
            return 0;
    }
}

}  // namespace qrx::update
