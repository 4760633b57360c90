// Syslog set interface: request sequences against the syslog area of the
// block and "/conf/syslog.conf".
#include "config/syslog/syslog_layout.h"
#include "fuzz_support.h"
#include "quorix_common_interface.h"
#include "syslog_checks.h"

namespace sl = qrx::config::syslog;

namespace {

constexpr std::size_t kAreaEnd = sl::kTagTextOffset + sl::kTagTextSize;

qfuzz::Session &session() {
    static qfuzz::Session s({{sl::kSyslogEnableOffset, kAreaEnd - sl::kSyslogEnableOffset}});
    return s;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    qfuzz::bindOnce();
    QuorixSyslogConfigInit();  // no file yet: the defaults
    session().keepStartState();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    qfuzz::Session &s = session();
    s.startInput();
    // A refused globals request also forgets the last test target.
    const unsigned char reset[1] = {0};
    QuorixSetSyslogConfigInterface(reset, 1);
    for (qfuzz::Bytes &req : qfuzz::splitRequests(data, size, 6)) {
        s.before();
        const unsigned cc = QuorixSetSyslogConfigInterface(qfuzz::bytesOf(req), static_cast<int>(req.size()));
        s.after("syslog set", cc);
        qfuzz::expectCode("syslog set", cc, {0x00, 0xC7, 0xC9, 0xCC, 0xD5});
        qfuzz::checkSyslogGets("syslog set");
    }
    return 0;
}
