// Update-task table and the CPLD/FPGA fields the update runs read.
//
//   0x620599 + 307 x n   task record n (n = task id 0..14)
//   0x621796             u8   pending-task flag
//   0x621797             u8   power-on-required flag
//
// Task record (307 bytes):
//   0 id  1 type  2,3 report bytes A,B  36 status  37 sub-state
//   38 u32 start time  42..175 updater block (42 component, 43 board id,
//   107 trigger moment)  176 progress  177..304 image name  305,306 updater
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/shared_block.h"

namespace qrx::update {

inline constexpr int kTaskCount = 15;
inline constexpr int kMaxTaskId = 14;
inline constexpr int kAllTasks = 255;

inline constexpr std::size_t kTaskTableOffset = 0x620599;
inline constexpr std::size_t kTaskRecordSize = 307;
inline constexpr std::size_t kPendingTaskFlagOffset = 0x621796;
inline constexpr std::size_t kPowerOnFlagOffset = 0x621797;
static_assert(kTaskTableOffset + kTaskCount * kTaskRecordSize <= kPendingTaskFlagOffset, "task table overlaps flags");
static_assert(insideSharedBlock(kTaskTableOffset, kTaskCount *kTaskRecordSize), "task table outside the block");

namespace task {
inline constexpr std::size_t kId = 0;
inline constexpr std::size_t kType = 1;
inline constexpr std::size_t kReportA = 2;
inline constexpr std::size_t kReportB = 3;
inline constexpr std::size_t kStatus = 36;
inline constexpr std::size_t kSubState = 37;
inline constexpr std::size_t kStartTime = 38;
inline constexpr std::size_t kUpdaterBlock = 42;  // 42..175, copied as one
inline constexpr std::size_t kUpdaterBlockLen = 134;
inline constexpr std::size_t kComponentId = 42;
inline constexpr std::size_t kBoardId = 43;
inline constexpr std::size_t kTrigger = 107;
inline constexpr std::size_t kProgress = 176;
inline constexpr std::size_t kFileName = 177;
inline constexpr std::size_t kFileNameLen = 128;
inline constexpr std::size_t kUpdaterByte1 = 305;
inline constexpr std::size_t kUpdaterByte2 = 306;
static_assert(kUpdaterBlock + kUpdaterBlockLen == kProgress, "updater block ends at the progress byte");
static_assert(kFileName + kFileNameLen == kUpdaterByte1, "name field ends at 305");
static_assert(kUpdaterByte2 + 1 == kTaskRecordSize, "task record is 307 bytes");
}  // namespace task

// Task statuses (record offset 36).
inline constexpr int kStatusNone = 0;
inline constexpr int kStatusWaiting = 1;
inline constexpr int kStatusRunning = 2;
inline constexpr int kStatusFinished = 3;
inline constexpr int kStatusFailed = 4;
inline constexpr int kStatusAccepted = 5;
inline constexpr int kMaxStatus = 5;
inline constexpr int kMaxSubState = 13;
inline constexpr int kSubStateImageFound = 4;

// Task ids the runs use.
inline constexpr int kTaskBmc = 0;
inline constexpr int kTaskBios = 1;
inline constexpr int kTaskMbCpld = 2;
inline constexpr int kTaskFrontBpCpld = 3;
inline constexpr int kTaskRearBpCpld = 4;
inline constexpr int kTaskPsu = 5;
inline constexpr int kTaskVr = 6;
inline constexpr int kTaskMbFpga = 7;
inline constexpr int kTaskGpuFpga = 8;
inline constexpr int kTaskGpuCec = 9;
inline constexpr int kTaskFanPlaneCpld = 10;
inline constexpr int kTaskScp = 11;

inline ByteView taskRecord(int id) {
    return sharedBlock().at(kTaskTableOffset + kTaskRecordSize * static_cast<std::size_t>(id));
}
inline bool validTaskId(long id) {
    return id >= 0 && id <= kMaxTaskId;
}

// CPLD and FPGA fields.
inline constexpr std::size_t kMbCpldBoardIdOffset = 0x149B9;
inline constexpr std::size_t kMbCpldVersionOffset = 0x1CC32;
inline constexpr std::size_t kFpgaBoardIdOffset = 0x1D071;
inline constexpr std::size_t kFpgaVersionOffset = 0x1D0EA;
inline constexpr std::size_t kFrontBpCountOffset = 0x1D139;
inline constexpr std::size_t kRearBpCountOffset = 0x1D13A;
inline constexpr std::size_t kFrontBpTextOffset = 0x1D13F;
inline constexpr std::size_t kFrontBpVersionOffset = 0x1D269;
inline constexpr std::size_t kRearBpTextOffset = 0x1FF2F;
inline constexpr std::size_t kRearBpVersionOffset = 0x20059;
inline constexpr std::size_t kBpStride = 1470;
inline constexpr std::size_t kFanPlaneCountOffset = 0x101AD;
inline constexpr std::size_t kFanPlaneTextOffset = 0x101B2;
inline constexpr std::size_t kFanPlaneVersionOffset = 0x101FD;
inline constexpr std::size_t kFanPlaneStride = 819;
inline constexpr int kFanPlanes = 2;
inline constexpr std::size_t kBoardTextLen = 12;
inline constexpr int kMaxIdlBackplanes = 8;

// Expected durations, u16 seconds.
inline constexpr std::size_t kMbCpldDurationOffset = 0x149D6;
inline constexpr std::size_t kFrontBpDurationOffset = 0x1D169;
inline constexpr std::size_t kRearBpDurationOffset = 0x1FF59;
inline constexpr std::size_t kFanPlaneDurationOffset = 0x101DA;
inline constexpr std::size_t kMbFpgaDurationOffset = 0x1D08E;
inline constexpr std::size_t kGpuFpgaDurationOffset = 0x620F33;
inline constexpr std::size_t kGpuCecDurationOffset = 0x621066;
inline constexpr std::size_t kTask14DurationOffset = 0x621665;

// Expected duration offset of a CPLD or FPGA task, 0 for any other id.
inline constexpr std::size_t durationOffset(int id) {
    switch (id) {
        case kTaskMbCpld:
            return kMbCpldDurationOffset;
        case kTaskFrontBpCpld:
            return kFrontBpDurationOffset;
        case kTaskRearBpCpld:
            return kRearBpDurationOffset;
        case kTaskFanPlaneCpld:
            return kFanPlaneDurationOffset;
        case kTaskMbFpga:
            return kMbFpgaDurationOffset;
        case kTaskGpuFpga:
            return kGpuFpgaDurationOffset;
        case kTaskGpuCec:
            return kGpuCecDurationOffset;
        case 14:
            return kTask14DurationOffset;
        default:
            return 0;
    }
}

}  // namespace qrx::update
