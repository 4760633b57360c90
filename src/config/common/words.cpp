// Exported word tables and the word/index routines over them.
#include "config/common/validators.h"
#include "config/common/words.h"

#include <strings.h>

#include <cstdio>
#include <cstring>

#include "core/export.h"
#include "quorix_common_interface.h"

extern "C" {

QRX_EXPORT const char *EnableStr[2] = {"Disable", "Enable"};
QRX_EXPORT const char *EnabledStrLittleLetter[2] = {"disable", "enable"};
QRX_EXPORT const char *AutoStrLittleLetter[2] = {"manual", "auto"};
QRX_EXPORT const char *CfgTypeStr[3] = {"Version", "Dest", "Test"};
QRX_EXPORT const char *TrapVersionStr[4] = {"Disable", "V1", "V2C", "V3"};
// Index 3 is a hole on purpose: event level 3 has no word.
QRX_EXPORT const char *EventLevelStr[4] = {"Info", "Warning", "Critical", nullptr};
QRX_EXPORT const char *AuthProtocols[3] = {"SHA", "MD5", "NONE"};
QRX_EXPORT const char *PrivProtocols[3] = {"AES", "DES", "NONE"};
QRX_EXPORT const char *HostIDs[3] = {"HostName", "SerialNum", "AssertTag"};
QRX_EXPORT const char *SyslogTagStr[3] = {"HostName", "SerialNumber", "PartNumber"};
QRX_EXPORT const char *SyslogEnableStr[3] = {"SyslogEnable", "LocalEnable", "RemoteEnable"};
QRX_EXPORT const char *SyslogProtocalStr[4] = {"UDP", "TCP", "TLSOneWay", "TLSTwoWay"};
QRX_EXPORT const char *SyslogTypeStr[4] = {"None", "Idl", "Audit", "Idl + Audit"};
QRX_EXPORT const char *SyslogLevelStr[4] = {"Info", "Warning", "Critical", "Alert"};

}  // extern "C"

namespace qrx::config {

namespace {

// Trap device-type codes accepted by the SNMP trap service. 27 stands twice
// (positions 17 and 30); the list is kept as the front ends know it.
constexpr unsigned kTrapDeviceTypes[] = {4,  5,  7,  8,  11, 12, 13, 15,  16,  17,  18,  20, 21,  23,  24,  25, 27, 29,
                                         30, 31, 32, 34, 35, 39, 40, 201, 208, 209, 210, 27, 211, 213, 215, 43, 255};
static_assert(sizeof kTrapDeviceTypes / sizeof kTrapDeviceTypes[0] == 35, "35 device-type codes");

// A count below 1 searches nothing; the sign decides the answer.
constexpr unsigned emptyCountResult(int count) {
    return count == 0 ? kWordBad : kWordOk;
}

}  // namespace

unsigned strToOrder(const char *const *table, const char *word, int count, unsigned char *index) {
    if (table == nullptr || index == nullptr || word == nullptr) return kWordBad;
    if (count < 1) return emptyCountResult(count);
    for (int i = 0; i < count; ++i) {
        if (table[i] != nullptr && std::strcmp(table[i], word) == 0) {
            *index = static_cast<unsigned char>(i);
            return kWordOk;
        }
    }
    return kWordBad;
}

unsigned orderToStr(const char *const *table, int index, int count, char *dest, std::size_t size) {
    if (count < 1) return emptyCountResult(count);
    if (index < 0 || index >= count || table[index] == nullptr) return kWordBad;
    std::snprintf(dest, size, "%s", table[index]);
    return kWordOk;
}

int strInList(const char *const *table, const char *word, int count) {
    if (count < 1) return static_cast<int>(emptyCountResult(count));
    if (table == nullptr || word == nullptr) return static_cast<int>(kWordBad);
    for (int i = 0; i < count; ++i)
        if (table[i] != nullptr && std::strcmp(table[i], word) == 0) return static_cast<int>(kWordOk);
    return static_cast<int>(kWordBad);
}

bool isTrapDeviceType(unsigned code) {
    for (unsigned known : kTrapDeviceTypes)
        if (known == code) return true;
    return false;
}

}  // namespace qrx::config

namespace {

using qrx::config::kWordBad;
using qrx::config::orderToStr;
using qrx::config::strInList;
using qrx::config::strToOrder;

template <std::size_t N>
unsigned wordToIndex(const char *(&table)[N], const char *word, unsigned char *index) {
    return strToOrder(table, word, static_cast<int>(N), index);
}

template <std::size_t N>
unsigned indexToWord(const char *(&table)[N], int index, char *dest, unsigned size) {
    if (dest == nullptr) return kWordBad;
    return orderToStr(table, index, static_cast<int>(N), dest, size);
}

template <std::size_t N>
unsigned inList(const char *(&table)[N], const char *word) {
    if (word == nullptr) return kWordBad;
    return static_cast<unsigned>(strInList(table, word, static_cast<int>(N)));
}

}  // namespace

bool qrx::config::isAuthProtocol(const char *word) {
    return inList(AuthProtocols, word) == qrx::config::kWordOk;
}
bool qrx::config::isPrivProtocol(const char *word) {
    return inList(PrivProtocols, word) == qrx::config::kWordOk;
}
bool qrx::config::isHostId(const char *word) {
    return inList(HostIDs, word) == qrx::config::kWordOk;
}

extern "C" {

QRX_EXPORT unsigned ValidateStrToOrder(const char *const *table, const char *word, int count, unsigned char *index) {
    return strToOrder(table, word, count, index);
}

QRX_EXPORT unsigned ValidateIndexToString(const char *const *table, int index, int count, char *dest, unsigned size) {
    if (dest == nullptr || table == nullptr) return kWordBad;
    return orderToStr(table, index, count, dest, size);
}

QRX_EXPORT unsigned ValidateEnableDisable(const char *word, unsigned char *index) {
    return wordToIndex(EnableStr, word, index);
}
QRX_EXPORT unsigned ValidateEnableDisableIndexToString(int index, char *dest, unsigned size) {
    return indexToWord(EnableStr, index, dest, size);
}
QRX_EXPORT unsigned ValidateEnableDisableLittleLetter(const char *word, unsigned char *index) {
    return wordToIndex(EnabledStrLittleLetter, word, index);
}
QRX_EXPORT unsigned ValidateAutoManualLittleLetter(const char *word, unsigned char *index) {
    return wordToIndex(AutoStrLittleLetter, word, index);
}
QRX_EXPORT unsigned ValidateSnmpCfgType(const char *word, unsigned char *index) {
    return wordToIndex(CfgTypeStr, word, index);
}
QRX_EXPORT unsigned ValidateSnmpTrapVersion(const char *word, unsigned char *index) {
    return wordToIndex(TrapVersionStr, word, index);
}
QRX_EXPORT unsigned ValidateSnmpTrapIndexToString(int index, char *dest, unsigned size) {
    return indexToWord(TrapVersionStr, index, dest, size);
}
QRX_EXPORT unsigned ValidateEventLevelStrToIndex(const char *word, unsigned char *index) {
    return wordToIndex(EventLevelStr, word, index);
}
QRX_EXPORT unsigned ValidateEventLevelLimitIndexToString(int index, char *dest, unsigned size) {
    return indexToWord(EventLevelStr, index, dest, size);
}
QRX_EXPORT unsigned ValidateAUTHProtocol(const char *word) {
    return qrx::config::isAuthProtocol(word) ? 0 : 1;
}
QRX_EXPORT unsigned ValidatePrivProtocol(const char *word) {
    return qrx::config::isPrivProtocol(word) ? 0 : 1;
}
QRX_EXPORT unsigned ValidateHostID(const char *word) {
    return qrx::config::isHostId(word) ? 0 : 1;
}
// Each syslog word table has a word-to-index and an index-to-word export.
#define QRX_SYSLOG_WORD_EXPORTS(Name)                                                                \
    QRX_EXPORT unsigned ValidateSyslog##Name##StrToIndex(const char *word, unsigned char *index) {   \
        return wordToIndex(Syslog##Name##Str, word, index);                                        \
    }                                                                                              \
    QRX_EXPORT unsigned ValidateSyslog##Name##IndexToString(int index, char *dest, unsigned size) { \
        return indexToWord(Syslog##Name##Str, index, dest, size);                                  \
    }
QRX_SYSLOG_WORD_EXPORTS(Tag)
QRX_SYSLOG_WORD_EXPORTS(Enable)
QRX_SYSLOG_WORD_EXPORTS(Protocal)
QRX_SYSLOG_WORD_EXPORTS(Type)
QRX_SYSLOG_WORD_EXPORTS(Level)
#undef QRX_SYSLOG_WORD_EXPORTS

QRX_EXPORT int QuorixIDLSeverity2SyslogLevel(const char *word, int *level) {
    if (word == nullptr || level == nullptr) return 1;
    if (strcasecmp(word, "Critical") == 0)
        *level = qrx::config::kSyslogSevCritical;
    else if (strcasecmp(word, "Alert") == 0)
        *level = qrx::config::kSyslogSevAlert;
    else if (strcasecmp(word, "Warning") == 0)
        *level = qrx::config::kSyslogSevWarning;
    else
        *level = qrx::config::kSyslogSevInfo;
    return 0;
}

QRX_EXPORT int QuorixSyslogLevel2IDLSeverity(int severity, char *dest, unsigned size) {
    if (size == 0 || dest == nullptr) return -1;
    const char *word = "Info";
    if (severity == qrx::config::kSyslogSevCritical)
        word = "Critical";
    else if (severity == qrx::config::kSyslogSevWarning)
        word = "Warning";
    else if (severity == qrx::config::kSyslogSevAlert)
        word = "Alert";
    // strncpy on purpose: a word that fills size - 1 leaves the last byte as it was.
    std::strncpy(dest, word, size - 1);
    return 0;
}

QRX_EXPORT unsigned ValidateSNMPTrapCfgInput(const unsigned char *bytes, int length) {
    return qrx::config::isPrintableField(bytes, length > 0 ? static_cast<std::size_t>(length) : 0) ? 0 : 1;
}

QRX_EXPORT unsigned ValidateSNMPTrapCfgDeviceType(unsigned code) {
    return qrx::config::isTrapDeviceType(code) ? 0 : 1;
}

}  // extern "C"
