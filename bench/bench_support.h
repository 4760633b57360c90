// Binding shared by the benchmarks: they run in the sandbox against the
// simulated BMC, with a fresh block per run.
#pragma once

#include <cstdio>
#include <cstdlib>

#include "quorix_common_interface.h"

namespace qbench {

inline void bindOrExit() {
    if (quorix_interface_init() != 0) {
        std::fprintf(stderr, "benchmarks must run in the sandbox (scripts/sandbox)\n");
        std::exit(1);
    }
}

}  // namespace qbench
