// Operator-input validators.
#include "config/common/validators.h"

#include <arpa/inet.h>
#include <regex.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "config/common/words.h"
#include "core/export.h"
#include "quorix_common_interface.h"

namespace qrx::config {

namespace {

constexpr const char *kUserNameForbiddenPrintable = "~`!#$%^&*()+={}[]|\\:;\"'<>?,./ ";
constexpr const char *kLeadingForbidden = ".-@_";
constexpr const char *kMailSpecials = "()<>@,;:\\\"[]";
constexpr const char *kSensitive = "*()&=|";
constexpr std::size_t kSenderCheckedChars = 16;
constexpr std::size_t kEmailMaxChars = 64;

bool isControl(unsigned char c) {
    return (c >= 1 && c <= 31) || c == 127;
}

bool inSet(const char *set, unsigned char c) {
    return c != 0 && std::strchr(set, c) != nullptr;
}

bool userNameForbidden(unsigned char c, bool dotAllowed) {
    if (isControl(c)) return true;
    if (dotAllowed && c == '.') return false;
    return inSet(kUserNameForbiddenPrintable, c);
}

bool mailAtom(unsigned char c) {
    return c >= 33 && c <= 126 && !inSet(kMailSpecials, c);
}

bool matchesExtended(const char *pattern, const char *text) {
    regex_t re;
    if (regcomp(&re, pattern, REG_EXTENDED | REG_NOSUB) != 0) return false;
    bool found = regexec(&re, text, 0, nullptr, 0) == 0;
    regfree(&re);
    return found;
}

}  // namespace

bool isValidIpv4(const char *text) {
    in_addr addr{};
    return text != nullptr && inet_pton(AF_INET, text, &addr) == 1;
}

bool isValidIpv6(const char *text) {
    in6_addr addr{};
    return text != nullptr && inet_pton(AF_INET6, text, &addr) == 1;
}

bool isValidDomain(const char *name) {
    if (name == nullptr) return false;
    const char *dot = std::strrchr(name, '.');
    if (dot == nullptr || dot == name || dot[1] == '\0') return false;
    return std::isalpha(static_cast<unsigned char>(dot[1])) != 0;
}

bool isValidHost(const char *host) {
    return isValidIpv6(host) || isValidIpv4(host) || isValidDomain(host);
}

bool charsIn(const unsigned char *bytes, std::size_t length, unsigned char low) {
    if (bytes == nullptr) return false;
    for (std::size_t i = 0; i < length; ++i)
        if (bytes[i] != 0 && (bytes[i] < low || bytes[i] > kLastPrintable)) return false;
    return true;
}

bool isPrintableField(const unsigned char *bytes, std::size_t length) {
    return charsIn(bytes, length, kFirstPrintable);
}

bool isBlankTolerantField(const unsigned char *bytes, std::size_t length) {
    return charsIn(bytes, length, ' ');
}

bool isValidEmail(const char *address) {
    if (address == nullptr) return false;
    unsigned char buf[kEmailMaxChars + 1] = {};
    std::strncpy(reinterpret_cast<char *>(buf), address, kEmailMaxChars);
    if (buf[0] == 0) return false;

    std::size_t i = 0;
    while (buf[i] != 0 && buf[i] != '@') {
        unsigned char c = buf[i];
        if (c == '"') {
            // A quoted string may open only at the start or after "." or a quote.
            if (i != 0 && buf[i - 1] != '.' && buf[i - 1] != '"') return false;
            ++i;
            for (;;) {
                unsigned char q = buf[i];
                if (q == 0) return false;
                if (q == '"') break;
                if (q == '\\') {
                    q = buf[++i];
                    if (q == 0) return false;
                    if (q != ' ' && (q < 32 || q > 126)) return false;
                } else if (q < 32 || q > 126) {
                    return false;
                }
                ++i;
            }
            ++i;  // past the closing quote
            if (buf[i] == '@') break;
            if (buf[i] != '.') return false;
            continue;
        }
        if (!mailAtom(c)) return false;
        ++i;
    }
    if (i == 0 || buf[i - 1] == '.') return false;
    if (buf[i] != '@' || buf[i + 1] == 0) return false;

    const std::size_t domain = i + 1;
    for (std::size_t j = domain; buf[j] != 0; ++j) {
        unsigned char c = buf[j];
        if (c == '.') {
            if (j == domain || buf[j - 1] == '.' || buf[j + 1] == 0) return false;
        } else if (!mailAtom(c)) {
            return false;
        }
    }
    return true;
}

bool isValidUserName(const char *name, unsigned max_length, int mode) {
    if (name == nullptr || name[0] == '\0') {
        std::printf("Setting the NULL user");
        return false;
    }
    if (std::isdigit(static_cast<unsigned char>(name[0]))) {
        std::puts("The first character in the username cannot be a numeric.");
        return false;
    }
    if (std::strchr(kLeadingForbidden, name[0]) != nullptr) {
        std::puts("The first character in the username cannot be a special character.");
        return false;
    }
    // A bound whose terminator does not fit a size_t (32-bit boards) is refused as before.
    if (static_cast<std::size_t>(max_length) + 1 == 0) {
        std::printf("%s : Cannot allocate memory\n", "QuorixIsValidUserName");
        return false;
    }
    if (std::strlen(name) > max_length) {
        std::puts("Buffer overflow detected ");
        return false;
    }
    const bool dotAllowed = mode != 0;
    for (const unsigned char *p = reinterpret_cast<const unsigned char *>(name); *p != 0; ++p) {
        if (!userNameForbidden(*p, dotAllowed)) continue;
        if (mode == 0)
            std::puts("The special character in the requested username is impermissible.");
        else if (mode == 1)
            std::puts("The special character in the requested SMTP username is impermissible.");
        else
            std::puts("The special character in the requested SMTP hostname is impermissible.");
        return false;
    }
    return true;
}

bool isValidSenderAddress(const char *address) {
    if (address == nullptr) return false;
    // Only the first 16 characters are examined; callers rely on this limit.
    char field[kSenderCheckedChars + 1] = {};
    std::strncpy(field, address, kSenderCheckedChars);
    for (const unsigned char *p = reinterpret_cast<const unsigned char *>(field); *p != 0; ++p) {
        if (*p == '\'' || *p == '\\' || isControl(*p)) {
            std::puts("The special character in the requested sender address is impermissible.");
            return false;
        }
    }
    return true;
}

}  // namespace qrx::config

extern "C" {

QRX_EXPORT int QuorixIsValidUserName(const char *name, unsigned max_length, int mode) {
    return qrx::config::isValidUserName(name, max_length, mode) ? 0 : 1;
}

QRX_EXPORT int QuorixIsValidSenderAddress(const char *address) {
    return qrx::config::isValidSenderAddress(address) ? 0 : 1;
}

QRX_EXPORT int Quorix_validate_email(const char *address) {
    return qrx::config::isValidEmail(address) ? 1 : 0;
}

QRX_EXPORT int QuorixIsValidIpv4(const char *text) {
    return qrx::config::isValidIpv4(text) ? 0 : -1;
}

QRX_EXPORT int QuorixIsValidIpv6(const char *text) {
    return qrx::config::isValidIpv6(text) ? 0 : -1;
}

QRX_EXPORT int QuorixIsValidDomain(const char *name) {
    return qrx::config::isValidDomain(name) ? 0 : -1;
}

QRX_EXPORT int QuorixIsValidPasswd(const char *password) {
    if (password == nullptr || password[0] == '\0') return -1;
    // "\W" (a non-word character) is a GNU extension of the regex library.
    static const char *const kClasses[] = {"[a-z]+", "[A-Z]+", "[0-9]+", "(\\W+)"};
    int matched = 0;
    for (const char *pattern : kClasses)
        if (qrx::config::matchesExtended(pattern, password)) ++matched;
    if (matched < 3) return -1;
    for (const unsigned char *p = reinterpret_cast<const unsigned char *>(password); *p != 0; ++p)
        if (*p == ' ' || qrx::config::isControl(*p)) return -1;
    return 0;
}

QRX_EXPORT int VerifyStrIsDigit(const char *text, unsigned base) {
    if (text == nullptr || text[0] == '\0') return 0;
    switch (base) {
        case 10:
            // Any non-empty text passes in base 10; front ends rely on this lax rule.
            return 1;
        case 16: {
            const char *p = text;
            if (std::strlen(text) >= 3 && p[0] == '0' && (p[1] == 'x' || p[1] == 'X')) p += 2;
            bool examined = false;
            for (; *p != '\0'; ++p) {
                if (*p == '\n' || *p == '\r') return examined ? 1 : 0;
                if (!std::isxdigit(static_cast<unsigned char>(*p))) return 0;
                examined = true;
            }
            return examined ? 1 : 0;
        }
        case 2:
            for (const char *p = text; *p != '\0'; ++p)
                if (*p != '0' && *p != '1') return 0;
            return 1;
        default:
            return 0;
    }
}

QRX_EXPORT int FilterSensitiveWordsForSec(const char *text) {
    if (text == nullptr) return -1;
    return std::strpbrk(text, qrx::config::kSensitive) != nullptr ? 1 : 0;
}

QRX_EXPORT int QuorixValidateStringParams(const char *const *table, const char *word, int count) {
    if (table == nullptr || word == nullptr) return 1;
    return qrx::config::strInList(table, word, count);
}

}  // extern "C"
