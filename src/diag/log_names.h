// The leveled debug log (QuorixDebug) as the library calls it, with the
// levels and module names every caller passes.
#pragma once

namespace qrx {

int debugLog(unsigned level, const char *module, const char *format, ...) __attribute__((format(printf, 3, 4)));

inline constexpr unsigned kLogInfo = 0, kLogWarning = 1, kLogError = 2, kLogCritical = 3;

// Module names select the ENABLE_<module> switch of the debug folder.
inline constexpr const char *kModuleMonitor = "QRXMONITOR", *kModuleIpmi = "IPMI", *kModuleDiag = "QRXDIAG";
inline constexpr const char *kModulePowerOffProtect = "QRXPWOFFPRO";

}  // namespace qrx
