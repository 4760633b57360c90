// Start-up parse of "/conf/syslog.conf": the input is the file.
#include "config/syslog/syslog_layout.h"
#include "fuzz_support.h"
#include "loader_support.h"
#include "quorix_common_interface.h"
#include "syslog_checks.h"

namespace sl = qrx::config::syslog;

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    qfuzz::bindOnce();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::size_t areaEnd = sl::kTagTextOffset + sl::kTagTextSize;
    const int result =
        qfuzz::loadFrom("/conf/syslog.conf", data, size, {{sl::kSyslogEnableOffset, areaEnd - sl::kSyslogEnableOffset}},
                        [] { return static_cast<int>(QuorixSyslogConfigInit()); });
    if (result != 0) qfuzz::fail("syslog start-up parse of an existing file returned %d", result);
    qfuzz::checkSyslogGets("syslog parse");
    char tag[sl::kTagTextSize];
    if (QuorixGetSyslogTag(tag, sizeof tag) != 0) qfuzz::fail("syslog tag read failed");
    return 0;
}
