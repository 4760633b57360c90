// The SNMP trap service's pieces that live in separate files: the
// destination requests and "/conf/SnmpTrapCfg.json".
#pragma once

#include <cstddef>
#include <cstdint>

#include "config/common/json_record.h"
#include "config/snmp/snmp_trap_layout.h"

namespace qrx::config::snmptrap {

// The fields "/conf/SnmpTrapCfg.json" keeps; the OEM set stores into the same
// rows. Every text, engine ID included, is loaded with 16 characters at most;
// kept so on purpose.
inline constexpr std::size_t kLoadedText = 16, kLoadedAddress = kDestAddressSize - 1;
inline constexpr json::Field kRecordFields[] = {
    {"TrapVersion", kVersion, 1, json::Kind::U8, 0, true},
    {"EventLevelLimit", kEventLevel, 1, json::Kind::U8, 0, true},
    {"Community", kCommunity, kCommunitySize, json::Kind::Text, kLoadedText, true},
    {"HostID", kHostId, kHostIdSize, json::Kind::Text, kLoadedText, true},
    {"UserName", kUserName, kUserNameSize, json::Kind::Text, kLoadedText, true},
    {"AUTHProtocol", kAuthProtocol, kAuthProtocolSize, json::Kind::Text, kLoadedText, true},
    {"AUTHPwd", kAuthPassword, kPassSize, json::Kind::Text, kLoadedText, true},
    {"PrivProtocol", kPrivProtocol, kPrivProtocolSize, json::Kind::Text, kLoadedText, true},
    {"PRIVPwd", kPrivPassword, kPassSize, json::Kind::Text, kLoadedText, true},
    {"EngineID", kEngineId, kEngineIdSize, json::Kind::Text, kLoadedText, true},
    {"DeviceType", kDeviceType, 1, json::Kind::U8, 0, true},
};
inline constexpr json::Field kDestFields[] = {
    {"Enabled", kDestEnabled, 1, json::Kind::U8, 0, true},
    {"Destination", kDestAddress, kDestAddressSize, json::Kind::Text, kLoadedAddress, true},
    {"port", kDestPort, 4, json::Kind::U32, 0, true},
};

// Writes the record and the destination block to path; 0 or -1 after logging.
int saveJson(const unsigned char *record, const unsigned char *destinations, const char *path);
// Loads the file (or its factory default) into the block; 0 or -1 after logging.
int loadJson();
// Group 1 of the OEM set: one field or the whole of a destination entry.
// changed is set when the block changed. Returns a completion code.
unsigned setDestination(const unsigned char *request, std::size_t length, std::uint8_t &changed);

}  // namespace qrx::config::snmptrap
