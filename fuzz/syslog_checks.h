// Checks shared by the syslog targets: both gets answer their full length
// into buffers of exactly that size, and every stored destination host is
// terminated inside its field.
#pragma once

#include "config/syslog/syslog_layout.h"
#include "fuzz_support.h"
#include "quorix_common_interface.h"

namespace qfuzz {

inline void checkSyslogGets(const char *what) {
    namespace sl = qrx::config::syslog;
    Bytes globals = exact(1 + sl::kGlobalsSize);
    if (QuorixGetSyslogConfigInterface(0, globals.data()) != static_cast<int>(globals.size()))
        fail("%s: syslog get of the globals gave a wrong length", what);
    if (globals[1] != sl::kSyslogDisabled && globals[1] != sl::kSyslogEnabled)
        fail("%s: syslog switch stored as %u", what, globals[1]);
    Bytes dests = exact(1 + sl::kDestCount * sl::kDestRecordSize);
    if (QuorixGetSyslogConfigInterface(1, dests.data()) != static_cast<int>(dests.size()))
        fail("%s: syslog get of the destinations gave a wrong length", what);
    for (std::size_t i = 0; i < sl::kDestCount; ++i) {
        const unsigned char *host = dests.data() + 1 + i * sl::kDestRecordSize + sl::kDestHost;
        if (host[sl::kDestHostSize - 1] != 0) fail("%s: syslog destination %zu host is not terminated", what, i);
    }
}

}  // namespace qfuzz
