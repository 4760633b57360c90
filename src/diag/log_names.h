// Levels and module names of the debug log, as every subsystem passes them to QuorixDebug.
#pragma once

namespace qrx::diag {

inline constexpr unsigned kLogInfo = 0;
inline constexpr unsigned kLogWarning = 1;
inline constexpr unsigned kLogError = 2;
inline constexpr unsigned kLogCritical = 3;

inline constexpr const char *kModuleMonitor = "QRXMONITOR";
inline constexpr const char *kModuleIpmi = "IPMI";
inline constexpr const char *kModuleDiag = "QRXDIAG";
inline constexpr const char *kModulePowerOff = "QRXPWOFFPRO";

}  // namespace qrx::diag
