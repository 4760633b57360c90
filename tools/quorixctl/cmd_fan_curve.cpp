// quorixctl fan set / fan show: edit and report the fan-control curves.
#include <cstdio>
#include <string>

#include "command.h"
#include "quorix_common_interface.h"

namespace ctl {
namespace {

int runSet(const Args &args) {
    expectArgs(args, 1, 1);
    if (!bind()) return kExitUnbound;
    std::string command = args[0];
    if (set_fan_param(command.data()) < 0) {
        std::fprintf(stderr, "quorixctl: the library refused fan curve command '%s'\n", args[0].c_str());
        return kExitFailed;
    }
    return kExitOk;
}

int runShow(const Args &args) {
    expectArgs(args, 0, 0);
    if (!bind()) return kExitUnbound;
    if (const int rc = show_fan_param(); rc != 0) {
        std::fprintf(stderr, "quorixctl: the fan curve report failed (%d)\n", rc);
        return kExitFailed;
    }
    return kExitOk;
}

}  // namespace

std::vector<Command> fanCurveCommands() {
    return {
        {"fan", "set", "COMMAND", "apply one curve command (enableN, linerN_..., bjpidN_..., pwmraiseN)", runSet,
         "Examples: liner2_temper1val45, bjpid1_kp1.5, pwmraise20."},
        {"fan", "show", "", "report the PWM outputs and every curve in use", runShow},
    };
}

}  // namespace ctl
