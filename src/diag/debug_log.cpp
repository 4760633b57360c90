// QuorixDebug: the leveled log call and its per-process cache of the control
// files. The control directory is read once per process, and again on every
// call while the reload marker exists, so a suppressed message costs one
// existence test and one comparison.
#include "diag/debug_log.h"

#include <unistd.h>

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "core/export.h"
#include "quorix_common_interface.h"
#include "quorix_platform.h"

namespace {

using namespace qrx::diag;

inline constexpr std::uint8_t kPathSerial = 0;
inline constexpr std::uint8_t kPathLog = 1;
inline constexpr std::uint8_t kPathBoth = 2;

// Plain globals without a lock: a thread racing a reload may see a partly
// filled module area for one call, which only drops or passes one message.
struct DebugCache {
    std::uint8_t loaded;
    std::uint8_t threshold;  // 0..3, 0xFF without a LEVEL_ file: nothing passes
    char modules[kModuleAreaSize];
    std::uint8_t path;  // 0..2, 0xFF without a PATH_ file: nowhere to write
};
DebugCache g_cache;

void loadCache() {
    g_cache.threshold = static_cast<std::uint8_t>(GetDebugEanleLevel());
    std::memset(g_cache.modules, 0, sizeof g_cache.modules);
    LoadDebugSource(g_cache.modules);
    g_cache.path = static_cast<std::uint8_t>(GetDebugEanlePath());
    g_cache.loaded = 1;
}

// The marker is never removed here: whoever created it removes it.
void refreshCache() {
    if (g_cache.loaded == 0 || access(kReloadMarker, F_OK) == 0) loadCache();
}

// Only the first 15 characters of the caller's name count. "" matches an
// unused slot, so it passes while fewer than 16 modules are enabled.
bool moduleEnabled(const char *module) {
    for (std::size_t i = 0; i < kModuleSlots; ++i) {
        if (std::strncmp(module, g_cache.modules + i * kModuleSlotSize, kModuleNameMax) == 0) return true;
    }
    return false;
}

// Kept out of line so the suppressed path never sets up the buffers.
__attribute__((noinline)) int emit(unsigned level, const char *format, va_list args) {
    char timeText[32];
    std::time_t now = std::time(nullptr);
    std::tm local{};
    // tzset() first: unlike localtime(), localtime_r() does not notice a
    // time zone changed on the running BMC.
    tzset();
    localtime_r(&now, &local);
    std::strftime(timeText, sizeof timeText, "%Y-%m-%dT%H:%M:%S", &local);

    char message[1024] = {};
    std::vsnprintf(message, sizeof message, format, args);

    const std::uint8_t path = g_cache.path;
    int result = 0;
    if (path == kPathSerial || path == kPathBoth) {
        result = std::printf("[%s]:<%s>%s\n", DebugLevelDesc[level], timeText, message);
    }
    if (path == kPathLog || path == kPathBoth) {
        result = BaseDebugOut(kLocal5Facility | kSyslogPriority[level], message);
    }
    return result;
}

}  // namespace

extern "C" QRX_EXPORT int QuorixDebug(unsigned int level, const char *module, const char *format, ...) {
    if (module == nullptr || format == nullptr || level > kLevelCritical) return 0;
    refreshCache();
    if (g_cache.threshold > level) return 0;
    if (!moduleEnabled(module)) return 0;

    va_list args;
    va_start(args, format);
    int result = emit(level, format, args);
    va_end(args);
    return result;
}
