// quorixctl: command table and shared helpers.
#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

struct json_object;

namespace ctl {

// Exit codes, the same meaning in every group.
inline constexpr int kExitOk = 0;
inline constexpr int kExitFailed = 1;  // the library refused or reported failure
inline constexpr int kExitUsage = 2;   // bad command line; nothing was done
inline constexpr int kExitUnbound = 3; // environment: library not bound, file missing or unreadable

using Args = std::vector<std::string>;

struct Command {
    const char *group;    // first word
    const char *name;     // second word, or "" for a group-level command
    const char *synopsis; // arguments, for --help
    const char *summary;  // one line
    int (*run)(const Args &args);
    const char *details = nullptr;  // further paragraphs of the command's --help
};

// A bad command line: main prints the message and the command's usage, exit 2.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};
// The environment lacks something (a file, the library): main prints it, exit 3.
struct EnvError : std::runtime_error {
    using std::runtime_error::runtime_error;
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

// Throws UsageError naming the first unknown key of a fixture's "devices" object.
void checkDeviceFixture(json_object *devices);
// Fills the device regions from a fixture's "devices" object; 0, or -1 with a message.
int loadDeviceFixture(json_object *devices, int &loaded);
// Prints "quorixctl: message" and returns kExitUsage (main adds the usage).
int usageError(const std::string &message);
// Throws UsageError unless args holds min..max words.
void expectArgs(const Args &args, std::size_t min, std::size_t max);

// The one number parser: decimal or 0x hex, an optional minus sign, no
// octal, no overflow. Throws UsageError naming `what` and the range.
long long number(const std::string &text, const std::string &what, long long min, long long max);
bool parseHexBytes(const std::string &text, std::vector<std::uint8_t> &bytes);
void hexDump(std::size_t offset, const std::uint8_t *bytes, std::size_t length);

// Options of a command, parsed with getopt_long in the order given.
struct Option {
    const char *name;  // without the dashes
    bool takesValue;
};
struct Parsed {
    std::vector<std::pair<std::string, std::string>> options;  // in command-line order
    Args positional;
    bool has(const std::string &name) const;
    std::string value(const std::string &name, const std::string &fallback = "") const;
};
Parsed parseOptions(const Args &args, const std::vector<Option> &options);

// Sleeps ms milliseconds; a signal cuts it short (so that a run can notice an interrupt).
void sleepMs(long long ms);
// The name of an IPMI completion code ("invalid data field").
const char *completionCodeName(unsigned cc);
// A file argument that can be read; throws EnvError saying why it cannot.
std::string readableFile(const std::string &path);
using JsonPtr = std::unique_ptr<json_object, int (*)(json_object *)>;
// A JSON object from a file argument; a syntax error throws UsageError in words, with line and column.
JsonPtr readJson(const std::string &path);

}  // namespace ctl
