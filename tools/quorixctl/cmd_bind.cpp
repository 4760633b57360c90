// quorixctl bind: bind to the feature library and report what was published.
#include <cstdio>

#include "command.h"
#include "quorix_common_interface.h"

namespace ctl {
namespace {

int runBind(const Args &args) {
    expectArgs(args, 0, 0);
    int result = quorix_interface_init();
    std::printf("quorix_interface_init: %d\n", result);
    std::printf("shared block:   %p\n", quorix_get_intf_mem());
    std::printf("handle table:   %p\n", static_cast<void *>(quorix_get_intf_handle()));
    if (result != 0) return kExitUnbound;
    int populated = 0;
    for (int slot = 0; slot < 237; ++slot)
        if (intf_handle[slot] != nullptr) ++populated;
    std::printf("slots in use:   %d of 237\n", populated);
    return kExitOk;
}

}  // namespace

std::vector<Command> bindCommands() {
    return {{"bind", "", "", "bind to the feature library and report block and table", runBind}};
}

}  // namespace ctl
