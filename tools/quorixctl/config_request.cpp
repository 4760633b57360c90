// quorixctl: request building shared by the snmp-trap, snmp-agent and smtp groups.
#include "config_request.h"

#include <strings.h>

#include <cstdio>
#include <cstring>

namespace ctl::cfgreq {

const char *completionCodeName(unsigned cc) {
    switch (cc) {
        case 0x00:
            return "success";
        case 0xC7:
            return "request data length invalid";
        case 0xC9:
            return "parameter out of range";
        case 0xCC:
            return "invalid data field";
        case 0xD5:
            return "not allowed in the present state";
        case 0xFF:
            return "unspecified error (file not written)";
        default:
            return "unknown";
    }
}

int send(const Sender &sender, const Bytes &request) {
    std::printf("request:");
    for (std::uint8_t b : request) std::printf(" %02x", b);
    std::printf("\n");
    unsigned cc = sender(request);
    std::printf("completion code 0x%02X (%s)\n", cc, completionCodeName(cc));
    return cc == 0 ? kExitOk : kExitFailed;
}

bool encode(const Flag &flag, const std::string &value, Bytes &data) {
    long long n = 0;
    switch (flag.kind) {
        case Kind::Text:
            data.insert(data.end(), value.begin(), value.end());
            return true;
        case Kind::OnOff:
            if (value != "on" && value != "off") return false;
            data.push_back(value == "on" ? 1 : 0);
            return true;
        case Kind::Word:
            for (int i = 0; i < flag.wordCount; ++i)
                if (flag.words[i] != nullptr && strcasecmp(flag.words[i], value.c_str()) == 0) {
                    data.push_back(static_cast<std::uint8_t>(i));
                    return true;
                }
            [[fallthrough]];
        case Kind::Byte:
            if (!parseInt(value, n) || n < 0 || n > 255) return false;
            data.push_back(static_cast<std::uint8_t>(n));
            return true;
        case Kind::PortLe16:
            if (!parseInt(value, n) || n < 0 || n > 0xFFFF) return false;
            data.push_back(static_cast<std::uint8_t>(n));
            data.push_back(static_cast<std::uint8_t>(n >> 8));
            return true;
        case Kind::PortBe32:
            // Sent as given (up to 32 bits) so the handler's range check is what answers.
            if (!parseInt(value, n) || n < 0 || n > 0xFFFFFFFFLL) return false;
            for (int shift : {24, 16, 8, 0}) data.push_back(static_cast<std::uint8_t>(n >> shift));
            return true;
    }
    return false;
}

int runFlags(const Args &args, std::size_t first, const std::vector<Flag> &flags, const Bytes &prefix,
             const Sender &sender) {
    std::vector<Bytes> requests;
    for (std::size_t i = first; i < args.size(); i += 2) {
        const Flag *flag = nullptr;
        for (const Flag &f : flags)
            if (args[i] == f.name) flag = &f;
        if (flag == nullptr) return usageError("unknown flag " + args[i]);
        if (i + 1 >= args.size()) return usageError(args[i] + " needs a value");
        Bytes request = prefix;
        request.push_back(flag->param);
        if (!encode(*flag, args[i + 1], request)) return usageError("bad value for " + args[i] + ": " + args[i + 1]);
        requests.push_back(request);
    }
    if (requests.empty()) return usageError("nothing to set");
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
    if (hex.empty() || !parseHexBytes(hex, bytes)) return usageError("raw HEXBYTES (e.g. 00 01 02 or 000102)");
    if (!bind()) return kExitUnbound;
    return send(sender, bytes);
}

std::string field(const unsigned char *bytes, std::size_t size) {
    return std::string(reinterpret_cast<const char *>(bytes), strnlen(reinterpret_cast<const char *>(bytes), size));
}

std::string secret(const std::string &clear, bool reveal) {
    if (clear.empty()) return "-";
    return reveal ? clear : "********";
}

}  // namespace ctl::cfgreq
