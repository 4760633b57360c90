#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "command.h"
#include "quorix_common_interface.h"

namespace ctl {

bool bind() {
    if (quorix_interface_init() == 0) return true;
    std::fprintf(stderr, "quorixctl: cannot bind the feature library (is this running in the sandbox?)\n");
    return false;
}

int usageError(const std::string &message) {
    std::fprintf(stderr, "quorixctl: %s\n", message.c_str());
    return kExitUsage;
}

bool parseInt(const std::string &text, long &value) {
    if (text.empty()) return false;
    char *end = nullptr;
    errno = 0;
    value = std::strtol(text.c_str(), &end, 0);  // decimal, 0x hex or 0 octal
    return errno == 0 && end != nullptr && *end == '\0';
}

bool parseInt(const std::string &text, long long &value) {
    if (text.empty()) return false;
    char *end = nullptr;
    errno = 0;
    value = std::strtoll(text.c_str(), &end, 0);
    return errno == 0 && end != nullptr && *end == '\0';
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

}  // namespace ctl
