// SMTP configuration service: OEM set/get of the mail record and the
// recipients, the in-memory readers and "/conf/SmtpCfg.json".
#include <cstring>
#include <iterator>

#include "config/common/json_record.h"
#include "config/common/secret.h"
#include "config/common/service.h"
#include "config/common/validators.h"
#include "config/smtp/smtp_layout.h"
#include "core/export.h"
#include "core/request_reader.h"
#include "core/shared_block.h"
#include "quorix_common_interface.h"

namespace qrx::config::smtp {

using namespace qrx::config::svc;
using json::Kind;

namespace {

constexpr std::uint8_t kEventLevelMax = 2;
constexpr std::size_t kPasswordMax = kPasswordSize - 1;
constexpr SecretRule kPasswordRule = {kPasswordSize, kPasswordSize, true, false};

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

constexpr json::Field kFields[] = {
    {"SmtpEnable", kEnabled, 1, Kind::U8, 0, true},
    {"ServerAddr", kServer, kServerSize, Kind::Text, kServerSize - 1, true},
    {"SmtpPort", kPort, 2, Kind::U16, 0, true},
    {"SmtpSecurePort", kSecurePort, 2, Kind::U16, 0, true},
    {"EnableSTARTTLS", kStartTls, 1, Kind::U8, 0, true},
    {"EnableSSLTLS", kSslTls, 1, Kind::U8, 0, true},
    {"SMTPAUTH", kAuth, 1, Kind::U8, 0, true},
    {"UserName", kUserName, kUserNameSize, Kind::Text, kUserNameSize - 1, true},
    {"PassWord", kPassword, kPasswordSize, Kind::Text, kPasswordSize - 1, true},
    // The sender is loaded with 16 characters only, shorter than its field; kept so on purpose.
    {"SenderAddr", kSender, kSenderSize, Kind::Text, 16, true},
    {"Subject", kSubject, kSubjectSize, Kind::Text, kSubjectSize - 1, true},
    {"HostName", kHostName, 1, Kind::U8, 0, true},
    {"SerialNumber", kSerialNumber, 1, Kind::U8, 0, true},
    {"AssetTag", kAssetTag, 1, Kind::U8, 0, true},
    {"EventLevel", kEventLevel, 1, Kind::U8, 0, true},
};

constexpr json::Field kRcptFields[] = {
    {"Enabled", kRcptEnabled, 1, Kind::U8, 0, true},
    {"EmailAddress", kRcptAddress, kRcptAddressSize, Kind::Text, kRcptAddressSize - 1, true},
    {"Description", kRcptDescription, kRcptDescriptionSize, Kind::Text, kRcptDescriptionSize - 1, true},
};

constexpr json::LoaderText kLoader = {kFileName,
                                      kConfPath,
                                      "The Smtp configure file %s not exist.",
                                      "Get the total Smtp configure struct from Json failed.",
                                      "SmtpCfg",
                                      "Get the SmtpCfg struct from Json failed."};

constexpr json::ListSpec kRcptList = {"SmtpDestCfg", kRcptFields, std::size(kRcptFields), kRcptCount, kRcptEntrySize,
                                      kRecipientsOffset, "Get the SmtpDestCfg struct from Json failed.",
                                      "Get the SmtpDestCfg length from Json error."};
constexpr json::Document kDocument = {kLoader, std::data(kFields), std::size(kFields), kRecordSize, kRecordOffset,
                                      nullptr, "Set Smtp configure to Json failed.", &kRcptList};
static_assert(kRecordSize <= json::kMaxRecordBytes && kRecipientsSize <= json::kMaxRecordBytes);

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
    char text[kUserNameSize + 1] = {};
    Text(const unsigned char *data, std::size_t n) { std::memcpy(text, data, n < sizeof text ? n : sizeof text - 1); }
};

bool serverAddress(const unsigned char *data, std::size_t length) {
    if (acceptableAddress(data, length)) return true;
    qrx::debugLog(kLevelError, kModule, "Invalid data format of SMTP Server Address!");
    return false;
}
bool userName(const unsigned char *data, std::size_t length) {
    return isValidUserName(Text(data, length).text, static_cast<unsigned>(length & 0xFF), 1);
}
bool senderAddress(const unsigned char *data, std::size_t length) {
    return isValidSenderAddress(Text(data, length).text);
}
bool mailAddress(const unsigned char *data, std::size_t length) {
    return isValidEmail(Text(data, length).text);
}

// A text parameter: its field, the longest text a request gives, the
// character rule (kCcParamOutOfRange when refused) and the validator
// (kCcInvalidDataField when refused; none when null). Checked in that order.
struct TextParam {
    std::uint8_t param;
    const json::Field &field;  // the row the file keeps it in: offset and size
    std::size_t longest;
    bool (*chars)(const unsigned char *, std::size_t);
    bool (*valid)(const unsigned char *, std::size_t);
    bool secret;  // compared in clear and stored protected
};
constexpr std::uint8_t kParamWhole = 255;
// The server's request may carry one byte more than its text; the extra byte is not stored.
constexpr TextParam kRecordTexts[] = {
    {1, json::fieldNamed(kFields, "ServerAddr"), kServerSize, strictText, serverAddress, false},
    {7, json::fieldNamed(kFields, "UserName"), kUserNameSize - 1, strictText, userName, false},
    {8, json::fieldNamed(kFields, "PassWord"), kPasswordMax, strictText, nullptr, true},
    {9, json::fieldNamed(kFields, "SenderAddr"), kSenderSize - 1, strictText, senderAddress, false},
    {10, json::fieldNamed(kFields, "Subject"), kSubjectSize - 1, blankTolerantText, nullptr, false},
};
constexpr TextParam kRcptTexts[] = {
    {1, json::fieldNamed(kRcptFields, "EmailAddress"), kRcptAddressSize - 1, strictText, mailAddress, false},
    {2, json::fieldNamed(kRcptFields, "Description"), kRcptDescriptionSize - 1, blankTolerantText, nullptr, false},
};
constexpr std::uint8_t kParamPort = 2, kParamSecurePort = 3, kRcptParamEnabled = 0;

// Group 0: group and parameter, then the data; group 1: group, index and field.
constexpr std::size_t kRecordHeader = 2;
constexpr std::size_t kRcptHeader = 3;
constexpr LengthRule kRecordRequest = atLeast(kRecordHeader + 1), kRcptRequest = atLeast(kRcptHeader + 1);
constexpr LengthRule kTestRequest = atLeast(2), kByteData = exactly(1), kPortData = exactly(2);
// The whole record's length is not checked by the command set; a short
// request is refused here instead of reading past its end.
constexpr LengthRule kWholeRecordData = atLeast(kRecordSize);
constexpr LengthRule kWholeRcptData = exactly(kRcptEntrySize);
// The request layout the public header gives.
static_assert(QUORIX_SMTP_SET_DATA == kRecordHeader && QUORIX_SMTP_SET_WHOLE_LEN == kRecordHeader + kRecordSize &&
              QUORIX_SMTP_SET_RCPT_WHOLE_LEN == kRcptHeader + kRcptEntrySize);
constexpr std::uint8_t kTestMailBase = 4;  // test codes 4..7 are the recipients

template <std::size_t N>
const TextParam *findText(const TextParam (&table)[N], std::uint8_t param) {
    for (const TextParam &t : table)
        if (t.param == param) return &t;
    return nullptr;
}

// One text parameter: length, characters, validator, then the store.
unsigned setText(const TextParam &p, ByteView base, RequestReader &req) {
    if (!atMost(p.longest).accepts(req.remaining())) return kCcReqDataLenInvalid;
    const RequestText t = req.text(p.field.size - 1);
    if (!p.chars(t.data, t.length)) return kCcParamOutOfRange;
    if (p.valid != nullptr && !p.valid(t.data, t.length)) return kCcInvalidDataField;
    if (p.secret) {
        if (sameSecret(base.data() + p.field.offset, kPasswordRule, t.length, t.data, t.length)) return kCcOk;
        storeSecret(base.data() + p.field.offset, kPasswordRule, t.data, t.length);
        return saved();
    }
    return storeText(base, p.field.offset, p.field.size, t.data, t.length);
}

unsigned setWholeRecord(const unsigned char *r) {
    ByteView rec = record();
    for (const FlagParam &f : kFlags)
        if (r[f.offset] > f.max) return kCcParamOutOfRange;
    if (r[kEnabled] == 0) {
        rec.setU8(kEnabled, 0);
        return saved();
    }
    constexpr std::size_t kServerMax = kServerSize - 1, kSenderMax = kSenderSize - 1, kSubjectMax = kSubjectSize - 1;
    constexpr std::size_t kUserMax = kUserNameSize - 1;
    if (!strictText(r + kServer, kServerMax) || !strictText(r + kSender, kSenderMax) ||
        !blankTolerantText(r + kSubject, kSubjectMax))
        return kCcParamOutOfRange;
    if (!acceptableAddress(r + kServer, kServerMax)) {
        qrx::debugLog(kLevelError, kModule, "Invalid data format of SMTP Server address!");
        return kCcInvalidDataField;
    }
    if (r[kAuth] == 1) {
        if (!strictText(r + kUserName, kUserMax) || !strictText(r + kPassword, kPasswordMax))
            return kCcParamOutOfRange;
        Text user(r + kUserName, kUserMax);
        if (!isValidUserName(user.text, kUserNameSize, 1)) return kCcInvalidDataField;
        rec.fill(kUserName, 0, kUserNameSize);
        rec.copyIn(kUserName, user.text, strnlen(user.text, kUserMax));
        unsigned char wanted[kPasswordSize] = {};
        const std::size_t length = strnlen(reinterpret_cast<const char *>(r + kPassword), kPasswordMax);
        std::memcpy(wanted, r + kPassword, length);
        if (!sameSecret(rec.data() + kPassword, kPasswordRule, kPasswordSize, wanted, kPasswordSize))
            storeSecret(rec.data() + kPassword, kPasswordRule, wanted, length);
    }
    Text sender(r + kSender, kSenderMax);
    if (!isValidSenderAddress(sender.text)) return kCcInvalidDataField;
    for (const FlagParam &f : kFlags) rec.setU8(f.offset, r[f.offset]);
    rec.fill(kServer, 0, kServerSize);
    rec.copyIn(kServer, r + kServer, strnlen(reinterpret_cast<const char *>(r + kServer), kServerMax));
    rec.fill(kSender, 0, kSenderSize);
    rec.copyIn(kSender, sender.text, strnlen(sender.text, kSenderMax));
    rec.fill(kSubject, 0, kSubjectSize);
    rec.copyIn(kSubject, r + kSubject, strnlen(reinterpret_cast<const char *>(r + kSubject), kSubjectMax));
    // Ports come high byte first in this request only; the record keeps them little-endian.
    const RequestReader whole(r, kRecordSize);
    rec.setU16(kPort, whole.at(kPort).u16be());
    rec.setU16(kSecurePort, whole.at(kSecurePort).u16be());
    return saved();
}

unsigned setRecordParam(RequestReader req) {
    ByteView rec = record();
    const std::uint8_t param = req.u8();
    for (const FlagParam &f : kFlags) {
        if (f.param != param) continue;
        if (!kByteData.accepts(req.remaining())) return kCcReqDataLenInvalid;
        const std::uint8_t value = req.u8();
        if (value > f.max) return kCcParamOutOfRange;
        if (rec.u8(f.offset) == value) return kCcOk;
        rec.setU8(f.offset, value);
        return saved();
    }
    if (param == kParamPort || param == kParamSecurePort) {
        if (!kPortData.accepts(req.remaining())) return kCcReqDataLenInvalid;
        const std::size_t offset = param == kParamPort ? kPort : kSecurePort;
        const std::uint16_t port = req.u16le();
        if (rec.u16(offset) == port) return kCcOk;
        rec.setU16(offset, port);
        return saved();
    }
    if (const TextParam *t = findText(kRecordTexts, param)) return setText(*t, rec, req);
    if (param != kParamWhole) return kCcParamOutOfRange;
    if (!kWholeRecordData.accepts(req.remaining())) return kCcReqDataLenInvalid;
    return setWholeRecord(req.here());
}

unsigned setRecipientParam(RequestReader req) {
    const std::size_t index = req.u8();
    if (index >= kRcptCount) return kCcParamOutOfRange;
    ByteView entry = recipient(index);
    const std::uint8_t param = req.u8();
    if (param == kRcptParamEnabled) {
        if (!kByteData.accepts(req.remaining())) return kCcReqDataLenInvalid;
        const std::uint8_t enabled = req.u8();
        if (enabled > 1) return kCcParamOutOfRange;
        if (entry.u8(kRcptEnabled) == enabled) return kCcOk;
        entry.setU8(kRcptEnabled, enabled);
        return saved();
    }
    if (const TextParam *t = findText(kRcptTexts, param)) return setText(*t, entry, req);
    if (param != kParamWhole) return kCcParamOutOfRange;
    if (!kWholeRcptData.accepts(req.remaining())) return kCcReqDataLenInvalid;
    const unsigned char *data = req.here();
    if (data[kRcptEnabled] > 1) return kCcParamOutOfRange;
    if (data[kRcptEnabled] == 1) {
        constexpr std::size_t kAddressMax = kRcptAddressSize - 1, kDescriptionMax = kRcptDescriptionSize - 1;
        const unsigned char *address = data + kRcptAddress;
        const unsigned char *description = data + kRcptDescription;
        if (!strictText(address, kAddressMax)) return kCcParamOutOfRange;
        Text t(address, kAddressMax);
        if (!isValidEmail(t.text)) return kCcInvalidDataField;
        if (!blankTolerantText(description, kDescriptionMax)) return kCcParamOutOfRange;
        entry.fill(kRcptAddress, 0, kRcptAddressSize);
        entry.copyIn(kRcptAddress, address, strnlen(t.text, kAddressMax));
        entry.fill(kRcptDescription, 0, kRcptDescriptionSize);
        entry.copyIn(kRcptDescription, description,
                     strnlen(reinterpret_cast<const char *>(description), kDescriptionMax));
    }
    entry.setU8(kRcptEnabled, data[kRcptEnabled]);
    return saved();
}

unsigned setInterface(const unsigned char *request, std::size_t n) {
    if (request == nullptr || n == 0) return kCcReqDataLenInvalid;
    RequestReader req(request, n);
    switch (req.u8()) {
        case 0:
            if (!kRecordRequest.accepts(n)) return kCcReqDataLenInvalid;
            return setRecordParam(req);
        case 1:
            if (!kRcptRequest.accepts(n)) return kCcReqDataLenInvalid;
            return setRecipientParam(req);
        case 2:
            if (!kTestRequest.accepts(n)) return kCcReqDataLenInvalid;
            postDestinationTest(static_cast<std::uint8_t>(req.u8() + kTestMailBase));
            return kCcOk;
        default:
            return kCcParamOutOfRange;
    }
}

int save() {
    const unsigned char *block = sharedBlock().data();
    return json::saveDocument(kDocument, block == nullptr ? nullptr : block + kRecordOffset,
                              block == nullptr ? nullptr : block + kRecipientsOffset, kConfPath);
}

int load() {
    return json::loadDocument(kDocument);
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
    if (length < 0) return qrx::config::svc::kCcReqDataLenInvalid;
    return sm::setInterface(request, static_cast<std::size_t>(length));
}

QRX_EXPORT int QuorixGetSmtpTotalConfFromJson(void) {
    return sm::load();
}

QRX_EXPORT int QuorixSetSmtpTotalConfToJson(void) {
    return sm::save();
}

}  // extern "C"
