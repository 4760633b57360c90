// Debug-flag console command: it writes the ten flag bytes only, and only
// when the text names one of them.
#include <cstdio>
#include <cstring>

#include "fuzz_support.h"
#include "quorix_common_interface.h"

namespace {

constexpr std::size_t kDebugFlagsOffset = 0x621F7C;
constexpr std::size_t kDebugFlagCount = 10;

bool namesAFlag(const char *text) {
    for (std::size_t n = 0; n < kDebugFlagCount; ++n) {
        char key[8];
        std::snprintf(key, sizeof key, "debug%zu_", n);
        if (std::strstr(text, key) != nullptr) return true;
    }
    return false;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    qfuzz::bindOnce();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    qfuzz::Bytes command = qfuzz::textOf(data, size);
    char *text = reinterpret_cast<char *>(command.data());
    const qfuzz::Bytes copy = command;
    qfuzz::BlockWatch watch({{kDebugFlagsOffset, kDebugFlagCount}});
    watch.arm();
    char *result = SetDebugInformation(text);
    const bool changed = watch.disarm("SetDebugInformation");
    if (result != text) qfuzz::fail("SetDebugInformation did not return its text");
    if (command != copy) qfuzz::fail("SetDebugInformation changed its text");
    if (changed && !namesAFlag(text)) qfuzz::fail("SetDebugInformation changed a flag the text does not name");
    return 0;
}
