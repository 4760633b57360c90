// Binding to the platform feature library.
#include <dlfcn.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

// The maps of the block this binding publishes and of the EEPROM are checked
// (no overlaps, inside the part) when this unit compiles.
#include "core/block_map.h"
#include "core/eeprom_map.h"
#include "core/export.h"
#include "core/unique.h"
#include "quorix_common_interface.h"

namespace {

constexpr const char *kFeatureLibraryDir = "/usr/local/lib", *kFeatureLibraryName = "libquorix_common_feature.so";
constexpr const char *kBlockGetterSymbol = "oem_get_shared_mem", *kHandleTableSymbol = "quorix_handle";

int g_initDone = 0;

using BlockGetter = void *(*)();

}  // namespace

extern "C" {

QRX_EXPORT void *intf_quorix_mem = nullptr;
QRX_EXPORT void **intf_handle = nullptr;

QRX_EXPORT int quorix_interface_init(void) {
    if (g_initDone == 1) return 0;

    char path[128] = {};
    std::snprintf(path, sizeof path, "%s/%s", kFeatureLibraryDir, kFeatureLibraryName);

    // Our reference is dropped on every path, success included: the block and
    // table stay in use after that (deliberate; keeping the feature library
    // mapped is the daemon's affair).
    qrx::UniqueLibrary library(dlopen(path, RTLD_NOW));
    if (!library) {
        int err = errno;
        const char *errText = std::strerror(err);
        std::printf("open quorix lib fail error:%d;%s;dlerror:%s\n", err, errText, dlerror());
        return -1;
    }

    auto getBlock = reinterpret_cast<BlockGetter>(dlsym(library.get(), kBlockGetterSymbol));
    if (getBlock == nullptr) {
        std::puts("get quorix mem fail");
        return -1;
    }

    // Stored before the test: a NULL block leaves intf_quorix_mem NULL.
    intf_quorix_mem = getBlock();
    if (intf_quorix_mem == nullptr) {
        std::puts("g_quorix_handle is NULL");
        return -1;
    }

    intf_handle = static_cast<void **>(dlsym(library.get(), kHandleTableSymbol));
    if (intf_handle == nullptr) {
        std::puts("quorix_handle is NULL");
        return -1;
    }

    g_initDone = 1;
    return 0;
}

QRX_EXPORT void *quorix_get_intf_mem(void) { return intf_quorix_mem; }

QRX_EXPORT void **quorix_get_intf_handle(void) { return intf_handle; }

}  // extern "C"
