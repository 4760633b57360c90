// Word tables, severity mapping and the input validators, one table each.
#include <string>

#include "quorix_test.h"

namespace {

constexpr int kRefused = -1;  // as an expected index: refused, the index byte untouched

TEST(Words, WordsToIndexesExactCaseSensitiveWholeAndWithinTheCount) {
    using Fn = unsigned (*)(const char *, unsigned char *);
    const struct { Fn fn; const char *word; int index; } cases[] = {
        {ValidateEnableDisable, "Enable", 1}, {ValidateEnableDisable, "enable", kRefused}, {ValidateEnableDisable, "Disabled", kRefused},
        {ValidateEnableDisableLittleLetter, "disable", 0}, {ValidateAutoManualLittleLetter, "auto", 1}, {ValidateSnmpCfgType, "Test", 2},
        {ValidateSnmpTrapVersion, "V2", kRefused}, {ValidateSnmpTrapVersion, "V2C", 2}, {ValidateSnmpTrapVersion, "V2CX", kRefused},
        {ValidateEventLevelStrToIndex, "Critical", 2}, {ValidateSyslogTagStrToIndex, "PartNumber", 2},
        {ValidateSyslogEnableStrToIndex, "RemoteEnable", 2}, {ValidateSyslogProtocalStrToIndex, "TLSTwoWay", 3},
        {ValidateSyslogTypeStrToIndex, "Idl + Audit", 3}, {ValidateSyslogLevelStrToIndex, "Alert", 3}, {ValidateEnableDisable, nullptr, kRefused},
        {[](const char *w, unsigned char *i) { return ValidateStrToOrder(SyslogLevelStr, w, 0, i); }, "Info", kRefused},
        {[](const char *w, unsigned char *i) { return ValidateStrToOrder(SyslogLevelStr, w, -1, i); }, "Info", 0xEE},  // accepted, no index
        {[](const char *w, unsigned char *i) { return ValidateStrToOrder(nullptr, w, 4, i); }, "Info", kRefused},
        {[](const char *w, unsigned char *i) { return ValidateStrToOrder(EventLevelStr, w, 2, i); }, "Critical", kRefused},
        {[](const char *w, unsigned char *i) { return ValidateStrToOrder(EventLevelStr, w, 4, i); }, "Critical", 2}};
    for (const auto &c : cases) {
        unsigned char index = 0xEE;
        EXPECT_EQ(c.fn(c.word, &index), c.index == kRefused ? 1u : 0u) << c.word;
        EXPECT_EQ(index, c.index == kRefused ? 0xEE : c.index) << c.word;
    }
    EXPECT_EQ(ValidateEnableDisable("Enable", nullptr), 1u);
}

TEST(Words, IndexesToWordsBoundedRefusingHolesAndRanges) {
    using Fn = unsigned (*)(int, char *, unsigned);
    const struct { Fn fn; int index; unsigned size; const char *word; } cases[] = {  // word null: refused, untouched
        {ValidateEventLevelLimitIndexToString, 3, 16, nullptr}, {ValidateEventLevelLimitIndexToString, 2, 16, "Critical"},
        {ValidateSyslogLevelIndexToString, 1, 4, "War"}, {ValidateSnmpTrapIndexToString, -1, 16, nullptr},
        {ValidateSnmpTrapIndexToString, 4, 16, nullptr}, {ValidateSyslogTypeIndexToString, 3, 16, "Idl + Audit"},
        {ValidateEnableDisableIndexToString, 5, 16, nullptr},
        {[](int i, char *d, unsigned n) { return ValidateIndexToString(nullptr, i, 2, d, n); }, 0, 16, nullptr},
        {[](int i, char *d, unsigned n) { return ValidateIndexToString(EnableStr, i, 0, d, n); }, 5, 16, nullptr},
        {[](int i, char *d, unsigned n) { return ValidateIndexToString(SyslogTagStr, i, 3, d, n); }, 1, 16, "SerialNumber"}};
    for (const auto &c : cases) {
        std::string dest(17, 'x');
        EXPECT_EQ(c.fn(c.index, dest.data(), c.size), c.word ? 0u : 1u) << c.index;
        EXPECT_EQ(c.word ? std::string(dest.c_str()) : dest, c.word ? c.word : std::string(17, 'x'));
        EXPECT_EQ(dest[c.size], 'x') << "nothing written beyond the size";
    }
    EXPECT_EQ(ValidateEnableDisableIndexToString(1, nullptr, 8), 1u);
}

TEST(Words, SeverityWordsToSyslogLevels) {
    const struct { const char *word; int result, level; } toLevel[] = {
        {"CRITICAL", 0, 2}, {"alert", 0, 1}, {"Warning", 0, 4}, {"Error", 0, 6}, {nullptr, 1, -1}};
    for (const auto &c : toLevel) {
        int level = -1;
        EXPECT_EQ(QuorixIDLSeverity2SyslogLevel(c.word, &level), c.result) << c.word;
        EXPECT_EQ(level, c.level) << c.word;
    }
    EXPECT_EQ(QuorixIDLSeverity2SyslogLevel("Alert", nullptr), 1);
}

TEST(TrapInput, PrintableWithoutSpace_ZeroPaddingAllowed_KnownDeviceTypes) {
    const struct { std::string bytes; int length; unsigned result; } cases[] = {
        {"a b", 3, 1}, {"a b", 1, 0}, {std::string("pub\0\0", 5), 5, 0}, {"a\x7f", 2, 1}, {"\x80", 1, 1}, {"!~", 2, 0},
        {" ", 1, 1}, {"\x1f", 1, 1}, {" b", 0, 0}, {" b", -3, 0}};
    for (const auto &c : cases)
        EXPECT_EQ(ValidateSNMPTrapCfgInput(reinterpret_cast<const unsigned char *>(c.bytes.data()), c.length), c.result)
            << ::testing::PrintToString(c.bytes) << " " << c.length;
    EXPECT_EQ(ValidateSNMPTrapCfgInput(nullptr, 3), 1u);
    for (unsigned code : {4u, 5u, 30u, 39u, 40u, 43u, 201u, 215u, 255u}) EXPECT_EQ(ValidateSNMPTrapCfgDeviceType(code), 0u) << code;
    for (unsigned code : {0u, 1u, 6u, 26u, 200u, 254u, 256u, 0x10004u}) EXPECT_EQ(ValidateSNMPTrapCfgDeviceType(code), 1u) << code;
}

// The first occurrence of an extreme wins; fewer than two values leave the outputs alone.
TEST(Extremes, IndexesOfTheFirstMaximumAndMinimum) {
    const unsigned char bytes[] = {3, 9, 1, 9, 1};
    const float floats[] = {2.5f, -1.0f, 7.25f, -1.0f};
    unsigned hi = 77, lo = 77;
    FindMaxAndMinUint8(bytes, 1, &hi, &lo);
    EXPECT_EQ(std::make_pair(hi, lo), std::make_pair(77u, 77u));
    FindMaxAndMinUint8(bytes, 5, &hi, &lo);
    EXPECT_EQ(std::make_pair(hi, lo), std::make_pair(1u, 2u));
    FindMaxAndMinFloat(floats, 4, &hi, &lo);
    EXPECT_EQ(std::make_pair(hi, lo), std::make_pair(2u, 1u));
}

TEST(Names, UserNamesCheckedInOrderWithExactMessages) {
    const std::string numeric = "The first character in the username cannot be a numeric.\n",
                      special = "The first character in the username cannot be a special character.\n",
                      inName = "The special character in the requested ";
    const struct { const char *name; unsigned max; int mode; std::string printed; } cases[] = {  // printed empty: accepted
        {"", 16, 0, "Setting the NULL user"}, {"1admin", 16, 0, numeric}, {"9host.example", 32, 2, numeric},
        {"_admin", 16, 0, special}, {".admin", 16, 1, special}, {"@admin", 16, 0, special},
        {"abcdefghijklmnopq", 16, 0, "Buffer overflow detected \n"}, {"abcdefghijklmnop", 16, 0, ""}, {"john.doe", 16, 1, ""},
        {"mail.example.com", 32, 2, ""}, {"a@b-c_d", 16, 0, ""}, {"john.doe", 16, 0, inName + "username is impermissible.\n"},
        {"bad name", 16, 1, inName + "SMTP username is impermissible.\n"}, {"bad/host", 16, 5, inName + "SMTP hostname is impermissible.\n"},
        {"tab\tname", 16, 0, inName + "username is impermissible.\n"}, {"del\x7fname", 16, 0, inName + "username is impermissible.\n"}};
    for (const auto &c : cases) {
        const auto check = [&] { EXPECT_EQ(QuorixIsValidUserName(c.name, c.max, c.mode), c.printed.empty() ? 0 : 1) << c.name; };
        EXPECT_EQ(qtest::captureStdout(check), c.printed);
    }
}

TEST(Addresses, EmailIpv4Ipv6AndDomain) {
    const struct { std::string address; int valid; } emails[] = {
        {"a@b", 1}, {"first.last@example.com", 1}, {"", 0}, {"noat", 0}, {"a.@b", 0}, {"@b", 0}, {"a@", 0}, {"a@b.", 0},
        {"a@.b", 0}, {"a@b..c", 0}, {"\"john doe\"@example.com", 1}, {"john doe@example.com", 0}, {"\"a\\\"b\"@x", 1},
        {"\"ab\".c@x", 1}, {"a.\"b c\"@x", 1}, {"a\"b\"@x", 0}, {"\"ab\"c@x", 0}, {"\"unterminated@x", 0}, {"a(b)@x", 0},
        {"a@b@c", 0}, {"a\x01@x", 0},
        {std::string(62, 'a') + "@x", 1}, {std::string(64, 'a') + "@x", 0}};  // only 64 characters are looked at
    for (const auto &c : emails) EXPECT_EQ(Quorix_validate_email(c.address.c_str()), c.valid) << c.address;
    EXPECT_EQ(Quorix_validate_email(nullptr), 0);
    // {text, IPv4, IPv6, domain}: 0 accepted, -1 refused.
    for (auto [text, v4, v6, domain] : {std::tuple{"192.168.1.10", 0, -1, -1}, {"256.1.1.1", -1, -1, -1}, {"10.0.0.1/24", -1, -1, -1},
                                        {"fe80::1:2", -1, 0, -1}, {"fe80::1/64", -1, -1, -1}, {"syslog.example.com", -1, -1, 0},
                                        {"host.1abc", -1, -1, -1}, {"host.", -1, -1, -1}, {"bad char!.org", -1, -1, 0}})
        EXPECT_EQ((std::vector<int>{QuorixIsValidIpv4(text), QuorixIsValidIpv6(text), QuorixIsValidDomain(text)}),
                  (std::vector<int>{v4, v6, domain})) << text;
}

TEST(TextRules, PasswordsDigitsAndSensitiveWords) {
    const struct { int (*fn)(const char *); const char *text; int result; } cases[] = {
        {QuorixIsValidPasswd, "abcDEF123", 0}, {QuorixIsValidPasswd, "abc123", -1}, {QuorixIsValidPasswd, "abc!def", -1},
        {QuorixIsValidPasswd, "ABC!12", 0}, {QuorixIsValidPasswd, "abc DEF1!", -1}, {QuorixIsValidPasswd, "ab\tCD12", -1},
        {QuorixIsValidPasswd, "Ab1", 0}, {QuorixIsValidPasswd, "_aA", -1}, {QuorixIsValidPasswd, "", -1},
        {QuorixIsValidPasswd, "abcdEFGH", -1}, {QuorixIsValidPasswd, nullptr, -1},
        {FilterSensitiveWordsForSec, "a*b", 1}, {FilterSensitiveWordsForSec, "(x", 1}, {FilterSensitiveWordsForSec, "x)", 1},
        {FilterSensitiveWordsForSec, "a&b", 1}, {FilterSensitiveWordsForSec, "a=b", 1}, {FilterSensitiveWordsForSec, "a|b", 1},
        {FilterSensitiveWordsForSec, "plain-text_ok.1", 0}, {FilterSensitiveWordsForSec, "", 0}, {FilterSensitiveWordsForSec, nullptr, -1}};
    for (const auto &c : cases) EXPECT_EQ(c.fn(c.text), c.result) << (c.text ? c.text : "null");
    const struct { const char *text; unsigned base; int result; } digits[] = {
        {"123abc", 10, 1}, {"", 10, 0}, {"0x", 16, 0}, {"0x1f\n", 16, 1}, {"0x1F", 16, 1}, {"1fz", 16, 0}, {"\n", 16, 0},
        {"ab\rzz", 16, 1}, {"0X", 16, 0}, {"x1", 16, 0}, {"0101", 2, 1}, {"0121", 2, 0}, {"11", 8, 0}, {"0xg", 16, 0},
        {"7", 16, 1}, {nullptr, 10, 0}, {nullptr, 16, 0}};
    for (const auto &c : digits) EXPECT_EQ(VerifyStrIsDigit(c.text, c.base), c.result) << (c.text ? c.text : "null") << " " << c.base;
}

}  // namespace
