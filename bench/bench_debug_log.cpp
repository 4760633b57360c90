// The debug log's suppressed path: a message below the threshold must cost
// the reload marker's existence test and one comparison, nothing more. The
// bare access(2) and a masked-out syslog(3) run beside it for reference.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include "quorix_common_interface.h"

namespace {

constexpr const char *kReloadMarker = "/var/quorix_debug_reload";

void touch(const char *path) {
    int fd = open(path, O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    if (fd >= 0) close(fd);
}

// Threshold Critical, module enabled, console path: only the level filters.
// The marker is created for one call so an earlier cache is replaced.
bool prepareCriticalOnly() {
    mkdir("/conf/quorix_debug", 0755);
    unlink("/conf/quorix_debug/LEVEL_INFO");
    touch("/conf/quorix_debug/LEVEL_CRITICAL");
    touch("/conf/quorix_debug/PATH_SERIAL");
    touch("/conf/quorix_debug/ENABLE_QRXMONITOR");
    touch(kReloadMarker);
    QuorixDebug(0, "QRXMONITOR", "load");
    unlink(kReloadMarker);
    return GetDebugEanleLevel() == 3 && access(kReloadMarker, F_OK) != 0;
}

void BM_QuorixDebug_FilteredByLevel(benchmark::State &state) {
    if (!prepareCriticalOnly()) {
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
    if (!prepareCriticalOnly()) {
        state.SkipWithError("cannot prepare /conf/quorix_debug");
        return;
    }
    touch(kReloadMarker);
    for (auto _ : state) benchmark::DoNotOptimize(QuorixDebug(0, "QRXMONITOR", "fan %d", 1));
    unlink(kReloadMarker);
}
BENCHMARK(BM_QuorixDebug_FilteredWhileReloading);

}  // namespace
