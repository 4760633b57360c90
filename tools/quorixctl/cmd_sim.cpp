// quorixctl sim: look into and steer the simulated BMC.
#include <dlfcn.h>

#include <cstdio>
#include <cstring>
#include <memory>

#include <json-c/json.h>

#include "command.h"
#include "quorix_common_interface.h"
#include "quorix_sim.h"

namespace ctl {
namespace {

constexpr const char *kFeatureLibrary = "/usr/local/lib/libquorix_common_feature.so";

// The simulator's control functions, from the library the interface bound.
struct SimControl {
    decltype(&quorix_sim_reset) reset = nullptr;
    decltype(&quorix_sim_call_count) callCount = nullptr;
    decltype(&quorix_sim_set_result) setResult = nullptr;
    decltype(&quorix_sim_set_fault) setFault = nullptr;
    decltype(&quorix_sim_block_size) blockSize = nullptr;
};

bool loadSim(SimControl &sim) {
    if (!bind()) return false;
    void *lib = dlopen(kFeatureLibrary, RTLD_NOW);
    if (lib == nullptr) {
        std::fprintf(stderr, "quorixctl: %s\n", dlerror());
        return false;
    }
    sim.reset = reinterpret_cast<decltype(sim.reset)>(dlsym(lib, "quorix_sim_reset"));
    sim.callCount = reinterpret_cast<decltype(sim.callCount)>(dlsym(lib, "quorix_sim_call_count"));
    sim.setResult = reinterpret_cast<decltype(sim.setResult)>(dlsym(lib, "quorix_sim_set_result"));
    sim.setFault = reinterpret_cast<decltype(sim.setFault)>(dlsym(lib, "quorix_sim_set_fault"));
    sim.blockSize = reinterpret_cast<decltype(sim.blockSize)>(dlsym(lib, "quorix_sim_block_size"));
    if (!sim.reset || !sim.callCount || !sim.setResult || !sim.setFault || !sim.blockSize) {
        std::fprintf(stderr, "quorixctl: the bound feature library is not the simulator\n");
        return false;
    }
    return true;
}

// The simulator's block size; the ranges are checked against it before anything is touched.
constexpr long long kBlockSize = 0x640000;
constexpr int kSlots = 237;

int runDump(const Args &args) {
    expectArgs(args, 2, 2);
    const long long offset = number(args[0], "offset", 0, kBlockSize - 1);
    const long long length = number(args[1], "length", 1, kBlockSize - offset);
    SimControl sim;
    if (!loadSim(sim)) return kExitUnbound;
    hexDump(static_cast<std::size_t>(offset), static_cast<const std::uint8_t *>(intf_quorix_mem) + offset,
            static_cast<std::size_t>(length));
    return kExitOk;
}

std::vector<std::uint8_t> hexBytes(const std::string &text, long long offset) {
    std::vector<std::uint8_t> bytes;
    if (!parseHexBytes(text, bytes)) throw UsageError("'" + text + "' is not hex bytes");
    if (static_cast<long long>(bytes.size()) > kBlockSize - offset)
        throw UsageError(std::to_string(bytes.size()) + " bytes at " + std::to_string(offset) +
                         " pass the end of the shared block (" + std::to_string(kBlockSize) + " bytes)");
    return bytes;
}

void poke(long long offset, const std::vector<std::uint8_t> &bytes) {
    std::memcpy(static_cast<std::uint8_t *>(intf_quorix_mem) + offset, bytes.data(), bytes.size());
}

int runPoke(const Args &args) {
    expectArgs(args, 2, 2);
    const long long offset = number(args[0], "offset", 0, kBlockSize - 1);
    const std::vector<std::uint8_t> bytes = hexBytes(args[1], offset);
    SimControl sim;
    if (!loadSim(sim)) return kExitUnbound;
    poke(offset, bytes);
    std::printf("wrote %zu bytes at 0x%llx\n", bytes.size(), offset);
    return kExitOk;
}

int runReset(const Args &args) {
    expectArgs(args, 0, 0);
    SimControl sim;
    if (!loadSim(sim)) return kExitUnbound;
    if (sim.reset() != 0) return kExitFailed;
    std::puts("simulation reset: block zeroed, slot results and counters cleared");
    return kExitOk;
}

int runCalls(const Args &args) {
    expectArgs(args, 1, 1);
    const long long slot = number(args[0], "slot", 0, kSlots - 1);
    SimControl sim;
    if (!loadSim(sim)) return kExitUnbound;
    std::printf("slot %lld: %u calls\n", slot, sim.callCount(static_cast<int>(slot)));
    return kExitOk;
}

int runResult(const Args &args) {
    expectArgs(args, 2, 2);
    const long long slot = number(args[0], "slot", 0, kSlots - 1);
    const long long value = number(args[1], "result", INT32_MIN, INT32_MAX);
    SimControl sim;
    if (!loadSim(sim)) return kExitUnbound;
    return sim.setResult(static_cast<int>(slot), static_cast<int>(value)) == 0 ? kExitOk : kExitFailed;
}

int runFault(const Args &args) {
    static const char *kFaults[] = {"none", "fail", "short"};
    expectArgs(args, 2, 2);
    const long long slot = number(args[0], "slot", 0, kSlots - 1);
    int fault = -1;
    for (int i = 0; i < 3; ++i)
        if (args[1] == kFaults[i]) fault = i;
    if (fault < 0) throw UsageError("fault '" + args[1] + "' is not none, fail or short");
    SimControl sim;
    if (!loadSim(sim)) return kExitUnbound;
    return sim.setFault(static_cast<int>(slot), fault) == 0 ? kExitOk : kExitFailed;
}

// Fixture: {"block": [{"offset": N, "hex": "..."}], "slot_results": {"N": value},
//           "devices": {...} (see fixture_devices.cpp)}
// Everything is checked before the block is touched.
int runLoad(const Args &args) {
    expectArgs(args, 1, 1);
    JsonPtr root = readJson(args[0]);
    std::vector<std::pair<long long, std::vector<std::uint8_t>>> regions;
    std::vector<std::pair<int, int>> results;
    json_object *devices = nullptr;
    json_object_object_foreach(root.get(), key, value) {
        const std::string name = key;
        if (name == "block") {
            if (json_object_get_type(value) != json_type_array) throw UsageError("\"block\" must be an array");
            for (std::size_t i = 0; i < json_object_array_length(value); ++i) {
                json_object *entry = json_object_array_get_idx(value, i), *off = nullptr, *hex = nullptr;
                if (!json_object_object_get_ex(entry, "offset", &off) || !json_object_object_get_ex(entry, "hex", &hex))
                    throw UsageError("block entry " + std::to_string(i) + " needs \"offset\" and \"hex\"");
                const long long offset = number(json_object_get_string(off), "block offset", 0, kBlockSize - 1);
                regions.emplace_back(offset, hexBytes(json_object_get_string(hex), offset));
            }
        } else if (name == "slot_results") {
            if (json_object_get_type(value) != json_type_object) throw UsageError("\"slot_results\" must be an object");
            json_object_object_foreach(value, slot, result) {
                results.emplace_back(static_cast<int>(number(slot, "slot", 0, kSlots - 1)),
                                     static_cast<int>(number(json_object_get_string(result), "slot result", INT32_MIN,
                                                             INT32_MAX)));
            }
        } else if (name == "devices") {
            checkDeviceFixture(value);
            devices = value;
        } else if (name != "rack_disks") {  // rack_disks: the records of "disk rack"
            throw UsageError("unknown key \"" + name + "\" in " + args[0] + " (known: block, slot_results, devices, rack_disks)");
        }
    }
    SimControl sim;
    if (!loadSim(sim)) return kExitUnbound;
    for (const auto &region : regions) poke(region.first, region.second);
    for (const auto &result : results) sim.setResult(result.first, result.second);
    int deviceRecords = 0;
    if (devices != nullptr && loadDeviceFixture(devices, deviceRecords) != 0) return kExitUsage;  // a bad value
    std::printf("loaded %s: %zu block regions, %zu slot results, %d device records\n", args[0].c_str(), regions.size(),
                results.size(), deviceRecords);
    return kExitOk;
}

}  // namespace

std::vector<Command> simCommands() {
    return {
        {"sim", "dump", "OFFSET LENGTH", "hex dump of a range of the shared block", runDump},
        {"sim", "poke", "OFFSET HEXBYTES", "write bytes into the shared block", runPoke},
        {"sim", "load", "FIXTURE.json", "load a device-state fixture", runLoad},
        {"sim", "reset", "", "zero the block and the simulation state", runReset},
        {"sim", "calls", "SLOT", "how often a slot was called since the reset", runCalls},
        {"sim", "result", "SLOT VALUE", "make a slot return VALUE", runResult},
        {"sim", "fault", "SLOT none|fail|short", "make a device slot fail or transfer short", runFault},
    };
}

}  // namespace ctl
