// Pieces the SNMP trap, SNMP agent and SMTP services share: completion
// codes, the IDL request for a destination and the traced console lines.
#pragma once

#include <cstddef>
#include <cstdint>

#include "config/common/validators.h"
#include "core/completion_codes.h"
#include "diag/log_names.h"

namespace qrx::config::svc {

using namespace qrx::cc;

inline constexpr unsigned kLevelError = kLogError;
inline constexpr const char *kModule = kModuleIpmi;

// "[function line] message" on standard output.
void traceLine(const char *function, int line, const char *format, ...) __attribute__((format(printf, 3, 4)));

// Posts the alert-test request for destination code (trap 0..3, mail 4..7) to the IDL service.
void postDestinationTest(std::uint8_t code);

inline bool strictText(const unsigned char *b, std::size_t n) {
    return isPrintableField(b, n);
}
inline bool blankTolerantText(const unsigned char *b, std::size_t n) {
    return isBlankTolerantField(b, n);
}

// An IPv6 or IPv4 address or a domain name, or empty.
bool acceptableAddress(const unsigned char *text, std::size_t length);

}  // namespace qrx::config::svc
