// The debug log's word tables and its level-to-syslog-priority mapping.
#include "core/export.h"
#include "diag/debug_log.h"
#include "quorix_common_interface.h"

extern "C" {

QRX_EXPORT const char *DebugLevelDesc[4] = {"Info", "Warning", "Error", "Critical"};

QRX_EXPORT const char *DebugSourceFile[6] = {"ENABLE_DEV",  "ENABLE_IPMI",       "ENABLE_REDFISH",
                                             "ENABLE_SNMP", "ENABLE_QRXMONITOR", "ENABLE_CPLD"};

QRX_EXPORT unsigned int TranslateToSyslogLevel(unsigned int level) {
    return level <= qrx::diag::kLevelCritical ? qrx::diag::kSyslogPriority[level] : 0xFFFFFFFFu;
}

}  // extern "C"
