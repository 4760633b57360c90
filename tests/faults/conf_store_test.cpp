// Configuration stores on a "/conf" that refuses writes (read-only or full, each fixture in a sandbox of its
// own): every store answers its failure code, and the files written before stay whole and loadable.
#include <fcntl.h>

#include "quorix_test.h"

namespace {

using Bytes = std::vector<unsigned char>;
const std::string kBiosDir = "/conf/redfish/bios/", kCurrent = kBiosDir + "bios_current_settings.json",
                  kFuture = kBiosDir + "bios_future_settings.json", kSyslogConf = "/conf/syslog.conf";
const std::vector<std::string> kBiosFiles = {"bios_current_settings.json", "bios_future_settings.json"};
constexpr std::size_t kSyslogGlobals = 0x621E01, kSyslogSize = 0x621EF9 - kSyslogGlobals;

// "/conf" mounted read-only, seeded through the writable state folder the sandbox binds there.
struct ReadOnlyConf : qtest::BoundTest {
    void SetUp() override {
        BoundTest::SetUp();
        seedDir_ = std::string(std::getenv("QUORIX_STATE")) + "/conf/";
        qtest::clearDirectory(seedDir_);
        ASSERT_TRUE(open("/conf/probe", O_WRONLY | O_CREAT, 0644) < 0 && errno == EROFS) << "run with --ro-conf";
        for (const char *name : {"LEVEL_INFO", "PATH_SERIAL", "ENABLE_IPMI", "ENABLE_QRXMONITOR", "ENABLE_QRXPWOFFPRO"})
            qtest::writeFile(seedDir_ + "quorix_debug/" + name, "");  // the debug log on the console
        qtest::writeFile("/var/quorix_debug_reload", "");
    }
    void seed(const std::string &confPath, const std::string &text) {
        qtest::writeFile(seedDir_ + confPath.substr(6), text);  // below "/conf/"
        ASSERT_EQ(qtest::readFile(confPath), text);
    }
    std::string seedDir_;
};

TEST_F(ReadOnlyConf, StoresFailAndKeepBlockFilesAndEeprom) {
    const std::string syslog = "#SYSLOG=2,TAG=0,LEVEL=2,PROTOCAL=2\n", future = R"({"AttributeRegistry":"R1","Attributes":{"QuietBoot":0}})";
    seed(kSyslogConf, syslog);
    seed(kCurrent, R"({"Attributes":{"BootMode":"UEFI","QuietBoot":1}})");
    seed(kFuture, future);
    qtest::putEeprom(648, {0});
    ASSERT_EQ(QuorixSyslogConfigInit(), 0u);
    const Bytes before = qtest::blockBytes(kSyslogGlobals, kSyslogSize);
    ASSERT_EQ(Bytes(before.begin(), before.begin() + 4), (Bytes{2, 0, 2, 2}));
    const unsigned char request[] = {0, 1, 0, 1, 1};
    unsigned cc = 0;
    const std::string out = qtest::captureStdout([&] { cc = QuorixSetSyslogConfigInterface(request, 5); }) +
                            qtest::inChild([] { std::printf("rc=%d\n", QuorixSetConfFlagInterface(1)); });
    EXPECT_EQ(cc, 255u);
    for (const char *line : {">Open syslog.conf failed .\n", "\r\n===Generate Future Json File fail !!!======\r\n", "rc=1\n"})
        EXPECT_NE(out.find(line), std::string::npos) << out;
    EXPECT_EQ(qtest::blockBytes(kSyslogGlobals, kSyslogSize), before);
    EXPECT_EQ(qtest::readFile(kSyslogConf) + qtest::readFile(kFuture), syslog + future);
    EXPECT_FALSE(qtest::fileExists("/var/run/rsyslog.calls")) << "nothing was restarted";
    EXPECT_EQ(qtest::eeprom(648, 1), Bytes{0});  // the flag fails before the EEPROM
    EXPECT_EQ(qtest::directoryEntries(kBiosDir), kBiosFiles);
}

using FullConf = qtest::FullConfTest;

TEST_F(FullConf, FutureBiosSettingsAreNotLostWhenTheMergeCannotBeWritten) {
    // The merge is larger than the pending file it replaces: the room that one frees does not hold it.
    std::string current = R"({"Attributes":{"BootMode":"UEFI","QuietBoot":1)";
    for (int i = 0; i < 300; ++i) current += ",\"Option" + std::to_string(i) + "\":\"Enabled\"";
    const std::string future = R"({"AttributeRegistry":"R1","Attributes":{"QuietBoot":0,"NewOpt":"X"}})";
    qtest::writeFile(kCurrent, current + "}}");
    qtest::writeFile(kFuture, future);
    fillConf();
    EXPECT_EQ(GenerateFutureSetJson(), -1);
    EXPECT_EQ(qtest::readFile(kFuture), future);
    EXPECT_EQ(qtest::directoryEntries(kBiosDir), kBiosFiles);
    unlink("/conf/filler");  // with room again the same merge goes through
    ASSERT_EQ(GenerateFutureSetJson(), 0);
    ASSERT_EQ(std::rename(kFuture.c_str(), kCurrent.c_str()), 0);
    for (auto [name, value] : {std::pair{"QuietBoot", "0"}, {"NewOpt", "X"}, {"Option299", "Enabled"}}) {
        char got[16] = {};
        EXPECT_EQ(std::to_string(GetCurrentSetValue(name, got, sizeof got)) + got, std::string("0") + value) << name;
    }
}

}  // namespace
