// quorixctl: the console tool of the simulated BMC. Always run it through
// the sandbox (scripts/quorixctl), where the library sees its real paths.
#include <cstdio>
#include <cstring>
#include <string>

#include "command.h"

namespace ctl {

const std::vector<Command> &commands() {
    static const std::vector<Command> all = [] {
        std::vector<Command> list;
        for (auto group : {bindCommands, debugCommands, simCommands, devstateCommands, fanCurveCommands,
                           historyCommands, sdrCommands, passwordRuleCommands, tfcardCommands, powerCommands,
                           syslogCommands, ipcCommands, updateCommands, snmpCommands, smtpCommands}) {
            auto part = group();
            list.insert(list.end(), part.begin(), part.end());
        }
        return list;
    }();
    return all;
}

}  // namespace ctl

namespace {

void printHelp(const char *onlyGroup) {
    std::puts("usage: quorixctl GROUP COMMAND [ARGS...]");
    std::puts("       quorixctl --help | GROUP --help\n");
    std::string lastGroup;
    for (const ctl::Command &c : ctl::commands()) {
        if (onlyGroup != nullptr && std::strcmp(onlyGroup, c.group) != 0) continue;
        if (lastGroup != c.group) {
            std::printf("%s%s:\n", lastGroup.empty() ? "" : "\n", c.group);
            lastGroup = c.group;
        }
        std::string words = std::string(c.group) + (*c.name ? " " : "") + c.name + (*c.synopsis ? " " : "") + c.synopsis;
        std::printf("  %-44s %s\n", words.c_str(), c.summary);
    }
    std::puts("\nexit status: 0 ok, 1 operation failed, 2 usage error, 3 library not bound");
}

}  // namespace

int main(int argc, char **argv) {
    if (argc < 2 || std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0) {
        printHelp(nullptr);
        return argc < 2 ? ctl::kExitUsage : ctl::kExitOk;
    }
    const std::string group = argv[1];
    const std::string name = argc > 2 ? argv[2] : "";
    if (name == "--help" || name == "-h") {
        printHelp(argv[1]);
        return ctl::kExitOk;
    }
    bool groupKnown = false;
    for (const ctl::Command &c : ctl::commands()) {
        if (group != c.group) continue;
        groupKnown = true;
        // A group-level command takes every following word as an argument.
        if (*c.name == '\0') return c.run(ctl::Args(argv + 2, argv + argc));
        if (name == c.name) return c.run(ctl::Args(argv + 3, argv + argc));
    }
    if (groupKnown) {
        std::fprintf(stderr, "quorixctl: unknown %s command '%s'\n", group.c_str(), name.c_str());
        printHelp(argv[1]);
    } else {
        std::fprintf(stderr, "quorixctl: unknown group '%s' (try --help)\n", group.c_str());
    }
    return ctl::kExitUsage;
}
