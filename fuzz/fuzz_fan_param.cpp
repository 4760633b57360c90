// Fan-curve console command. Any curve id may be named, so a command may
// write anywhere in the block, but never outside it; a command without a
// keyword writes nothing, and "pwmraise" writes only the raise byte.
#include <cstring>

#include "fan/fan_curve_layout.h"
#include "fuzz_support.h"
#include "quorix_common_interface.h"

namespace fc = qrx::fancurve;

namespace {

bool has(const char *text, const char *word) {
    return std::strstr(text, word) != nullptr;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    qfuzz::bindOnce();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    qfuzz::Bytes command = qfuzz::textOf(data, size);
    char *text = reinterpret_cast<char *>(command.data());
    const bool curveCommand = has(text, "disable") || has(text, "enable") || has(text, "liner") || has(text, "bjpid");
    if (curveCommand) {
        set_fan_param(text);
        return 0;
    }
    qfuzz::BlockWatch watch(has(text, "pwmraise") ? std::vector<qfuzz::Region>{{fc::kMissingFanRaiseOffset, 1}}
                                                  : std::vector<qfuzz::Region>{});
    watch.arm();
    set_fan_param(text);
    watch.disarm("set_fan_param");
    return 0;
}
