// Validators of operator input (names, addresses, passwords, hosts).
//
// The exported functions keep their own result conventions; these C++ forms
// answer plainly with bool for the configuration services built on them.
#pragma once

#include <cstddef>

namespace qrx::config {

bool isValidIpv4(const char *text);
bool isValidIpv6(const char *text);
bool isValidDomain(const char *name);
// A destination host: an IPv6 address, an IPv4 address or a domain name, tried in that order.
bool isValidHost(const char *host);
bool isValidEmail(const char *address);
// Operator names (mode 0 user, 1 SMTP user, 2 and above SMTP host) and the
// sender address; each refusal prints why.
bool isValidUserName(const char *name, unsigned max_length, int mode);
bool isValidSenderAddress(const char *address);
// The character rule of fixed text fields: every byte is 0 (padding, which
// does not end the check) or within [low, 126]. False for null.
inline constexpr unsigned char kFirstPrintable = 33;
inline constexpr unsigned char kLastPrintable = 126;
bool charsIn(const unsigned char *bytes, std::size_t length, unsigned char low);
// Printable ASCII without space (33..126), or 0.
bool isPrintableField(const unsigned char *bytes, std::size_t length);
// Printable ASCII with space (32..126), or 0: subjects and descriptions.
bool isBlankTolerantField(const unsigned char *bytes, std::size_t length);

}  // namespace qrx::config
