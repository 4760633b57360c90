// Arithmetic the monitor runs on every cycle: the SDR conversion (two pow
// calls), the extreme-dropping average over a reading window, and one append
// to a full history ring. On the board these run in software floating point,
// so their per-call cost is what the fan and power loops pay.
#include <benchmark/benchmark.h>

#include <vector>

#include "bench_support.h"
#include "fixtures.h"
#include "quorix_common_interface.h"

namespace {

void BM_SdrConvert(benchmark::State &state) {
    int raw = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(SdrConvertSensorReading(raw, 2, -5, 0xE1));
        raw = (raw + 1) & 0xFF;
    }
}
BENCHMARK(BM_SdrConvert);

void BM_AverageWindow(benchmark::State &state) {
    std::vector<float> window(static_cast<std::size_t>(state.range(0)));
    for (std::size_t i = 0; i < window.size(); ++i) window[i] = 30.0f + static_cast<float>(i % 7);
    float out = 0.0f;
    for (auto _ : state) benchmark::DoNotOptimize(GetAveValue(window.data(), static_cast<int>(window.size()), &out));
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_AverageWindow)->Arg(8)->Arg(64);

void BM_HistoryAppend(benchmark::State &state) {
    if (historyDataInit() != 0) {
        state.SkipWithError("no memory for the histories");
        return;
    }
    unsigned char record[QUORIX_HISTORY_RECORD_SIZE] = {0x34, 0x12};
    for (auto _ : state) AddHistoryData(dayHistoryLinkHead, record);
}
BENCHMARK(BM_HistoryAppend);

// One recorder sample as the monitor takes it every cycle: supplies, the
// class-3 reading and 40 devices sampled; within the hour only the newest
// record's time stamp is refreshed.
void BM_HistoryRecorderSample(benchmark::State &state) {
    qbench::bindOrExit();
    if (!qbench::prepareHistoryRecorder()) {
        state.SkipWithError("the recorder took no sample");
        return;
    }
    for (auto _ : state) benchmark::DoNotOptimize(historyDataRecord());
}
BENCHMARK(BM_HistoryRecorderSample);

}  // namespace
