// Shell command lines built from caller strings.
//
// A caller's string reaches a shell only as a path word made of letters,
// digits and "/._-": no blank, quote, separator or expansion can turn it
// into a second command. A leading "-" is refused as well, so a path never
// reads as an option of the command it is passed to. Every command line that
// takes a caller's string is built here.
#pragma once

#include <cstddef>
#include <cstdio>

namespace qrx::shell {

inline constexpr std::size_t kCommandSize = 512;

struct Command {
    char text[kCommandSize];
};

constexpr bool isPathChar(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '/' ||
           c == '.' || c == '_' || c == '-';
}

constexpr bool isSafePath(const char *path) {
    if (path == nullptr || *path == '\0' || *path == '-') return false;
    for (const char *p = path; *p != '\0'; ++p)
        if (!isPathChar(*p)) return false;
    return true;
}

// Formats `format` with the paths into `out`; false, with nothing to run,
// when a path is not a safe word or the line would not fit.
template <typename... Paths>
bool build(Command &out, const char *format, Paths... paths) {
    out.text[0] = '\0';
    if (!(isSafePath(paths) && ...)) return false;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    int length = std::snprintf(out.text, sizeof out.text, format, paths...);
#pragma GCC diagnostic pop
    if (length < 0 || static_cast<std::size_t>(length) >= sizeof out.text) {
        out.text[0] = '\0';
        return false;
    }
    return true;
}

}  // namespace qrx::shell
