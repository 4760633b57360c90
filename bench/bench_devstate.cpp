// Readers of the shared block that every daemon polls (supplies, CPUs,
// disks, fans), and the monitor's disk-sensor scan over a full front table.
#include <benchmark/benchmark.h>

#include "bench_support.h"
#include "fixtures.h"

namespace {

using qbench::fillFrontDisks;
using qbench::fillSupplies;

void BM_ReadQuorixPSUInfo(benchmark::State &state) {
    qbench::bindOrExit();
    fillSupplies();
    unsigned char info[126];
    int index = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(ReadQuorixPSUInfo(index, info));
        benchmark::ClobberMemory();
        index = (index + 1) & 7;
    }
}
BENCHMARK(BM_ReadQuorixPSUInfo);

void BM_ReadQuorixPSUPower(benchmark::State &state) {
    qbench::bindOrExit();
    fillSupplies();
    for (auto _ : state) benchmark::DoNotOptimize(ReadQuorixPSUPower());
}
BENCHMARK(BM_ReadQuorixPSUPower);

void BM_QuorixGetHDDSN(benchmark::State &state) {
    qbench::bindOrExit();
    fillFrontDisks();
    unsigned char serial[24];
    int disk = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(QuorixGetHDDSN(disk, serial));
        benchmark::ClobberMemory();
        disk = disk == 77 ? 0 : disk + 1;
    }
}
BENCHMARK(BM_QuorixGetHDDSN);

// The hottest NVMe drive of the whole front table: 288 records visited.
void BM_GetMaxFrontHDDNVMETemp_288(benchmark::State &state) {
    qbench::bindOrExit();
    fillFrontDisks();
    for (auto _ : state) benchmark::DoNotOptimize(GetMaxFrontHDDNVMETemp(0, qrx::disk::kFrontDisks - 1));
    state.SetItemsProcessed(state.iterations() * qrx::disk::kFrontDisks);
}
BENCHMARK(BM_GetMaxFrontHDDNVMETemp_288);

void BM_QuorixGetCpuPresentStatus(benchmark::State &state) {
    qbench::bindOrExit();
    qrx::sharedBlock().setU8(qrx::board::kCpuCountOffset, 2);
    int index = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(QuorixGetCpuPresentStatus(index));
        index = (index + 1) & 3;
    }
}
BENCHMARK(BM_QuorixGetCpuPresentStatus);

// One steady monitor scan: 288 present disks, nothing changes, no event sent.
void BM_QuorixSetHDDSensor_288Disks(benchmark::State &state) {
    qbench::bindOrExit();
    if (!qbench::scanFrontDisksIn()) {
        state.SkipWithError("front table not set up for 288 disks");
        return;
    }
    for (auto _ : state) benchmark::DoNotOptimize(QuorixSetHDDSensor(1));
    state.SetItemsProcessed(state.iterations() * qrx::disk::kFrontDisks);
}
BENCHMARK(BM_QuorixSetHDDSensor_288Disks);

}  // namespace
