// Sends each configuration request once (stored, file written), then sends
// it again `repeat` times between markers on standard error, so that a
// system-call trace shows exactly what an unchanged request costs.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "../config_requests.h"
#include "quorix_common_interface.h"

namespace {

void marker(const std::string &text) {
    std::string line = "@@ " + text + " @@\n";
    if (write(STDERR_FILENO, line.data(), line.size()) < 0) std::exit(3);
}

template <typename Handler>
bool probe(const char *name, Handler handler, const qbench::Request &request, int repeat) {
    const int length = static_cast<int>(request.size());
    unsigned first = handler(request.data(), length);
    if (first != 0) {
        std::fprintf(stderr, "%s: first request answered %u\n", name, first);
        return false;
    }
    unsigned last = 0;
    marker(std::string("begin ") + name);
    for (int i = 0; i < repeat && last == 0; ++i) last = handler(request.data(), length);
    marker(std::string("end ") + name);
    if (last != 0) std::fprintf(stderr, "%s: unchanged request answered %u\n", name, last);
    return last == 0;
}

}  // namespace

int main(int argc, char **argv) {
    const int repeat = argc > 1 ? std::atoi(argv[1]) : 100;
    if (quorix_interface_init() != 0) return 2;
    bool ok = probe("syslog", QuorixSetSyslogConfigInterface, qbench::syslogDestination(), repeat);
    ok = probe("snmp-trap", QuorixSetBMCSnmpTrapCfgInterface, qbench::snmpTrapDestination(), repeat) && ok;
    ok = probe("smtp", QuorixSetBMCSmtpCfgInterface, qbench::smtpServer(), repeat) && ok;
    return ok ? 0 : 1;
}
