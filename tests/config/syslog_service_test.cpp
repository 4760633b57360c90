// Syslog set/get interface, writer, start-up parse, tag and restart, with a
// real rsyslogd behind "/etc/init.d/rsyslog" in the sandbox.
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "config/syslog/syslog_file.h"
#include "quorix_test.h"

namespace {

using Bytes = std::vector<unsigned char>;
namespace sl = qrx::config::syslog;

constexpr std::size_t kGlobals = 0x621E01;
constexpr std::size_t kDest0 = 0x621E05;
constexpr std::size_t kTagText = 0x621ED9;
constexpr const char *kConf = "/conf/syslog.conf";
constexpr const char *kCalls = "/var/run/rsyslog.calls";

Bytes destRequest(unsigned char index, unsigned char enable, unsigned char type, const std::string &host,
                  std::uint32_t port) {
    Bytes r = {1, index, enable, type};
    Bytes h(47, 0);
    std::memcpy(h.data(), host.data(), std::min<std::size_t>(host.size(), 47));
    r.insert(r.end(), h.begin(), h.end());
    for (int shift : {24, 16, 8, 0}) r.push_back(static_cast<unsigned char>(port >> shift));
    return r;
}

unsigned set(const Bytes &request) {
    return QuorixSetSyslogConfigInterface(request.data(), static_cast<int>(request.size()));
}

// Destination record as it stands in the block (port little-endian).
Bytes destRecord(unsigned char enable, unsigned char type, const std::string &host, std::uint32_t port) {
    Bytes r = {enable, type};
    Bytes h(47, 0);
    std::memcpy(h.data(), host.data(), host.size());
    r.insert(r.end(), h.begin(), h.end());
    for (int shift : {0, 8, 16, 24}) r.push_back(static_cast<unsigned char>(port >> shift));
    return r;
}

class SyslogService : public qtest::BoundTest {
protected:
    void SetUp() override {
        BoundTest::SetUp();
        qtest::logToConsole({"IPMI", "QRXMONITOR"});
        QuorixSyslogConfigInit();  // no file: the defaults
        resetCalls();
    }
    void TearDown() override {
        EXPECT_EQ(std::system("/etc/init.d/rsyslog stop >/dev/null 2>&1"), 0);
        BoundTest::TearDown();
    }
    static void resetCalls() { std::remove(kCalls); }
    static std::string calls() { return qtest::readFile(kCalls); }
    static void enableRemote(unsigned char protocol = 0) { ASSERT_EQ(set({0, 2, 0, 1, protocol}), 0u); }
};

TEST_F(SyslogService, DefaultsAfterStartUpWithoutFile) {
    EXPECT_EQ(QuorixSyslogConfigInit(), 0xFFFFFFFFu);
    EXPECT_EQ(qtest::blockBytes(kGlobals, 4), (Bytes{1, 0, 1, 1}));
    for (std::size_t i = 0; i < 4; ++i) EXPECT_EQ(qtest::blockBytes(kDest0 + 53 * i, 53), destRecord(0, 3, "", 514));
}

TEST_F(SyslogService, GetReturnsGlobalsAndDestinationsAsStored) {
    ASSERT_EQ(set(destRequest(2, 1, 1, "10.0.0.2", 0x1234)), 0u);
    unsigned char out[300];
    std::memset(out, 0xEE, sizeof out);
    EXPECT_EQ(QuorixGetSyslogConfigInterface(0, out), 5);
    EXPECT_EQ(Bytes(out, out + 6), (Bytes{0, 1, 0, 1, 1, 0xEE}));
    EXPECT_EQ(QuorixGetSyslogConfigInterface(1, out), 213);
    EXPECT_EQ(out[0], 0);
    EXPECT_EQ(Bytes(out + 1 + 2 * 53, out + 1 + 3 * 53), destRecord(1, 1, "10.0.0.2", 0x1234));
    EXPECT_EQ(out[213], 0xEE);
    std::memset(out, 0xEE, sizeof out);
    EXPECT_EQ(QuorixGetSyslogConfigInterface(2, out), -1);
    EXPECT_EQ(out[0], 0xEE);
    EXPECT_EQ(QuorixGetSyslogConfigInterface(0, nullptr), -1);
}

TEST_F(SyslogService, CompletionCodesOfRefusedRequests) {
    const struct {
        Bytes request;
        unsigned cc;
    } cases[] = {
        {{0, 2, 0, 1}, 199},
        {{0, 2, 0, 1, 0, 0}, 199},
        {{0, 0, 0, 1, 0}, 201},
        {{0, 3, 0, 1, 0}, 201},
        {{0, 2, 3, 1, 0}, 201},
        {{0, 2, 0, 4, 0}, 201},
        {{0, 2, 0, 1, 4}, 201},
        {Bytes(54, 1), 199},
        {destRequest(4, 1, 1, "10.0.0.1", 514), 201},
        {destRequest(0, 2, 1, "10.0.0.1", 514), 201},
        {destRequest(0, 1, 4, "10.0.0.1", 514), 201},
        {destRequest(0, 1, 1, "10.0.0.1", 65536), 201},
        {destRequest(0, 1, 1, "bad host.com", 514), 204},
        {destRequest(0, 1, 1, "tab\thost.com", 514), 204},
        {destRequest(0, 1, 1, "host.1com", 514), 204},
        {destRequest(0, 0, 1, "nodots", 514), 204},
        {{2, 0, 0}, 199},
        {{2}, 199},
        {{2, 4}, 201},
        {{2, 0}, 213},
        {{3, 0}, 201},
        {{0xFF}, 201},
    };
    const Bytes before = qtest::blockBytes(kGlobals, 0x621EF9 - kGlobals);
    for (const auto &c : cases) {
        EXPECT_EQ(set(c.request), c.cc) << "selector " << int(c.request[0]) << " length " << c.request.size();
    }
    EXPECT_EQ(qtest::blockBytes(kGlobals, 0x621EF9 - kGlobals), before);
    EXPECT_FALSE(qtest::fileExists(kConf));
    EXPECT_EQ(calls(), "");
    EXPECT_EQ(QuorixSetSyslogConfigInterface(nullptr, 5), 199u);
    EXPECT_EQ(QuorixSetSyslogConfigInterface(Bytes{0}.data(), 0), 199u);
}

TEST_F(SyslogService, InvalidHostIsLoggedForIpmi) {
    unsigned cc = 0;
    std::string out = qtest::captureStdout([&] { cc = set(destRequest(1, 1, 3, "nodots", 514)); });
    EXPECT_EQ(cc, 204u);
    EXPECT_NE(out.find("[Error]:<"), std::string::npos) << out;
    EXPECT_NE(out.find(">Invalid data format of Syslog destination!\n"), std::string::npos) << out;
}

TEST_F(SyslogService, GlobalsChangeWritesFileRestartsThenStores) {
    ASSERT_EQ(set({0, 2, 0, 3, 1}), 0u);
    EXPECT_EQ(qtest::blockBytes(kGlobals, 4), (Bytes{2, 0, 3, 1}));
    sl::SyslogConfig c;
    c.syslog = 2;
    c.level = 3;
    c.protocol = 1;
    EXPECT_EQ(qtest::readFile(kConf), std::string(sl::configText(c).view()));
    EXPECT_EQ(calls(), "stop\nstart\n");
}

TEST_F(SyslogService, UnchangedRequestsWriteNothingAndRestartNothing) {
    EXPECT_EQ(set({0, 1, 0, 1, 1}), 0u);
    EXPECT_EQ(set(destRequest(3, 0, 3, "", 514)), 0u);
    EXPECT_FALSE(qtest::fileExists(kConf));
    EXPECT_EQ(calls(), "");
    ASSERT_EQ(set(destRequest(3, 1, 2, "log.example.com", 6514)), 0u);
    const std::string written = qtest::readFile(kConf);
    resetCalls();
    qtest::writeFile(kConf, "sentinel");
    EXPECT_EQ(set(destRequest(3, 1, 2, "log.example.com", 6514)), 0u);
    EXPECT_EQ(qtest::readFile(kConf), "sentinel");
    EXPECT_EQ(calls(), "");
    EXPECT_NE(written.find("#DEST3=1,TYPE=2,PORT=6514,HOSTNAME=log.example.com\n"), std::string::npos);
}

TEST_F(SyslogService, DestinationAcceptedForms) {
    ASSERT_EQ(set(destRequest(0, 1, 3, "fe80::1", 514)), 0u);
    ASSERT_EQ(set(destRequest(1, 1, 2, "192.168.10.20", 65535)), 0u);
    ASSERT_EQ(set(destRequest(2, 1, 1, "", 0)), 0u);  // enabled without a host: accepted
    EXPECT_EQ(qtest::blockBytes(kDest0, 53), destRecord(1, 3, "fe80::1", 514));
    EXPECT_EQ(qtest::blockBytes(kDest0 + 53, 53), destRecord(1, 2, "192.168.10.20", 65535));
    EXPECT_EQ(qtest::blockBytes(kDest0 + 106, 53), destRecord(1, 1, "", 0));
    // A full 47-character host is checked whole and stored as 46 characters.
    const std::string host = std::string(43, 'a') + ".com";
    ASSERT_EQ(set(destRequest(3, 0, 3, host, 514)), 0u);
    EXPECT_EQ(qtest::blockBytes(kDest0 + 159, 53), destRecord(0, 3, host.substr(0, 46), 514));
}

TEST_F(SyslogService, TestMessageRulesAndTheFileWrittenOnce) {
    ASSERT_EQ(set(destRequest(1, 1, 3, "127.0.0.1", 514)), 0u);
    EXPECT_EQ(set({2, 1}), 213u) << "remote syslog still disabled";
    enableRemote();
    EXPECT_EQ(set({2, 0}), 213u) << "destination 0 not enabled";
    resetCalls();
    ASSERT_EQ(set({2, 1}), 0u);
    EXPECT_NE(qtest::readFile(kConf).find("\nlocal7.*\t\t\t@[127.0.0.1]:514\n"), std::string::npos);
    EXPECT_EQ(calls(), "stop\nstart\n");
    qtest::writeFile(kConf, "sentinel");
    resetCalls();
    ASSERT_EQ(set({2, 1}), 0u);
    EXPECT_EQ(qtest::readFile(kConf), "sentinel") << "same target again: no rewrite";
    EXPECT_EQ(calls(), "");
    // Any configuration change forgets the target: the next test rewrites.
    ASSERT_EQ(set({0, 2, 0, 2, 0}), 0u);
    ASSERT_EQ(set({2, 1}), 0u);
    EXPECT_NE(qtest::readFile(kConf).find("\nlocal7.*\t\t\t@[127.0.0.1]:514\n"), std::string::npos);
}

TEST_F(SyslogService, ThreeFailedAttemptsLeaveTheBlock) {
    ASSERT_EQ(symlink("/dev/full", kConf), 0);
    const Bytes before = qtest::blockBytes(kGlobals, 0x621EF9 - kGlobals);
    unsigned cc = 0;
    std::string out = qtest::captureStdout([&] { cc = set({0, 2, 1, 0, 0}); });
    EXPECT_EQ(cc, 255u);
    EXPECT_NE(out.find(">SYSLOG config dest udp/tcp to file failed .\n"), std::string::npos) << out;
    out = qtest::captureStdout([&] { cc = set({0, 2, 1, 0, 2}); });
    EXPECT_NE(out.find(">SYSLOG CONFIG to file failed .\n"), std::string::npos) << out;
    out = qtest::captureStdout([&] { cc = set({0, 2, 1, 0, 3}); });
    EXPECT_NE(out.find(">SYSLOG CONFIG dest two-way to file failed .\n"), std::string::npos) << out;
    out = qtest::captureStdout([&] { cc = set(destRequest(0, 1, 1, "10.1.1.1", 514)); });
    EXPECT_EQ(cc, 255u);
    EXPECT_NE(out.find(">SYSLOG config basic to file failed .\n"), std::string::npos) << out;
    EXPECT_EQ(qtest::blockBytes(kGlobals, 0x621EF9 - kGlobals), before);
    EXPECT_EQ(calls(), "");
    unlink(kConf);
    mkdir(kConf, 0755);  // cannot be opened for writing
    out = qtest::captureStdout([&] { cc = set({0, 2, 1, 0, 0}); });
    EXPECT_EQ(cc, 255u);
    EXPECT_NE(out.find(">Open syslog.conf failed .\n"), std::string::npos) << out;
    EXPECT_EQ(qtest::blockBytes(kGlobals, 0x621EF9 - kGlobals), before);
}

TEST_F(SyslogService, WriterRecordTargetsAndUnknownTransport) {
    unsigned char record[217] = {2, 0, 1, 1};
    for (int i = 0; i < 4; ++i) {
        record[4 + 53 * i + 1] = 3;
        record[4 + 53 * i + 49] = 0x02;  // 514, little-endian
        record[4 + 53 * i + 50] = 0x02;
    }
    for (int target : {5, 100, 254}) {
        record[216] = static_cast<unsigned char>(target);
        EXPECT_EQ(QuorixSyslogWriteToFile(record), 204u) << target;
    }
    EXPECT_FALSE(qtest::fileExists(kConf));
    record[216] = 4;
    EXPECT_EQ(QuorixSyslogWriteToFile(record), 0u);
    EXPECT_NE(qtest::readFile(kConf).find("#DEST0=0,TYPE=3,PORT=514,HOSTNAME=\n"), std::string::npos);
    record[3] = 7;
    resetCalls();
    EXPECT_EQ(QuorixSyslogWriteToFile(record), 0u);
    EXPECT_EQ(qtest::readFile(kConf), "");
    EXPECT_EQ(calls(), "stop\nstart\n");
}

TEST_F(SyslogService, StartUpReadsTheHeaderWithItsAsymmetries) {
    ASSERT_EQ(set(destRequest(2, 1, 2, "syslog.example.org", 1514)), 0u);
    ASSERT_EQ(set({0, 2, 0, 3, 0}), 0u);  // UDP
    std::memset(static_cast<unsigned char *>(intf_quorix_mem) + kGlobals, 0x55, 0x621EF9 - kGlobals);
    EXPECT_EQ(QuorixSyslogConfigInit(), 0u);
    EXPECT_EQ(qtest::blockBytes(kGlobals, 4), (Bytes{2, 0, 3, 1})) << "PROTOCAL=0 loads as TCP";
    EXPECT_EQ(qtest::blockBytes(kDest0 + 106, 53), destRecord(1, 2, "syslog.example.org", 1514));
    EXPECT_EQ(qtest::blockBytes(kDest0, 53), destRecord(0, 3, "", 514));
    qtest::writeFile(kConf, "#SYSLOG=2,TAG=0,LEVEL=9,PROTOCAL=3\r\n#DEST1=1,TYPE=1,PORT=70000,HOSTNAME=h.example\r\n");
    EXPECT_EQ(QuorixSyslogConfigInit(), 0u);
    EXPECT_EQ(qtest::blockBytes(kGlobals, 4), (Bytes{2, 0, 1, 3}));
    EXPECT_EQ(qtest::blockBytes(kDest0 + 53, 53), destRecord(1, 1, "h.example", 514));
}

// FRU device 0 as a fixed image; the parser answers with a text per field.
int g_parseArea = -1;
int g_parseField = -1;
int fruRead(int device, int offset, int length, unsigned char *buffer) {
    if (device != 0 || offset != 0) return -1;
    std::memset(buffer, 0x5A, static_cast<std::size_t>(length));
    return length;
}
int fruShortRead(int, int, int, unsigned char *) {
    return 10;
}
int fruParse(unsigned char *data, int, int area, int field, char *value, int size) {
    g_parseArea = area;
    g_parseField = field;
    if (data[0] != 0x5A) return -1;
    std::snprintf(value, static_cast<std::size_t>(size), "%s",
                  field == 9 ? "SN-0123456789ABCDEF-0123456789ABCDEF" : "PN-4321");
    return 0;
}

TEST_F(SyslogService, TagFromFruFieldsAndTheGetter) {
    qtest::replaceSlot(qrx::Slot::ReadFru, fruRead);
    qtest::replaceSlot(qrx::Slot::QuorixParseEEPROMFRUData, fruParse);
    char tag[40];
    EXPECT_EQ(QuorixSetSyslogTag(1), 0u);
    EXPECT_EQ(g_parseArea, 4);
    EXPECT_EQ(g_parseField, 9);
    ASSERT_EQ(QuorixGetSyslogTag(tag, 32), 0);
    EXPECT_STREQ(tag, "SN-0123456789ABCDEF-0123456789A");  // 31 characters
    EXPECT_EQ(QuorixSetSyslogTag(2), 0u);
    EXPECT_EQ(g_parseField, 7);
    ASSERT_EQ(QuorixGetSyslogTag(tag, 32), 0);
    EXPECT_STREQ(tag, "PN-4321");
    EXPECT_EQ(QuorixGetSyslogTag(tag, 31), -1);
    EXPECT_EQ(QuorixGetSyslogTag(nullptr, 32), -1);
    qtest::replaceSlot(qrx::Slot::ReadFru, fruShortRead);
    qtest::captureStdout([] { EXPECT_EQ(QuorixSetSyslogTag(1), 0u); });
    EXPECT_EQ(qtest::blockBytes(kTagText, 32), Bytes(32, 0)) << "unreadable FRU: empty tag";
    // A tag change through the set interface stores the index and the text.
    qtest::replaceSlot(qrx::Slot::ReadFru, fruRead);
    ASSERT_EQ(set({0, 1, 2, 1, 1}), 0u);
    EXPECT_EQ(qtest::blockBytes(kGlobals + 1, 1), Bytes{2});
    ASSERT_EQ(QuorixGetSyslogTag(tag, 40), 0);
    EXPECT_STREQ(tag, "PN-4321");
}

TEST_F(SyslogService, EndToEndTestMessageReachesTheLocalLog) {
    ASSERT_EQ(set(destRequest(0, 1, 3, "127.0.0.1", 514)), 0u);
    enableRemote();
    ASSERT_EQ(set({2, 0}), 0u);
    const std::string wanted = " Syslog Destination 0 Test Sent Successfully!";
    std::string log;
    for (int i = 0; i < 50 && log.find(wanted) == std::string::npos; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        log = qtest::readFile("/var/log/test.log");
    }
    EXPECT_NE(log.find(wanted), std::string::npos) << "test.log: " << log;
}

TEST(SyslogRestart, StopThenStartOfTheInitScript) {
    std::remove(kCalls);
    EXPECT_EQ(QuorixRestartSyslog(), 0);
    EXPECT_EQ(qtest::readFile(kCalls), "stop\nstart\n");
    EXPECT_EQ(std::system("/etc/init.d/rsyslog stop >/dev/null 2>&1"), 0);
}

TEST(SyslogTagFirstUse, HostNameFromEtcHostnameThenGethostname) {
    ASSERT_EQ(quorix_interface_init(), 0);
    // Last line of the file without its last character.
    std::string file = qtest::readFile("/etc/hostname");
    std::size_t start = file.rfind('\n', file.size() >= 2 ? file.size() - 2 : 0);
    std::string expected = file.substr(start == std::string::npos ? 0 : start + 1);
    if (!expected.empty()) expected.pop_back();
    expected = expected.substr(0, 31);
    char tag[32];
    ASSERT_EQ(QuorixSetSyslogTag(0), 0u);
    ASSERT_EQ(QuorixGetSyslogTag(tag, 32), 0);
    EXPECT_EQ(std::string(tag), expected);
    ASSERT_EQ(QuorixSetSyslogTag(7), 0u);
    ASSERT_EQ(QuorixGetSyslogTag(tag, 32), 0);
    EXPECT_STREQ(tag, "quorix-bmc");  // the sandbox's host name
}

}  // namespace
