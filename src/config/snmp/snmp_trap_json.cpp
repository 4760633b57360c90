// SNMP trap settings as "/conf/SnmpTrapCfg.json", and the in-memory readers.
#include "config/snmp/snmp_trap.h"

#include <cstring>

#include "config/common/json_record.h"
#include "config/common/secret.h"
#include "config/common/service.h"
#include "config/snmp/snmp_trap_layout.h"
#include "core/byte_access.h"
#include "core/export.h"
#include "core/shared_block.h"
#include "quorix_common_interface.h"

namespace qrx::config::snmptrap {

using namespace qrx::config::svc;
using json::Kind;

namespace {

// Every text, engine ID included, is loaded with 16 characters at most; kept so on purpose.
constexpr std::size_t kLoadedText = 16;
constexpr std::size_t kLoadedAddress = kDestAddressSize - 1;
constexpr std::uint8_t kVersionV3 = 3;
const char kDefaultCommunity[] = "vantol";

constexpr json::Field kRecordFields[] = {
    {"TrapVersion", kVersion, 1, Kind::U8, 0, true},
    {"EventLevelLimit", kEventLevel, 1, Kind::U8, 0, true},
    {"Community", kCommunity, kCommunitySize, Kind::Text, kLoadedText, true},
    {"HostID", kHostId, kHostIdSize, Kind::Text, kLoadedText, true},
    {"UserName", kUserName, kUserNameSize, Kind::Text, kLoadedText, true},
    {"AUTHProtocol", kAuthProtocol, kAuthProtocolSize, Kind::Text, kLoadedText, true},
    {"AUTHPwd", kAuthPassword, kPassSize, Kind::Text, kLoadedText, true},
    {"PrivProtocol", kPrivProtocol, kPrivProtocolSize, Kind::Text, kLoadedText, true},
    {"PRIVPwd", kPrivPassword, kPassSize, Kind::Text, kLoadedText, true},
    {"EngineID", kEngineId, kEngineIdSize, Kind::Text, kLoadedText, true},
    {"DeviceType", kDeviceType, 1, Kind::U8, 0, true},
};

constexpr json::Field kDestFields[] = {
    {"Enabled", kDestEnabled, 1, Kind::U8, 0, true},
    {"Destination", kDestAddress, kDestAddressSize, Kind::Text, kLoadedAddress, true},
    {"port", kDestPort, 4, Kind::U32, 0, true},
};

constexpr json::LoaderText kLoader = {kFileName,
                                      kConfPath,
                                      "The SnmpTrap configure file %s not exist.",
                                      "Get the total SnmpTrap configure struct from Json failed.",
                                      "SnmpTrapCfg",
                                      "Get the SnmpTrapCfg struct from Json failed."};

}  // namespace

int saveJson(const unsigned char *rec, const unsigned char *dest, const char *path) {
    if (rec == nullptr || dest == nullptr || path == nullptr) {
        qrx::debugLog(kLevelError, kModule, "Set SnmpTrap configure to Json failed.");
        return -1;
    }
    json::Ptr root(json_object_new_object());
    json_object *cfg = json_object_new_object();
    json_object_object_add(root.get(), "Version", json_object_new_string("1.00"));
    json::saveFields(cfg, rec, kRecordFields);
    json_object_object_add(root.get(), "SnmpTrapCfg", cfg);
    json_object *list = json_object_new_array();
    for (std::size_t i = 0; i < kDestCount; ++i) {
        json_object *item = json_object_new_object();
        json::saveFields(item, dest + i * kDestEntrySize, kDestFields);
        json_object_array_add(list, item);
    }
    json_object_object_add(root.get(), "SnmpTrapDestCfg", list);
    if (!json::writeAtomically(root.get(), path)) {
        qrx::debugLog(kLevelError, kModule, "Set SnmpTrap configure to Json failed.");
        return -1;
    }
    return 0;
}

int loadJson() {
    json::Ptr root;
    json_object *cfg = json::openSection(kLoader, root);
    if (cfg == nullptr) return -1;
    json::loadRecord<kRecordSize>(cfg, kRecordOffset, kRecordFields);

    json_object *list = json::listSection(root.get(), "SnmpTrapDestCfg", kDestCount,
                                          "Get the SnmpTrapDestCfg struct from Json failed.",
                                          "Get the SnmpTrapDestCfg length from Json error.");
    if (list == nullptr) return -1;
    unsigned char dest[kDestBlockSize] = {};
    for (std::size_t i = 0; i < json_object_array_length(list); ++i) {
        json_object *item = json_object_array_get_idx(list, i);
        if (item == nullptr || !json_object_is_type(item, json_type_object)) continue;
        json::loadFields(item, dest + i * kDestEntrySize, kDestFields);
    }
    sharedBlock().copyIn(kDestBlockOffset, dest, kDestBlockSize);
    return 0;
}

}  // namespace qrx::config::snmptrap

namespace st = qrx::config::snmptrap;

extern "C" {

QRX_EXPORT int QuorixGetSnmpTotalConfFromJson(void) {
    return st::loadJson();
}

QRX_EXPORT int QuorixSetSnmpTotalConfToJson(const unsigned char *record, const unsigned char *destinations,
                                            const char *path) {
    return st::saveJson(record, destinations, path);
}

QRX_EXPORT int QuorixGetSnmpTrapCfgFromMem(unsigned char *buffer) {
    if (buffer == nullptr) return -1;
    using namespace st;
    qrx::ByteView rec = qrx::sharedBlock().at(kRecordOffset);
    rec.copyOut(0, buffer, kRecordSize);
    // The stored bytes are copied as they stand (never used as a format), bounded like the field:
    // the copy stops at the first zero byte or one short of the field and is terminated there.
    // The record is already in the buffer, so cipher bytes behind an embedded zero stay intact.
    auto copyBounded = [&](std::size_t offset, std::size_t size) {
        std::size_t len = strnlen(reinterpret_cast<const char *>(rec.data() + offset), size - 1);
        buffer[offset + len] = 0;
    };
    auto decrypt = [&](std::size_t offset, std::size_t size) {
        qrx::config::unprotectInPlace(buffer + offset, static_cast<int>(size));
        buffer[offset + size - 1] = 0;
    };
    if (rec.u8(kVersion) == kVersionV3) {
        copyBounded(kAuthPassword, kPassSize);
        decrypt(kAuthPassword, kPassSize);
        copyBounded(kPrivPassword, kPassSize);
        decrypt(kPrivPassword, kPassSize);
    } else {
        copyBounded(kCommunity, kCommunitySize);
        if (std::memcmp(buffer + kCommunity, kDefaultCommunity, sizeof kDefaultCommunity) != 0)
            decrypt(kCommunity, kCommunitySize);
    }
    return 0;
}

}  // extern "C"
