// The ten debug-flag bytes of the shared block (set from the console, read
// by the daemons).
#pragma once

#include <cstddef>

namespace qrx::diag {

inline constexpr std::size_t kDebugFlagsOffset = 6430588;
inline constexpr int kDebugFlagCount = 10;

}  // namespace qrx::diag
