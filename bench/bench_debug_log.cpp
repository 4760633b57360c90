// The debug log's suppressed path: a message below the threshold must cost
// the reload marker's existence test and one comparison, nothing more. The
// bare access(2) and a masked-out syslog(3) run beside it for reference.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include "fixtures.h"
#include "quorix_common_interface.h"

namespace {

using qbench::kReloadMarker;
using qbench::touch;

void BM_QuorixDebug_FilteredByLevel(benchmark::State &state) {
    if (!qbench::prepareDebugCriticalOnly()) {
        state.SkipWithError("cannot prepare /conf/quorix_debug");
        return;
    }
    int sequence = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(QuorixDebug(0, "QRXMONITOR", "fan %d at %d rpm", sequence, 4200));
        ++sequence;
    }
}
BENCHMARK(BM_QuorixDebug_FilteredByLevel);

void BM_AccessReloadMarker(benchmark::State &state) {
    unlink(kReloadMarker);
    for (auto _ : state) benchmark::DoNotOptimize(access(kReloadMarker, F_OK));
}
BENCHMARK(BM_AccessReloadMarker);

void BM_SyslogMaskedOut(benchmark::State &state) {
    int previous = setlogmask(LOG_MASK(LOG_EMERG));
    int sequence = 0;
    for (auto _ : state) {
        syslog(LOG_LOCAL5 | LOG_INFO, "fan %d at %d rpm", sequence, 4200);
        ++sequence;
    }
    setlogmask(previous);
}
BENCHMARK(BM_SyslogMaskedOut);

// For scale only: while the marker exists every call re-reads the directory.
void BM_QuorixDebug_FilteredWhileReloading(benchmark::State &state) {
    if (!qbench::prepareDebugCriticalOnly()) {
        state.SkipWithError("cannot prepare /conf/quorix_debug");
        return;
    }
    touch(kReloadMarker);
    for (auto _ : state) benchmark::DoNotOptimize(QuorixDebug(0, "QRXMONITOR", "fan %d", 1));
    unlink(kReloadMarker);
}
BENCHMARK(BM_QuorixDebug_FilteredWhileReloading);

}  // namespace
