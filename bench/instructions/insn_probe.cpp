// Runs one scenario COUNT times between two getppid() calls, so that an
// instruction trace of the process (qemu user mode: every executed
// instruction, and the system calls) can be cut down to exactly those calls.
// The same source builds for the host and the board, so both count the same
// work.
//
//   insn_probe --list
//   insn_probe SCENARIO COUNT
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "../config_requests.h"
#include "../fixtures.h"
#include "quorix_common_interface.h"

namespace {

int g_sequence = 0;
unsigned char g_buffer[256];

__attribute__((noinline)) int trivialEepromRead(int offset, unsigned char *buffer, int length) {
    __asm__ volatile("" : : "r"(buffer) : "memory");
    return offset + length;
}

using EepromRead = int (*)(int, unsigned char *, int);

bool forwarderSetup() {
    intf_handle[13] = reinterpret_cast<void *>(&trivialEepromRead);
    return true;
}

// Sends a configuration request twice so that the measured calls find the value held.
template <unsigned (*Handler)(const unsigned char *, int), qbench::Request (*Make)()>
struct Unchanged {
    static const qbench::Request &request() {
        static const qbench::Request r = Make();
        return r;
    }
    static bool setup() {
        const int n = static_cast<int>(request().size());
        return Handler(request().data(), n) == 0 && Handler(request().data(), n) == 0;
    }
    static void call() { Handler(request().data(), static_cast<int>(request().size())); }
};

using UnchangedSyslog = Unchanged<QuorixSetSyslogConfigInterface, qbench::syslogDestination>;
using UnchangedTrap = Unchanged<QuorixSetBMCSnmpTrapCfgInterface, qbench::snmpTrapDestination>;
using UnchangedSmtp = Unchanged<QuorixSetBMCSmtpCfgInterface, qbench::smtpServer>;

struct Scenario {
    const char *name;
    bool (*setup)();
    void (*call)();
};

bool none() {
    return true;
}

bool suppliesFilled() {
    qbench::fillSupplies();
    return true;
}

bool frontDisksFilled() {
    qbench::fillFrontDisks();
    return true;
}

const Scenario kScenarios[] = {
    {"forwarder", forwarderSetup, [] { QuorixReadMainBoardEEprom(g_sequence++, g_buffer, 16); }},
    {"direct_slot_call", forwarderSetup,
     [] { reinterpret_cast<EepromRead>(intf_handle[13])(g_sequence++, g_buffer, 16); }},
    {"debug_filtered", qbench::prepareDebugCriticalOnly,
     [] { QuorixDebug(0, "QRXMONITOR", "fan %d at %d rpm", g_sequence++, 4200); }},
    {"psu_info", suppliesFilled, [] { ReadQuorixPSUInfo(g_sequence++ & 7, g_buffer); }},
    {"hdd_serial", frontDisksFilled, [] { QuorixGetHDDSN(g_sequence++ % 78, g_buffer); }},
    {"max_nvme_temp_288", frontDisksFilled, [] { GetMaxFrontHDDNVMETemp(0, qrx::disk::kFrontDisks - 1); }},
    {"hdd_sensor_288", qbench::scanFrontDisksIn, [] { QuorixSetHDDSensor(1); }},
    {"history_sample", qbench::prepareHistoryRecorder, [] { historyDataRecord(); }},
    {"unchanged_syslog", UnchangedSyslog::setup, UnchangedSyslog::call},
    {"unchanged_snmp_trap", UnchangedTrap::setup, UnchangedTrap::call},
    {"unchanged_smtp", UnchangedSmtp::setup, UnchangedSmtp::call},
    {"sdr_convert", none, [] { SdrConvertSensorReading(g_sequence++ & 0xFF, 2, -5, 0xE1); }},
};

}  // namespace

int main(int argc, char **argv) {
    if (argc == 2 && std::strcmp(argv[1], "--list") == 0) {
        for (const Scenario &s : kScenarios) std::puts(s.name);
        return 0;
    }
    if (argc != 3) {
        std::fprintf(stderr, "usage: insn_probe --list | SCENARIO COUNT\n");
        return 2;
    }
    const Scenario *scenario = nullptr;
    for (const Scenario &s : kScenarios)
        if (std::strcmp(s.name, argv[1]) == 0) scenario = &s;
    const int count = std::atoi(argv[2]);
    if (scenario == nullptr || count <= 0) {
        std::fprintf(stderr, "insn_probe: unknown scenario or bad count\n");
        return 2;
    }
    if (quorix_interface_init() != 0 || !scenario->setup()) {
        std::fprintf(stderr, "insn_probe: %s: set-up failed (run inside scripts/sandbox)\n", scenario->name);
        return 1;
    }
    scenario->call();  // first call: lazy symbol binding and cold caches stay outside
    getppid();
    for (int i = 0; i < count; ++i) scenario->call();
    getppid();
    return 0;
}
