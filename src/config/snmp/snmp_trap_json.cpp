// SNMP trap settings as "/conf/SnmpTrapCfg.json", and the in-memory readers.
#include "config/snmp/snmp_trap.h"

#include <cstring>
#include <iterator>

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

namespace {

constexpr std::uint8_t kVersionV3 = 3;
const char kDefaultCommunity[] = "vantol";

constexpr json::LoaderText kLoader = {kFileName,
                                      kConfPath,
                                      "The SnmpTrap configure file %s not exist.",
                                      "Get the total SnmpTrap configure struct from Json failed.",
                                      "SnmpTrapCfg",
                                      "Get the SnmpTrapCfg struct from Json failed."};

constexpr json::ListSpec kDestList = {"SnmpTrapDestCfg", kDestFields, std::size(kDestFields), kDestCount, kDestEntrySize,
                                      kDestBlockOffset, "Get the SnmpTrapDestCfg struct from Json failed.",
                                      "Get the SnmpTrapDestCfg length from Json error."};
constexpr json::Document kDocument = {kLoader, std::data(kRecordFields), std::size(kRecordFields), kRecordSize,
                                      kRecordOffset, "1.00", "Set SnmpTrap configure to Json failed.", &kDestList};
static_assert(kRecordSize <= json::kMaxRecordBytes && kDestBlockSize <= json::kMaxRecordBytes);

}  // namespace

int saveJson(const unsigned char *rec, const unsigned char *dest, const char *path) {
    return json::saveDocument(kDocument, rec, dest, path);
}

int loadJson() {
    return json::loadDocument(kDocument);
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
