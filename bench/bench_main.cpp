// Entry point of the benchmark executable; each bench_*.cpp registers its own.
#include <benchmark/benchmark.h>

BENCHMARK_MAIN();
