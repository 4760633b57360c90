// Internals shared by the debug log's files: where the control files live and
// how the module switches are laid out.
#pragma once

#include <cstddef>

namespace qrx::diag {

// Control files are empty markers in this directory (trailing slash included).
inline constexpr const char *kDebugDir = "/conf/quorix_debug/";
// While this marker exists, every log call re-reads the control directory.
inline constexpr const char *kReloadMarker = "/var/quorix_debug_reload";

inline constexpr const char *kEnablePrefix = "ENABLE_";
inline constexpr std::size_t kEnablePrefixLength = 7;

// 16 slots of 16 bytes; a name keeps at most 15 characters and its NUL.
inline constexpr std::size_t kModuleSlots = 16, kModuleSlotSize = 16, kModuleNameMax = kModuleSlotSize - 1;
inline constexpr std::size_t kModuleAreaSize = kModuleSlots * kModuleSlotSize;

inline constexpr unsigned kLevelCritical = 3;
// Syslog priority per level. Error maps to 7 (debug), not 3: deliberate, the
// platform log's readers filter on these values as they stand.
inline constexpr unsigned kSyslogPriority[kLevelCritical + 1] = {6, 4, 7, 2};
// Facility local5 (21 << 3), OR-ed into every platform-log priority.
inline constexpr unsigned kLocal5Facility = 0xA8;

// The control files: index of the first LEVEL_ / PATH_ file present (-1 for
// none), and the ENABLE_ names copied into 16 slots of 16 bytes.
int levelFromFiles();
int pathFromFiles();
int loadModuleNames(char *slots);

}  // namespace qrx::diag
