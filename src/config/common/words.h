// Word tables and the routines that map words to indexes and back.
//
// Front ends exchange configuration values as words; the library stores
// small indexes into fixed tables. The SNMP and SMTP services use the same
// routines, so they are reachable from C++ here as well as through the
// exported wrappers.
#pragma once

#include <cstddef>

namespace qrx::config {

// Result convention of this family: 0 found/valid, 1 unknown/out of range/NULL.
inline constexpr unsigned kWordOk = 0;
inline constexpr unsigned kWordBad = 1;

// Word to index. A count below 1 searches nothing: 1 for 0, 0 when negative.
unsigned strToOrder(const char *const *table, const char *word, int count, unsigned char *index);
// Index to word, copied with snprintf into dest (at most size - 1 characters).
unsigned orderToStr(const char *const *table, int index, int count, char *dest, std::size_t size);
// Membership: 0 when word is a non-NULL entry of table.
int strInList(const char *const *table, const char *word, int count);
// True for the SNMP trap device-type codes the trap service accepts.
bool isTrapDeviceType(unsigned code);
// Members of the SNMP trap's word lists (false for NULL).
bool isAuthProtocol(const char *word);
bool isPrivProtocol(const char *word);
bool isHostId(const char *word);

// Syslog severities of the severity words.
inline constexpr int kSyslogSevAlert = 1, kSyslogSevCritical = 2, kSyslogSevWarning = 4, kSyslogSevInfo = 6;

}  // namespace qrx::config
