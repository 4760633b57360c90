// SNMP agent configuration service: OEM set/get of the agent record, its
// JSON file "/conf/SnmpAgentCfg.json" and the agent restart.
#include <cstdio>
#include <cstring>

#include "config/json_file.h"
#include "config/secret.h"
#include "config/snmp_agent_layout.h"
#include "config/snmp_common.h"
#include "core/export.h"
#include "core/shared_block.h"
#include "quorix_common_interface.h"
#include "quorix_platform.h"

namespace qrx::config::snmpagent {

using namespace qrx::config::svc;

namespace {

constexpr int kParseTries = 4;
constexpr int kLookupTries = 4;
constexpr std::size_t kTextMax = 16;
constexpr std::size_t kPassMax = 20;
constexpr std::size_t kWholeRequest = kRecordSize + 1;  // record offset k is request byte k + 1
constexpr std::uint8_t kParamWhole = 254;
constexpr std::uint8_t kParamRestart = 255;
// The request layout the public header gives.
static_assert(QUORIX_AGENT_SET_WHOLE == kParamWhole && QUORIX_AGENT_SET_RESTART == kParamRestart &&
              QUORIX_AGENT_SET_WHOLE_LEN == kWholeRequest);

ByteView record() {
    return sharedBlock().at(kRecordOffset);
}

struct ByteParam {
    std::uint8_t param;
    std::size_t offset;
    std::uint8_t min;
    std::uint8_t max;
    unsigned cc;  // answer for a value out of bounds
};
constexpr ByteParam kByteParams[] = {
    {0, kV1Enable, 0, 1, kCcParamOutOfRange},      {1, kV2Enable, 0, 1, kCcParamOutOfRange},
    {4, kV1V2SetEnable, 0, 1, kCcParamOutOfRange}, {5, kV3Enable, 0, 1, kCcParamOutOfRange},
    {6, kAuthProtocol, 1, 2, kCcInvalidDataField}, {7, kPrivProtocol, 1, 2, kCcInvalidDataField}};

// Request text padded with zeros: comparisons read whole field widths.
struct Text {
    unsigned char bytes[kPassSize + 1] = {};
    Text(const unsigned char *data, std::size_t n) { std::memcpy(bytes, data, n < kPassMax ? n : kPassMax); }
};

// Stores a community; false when it is unchanged.
bool storeCommunity(std::size_t offset, const unsigned char *text, std::size_t copy) {
    ByteView rec = record();
    unsigned char work[kCommunitySize] = {};
    Text wanted(text, copy);
    rec.copyOut(offset, work, kCommunitySize);
    unprotectInPlace(work, static_cast<int>(kTextMax));
    if (std::memcmp(work, wanted.bytes, kTextMax) == 0) return false;
    std::memset(work, 0, sizeof work);
    std::memcpy(work, wanted.bytes, copy < kTextMax ? copy : kTextMax);
    protectStoredText(work, static_cast<int>(kTextMax));
    rec.fill(offset, 0, kCommunitySize);
    // The stored form ends at its first zero byte, as the agent reads it.
    rec.copyIn(offset, work, strnlen(reinterpret_cast<const char *>(work), kTextMax));
    rec.setU8(offset + kCommunitySize - 1, 0);
    return true;
}

bool storePassPhrase(std::size_t offset, const unsigned char *text, std::size_t copy) {
    ByteView rec = record();
    unsigned char work[kPassSize] = {};
    Text wanted(text, copy);
    rec.copyOut(offset, work, kPassSize);
    unprotectInPlace(work, static_cast<int>(kPassSize));
    if (std::memcmp(work, wanted.bytes, kPassMax) == 0) return false;
    rec.fill(offset, 0, kPassSize);
    rec.copyIn(offset, wanted.bytes, copy < kPassMax ? copy : kPassMax);
    protectStoredText(rec.data() + offset, static_cast<int>(kPassSize));
    return true;
}

unsigned setWhole(const unsigned char *req, std::size_t n) {
    if (n != kWholeRequest) return kCcReqDataLenInvalid;
    const unsigned char *r = req + 1;
    if (r[kV1Enable] > 1 || r[kV2Enable] > 1 || r[kV3Enable] > 1) return kCcParamOutOfRange;
    const bool v12 = r[kV1Enable] == 1 || r[kV2Enable] == 1;
    const bool v3 = r[kV3Enable] == 1;
    // Every check runs before anything is stored, so a refused request changes nothing.
    if (v12 && (!strictText(r + kReadOnlyCommunity, kTextMax) || !strictText(r + kReadWriteCommunity, kTextMax)))
        return kCcParamOutOfRange;
    if (v3) {
        if (!strictText(r + kUserName, kTextMax) || !strictText(r + kAuthPassword, kPassMax) ||
            !strictText(r + kPrivPassword, kPassMax))
            return kCcParamOutOfRange;
        for (std::size_t off : {kAuthProtocol, kPrivProtocol})
            if (r[off] < 1 || r[off] > 2) return kCcInvalidDataField;
    }
    ByteView rec = record();
    if (v12) {
        for (std::size_t off : {kReadOnlyCommunity, kReadWriteCommunity}) {
            rec.fill(off, 0, kCommunitySize);
            rec.copyIn(off, r + off, strnlen(reinterpret_cast<const char *>(r + off), kTextMax));
            protectStoredText(rec.data() + off, static_cast<int>(kTextMax));
            rec.setU8(off + kCommunitySize - 1, 0);
        }
    }
    if (v3) {
        rec.setU8(kAuthProtocol, r[kAuthProtocol]);
        rec.setU8(kPrivProtocol, r[kPrivProtocol]);
        rec.fill(kUserName, 0, kUserNameSize);
        rec.copyIn(kUserName, r + kUserName, strnlen(reinterpret_cast<const char *>(r + kUserName), kTextMax));
        for (std::size_t off : {kAuthPassword, kPrivPassword}) {
            rec.fill(off, 0, kPassSize);
            rec.copyIn(off, r + off, strnlen(reinterpret_cast<const char *>(r + off), kPassMax));
            protectStoredText(rec.data() + off, static_cast<int>(kPassSize));
        }
    }
    // The set-over-v1/v2c byte (request byte 37) is never taken from a whole record.
    rec.setU8(kV1Enable, r[kV1Enable]);
    rec.setU8(kV2Enable, r[kV2Enable]);
    rec.setU8(kV3Enable, r[kV3Enable]);
    return kCcOk;
}

int save(const unsigned char *rec, const char *path) {
    if (rec == nullptr || path == nullptr) {
        QuorixDebug(kLevelError, kModule, "Set Snmp configure to Json failed.");
        return -1;
    }
    json::Ptr root(json_object_new_object());
    json_object *cfg = json_object_new_object();
    json_object_object_add(cfg, "SnmpV1Enable", json_object_new_int(rec[kV1Enable]));
    json_object_object_add(cfg, "SnmpV2Enable", json_object_new_int(rec[kV2Enable]));
    json_object_object_add(cfg, "ReadOnlyCommunity", json::fieldString(rec + kReadOnlyCommunity, kCommunitySize));
    json_object_object_add(cfg, "ReadWriteCommunity", json::fieldString(rec + kReadWriteCommunity, kCommunitySize));
    json_object_object_add(cfg, "SnmpV3Enable", json_object_new_int(rec[kV3Enable]));
    json_object_object_add(cfg, "AUTHProtocol", json_object_new_int(rec[kAuthProtocol]));
    json_object_object_add(cfg, "PrivProtocol", json_object_new_int(rec[kPrivProtocol]));
    json_object_object_add(cfg, "AUTHUserName", json::fieldString(rec + kUserName, kUserNameSize));
    json_object_object_add(cfg, "AUTHPwd", json::fieldString(rec + kAuthPassword, kPassSize));
    json_object_object_add(cfg, "PRIVPwd", json::fieldString(rec + kPrivPassword, kPassSize));
    // "SnmpV1V2SetEnable" is read by the loader but not written; kept so on purpose.
    json_object_object_add(root.get(), "SnmpCfg", cfg);
    if (!json::writeAtomically(root.get(), path)) {
        QuorixDebug(kLevelError, kModule, "Set Snmp configure to Json failed.");
        return -1;
    }
    return 0;
}

int load() {
    const std::string path = json::sourceFor(kFileName);
    if (path.empty()) {
        QuorixDebug(kLevelError, kModule, "The Snmp configure file %s not exist.", kDefaultPath);
        return -1;
    }
    json::Ptr root = json::parseFile(path, kParseTries);
    if (!root) {
        QuorixDebug(kLevelError, kModule, "Get the total Snmp configure struct from Json failed.");
        return -1;
    }
    json_object *cfg = json::member(root.get(), "SnmpCfg", kLookupTries);
    if (cfg == nullptr || !json_object_is_type(cfg, json_type_object)) {
        QuorixDebug(kLevelError, kModule, "Get the SnmpCfg struct from Json failed.");
        return -1;
    }
    unsigned char rec[kRecordSize] = {};
    const struct {
        const char *key;
        std::size_t offset;
    } bytes[] = {{"SnmpV1Enable", kV1Enable}, {"SnmpV2Enable", kV2Enable},     {"SnmpV1V2SetEnable", kV1V2SetEnable},
                 {"SnmpV3Enable", kV3Enable}, {"AUTHProtocol", kAuthProtocol}, {"PrivProtocol", kPrivProtocol}};
    for (const auto &b : bytes) rec[b.offset] = static_cast<unsigned char>(json::intMember(cfg, b.key));
    const struct {
        const char *key;
        std::size_t offset;
    } texts[] = {{"ReadOnlyCommunity", kReadOnlyCommunity},
                 {"ReadWriteCommunity", kReadWriteCommunity},
                 {"AUTHUserName", kUserName},
                 {"AUTHPwd", kAuthPassword},
                 {"PRIVPwd", kPrivPassword}};
    for (const auto &t : texts) json::copyStringMember(cfg, t.key, rec + t.offset, kTextMax);
    record().copyIn(0, rec, kRecordSize);
    return 0;
}

void restartAgent() {
    std::printf("SNMP RESTART!\n");
    std::fflush(stdout);
    safe_system(kRestartCommand);
}

unsigned setInterface(const unsigned char *req, std::size_t n, std::uint8_t saveFlag) {
    if (req == nullptr || n == 0) return kCcReqDataLenInvalid;
    ByteView rec = record();
    const std::uint8_t param = req[0];
    const unsigned char *data = req + 1;
    bool changed = false;
    bool known = false;
    for (const ByteParam &b : kByteParams) {
        if (b.param != param) continue;
        known = true;
        if (n != 2) return kCcReqDataLenInvalid;
        if (data[0] < b.min || data[0] > b.max) return b.cc;
        if (rec.u8(b.offset) != data[0]) {
            rec.setU8(b.offset, data[0]);
            changed = true;
        }
    }
    if (!known) {
        switch (param) {
            case 2:
            case 3:
            case 8: {
                if (n > kTextMax + 1) return kCcReqDataLenInvalid;
                const std::size_t copy = n == kTextMax + 1 ? kTextMax : n - 1;
                if (!strictText(data, n - 1)) return kCcParamOutOfRange;
                if (param == 8) {
                    Text wanted(data, copy);
                    if (std::memcmp(rec.data() + kUserName, wanted.bytes, kTextMax) != 0) {
                        rec.fill(kUserName, 0, kUserNameSize);
                        rec.copyIn(kUserName, wanted.bytes, copy);
                        changed = true;
                    }
                } else {
                    changed = storeCommunity(param == 2 ? kReadOnlyCommunity : kReadWriteCommunity, data, copy);
                }
                break;
            }
            case 9:
            case 10: {
                if (n > kPassMax + 1) return kCcReqDataLenInvalid;
                const std::size_t copy = n == kPassMax + 1 ? kPassMax : n - 1;
                if (!strictText(data, n - 1)) return kCcParamOutOfRange;
                changed = storePassPhrase(param == 9 ? kAuthPassword : kPrivPassword, data, copy);
                break;
            }
            case kParamWhole: {
                unsigned cc = setWhole(req, n);
                if (cc != kCcOk) return cc;
                changed = true;
                break;
            }
            case kParamRestart:
                if (n != 1) return kCcReqDataLenInvalid;
                restartAgent();
                return kCcOk;
            default:
                return kCcParamOutOfRange;
        }
    }
    if (!changed && saveFlag != 1) return kCcOk;
    return save(rec.data(), kConfPath) == 0 ? kCcOk : kCcUnspecified;
}

}  // namespace

}  // namespace qrx::config::snmpagent

namespace sa = qrx::config::snmpagent;

extern "C" {

QRX_EXPORT int QuorixGetBMCSnmpCfgInterface(unsigned char *response) {
    if (response == nullptr) return -1;
    qrx::sharedBlock().copyOut(sa::kRecordOffset, response + 1, sa::kRecordSize);
    return static_cast<int>(sa::kRecordSize + 1);
}

QRX_EXPORT int QuorixGetSnmpCfgFromMem(unsigned char *buffer) {
    if (buffer == nullptr) return -1;
    qrx::sharedBlock().copyOut(sa::kRecordOffset, buffer, sa::kRecordSize);
    return 0;
}

QRX_EXPORT unsigned QuorixSetBMCSnmpCfgInterface(const unsigned char *request, int length, void *unused,
                                                 unsigned char save_flag) {
    (void)unused;
    try {
        if (length < 0) return qrx::config::svc::kCcReqDataLenInvalid;
        return sa::setInterface(request, static_cast<std::size_t>(length), save_flag);
    } catch (...) {
        return qrx::config::svc::kCcUnspecified;
    }
}

QRX_EXPORT int QuorixGetSnmpAgentTotalConfFromJson(void) {
    try {
        return sa::load();
    } catch (...) {
        return -1;
    }
}

QRX_EXPORT int QuorixSetSnmpAgentTotalConfToJson(const unsigned char *record, const char *path) {
    try {
        return sa::save(record, path);
    } catch (...) {
        return -1;
    }
}

}  // extern "C"
