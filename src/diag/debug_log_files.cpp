// Queries of the control files in /conf/quorix_debug/. Every file is an
// existence marker; contents are never read.
#include <dirent.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <memory>

#include "core/export.h"
#include "core/unique.h"
#include "diag/debug_log.h"
#include "quorix_common_interface.h"

namespace {

using qrx::diag::kDebugDir;

bool controlFileExists(const char *name) {
    char path[64];
    std::snprintf(path, sizeof path, "%s%s", kDebugDir, name);
    return access(path, F_OK) == 0;
}

// Index of the first file of the list that exists, -1 when none does: the
// testing order decides when several are present.
template <std::size_t N>
int firstPresent(const char *const (&names)[N]) {
    for (std::size_t i = 0; i < N; ++i) {
        if (controlFileExists(names[i])) return static_cast<int>(i);
    }
    return -1;
}

constexpr const char *kLevelFiles[] = {"LEVEL_INFO", "LEVEL_WARNING", "LEVEL_ERROR", "LEVEL_CRITICAL"};
constexpr const char *kPathFiles[] = {"PATH_SERIAL", "PATH_LOG", "PATH_BOTH"};

}  // namespace

namespace qrx::diag {

int levelFromFiles() {
    return firstPresent(kLevelFiles);
}

int pathFromFiles() {
    return firstPresent(kPathFiles);
}

int loadModuleNames(char *slots) {
    qrx::UniqueDir dir(opendir(kDebugDir));
    if (!dir) return 0;
    std::size_t filled = 0;
    while (filled < kModuleSlots) {
        const dirent *entry = readdir(dir.get());
        if (entry == nullptr) break;
        if (std::strncmp(entry->d_name, kEnablePrefix, kEnablePrefixLength) != 0) continue;
        // The slot's last byte is never written, so the name stays terminated.
        char *slot = slots + filled * kModuleSlotSize;
        std::size_t length = strnlen(entry->d_name + kEnablePrefixLength, kModuleNameMax);
        std::memcpy(slot, entry->d_name + kEnablePrefixLength, length);
        std::memset(slot + length, 0, kModuleNameMax - length);
        ++filled;
    }
    return 0;
}

}  // namespace qrx::diag

extern "C" {

QRX_EXPORT int GetDebugEanleLevel(void) {
    return qrx::diag::levelFromFiles();
}

QRX_EXPORT int GetDebugEanlePath(void) {
    return qrx::diag::pathFromFiles();
}

QRX_EXPORT int LoadDebugSource(char *slots) {
    return qrx::diag::loadModuleNames(slots);
}

QRX_EXPORT int GetDebugSourceIsEnable(const char *module) {
    if (module == nullptr) return -1;
    char path[64];
    std::snprintf(path, sizeof path, "%s%s%s", kDebugDir, qrx::diag::kEnablePrefix, module);
    return access(path, F_OK) == 0 ? 1 : 0;
}

// Membership of the known-module list only; whether the switch is on is
// GetDebugSourceIsEnable's question.
QRX_EXPORT int GetSourceIsVaild(const char *module) {
    if (module == nullptr) return -1;
    char name[32];
    std::snprintf(name, sizeof name, "%s%s", qrx::diag::kEnablePrefix, module);
    for (const char *known : DebugSourceFile) {
        if (std::strcmp(name, known) == 0) return 1;
    }
    return 0;
}

}  // extern "C"
