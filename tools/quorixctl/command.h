// quorixctl: command table and shared helpers.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct json_object;

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
std::vector<Command> devstateCommands();
std::vector<Command> fanCurveCommands();
std::vector<Command> historyCommands();
std::vector<Command> sdrCommands();
std::vector<Command> passwordRuleCommands();
std::vector<Command> tfcardCommands();
std::vector<Command> powerCommands();
std::vector<Command> syslogCommands();
std::vector<Command> ipcCommands();
std::vector<Command> updateCommands();
std::vector<Command> snmpCommands();
std::vector<Command> smtpCommands();

// Binds the library; prints the reason and returns false when it cannot.
bool bind();

// Fills the device regions from a fixture's "devices" object; 0, or -1 with a message.
int loadDeviceFixture(json_object *devices, int &loaded);
int usageError(const std::string &message);

bool parseInt(const std::string &text, long &value);
// For values that need the full 32-bit unsigned range (long is 32 bits on the board).
bool parseInt(const std::string &text, long long &value);
bool parseHexBytes(const std::string &text, std::vector<std::uint8_t> &bytes);
void hexDump(std::size_t offset, const std::uint8_t *bytes, std::size_t length);

}  // namespace ctl
