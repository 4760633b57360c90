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

constexpr std::size_t kWidth = 80;

// Prints text filled to 80 columns: the first line after `first`, the
// others indented by `indent` blanks. Words are never split.
void wrapped(const std::string &first, std::size_t indent, const std::string &text, FILE *out = stdout) {
    std::string line = first;
    bool empty = first.find_first_not_of(' ') == std::string::npos;  // nothing but the indent yet
    std::size_t at = 0;
    while (at < text.size()) {
        // A bracketed option ("[--level W]") is kept on one line.
        std::size_t end = at;
        int depth = 0;
        for (; end < text.size() && (text[end] != ' ' || depth > 0); ++end)
            depth += text[end] == '[' ? 1 : text[end] == ']' ? -1 : 0;
        const std::string word = text.substr(at, end - at);
        at = end + 1;
        if (word.empty()) continue;
        if (!empty && line.size() + 1 + word.size() > kWidth) {
            std::fprintf(out, "%s\n", line.c_str());
            line = std::string(indent, ' ');
            empty = true;
        }
        line += (empty ? "" : " ") + word;
        empty = false;
    }
    std::fprintf(out, "%s\n", line.c_str());
}

std::string words(const ctl::Command &c) {
    return std::string(c.group) + (*c.name ? " " : "") + c.name + (*c.synopsis ? " " : "") + c.synopsis;
}

// The command's words, and its summary filled from column 34 (on the next
// line when the words reach that column).
void listCommand(const ctl::Command &c) {
    constexpr std::size_t kColumn = 34;
    const std::string w = words(c);
    if (2 + w.size() < kColumn - 1) {
        wrapped("  " + w + std::string(kColumn - 2 - w.size() - 1, ' '), kColumn, c.summary);
        return;
    }
    wrapped("  ", 6, w);
    wrapped(std::string(kColumn, ' '), kColumn, c.summary);
}

void printExitCodes() {
    wrapped("", 0,
            "exit status: 0 success; 1 the library refused or failed (its completion code or result named); "
            "2 usage error, nothing done; 3 environment (library not bound, file missing or unreadable).");
}

void printHelp(const char *onlyGroup) {
    std::puts("usage: quorixctl GROUP COMMAND [ARGS...]");
    std::puts("       quorixctl --help | --version | GROUP --help | GROUP COMMAND --help");
    std::string lastGroup;
    for (const ctl::Command &c : ctl::commands()) {
        if (onlyGroup != nullptr && std::strcmp(onlyGroup, c.group) != 0) continue;
        if (lastGroup != c.group) {
            std::printf("\n%s:\n", c.group);
            lastGroup = c.group;
        }
        listCommand(c);
    }
    std::puts("");
    wrapped("", 0, "Numbers are decimal or 0x hex. Every command takes --help.");
    printExitCodes();
}

void printUsage(const ctl::Command &c, FILE *out) {
    std::fflush(stdout);
    // A command's synopsis is filled like text, continued under its first word.
    wrapped("usage: quorixctl", 6, words(c), out);
    if (out == stderr) return;
    std::puts("");
    wrapped("", 0, c.summary);
    if (c.details != nullptr) {
        // Paragraphs are separated by "\n".
        const std::string details = c.details;
        for (std::size_t at = 0; at <= details.size();) {
            std::size_t end = details.find('\n', at);
            if (end == std::string::npos) end = details.size();
            std::puts("");
            wrapped("", 0, details.substr(at, end - at));
            at = end + 1;
        }
    }
}

int runCommand(const ctl::Command &c, const ctl::Args &args) {
    for (const std::string &a : args) {
        if (a == "--") break;
        if (a == "--help" || a == "-h") {
            printUsage(c, stdout);
            return ctl::kExitOk;
        }
    }
    int rc;
    try {
        rc = c.run(args);
    } catch (const ctl::UsageError &e) {
        std::fflush(stdout);
        const std::string command = std::string(c.group) + (*c.name ? " " : "") + c.name;
        std::fprintf(stderr, "quorixctl: %s: %s\n", command.c_str(), e.what());
        rc = ctl::kExitUsage;
    } catch (const ctl::EnvError &e) {
        std::fflush(stdout);
        std::fprintf(stderr, "quorixctl: %s\n", e.what());
        return ctl::kExitUnbound;
    }
    if (rc == ctl::kExitUsage) printUsage(c, stderr);
    return rc;
}

}  // namespace

int main(int argc, char **argv) {
    if (argc < 2) {
        printHelp(nullptr);
        return ctl::kExitUsage;
    }
    if (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0) {
        printHelp(nullptr);
        return ctl::kExitOk;
    }
    if (std::strcmp(argv[1], "--version") == 0) {
        std::printf("quorixctl %s\n", QUORIXCTL_VERSION);
        return ctl::kExitOk;
    }
    const std::string group = argv[1];
    const std::string name = argc > 2 ? argv[2] : "";
    bool groupKnown = false;
    for (const ctl::Command &c : ctl::commands()) {
        if (group != c.group) continue;
        groupKnown = true;
        // A group-level command takes every following word as an argument.
        if (*c.name == '\0') return runCommand(c, ctl::Args(argv + 2, argv + argc));
        if (name == c.name) return runCommand(c, ctl::Args(argv + 3, argv + argc));
    }
    if (groupKnown && (name == "--help" || name == "-h")) {
        printHelp(argv[1]);
        return ctl::kExitOk;
    }
    if (groupKnown) {
        std::fprintf(stderr, "quorixctl: unknown %s command '%s'; %s commands:", group.c_str(), name.c_str(),
                     group.c_str());
        for (const ctl::Command &c : ctl::commands())
            if (group == c.group) std::fprintf(stderr, " %s", c.name);
        std::fprintf(stderr, "\n");
    } else {
        std::fprintf(stderr, "quorixctl: unknown group '%s' (quorixctl --help lists them)\n", group.c_str());
    }
    return ctl::kExitUsage;
}
