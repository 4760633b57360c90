// The ten debug-flag bytes in the shared block: shown and set from the
// console. Their meaning belongs to the daemons that read them.
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "core/export.h"
#include "core/shared_block.h"
#include "diag/debug_flags_layout.h"
#include "quorix_common_interface.h"

namespace {

using qrx::diag::kDebugFlagCount;
using qrx::diag::kDebugFlagsOffset;

static_assert(qrx::insideSharedBlock(kDebugFlagsOffset, kDebugFlagCount));

constexpr const char *kSetPatterns[kDebugFlagCount] = {"debug0_%d", "debug1_%d", "debug2_%d", "debug3_%d", "debug4_%d",
                                                       "debug5_%d", "debug6_%d", "debug7_%d", "debug8_%d", "debug9_%d"};
// Each key is its pattern without the "%d".
inline constexpr std::size_t kKeyLength = 7;

}  // namespace

extern "C" {

QRX_EXPORT int ShowAllDebugInfo(void) {
    const qrx::ByteView flags = qrx::sharedBlock().at(kDebugFlagsOffset);
    int result = 0;
    for (int i = 0; i < kDebugFlagCount; ++i) {
        result = std::printf("====Debuginfo[%d] (debug%c):0x%x ====\n", i, 'a' + i, flags.u8(i));
    }
    return result;
}

// Every key is scanned from the start of the text, so only a key at the
// very start parses; a later key stores whatever value the last successful
// scan left. Deliberate: the console tool passes one setting per call.
QRX_EXPORT char *SetDebugInformation(char *text) {
    if (text == nullptr) return nullptr;
    std::printf("SetDebugInformation input string: %s\n", text);
    std::puts("example:quorix_monitor_app --set-debug-info debug0_10");

    const qrx::ByteView flags = qrx::sharedBlock().at(kDebugFlagsOffset);
    int value = 0;
    for (int n = 0; n < kDebugFlagCount; ++n) {
        char key[kKeyLength + 1] = {};
        std::memcpy(key, kSetPatterns[n], kKeyLength);
        if (std::strstr(text, key) == nullptr) continue;
        std::sscanf(text, kSetPatterns[n], &value);
        flags.setU8(n, static_cast<std::uint8_t>(value));
    }
    return text;
}

}  // extern "C"
