// SNMP agent configuration service: OEM set/get of the agent record, its
// JSON file "/conf/SnmpAgentCfg.json" and the agent restart.
#include <cstdio>
#include <cstring>
#include <iterator>
#include <initializer_list>

#include "config/common/json_record.h"
#include "config/common/secret.h"
#include "config/snmp/snmp_agent_layout.h"
#include "config/common/service.h"
#include "core/export.h"
#include "core/request_reader.h"
#include "core/shared_block.h"
#include "quorix_common_interface.h"
#include "quorix_platform.h"

namespace qrx::config::snmpagent {

using namespace qrx::config::svc;
using json::Kind;

namespace {

constexpr std::size_t kTextMax = 16;
constexpr std::size_t kPassMax = 20;
// The parameter comes first; then its data (a whole record: offset k is request byte k + 1).
constexpr std::size_t kHeader = 1;
constexpr LengthRule kByteRequest = exactly(kHeader + 1), kTextRequest = atMost(kHeader + kTextMax);
constexpr LengthRule kPassRequest = atMost(kHeader + kPassMax), kWholeRequest = exactly(kHeader + kRecordSize);
constexpr LengthRule kRestartRequest = exactly(kHeader);
constexpr std::uint8_t kParamWhole = 254;
constexpr std::uint8_t kParamRestart = 255;
// The request layout the public header gives.
static_assert(QUORIX_AGENT_SET_WHOLE == kParamWhole && QUORIX_AGENT_SET_RESTART == kParamRestart &&
              QUORIX_AGENT_SET_WHOLE_LEN == kWholeRequest.value);

ByteView record() {
    return sharedBlock().at(kRecordOffset);
}

constexpr json::Field kFields[] = {
    {"SnmpV1Enable", kV1Enable, 1, Kind::U8, 0, true},
    {"SnmpV2Enable", kV2Enable, 1, Kind::U8, 0, true},
    {"ReadOnlyCommunity", kReadOnlyCommunity, kCommunitySize, Kind::Text, kTextMax, true},
    {"ReadWriteCommunity", kReadWriteCommunity, kCommunitySize, Kind::Text, kTextMax, true},
    {"SnmpV3Enable", kV3Enable, 1, Kind::U8, 0, true},
    {"AUTHProtocol", kAuthProtocol, 1, Kind::U8, 0, true},
    {"PrivProtocol", kPrivProtocol, 1, Kind::U8, 0, true},
    {"AUTHUserName", kUserName, kUserNameSize, Kind::Text, kTextMax, true},
    {"AUTHPwd", kAuthPassword, kPassSize, Kind::Text, kTextMax, true},
    {"PRIVPwd", kPrivPassword, kPassSize, Kind::Text, kTextMax, true},
    // Read by the loader but never written; kept so on purpose.
    {"SnmpV1V2SetEnable", kV1V2SetEnable, 1, Kind::U8, 0, false},
};

struct ByteParam {
    std::uint8_t param;
    const json::Field &field;  // the row the file keeps it in
    std::uint8_t min;
    std::uint8_t max;
    unsigned cc;  // answer for a value out of bounds
};
constexpr ByteParam kByteParams[] = {
    {0, json::fieldNamed(kFields, "SnmpV1Enable"), 0, 1, kCcParamOutOfRange},
    {1, json::fieldNamed(kFields, "SnmpV2Enable"), 0, 1, kCcParamOutOfRange},
    {4, json::fieldNamed(kFields, "SnmpV1V2SetEnable"), 0, 1, kCcParamOutOfRange},
    {5, json::fieldNamed(kFields, "SnmpV3Enable"), 0, 1, kCcParamOutOfRange},
    {6, json::fieldNamed(kFields, "AUTHProtocol"), 1, 2, kCcInvalidDataField},
    {7, json::fieldNamed(kFields, "PrivProtocol"), 1, 2, kCcInvalidDataField}};

// Request text padded with zeros: comparisons read whole field widths.
struct Text {
    unsigned char bytes[kPassSize + 1] = {};
    Text(const unsigned char *data, std::size_t n) { std::memcpy(bytes, data, n < kPassMax ? n : kPassMax); }
};

constexpr SecretRule kCommunityRule = {kCommunitySize, kTextMax, true, false};
// A community set alone is stored up to the first zero byte of its protected form, as the agent reads it.
constexpr SecretRule kCommunityParamRule = {kCommunitySize, kTextMax, true, true};
constexpr SecretRule kPassRule = {kPassSize, kPassSize, false, false};

// Stores a protected field when its clear form differs over compared bytes; false when unchanged.
bool storeSecretField(std::size_t offset, const SecretRule &rule, std::size_t compared, const unsigned char *text,
                      std::size_t copy) {
    unsigned char *field = record().data() + offset;
    Text wanted(text, copy);
    if (sameSecret(field, rule, rule.size, wanted.bytes, compared)) return false;
    storeSecret(field, rule, wanted.bytes, copy < compared ? copy : compared);
    return true;
}

unsigned setWhole(const unsigned char *req, std::size_t n) {
    if (!kWholeRequest.accepts(n)) return kCcReqDataLenInvalid;
    const unsigned char *r = req + kHeader;
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
            storeSecret(rec.data() + off, kCommunityRule, r + off, strnlen(reinterpret_cast<const char *>(r + off), kTextMax));
        }
    }
    if (v3) {
        rec.setU8(kAuthProtocol, r[kAuthProtocol]);
        rec.setU8(kPrivProtocol, r[kPrivProtocol]);
        rec.fill(kUserName, 0, kUserNameSize);
        rec.copyIn(kUserName, r + kUserName, strnlen(reinterpret_cast<const char *>(r + kUserName), kTextMax));
        for (std::size_t off : {kAuthPassword, kPrivPassword}) {
            storeSecret(rec.data() + off, kPassRule, r + off, strnlen(reinterpret_cast<const char *>(r + off), kPassMax));
        }
    }
    // The set-over-v1/v2c byte (request byte 37) is never taken from a whole record.
    rec.setU8(kV1Enable, r[kV1Enable]);
    rec.setU8(kV2Enable, r[kV2Enable]);
    rec.setU8(kV3Enable, r[kV3Enable]);
    return kCcOk;
}


constexpr json::LoaderText kLoader = {kFileName,
                                      kDefaultPath,
                                      "The Snmp configure file %s not exist.",
                                      "Get the total Snmp configure struct from Json failed.",
                                      "SnmpCfg",
                                      "Get the SnmpCfg struct from Json failed."};

constexpr json::Document kDocument = {kLoader, std::data(kFields), std::size(kFields), kRecordSize, kRecordOffset,
                                      nullptr, "Set Snmp configure to Json failed.", nullptr};
static_assert(kRecordSize <= json::kMaxRecordBytes);

int save(const unsigned char *rec, const char *path) {
    return json::saveDocument(kDocument, rec, nullptr, path);
}

int load() {
    return json::loadDocument(kDocument);
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
    const unsigned char *data = req + kHeader;
    bool changed = false;
    bool known = false;
    for (const ByteParam &b : kByteParams) {
        if (b.param != param) continue;
        known = true;
        if (!kByteRequest.accepts(n)) return kCcReqDataLenInvalid;
        if (data[0] < b.min || data[0] > b.max) return b.cc;
        if (rec.u8(b.field.offset) != data[0]) {
            rec.setU8(b.field.offset, data[0]);
            changed = true;
        }
    }
    if (!known) {
        switch (param) {
            case 2:
            case 3:
            case 8: {
                if (!kTextRequest.accepts(n)) return kCcReqDataLenInvalid;
                const std::size_t copy = n - kHeader;
                if (!strictText(data, copy)) return kCcParamOutOfRange;
                if (param == 8) {
                    Text wanted(data, copy);
                    if (std::memcmp(rec.data() + kUserName, wanted.bytes, kTextMax) != 0) {
                        rec.fill(kUserName, 0, kUserNameSize);
                        rec.copyIn(kUserName, wanted.bytes, copy);
                        changed = true;
                    }
                } else {
                    changed = storeSecretField(param == 2 ? kReadOnlyCommunity : kReadWriteCommunity, kCommunityParamRule,
                                               kTextMax, data, copy);
                }
                break;
            }
            case 9:
            case 10: {
                if (!kPassRequest.accepts(n)) return kCcReqDataLenInvalid;
                const std::size_t copy = n - kHeader;
                if (!strictText(data, copy)) return kCcParamOutOfRange;
                changed = storeSecretField(param == 9 ? kAuthPassword : kPrivPassword, kPassRule, kPassMax, data, copy);
                break;
            }
            case kParamWhole: {
                unsigned cc = setWhole(req, n);
                if (cc != kCcOk) return cc;
                changed = true;
                break;
            }
            case kParamRestart:
                if (!kRestartRequest.accepts(n)) return kCcReqDataLenInvalid;
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
    if (length < 0) return qrx::config::svc::kCcReqDataLenInvalid;
    return sa::setInterface(request, static_cast<std::size_t>(length), save_flag);
}

QRX_EXPORT int QuorixGetSnmpAgentTotalConfFromJson(void) {
    return sa::load();
}

QRX_EXPORT int QuorixSetSnmpAgentTotalConfToJson(const unsigned char *record, const char *path) {
    return sa::save(record, path);
}

}  // extern "C"
