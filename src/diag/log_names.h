// Levels and module names of the leveled debug log (QuorixDebug), as every
// caller in the library passes them.
#pragma once

namespace qrx {

inline constexpr unsigned kLogInfo = 0;
inline constexpr unsigned kLogWarning = 1;
inline constexpr unsigned kLogError = 2;
inline constexpr unsigned kLogCritical = 3;

// Module names select the ENABLE_<module> switch of the debug folder.
inline constexpr const char *kModuleMonitor = "QRXMONITOR";
inline constexpr const char *kModuleIpmi = "IPMI";
inline constexpr const char *kModuleDiag = "QRXDIAG";
inline constexpr const char *kModulePowerOffProtect = "QRXPWOFFPRO";

}  // namespace qrx
