// QuorixDebug: the leveled log call and its per-process cache of the control
// files. The control directory is read once per process, and again on every
// call while the reload marker exists, so a suppressed message costs one
// existence test and one comparison.
#include "diag/debug_log.h"
#include "diag/log_names.h"

#include <unistd.h>

#include <atomic>
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

inline constexpr std::uint8_t kPathSerial = 0, kPathLog = 1, kPathBoth = 2;

// Shared by the threads of the process without a lock. A reload reads the
// files aside and then stores the cache byte by byte as relaxed atomics
// (plain loads and stores on the board), so a thread racing it sees each byte
// old or new: unchanged files drop nothing, a change may drop or pass one
// message. `loaded` is published last, so a first load is seen whole.
struct DebugCache {
    std::atomic<std::uint8_t> loaded;
    std::atomic<std::uint8_t> threshold;  // 0..3, 0xFF without a LEVEL_ file: nothing passes
    std::atomic<char> modules[kModuleAreaSize];
    std::atomic<std::uint8_t> path;  // 0..2, 0xFF without a PATH_ file: nowhere to write
};
DebugCache g_cache;

void loadCache() {
    char modules[kModuleAreaSize] = {};
    g_cache.threshold.store(static_cast<std::uint8_t>(levelFromFiles()), std::memory_order_relaxed);
    loadModuleNames(modules);
    for (std::size_t i = 0; i < kModuleAreaSize; ++i) g_cache.modules[i].store(modules[i], std::memory_order_relaxed);
    g_cache.path.store(static_cast<std::uint8_t>(pathFromFiles()), std::memory_order_relaxed);
    g_cache.loaded.store(1, std::memory_order_release);
}

// The marker is never removed here: whoever created it removes it.
void refreshCache() {
    if (g_cache.loaded.load(std::memory_order_acquire) == 0 || access(kReloadMarker, F_OK) == 0) loadCache();
}

// Only the first 15 characters of the caller's name count (a bounded string
// compare). "" matches an unused slot, so it passes while fewer than 16
// modules are enabled.
bool slotMatches(const char *module, std::size_t slot) {
    const std::atomic<char> *name = g_cache.modules + slot * kModuleSlotSize;
    for (std::size_t i = 0; i < kModuleNameMax; ++i) {
        const char c = name[i].load(std::memory_order_relaxed);
        if (c != module[i]) return false;
        if (c == '\0') return true;
    }
    return true;
}

bool moduleEnabled(const char *module) {
    for (std::size_t i = 0; i < kModuleSlots; ++i) {
        if (slotMatches(module, i)) return true;
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

    char message[QUORIX_DEBUG_MESSAGE_MAX + 1] = {};
    std::vsnprintf(message, sizeof message, format, args);

    const std::uint8_t path = g_cache.path.load(std::memory_order_relaxed);
    int result = 0;
    if (path == kPathSerial || path == kPathBoth) {
        result = std::printf("[%s]:<%s>%s\n", DebugLevelDesc[level], timeText, message);
    }
    if (path == kPathLog || path == kPathBoth) {
        result = BaseDebugOut(kLocal5Facility | kSyslogPriority[level], message);
    }
    return result;
}


int vdebugLog(unsigned level, const char *module, const char *format, va_list args) {
    if (module == nullptr || format == nullptr || level > kLevelCritical) return 0;
    refreshCache();
    if (g_cache.threshold.load(std::memory_order_relaxed) > level) return 0;
    if (!moduleEnabled(module)) return 0;
    return emit(level, format, args);
}

}  // namespace

int qrx::debugLog(unsigned level, const char *module, const char *format, ...) {
    va_list args;
    va_start(args, format);
    int result = vdebugLog(level, module, format, args);
    va_end(args);
    return result;
}

extern "C" QRX_EXPORT int QuorixDebug(unsigned int level, const char *module, const char *format, ...) {
    va_list args;
    va_start(args, format);
    int result = vdebugLog(level, module, format, args);
    va_end(args);
    return result;
}
