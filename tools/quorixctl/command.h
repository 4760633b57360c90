// quorixctl: command table and shared helpers.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace ctl {

// Exit codes scripts can rely on.
inline constexpr int kExitOk = 0;
inline constexpr int kExitFailed = 1;  // the operation ran and reported failure
inline constexpr int kExitUsage = 2;   // bad command line
inline constexpr int kExitUnbound = 3; // the feature library could not be bound

using Args = std::vector<std::string>;

struct Command {
    const char *group;    // first word
    const char *name;     // second word, or "" for a group-level command
    const char *synopsis; // arguments, for --help
    const char *summary;  // one line
    int (*run)(const Args &args);
};

// Every group registers its commands here (see each cmd_*.cpp).
const std::vector<Command> &commands();
std::vector<Command> bindCommands();
std::vector<Command> debugCommands();
std::vector<Command> simCommands();

// Binds the library; prints the reason and returns false when it cannot.
bool bind();
int usageError(const std::string &message);

bool parseInt(const std::string &text, long &value);
bool parseHexBytes(const std::string &text, std::vector<std::uint8_t> &bytes);
void hexDump(std::size_t offset, const std::uint8_t *bytes, std::size_t length);

}  // namespace ctl
