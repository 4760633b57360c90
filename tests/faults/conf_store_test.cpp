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

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "quorix_test.h"

namespace {

using Bytes = std::vector<unsigned char>;

const std::string kBiosDir = "/conf/redfish/bios/";
const std::string kCurrent = kBiosDir + "bios_current_settings.json";
const std::string kFuture = kBiosDir + "bios_future_settings.json";
constexpr int kConfFlagOffset = 648;
constexpr const char *kSyslogConf = "/conf/syslog.conf";
constexpr std::size_t kSyslogGlobals = 0x621E01;
constexpr std::size_t kSyslogEnd = 0x621EF9;

// A JSON-backed service: one one-byte field set through its IPMI handler.
struct JsonService {
    const char *file;
    std::size_t field;  // block offset of the field the request sets
    unsigned char factoryValue, newValue;
    std::function<unsigned(unsigned char)> set;
    int (*load)();
    const char *parseFailure;
};

unsigned setTrapLevel(unsigned char v) {
    const unsigned char r[] = {0, 1, v};
    return QuorixSetBMCSnmpTrapCfgInterface(r, 3);
}
unsigned setSmtpLevel(unsigned char v) {
    const unsigned char r[] = {0, 14, v};
    return QuorixSetBMCSmtpCfgInterface(r, 3);
}
unsigned setAgentV1(unsigned char v) {
    const unsigned char r[] = {0, v};
    return QuorixSetBMCSnmpCfgInterface(r, 2, nullptr, 0);
}

const JsonService kServices[] = {
    {"SnmpTrapCfg.json", 0x621D4E + 1, 0, 2, setTrapLevel, QuorixGetSnmpTotalConfFromJson,
     "Get the total SnmpTrap configure struct from Json failed."},
    {"SmtpCfg.json", 0x621F91 + 267, 1, 2, setSmtpLevel, QuorixGetSmtpTotalConfFromJson,
     "Get the total Smtp configure struct from Json failed."},
    {"SnmpAgentCfg.json", 0x6221E9, 0, 1, setAgentV1, QuorixGetSnmpAgentTotalConfFromJson,
     "Get the total Snmp configure struct from Json failed."},
};

unsigned char *block() {
    return static_cast<unsigned char *>(intf_quorix_mem);
}

// Debug-log lines of the configuration modules on standard output.
void logToConsole(const std::string &confDir) {
    for (const char *name : {"LEVEL_INFO", "PATH_SERIAL", "ENABLE_IPMI", "ENABLE_QRXMONITOR", "ENABLE_QRXPWOFFPRO"})
        qtest::writeFile(confDir + "quorix_debug/" + name, "");
    qtest::writeFile("/var/quorix_debug_reload", "");
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
        logToConsole(seedDir_);
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
        const std::string path = std::string("/conf/") + s.file;
        const std::string stored = qtest::readFile(std::string("/etc/defconfig/") + s.file);
        ASSERT_FALSE(stored.empty());
        seed(path, stored);
        ASSERT_EQ(s.load(), 0);
        ASSERT_EQ(block()[s.field], s.factoryValue);
        unsigned cc = 0;
        qtest::captureStdout([&] { cc = s.set(s.newValue); });
        EXPECT_EQ(cc, 0xFFu);
        // The block already holds the change; the file does not.
        EXPECT_EQ(block()[s.field], s.newValue);
        EXPECT_EQ(qtest::readFile(path), stored);
        ASSERT_EQ(s.load(), 0);
        EXPECT_EQ(block()[s.field], s.factoryValue);
    }
    EXPECT_EQ(qtest::directoryEntries("/conf"),
              (std::vector<std::string>{"SmtpCfg.json", "SnmpAgentCfg.json", "SnmpTrapCfg.json", "quorix_debug"}));
}

TEST_F(ReadOnlyConf, SnmpAgentForcedSaveOfAnUnchangedValueFailsToo) {
    seed("/conf/SnmpAgentCfg.json", qtest::readFile("/etc/defconfig/SnmpAgentCfg.json"));
    ASSERT_EQ(QuorixGetSnmpAgentTotalConfFromJson(), 0);
    const unsigned char r[] = {0, 0};
    unsigned plain = 1, forced = 0;
    qtest::captureStdout([&] {
        plain = QuorixSetBMCSnmpCfgInterface(r, 2, nullptr, 0);
        forced = QuorixSetBMCSnmpCfgInterface(r, 2, nullptr, 1);
    });
    EXPECT_EQ(plain, 0u) << "unchanged: nothing to write";
    EXPECT_EQ(forced, 0xFFu);
}

TEST_F(ReadOnlyConf, SyslogAnswers255AndKeepsBlockAndFile) {
    const std::string stored = "#SYSLOG=2,TAG=0,LEVEL=2,PROTOCAL=2\n";
    seed(kSyslogConf, stored);
    ASSERT_EQ(QuorixSyslogConfigInit(), 0u);
    ASSERT_EQ(qtest::blockBytes(kSyslogGlobals, 4), (Bytes{2, 0, 2, 2}));
    const Bytes before = qtest::blockBytes(kSyslogGlobals, kSyslogEnd - kSyslogGlobals);
    const unsigned char request[] = {0, 1, 0, 1, 1};
    unsigned cc = 0;
    const std::string out = qtest::captureStdout([&] { cc = QuorixSetSyslogConfigInterface(request, 5); });
    EXPECT_EQ(cc, 255u);
    EXPECT_NE(out.find(">Open syslog.conf failed .\n"), std::string::npos) << out;
    EXPECT_EQ(qtest::blockBytes(kSyslogGlobals, kSyslogEnd - kSyslogGlobals), before);
    EXPECT_EQ(qtest::readFile(kSyslogConf), stored);
    EXPECT_FALSE(qtest::fileExists("/var/run/rsyslog.calls")) << "nothing was restarted";
}

TEST_F(ReadOnlyConf, ConfFlagOneFailsBeforeTheEepromAndPendingSettingsStay) {
    const std::string future = R"({"AttributeRegistry":"R1","Attributes":{"QuietBoot":0}})";
    seed(kCurrent, R"({"Attributes":{"BootMode":"UEFI","QuietBoot":1}})");
    seed(kFuture, future);
    qtest::putEeprom(kConfFlagOffset, {0});
    const std::string out = qtest::inChild([] { std::printf("rc=%d\n", QuorixSetConfFlagInterface(1)); });
    EXPECT_NE(out.find("rc=1\n"), std::string::npos) << out;
    EXPECT_NE(out.find("\r\n===Generate Future Json File fail !!!======\r\n"), std::string::npos) << out;
    EXPECT_EQ(qtest::eeprom(kConfFlagOffset, 1), Bytes{0});
    EXPECT_EQ(qtest::readFile(kFuture), future);
    EXPECT_EQ(qtest::directoryEntries(kBiosDir),
              (std::vector<std::string>{"bios_current_settings.json", "bios_future_settings.json"}));
}

// ---------------------------------------------------------------------------
// "/conf" a small tmpfs filled up by the test.
using FullConf = qtest::FullConfTest;

TEST_F(FullConf, FutureBiosSettingsAreNotLostWhenTheMergeCannotBeWritten) {
    // The merge is larger than the pending file it replaces, so even the
    // room the old file would free does not hold it.
    std::string current = R"({"Attributes":{"BootMode":"UEFI","QuietBoot":1)";
    for (int i = 0; i < 300; ++i) current += ",\"Option" + std::to_string(i) + "\":\"Enabled\"";
    current += "}}";
    const std::string future = R"({"AttributeRegistry":"R1","Attributes":{"QuietBoot":0,"NewOpt":"X"}})";
    qtest::writeFile(kCurrent, current);
    qtest::writeFile(kFuture, future);
    fillConf();
    EXPECT_EQ(GenerateFutureSetJson(), -1);
    EXPECT_EQ(qtest::readFile(kFuture), future);
    EXPECT_EQ(qtest::directoryEntries(kBiosDir),
              (std::vector<std::string>{"bios_current_settings.json", "bios_future_settings.json"}));
    // With room again the same merge goes through.
    unlink("/conf/filler");
    ASSERT_EQ(GenerateFutureSetJson(), 0);
    ASSERT_EQ(std::rename(kFuture.c_str(), kCurrent.c_str()), 0);
    char value[16] = {};
    EXPECT_EQ(GetCurrentSetValue("QuietBoot", value, sizeof value), 0);
    EXPECT_STREQ(value, "0");
    EXPECT_EQ(GetCurrentSetValue("NewOpt", value, sizeof value), 0);
    EXPECT_STREQ(value, "X");
    EXPECT_EQ(GetCurrentSetValue("Option299", value, sizeof value), 0);
    EXPECT_STREQ(value, "Enabled");
    EXPECT_EQ(GetCurrentSetValue("AttributeRegistry", value, sizeof value), -5);
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
        const unsigned bypass = (1u << CAP_DAC_OVERRIDE) | (1u << CAP_DAC_READ_SEARCH);
        reduced[0].effective &= ~bypass;
        ASSERT_EQ(syscall(SYS_capset, &header_, reduced), 0);
        dropped_ = true;
        logToConsole("/conf/");
        for (const JsonService &s : kServices)
            factory_.push_back(qtest::readFile(std::string("/etc/defconfig/") + s.file));
    }
    void TearDown() override {
        if (dropped_) syscall(SYS_capset, &header_, saved_);
        for (std::size_t i = 0; i < factory_.size(); ++i) {
            const std::string path = std::string("/etc/defconfig/") + kServices[i].file;
            chmod(path.c_str(), 0644);
            qtest::writeFile(path, factory_[i]);
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
        const std::string conf = std::string("/conf/") + s.file;
        const std::string def = std::string("/etc/defconfig/") + s.file;
        // A stored file that exists but cannot be read: the factory default is not used instead.
        unreadable(conf, factory_[i]);
        std::memset(block() + s.field, 0xAA, 16);
        int rc = 0;
        std::string out = qtest::captureStdout([&] { rc = s.load(); });
        EXPECT_EQ(rc, -1);
        EXPECT_NE(out.find(s.parseFailure), std::string::npos) << out;
        EXPECT_EQ(qtest::blockBytes(s.field, 16), Bytes(16, 0xAA));
        // No stored file and an unreadable factory default.
        ASSERT_EQ(unlink(conf.c_str()), 0);
        ASSERT_EQ(chmod(def.c_str(), 0), 0);
        out = qtest::captureStdout([&] { rc = s.load(); });
        EXPECT_EQ(rc, -1);
        EXPECT_NE(out.find(s.parseFailure), std::string::npos) << out;
        EXPECT_EQ(qtest::blockBytes(s.field, 16), Bytes(16, 0xAA));
        // Readable again: the default loads.
        ASSERT_EQ(chmod(def.c_str(), 0644), 0);
        EXPECT_EQ(s.load(), 0);
        EXPECT_EQ(block()[s.field], s.factoryValue);
    }
}

TEST_F(UnreadableConf, SyslogStartUpKeepsTheDefaults) {
    ASSERT_EQ(QuorixSyslogConfigInit(), static_cast<unsigned>(-1));  // no file
    const Bytes defaults = qtest::blockBytes(kSyslogGlobals, kSyslogEnd - kSyslogGlobals);
    unreadable(kSyslogConf, "#SYSLOG=2,TAG=0,LEVEL=3,PROTOCAL=2\n#DEST0=1,TYPE=1,PORT=514,HOSTNAME=10.0.0.1\n");
    std::memset(block() + kSyslogGlobals, 0x5A, 4);
    EXPECT_EQ(QuorixSyslogConfigInit(), static_cast<unsigned>(-1));
    EXPECT_EQ(qtest::blockBytes(kSyslogGlobals, kSyslogEnd - kSyslogGlobals), defaults);
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
    EXPECT_EQ(qtest::directoryEntries(kBiosDir),
              (std::vector<std::string>{"bios_current_settings.json", "bios_future_settings.json"}));
}

}  // namespace
