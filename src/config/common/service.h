// Pieces the SNMP trap, SNMP agent and SMTP services share: completion
// codes, the IDL request for a destination and the traced console lines.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/completion_codes.h"
#include "diag/log_names.h"

namespace qrx::config::svc {

using namespace qrx::cc;

inline constexpr unsigned kLevelError = diag::kLogError;
inline constexpr const char *kModule = diag::kModuleIpmi;

// "[function line] message" on standard output.
void traceLine(const char *function, int line, const char *format, ...) __attribute__((format(printf, 3, 4)));

// Posts the alert-test request for destination code (trap 0..3, mail 4..7) to the IDL service.
void postDestinationTest(std::uint8_t code);

// Each byte 0 or within [low, 0x7E].
bool charsIn(const unsigned char *bytes, std::size_t length, unsigned char low);
inline bool strictText(const unsigned char *b, std::size_t n) {
    return charsIn(b, n, 0x21);
}
inline bool blankTolerantText(const unsigned char *b, std::size_t n) {
    return charsIn(b, n, 0x20);
}

// An IPv6 or IPv4 address or a domain name, or empty.
bool acceptableAddress(const unsigned char *text, std::size_t length);

}  // namespace qrx::config::svc
