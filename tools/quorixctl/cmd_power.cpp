// quorixctl power: power-on policy marker, power-state poll, power peak and
// COM/SOL configuration.
#include <cstdio>

#include "command.h"
#include "core/shared_block.h"
#include "power/power_layout.h"
#include "quorix_common_interface.h"

namespace ctl {
namespace {

int runMarker(const Args &args) {
    if (args.size() > 1 || (args.size() == 1 && args[0] != "clear")) return usageError("power marker [clear]");
    if (!bind()) return kExitUnbound;
    if (!args.empty()) ClearPowerButtonPressFaileFlag();
    std::printf("power policy %s\n", IsPowerPolicyNeedRun() ? "runs" : "does not run (button pressed first)");
    return kExitOk;
}

int runPoll(const Args &args) {
    long sel[3] = {0, 0, 0};
    if (args.size() != 0 && args.size() != 3) return usageError("power poll [NODE SOURCE FLAGS]");
    for (std::size_t i = 0; i < args.size(); ++i)
        if (!parseInt(args[i], sel[i])) return usageError("power poll [NODE SOURCE FLAGS]");
    if (!bind()) return kExitUnbound;
    QuorixMonitorPowerStatus(static_cast<int>(sel[0]), static_cast<int>(sel[1]), static_cast<int>(sel[2]));
    unsigned char stored = 0;
    int rc = QuorixEEPROMReadPowerStatus(&stored);
    std::printf("power state %u\n", qrx::sharedBlock().u8(qrx::power::kCurrentPowerStateOffset));
    if (rc == 0) std::printf("last power state in EEPROM %u\n", stored);
    return rc == 0 ? kExitOk : kExitFailed;
}

int runPeakGet(const Args &args) {
    if (!args.empty()) return usageError("power peak-get");
    if (!bind()) return kExitUnbound;
    unsigned char res[3] = {};
    if (QuorixGetPowerPeakConfigInterface(nullptr, 0, res) != 3) {
        std::printf("completion code 0x%02X\n", res[0]);
        return kExitFailed;
    }
    std::printf("max delay %u s\n", static_cast<unsigned>(res[1] | (res[2] << 8)));
    return kExitOk;
}

int runPeakSet(const Args &args) {
    long seconds;
    if (args.size() != 1 || !parseInt(args[0], seconds) || seconds < 0 || seconds > 0xFFFF)
        return usageError("power peak-set SECONDS (0..600)");
    if (!bind()) return kExitUnbound;
    unsigned char req[2] = {static_cast<unsigned char>(seconds), static_cast<unsigned char>(seconds >> 8)};
    unsigned char res[1] = {};
    QuorixSetPowerPeakConfigInterface(req, 2, res);
    std::printf("completion code 0x%02X\n", res[0]);
    return res[0] == 0 ? kExitOk : kExitFailed;
}

template <int (*Get)(void), int (*Set)(unsigned char)>
int runCfg(const Args &args, const char *usage) {
    if (!bind()) return kExitUnbound;
    if (args.size() == 1 && args[0] == "get") {
        std::printf("%d\n", Get());
        return kExitOk;
    }
    long value;
    if (args.size() != 2 || args[0] != "set" || !parseInt(args[1], value) || value < 0 || value > 255)
        return usageError(usage);
    if (Set(static_cast<unsigned char>(value)) != 0) {
        std::printf("invalid value %ld\n", value);
        return kExitFailed;
    }
    return kExitOk;
}

int runCom(const Args &args) {
    return runCfg<QuorixGetComCfg, QuorixSetComCfg>(args, "power com get | set 0..2");
}
int runSol(const Args &args) {
    return runCfg<QuorixGetSolCfg, QuorixSetSolCfg>(args, "power sol get | set 0|2|3|4|16");
}

}  // namespace

std::vector<Command> powerCommands() {
    return {
        {"power", "marker", "[clear]", "whether the power-on policy runs (press marker), optionally clear it",
         runMarker},
        {"power", "poll", "[NODE SOURCE FLAGS]", "poll the power state once and show the stored state", runPoll},
        {"power", "peak-get", "", "print the staggered power-on maximum delay", runPeakGet},
        {"power", "peak-set", "SECONDS", "set the staggered power-on maximum delay (0..600)", runPeakSet},
        {"power", "com", "get | set VALUE", "COM configuration (0..2)", runCom},
        {"power", "sol", "get | set VALUE", "SOL configuration (0, 2, 3, 4, 16)", runSol},
    };
}

}  // namespace ctl
