// SNMP agent configuration: the 105-byte record in the shared block, right
// after the SMTP recipients.
#pragma once

#include <cstddef>

namespace qrx::config::snmpagent {

inline constexpr std::size_t kRecordOffset = 6431209;

inline constexpr std::size_t kV1Enable = 0;
inline constexpr std::size_t kV2Enable = 1;
inline constexpr std::size_t kReadOnlyCommunity = 2;    // protected
inline constexpr std::size_t kReadWriteCommunity = 19;  // protected
inline constexpr std::size_t kCommunitySize = 17, kV1V2SetEnable = 36, kV3Enable = 37;
inline constexpr std::size_t kAuthProtocol = 38;  // 1..2, index into AuthProtocols
inline constexpr std::size_t kPrivProtocol = 39;  // 1..2, index into PrivProtocols
inline constexpr std::size_t kUserName = 40;
inline constexpr std::size_t kUserNameSize = 17;
inline constexpr std::size_t kAuthPassword = 57;  // protected over 24 bytes
inline constexpr std::size_t kPrivPassword = 81;  // protected over 24 bytes
inline constexpr std::size_t kPassSize = 24;
inline constexpr std::size_t kRecordSize = 105;
static_assert(kPrivPassword + kPassSize == kRecordSize, "agent record is 105 bytes");

inline constexpr const char *kFileName = "SnmpAgentCfg.json", *kConfPath = "/conf/SnmpAgentCfg.json";
inline constexpr const char *kDefaultPath = "/etc/defconfig/SnmpAgentCfg.json";
inline constexpr const char *kRestartCommand = "/etc/init.d/netsnmp restart &";

}  // namespace qrx::config::snmpagent
