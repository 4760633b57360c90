// A plain forwarder against calling the same slot straight through the table:
// the forwarder is meant to add nothing but its own jump.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>

#include "quorix_common_interface.h"

namespace {

__attribute__((noinline)) int eepromRead(int offset, unsigned char *buffer, int length) {
    benchmark::DoNotOptimize(buffer);
    return offset + length;
}

void bindWithTrivialSlot() {
    if (quorix_interface_init() != 0) {
        std::fprintf(stderr, "benchmarks must run in the sandbox (scripts/sandbox)\n");
        std::exit(1);
    }
    intf_handle[13] = reinterpret_cast<void *>(&eepromRead);
}

using EepromRead = int (*)(int, unsigned char *, int);

void BM_Forwarder_Plain(benchmark::State &state) {
    bindWithTrivialSlot();
    unsigned char buffer[16];
    int offset = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(QuorixReadMainBoardEEprom(offset, buffer, 16));
        benchmark::ClobberMemory();  // the table is read at every call, as in a daemon
    }
}
BENCHMARK(BM_Forwarder_Plain);

void BM_Forwarder_DirectSlotCall(benchmark::State &state) {
    bindWithTrivialSlot();
    unsigned char buffer[16];
    int offset = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(reinterpret_cast<EepromRead>(intf_handle[13])(offset, buffer, 16));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_Forwarder_DirectSlotCall);

}  // namespace
