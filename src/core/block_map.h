// Map of the shared device-state block: every region the library reaches,
// in block order, with a compile-time check that no two overlap and that all
// lie inside the block. Each region is laid out in its owner's layout header;
// this table only names it, so a new region goes into both.
#pragma once

#include <cstddef>
#include <string_view>

#include "core/region_check.h"
#include "core/shared_block.h"
#include "config/smtp/smtp_layout.h"
#include "config/snmp/snmp_agent_layout.h"
#include "config/snmp/snmp_trap_layout.h"
#include "config/syslog/syslog_layout.h"
#include "devstate/board_layout.h"
#include "devstate/disk_layout.h"
#include "devstate/fan_layout.h"
#include "devstate/flags_layout.h"
#include "devstate/pcie_layout.h"
#include "devstate/psu_layout.h"
#include "diag/debug_flags_layout.h"
#include "fan/fan_curve_layout.h"
#include "history/history_layout.h"
#include "power/power_layout.h"
#include "update/update_layout.h"

namespace qrx::blockmap {

struct Region {
    std::string_view name;
    std::size_t offset;
    std::size_t size;
};

inline constexpr Region kRegions[] = {
    {"platform initialised", kPlatformInitialisedOffset, 1},
    {"ME access status", flags::kMeAccessOffset, 1},
    {"device scan enables", flags::kScanEnableOffset, flags::kScanCount},
    {"front disk table", disk::kFrontTableOffset, disk::kFrontTableSize},
    {"rear disk table", disk::kRearTableOffset, disk::kRearTableSize},
    {"PWM output count", fancurve::kPwmCountOffset, 1},
    {"class-0 device readings", history::kDevicePresentBase, history::kDeviceStride * history::kDevices},
    {"fan-plane count", board::kFanPlaneCountOffset, 1},
    {"fan-plane records", board::kFanPlaneRecordsOffset, board::kFanPlaneRecordSize * board::kFanPlaneRecords},
    {"PSU count", psu::kCountOffset, 1},
    {"PSU records", psu::kRecordsOffset, psu::kRecordSize * psu::kMaxRecords},
    {"PSU numbers", psu::kConfigNumOffset, 3},
    {"total power", history::kTotalPowerOffset, 2},
    {"CPU count", board::kCpuCountOffset, 1},
    {"CPU records", board::kCpuRecordsOffset, board::kCpuRecordSize * board::kMaxCpus},
    {"ME firmware version", board::kMeMajorOffset, board::kMeBuildOffset + 4 - board::kMeMajorOffset},
    {"class-3 reading", history::kClass3ReadingOffset, 4},
    {"memory power", board::kMemoryPowerOffset, 4},
    {"main-board CPLD board id", board::kMbCpldBoardIdOffset, 1},
    {"main-board CPLD update time", board::kMbCpldDurationOffset, 2},
    {"main-board CPLD version", board::kMbCpldVersionOffset, 1},
    {"FPGA board id", board::kFpgaBoardIdOffset, 1},
    {"FPGA update time", board::kFpgaDurationOffset, 2},
    {"FPGA version", board::kFpgaVersionOffset, 1},
    {"backplane counts", disk::kFrontBackplaneCountOffset, 2},
    {"backplane records", disk::kBackplaneRecordsOffset, disk::kBackplaneRegionSize},
    {"disk-sensor monitor state", disk::kSensorMonitorStateOffset, 1},
    {"force BIOS information to CPLD", flags::kForceBiosInfoToCpldOffset, 1},
    {"OCP card count", board::kOcpCountOffset, 1},
    {"fan region", fan::kRegionOffset, 1 + fan::kRecordSize * fan::kMaxFans},
    {"GPU readiness", pcie::kGpuReadinessOffset, pcie::kReadinessSize * pcie::kMaxDevices},
    {"accelerator readiness", pcie::kAcceleratorReadinessOffset, pcie::kReadinessSize * pcie::kMaxDevices},
    {"OCP presence", board::kOcpPresentOffset, board::kMaxOcpCards},
    {"fan curve count", fancurve::kCurveCountOffset, 1},
    {"fan curves", fancurve::kCurvesOffset, fancurve::kCurveSize * fancurve::kMaxCurves},
    {"final PWM", fancurve::kFinalPwmOffset, fancurve::kMaxOutputs},
    {"missing-fan PWM raise", fancurve::kMissingFanRaiseOffset, 1},
    {"configured-CPU bitmap", board::kConfiguredCpuBitmapOffset, 1},
    {"restart cause", board::kRestartCauseOffset, 1},
    {"update tasks", update::kTaskTableOffset, update::kTaskRecordSize * update::kTaskCount},
    {"pending-task flag", update::kPendingTaskFlagOffset, 1},
    {"power-on-required flag", update::kPowerOnFlagOffset, 1},
    {"SNMP trap destinations", config::snmptrap::kDestBlockOffset, config::snmptrap::kDestBlockSize},
    {"SNMP trap record", config::snmptrap::kRecordOffset, config::snmptrap::kRecordSize},
    {"syslog settings", config::syslog::kSyslogEnableOffset,
     config::syslog::kTagTextOffset - config::syslog::kSyslogEnableOffset},
    {"syslog tag text", config::syslog::kTagTextOffset, config::syslog::kTagTextSize},
    {"SOL configuration cache", power::kSolCfgCacheOffset, 1},
    {"COM configuration cache", power::kComCfgCacheOffset, 1},
    {"debug flags", diag::kDebugFlagsOffset, diag::kDebugFlagCount},
    {"current power state", power::kCurrentPowerStateOffset, 1},
    {"SMTP record", config::smtp::kRecordOffset, config::smtp::kRecordSize},
    {"SMTP recipients", config::smtp::kRecipientsOffset, config::smtp::kRecipientsSize},
    {"SNMP agent record", config::snmpagent::kRecordOffset, config::snmpagent::kRecordSize},
    {"PWM outputs", fancurve::kOutputsOffset, fancurve::kOutputSize * fancurve::kMaxOutputs},
};

static_assert(rangesApart(kRegions, kSharedBlockSize), "shared-block regions overlap or leave the block");
static_assert(inOffsetOrder(kRegions), "keep the map in block order");

}  // namespace qrx::blockmap
