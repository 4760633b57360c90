// SNMP trap configuration service: OEM set/get of the trap record and the
// destinations, the in-memory readers, and "/conf/SnmpTrapCfg.json".
#include <cstdio>
#include <cstring>

#include "config/common/secret.h"
#include "config/common/service.h"
#include "config/common/words.h"
#include "config/snmp/snmp_trap.h"
#include "config/snmp/snmp_trap_layout.h"
#include "core/export.h"
#include "core/request_reader.h"
#include "core/shared_block.h"
#include "quorix_common_interface.h"

namespace qrx::config::snmptrap {

using namespace qrx::config::svc;

namespace {

constexpr std::uint8_t kVersionV3 = 3, kVersionMax = 3, kEventLevelMax = 2;
constexpr std::size_t kTextMax = 16;
// Group and parameter come first; then the parameter's data.
constexpr std::size_t kHeader = 2;
constexpr LengthRule kParamRequest = atLeast(kHeader + 1), kTestRequest = atLeast(2);
constexpr LengthRule kByteRequest = exactly(kHeader + 1), kTextRequest = atMost(kHeader + kTextMax);
constexpr std::size_t kPassMin = 8, kPassMax = 16, kEngineDigitsMin = 10, kEngineDigitsMax = 48;
constexpr LengthRule kEngineRequest = atMost(kHeader + kEngineDigitsMax);
constexpr LengthRule kWholeRecordRequest = exactly(kHeader + kRecordSize);
static_assert(QUORIX_TRAP_SET_WHOLE_LEN == kWholeRecordRequest.value, "the request layout the public header gives");

constexpr const char *kSetFn = "SetSNMPTrapCfg", *kAllFn = "ValidateSNMPTrapCfgAll";
constexpr const char *kEngineFn = "ValidateSNMPTrapCfgEngineID";

#define SAY(fn, ...) traceLine(fn, __LINE__, __VA_ARGS__)

ByteView record() {
    return sharedBlock().at(kRecordOffset);
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

constexpr SecretRule kCommunityRule = {kCommunitySize, kCommunitySize, true, false};
constexpr SecretRule kPassRule = {kPassSize, kPassSize, true, false};

// Stores a protected text field (community or pass phrase) when its clear
// form, taken from the first `taken` stored bytes, differs.
void storeSecretField(std::size_t offset, const SecretRule &rule, std::size_t taken, const Text &t,
                      std::uint8_t &changed) {
    unsigned char *field = record().data() + offset;
    if (sameSecret(field, rule, taken, t.bytes, t.length + 1)) return;
    storeSecret(field, rule, t.bytes, t.length < rule.size ? t.length : rule.size - 1);
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

// The text parameters 2..8, in the order their checks run: the version the
// parameter belongs to, then the length, the character rule, the word rule,
// the pass-phrase length, and the store when the value changed.
enum class Needs : std::uint8_t { V2, Any, V3 };
enum class Keep : std::uint8_t { Plain, Upper, Secret };
struct TextParam {
    std::uint8_t param;
    Needs needs;
    const json::Field &field;  // the row the file keeps it in: offset and size
    Keep keep;
    const char *badText;  // printed (with the text) when a byte breaks the character rule
    std::uint8_t badTextCc;
    bool (*valid)(const char *);  // word rule; null: any text
    const char *invalid;          // printed when the word rule refuses; null: nothing
    std::uint8_t invalidCc;
    const char *badLength;  // pass phrases: printed for a length outside 8..16
    const SecretRule *rule;  // secrets: how the field is protected
    std::size_t compared;    // secrets: stored characters the clear form is taken from
};
constexpr TextParam kTextParams[] = {
    {2, Needs::V2, json::fieldNamed(kRecordFields, "Community"), Keep::Secret, "Invalid community:%s\n", kCcParamOutOfRange, nullptr,
     nullptr, 0, nullptr, &kCommunityRule, kTextMax},
    {3, Needs::Any, json::fieldNamed(kRecordFields, "HostID"), Keep::Plain, "Invalid HostID!\n", kCcInvalidDataField, isHostId,
     "Invalid HostID:%s\n", kCcInvalidDataField, nullptr, nullptr, 0},
    {4, Needs::V3, json::fieldNamed(kRecordFields, "UserName"), Keep::Plain, "Invalid username:%s\n", kCcParamOutOfRange, nullptr,
     nullptr, 0, nullptr, nullptr, 0},
    {5, Needs::V3, json::fieldNamed(kRecordFields, "AUTHProtocol"), Keep::Upper, "Invalid authprotocol!\n", kCcParamOutOfRange,
     isAuthProtocol, "Invalid authprotocol!\n", kCcInvalidDataField, nullptr, nullptr, 0},
    {6, Needs::V3, json::fieldNamed(kRecordFields, "AUTHPwd"), Keep::Secret, "Invalid authpassword!\n", kCcParamOutOfRange, nullptr,
     nullptr, 0, "Invalid authpassword length!\n", &kPassRule, kPassSize - 1},
    {7, Needs::V3, json::fieldNamed(kRecordFields, "PrivProtocol"), Keep::Upper, "Invalid privprotocol!\n", kCcInvalidDataField,
     isPrivProtocol, nullptr, kCcParamOutOfRange, nullptr, nullptr, 0},
    {8, Needs::V3, json::fieldNamed(kRecordFields, "PRIVPwd"), Keep::Secret, "Invalid privpassword!\n", kCcParamOutOfRange, nullptr,
     nullptr, 0, "Invalid privpassword length!\n", &kPassRule, kPassSize - 1},
};

const TextParam *findTextParam(std::uint8_t param) {
    for (const TextParam &p : kTextParams)
        if (p.param == param) return &p;
    return nullptr;
}

unsigned setText(const TextParam &p, bool v3, const unsigned char *data, std::size_t n, std::uint8_t &changed) {
    if (p.needs != Needs::Any && v3 != (p.needs == Needs::V3)) return kCcNotAllowedNow;
    if (!kTextRequest.accepts(n)) return kCcReqDataLenInvalid;
    const std::size_t copy = n - kHeader;
    Text t(data, copy);
    if (!strictText(data, copy)) {
        SAY(kSetFn, p.badText, t.str());
        return p.badTextCc;
    }
    if (p.valid != nullptr && !p.valid(t.str())) {
        if (p.invalid != nullptr) SAY(kSetFn, p.invalid, t.str());
        return p.invalidCc;
    }
    if (p.badLength != nullptr && (passLength(t) < kPassMin || passLength(t) > kPassMax)) {
        SAY(kSetFn, "%s", p.badLength);
        return kCcReqDataLenInvalid;
    }
    switch (p.keep) {
        case Keep::Upper:
            upperCase(t.bytes, t.length);
            [[fallthrough]];
        case Keep::Plain:
            storePlain(p.field.offset, p.field.size, t, changed);
            break;
        case Keep::Secret:
            storeSecretField(p.field.offset, *p.rule, p.compared, t, changed);
            break;
    }
    return kCcOk;
}

unsigned validateAll(unsigned char *req);

unsigned setParameter(const unsigned char *req, std::size_t n, std::uint8_t &changed) {
    ByteView rec = record();
    const std::uint8_t param = req[1];
    const unsigned char *data = req + kHeader;
    const bool v3 = rec.u8(kVersion) == kVersionV3;
    if (const TextParam *p = findTextParam(param)) return setText(*p, v3, data, n, changed);
    const std::size_t copy = n - kHeader;
    switch (param) {
        case 0: {
            if (!kByteRequest.accepts(n)) return kCcReqDataLenInvalid;
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
            if (!kByteRequest.accepts(n)) return kCcReqDataLenInvalid;
            if (data[0] > kEventLevelMax) {
                SAY(kSetFn, "Invalid event level limit:%d\n", data[0]);
                return kCcInvalidDataField;
            }
            if (data[0] != rec.u8(kEventLevel)) {
                rec.setU8(kEventLevel, data[0]);
                changed = 1;
            }
            return kCcOk;
        case 9: {
            if (!v3) return kCcNotAllowedNow;
            if (!kEngineRequest.accepts(n)) return kCcReqDataLenInvalid;
            Text t(data, copy);
            switch (engineId(t.bytes, copy & 0xFF)) {
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
            if (!kByteRequest.accepts(n)) return kCcReqDataLenInvalid;
            if (!isTrapDeviceType(data[0])) {
                SAY(kSetFn, "Invalid DeviceType:%d\n", data[0]);
                return kCcParamOutOfRange;
            }
            if (data[0] != rec.u8(kDeviceType)) {
                rec.setU8(kDeviceType, data[0]);
                changed = 1;
            }
            return kCcOk;
        case 255: {
            if (!kWholeRecordRequest.accepts(n)) return kCcReqDataLenInvalid;
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
            unsigned cc = validateAll(copyOfRecord);
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
    if (!isHostId(host.text)) {
        SAY(kAllFn, "Invalid HostID:%s\n", host.text);
        return kCcParamOutOfRange;
    }
    if (!isTrapDeviceType(req[kDeviceType])) {
        SAY(kAllFn, "Invalid DeviceType:%d\n", req[kDeviceType]);
        return kCcParamOutOfRange;
    }
    if (req[kVersion] == kVersionV3) {
        Field user(req, kUserName, kTextMax), authp(req, kAuthProtocol, kTextMax), privp(req, kPrivProtocol, kTextMax);
        if (!strictText(req + kUserName, kTextMax)) {
            SAY(kAllFn, "Invalid UserName:%s\n", user.text);
            return kCcInvalidDataField;
        }
        if (!strictText(req + kAuthProtocol, kTextMax)) {
            SAY(kAllFn, "Invalid authprotocol:%s\n", authp.text);
            return kCcInvalidDataField;
        }
        if (!isNone(req + kAuthProtocol) && !strictText(req + kAuthPassword, kTextMax)) {
            SAY(kAllFn, "Invalid authpassword!\n");
            return kCcInvalidDataField;
        }
        if (!strictText(req + kPrivProtocol, kTextMax)) {
            SAY(kAllFn, "Invalid privprotocol!\n");
            return kCcInvalidDataField;
        }
        if (!isNone(req + kPrivProtocol) && !strictText(req + kPrivPassword, kTextMax)) {
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
        if (!isAuthProtocol(authp.text)) {
            SAY(kAllFn, "Invalid authprotocol:%s\n", authp.text);
            return kCcParamOutOfRange;
        }
        if (!isPrivProtocol(privp.text)) {
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
        storeSecretField(kAuthPassword, kPassRule, kPassSize, Text(req + kAuthPassword, authLen), ignored);
        rec.fill(kPrivProtocol, 0, kPrivProtocolSize);
        rec.copyIn(kPrivProtocol, req + kPrivProtocol, kTextMax);
        // Always rewritten: the stored form is compared still protected, and the result is the same.
        storeSecret(rec.data() + kPrivPassword, kPassRule, req + kPrivPassword, privLen);
    } else {
        Field community(req, kCommunity, kCommunitySize - 1);
        if (!strictText(req + kCommunity, kTextMax)) {
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
        storeSecretField(kCommunity, kCommunityRule, kTextMax, Text(req + kCommunity, std::strlen(community.text)),
                         ignored);
    }
    rec.setU8(kVersion, req[kVersion]);
    rec.setU8(kEventLevel, req[kEventLevel]);
    rec.fill(kHostId, 0, kHostIdSize);
    rec.copyIn(kHostId, req + kHostId, kTextMax);
    rec.setU8(kDeviceType, req[kDeviceType]);
    return kCcOk;
}

unsigned setInterface(const unsigned char *req, std::size_t n) {
    if (req == nullptr || n == 0) return kCcReqDataLenInvalid;
    std::uint8_t changed = 0;
    switch (req[0]) {
        case 0: {
            if (!kParamRequest.accepts(n)) return kCcReqDataLenInvalid;
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
            if (!kTestRequest.accepts(n)) return kCcReqDataLenInvalid;
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
    if (length < 0) return qrx::config::svc::kCcReqDataLenInvalid;
    return st::setInterface(request, static_cast<std::size_t>(length));
}

QRX_EXPORT unsigned SetSNMPTrapCfg(const unsigned char *request, int length, unsigned char *changed) {
    if (request == nullptr || changed == nullptr) return qrx::config::svc::kCcUnspecified;
    if (length < 0 || !st::kParamRequest.accepts(static_cast<std::size_t>(length)))
        return qrx::config::svc::kCcReqDataLenInvalid;
    return st::setParameter(request, static_cast<std::size_t>(length), *changed);
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

}  // extern "C"
