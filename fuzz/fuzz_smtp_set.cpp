// SMTP set interface: request sequences against the mail record, the
// recipients and "/conf/SmtpCfg.json".
#include "config/smtp/smtp_layout.h"
#include "fuzz_support.h"
#include "quorix_common_interface.h"

namespace sm = qrx::config::smtp;

namespace {

constexpr std::size_t kPasswordMax = 60;

qfuzz::Session &session() {
    static qfuzz::Session s({{sm::kRecordOffset, sm::kRecordSize + sm::kRecipientsSize}});
    return s;
}

void noteSecrets(const qfuzz::Bytes &req, qfuzz::Secrets &secrets) {
    if (req.size() < 3 || req[0] != 0) return;
    const unsigned char *data = req.data() + 2;
    const std::size_t n = req.size() - 2;
    if (req[1] == 8) secrets.add(data, n < kPasswordMax ? n : kPasswordMax);
    if (req[1] == 255 && req.size() >= sm::kRecordSize + 2 && data[sm::kAuth] == 1)
        secrets.add(data + sm::kPassword, kPasswordMax);
}

void checkGets(const qfuzz::Secrets &secrets) {
    qfuzz::Bytes rec = qfuzz::exact(sm::kRecordSize + 1);
    if (QuorixGetBMCSmtpCfgInterface(0, rec.data()) != static_cast<int>(rec.size()))
        qfuzz::fail("SMTP get of the record gave a wrong length");
    for (std::size_t i = 0; i < sm::kPasswordSize; ++i)
        if (rec[1 + sm::kPassword + i] != 0) qfuzz::fail("SMTP get left password byte %zu in the response", i);
    qfuzz::Bytes rcpt = qfuzz::exact(sm::kRecipientsSize + 1);
    if (QuorixGetBMCSmtpCfgInterface(1, rcpt.data()) != static_cast<int>(rcpt.size()))
        qfuzz::fail("SMTP get of the recipients gave a wrong length");
    qfuzz::Bytes clear = qfuzz::exact(sm::kRecordSize);
    if (QuorixGetSmtpCfgFromMem(clear.data()) != 0) qfuzz::fail("SMTP record read from memory failed");
    secrets.checkJson(sm::kConfPath, "SmtpCfg", "PassWord");
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    qfuzz::bindOnce();
    if (QuorixGetSmtpTotalConfFromJson() != 0) qfuzz::fail("the factory SMTP configuration does not load");
    session().keepStartState();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    qfuzz::Session &s = session();
    s.startInput();
    for (qfuzz::Bytes &req : qfuzz::splitRequests(data, size, 6)) {
        // A whole record with login stores the user name and password before
        // the sender check, which may still refuse it with 0xCC.
        if (req.size() >= sm::kRecordSize + 2 && req[0] == 0 && req[1] == 255 && req[2 + sm::kAuth] == 1) {
            s.exemptOnRefusal({sm::kRecordOffset + sm::kUserName, sm::kUserNameSize}, 0xCC);
            s.exemptOnRefusal({sm::kRecordOffset + sm::kPassword, sm::kPasswordSize}, 0xCC);
        }
        s.before();
        const unsigned cc = QuorixSetBMCSmtpCfgInterface(qfuzz::bytesOf(req), static_cast<int>(req.size()));
        s.after("SMTP set", cc);
        qfuzz::expectCode("SMTP set", cc, {0x00, 0xC7, 0xC9, 0xCC});
        if (cc == 0 || cc == 0xCC) noteSecrets(req, s.secrets());
        checkGets(s.secrets());
    }
    return 0;
}
