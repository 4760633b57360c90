// SMTP configuration service: OEM set/get of the mail record and the
// recipients, the in-memory readers and "/conf/SmtpCfg.json".
#include <cstring>

#include "config/json_file.h"
#include "config/secret.h"
#include "config/smtp_layout.h"
#include "config/snmp_common.h"
#include "core/export.h"
#include "core/shared_block.h"
#include "quorix_common_interface.h"

namespace qrx::config::smtp {

using namespace qrx::config::svc;

namespace {

constexpr int kParseTries = 4;
constexpr int kLookupTries = 4;
constexpr int kDestLookupTries = 3;
constexpr std::size_t kWholeRecordData = 2;  // record offset k is request byte k + 2
constexpr std::size_t kWholeRecordRequest = kRecordSize + kWholeRecordData;
constexpr std::size_t kRcptWholeRequest = 86;
// The request layout the public header gives.
static_assert(QUORIX_SMTP_SET_DATA == kWholeRecordData && QUORIX_SMTP_SET_WHOLE_LEN == kWholeRecordRequest &&
              QUORIX_SMTP_SET_RCPT_WHOLE_LEN == kRcptWholeRequest);
constexpr std::uint8_t kEventLevelMax = 2;

ByteView record() {
    return sharedBlock().at(kRecordOffset);
}
ByteView recipient(std::size_t i) {
    return sharedBlock().at(kRecipientsOffset + i * kRcptEntrySize);
}

// Flag parameters of group 0 and their upper bound.
struct FlagParam {
    std::uint8_t param;
    std::size_t offset;
    std::uint8_t max;
};
constexpr FlagParam kFlags[] = {
    {0, kEnabled, 1},   {4, kStartTls, 1},      {5, kSslTls, 1},    {6, kAuth, 1},
    {11, kHostName, 1}, {12, kSerialNumber, 1}, {13, kAssetTag, 1}, {14, kEventLevel, kEventLevelMax}};

int save();

unsigned saved() {
    return save() == 0 ? kCcOk : kCcUnspecified;
}

// Stores text of length copy into a field when it differs over copy bytes, then saves.
unsigned storeText(ByteView base, std::size_t offset, std::size_t size, const unsigned char *text, std::size_t copy) {
    if (std::memcmp(base.data() + offset, text, copy) == 0) return kCcOk;
    base.fill(offset, 0, size);
    base.copyIn(offset, text, copy);
    return saved();
}

// Terminated copy of request text for the validators.
struct Text {
    char text[128] = {};
    Text(const unsigned char *data, std::size_t n) { std::memcpy(text, data, n < sizeof text ? n : sizeof text - 1); }
};

unsigned setRecordParam(const unsigned char *req, std::size_t n) {
    ByteView rec = record();
    const std::uint8_t param = req[1];
    const unsigned char *data = req + 2;
    for (const FlagParam &f : kFlags) {
        if (f.param != param) continue;
        if (n != 3) return kCcReqDataLenInvalid;
        if (data[0] > f.max) return kCcParamOutOfRange;
        if (rec.u8(f.offset) == data[0]) return kCcOk;
        rec.setU8(f.offset, data[0]);
        return saved();
    }
    switch (param) {
        case 1: {
            if (n > 49) return kCcReqDataLenInvalid;
            const std::size_t copy = n >= 48 ? 46 : n - 2;
            if (!strictText(data, copy)) return kCcParamOutOfRange;
            if (!acceptableAddress(data, copy)) {
                QuorixDebug(kLevelError, kModule, "Invalid data format of SMTP Server Address!");
                return kCcInvalidDataField;
            }
            return storeText(rec, kServer, kServerSize, data, copy);
        }
        case 2:
        case 3: {
            if (n != 4) return kCcReqDataLenInvalid;
            const std::size_t offset = param == 2 ? kPort : kSecurePort;
            const auto port = static_cast<std::uint16_t>(data[0] | (data[1] << 8));
            if (rec.u16(offset) == port) return kCcOk;
            rec.setU16(offset, port);
            return saved();
        }
        case 7: {
            if (n > 67) return kCcReqDataLenInvalid;
            const std::size_t copy = n == 67 ? 65 : n - 2;
            if (!strictText(data, copy)) return kCcParamOutOfRange;
            Text t(data, copy);
            if (QuorixIsValidUserName(t.text, static_cast<unsigned>((n - 2) & 255), 1) != 0) return kCcInvalidDataField;
            return storeText(rec, kUserName, kUserNameSize, data, copy);
        }
        case 8: {
            if (n > 62) return kCcReqDataLenInvalid;
            const std::size_t copy = n == 62 ? 60 : n - 2;
            if (!strictText(data, copy)) return kCcParamOutOfRange;
            unsigned char clear[kPasswordSize] = {};
            rec.copyOut(kPassword, clear, copy);
            unprotectInPlace(clear, static_cast<int>(kPasswordSize));
            if (std::memcmp(clear, data, copy) == 0) return kCcOk;
            rec.fill(kPassword, 0, kPasswordSize);
            rec.copyIn(kPassword, data, copy);
            protectStoredText(rec.data() + kPassword, static_cast<int>(kPasswordSize));
            rec.setU8(kPassword + kPasswordSize - 1, 0);
            return saved();
        }
        case 9: {
            if (n > 66) return kCcReqDataLenInvalid;
            const std::size_t copy = n == 66 ? 64 : n - 2;
            if (!strictText(data, copy)) return kCcParamOutOfRange;
            Text t(data, copy);
            if (QuorixIsValidSenderAddress(t.text) != 0) return kCcInvalidDataField;
            return storeText(rec, kSender, kSenderSize, data, copy);
        }
        case 10: {
            if (n > 18) return kCcReqDataLenInvalid;
            const std::size_t copy = n == 18 ? 16 : n - 2;
            if (!blankTolerantText(data, copy)) return kCcParamOutOfRange;
            return storeText(rec, kSubject, kSubjectSize, data, copy);
        }
        case 255:
            break;
        default:
            return kCcParamOutOfRange;
    }

    // Whole record. Its length is not checked by the command set; a short
    // request is refused here instead of reading past its end.
    if (n < kWholeRecordRequest) return kCcReqDataLenInvalid;
    const unsigned char *r = data;
    for (const FlagParam &f : kFlags)
        if (r[f.offset] > f.max) return kCcParamOutOfRange;
    if (r[kEnabled] == 0) {
        rec.setU8(kEnabled, 0);
        return saved();
    }
    if (!strictText(r + kServer, 46) || !strictText(r + kSender, 64) || !blankTolerantText(r + kSubject, 16))
        return kCcParamOutOfRange;
    if (!acceptableAddress(r + kServer, 46)) {
        QuorixDebug(kLevelError, kModule, "Invalid data format of SMTP Server address!");
        return kCcInvalidDataField;
    }
    if (r[kAuth] == 1) {
        if (!strictText(r + kUserName, 65) || !strictText(r + kPassword, 60)) return kCcParamOutOfRange;
        Text user(r + kUserName, 65);
        if (QuorixIsValidUserName(user.text, 66, 1) != 0) return kCcInvalidDataField;
        rec.fill(kUserName, 0, kUserNameSize);
        rec.copyIn(kUserName, user.text, strnlen(user.text, 65));
        unsigned char clear[kPasswordSize] = {};
        rec.copyOut(kPassword, clear, kPasswordSize);
        unprotectInPlace(clear, static_cast<int>(kPasswordSize));
        unsigned char wanted[kPasswordSize] = {};
        std::memcpy(wanted, r + kPassword, strnlen(reinterpret_cast<const char *>(r + kPassword), 60));
        if (std::memcmp(clear, wanted, kPasswordSize) != 0) {
            rec.copyIn(kPassword, wanted, kPasswordSize);
            protectStoredText(rec.data() + kPassword, static_cast<int>(kPasswordSize));
            rec.setU8(kPassword + kPasswordSize - 1, 0);
        }
    }
    Text sender(r + kSender, 64);
    if (QuorixIsValidSenderAddress(sender.text) != 0) return kCcInvalidDataField;
    for (const FlagParam &f : kFlags) rec.setU8(f.offset, r[f.offset]);
    rec.fill(kServer, 0, kServerSize);
    rec.copyIn(kServer, r + kServer, strnlen(reinterpret_cast<const char *>(r + kServer), 46));
    rec.fill(kSender, 0, kSenderSize);
    rec.copyIn(kSender, sender.text, strnlen(sender.text, 64));
    rec.fill(kSubject, 0, kSubjectSize);
    rec.copyIn(kSubject, r + kSubject, strnlen(reinterpret_cast<const char *>(r + kSubject), 16));
    // Ports come high byte first in this request only; the record keeps them little-endian.
    rec.setU16(kPort, static_cast<std::uint16_t>((r[kPort] << 8) | r[kPort + 1]));
    rec.setU16(kSecurePort, static_cast<std::uint16_t>((r[kSecurePort] << 8) | r[kSecurePort + 1]));
    return saved();
}

unsigned setRecipientParam(const unsigned char *req, std::size_t n) {
    const std::size_t index = req[1];
    if (index >= kRcptCount) return kCcParamOutOfRange;
    ByteView entry = recipient(index);
    const unsigned char *data = req + 3;
    switch (req[2]) {
        case 0:
            if (n != 4) return kCcReqDataLenInvalid;
            if (data[0] > 1) return kCcParamOutOfRange;
            if (entry.u8(kRcptEnabled) == data[0]) return kCcOk;
            entry.setU8(kRcptEnabled, data[0]);
            return saved();
        case 1: {
            if (n > 67) return kCcReqDataLenInvalid;
            const std::size_t copy = n == 67 ? 64 : n - 3;
            if (!strictText(data, copy)) return kCcParamOutOfRange;
            Text t(data, copy);
            if (Quorix_validate_email(t.text) == 0) return kCcInvalidDataField;
            return storeText(entry, kRcptAddress, kRcptAddressSize, data, copy);
        }
        case 2: {
            if (n > 19) return kCcReqDataLenInvalid;
            const std::size_t copy = n == 19 ? 16 : n - 3;
            if (!blankTolerantText(data, copy)) return kCcParamOutOfRange;
            return storeText(entry, kRcptDescription, kRcptDescriptionSize, data, copy);
        }
        case 255: {
            if (n != kRcptWholeRequest) return kCcReqDataLenInvalid;
            if (data[0] > 1) return kCcParamOutOfRange;
            if (data[0] == 1) {
                const unsigned char *address = req + 4;
                const unsigned char *description = req + 69;
                if (!strictText(address, 64)) return kCcParamOutOfRange;
                Text t(address, 64);
                if (Quorix_validate_email(t.text) == 0) return kCcInvalidDataField;
                if (!blankTolerantText(description, 16)) return kCcParamOutOfRange;
                entry.fill(kRcptAddress, 0, kRcptAddressSize);
                entry.copyIn(kRcptAddress, address, strnlen(t.text, 64));
                entry.fill(kRcptDescription, 0, kRcptDescriptionSize);
                entry.copyIn(kRcptDescription, description, strnlen(reinterpret_cast<const char *>(description), 16));
            }
            entry.setU8(kRcptEnabled, data[0]);
            return saved();
        }
        default:
            return kCcParamOutOfRange;
    }
}

unsigned setInterface(const unsigned char *req, std::size_t n) {
    if (req == nullptr || n == 0) return kCcReqDataLenInvalid;
    switch (req[0]) {
        case 0:
            if (n < 3) return kCcReqDataLenInvalid;
            return setRecordParam(req, n);
        case 1:
            if (n < 4) return kCcReqDataLenInvalid;
            return setRecipientParam(req, n);
        case 2:
            if (n < 2) return kCcReqDataLenInvalid;
            postDestinationTest(static_cast<std::uint8_t>(req[1] + 4));
            return kCcOk;
        default:
            return kCcParamOutOfRange;
    }
}

int save() {
    const unsigned char *rec = record().data();
    const unsigned char *rcpt = sharedBlock().data() == nullptr ? nullptr : recipient(0).data();
    if (sharedBlock().data() == nullptr || rec == nullptr || rcpt == nullptr) {
        QuorixDebug(kLevelError, kModule, "Set Smtp configure to Json failed.");
        return -1;
    }
    ByteView r(const_cast<unsigned char *>(rec));
    json::Ptr root(json_object_new_object());
    json_object *cfg = json_object_new_object();
    json_object_object_add(cfg, "SmtpEnable", json_object_new_int(r.u8(kEnabled)));
    json_object_object_add(cfg, "ServerAddr", json::fieldString(rec + kServer, kServerSize));
    json_object_object_add(cfg, "SmtpPort", json_object_new_int(r.u16(kPort)));
    json_object_object_add(cfg, "SmtpSecurePort", json_object_new_int(r.u16(kSecurePort)));
    json_object_object_add(cfg, "EnableSTARTTLS", json_object_new_int(r.u8(kStartTls)));
    json_object_object_add(cfg, "EnableSSLTLS", json_object_new_int(r.u8(kSslTls)));
    json_object_object_add(cfg, "SMTPAUTH", json_object_new_int(r.u8(kAuth)));
    json_object_object_add(cfg, "UserName", json::fieldString(rec + kUserName, kUserNameSize));
    json_object_object_add(cfg, "PassWord", json::fieldString(rec + kPassword, kPasswordSize));
    json_object_object_add(cfg, "SenderAddr", json::fieldString(rec + kSender, kSenderSize));
    json_object_object_add(cfg, "Subject", json::fieldString(rec + kSubject, kSubjectSize));
    json_object_object_add(cfg, "HostName", json_object_new_int(r.u8(kHostName)));
    json_object_object_add(cfg, "SerialNumber", json_object_new_int(r.u8(kSerialNumber)));
    json_object_object_add(cfg, "AssetTag", json_object_new_int(r.u8(kAssetTag)));
    json_object_object_add(cfg, "EventLevel", json_object_new_int(r.u8(kEventLevel)));
    json_object_object_add(root.get(), "SmtpCfg", cfg);
    json_object *list = json_object_new_array();
    for (std::size_t i = 0; i < kRcptCount; ++i) {
        ByteView e = recipient(i);
        json_object *item = json_object_new_object();
        json_object_object_add(item, "Enabled", json_object_new_int(e.u8(kRcptEnabled)));
        json_object_object_add(item, "EmailAddress", json::fieldString(e.data() + kRcptAddress, kRcptAddressSize));
        json_object_object_add(item, "Description",
                               json::fieldString(e.data() + kRcptDescription, kRcptDescriptionSize));
        json_object_array_add(list, item);
    }
    json_object_object_add(root.get(), "SmtpDestCfg", list);
    if (!json::writeAtomically(root.get(), kConfPath)) {
        QuorixDebug(kLevelError, kModule, "Set Smtp configure to Json failed.");
        return -1;
    }
    return 0;
}

int load() {
    const std::string path = json::sourceFor(kFileName);
    if (path.empty()) {
        QuorixDebug(kLevelError, kModule, "The Smtp configure file %s not exist.", kConfPath);
        return -1;
    }
    json::Ptr root = json::parseFile(path, kParseTries);
    if (!root) {
        QuorixDebug(kLevelError, kModule, "Get the total Smtp configure struct from Json failed.");
        return -1;
    }
    json_object *cfg = json::member(root.get(), "SmtpCfg", kLookupTries);
    if (cfg == nullptr || !json_object_is_type(cfg, json_type_object)) {
        QuorixDebug(kLevelError, kModule, "Get the SmtpCfg struct from Json failed.");
        return -1;
    }
    unsigned char buf[kRecordSize] = {};
    ByteView rec(buf);
    const struct {
        const char *key;
        std::size_t offset;
    } bytes[] = {{"SmtpEnable", kEnabled}, {"EnableSTARTTLS", kStartTls}, {"EnableSSLTLS", kSslTls},
                 {"SMTPAUTH", kAuth},      {"HostName", kHostName},       {"SerialNumber", kSerialNumber},
                 {"AssetTag", kAssetTag},  {"EventLevel", kEventLevel}};
    for (const auto &b : bytes) rec.setU8(b.offset, static_cast<std::uint8_t>(json::intMember(cfg, b.key)));
    rec.setU16(kPort, static_cast<std::uint16_t>(json::intMember(cfg, "SmtpPort")));
    rec.setU16(kSecurePort, static_cast<std::uint16_t>(json::intMember(cfg, "SmtpSecurePort")));
    json::copyStringMember(cfg, "ServerAddr", buf + kServer, 46);
    json::copyStringMember(cfg, "UserName", buf + kUserName, 65);
    json::copyStringMember(cfg, "PassWord", buf + kPassword, 60);
    // The sender is taken with 16 characters only, shorter than its field; kept so on purpose.
    json::copyStringMember(cfg, "SenderAddr", buf + kSender, 16);
    json::copyStringMember(cfg, "Subject", buf + kSubject, 16);
    record().copyIn(0, buf, kRecordSize);

    json_object *list = json::member(root.get(), "SmtpDestCfg", kDestLookupTries);
    if (list == nullptr || !json_object_is_type(list, json_type_array)) {
        QuorixDebug(kLevelError, kModule, "Get the SmtpDestCfg struct from Json failed.");
        return -1;
    }
    const std::size_t count = json_object_array_length(list);
    if (count > kRcptCount) {
        QuorixDebug(kLevelError, kModule, "Get the SmtpDestCfg length from Json error.");
        return -1;
    }
    unsigned char block[kRecipientsSize] = {};
    for (std::size_t i = 0; i < count; ++i) {
        json_object *item = json_object_array_get_idx(list, i);
        if (item == nullptr || !json_object_is_type(item, json_type_object)) continue;
        unsigned char *e = block + i * kRcptEntrySize;
        e[kRcptEnabled] = static_cast<unsigned char>(json::intMember(item, "Enabled"));
        json::copyStringMember(item, "EmailAddress", e + kRcptAddress, 64);
        json::copyStringMember(item, "Description", e + kRcptDescription, 16);
    }
    sharedBlock().copyIn(kRecipientsOffset, block, kRecipientsSize);
    return 0;
}

}  // namespace

}  // namespace qrx::config::smtp

namespace sm = qrx::config::smtp;

extern "C" {

QRX_EXPORT int QuorixGetBMCSmtpCfgInterface(int selector, unsigned char *response) {
    if (response == nullptr) return -1;
    if (selector == 0) {
        qrx::sharedBlock().copyOut(sm::kRecordOffset, response + 1, sm::kRecordSize);
        // The password never leaves through the OEM get.
        std::memset(response + 1 + sm::kPassword, 0, sm::kPasswordSize);
        return static_cast<int>(sm::kRecordSize + 1);
    }
    if (selector == 1) {
        qrx::sharedBlock().copyOut(sm::kRecipientsOffset, response + 1, sm::kRecipientsSize);
        return static_cast<int>(sm::kRecipientsSize + 1);
    }
    return -1;
}

QRX_EXPORT int QuorixGetSmtpCfgFromMem(unsigned char *buffer) {
    if (buffer == nullptr) return -1;
    qrx::sharedBlock().copyOut(sm::kRecordOffset, buffer, sm::kRecordSize);
    qrx::config::unprotectInPlace(buffer + sm::kPassword, static_cast<int>(sm::kPasswordSize));
    return 0;
}

QRX_EXPORT int QuorixGetSmtpDstCfgFromMem(unsigned char *buffer) {
    if (buffer == nullptr) return -1;
    qrx::sharedBlock().copyOut(sm::kRecipientsOffset, buffer, sm::kRecipientsSize);
    return 0;
}

QRX_EXPORT unsigned QuorixSetBMCSmtpCfgInterface(const unsigned char *request, int length) {
    try {
        if (length < 0) return qrx::config::svc::kCcReqDataLenInvalid;
        return sm::setInterface(request, static_cast<std::size_t>(length));
    } catch (...) {
        return qrx::config::svc::kCcUnspecified;
    }
}

QRX_EXPORT int QuorixGetSmtpTotalConfFromJson(void) {
    try {
        return sm::load();
    } catch (...) {
        return -1;
    }
}

QRX_EXPORT int QuorixSetSmtpTotalConfToJson(void) {
    try {
        return sm::save();
    } catch (...) {
        return -1;
    }
}

}  // extern "C"
