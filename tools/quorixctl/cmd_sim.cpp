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

bool parseRange(const Args &args, std::size_t blockSize, long &offset, long &length) {
    if (!parseInt(args[0], offset) || !parseInt(args[1], length) || offset < 0 || length <= 0) return false;
    return static_cast<unsigned long>(offset) <= blockSize &&
           static_cast<unsigned long>(length) <= blockSize - static_cast<unsigned long>(offset);
}

int runDump(const Args &args) {
    if (args.size() != 2) return usageError("sim dump OFFSET LENGTH");
    SimControl sim;
    if (!loadSim(sim)) return kExitUnbound;
    long offset, length;
    if (!parseRange(args, sim.blockSize(), offset, length)) return usageError("range outside the shared block");
    hexDump(static_cast<std::size_t>(offset), static_cast<const std::uint8_t *>(intf_quorix_mem) + offset,
            static_cast<std::size_t>(length));
    return kExitOk;
}

int poke(std::size_t blockSize, long offset, const std::vector<std::uint8_t> &bytes) {
    if (offset < 0 || static_cast<unsigned long>(offset) > blockSize || bytes.size() > blockSize - offset) {
        std::fprintf(stderr, "quorixctl: range outside the shared block\n");
        return kExitFailed;
    }
    std::memcpy(static_cast<std::uint8_t *>(intf_quorix_mem) + offset, bytes.data(), bytes.size());
    return kExitOk;
}

int runPoke(const Args &args) {
    if (args.size() != 2) return usageError("sim poke OFFSET HEXBYTES");
    long offset;
    std::vector<std::uint8_t> bytes;
    if (!parseInt(args[0], offset) || !parseHexBytes(args[1], bytes)) return usageError("sim poke OFFSET HEXBYTES");
    SimControl sim;
    if (!loadSim(sim)) return kExitUnbound;
    int rc = poke(sim.blockSize(), offset, bytes);
    if (rc == kExitOk) std::printf("wrote %zu bytes at 0x%lx\n", bytes.size(), offset);
    return rc;
}

int runReset(const Args &) {
    SimControl sim;
    if (!loadSim(sim)) return kExitUnbound;
    if (sim.reset() != 0) return kExitFailed;
    std::puts("simulation reset: block zeroed, slot results and counters cleared");
    return kExitOk;
}

int runCalls(const Args &args) {
    long slot;
    if (args.size() != 1 || !parseInt(args[0], slot) || slot < 0 || slot > 236) return usageError("sim calls SLOT");
    SimControl sim;
    if (!loadSim(sim)) return kExitUnbound;
    std::printf("slot %ld: %u calls\n", slot, sim.callCount(static_cast<int>(slot)));
    return kExitOk;
}

int runResult(const Args &args) {
    long slot, value;
    if (args.size() != 2 || !parseInt(args[0], slot) || !parseInt(args[1], value) || slot < 0 || slot > 236)
        return usageError("sim result SLOT VALUE");
    SimControl sim;
    if (!loadSim(sim)) return kExitUnbound;
    return sim.setResult(static_cast<int>(slot), static_cast<int>(value)) == 0 ? kExitOk : kExitFailed;
}

int runFault(const Args &args) {
    static const char *kFaults[] = {"none", "fail", "short"};
    long slot;
    if (args.size() != 2 || !parseInt(args[0], slot) || slot < 0 || slot > 236) return usageError("sim fault SLOT none|fail|short");
    int fault = -1;
    for (int i = 0; i < 3; ++i)
        if (args[1] == kFaults[i]) fault = i;
    if (fault < 0) return usageError("sim fault SLOT none|fail|short");
    SimControl sim;
    if (!loadSim(sim)) return kExitUnbound;
    return sim.setFault(static_cast<int>(slot), fault) == 0 ? kExitOk : kExitFailed;
}

using JsonPtr = std::unique_ptr<json_object, decltype(&json_object_put)>;

// Fixture: {"block": [{"offset": N, "hex": "..."}], "slot_results": {"N": value},
//           "devices": {...} (see fixture_devices.cpp)}
int runLoad(const Args &args) {
    if (args.size() != 1) return usageError("sim load FIXTURE.json");
    JsonPtr root(json_object_from_file(args[0].c_str()), json_object_put);
    if (!root || json_object_get_type(root.get()) != json_type_object) {
        std::fprintf(stderr, "quorixctl: %s is not a JSON object: %s\n", args[0].c_str(), json_util_get_last_err());
        return kExitFailed;
    }
    SimControl sim;
    if (!loadSim(sim)) return kExitUnbound;
    int regions = 0, results = 0;
    json_object *block = nullptr;
    if (json_object_object_get_ex(root.get(), "block", &block)) {
        if (json_object_get_type(block) != json_type_array) return usageError("\"block\" must be an array");
        for (std::size_t i = 0; i < json_object_array_length(block); ++i) {
            json_object *entry = json_object_array_get_idx(block, i), *off = nullptr, *hex = nullptr;
            std::vector<std::uint8_t> bytes;
            if (!json_object_object_get_ex(entry, "offset", &off) || !json_object_object_get_ex(entry, "hex", &hex) ||
                !parseHexBytes(json_object_get_string(hex), bytes)) {
                std::fprintf(stderr, "quorixctl: block entry %zu needs \"offset\" and \"hex\"\n", i);
                return kExitFailed;
            }
            if (poke(sim.blockSize(), json_object_get_int(off), bytes) != kExitOk) return kExitFailed;
            ++regions;
        }
    }
    json_object *slotResults = nullptr;
    if (json_object_object_get_ex(root.get(), "slot_results", &slotResults)) {
        json_object_object_foreach(slotResults, key, value) {
            long slot;
            if (!parseInt(key, slot) || sim.setResult(static_cast<int>(slot), json_object_get_int(value)) != 0) {
                std::fprintf(stderr, "quorixctl: bad slot \"%s\"\n", key);
                return kExitFailed;
            }
            ++results;
        }
    }
    json_object *devices = nullptr;
    int deviceRecords = 0;
    if (json_object_object_get_ex(root.get(), "devices", &devices) && loadDeviceFixture(devices, deviceRecords) != 0)
        return kExitFailed;
    std::printf("loaded %s: %d block regions, %d slot results, %d device records\n", args[0].c_str(), regions, results,
                deviceRecords);
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
