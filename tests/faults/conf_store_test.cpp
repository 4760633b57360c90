// Configuration stores on a "/conf" that refuses writes (read-only, or full)
// and with files the process may not read: every store answers its failure
// code, and the files written before stay whole and loadable.
//
// Each fixture runs in a sandbox of its own (see CMakeLists.txt).
#include <fcntl.h>
#include <linux/capability.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>
#include <vector>

#include "quorix_test.h"

namespace {

using Bytes = std::vector<unsigned char>;
using Names = std::vector<std::string>;

const std::string kBiosDir = "/conf/redfish/bios/";
const std::string kCurrent = kBiosDir + "bios_current_settings.json";
const std::string kFuture = kBiosDir + "bios_future_settings.json";
const Names kBiosFiles = {"bios_current_settings.json", "bios_future_settings.json"};
constexpr const char *kSyslogConf = "/conf/syslog.conf";
constexpr std::size_t kSyslogGlobals = 0x621E01, kSyslogSize = 0x621EF9 - kSyslogGlobals;

// A JSON-backed service: one one-byte field set through its IPMI handler.
struct JsonService {
    std::string file;
    std::size_t field;  // block offset of the field the request sets
    unsigned char factoryValue, newValue;
    unsigned (*set)(unsigned char);
    int (*load)();
    const char *parseFailure;
};

const JsonService kServices[] = {
    {"SnmpTrapCfg.json", 0x621D4E + 1, 0, 2,
     [](unsigned char v) {
         const unsigned char r[] = {0, 1, v};
         return QuorixSetBMCSnmpTrapCfgInterface(r, 3);
     },
     QuorixGetSnmpTotalConfFromJson, "Get the total SnmpTrap configure struct from Json failed."},
    {"SmtpCfg.json", 0x621F91 + 267, 1, 2,
     [](unsigned char v) {
         const unsigned char r[] = {0, 14, v};
         return QuorixSetBMCSmtpCfgInterface(r, 3);
     },
     QuorixGetSmtpTotalConfFromJson, "Get the total Smtp configure struct from Json failed."},
    {"SnmpAgentCfg.json", 0x6221E9, 0, 1,
     [](unsigned char v) {
         const unsigned char r[] = {0, v};
         return QuorixSetBMCSnmpCfgInterface(r, 2, nullptr, 0);
     },
     QuorixGetSnmpAgentTotalConfFromJson, "Get the total Snmp configure struct from Json failed."},
};

unsigned char *block() {
    return static_cast<unsigned char *>(intf_quorix_mem);
}

// ---------------------------------------------------------------------------
// "/conf" mounted read-only; the test seeds it through the writable state
// folder the sandbox binds there.
class ReadOnlyConf : public qtest::BoundTest {
protected:
    void SetUp() override {
        BoundTest::SetUp();
        const char *state = std::getenv("QUORIX_STATE");
        ASSERT_NE(state, nullptr);
        seedDir_ = std::string(state) + "/conf/";
        qtest::clearDirectory(seedDir_);
        // Only ever run where "/conf" really refuses writes.
        int fd = open("/conf/probe", O_WRONLY | O_CREAT, 0644);
        if (fd >= 0) close(fd);
        ASSERT_TRUE(fd < 0 && errno == EROFS) << "run with --ro-conf";
        for (const char *name : {"LEVEL_INFO", "PATH_SERIAL", "ENABLE_IPMI", "ENABLE_QRXMONITOR", "ENABLE_QRXPWOFFPRO"})
            qtest::writeFile(seedDir_ + "quorix_debug/" + name, "");
        qtest::writeFile("/var/quorix_debug_reload", "");
    }
    void seed(const std::string &confPath, const std::string &text) {
        qtest::writeFile(seedDir_ + confPath.substr(std::strlen("/conf/")), text);
        ASSERT_EQ(qtest::readFile(confPath), text);
    }
    std::string seedDir_;
};

TEST_F(ReadOnlyConf, JsonSaveAnswers0xFFKeepsTheFileAndItReloads) {
    for (const JsonService &s : kServices) {
        SCOPED_TRACE(s.file);
        const std::string stored = qtest::readFile("/etc/defconfig/" + s.file);
        ASSERT_FALSE(stored.empty());
        seed("/conf/" + s.file, stored);
        ASSERT_EQ(s.load(), 0);
        ASSERT_EQ(block()[s.field], s.factoryValue);
        unsigned cc = 0;
        qtest::captureStdout([&] { cc = s.set(s.newValue); });
        EXPECT_EQ(cc, 0xFFu);
        // The block already holds the change; the file does not.
        EXPECT_EQ(block()[s.field], s.newValue);
        EXPECT_EQ(qtest::readFile("/conf/" + s.file), stored);
        ASSERT_EQ(s.load(), 0);
        EXPECT_EQ(block()[s.field], s.factoryValue);
    }
    EXPECT_EQ(qtest::directoryEntries("/conf"),
              (Names{"SmtpCfg.json", "SnmpAgentCfg.json", "SnmpTrapCfg.json", "quorix_debug"}));
    // A forced save of an unchanged agent value writes, and fails, too.
    const unsigned char unchanged[] = {0, 0};
    unsigned plain = 1, forced = 0;
    qtest::captureStdout([&] {
        plain = QuorixSetBMCSnmpCfgInterface(unchanged, 2, nullptr, 0);
        forced = QuorixSetBMCSnmpCfgInterface(unchanged, 2, nullptr, 1);
    });
    EXPECT_EQ(plain, 0u) << "unchanged: nothing to write";
    EXPECT_EQ(forced, 0xFFu);
}

TEST_F(ReadOnlyConf, SyslogAnswers255AndKeepsBlockAndFile) {
    const std::string stored = "#SYSLOG=2,TAG=0,LEVEL=2,PROTOCAL=2\n";
    seed(kSyslogConf, stored);
    ASSERT_EQ(QuorixSyslogConfigInit(), 0u);
    ASSERT_EQ(qtest::blockBytes(kSyslogGlobals, 4), (Bytes{2, 0, 2, 2}));
    const Bytes before = qtest::blockBytes(kSyslogGlobals, kSyslogSize);
    const unsigned char request[] = {0, 1, 0, 1, 1};
    unsigned cc = 0;
    const std::string out = qtest::captureStdout([&] { cc = QuorixSetSyslogConfigInterface(request, 5); });
    EXPECT_EQ(cc, 255u);
    EXPECT_NE(out.find(">Open syslog.conf failed .\n"), std::string::npos) << out;
    EXPECT_EQ(qtest::blockBytes(kSyslogGlobals, kSyslogSize), before);
    EXPECT_EQ(qtest::readFile(kSyslogConf), stored);
    EXPECT_FALSE(qtest::fileExists("/var/run/rsyslog.calls")) << "nothing was restarted";
}

TEST_F(ReadOnlyConf, ConfFlagOneFailsBeforeTheEepromAndPendingSettingsStay) {
    const std::string future = R"({"AttributeRegistry":"R1","Attributes":{"QuietBoot":0}})";
    seed(kCurrent, R"({"Attributes":{"BootMode":"UEFI","QuietBoot":1}})");
    seed(kFuture, future);
    qtest::putEeprom(648, {0});
    const std::string out = qtest::inChild([] { std::printf("rc=%d\n", QuorixSetConfFlagInterface(1)); });
    EXPECT_NE(out.find("rc=1\n"), std::string::npos) << out;
    EXPECT_NE(out.find("\r\n===Generate Future Json File fail !!!======\r\n"), std::string::npos) << out;
    EXPECT_EQ(qtest::eeprom(648, 1), Bytes{0});
    EXPECT_EQ(qtest::readFile(kFuture), future);
    EXPECT_EQ(qtest::directoryEntries(kBiosDir), kBiosFiles);
}

// ---------------------------------------------------------------------------
// "/conf" a small tmpfs filled up by the test.
using FullConf = qtest::FullConfTest;

TEST_F(FullConf, FutureBiosSettingsAreNotLostWhenTheMergeCannotBeWritten) {
    // The merge is larger than the pending file it replaces, so even the
    // room the old file would free does not hold it.
    std::string current = R"({"Attributes":{"BootMode":"UEFI","QuietBoot":1)";
    for (int i = 0; i < 300; ++i) current += ",\"Option" + std::to_string(i) + "\":\"Enabled\"";
    const std::string future = R"({"AttributeRegistry":"R1","Attributes":{"QuietBoot":0,"NewOpt":"X"}})";
    qtest::writeFile(kCurrent, current + "}}");
    qtest::writeFile(kFuture, future);
    fillConf();
    EXPECT_EQ(GenerateFutureSetJson(), -1);
    EXPECT_EQ(qtest::readFile(kFuture), future);
    EXPECT_EQ(qtest::directoryEntries(kBiosDir), kBiosFiles);
    // With room again the same merge goes through.
    unlink("/conf/filler");
    ASSERT_EQ(GenerateFutureSetJson(), 0);
    ASSERT_EQ(std::rename(kFuture.c_str(), kCurrent.c_str()), 0);
    const std::pair<const char *, const char *> values[] = {
        {"QuietBoot", "0"}, {"NewOpt", "X"}, {"Option299", "Enabled"}};
    for (auto [name, value] : values) {
        char got[16] = {};
        EXPECT_EQ(GetCurrentSetValue(name, got, sizeof got), 0) << name;
        EXPECT_STREQ(got, value);
    }
    char got[16] = {};
    EXPECT_EQ(GetCurrentSetValue("AttributeRegistry", got, sizeof got), -5);
}

// ---------------------------------------------------------------------------
// Files the process may not read. The sandboxed tests run as root, so the
// fixture gives up the capabilities that bypass file permissions.
class UnreadableConf : public qtest::BoundTest {
protected:
    void SetUp() override {
        BoundTest::SetUp();
        header_.version = _LINUX_CAPABILITY_VERSION_3;
        ASSERT_EQ(syscall(SYS_capget, &header_, saved_), 0);
        __user_cap_data_struct reduced[2];
        std::memcpy(reduced, saved_, sizeof reduced);
        reduced[0].effective &= ~((1u << CAP_DAC_OVERRIDE) | (1u << CAP_DAC_READ_SEARCH));
        ASSERT_EQ(syscall(SYS_capset, &header_, reduced), 0);
        dropped_ = true;
        qtest::logToConsole({"IPMI", "QRXMONITOR", "QRXPWOFFPRO"});
        for (const JsonService &s : kServices) factory_.push_back(qtest::readFile("/etc/defconfig/" + s.file));
    }
    void TearDown() override {
        if (dropped_) syscall(SYS_capset, &header_, saved_);
        for (std::size_t i = 0; i < factory_.size(); ++i) {
            chmod(("/etc/defconfig/" + kServices[i].file).c_str(), 0644);
            qtest::writeFile("/etc/defconfig/" + kServices[i].file, factory_[i]);
        }
        BoundTest::TearDown();
    }
    static void unreadable(const std::string &path, const std::string &text) {
        qtest::writeFile(path, text);
        ASSERT_EQ(chmod(path.c_str(), 0), 0);
        ASSERT_LT(open(path.c_str(), O_RDONLY), 0) << "still readable";
    }
    __user_cap_header_struct header_{};
    __user_cap_data_struct saved_[2]{};
    bool dropped_ = false;
    std::vector<std::string> factory_;
};

TEST_F(UnreadableConf, JsonLoadFailsWithoutFallingBackAndLeavesTheBlock) {
    for (std::size_t i = 0; i < std::size(kServices); ++i) {
        const JsonService &s = kServices[i];
        SCOPED_TRACE(s.file);
        const std::string conf = "/conf/" + s.file, def = "/etc/defconfig/" + s.file;
        // A stored file that cannot be read (the factory default is not used
        // instead), then no stored file and an unreadable factory default.
        for (int step = 0; step < 2; ++step) {
            if (step == 0) unreadable(conf, factory_[i]);
            if (step == 1) {
                ASSERT_EQ(unlink(conf.c_str()), 0);
                ASSERT_EQ(chmod(def.c_str(), 0), 0);
            }
            std::memset(block() + s.field, 0xAA, 16);
            int rc = 0;
            EXPECT_NE(qtest::captureStdout([&] { rc = s.load(); }).find(s.parseFailure), std::string::npos);
            EXPECT_EQ(rc, -1);
            EXPECT_EQ(qtest::blockBytes(s.field, 16), Bytes(16, 0xAA));
        }
        // Readable again: the default loads.
        ASSERT_EQ(chmod(def.c_str(), 0644), 0);
        EXPECT_EQ(s.load(), 0);
        EXPECT_EQ(block()[s.field], s.factoryValue);
    }
}

TEST_F(UnreadableConf, SyslogStartUpKeepsTheDefaults) {
    ASSERT_EQ(QuorixSyslogConfigInit(), static_cast<unsigned>(-1));  // no file
    const Bytes defaults = qtest::blockBytes(kSyslogGlobals, kSyslogSize);
    unreadable(kSyslogConf, "#SYSLOG=2,TAG=0,LEVEL=3,PROTOCAL=2\n#DEST0=1,TYPE=1,PORT=514,HOSTNAME=10.0.0.1\n");
    std::memset(block() + kSyslogGlobals, 0x5A, 4);
    EXPECT_EQ(QuorixSyslogConfigInit(), static_cast<unsigned>(-1));
    EXPECT_EQ(qtest::blockBytes(kSyslogGlobals, kSyslogSize), defaults);
}

TEST_F(UnreadableConf, BiosFilesThatCannotBeReadCountAsUnparsable) {
    const std::string future = R"({"Attributes":{"QuietBoot":0}})";
    unreadable(kCurrent, R"({"Attributes":{"BootMode":"UEFI"}})");
    char value[16] = {};
    EXPECT_EQ(GetCurrentSetValue("BootMode", value, sizeof value), -3);
    EXPECT_EQ(GenerateFutureSetJson(), -1);
    EXPECT_FALSE(qtest::fileExists(kFuture));
    ASSERT_EQ(chmod(kCurrent.c_str(), 0644), 0);
    unreadable(kFuture, future);
    EXPECT_EQ(GenerateFutureSetJson(), -1);
    ASSERT_EQ(chmod(kFuture.c_str(), 0644), 0);
    EXPECT_EQ(qtest::readFile(kFuture), future);
    EXPECT_EQ(qtest::directoryEntries(kBiosDir), kBiosFiles);
}

}  // namespace
