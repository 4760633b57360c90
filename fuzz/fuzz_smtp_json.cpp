// Loader of "/conf/SmtpCfg.json": the input is the file.
#include "config/smtp/smtp_layout.h"
#include "fuzz_support.h"
#include "loader_support.h"
#include "quorix_common_interface.h"

namespace sm = qrx::config::smtp;

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    qfuzz::bindOnce();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const int result =
        qfuzz::loadFrom(sm::kConfPath, data, size, {{sm::kRecordOffset, sm::kRecordSize + sm::kRecipientsSize}},
                        [] { return QuorixGetSmtpTotalConfFromJson(); });
    if (result != 0 && result != -1) qfuzz::fail("SMTP loader returned %d", result);
    qfuzz::Bytes rec = qfuzz::exact(sm::kRecordSize + 1);
    if (QuorixGetBMCSmtpCfgInterface(0, rec.data()) != static_cast<int>(rec.size()))
        qfuzz::fail("SMTP get of the record gave a wrong length");
    qfuzz::expectTerminated("SMTP loader", rec.data() + 1,
                            {{"ServerAddr", sm::kServer, sm::kServerSize},
                             {"UserName", sm::kUserName, sm::kUserNameSize},
                             {"SenderAddr", sm::kSender, sm::kSenderSize},
                             {"Subject", sm::kSubject, sm::kSubjectSize}});
    qfuzz::Bytes rcpt = qfuzz::exact(sm::kRecipientsSize + 1);
    if (QuorixGetBMCSmtpCfgInterface(1, rcpt.data()) != static_cast<int>(rcpt.size()))
        qfuzz::fail("SMTP get of the recipients gave a wrong length");
    for (std::size_t i = 0; i < sm::kRcptCount; ++i)
        qfuzz::expectTerminated("SMTP loader", rcpt.data() + 1 + i * sm::kRcptEntrySize,
                                {{"EmailAddress", sm::kRcptAddress, sm::kRcptAddressSize},
                                 {"Description", sm::kRcptDescription, sm::kRcptDescriptionSize}});
    qfuzz::Bytes clear = qfuzz::exact(sm::kRecordSize);
    QuorixGetSmtpCfgFromMem(clear.data());
    if (result == 0)
        qfuzz::expectSaveReloadKeeps(
            "SMTP configuration", {sm::kRecordOffset, sm::kRecordSize + sm::kRecipientsSize}, {},
            [] { return QuorixSetSmtpTotalConfToJson(); }, [] { return QuorixGetSmtpTotalConfFromJson(); });
    return 0;
}
