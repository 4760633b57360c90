// Shared pieces of the SNMP trap, SNMP agent and SMTP services.
#include "config/common/service.h"
#include "ipc/wire_records.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "quorix_common_interface.h"

namespace qrx::config::svc {

void traceLine(const char *function, int line, const char *format, ...) {
    std::printf("[%s %d] ", function, line);
    va_list ap;
    va_start(ap, format);
    std::vprintf(format, ap);
    va_end(ap);
}

constexpr std::uint8_t kIdlSourceAlertTest = 0x24;

void postDestinationTest(std::uint8_t code) {
    ipc::IdlRecord record;
    record.logType(ipc::kIdlLogStampTime).source(kIdlSourceAlertTest).textLine(code, 1, nullptr);
    ipc::postToIdl(record.record());
}

bool acceptableAddress(const unsigned char *text, std::size_t length) {
    char buffer[128] = {};
    std::memcpy(buffer, text, length < sizeof buffer - 1 ? length : sizeof buffer - 1);
    return isValidHost(buffer) || buffer[0] == '\0';
}

}  // namespace qrx::config::svc
