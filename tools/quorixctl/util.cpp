#include <getopt.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <sstream>

#include <json-c/json.h>

#include "command.h"
#include "quorix_common_interface.h"

namespace ctl {

bool bind() {
    if (quorix_interface_init() == 0) return true;
    std::fprintf(stderr, "quorixctl: cannot bind the feature library /usr/local/lib/libquorix_common_feature.so%s\n",
                 std::getenv("QUORIX_SANDBOX") ? "" : " (run quorixctl through scripts/quorixctl, in the sandbox)");
    return false;
}

int usageError(const std::string &message) {
    std::fprintf(stderr, "quorixctl: %s\n", message.c_str());
    return kExitUsage;
}

void expectArgs(const Args &args, std::size_t min, std::size_t max) {
    if (args.size() >= min && args.size() <= max) return;
    if (max == 0) throw UsageError("expects no arguments");
    if (args.size() > max) throw UsageError("too many arguments");
    throw UsageError("missing arguments");
}

long long number(const std::string &text, const std::string &what, long long min, long long max) {
    const std::string range = " (" + std::to_string(min) + ".." + std::to_string(max) + ")";
    const char *p = text.c_str();
    bool negative = *p == '-';
    if (negative) ++p;
    int base = 10;
    if (p[0] == '0' && (p[1] == 'x' || p[1] == 'X')) {
        base = 16;
        p += 2;
    }
    unsigned long long value = 0;
    bool overflow = false;
    if (*p == '\0') throw UsageError(what + " '" + text + "' is not a number: decimal or 0x hex" + range);
    for (; *p != '\0'; ++p) {
        int digit = std::isdigit(static_cast<unsigned char>(*p))                   ? *p - '0'
                    : base == 16 && std::isxdigit(static_cast<unsigned char>(*p)) ? std::tolower(*p) - 'a' + 10
                                                                                    : -1;
        if (digit < 0) throw UsageError(what + " '" + text + "' is not a number: decimal or 0x hex" + range);
        if (value > (~0ULL - static_cast<unsigned>(digit)) / static_cast<unsigned>(base)) overflow = true;
        value = value * static_cast<unsigned>(base) + static_cast<unsigned>(digit);
    }
    const unsigned long long limit = negative ? 1ULL << 63 : (1ULL << 63) - 1;
    if (overflow || value > limit) throw UsageError(what + " " + text + " is out of range" + range);
    long long signedValue = negative ? static_cast<long long>(0 - value) : static_cast<long long>(value);
    if (signedValue < min || signedValue > max) throw UsageError(what + " " + text + " is out of range" + range);
    return signedValue;
}

bool parseHexBytes(const std::string &text, std::vector<std::uint8_t> &bytes) {
    std::string source = text;
    if (source.size() >= 2 && source[0] == '0' && (source[1] == 'x' || source[1] == 'X')) source.erase(0, 2);
    std::string digits;
    for (char c : source) {
        if (c == ' ' || c == ':' || c == ',') continue;
        if (!std::isxdigit(static_cast<unsigned char>(c))) return false;
        digits += c;
    }
    if (digits.empty() || digits.size() % 2 != 0) return false;
    for (std::size_t i = 0; i < digits.size(); i += 2)
        bytes.push_back(static_cast<std::uint8_t>(std::strtoul(digits.substr(i, 2).c_str(), nullptr, 16)));
    return true;
}

void hexDump(std::size_t offset, const std::uint8_t *bytes, std::size_t length) {
    for (std::size_t row = 0; row < length; row += 16) {
        std::printf("%08zx ", offset + row);
        for (std::size_t i = 0; i < 16; ++i) {
            if (row + i < length) std::printf(" %02x", bytes[row + i]);
            else std::printf("   ");
        }
        std::printf("  |");
        for (std::size_t i = 0; i < 16 && row + i < length; ++i)
            std::putchar(std::isprint(bytes[row + i]) ? bytes[row + i] : '.');
        std::puts("|");
    }
}

bool Parsed::has(const std::string &name) const {
    for (const auto &o : options)
        if (o.first == name) return true;
    return false;
}

std::string Parsed::value(const std::string &name, const std::string &fallback) const {
    std::string found = fallback;
    for (const auto &o : options)
        if (o.first == name) found = o.second;  // the last one given counts
    return found;
}

Parsed parseOptions(const Args &args, const std::vector<Option> &options) {
    std::vector<option> table;
    for (const Option &o : options) table.push_back({o.name, o.takesValue ? required_argument : no_argument, nullptr, 0});
    table.push_back({nullptr, 0, nullptr, 0});
    // getopt_long would take a negative number for a short option; such
    // words are positional here, so they are hidden from it.
    static const std::string kNegative = "\x01";
    std::vector<std::string> words = {"quorixctl"};
    for (const std::string &a : args)
        words.push_back(a.size() > 1 && a[0] == '-' && std::isdigit(static_cast<unsigned char>(a[1])) ? kNegative + a : a);
    std::vector<char *> argv;
    for (std::string &w : words) argv.push_back(w.data());
    argv.push_back(nullptr);
    Parsed parsed;
    opterr = 0;
    optind = 0;
    int index = -1, c;
    // "-": words that are not options come back in place, as code 1.
    while ((c = getopt_long(static_cast<int>(argv.size() - 1), argv.data(), "-:", table.data(), &index)) != -1) {
        const std::string word = argv[static_cast<std::size_t>(optind) - 1];
        if (c == 1) {
            std::string w = optarg;
            parsed.positional.push_back(w.rfind(kNegative, 0) == 0 ? w.substr(1) : w);
        } else if (c == ':') {
            throw UsageError(word + " needs a value");
        } else if (c == '?') {
            throw UsageError("unknown option " + word.substr(0, word.find('=')));
        } else {
            std::string value = optarg ? optarg : "";
            if (value.rfind(kNegative, 0) == 0) value.erase(0, 1);
            parsed.options.emplace_back(options[static_cast<std::size_t>(index)].name, value);
        }
        index = -1;
    }
    for (int i = optind; i + 1 < static_cast<int>(argv.size()); ++i) {
        std::string w = argv[static_cast<std::size_t>(i)];
        parsed.positional.push_back(w.rfind(kNegative, 0) == 0 ? w.substr(1) : w);
    }
    return parsed;
}

void sleepMs(long long ms) {
    timespec pause{static_cast<time_t>(ms / 1000), static_cast<long>(ms % 1000) * 1000000L};
    nanosleep(&pause, nullptr);
}

const char *completionCodeName(unsigned cc) {
    switch (cc) {
        case 0x00: return "success";
        case 0x83: return "EEPROM read or write failed";
        case 0xC7: return "request data length invalid";
        case 0xC9: return "parameter out of range";
        case 0xCC: return "invalid data field";
        case 0xD5: return "not allowed in the present state";
        case 0xFF: return "unspecified error (file not written)";
        default: return "unknown completion code";
    }
}

std::string readableFile(const std::string &path) {
    if (access(path.c_str(), R_OK) == 0) return path;
    const int error = errno;
    std::string message = path + ": " + (error == ENOENT ? "no such file" : std::strerror(error));
    if (error == ENOENT && std::getenv("QUORIX_SANDBOX") != nullptr)
        for (const char *hidden : {"/tmp/", "/var/", "/mnt/", "/run/", "/conf/"})
            if (path.rfind(hidden, 0) == 0)
                message += std::string(" (") + hidden + " of the host is not visible inside the sandbox; "
                           "scripts/quorixctl binds files named as arguments read-only)";
    throw EnvError(message);
}

JsonPtr readJson(const std::string &path) {
    std::ifstream in(readableFile(path), std::ios::binary);
    std::stringstream content;
    content << in.rdbuf();
    if (!in && !in.eof()) throw EnvError(path + ": cannot be read");
    const std::string text = content.str();
    std::unique_ptr<json_tokener, void (*)(json_tokener *)> tok(json_tokener_new(), json_tokener_free);
    JsonPtr root(json_tokener_parse_ex(tok.get(), text.c_str(), static_cast<int>(text.size())), json_object_put);
    const json_tokener_error error = json_tokener_get_error(tok.get());
    std::size_t end = json_tokener_get_parse_end(tok.get());
    std::string why;
    if (error == json_tokener_continue || (error == json_tokener_success && !root))
        why = "the file ends inside an object, array or string";
    else if (error != json_tokener_success)
        why = json_tokener_error_desc(error);
    else if (text.find_first_not_of(" \t\r\n", end) != std::string::npos)
        why = "more text after the JSON object";
    else if (json_object_get_type(root.get()) != json_type_object)
        throw UsageError(path + ": the top level is not a JSON object ({...})");
    if (!why.empty()) {
        if (end > text.size()) end = text.size();
        const std::size_t line = 1 + static_cast<std::size_t>(std::count(text.begin(), text.begin() + end, '\n'));
        const std::size_t lineStart = text.rfind('\n', end == 0 ? 0 : end - 1);
        const std::size_t column = end - (lineStart == std::string::npos ? 0 : lineStart + 1) + 1;
        throw UsageError(path + ": not valid JSON: " + why + " (line " + std::to_string(line) + ", column " +
                         std::to_string(column) + ")");
    }
    return root;
}

}  // namespace ctl
