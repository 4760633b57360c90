// Map of the main-board EEPROM (a 32 KiB 24C256 part) as the library uses
// it: every byte range it reads or writes, defined here and nowhere else.
// The rest of the part belongs to the platform, which passes it through.
#pragma once

#include <cstddef>
#include <string_view>

#include "core/region_check.h"

namespace qrx::eeprom {

inline constexpr int kSize = 32 * 1024;

inline constexpr int kConfFlagOffset = 648;   // u8, preserve-setup flag
inline constexpr int kVrRecordOffset = 3840;  // VR upgrade request staged by the uploaders
inline constexpr int kVrRecordSize = 48;
inline constexpr int kBiosVerifyOffset = 3892;       // u8, 1 until a freshly flashed BIOS is seen to boot
inline constexpr int kBiosFailedBootsOffset = 3893;  // u8, boots that did not come up
inline constexpr int kPowerPeakOffset = 3904;        // u16, staggered power-on delay in seconds
inline constexpr int kPowerStatusOffset = 4481;      // u8, last power state
inline constexpr int kComCfgOffset = 5120;           // u8
inline constexpr int kSolCfgOffset = 5121;           // u8
inline constexpr int kPasswordRuleOffset = 5760;     // user password rule record
inline constexpr int kPasswordRuleSize = 12;
inline constexpr int kAssetInfoOffset = 29120;  // asset information; writing it re-sends the BIOS information

struct Range {
    std::string_view name;
    int offset;
    int size;
};

inline constexpr Range kRanges[] = {
    {"configuration flag", kConfFlagOffset, 1},
    {"VR upgrade request", kVrRecordOffset, kVrRecordSize},
    {"BIOS boot verification", kBiosVerifyOffset, 1},
    {"BIOS failed boots", kBiosFailedBootsOffset, 1},
    {"power peak delay", kPowerPeakOffset, 2},
    {"power status", kPowerStatusOffset, 1},
    {"COM configuration", kComCfgOffset, 1},
    {"SOL configuration", kSolCfgOffset, 1},
    {"user password rule", kPasswordRuleOffset, kPasswordRuleSize},
    {"asset information", kAssetInfoOffset, 1},
};

static_assert(rangesApart(kRanges, kSize), "EEPROM ranges overlap or leave the part");
static_assert(inOffsetOrder(kRanges), "keep the map in offset order");

}  // namespace qrx::eeprom
