// Input validators, their messages and the helpers kept beside them.
#include <csignal>
#include <cstring>
#include <string>

#include "quorix_test.h"

namespace {

struct UserNameCase {
    const char *name;
    unsigned max;
    int mode;
    int result;
    const char *printed;
};

TEST(UserName, ChecksInOrderWithExactMessages) {
    const UserNameCase cases[] = {
        {"", 16, 0, 1, "Setting the NULL user"},
        {"1admin", 16, 0, 1, "The first character in the username cannot be a numeric.\n"},
        {"9host.example", 32, 2, 1, "The first character in the username cannot be a numeric.\n"},
        {"_admin", 16, 0, 1, "The first character in the username cannot be a special character.\n"},
        {".admin", 16, 1, 1, "The first character in the username cannot be a special character.\n"},
        {"-admin", 16, 0, 1, "The first character in the username cannot be a special character.\n"},
        {"@admin", 16, 0, 1, "The first character in the username cannot be a special character.\n"},
        {"abcdefghijklmnopq", 16, 0, 1, "Buffer overflow detected \n"},
        {"abcdefghijklmnop", 16, 0, 0, ""},
        {"john.doe", 16, 0, 1, "The special character in the requested username is impermissible.\n"},
        {"john.doe", 16, 1, 0, ""},
        {"mail.example.com", 32, 2, 0, ""},
        {"a@b-c_d", 16, 0, 0, ""},
        {"bad name", 16, 1, 1, "The special character in the requested SMTP username is impermissible.\n"},
        {"bad/host", 16, 5, 1, "The special character in the requested SMTP hostname is impermissible.\n"},
        {"tab\tname", 16, 0, 1, "The special character in the requested username is impermissible.\n"},
        {"del\x7fname", 16, 0, 1, "The special character in the requested username is impermissible.\n"},
    };
    for (const UserNameCase &c : cases) {
        int result = -5;
        std::string out = qtest::captureStdout([&] { result = QuorixIsValidUserName(c.name, c.max, c.mode); });
        EXPECT_EQ(result, c.result) << c.name;
        EXPECT_EQ(out, c.printed) << c.name;
    }
}

TEST(UserName, EveryForbiddenCharacterIsRefusedInMode0) {
    const std::string forbidden = "~`!#$%^&*()+={}[]|\\:;\"'<>?,./ ";
    ASSERT_EQ(forbidden.size(), 30u);
    for (char c : forbidden) {
        std::string name = std::string("ab") + c + "cd";
        int result = 0;
        qtest::captureStdout([&] { result = QuorixIsValidUserName(name.c_str(), 16, 0); });
        EXPECT_EQ(result, 1) << name;
        qtest::captureStdout([&] { result = QuorixIsValidUserName(name.c_str(), 16, 1); });
        EXPECT_EQ(result, c == '.' ? 0 : 1) << name;
    }
}

TEST(SenderAddress, OnlyTheFirst16CharactersAreChecked) {
    const char *message = "The special character in the requested sender address is impermissible.\n";
    int result = -5;
    std::string out = qtest::captureStdout([&] { result = QuorixIsValidSenderAddress("bmc'@example.com"); });
    EXPECT_EQ(result, 1);
    EXPECT_EQ(out, message);
    out = qtest::captureStdout([&] { result = QuorixIsValidSenderAddress("abcdefghijklmnop'@x"); });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out, "");
    qtest::captureStdout([&] { result = QuorixIsValidSenderAddress("abcdefghijklmno\\"); });
    EXPECT_EQ(result, 1);
    qtest::captureStdout([&] { result = QuorixIsValidSenderAddress("line\nbreak"); });
    EXPECT_EQ(result, 1);
    EXPECT_EQ(QuorixIsValidSenderAddress("bmc@example.com"), 0);
}

TEST(Email, LocalPartQuotingAndDomainRules) {
    const struct {
        const char *address;
        int valid;
    } cases[] = {
        {"a@b", 1},
        {"admin@example.com", 1},
        {"first.last@example.com", 1},
        {"", 0},
        {"noat", 0},
        {"a.@b", 0},
        {"@b", 0},
        {"a@", 0},
        {"a@b.", 0},
        {"a@.b", 0},
        {"a@b..c", 0},
        {"\"john doe\"@example.com", 1},
        {"john doe@example.com", 0},
        {"\"a\\\"b\"@x", 1},
        {"\"ab\".c@x", 1},
        {"a.\"b c\"@x", 1},
        {"a\"b\"@x", 0},
        {"\"ab\"c@x", 0},
        {"\"unterminated@x", 0},
        {"a(b)@x", 0},
        {"a@b@c", 0},
        {"a@b,c", 0},
        {"a\x01@x", 0},
    };
    for (const auto &c : cases) EXPECT_EQ(Quorix_validate_email(c.address), c.valid) << c.address;
    EXPECT_EQ(Quorix_validate_email(nullptr), 0);
    // Only the first 64 characters count: the at sign beyond them is never seen.
    std::string longLocal(64, 'a');
    EXPECT_EQ(Quorix_validate_email((longLocal + "@x").c_str()), 0);
    EXPECT_EQ(Quorix_validate_email((std::string(62, 'a') + "@x").c_str()), 1);
}

TEST(Addresses, Ipv4Ipv6AndDomain) {
    const struct {
        const char *text;
        int v4, v6, domain;
    } cases[] = {
        {"192.168.1.10", 0, -1, -1}, {"192.168.1", -1, -1, -1},    {"10.0.0.1/24", -1, -1, -1},
        {"256.1.1.1", -1, -1, -1},   {"::1", -1, 0, -1},           {"fe80::1:2", -1, 0, -1},
        {"fe80::1/64", -1, -1, -1},  {"a.b", -1, -1, 0},           {"syslog.example.com", -1, -1, 0},
        {"host.1abc", -1, -1, -1},   {".com", -1, -1, -1},         {"host.", -1, -1, -1},
        {"nodot", -1, -1, -1},       {"bad char!.org", -1, -1, 0},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(QuorixIsValidIpv4(c.text), c.v4) << c.text;
        EXPECT_EQ(QuorixIsValidIpv6(c.text), c.v6) << c.text;
        EXPECT_EQ(QuorixIsValidDomain(c.text), c.domain) << c.text;
    }
    EXPECT_EQ(QuorixIsValidIpv4(nullptr), -1);
    EXPECT_EQ(QuorixIsValidIpv6(nullptr), -1);
    EXPECT_EQ(QuorixIsValidDomain(nullptr), -1);
}

TEST(Password, ThreeClassesAndNoBlanks) {
    const struct {
        const char *password;
        int result;
    } cases[] = {
        {"abcDEF123", 0}, {"abc123", -1}, {"abc!def", -1}, {"ABC!12", 0}, {"abc DEF1!", -1},
        {"ab\tCD12", -1}, {"Ab1", 0},     {"_aA", -1},     {"", -1},      {"abcdEFGH", -1},
    };
    for (const auto &c : cases) EXPECT_EQ(QuorixIsValidPasswd(c.password), c.result) << c.password;
    EXPECT_EQ(QuorixIsValidPasswd(nullptr), -1);
}

TEST(Digits, BasesTenSixteenAndTwo) {
    const struct {
        const char *text;
        unsigned base;
        int result;
    } cases[] = {
        {"123abc", 10, 1}, {"", 10, 0},    {"0x", 16, 0},     {"0x1f\n", 16, 1}, {"0x1F", 16, 1},
        {"1fz", 16, 0},    {"\n", 16, 0},  {"ab\rzz", 16, 1}, {"0X", 16, 0},     {"x1", 16, 0},
        {"0101", 2, 1},    {"0121", 2, 0}, {"11", 8, 0},      {"0xg", 16, 0},    {"7", 16, 1},
    };
    for (const auto &c : cases) EXPECT_EQ(VerifyStrIsDigit(c.text, c.base), c.result) << c.text << " " << c.base;
    EXPECT_EQ(VerifyStrIsDigit(nullptr, 10), 0);
}

TEST(SensitiveWords, AnyOfTheSixCharacters) {
    for (const char *text : {"a*b", "(x", "x)", "a&b", "a=b", "a|b"}) EXPECT_EQ(FilterSensitiveWordsForSec(text), 1);
    EXPECT_EQ(FilterSensitiveWordsForSec("plain-text_ok.1"), 0);
    EXPECT_EQ(FilterSensitiveWordsForSec(""), 0);
    EXPECT_EQ(FilterSensitiveWordsForSec(nullptr), -1);
}

TEST(FindMaxAndMin, FirstExtremeWinsAndShortInputsTouchNothing) {
    const unsigned char bytes[] = {0x12, 0x80, 0x05, 0x80, 0x05};
    unsigned hi = 99, lo = 99;
    FindMaxAndMinUint8(bytes, 5, &hi, &lo);
    EXPECT_EQ(hi, 1u);
    EXPECT_EQ(lo, 2u);
    hi = lo = 99;
    FindMaxAndMinUint8(bytes, 1, &hi, &lo);
    FindMaxAndMinUint8(nullptr, 5, &hi, &lo);
    EXPECT_EQ(hi, 99u);
    EXPECT_EQ(lo, 99u);
    const float floats[] = {1.5f, -2.25f, 7.0f, 7.0f, -2.25f};
    FindMaxAndMinFloat(floats, 5, &hi, &lo);
    EXPECT_EQ(hi, 2u);
    EXPECT_EQ(lo, 1u);
    const float same[] = {3.0f, 3.0f};
    FindMaxAndMinFloat(same, 2, &hi, &lo);
    EXPECT_EQ(hi, 0u);
    EXPECT_EQ(lo, 0u);
}

TEST(DimmIndex, SplitsIntoThreeFields) {
    unsigned char a = 0, b = 0, c = 0;
    EXPECT_EQ(QuorixGetDimmSensorIndexField(0xB6, &a, &b, &c), 0);  // 101 101 10
    EXPECT_EQ(a, 5);
    EXPECT_EQ(b, 5);
    EXPECT_EQ(c, 2);
    QuorixGetDimmSensorIndexField(0x1F, &a, &b, &c);
    EXPECT_EQ(a, 0);
    EXPECT_EQ(b, 7);
    EXPECT_EQ(c, 3);
    QuorixGetDimmSensorIndexField(0xE0, &a, nullptr, nullptr);
    EXPECT_EQ(a, 7);
}

void ignoreSignal(int) {}

TEST(Sleeps, ZeroNanoSleepRefusedAndSignalsResume) {
    EXPECT_EQ(QuorixNanoSleep(0, 0), -1);
    EXPECT_EQ(QuorixNanoSleep(0, 1000), 0);
    // A signal in the middle: the sleep resumes and says so.
    qtest::ChildResult r = qtest::runInChild([] {
        struct sigaction sa {};
        sa.sa_handler = ignoreSignal;
        sigaction(SIGALRM, &sa, nullptr);
        ualarm(100000, 0);
        QuorixNanoSleep(0, 300000000);
        // sleep() reports whole seconds left: 1.9 s left resumes for 1 s.
        ualarm(100000, 0);
        QuorixSleep(2);
    });
    EXPECT_TRUE(r.exited);
    EXPECT_EQ(r.out, "QuorixNanoSleep \nQuorixSleep \n");
}

}  // namespace
