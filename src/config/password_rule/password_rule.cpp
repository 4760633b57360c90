// User password rule: OEM set/get of the 12-byte EEPROM record, with a
// per-process cache that the got-flag says is filled.
#include <cstring>

#include "core/completion_codes.h"
#include "config/password_rule/password_rule_layout.h"
#include "core/export.h"
#include "core/slot_table.h"
#include "core/request_reader.h"
#include "diag/log_names.h"
#include "quorix_common_interface.h"

namespace {

namespace pw = qrx::pwrule;

using namespace qrx::cc;
constexpr unsigned char kCcReadFailed = 0x83;

constexpr unsigned char kWholeRecordParam = 255;
constexpr int kWholeRecordLength = 13;

// Request layout of the whole-record set (multi-byte values big-endian).
constexpr int kReqEnabled = 1, kReqMinLength = 2, kReqComplexity = 3, kReqClassMask = 4, kReqMaxAge = 5;
constexpr int kReqHistory = 7, kReqLockoutAttempts = 8, kReqLockoutMinutes = 9;
// The public header gives the whole-record request as the record from byte 1.
static_assert(QUORIX_PWRULE_SET_WHOLE == kWholeRecordParam && QUORIX_PWRULE_SET_WHOLE_LEN == kWholeRecordLength &&
              QUORIX_PWRULE_SET_DATA + QUORIX_PWRULE_ENABLED == kReqEnabled &&
              QUORIX_PWRULE_SET_DATA + QUORIX_PWRULE_MIN_LENGTH == kReqMinLength &&
              QUORIX_PWRULE_SET_DATA + QUORIX_PWRULE_COMPLEXITY == kReqComplexity &&
              QUORIX_PWRULE_SET_DATA + QUORIX_PWRULE_CLASS_MASK == kReqClassMask &&
              QUORIX_PWRULE_SET_DATA + QUORIX_PWRULE_MAX_AGE_DAYS == kReqMaxAge &&
              QUORIX_PWRULE_SET_DATA + QUORIX_PWRULE_HISTORY_DEPTH == kReqHistory &&
              QUORIX_PWRULE_SET_DATA + QUORIX_PWRULE_LOCKOUT_ATTEMPTS == kReqLockoutAttempts &&
              QUORIX_PWRULE_SET_DATA + QUORIX_PWRULE_LOCKOUT_MINUTES == kReqLockoutMinutes);

unsigned char g_rule[pw::kRecordSize] = {0, pw::kDefaultMinLength,      0, 0, 0, 0, 0,
                                         0, pw::kDefaultLockoutMinutes, 0, 0, 0};

qrx::ByteView cache() {
    return qrx::ByteView(g_rule);
}

unsigned char setSingle(const unsigned char *req, int n, bool &changed) {
    const pw::Field &f = pw::kFields[req[0]];
    if (n != static_cast<int>(f.width) + 1) return kCcReqDataLenInvalid;
    qrx::RequestReader r(req + 1, f.width);
    const std::uint32_t value = f.width == 4 ? r.u32le() : f.width == 2 ? r.u16le() : r.u8();
    if (value < f.min || value > f.max) return kCcParamOutOfRange;
    if (pw::getField(cache(), f) == value) return kCcOk;
    pw::setField(cache(), f, value);
    changed = true;
    return kCcOk;
}

bool inRange(std::uint32_t v, int field) {
    return v >= pw::kFields[field].min && v <= pw::kFields[field].max;
}

unsigned char setWhole(unsigned char *req, bool &changed) {
    const qrx::RequestReader r(req, kWholeRecordLength);
    const std::uint32_t maxAge = r.at(kReqMaxAge).u16be();
    const std::uint32_t lockoutMinutes = r.at(kReqLockoutMinutes).u32be();
    qrx::ByteView c = cache();
    if (req[kReqEnabled] == 1) {
        if (!inRange(req[kReqMinLength], 1) || !inRange(req[kReqComplexity], 2) || !inRange(req[kReqHistory], 5) ||
            !inRange(req[kReqLockoutAttempts], 6) || !inRange(maxAge, 4) || !inRange(lockoutMinutes, 7))
            return kCcParamOutOfRange;
        if (req[kReqComplexity] == 1 && !inRange(req[kReqClassMask], 3)) return kCcParamOutOfRange;
        c.setU8(pw::kEnabledOffset, 1);
        c.setU8(pw::kMinLengthOffset, req[kReqMinLength]);
        c.setU16(pw::kMaxAgeDaysOffset, static_cast<std::uint16_t>(maxAge));
        c.setU32(pw::kLockoutMinutesOffset, lockoutMinutes);
    } else if (req[kReqEnabled] == 0) {
        // A disabled rule is stored with the defaults; the other fields as sent, unchecked.
        c.setU8(pw::kEnabledOffset, 0);
        c.setU8(pw::kMinLengthOffset, pw::kDefaultMinLength);
        req[kReqMinLength] = pw::kDefaultMinLength;
        c.setU16(pw::kMaxAgeDaysOffset, 0);
        c.setU32(pw::kLockoutMinutesOffset, pw::kDefaultLockoutMinutes);
    } else {
        return kCcParamOutOfRange;
    }
    c.setU8(pw::kComplexityOffset, req[kReqComplexity]);
    c.setU8(pw::kClassMaskOffset, req[kReqClassMask]);
    c.setU8(pw::kHistoryDepthOffset, req[kReqHistory]);
    c.setU8(pw::kLockoutAttemptsOffset, req[kReqLockoutAttempts]);
    quorix_passwd_rule_got_flag = 1;
    changed = true;
    return kCcOk;
}

}  // namespace

extern "C" {

QRX_EXPORT unsigned char quorix_passwd_rule_got_flag = 0;

QRX_EXPORT int QuorixSetUserPasswordRuleInterface(unsigned char *request, int length) {
    if (request == nullptr || length <= 0) return kCcReqDataLenInvalid;
    unsigned char param = request[0];
    unsigned char cc;
    bool changed = false;
    if (param < pw::kFieldCount) {
        cc = setSingle(request, length, changed);
    } else if (param == kWholeRecordParam) {
        if (length != kWholeRecordLength) return kCcReqDataLenInvalid;
        cc = setWhole(request, changed);
    } else {
        return kCcParamOutOfRange;
    }
    if (cc != kCcOk || !changed) return cc;
    int written = qrx::slotFn<qrx::Slot::QuorixWriteMainBoardEEprom>()(pw::kEepromOffset, g_rule, static_cast<int>(pw::kRecordSize));
    if (written != static_cast<int>(pw::kRecordSize)) {
        qrx::debugLog(qrx::kLogError, qrx::kModuleMonitor, "Write UserPassWdRUle to EEPROM failed! retval=%d", written);
        return kCcUnspecified;
    }
    return kCcOk;
}

QRX_EXPORT int QuorixGetUserPasswordRuleInterface(unsigned char *response) {
    if (response == nullptr) return -1;
    if (quorix_passwd_rule_got_flag != 1) {
        unsigned char record[pw::kRecordSize];
        int got = qrx::slotFn<qrx::Slot::QuorixReadMainBoardEEprom>()(pw::kEepromOffset, record, static_cast<int>(pw::kRecordSize));
        if (got != static_cast<int>(pw::kRecordSize)) {
            qrx::debugLog(qrx::kLogError, qrx::kModuleMonitor, "Read UserPassWdRUle to EEPROM failed! retval=%d", got);
            response[0] = kCcReadFailed;
            return 1;
        }
        // Only an enabled record is taken; otherwise the cache keeps its fields.
        if (record[pw::kEnabledOffset] == 1)
            std::memcpy(g_rule, record, sizeof g_rule);
        else
            g_rule[pw::kEnabledOffset] = 0;
        quorix_passwd_rule_got_flag = 1;
    }
    response[0] = kCcOk;
    std::memcpy(response + 1, g_rule, sizeof g_rule);
    return 1 + static_cast<int>(pw::kRecordSize);
}

}  // extern "C"
