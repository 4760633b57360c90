// SNMP trap configuration service: OEM set/get of the trap record and the
// destinations, the in-memory readers, and "/conf/SnmpTrapCfg.json".
#include <cstdio>
#include <cstring>

#include "config/json_file.h"
#include "config/secret.h"
#include "config/snmp_common.h"
#include "config/snmp_trap_layout.h"
#include "core/export.h"
#include "core/shared_block.h"
#include "quorix_common_interface.h"

namespace qrx::config::snmptrap {

using namespace qrx::config::svc;

namespace {

constexpr std::uint8_t kVersionV3 = 3;
constexpr std::uint8_t kVersionMax = 3;
constexpr std::uint8_t kEventLevelMax = 2;
constexpr std::size_t kTextMax = 16;
constexpr std::size_t kStringRequestMax = 18;
constexpr std::size_t kEngineRequestMax = 50;
constexpr std::size_t kWholeRecordRequest = kRecordSize + 2;
constexpr std::size_t kPassMin = 8;
constexpr std::size_t kPassMax = 16;
constexpr std::size_t kEngineDigitsMin = 10;
constexpr std::size_t kEngineDigitsMax = 48;
constexpr int kParseTries = 4;
constexpr int kLookupTries = 4;
constexpr int kDestLookupTries = 3;

// Destination requests.
constexpr std::size_t kDestTextMax = 46;
constexpr std::size_t kDestTextRequestMax = 49;
constexpr std::size_t kDestEnabledRequest = 4;
constexpr std::size_t kDestPortRequest = 7;
constexpr std::size_t kDestWholeRequest = 55;
constexpr std::size_t kWholeEnabled = 3;
constexpr std::size_t kWholeAddress = 4;
constexpr std::size_t kWholePort = 51;
// The request layout the public header gives.
static_assert(QUORIX_TRAP_SET_WHOLE_LEN == kWholeRecordRequest && QUORIX_TRAP_SET_DEST_WHOLE_LEN == kDestWholeRequest &&
              QUORIX_TRAP_SET_DEST_WHOLE_ENABLED == kWholeEnabled && QUORIX_TRAP_SET_DEST_WHOLE_ADDRESS == kWholeAddress &&
              QUORIX_TRAP_SET_DEST_WHOLE_PORT == kWholePort);
constexpr std::uint32_t kPortMax = 0xFFFF;

constexpr const char *kSetFn = "SetSNMPTrapCfg";
constexpr const char *kAllFn = "ValidateSNMPTrapCfgAll";
constexpr const char *kEngineFn = "ValidateSNMPTrapCfgEngineID";

const char kDefaultCommunity[] = "vantol";

#define SAY(fn, ...) traceLine(fn, __LINE__, __VA_ARGS__)

ByteView record() {
    return sharedBlock().at(kRecordOffset);
}
ByteView destination(std::size_t index) {
    return sharedBlock().at(kDestBlockOffset + index * kDestEntrySize);
}

std::uint32_t bigEndian32(const unsigned char *p) {
    return (static_cast<std::uint32_t>(p[0]) << 24) | (static_cast<std::uint32_t>(p[1]) << 16) |
           (static_cast<std::uint32_t>(p[2]) << 8) | p[3];
}

bool differs(const unsigned char *a, const unsigned char *b, std::size_t n) {
    return std::memcmp(a, b, n) != 0;
}

void upperCase(unsigned char *text, std::size_t n) {
    for (std::size_t i = 0; i < n && text[i] != 0; ++i)
        if (text[i] >= 'a' && text[i] <= 'z') text[i] = static_cast<unsigned char>(text[i] - 'a' + 'A');
}

// Text of a request field, padded with zeros so that comparisons may read one
// byte past the copy length.
struct Text {
    unsigned char bytes[kEngineIdSize + 2] = {};
    std::size_t length = 0;
    Text(const unsigned char *data, std::size_t n) : length(n < sizeof bytes - 1 ? n : sizeof bytes - 1) {
        std::memcpy(bytes, data, length);
    }
    const char *str() const { return reinterpret_cast<const char *>(bytes); }
};

// Stores a plain text field when it differs over copy length + 1 bytes.
void storePlain(std::size_t offset, std::size_t size, const Text &t, std::uint8_t &changed) {
    unsigned char *field = record().data() + offset;
    if (!differs(t.bytes, field, t.length + 1)) return;
    std::memset(field, 0, size);
    std::memcpy(field, t.bytes, t.length < size ? t.length : size - 1);
    changed = 1;
}

// Stores a protected text field (community or pass phrase) when its clear
// form differs. cleared: bytes of the stored form taken for the comparison.
void storeSecret(std::size_t offset, std::size_t size, std::size_t compared, const Text &t, std::uint8_t &changed) {
    unsigned char *field = record().data() + offset;
    unsigned char clear[kPassSize + 1] = {};
    std::memcpy(clear, field, compared);
    unprotectInPlace(clear, static_cast<int>(size));
    if (!differs(t.bytes, clear, t.length + 1)) return;
    std::memset(field, 0, size);
    std::memcpy(field, t.bytes, t.length < size ? t.length : size - 1);
    protectStoredText(field, static_cast<int>(size));
    field[size - 1] = 0;
    changed = 1;
}

unsigned engineId(const unsigned char *text, std::size_t length) {
    if (text == nullptr) return 1;
    if (text[0] != 0) {
        std::size_t digits = 0;
        for (; digits < length && text[digits] != 0; ++digits) {
            unsigned char c = text[digits];
            bool hex = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f');
            if (!hex) {
                SAY(kEngineFn, "Invalid Engine ID:%.*s\n",
                    static_cast<int>(strnlen(reinterpret_cast<const char *>(text), length)),
                    reinterpret_cast<const char *>(text));
                return 1;
            }
        }
        if (length == 0 || digits % 2 != 0 || digits < kEngineDigitsMin || digits > kEngineDigitsMax) {
            SAY(kEngineFn, "Invalid Engine ID length!\n");
            return 2;
        }
    }
    // The field keeps its terminator whatever length the caller gives.
    unsigned char wanted[kEngineIdSize] = {};
    if (text[0] != 0) std::memcpy(wanted, text, length < kEngineIdSize - 1 ? length : kEngineIdSize - 1);
    unsigned char *field = record().data() + kEngineId;
    if (differs(wanted, field, kEngineIdSize)) std::memcpy(field, wanted, kEngineIdSize);
    return 0;
}

std::size_t passLength(const Text &t) {
    return strnlen(t.str(), t.length);
}

unsigned setParameter(const unsigned char *req, std::size_t n, std::uint8_t &changed) {
    ByteView rec = record();
    const std::uint8_t param = req[1];
    const unsigned char *data = req + 2;
    const bool v3 = rec.u8(kVersion) == kVersionV3;
    const std::size_t copy = n == kStringRequestMax ? kTextMax : n - 2;
    switch (param) {
        case 0: {
            if (n != 3) return kCcReqDataLenInvalid;
            if (data[0] > kVersionMax) {
                SAY(kSetFn, "Invalid version!\n");
                return kCcParamOutOfRange;
            }
            if (data[0] == rec.u8(kVersion)) return kCcOk;
            rec.setU8(kVersion, data[0]);
            if (data[0] != kVersionV3) {
                rec.fill(kUserName, 0, kUserNameSize);
                rec.fill(kAuthProtocol, 0, kAuthProtocolSize);
                rec.fill(kAuthPassword, 0, kPassSize);
                rec.fill(kPrivProtocol, 0, kPrivProtocolSize);
                rec.fill(kPrivPassword, 0, kPassSize);
                // Only the first 21 bytes of the engine ID; kept as the command set has always done.
                rec.fill(kEngineId, 0, kPassSize);
            } else {
                rec.fill(kCommunity, 0, kCommunitySize);
            }
            changed = 1;
            return kCcOk;
        }
        case 1:
            if (n != 3) return kCcReqDataLenInvalid;
            if (data[0] > kEventLevelMax) {
                SAY(kSetFn, "Invalid event level limit:%d\n", data[0]);
                return kCcInvalidDataField;
            }
            if (data[0] != rec.u8(kEventLevel)) {
                rec.setU8(kEventLevel, data[0]);
                changed = 1;
            }
            return kCcOk;
        case 2: {
            if (v3) return kCcNotAllowedNow;
            if (n > kStringRequestMax) return kCcReqDataLenInvalid;
            Text t(data, copy);
            if (ValidateSNMPTrapCfgInput(data, static_cast<int>(n - 2)) != 0) {
                SAY(kSetFn, "Invalid community:%s\n", t.str());
                return kCcParamOutOfRange;
            }
            storeSecret(kCommunity, kCommunitySize, kTextMax, t, changed);
            return kCcOk;
        }
        case 3: {
            if (n > kStringRequestMax) return kCcReqDataLenInvalid;
            Text t(data, copy);
            if (ValidateSNMPTrapCfgInput(data, static_cast<int>(n - 2)) != 0) {
                SAY(kSetFn, "Invalid HostID!\n");
                return kCcInvalidDataField;
            }
            if (ValidateHostID(t.str()) != 0) {
                SAY(kSetFn, "Invalid HostID:%s\n", t.str());
                return kCcInvalidDataField;
            }
            storePlain(kHostId, kHostIdSize, t, changed);
            return kCcOk;
        }
        case 4: {
            if (!v3) return kCcNotAllowedNow;
            if (n > kStringRequestMax) return kCcReqDataLenInvalid;
            Text t(data, copy);
            if (ValidateSNMPTrapCfgInput(data, static_cast<int>(n - 2)) != 0) {
                SAY(kSetFn, "Invalid username:%s\n", t.str());
                return kCcParamOutOfRange;
            }
            storePlain(kUserName, kUserNameSize, t, changed);
            return kCcOk;
        }
        case 5:
        case 7: {
            const bool auth = param == 5;
            if (!v3) return kCcNotAllowedNow;
            if (n > kStringRequestMax) return kCcReqDataLenInvalid;
            Text t(data, copy);
            if (ValidateSNMPTrapCfgInput(data, static_cast<int>(n - 2)) != 0) {
                SAY(kSetFn, auth ? "Invalid authprotocol!\n" : "Invalid privprotocol!\n");
                return auth ? kCcParamOutOfRange : kCcInvalidDataField;
            }
            if (auth ? ValidateAUTHProtocol(t.str()) != 0 : ValidatePrivProtocol(t.str()) != 0) {
                if (auth) {
                    SAY(kSetFn, "Invalid authprotocol!\n");
                    return kCcInvalidDataField;
                }
                return kCcParamOutOfRange;
            }
            upperCase(t.bytes, t.length);
            storePlain(auth ? kAuthProtocol : kPrivProtocol, kAuthProtocolSize, t, changed);
            return kCcOk;
        }
        case 6:
        case 8: {
            const bool auth = param == 6;
            if (!v3) return kCcNotAllowedNow;
            if (n > kStringRequestMax) return kCcReqDataLenInvalid;
            Text t(data, copy);
            if (ValidateSNMPTrapCfgInput(data, static_cast<int>(n - 2)) != 0) {
                SAY(kSetFn, auth ? "Invalid authpassword!\n" : "Invalid privpassword!\n");
                return kCcParamOutOfRange;
            }
            std::size_t len = passLength(t);
            if (len < kPassMin || len > kPassMax) {
                SAY(kSetFn, auth ? "Invalid authpassword length!\n" : "Invalid privpassword length!\n");
                return kCcReqDataLenInvalid;
            }
            storeSecret(auth ? kAuthPassword : kPrivPassword, kPassSize, kPassSize - 1, t, changed);
            return kCcOk;
        }
        case 9: {
            if (!v3) return kCcNotAllowedNow;
            if (n > kEngineRequestMax) return kCcReqDataLenInvalid;
            Text t(data, n - 2);
            switch (engineId(t.bytes, (n - 2) & 255)) {
                case 1:
                    SAY(kSetFn, "Invalid EngineID:%s\n", t.str());
                    return kCcParamOutOfRange;
                case 2:
                    SAY(kSetFn, "Invalid EngineID length!\n");
                    return kCcReqDataLenInvalid;
                default:
                    changed = 1;
                    return kCcOk;
            }
        }
        case 10:
            if (n != 3) return kCcReqDataLenInvalid;
            if (ValidateSNMPTrapCfgDeviceType(data[0]) != 0) {
                SAY(kSetFn, "Invalid DeviceType:%d\n", data[0]);
                return kCcParamOutOfRange;
            }
            if (data[0] != rec.u8(kDeviceType)) {
                rec.setU8(kDeviceType, data[0]);
                changed = 1;
            }
            return kCcOk;
        case 255: {
            if (n != kWholeRecordRequest) return kCcReqDataLenInvalid;
            if (data[kVersion] > kVersionMax || data[kEventLevel] > kEventLevelMax) {
                SAY(kSetFn, "Invalid trapversion or eventlevellimit!\n");
                return kCcParamOutOfRange;
            }
            if (data[kVersion] == 0) {
                rec.setU8(kVersion, 0);
                changed = 1;
                return kCcOk;
            }
            unsigned char copyOfRecord[kRecordSize];
            std::memcpy(copyOfRecord, data, kRecordSize);
            unsigned cc = ValidateSNMPTrapCfgAll(copyOfRecord);
            if (cc != kCcOk) return cc;
            changed = 1;
            return kCcOk;
        }
        default:
            return kCcParamOutOfRange;
    }
}

// Terminated copy of a record field for messages and validators.
struct Field {
    char text[kEngineIdSize + 1] = {};
    Field(const unsigned char *rec, std::size_t offset, std::size_t size) { std::memcpy(text, rec + offset, size); }
};

bool isNone(const unsigned char *protocol) {
    return std::strncmp(reinterpret_cast<const char *>(protocol), "NONE", 5) == 0;
}

unsigned validateAll(unsigned char *req) {
    ByteView rec = record();
    Field host(req, kHostId, kHostIdSize - 1);
    if (ValidateHostID(host.text) != 0) {
        SAY(kAllFn, "Invalid HostID:%s\n", host.text);
        return kCcParamOutOfRange;
    }
    if (ValidateSNMPTrapCfgDeviceType(req[kDeviceType]) != 0) {
        SAY(kAllFn, "Invalid DeviceType:%d\n", req[kDeviceType]);
        return kCcParamOutOfRange;
    }
    if (req[kVersion] == kVersionV3) {
        Field user(req, kUserName, kTextMax), authp(req, kAuthProtocol, kTextMax), privp(req, kPrivProtocol, kTextMax);
        if (ValidateSNMPTrapCfgInput(req + kUserName, kTextMax) != 0) {
            SAY(kAllFn, "Invalid UserName:%s\n", user.text);
            return kCcInvalidDataField;
        }
        if (ValidateSNMPTrapCfgInput(req + kAuthProtocol, kTextMax) != 0) {
            SAY(kAllFn, "Invalid authprotocol:%s\n", authp.text);
            return kCcInvalidDataField;
        }
        if (!isNone(req + kAuthProtocol) && ValidateSNMPTrapCfgInput(req + kAuthPassword, kTextMax) != 0) {
            SAY(kAllFn, "Invalid authpassword!\n");
            return kCcInvalidDataField;
        }
        if (ValidateSNMPTrapCfgInput(req + kPrivProtocol, kTextMax) != 0) {
            SAY(kAllFn, "Invalid privprotocol!\n");
            return kCcInvalidDataField;
        }
        if (!isNone(req + kPrivProtocol) && ValidateSNMPTrapCfgInput(req + kPrivPassword, kTextMax) != 0) {
            SAY(kAllFn, "Invalid privpassword!\n");
            return kCcInvalidDataField;
        }
        req[kEngineId + kEngineIdSize - 1] = 0;
        switch (engineId(req + kEngineId, kEngineDigitsMax)) {
            case 1:
                return kCcInvalidDataField;
            case 2:
                return kCcReqDataLenInvalid;
            default:
                break;
        }
        if (ValidateAUTHProtocol(authp.text) != 0) {
            SAY(kAllFn, "Invalid authprotocol:%s\n", authp.text);
            return kCcParamOutOfRange;
        }
        if (ValidatePrivProtocol(privp.text) != 0) {
            SAY(kAllFn, "Invalid privprotocol:%s\n", privp.text);
            return kCcParamOutOfRange;
        }
        upperCase(req + kAuthProtocol, kTextMax);
        upperCase(req + kPrivProtocol, kTextMax);
        const std::size_t authLen = strnlen(reinterpret_cast<const char *>(req + kAuthPassword), kPassSize);
        const std::size_t privLen = strnlen(reinterpret_cast<const char *>(req + kPrivPassword), kPassSize);
        if (!isNone(req + kAuthProtocol) && (authLen < kPassMin || authLen > kPassMax)) {
            SAY(kAllFn, "Invalid authpassword!\n");
            return kCcReqDataLenInvalid;
        }
        if (!isNone(req + kPrivProtocol) && (privLen < kPassMin || privLen > kPassMax)) {
            SAY(kAllFn, "Invalid privpassword!\n");
            return kCcReqDataLenInvalid;
        }
        rec.fill(kCommunity, 0, kCommunitySize);
        rec.fill(kUserName, 0, kUserNameSize);
        rec.copyIn(kUserName, req + kUserName, kTextMax);
        rec.fill(kAuthProtocol, 0, kAuthProtocolSize);
        rec.copyIn(kAuthProtocol, req + kAuthProtocol, kTextMax);
        std::uint8_t ignored = 0;
        storeSecret(kAuthPassword, kPassSize, kPassSize, Text(req + kAuthPassword, authLen), ignored);
        rec.fill(kPrivProtocol, 0, kPrivProtocolSize);
        rec.copyIn(kPrivProtocol, req + kPrivProtocol, kTextMax);
        // Always rewritten: the stored form is compared still protected, and the result is the same.
        rec.fill(kPrivPassword, 0, kPassSize);
        rec.copyIn(kPrivPassword, req + kPrivPassword, privLen);
        protectStoredText(rec.data() + kPrivPassword, static_cast<int>(kPassSize));
        rec.setU8(kPrivPassword + kPassSize - 1, 0);
    } else {
        Field community(req, kCommunity, kCommunitySize - 1);
        if (ValidateSNMPTrapCfgInput(req + kCommunity, kTextMax) != 0) {
            SAY(kAllFn, "Invalid community:%s\n", community.text);
            return kCcParamOutOfRange;
        }
        rec.fill(kUserName, 0, kUserNameSize);
        rec.fill(kAuthProtocol, 0, kAuthProtocolSize);
        rec.fill(kAuthPassword, 0, kPassSize);
        rec.fill(kPrivProtocol, 0, kPrivProtocolSize);
        rec.fill(kPrivPassword, 0, kPassSize);
        rec.fill(kEngineId, 0, kEngineIdSize);
        std::uint8_t ignored = 0;
        storeSecret(kCommunity, kCommunitySize, kTextMax, Text(req + kCommunity, std::strlen(community.text)), ignored);
    }
    rec.setU8(kVersion, req[kVersion]);
    rec.setU8(kEventLevel, req[kEventLevel]);
    rec.fill(kHostId, 0, kHostIdSize);
    rec.copyIn(kHostId, req + kHostId, kTextMax);
    rec.setU8(kDeviceType, req[kDeviceType]);
    return kCcOk;
}

unsigned setDestination(const unsigned char *req, std::size_t n, std::uint8_t &changed) {
    if (n <= 3) return kCcReqDataLenInvalid;
    const std::size_t index = req[1];
    if (index >= kDestCount) return kCcParamOutOfRange;
    ByteView entry = destination(index);
    switch (req[2]) {
        case 0:
            if (n != kDestEnabledRequest) return kCcReqDataLenInvalid;
            if (req[3] > 1) return kCcParamOutOfRange;
            if (req[3] != entry.u8(kDestEnabled)) {
                entry.setU8(kDestEnabled, req[3]);
                changed = 1;
            }
            return kCcOk;
        case 1: {
            if (n > kDestTextRequestMax) return kCcReqDataLenInvalid;
            const std::size_t length = n == kDestTextRequestMax ? kDestTextMax : n - 3;
            if (ValidateSNMPTrapCfgInput(req + 3, static_cast<int>(length)) != 0) return kCcParamOutOfRange;
            if (!acceptableAddress(req + 3, length)) {
                QuorixDebug(kLevelError, kModule, "Invalid data format of SNMPTrap destination!");
                return kCcInvalidDataField;
            }
            unsigned char wanted[kDestAddressSize] = {};
            std::memcpy(wanted, req + 3, length);
            if (differs(wanted, entry.data() + kDestAddress, length)) {
                entry.fill(kDestAddress, 0, kDestAddressSize);
                entry.copyIn(kDestAddress, wanted, length);
                changed = 1;
            }
            return kCcOk;
        }
        case 2: {
            if (n != kDestPortRequest) return kCcReqDataLenInvalid;
            const std::uint32_t port = bigEndian32(req + 3);
            if (port > kPortMax) return kCcParamOutOfRange;
            if (port != entry.u32(kDestPort)) {
                entry.setU32(kDestPort, port);
                changed = 1;
            }
            return kCcOk;
        }
        case 255: {
            if (n != kDestWholeRequest) return kCcReqDataLenInvalid;
            const std::uint8_t enabled = req[kWholeEnabled];
            const std::uint32_t port = bigEndian32(req + kWholePort);
            if (enabled > 1 || port > kPortMax) return kCcParamOutOfRange;
            if (ValidateSNMPTrapCfgInput(req + kWholeAddress, static_cast<int>(kDestTextMax)) != 0)
                return kCcParamOutOfRange;
            if ((enabled == 1 || req[kWholeAddress] != 0) && !acceptableAddress(req + kWholeAddress, kDestTextMax)) {
                QuorixDebug(kLevelError, kModule, "Invalid data format of SNMPTrap destination!");
                return kCcInvalidDataField;
            }
            entry.setU8(kDestEnabled, enabled);
            entry.copyIn(kDestAddress, req + kWholeAddress, kDestTextMax);
            entry.setU8(kDestAddress + kDestTextMax, 0);
            entry.setU32(kDestPort, port);
            changed = 1;
            return kCcOk;
        }
        default:
            return kCcParamOutOfRange;
    }
}

int saveJson(const unsigned char *rec, const unsigned char *dest, const char *path) {
    if (rec == nullptr || dest == nullptr || path == nullptr) {
        QuorixDebug(kLevelError, kModule, "Set SnmpTrap configure to Json failed.");
        return -1;
    }
    json::Ptr root(json_object_new_object());
    json_object *cfg = json_object_new_object();
    json_object_object_add(root.get(), "Version", json_object_new_string("1.00"));
    json_object_object_add(cfg, "TrapVersion", json_object_new_int(rec[kVersion]));
    json_object_object_add(cfg, "EventLevelLimit", json_object_new_int(rec[kEventLevel]));
    json_object_object_add(cfg, "Community", json::fieldString(rec + kCommunity, kCommunitySize));
    json_object_object_add(cfg, "HostID", json::fieldString(rec + kHostId, kHostIdSize));
    json_object_object_add(cfg, "UserName", json::fieldString(rec + kUserName, kUserNameSize));
    json_object_object_add(cfg, "AUTHProtocol", json::fieldString(rec + kAuthProtocol, kAuthProtocolSize));
    json_object_object_add(cfg, "AUTHPwd", json::fieldString(rec + kAuthPassword, kPassSize));
    json_object_object_add(cfg, "PrivProtocol", json::fieldString(rec + kPrivProtocol, kPrivProtocolSize));
    json_object_object_add(cfg, "PRIVPwd", json::fieldString(rec + kPrivPassword, kPassSize));
    json_object_object_add(cfg, "EngineID", json::fieldString(rec + kEngineId, kEngineIdSize));
    json_object_object_add(cfg, "DeviceType", json_object_new_int(rec[kDeviceType]));
    json_object_object_add(root.get(), "SnmpTrapCfg", cfg);
    json_object *list = json_object_new_array();
    for (std::size_t i = 0; i < kDestCount; ++i) {
        ByteView entry(const_cast<unsigned char *>(dest) + i * kDestEntrySize);
        json_object *item = json_object_new_object();
        json_object_object_add(item, "Enabled", json_object_new_int(entry.u8(kDestEnabled)));
        json_object_object_add(item, "Destination", json::fieldString(entry.data() + kDestAddress, kDestAddressSize));
        json_object_object_add(item, "port", json_object_new_int64(entry.u32(kDestPort)));
        json_object_array_add(list, item);
    }
    json_object_object_add(root.get(), "SnmpTrapDestCfg", list);
    if (!json::writeAtomically(root.get(), path)) {
        QuorixDebug(kLevelError, kModule, "Set SnmpTrap configure to Json failed.");
        return -1;
    }
    return 0;
}

int loadJson() {
    const std::string path = json::sourceFor(kFileName);
    if (path.empty()) {
        QuorixDebug(kLevelError, kModule, "The SnmpTrap configure file %s not exist.", kConfPath);
        return -1;
    }
    json::Ptr root = json::parseFile(path, kParseTries);
    if (!root) {
        QuorixDebug(kLevelError, kModule, "Get the total SnmpTrap configure struct from Json failed.");
        return -1;
    }
    json_object *cfg = json::member(root.get(), "SnmpTrapCfg", kLookupTries);
    if (cfg == nullptr || !json_object_is_type(cfg, json_type_object)) {
        QuorixDebug(kLevelError, kModule, "Get the SnmpTrapCfg struct from Json failed.");
        return -1;
    }
    unsigned char rec[kRecordSize] = {};
    rec[kVersion] = static_cast<unsigned char>(json::intMember(cfg, "TrapVersion"));
    rec[kEventLevel] = static_cast<unsigned char>(json::intMember(cfg, "EventLevelLimit"));
    rec[kDeviceType] = static_cast<unsigned char>(json::intMember(cfg, "DeviceType"));
    const struct {
        const char *key;
        std::size_t offset;
    } strings[] = {{"Community", kCommunity},       {"HostID", kHostId},        {"UserName", kUserName},
                   {"AUTHProtocol", kAuthProtocol}, {"AUTHPwd", kAuthPassword}, {"PrivProtocol", kPrivProtocol},
                   {"PRIVPwd", kPrivPassword},      {"EngineID", kEngineId}};
    // Every text, engine ID included, is taken with 16 characters at most; kept so on purpose.
    for (const auto &s : strings) json::copyStringMember(cfg, s.key, rec + s.offset, kTextMax);
    record().copyIn(0, rec, kRecordSize);

    json_object *list = json::member(root.get(), "SnmpTrapDestCfg", kDestLookupTries);
    if (list == nullptr || !json_object_is_type(list, json_type_array)) {
        QuorixDebug(kLevelError, kModule, "Get the SnmpTrapDestCfg struct from Json failed.");
        return -1;
    }
    const std::size_t count = json_object_array_length(list);
    if (count > kDestCount) {
        QuorixDebug(kLevelError, kModule, "Get the SnmpTrapDestCfg length from Json error.");
        return -1;
    }
    unsigned char dest[kDestBlockSize] = {};
    for (std::size_t i = 0; i < count; ++i) {
        json_object *item = json_object_array_get_idx(list, i);
        if (item == nullptr || !json_object_is_type(item, json_type_object)) continue;
        ByteView entry(dest + i * kDestEntrySize);
        entry.setU8(kDestEnabled, static_cast<std::uint8_t>(json::intMember(item, "Enabled")));
        entry.setU32(kDestPort, static_cast<std::uint32_t>(json::intMember(item, "port")));
        json::copyStringMember(item, "Destination", entry.data() + kDestAddress, kDestTextMax);
    }
    sharedBlock().copyIn(kDestBlockOffset, dest, kDestBlockSize);
    return 0;
}

unsigned setInterface(const unsigned char *req, std::size_t n) {
    if (req == nullptr || n == 0) return kCcReqDataLenInvalid;
    std::uint8_t changed = 0;
    switch (req[0]) {
        case 0: {
            if (n <= 2) return kCcReqDataLenInvalid;
            unsigned cc = setParameter(req, n, changed);
            if (cc == kCcReqDataLenInvalid || cc == kCcParamOutOfRange || cc == kCcInvalidDataField ||
                cc == kCcNotAllowedNow)
                return cc;
            if (cc != kCcOk) return kCcUnspecified;
            break;
        }
        case 1: {
            unsigned cc = setDestination(req, n, changed);
            if (cc != kCcOk) return cc;
            break;
        }
        case 2:
            if (n < 2) return kCcReqDataLenInvalid;
            postDestinationTest(req[1]);
            return kCcOk;
        default:
            return kCcParamOutOfRange;
    }
    if (changed != 0 && saveJson(record().data(), sharedBlock().data() + kDestBlockOffset, kConfPath) != 0)
        return kCcUnspecified;
    return kCcOk;
}

}  // namespace

}  // namespace qrx::config::snmptrap

namespace st = qrx::config::snmptrap;

extern "C" {

QRX_EXPORT int QuorixGetBMCSnmpTrapCfgInterface(int selector, unsigned char *response) {
    if (response == nullptr) return -1;
    if (selector == 0) {
        qrx::sharedBlock().copyOut(st::kRecordOffset, response + 1, st::kRecordSize);
        return static_cast<int>(st::kRecordSize + 1);
    }
    if (selector == 1) {
        qrx::sharedBlock().copyOut(st::kDestBlockOffset, response + 1, st::kDestBlockSize);
        return static_cast<int>(st::kDestBlockSize + 1);
    }
    return -1;
}

QRX_EXPORT unsigned QuorixSetBMCSnmpTrapCfgInterface(const unsigned char *request, int length) {
    try {
        if (length < 0) return qrx::config::svc::kCcReqDataLenInvalid;
        return st::setInterface(request, static_cast<std::size_t>(length));
    } catch (...) {
        return qrx::config::svc::kCcUnspecified;
    }
}

QRX_EXPORT unsigned SetSNMPTrapCfg(const unsigned char *request, int length, unsigned char *changed) {
    try {
        if (request == nullptr || changed == nullptr) return qrx::config::svc::kCcUnspecified;
        if (length <= 2) return qrx::config::svc::kCcReqDataLenInvalid;
        return st::setParameter(request, static_cast<std::size_t>(length), *changed);
    } catch (...) {
        return qrx::config::svc::kCcUnspecified;
    }
}

QRX_EXPORT unsigned ValidateSNMPTrapCfgAll(unsigned char *record) {
    if (record == nullptr) return qrx::config::svc::kCcUnspecified;
    return st::validateAll(record);
}

QRX_EXPORT unsigned ValidateSNMPTrapCfgEngineID(const unsigned char *text, int length) {
    if (length < 0) return 2;
    return st::engineId(text, static_cast<std::size_t>(length));
}

QRX_EXPORT int ClearSNMPTrapCfgUnsupportedParams(unsigned char *buffer, int size) {
    if (buffer != nullptr && size > 0) std::memset(buffer, 0, static_cast<std::size_t>(size));
    return 0;
}

QRX_EXPORT int QuorixGetSnmpTotalConfFromJson(void) {
    try {
        return st::loadJson();
    } catch (...) {
        return -1;
    }
}

QRX_EXPORT int QuorixSetSnmpTotalConfToJson(const unsigned char *record, const unsigned char *destinations,
                                            const char *path) {
    try {
        return st::saveJson(record, destinations, path);
    } catch (...) {
        return -1;
    }
}

QRX_EXPORT int QuorixGetSnmpTrapDstCfg(unsigned char *buffer) {
    if (buffer == nullptr) return -1;
    qrx::sharedBlock().copyOut(st::kDestBlockOffset, buffer, st::kDestBlockSize);
    return 0;
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
    if (rec.u8(kVersion) == 3) {
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
