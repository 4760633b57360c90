// quorixctl: request building shared by the snmp-trap, snmp-agent and smtp groups.
#include "config_request.h"

#include <strings.h>

#include <cctype>
#include <cstdio>
#include <cstring>

namespace ctl::cfgreq {

int send(const Sender &sender, const Bytes &request) {
    std::printf("request:");
    for (std::uint8_t b : request) std::printf(" %02x", b);
    std::printf("\n");
    unsigned cc = sender(request);
    std::printf("completion code 0x%02X (%s)\n", cc, completionCodeName(cc));
    return cc == 0 ? kExitOk : kExitFailed;
}

void encode(const Flag &flag, const std::string &value, Bytes &data) {
    const std::string what = flag.name;
    switch (flag.kind) {
        case Kind::Text:
            data.insert(data.end(), value.begin(), value.end());
            return;
        case Kind::OnOff:
            if (value != "on" && value != "off") throw UsageError(what + " '" + value + "' is not on or off");
            data.push_back(value == "on" ? 1 : 0);
            return;
        case Kind::Word: {
            std::string list;
            for (int i = 0; i < flag.wordCount; ++i) {
                if (flag.words[i] != nullptr && strcasecmp(flag.words[i], value.c_str()) == 0) {
                    data.push_back(static_cast<std::uint8_t>(i));
                    return;
                }
                list += std::string(i ? ", " : "") + (flag.words[i] ? flag.words[i] : "?");
            }
            if (value.empty() || !std::isdigit(static_cast<unsigned char>(value[0])))
                throw UsageError(what + " '" + value + "' is not one of " + list + " (or 0.." +
                                 std::to_string(flag.wordCount - 1) + ")");
            data.push_back(static_cast<std::uint8_t>(number(value, what, 0, flag.wordCount - 1)));
            return;
        }
        case Kind::Byte:
            data.push_back(static_cast<std::uint8_t>(number(value, what, 0, 255)));
            return;
        case Kind::PortLe16: {
            const long long n = number(value, what, 0, 0xFFFF);
            data.push_back(static_cast<std::uint8_t>(n));
            data.push_back(static_cast<std::uint8_t>(n >> 8));
            return;
        }
        case Kind::PortBe32: {
            const long long n = number(value, what, 0, 0xFFFF);
            for (int shift : {24, 16, 8, 0}) data.push_back(static_cast<std::uint8_t>(n >> shift));
            return;
        }
    }
}

int runFlags(const Args &args, std::size_t first, const std::vector<Flag> &flags, const Bytes &prefix,
             const Sender &sender) {
    std::vector<Option> options;
    for (const Flag &f : flags) options.push_back({f.name + 2, true});
    const Parsed parsed = parseOptions(Args(args.begin() + static_cast<long>(first), args.end()), options);
    if (!parsed.positional.empty()) throw UsageError("unexpected argument '" + parsed.positional[0] + "'");
    std::vector<Bytes> requests;
    for (const auto &option : parsed.options) {
        const Flag *flag = nullptr;
        for (const Flag &f : flags)
            if (option.first == f.name + 2) flag = &f;
        Bytes request = prefix;
        request.push_back(flag->param);
        encode(*flag, option.second, request);
        requests.push_back(request);
    }
    if (requests.empty()) throw UsageError("nothing to set");
    if (!bind()) return kExitUnbound;
    int result = kExitOk;
    for (const Bytes &r : requests)
        if (send(sender, r) != kExitOk) result = kExitFailed;
    return result;
}

int runRaw(const Args &args, const Sender &sender) {
    Bytes bytes;
    std::string hex;
    for (const std::string &a : args) hex += a;
    if (hex.empty() || !parseHexBytes(hex, bytes)) throw UsageError("expects hex bytes, e.g. 00 01 02 or 000102");
    if (!bind()) return kExitUnbound;
    return send(sender, bytes);
}

bool secretsFlag(const Args &args) {
    const Parsed parsed = parseOptions(args, {{"secrets", false}});
    expectArgs(parsed.positional, 0, 0);
    return parsed.has("secrets");
}

std::uint8_t entryIndex(const std::string &text) {
    return static_cast<std::uint8_t>(number(text, "index", 0, 3));
}

std::string field(const unsigned char *bytes, std::size_t size) {
    return std::string(reinterpret_cast<const char *>(bytes), strnlen(reinterpret_cast<const char *>(bytes), size));
}

std::string secret(const std::string &clear, bool reveal) {
    if (clear.empty()) return "-";
    return reveal ? clear : "********";
}

}  // namespace ctl::cfgreq
