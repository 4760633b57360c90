// quorixctl fan set / fan show: edit and report the fan-control curves.
#include <string>

#include "command.h"
#include "quorix_common_interface.h"

namespace ctl {
namespace {

int runSet(const Args &args) {
    if (args.size() != 1) return usageError("fan set COMMAND (e.g. liner2_temper1val45, bjpid1_kp1.5, pwmraise20)");
    if (!bind()) return kExitUnbound;
    std::string command = args[0];
    return set_fan_param(command.data()) < 0 ? kExitFailed : kExitOk;
}

int runShow(const Args &args) {
    if (!args.empty()) return usageError("fan show takes no arguments");
    if (!bind()) return kExitUnbound;
    return show_fan_param() == 0 ? kExitOk : kExitFailed;
}

}  // namespace

std::vector<Command> fanCurveCommands() {
    return {
        {"fan", "set", "COMMAND", "apply one curve command (enableN, linerN_..., bjpidN_..., pwmraiseN)", runSet},
        {"fan", "show", "", "report the PWM outputs and every curve in use", runShow},
    };
}

}  // namespace ctl
