// Configuration set requests that carry the value already held: the handler
// checks, compares with the block and answers 0 without writing anything.
#include <benchmark/benchmark.h>

#include "bench_support.h"
#include "config_requests.h"

namespace {

using qbench::Request;

template <typename Handler>
void runUnchanged(benchmark::State &state, Handler handler, const Request &request) {
    qbench::bindOrExit();
    const int length = static_cast<int>(request.size());
    // The first request stores the value (and writes the file); the rest find it held.
    if (handler(request.data(), length) != 0 || handler(request.data(), length) != 0) {
        state.SkipWithError("the request was refused");
        return;
    }
    for (auto _ : state) benchmark::DoNotOptimize(handler(request.data(), length));
}

void BM_Unchanged_SyslogDestination(benchmark::State &state) {
    runUnchanged(state, QuorixSetSyslogConfigInterface, qbench::syslogDestination());
}
BENCHMARK(BM_Unchanged_SyslogDestination);

void BM_Unchanged_SnmpTrapDestination(benchmark::State &state) {
    runUnchanged(state, QuorixSetBMCSnmpTrapCfgInterface, qbench::snmpTrapDestination());
}
BENCHMARK(BM_Unchanged_SnmpTrapDestination);

void BM_Unchanged_SmtpServer(benchmark::State &state) {
    runUnchanged(state, QuorixSetBMCSmtpCfgInterface, qbench::smtpServer());
}
BENCHMARK(BM_Unchanged_SmtpServer);

}  // namespace
