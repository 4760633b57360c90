// quorixctl: building and sending the IPMI-style configuration requests of
// the SNMP trap, SNMP agent and SMTP groups.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "command.h"

namespace ctl::cfgreq {

using Bytes = std::vector<std::uint8_t>;
using Sender = std::function<unsigned(const Bytes &)>;

// Prints the request and its completion code by name; kExitOk for 0.
int send(const Sender &sender, const Bytes &request);

// How a flag's value becomes request data.
enum class Kind { Byte, Text, Word, PortLe16, PortBe32, OnOff };
struct Flag {
    const char *name;    // "--community"
    std::uint8_t param;  // parameter number
    Kind kind;
    const char *const *words;  // Kind::Word: table, index = value
    int wordCount;
};

// Appends the data bytes of value for flag; throws UsageError naming the valid values.
void encode(const Flag &flag, const std::string &value, Bytes &data);
// Runs the --flag value options (getopt_long, in the order given) as one request each: prefix + param + data.
int runFlags(const Args &args, std::size_t first, const std::vector<Flag> &flags, const Bytes &prefix,
             const Sender &sender);
// "raw HEX": the bytes as given, unchecked, so that the handler's own checks answer.
int runRaw(const Args &args, const Sender &sender);
// Whether a show command was given --secrets (its only option).
bool secretsFlag(const Args &args);
// A destination or recipient index, 0..3.
std::uint8_t entryIndex(const std::string &text);
// Text of a record field up to its first zero byte.
std::string field(const unsigned char *bytes, std::size_t size);
// A secret as shown: masked unless reveal.
std::string secret(const std::string &clear, bool reveal);

}  // namespace ctl::cfgreq
