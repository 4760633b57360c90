// Password-rule set interface: request sequences against the EEPROM record;
// the block is never written.
#include "config/password_rule/password_rule_layout.h"
#include "fuzz_support.h"
#include "quorix_common_interface.h"

namespace pw = qrx::pwrule;

namespace {

// An enabled rule, so that every input starts from the same cache.
const qfuzz::Bytes kStartRule = {1, 12, 1, 0x0F, 90, 0, 5, 3, 30, 0, 0, 0};

qfuzz::Session &session() {
    static qfuzz::Session s({}, {{static_cast<std::size_t>(pw::kEepromOffset), pw::kRecordSize}});
    return s;
}

qfuzz::Bytes getRule() {
    qfuzz::Bytes response = qfuzz::exact(pw::kRecordSize + 1);
    const int n = QuorixGetUserPasswordRuleInterface(response.data());
    if (n != static_cast<int>(response.size()) || response[0] != 0)
        qfuzz::fail("password rule get answered %d with 0x%X", n, response[0]);
    return qfuzz::Bytes(response.begin() + 1, response.end());
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    qfuzz::bindOnce();
    qfuzz::putEeprom(pw::kEepromOffset, kStartRule);
    session().keepStartState();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    qfuzz::Session &s = session();
    s.startInput();
    quorix_passwd_rule_got_flag = 0;
    if (getRule() != kStartRule) qfuzz::fail("password rule cache did not take the enabled EEPROM record");
    for (qfuzz::Bytes &req : qfuzz::splitRequests(data, size, 6)) {
        const qfuzz::Bytes stored = qfuzz::eeprom(pw::kEepromOffset, pw::kRecordSize);
        s.before();
        const int cc = QuorixSetUserPasswordRuleInterface(qfuzz::bytesOf(req), static_cast<int>(req.size()));
        s.after("password rule set", static_cast<unsigned>(cc));
        qfuzz::expectCode("password rule set", static_cast<unsigned>(cc), {0x00, 0xC7, 0xC9});
        // What the EEPROM holds after a write is what the get reports.
        const qfuzz::Bytes now = qfuzz::eeprom(pw::kEepromOffset, pw::kRecordSize);
        if (now != stored && getRule() != now) qfuzz::fail("password rule get differs from the record just stored");
    }
    return 0;
}
