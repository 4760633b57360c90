// Preserve-setup flag (EEPROM byte with retries and a per-process cache) and
// the BIOS setting files: future-settings merge, attribute lookup, verdicts.
#include <sys/stat.h>

#include <cstdio>
#include <string>

#include "password_rule_test_util.h"

namespace {

const std::string kBiosDir = "/conf/redfish/bios/";
const std::string kCurrent = kBiosDir + "bios_current_settings.json";
const std::string kFuture = kBiosDir + "bios_future_settings.json";
const std::string kResult = kBiosDir + "setting_result.json";

class BiosFiles : public qtest::BoundTest {
protected:
    void SetUp() override {
        qtest::BoundTest::SetUp();
        mkdir("/conf/redfish", 0755);
        mkdir(kBiosDir.c_str(), 0755);
    }
};

// The flag's cache must start unread in each case: every case runs in a child
// of a process that never touched it.
using ConfFlag = BiosFiles;

TEST_F(ConfFlag, Get_ReadsOnceThenAnswersFromCache) {
    ptest::putEeprom(ptest::kConfFlagOffset, {1});
    std::string out = ptest::inChild([] {
        unsigned char flag = 0xAA;
        int rc = QuorixGetConfFlagInterface(&flag);
        unsigned reads = qtest::Sim::get().callCount(qrx::slotIndex(qrx::Slot::QuorixReadMainBoardEEprom));
        unsigned char zero = 0;
        QuorixWriteMainBoardEEprom(ptest::kConfFlagOffset, &zero, 1);
        unsigned char again = 0xAA;
        int rc2 = QuorixGetConfFlagInterface(&again);
        std::printf("%d %d %d %d %u\n", rc, flag, rc2, again, qtest::Sim::get().callCount(qrx::slotIndex(qrx::Slot::QuorixReadMainBoardEEprom)) - reads);
        std::printf("%d\n", QuorixGetConfFlagInterface(nullptr));
    });
    EXPECT_EQ(out, "0 1 0 1 0\n-1\n");
}

TEST_F(ConfFlag, Get_ThreeFailedReadsPrintAndLogEachAndReturnMinusOne) {
    ptest::logToConsole();
    qtest::Sim::get().setFault(qrx::slotIndex(qrx::Slot::QuorixReadMainBoardEEprom), 1);
    std::string out = ptest::inChild([] {
        unsigned char flag = 0xAA;
        std::printf("rc=%d flag=%d\n", QuorixGetConfFlagInterface(&flag), flag);
    });
    const std::string line = "[Error]: Read Preserve setup flag from EEPROM failed! Read flag Size=-1 \n";
    std::size_t printed = 0, logged = 0;
    for (std::size_t at = out.find(line); at != std::string::npos; at = out.find(line, at + 1)) {
        if (at > 0 && out[at - 1] == '>')
            ++logged;
        else
            ++printed;
    }
    EXPECT_EQ(printed, 3u) << out;
    EXPECT_EQ(logged, 3u) << out;
    EXPECT_NE(out.find("rc=-1 flag=170"), std::string::npos) << out;
    EXPECT_EQ(qtest::Sim::get().callCount(qrx::slotIndex(qrx::Slot::QuorixReadMainBoardEEprom)), 3u);
}

TEST_F(ConfFlag, Set_RefusesValuesAboveOne) {
    std::string out =
        ptest::inChild([] { std::printf("%d %d\n", QuorixSetConfFlagInterface(2), QuorixSetConfFlagInterface(255)); });
    EXPECT_EQ(out, "1 1\n");
    EXPECT_EQ(qtest::Sim::get().callCount(qrx::slotIndex(qrx::Slot::QuorixWriteMainBoardEEprom)), 0u);
}

TEST_F(ConfFlag, SetOne_WithoutCurrentSettingsFailsAndLeavesEeprom) {
    ptest::logToConsole();
    ptest::putEeprom(ptest::kConfFlagOffset, {0});
    std::string out = ptest::inChild([] { std::printf("rc=%d\n", QuorixSetConfFlagInterface(1)); });
    EXPECT_NE(out.find("rc=1"), std::string::npos);
    EXPECT_NE(out.find("\r\n===Generate Future Json File fail !!!======\r\n"), std::string::npos) << out;
    EXPECT_EQ(ptest::eeprom(ptest::kConfFlagOffset, 1), std::vector<unsigned char>{0});
    EXPECT_FALSE(qtest::fileExists(kFuture));
}

TEST_F(ConfFlag, SetOne_WritesFutureFileThenEepromAndCache) {
    qtest::writeFile(kCurrent, R"({"Attributes":{"BootMode":"UEFI","QuietBoot":1}})");
    std::string out = ptest::inChild([] {
        int rc = QuorixSetConfFlagInterface(1);
        unsigned reads = qtest::Sim::get().callCount(qrx::slotIndex(qrx::Slot::QuorixReadMainBoardEEprom));
        unsigned char flag = 0;
        QuorixGetConfFlagInterface(&flag);
        std::printf("%d %d %u\n", rc, flag, qtest::Sim::get().callCount(qrx::slotIndex(qrx::Slot::QuorixReadMainBoardEEprom)) - reads);
    });
    EXPECT_EQ(out, "0 1 0\n");
    EXPECT_EQ(ptest::eeprom(ptest::kConfFlagOffset, 1), std::vector<unsigned char>{1});
    EXPECT_TRUE(qtest::fileExists(kFuture));
}

TEST_F(ConfFlag, SetZero_NeverTouchesJsonFiles) {
    qtest::writeFile(kCurrent, R"({"Attributes":{"BootMode":"UEFI"}})");
    std::string out = ptest::inChild([] { std::printf("%d\n", QuorixSetConfFlagInterface(0)); });
    EXPECT_EQ(out, "0\n");
    EXPECT_FALSE(qtest::fileExists(kFuture));
    EXPECT_EQ(ptest::eeprom(ptest::kConfFlagOffset, 1), std::vector<unsigned char>{0});
}

TEST_F(ConfFlag, Set_ThreeFailedWritesReportWithBothTexts) {
    ptest::logToConsole();
    qtest::Sim::get().setFault(qrx::slotIndex(qrx::Slot::QuorixWriteMainBoardEEprom), 1);
    std::string out = ptest::inChild([] { std::printf("rc=%d\n", QuorixSetConfFlagInterface(0)); });
    const std::string printed = "\r\n===Write Conf Flag 0 EEPROM fail !!!======\r\n";
    const std::string logged = "\r\n===Write Conf Flag 0 To EEPROM fail !!!======\r\n";
    std::size_t p = 0, l = 0;
    for (std::size_t at = out.find(printed); at != std::string::npos; at = out.find(printed, at + 1)) ++p;
    for (std::size_t at = out.find(logged); at != std::string::npos; at = out.find(logged, at + 1)) ++l;
    EXPECT_EQ(p, 3u) << out;
    EXPECT_EQ(l, 3u) << out;
    EXPECT_NE(out.find("rc=1"), std::string::npos);
    EXPECT_EQ(qtest::Sim::get().callCount(qrx::slotIndex(qrx::Slot::QuorixWriteMainBoardEEprom)), 3u);
}

TEST_F(BiosFiles, GenerateFuture_WithoutFutureFileCopiesCurrentAttributes) {
    qtest::writeFile(kCurrent, R"({"Attributes":{"BootMode":"UEFI","QuietBoot":1},"Other":2})");
    ASSERT_EQ(GenerateFutureSetJson(), 0);
    char value[16];
    EXPECT_EQ(qtest::readFile(kFuture).find("\"Other\""), std::string::npos);
    // Read back through json-c to compare structure, not formatting.
    std::rename(kFuture.c_str(), kCurrent.c_str());
    EXPECT_EQ(GetCurrentSetValue("BootMode", value, sizeof value), 0);
    EXPECT_STREQ(value, "UEFI");
    EXPECT_EQ(GetCurrentSetValue("QuietBoot", value, sizeof value), 0);
    EXPECT_STREQ(value, "1");
}

TEST_F(BiosFiles, GenerateFuture_PendingChangesWinAndOtherKeysDropped) {
    qtest::writeFile(kCurrent, R"({"Attributes":{"BootMode":"UEFI","QuietBoot":1,"Numa":"Enabled"}})");
    qtest::writeFile(kFuture,
                     R"({"AttributeRegistry":"BiosAttributeRegistry.1","Attributes":{"QuietBoot":0,"NewOpt":"X"}})");
    ASSERT_EQ(GenerateFutureSetJson(), 0);
    std::string text = qtest::readFile(kFuture);
    EXPECT_EQ(text.find("AttributeRegistry"), std::string::npos) << text;
    std::rename(kFuture.c_str(), kCurrent.c_str());
    const struct {
        const char *name;
        const char *value;
    } expected[] = {{"BootMode", "UEFI"}, {"QuietBoot", "0"}, {"Numa", "Enabled"}, {"NewOpt", "X"}};
    for (const auto &e : expected) {
        char value[16] = {};
        EXPECT_EQ(GetCurrentSetValue(e.name, value, sizeof value), 0) << e.name;
        EXPECT_STREQ(value, e.value) << e.name;
    }
}

TEST_F(BiosFiles, GenerateFuture_Failures) {
    EXPECT_EQ(GenerateFutureSetJson(), -1);  // no current file
    qtest::writeFile(kCurrent, R"({"NoAttributes":{}})");
    EXPECT_EQ(GenerateFutureSetJson(), -1);
    qtest::writeFile(kCurrent, R"({"Attributes":{"A":"1"}})");
    qtest::writeFile(kFuture, "{ broken");
    EXPECT_EQ(GenerateFutureSetJson(), -1);
    EXPECT_EQ(qtest::readFile(kFuture), "{ broken") << "an unparsable future file is left alone";
}

TEST_F(BiosFiles, GetCurrentSetValue_ErrorCodes) {
    char out[8];
    EXPECT_EQ(GetCurrentSetValue(nullptr, out, 8), -1);
    EXPECT_EQ(GetCurrentSetValue("A", nullptr, 8), -1);
    EXPECT_EQ(GetCurrentSetValue("A", out, 8), -2);
    qtest::writeFile(kCurrent, "not json {");
    EXPECT_EQ(GetCurrentSetValue("A", out, 8), -3);
    qtest::writeFile(kCurrent, R"({"Other":{}})");
    EXPECT_EQ(GetCurrentSetValue("A", out, 8), -4);
    qtest::writeFile(kCurrent, R"({"Attributes":{"A":"Enabled"}})");
    EXPECT_EQ(GetCurrentSetValue("B", out, 8), -5);
    EXPECT_EQ(GetCurrentSetValue("A", out, 7), -6) << "size equal to the length";
    EXPECT_EQ(GetCurrentSetValue("A", out, 0), -6);
    EXPECT_EQ(GetCurrentSetValue("A", out, 8), 0);
    EXPECT_STREQ(out, "Enabled");
}

TEST_F(BiosFiles, GetBiosSetupOption_PrintsValueOrError) {
    qtest::writeFile(kCurrent, R"({"Attributes":{"BootMode":"Legacy"}})");
    int count = 0;
    std::string out = qtest::captureStdout([&] { count = GetBiosSetupOption("BootMode"); });
    EXPECT_EQ(out, "BootMode : Legacy\n");
    EXPECT_EQ(count, static_cast<int>(out.size()));
    out = qtest::captureStdout([&] { count = GetBiosSetupOption("Missing"); });
    EXPECT_EQ(out, "Error:-5 The arg is wrong or There is no bios_current_settings.json\n");
    EXPECT_EQ(count, static_cast<int>(out.size()));
}

TEST_F(BiosFiles, AttributeVerdictFromFutureFile) {
    ptest::logToConsole();
    std::string out = qtest::captureStdout([] { EXPECT_EQ(QuorixGetAttributeValueFromJson(), -1); });
    EXPECT_NE(out.find("Reading bios_future_setting.json failed"), std::string::npos) << out;
    qtest::writeFile(kFuture, R"({"AttributeRegistry":"R"})");
    out = qtest::captureStdout([] { EXPECT_EQ(QuorixGetAttributeValueFromJson(), -1); });
    EXPECT_NE(out.find("Attributes is NULL"), std::string::npos) << out;
    qtest::writeFile(kFuture, R"({"Attributes":{}})");
    EXPECT_EQ(QuorixGetAttributeValueFromJson(), 0);
}

TEST_F(BiosFiles, ResultVerdict) {
    ptest::logToConsole();
    std::string out = qtest::captureStdout([] { EXPECT_EQ(QuorixGetResultFromJson(), -1); });
    EXPECT_NE(out.find("SettingResult is NULL"), std::string::npos) << out;
    qtest::writeFile(kResult, R"({"SettingResult":{}})");
    out = qtest::captureStdout([] { EXPECT_EQ(QuorixGetResultFromJson(), -1); });
    EXPECT_NE(out.find("Result is NULL"), std::string::npos) << out;
    const struct {
        const char *result;
        int rc;
    } cases[] = {{"EFI_SUCCESS", 0}, {"EFI_ABORTED", -1}, {"EFI_SUCCESSFUL", -1}, {"", -1}};
    for (const auto &c : cases) {
        qtest::writeFile(kResult, std::string(R"({"SettingResult":{"Result":")") + c.result + "\"}}");
        EXPECT_EQ(QuorixGetResultFromJson(), c.rc) << c.result;
    }
}

}  // namespace
