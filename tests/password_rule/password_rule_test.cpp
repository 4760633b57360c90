// User password rule (EEPROM copy and per-process cache) and the BIOS setting files.
#include <cstdio>
#include <string>

#include "quorix_test.h"

namespace {

using qtest::Bytes;
constexpr int kRuleOffset = 5760;
const int kEepromRead = qrx::slotIndex(qrx::Slot::QuorixReadMainBoardEEprom);
const int kEepromWrite = qrx::slotIndex(qrx::Slot::QuorixWriteMainBoardEEprom);

int set(Bytes request) { return QuorixSetUserPasswordRuleInterface(request.data(), static_cast<int>(request.size())); }
// fromCache: as if this process had already read the EEPROM.
Bytes get(bool fromCache = false) {
    if (fromCache) quorix_passwd_rule_got_flag = 1;
    unsigned char res[13] = {};
    EXPECT_EQ(QuorixGetUserPasswordRuleInterface(res), 13);
    return Bytes(res, res + 13);
}
unsigned calls(int slot) { return qtest::Sim::get().callCount(slot); }
class PasswordRule : public qtest::BoundTest {
protected:
    void SetUp() override {
        qtest::BoundTest::SetUp();
        // The cache outlives a test: bring it back to the defaults, then forget the EEPROM.
        ASSERT_EQ(set({255, 0, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 5}), 0);
        ASSERT_EQ(qtest::Sim::get().reset(), 0);
        qtest::clearDirectory("/var");
    }
};

TEST_F(PasswordRule, RefusedRequestsAnswerTheirCodeAndWriteNothing) {
    const Bytes good = {255, 1, 8, 1, 31, 0, 90, 10, 5, 0, 0, 0, 5};
    const struct { Bytes request; int cc; } cases[] = {
        {{}, 0xC7}, {{1}, 0xC7}, {{1, 8, 0}, 0xC7}, {{1, 7}, 0xC9}, {{1, 17}, 0xC9}, {{0, 2}, 0xC9}, {{2, 2}, 0xC9},
        {{3, 32}, 0xC9}, {{4, 91, 0}, 0xC9}, {{4, 0x5A}, 0xC7}, {{5, 11}, 0xC9}, {{6, 6}, 0xC9}, {{7, 4, 0, 0, 0}, 0xC9},
        {{7, 61, 0, 0, 0}, 0xC9}, {{7, 60, 0, 0, 1}, 0xC9}, {{7, 60, 0, 0}, 0xC7}, {{8, 0}, 0xC9}, {{254, 0}, 0xC9},
        {{255, 1, 8}, 0xC7}, {Bytes(good.begin(), good.end() - 1), 0xC7},
        {{255, 1, 12, 1, 0x15, 0x5A, 0x00, 9, 4, 0x3C, 0, 0, 0}, 0xC9},  // little-endian values: out of range
        {{255, 1, 8, 1, 200, 0, 0, 0, 0, 0, 0, 0, 5}, 0xC9}};            // class mask checked with complexity on
    for (const auto &c : cases) EXPECT_EQ(set(c.request), c.cc) << ::testing::PrintToString(c.request);
    // Whole enabled records, one byte out of range each; 16-bit and 32-bit values come high byte first.
    for (auto [at, value] : {std::pair{2, 7}, {2, 17}, {3, 2}, {7, 11}, {8, 6}, {6, 91}, {5, 1}, {12, 4}, {12, 61}, {11, 1}, {4, 32}, {1, 2}}) {
        Bytes request = good;
        request[at] = static_cast<unsigned char>(value);
        EXPECT_EQ(set(request), 0xC9) << "byte " << at << " = " << value;
    }
    EXPECT_EQ(QuorixSetUserPasswordRuleInterface(nullptr, 2), 0xC7);
    EXPECT_EQ(calls(kEepromWrite), 0u);
    EXPECT_EQ(get(true), (Bytes{0, 0, 8, 0, 0, 0, 0, 0, 0, 5, 0, 0, 0}));
}

TEST_F(PasswordRule, AcceptedRequestsStoreLittleEndianInCacheAndEeprom) {
    const struct { std::vector<Bytes> requests; Bytes record; unsigned writes; } cases[] = {
        {{{1, 12}, {1, 12}, {7, 5, 0, 0, 0}}, {0, 12, 0, 0, 0, 0, 0, 0, 5, 0, 0, 0}, 1},  // equal values: nothing written
        {{{1, 16}, {2, 1}, {3, 31}, {4, 0x5A, 0x00}, {5, 10}, {6, 5}, {7, 0x3C, 0, 0, 0}, {0, 1}},
         {1, 16, 1, 31, 0x5A, 0x00, 10, 5, 0x3C, 0, 0, 0}, 8},
        {{{255, 1, 12, 1, 0x15, 0x00, 0x5A, 9, 4, 0x00, 0x00, 0x00, 0x3C}}, {1, 12, 1, 0x15, 0x5A, 0x00, 9, 4, 0x3C, 0, 0, 0}, 1},
        // Disabled: defaults for the checked bytes (the stored maximum age cleared), the others as sent.
        {{{255, 0, 99, 7, 200, 0x12, 0x34, 77, 66, 0x12, 0x34, 0x56, 0x78}}, {0, 8, 7, 200, 0, 0, 77, 66, 5, 0, 0, 0}, 1},
        {{{255, 1, 8, 0, 200, 0, 0, 0, 0, 0, 0, 0, 5}}, {1, 8, 0, 200, 0, 0, 0, 0, 5, 0, 0, 0}, 1}};  // mask unchecked
    for (const auto &c : cases) {
        const unsigned before = calls(kEepromWrite);
        for (Bytes r : c.requests) EXPECT_EQ(set(r), 0) << ::testing::PrintToString(r);
        EXPECT_EQ(calls(kEepromWrite) - before, c.writes);
        EXPECT_EQ(qtest::eeprom(kRuleOffset, 12), c.record);
        EXPECT_EQ(quorix_passwd_rule_got_flag, 1);
        const Bytes answer = get(true);
        EXPECT_EQ(Bytes(answer.begin() + 1, answer.end()), c.record) << "completion code " << int(answer[0]);
    }
}

TEST_F(PasswordRule, EepromFailuresAnswerTheirCodeAndLog) {
    qtest::logToConsole({"QRXMONITOR", "QRXPWOFFPRO"});
    const struct { int slot, fault; const char *says; } cases[] = {
        {kEepromWrite, 2, "Write UserPassWdRUle to EEPROM failed! retval=6"},  // 6 of 12 bytes
        {kEepromRead, 1, "Read UserPassWdRUle to EEPROM failed! retval=-1"},
        {kEepromRead, 2, "Read UserPassWdRUle to EEPROM failed! retval=6"}};  // 6 of 12 bytes
    for (const auto &c : cases) {
        qtest::Sim::get().setFault(c.slot, c.fault);
        quorix_passwd_rule_got_flag = 0;
        Bytes res(13, 0xAA);
        const std::string out = qtest::captureStdout([&] {
            if (c.slot == kEepromWrite) EXPECT_EQ(set({1, static_cast<unsigned char>(12 + c.fault)}), 0xFF);
            else EXPECT_EQ(QuorixGetUserPasswordRuleInterface(res.data()), 1);
        });
        EXPECT_NE(out.find(c.says), std::string::npos) << out;
        if (c.slot == kEepromWrite) EXPECT_EQ(get(true)[2], 12 + c.fault) << "the cache keeps the value";
        else EXPECT_EQ(std::string(res.begin(), res.end()), "\x83" + std::string(12, '\xAA')) << "only the code is written";
        qtest::Sim::get().setFault(c.slot, 0);
    }
    EXPECT_EQ(quorix_passwd_rule_got_flag, 0);
    EXPECT_EQ(QuorixGetUserPasswordRuleInterface(nullptr), -1);
}

TEST_F(PasswordRule, GetReadsTheEepromOnceUntilTheFlagIsCleared) {
    const struct { Bytes eeprom, answer; } cases[] = {
        {{1, 14, 1, 0x11, 0x2D, 0x00, 3, 2, 0x1E, 0, 0, 0}, {0, 1, 14, 1, 0x11, 0x2D, 0x00, 3, 2, 0x1E, 0, 0, 0}},
        {{0, 10, 1, 1, 1, 0, 1, 1, 9, 0, 0, 0}, {0, 0, 14, 1, 0x11, 0x2D, 0x00, 3, 2, 0x1E, 0, 0, 0}}};  // disabled: only that
    for (const auto &c : cases) {
        qtest::putEeprom(kRuleOffset, c.eeprom);
        quorix_passwd_rule_got_flag = 0;
        EXPECT_EQ(get(), c.answer);
        EXPECT_EQ(quorix_passwd_rule_got_flag, 1);
        qtest::putEeprom(kRuleOffset, {1, 9, 0, 0, 0, 0, 0, 0, 5, 0, 0, 0});
        EXPECT_EQ(get(), c.answer) << "cached";
    }
    // Another process's set is seen only once the flag is cleared.
    EXPECT_EQ(qtest::inChild([] { std::printf("%d", set({255, 1, 13, 0, 0, 0, 30, 4, 3, 0, 0, 0, 10})); }) + std::to_string(get()[2]), "014");
    quorix_passwd_rule_got_flag = 0;
    EXPECT_EQ(get(), (Bytes{0, 1, 13, 0, 0, 30, 0, 4, 3, 10, 0, 0, 0}));
}

const std::string kBios = "/conf/redfish/bios/", kCurrent = kBios + "bios_current_settings.json";

class BiosFiles : public qtest::BoundTest {
protected:
    void SetUp() override {
        qtest::BoundTest::SetUp();
        ASSERT_EQ(qtest::runCommand("mkdir -p " + kBios).status, 0);
    }
};

TEST_F(BiosFiles, CurrentSettingLookupAndTheFileVerdictsAnswerTheirCodes) {
    char out[8];
    EXPECT_EQ(GetCurrentSetValue(nullptr, out, 8), -1);
    EXPECT_EQ(GetCurrentSetValue("A", nullptr, 8), -1);
    EXPECT_EQ(GetCurrentSetValue("A", out, 8), -2);
    const struct { const char *current, *name; int size, result; } cases[] = {
        {"not json {", "A", 8, -3}, {R"({"Other":{}})", "A", 8, -4}, {R"({"Attributes":{"A":"Enabled"}})", "B", 8, -5},
        {R"({"Attributes":{"A":"Enabled"}})", "A", 7, -6}, {R"({"Attributes":{"A":"Enabled"}})", "A", 0, -6},
        {R"({"Attributes":{"A":"Enabled"}})", "A", 8, 0}};
    for (const auto &c : cases) {
        qtest::writeFile(kCurrent, c.current);
        EXPECT_EQ(GetCurrentSetValue(c.name, out, c.size), c.result) << c.current << " " << c.size;
    }
    EXPECT_STREQ(out, "Enabled");
    const struct { const char *file, *text; int (*verdict)(); int rc; } verdicts[] = {
        {"bios_future_settings.json", R"({"AttributeRegistry":"R"})", QuorixGetAttributeValueFromJson, -1},
        {"bios_future_settings.json", R"({"Attributes":{}})", QuorixGetAttributeValueFromJson, 0},
        {"setting_result.json", R"({"SettingResult":{}})", QuorixGetResultFromJson, -1},
        {"setting_result.json", R"({"SettingResult":{"Result":"EFI_SUCCESS"}})", QuorixGetResultFromJson, 0},
        {"setting_result.json", R"({"SettingResult":{"Result":"EFI_SUCCESSFUL"}})", QuorixGetResultFromJson, -1}};
    EXPECT_EQ(QuorixGetAttributeValueFromJson() + QuorixGetResultFromJson(), -2) << "files missing";
    for (const auto &c : verdicts) {
        qtest::writeFile(kBios + c.file, c.text);
        EXPECT_EQ(c.verdict(), c.rc) << c.text;
    }
}

// Pending changes win over the current settings; other top-level keys go.
TEST_F(BiosFiles, FutureSettingsMergeThePendingChangesIntoTheCurrentOnes) {
    const std::string kFuture = kBios + "bios_future_settings.json";
    EXPECT_EQ(GenerateFutureSetJson(), -1) << "no current file";
    qtest::writeFile(kCurrent, R"({"Attributes":{"BootMode":"UEFI","QuietBoot":1,"Numa":"On"},"Other":2})");
    qtest::writeFile(kFuture, R"({"AttributeRegistry":"R1","Attributes":{"QuietBoot":0,"NewOpt":"X"}})");
    ASSERT_EQ(GenerateFutureSetJson(), 0);
    EXPECT_EQ(qtest::readFile(kFuture).find("AttributeRegistry"), std::string::npos);
    std::rename(kFuture.c_str(), kCurrent.c_str());
    std::string values;
    for (const char *name : {"BootMode", "QuietBoot", "Numa", "NewOpt", "Other"}) {
        char value[16] = "-";
        GetCurrentSetValue(name, value, sizeof value);
        values += std::string(value) + " ";
    }
    EXPECT_EQ(values, "UEFI 0 On X - ");
    qtest::writeFile(kFuture, "{ broken");
    EXPECT_EQ(GenerateFutureSetJson(), -1);
    EXPECT_EQ(qtest::readFile(kFuture), "{ broken") << "an unparsable future file is left alone";
}

// The preserve-setup flag: an EEPROM byte read once per process (three
// tries), set to 1 only after the future settings were written.
using ConfFlag = BiosFiles;
constexpr int kFlagOffset = 648;

TEST_F(ConfFlag, ReadOnceThreeTriesAndSetAfterTheFutureFile) {
    auto get = [&] {
        unsigned char flag = 0xAA;
        const unsigned before = calls(kEepromRead);
        int rc = QuorixGetConfFlagInterface(&flag);
        std::printf("get %d/%d/%u ", rc, flag, calls(kEepromRead) - before);
    };
    auto set = [](int v) { return [v] { std::printf("set %d ", QuorixSetConfFlagInterface(v)); }; };
    auto run = [](const std::function<void()> &steps) { return qtest::plainOutput(qtest::inChild(steps)); };
    EXPECT_EQ(QuorixGetConfFlagInterface(nullptr), -1);
    qtest::putEeprom(kFlagOffset, {1});
    EXPECT_EQ(run([&] { get(), qtest::putEeprom(kFlagOffset, {0}), get(); }), "get 0/1/1 get 0/1/0 ");
    qtest::Sim::get().setFault(kEepromRead, 1);
    EXPECT_NE(run(get).find("get -1/170/3"), std::string::npos);
    qtest::Sim::get().setFault(kEepromRead, 0);
    EXPECT_EQ(run(set(2)), "set 1 ");
    EXPECT_NE(run(set(1)).find("===Generate Future Json File fail !!!======\r\n\nset 1 "), std::string::npos);
    EXPECT_EQ(qtest::eeprom(kFlagOffset, 1), std::vector<unsigned char>{0});
    qtest::writeFile(kCurrent, R"({"Attributes":{"BootMode":"UEFI"}})");
    EXPECT_EQ(run([&] { set(1)(), get(); }), "set 0 get 0/1/0 ") << "the set fills the cache";
    EXPECT_TRUE(qtest::fileExists(kBios + "bios_future_settings.json"));
    qtest::Sim::get().setFault(kEepromWrite, 1);
    const unsigned writes = calls(kEepromWrite);
    EXPECT_NE(run(set(0)).find("\r\n===Write Conf Flag 0 EEPROM fail !!!======\r\n"), std::string::npos);
    EXPECT_EQ(calls(kEepromWrite) - writes, 3u);
}

}  // namespace
