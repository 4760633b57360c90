// SNMP trap configuration in the shared block: the 179-byte trap record and
// the four 52-byte destination entries right before it.
#pragma once

#include <cstddef>

namespace qrx::config::snmptrap {

inline constexpr std::size_t kDestBlockOffset = 6429822;
inline constexpr std::size_t kRecordOffset = 6430030;

// Trap record (also the layout of whole-record requests and of the loader).
inline constexpr std::size_t kVersion = 0;     // 0 Disable, 1 V1, 2 V2C, 3 V3
inline constexpr std::size_t kEventLevel = 1;  // 0 Info, 1 Warning, 2 Critical
inline constexpr std::size_t kCommunity = 2;   // protected
inline constexpr std::size_t kCommunitySize = 17, kHostId = 19, kHostIdSize = 17, kUserName = 36, kUserNameSize = 17;
inline constexpr std::size_t kAuthProtocol = 53, kAuthProtocolSize = 17;
inline constexpr std::size_t kAuthPassword = 70;  // protected
inline constexpr std::size_t kPassSize = 21, kPrivProtocol = 91, kPrivProtocolSize = 17;
inline constexpr std::size_t kPrivPassword = 108;  // protected
inline constexpr std::size_t kEngineId = 129, kEngineIdSize = 49, kDeviceType = 178, kRecordSize = 179;
static_assert(kDeviceType + 1 == kRecordSize, "trap record is 179 bytes");
static_assert(kPrivPassword + kPassSize == kEngineId, "engine ID follows the privacy pass phrase");

// Destination entry.
inline constexpr std::size_t kDestEnabled = 0, kDestAddress = 1, kDestAddressSize = 47;
inline constexpr std::size_t kDestPort = 48;  // u32 little-endian, <= 65535
inline constexpr std::size_t kDestEntrySize = 52, kDestCount = 4, kDestBlockSize = kDestCount * kDestEntrySize;
static_assert(kDestBlockSize == 208, "destination block is 208 bytes");
static_assert(kDestBlockOffset + kDestBlockSize == kRecordOffset, "trap record follows the destinations");

inline constexpr const char *kFileName = "SnmpTrapCfg.json";
inline constexpr const char *kConfPath = "/conf/SnmpTrapCfg.json";

}  // namespace qrx::config::snmptrap
