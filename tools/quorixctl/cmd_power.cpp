// quorixctl power: power-on policy marker, power-state poll, power peak and
// COM/SOL configuration.
#include <cstdio>
#include <initializer_list>
#include <string>

#include "command.h"
#include "core/shared_block.h"
#include "power/power_layout.h"
#include "quorix_common_interface.h"

namespace ctl {
namespace {

int runMarker(const Args &args) {
    expectArgs(args, 0, 1);
    if (args.size() == 1 && args[0] != "clear") throw UsageError("'" + args[0] + "' is not clear");
    if (!bind()) return kExitUnbound;
    if (!args.empty()) ClearPowerButtonPressFaileFlag();
    std::printf("power policy %s\n", IsPowerPolicyNeedRun() ? "runs" : "does not run (button pressed first)");
    return kExitOk;
}

int runPoll(const Args &args) {
    long long sel[3] = {0, 0, 0};
    if (args.size() != 0 && args.size() != 3) throw UsageError("expects no arguments or NODE SOURCE FLAGS");
    static const char *kWhat[] = {"node", "source", "flags"};
    for (std::size_t i = 0; i < args.size(); ++i) sel[i] = number(args[i], kWhat[i], INT32_MIN, INT32_MAX);
    if (!bind()) return kExitUnbound;
    QuorixMonitorPowerStatus(static_cast<int>(sel[0]), static_cast<int>(sel[1]), static_cast<int>(sel[2]));
    unsigned char stored = 0;
    int rc = QuorixEEPROMReadPowerStatus(&stored);
    std::printf("power state %u\n", qrx::sharedBlock().u8(qrx::power::kCurrentPowerStateOffset));
    if (rc != 0) {
        std::fprintf(stderr, "quorixctl: the stored power state could not be read from the EEPROM (%d)\n", rc);
        return kExitFailed;
    }
    std::printf("last power state in EEPROM %u\n", stored);
    return kExitOk;
}

int runPeakGet(const Args &args) {
    expectArgs(args, 0, 0);
    if (!bind()) return kExitUnbound;
    unsigned char res[3] = {};
    if (QuorixGetPowerPeakConfigInterface(nullptr, 0, res) != 3) {
        std::printf("completion code 0x%02X (%s)\n", res[0], completionCodeName(res[0]));
        return kExitFailed;
    }
    std::printf("max delay %u s\n", static_cast<unsigned>(res[1] | (res[2] << 8)));
    return kExitOk;
}

int runPeakSet(const Args &args) {
    expectArgs(args, 1, 1);
    const long long seconds = number(args[0], "delay", 0, 600);
    if (!bind()) return kExitUnbound;
    unsigned char req[2] = {static_cast<unsigned char>(seconds), static_cast<unsigned char>(seconds >> 8)};
    unsigned char res[1] = {};
    QuorixSetPowerPeakConfigInterface(req, 2, res);
    std::printf("completion code 0x%02X (%s)\n", res[0], completionCodeName(res[0]));
    return res[0] == 0 ? kExitOk : kExitFailed;
}

template <int (*Get)(void), int (*Set)(unsigned char)>
int runCfg(const Args &args, std::initializer_list<int> allowed) {
    expectArgs(args, 1, 2);
    long long value = 0;
    if (args[0] == "set" && args.size() == 2) {
        std::string list;
        for (int a : allowed) list += (list.empty() ? "" : ", ") + std::to_string(a);
        value = number(args[1], "value", 0, 255);
        bool ok = false;
        for (int a : allowed) ok = ok || a == value;
        if (!ok) throw UsageError("value " + args[1] + " is not one of " + list);
    } else if (args[0] != "get" || args.size() != 1) {
        throw UsageError("expects get, or set VALUE");
    }
    if (!bind()) return kExitUnbound;
    if (args[0] == "get") {
        std::printf("%d\n", Get());
        return kExitOk;
    }
    if (Set(static_cast<unsigned char>(value)) != 0) {
        std::fprintf(stderr, "quorixctl: the library refused value %lld\n", value);
        return kExitFailed;
    }
    std::printf("%lld\n", value);
    return kExitOk;
}

int runCom(const Args &args) {
    return runCfg<QuorixGetComCfg, QuorixSetComCfg>(args, {0, 1, 2});
}
int runSol(const Args &args) {
    return runCfg<QuorixGetSolCfg, QuorixSetSolCfg>(args, {0, 2, 3, 4, 16});
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
