// Validators of operator input (names, addresses, passwords, hosts).
//
// The exported functions keep their own result conventions; these C++ forms
// answer plainly with bool for the configuration services built on them.
#pragma once

namespace qrx::config {

bool isValidIpv4(const char *text);
bool isValidIpv6(const char *text);
bool isValidDomain(const char *name);
// A destination host: an IPv6 address, an IPv4 address or a domain name, tried in that order.
bool isValidHost(const char *host);
bool isValidEmail(const char *address);
// Every byte is 0 (padding) or printable ASCII without space (33..126).
bool isPrintableField(const unsigned char *bytes, unsigned length);

}  // namespace qrx::config
