// Syslog set/get interface, with a real rsyslogd behind "/etc/init.d/rsyslog" in the sandbox.
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "config/syslog/syslog_file.h"
#include "quorix_test.h"

namespace {

using qtest::Bytes;
constexpr std::size_t kGlobals = 0x621E01, kDest0 = 0x621E05, kRecordSize = 0x621EF9 - kGlobals;
constexpr const char *kConf = "/conf/syslog.conf";
constexpr const char *kCalls = "/var/run/rsyslog.calls";

Bytes operator+(Bytes a, const Bytes &b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}
// A destination as the block holds it (port little-endian, 46 host characters and
// the terminator), or as the request carries it (port big-endian, 47 characters).
Bytes stored(unsigned char enable, unsigned char type, const std::string &host, std::uint32_t port, bool request = false) {
    Bytes r = {enable, type};
    r.resize(49, 0);
    host.copy(reinterpret_cast<char *>(r.data() + 2), request ? 47 : 46);
    for (int shift : {24, 16, 8, 0}) r.push_back(static_cast<unsigned char>(port >> (request ? shift : 24 - shift)));
    return r;
}
Bytes destRequest(unsigned char index, unsigned char enable, unsigned char type, const std::string &host,
                  std::uint32_t port) {
    return Bytes{1, index} + stored(enable, type, host, port, true);
}
unsigned set(const Bytes &r) { return QuorixSetSyslogConfigInterface(r.data(), static_cast<int>(r.size())); }

class SyslogService : public qtest::BoundTest {
protected:
    void SetUp() override {
        BoundTest::SetUp();
        qtest::logToConsole({"IPMI", "QRXMONITOR"});
        EXPECT_EQ(QuorixSyslogConfigInit(), 0xFFFFFFFFu);  // no file: the defaults
        std::remove(kCalls);
    }
    void TearDown() override {
        EXPECT_EQ(qtest::runCommand("/etc/init.d/rsyslog stop").status, 0);
        BoundTest::TearDown();
    }
};

TEST_F(SyslogService, DefaultsAcceptedDestinationsAndTheGetAnswers) {
    EXPECT_EQ(qtest::blockBytes(kGlobals, 4), (Bytes{1, 0, 1, 1}));
    // A full 47-character host is checked whole and stored as 46 characters; enabled without a host is accepted.
    const std::string longHost = std::string(43, 'a') + ".com";
    const Bytes dests = stored(1, 3, "fe80::1", 514) + stored(1, 2, "192.168.10.20", 65535) + stored(1, 1, "", 0) +
                        stored(0, 3, longHost.substr(0, 46), 0x1234);
    for (const Bytes &r : {destRequest(0, 1, 3, "fe80::1", 514), destRequest(1, 1, 2, "192.168.10.20", 65535),
                           destRequest(2, 1, 1, "", 0), destRequest(3, 0, 3, longHost, 0x1234)})
        EXPECT_EQ(set(r), 0u);
    EXPECT_EQ(qtest::blockBytes(kDest0, 212), dests);
    Bytes out(300, 0xEE);
    EXPECT_EQ(QuorixGetSyslogConfigInterface(0, out.data()), 5);
    EXPECT_EQ(Bytes(out.begin(), out.begin() + 6), (Bytes{0, 1, 0, 1, 1, 0xEE}));
    EXPECT_EQ(QuorixGetSyslogConfigInterface(1, out.data()), 213);
    EXPECT_EQ(Bytes(out.begin(), out.begin() + 214), Bytes{0} + dests + Bytes{0xEE});
    EXPECT_EQ(QuorixGetSyslogConfigInterface(2, out.data()) + QuorixGetSyslogConfigInterface(0, nullptr), -2);
}

TEST_F(SyslogService, RefusedRequestsAnswerTheirCodeAndTouchNothing) {
    const struct { Bytes request; unsigned cc; } cases[] = {
        {{0, 2, 0, 1}, 0xC7}, {{0, 2, 0, 1, 0, 0}, 0xC7}, {{0, 0, 0, 1, 0}, 0xC9}, {{0, 3, 0, 1, 0}, 0xC9},
        {{0, 2, 3, 1, 0}, 0xC9}, {{0, 2, 0, 4, 0}, 0xC9}, {{0, 2, 0, 1, 4}, 0xC9}, {Bytes(54, 1), 0xC7},
        {destRequest(4, 1, 1, "10.0.0.1", 514), 0xC9}, {destRequest(0, 2, 1, "10.0.0.1", 514), 0xC9},
        {destRequest(0, 1, 4, "10.0.0.1", 514), 0xC9}, {destRequest(0, 1, 1, "10.0.0.1", 65536), 0xC9},
        {destRequest(0, 1, 1, "bad host.com", 514), 0xCC}, {destRequest(0, 1, 1, "tab\thost.com", 514), 0xCC},
        {destRequest(0, 1, 1, "host.1com", 514), 0xCC}, {destRequest(0, 0, 1, "nodots", 514), 0xCC},
        {{2, 0, 0}, 0xC7}, {{2}, 0xC7}, {{2, 4}, 0xC9}, {{2, 0}, 0xD5}, {{3, 0}, 0xC9}, {{0xFF}, 0xC9}};
    const Bytes before = qtest::blockBytes(kGlobals, kRecordSize);
    for (const auto &c : cases) EXPECT_EQ(set(c.request), c.cc) << ::testing::PrintToString(c.request);
    EXPECT_EQ(qtest::blockBytes(kGlobals, kRecordSize), before);
    EXPECT_FALSE(qtest::fileExists(kConf));
    EXPECT_EQ(qtest::readFile(kCalls), "");
    EXPECT_EQ(QuorixSetSyslogConfigInterface(nullptr, 5), 0xC7u);
    EXPECT_NE(qtest::captureStdout([] { set(destRequest(1, 1, 3, "nodots", 514)); }).find(">Invalid data format of Syslog destination!\n"),
              std::string::npos);
}

TEST_F(SyslogService, AChangeWritesTheFileRestartsThenStores_NoChangeDoesNothing) {
    ASSERT_EQ(set({0, 2, 0, 3, 1}), 0u);
    EXPECT_EQ(qtest::blockBytes(kGlobals, 4), (Bytes{2, 0, 3, 1}));
    qrx::config::syslog::SyslogConfig c;
    c.syslog = 2, c.level = 3, c.protocol = 1;
    EXPECT_EQ(qtest::readFile(kConf), std::string(qrx::config::syslog::configText(c).view()));
    EXPECT_EQ(qtest::readFile(kCalls), "stop\nstart\n");
    EXPECT_EQ(QuorixSyslogConfigInit(), 0u) << "read back from the file";
    ASSERT_EQ(set(destRequest(3, 1, 2, "log.example.com", 6514)), 0u);
    qtest::writeFile(kConf, "sentinel");
    std::remove(kCalls);
    for (const Bytes &same : {Bytes{0, 2, 0, 3, 1}, destRequest(3, 1, 2, "log.example.com", 6514)}) EXPECT_EQ(set(same), 0u);
    EXPECT_EQ(qtest::readFile(kConf), "sentinel");
    EXPECT_EQ(qtest::readFile(kCalls), "");
}

TEST_F(SyslogService, FailedWritesAnswer0xFFAndLeaveTheBlock) {
    ASSERT_EQ(symlink("/dev/full", kConf), 0);
    const Bytes before = qtest::blockBytes(kGlobals, kRecordSize);
    const struct { Bytes request; const char *says; } cases[] = {
        {{0, 2, 1, 0, 0}, ">SYSLOG config dest udp/tcp to file failed .\n"},
        {{0, 2, 1, 0, 2}, ">SYSLOG CONFIG to file failed .\n"},
        {{0, 2, 1, 0, 3}, ">SYSLOG CONFIG dest two-way to file failed .\n"},
        {destRequest(0, 1, 1, "10.1.1.1", 514), ">SYSLOG config basic to file failed .\n"},
        {{0, 2, 1, 0, 0}, ">Open syslog.conf failed .\n"}};  // a folder in the file's place
    for (const auto &c : cases) {
        if (std::string(c.says).find("Open") != std::string::npos) unlink(kConf), mkdir(kConf, 0755);
        const std::string out = qtest::captureStdout([&] { EXPECT_EQ(set(c.request), 0xFFu) << c.says; });
        EXPECT_NE(out.find(c.says), std::string::npos) << out;
    }
    EXPECT_EQ(qtest::blockBytes(kGlobals, kRecordSize), before);
    EXPECT_EQ(qtest::readFile(kCalls), "");
}

// The tag from FRU device 0's product area (field 9 serial, 7 part), cut to
// 31 characters; empty when the FRU cannot be read.
TEST_F(SyslogService, TagFromFruFieldsAndTheGetter) {
    static int area = -1, field = -1;
    qtest::replaceSlot(qrx::Slot::ReadFru, +[](int device, int offset, int length, unsigned char *buffer) {
        return device == 0 && offset == 0 ? (std::memset(buffer, 0x5A, static_cast<std::size_t>(length)), length) : -1;
    });
    qtest::replaceSlot(qrx::Slot::QuorixParseEEPROMFRUData, +[](unsigned char *data, int, int a, int f, char *value, int size) {
        area = a, field = f;
        return data[0] == 0x5A ? std::snprintf(value, size, "%s", f == 9 ? "SN-0123456789ABCDEF-0123456789ABCDEF" : "PN-4321"), 0 : -1;
    });
    char tag[40];
    std::string tags;
    for (unsigned which : {1u, 2u}) {
        EXPECT_EQ(QuorixSetSyslogTag(which), 0u);
        EXPECT_EQ(QuorixGetSyslogTag(tag, 32), 0);
        tags += std::to_string(area) + "/" + std::to_string(field) + " " + tag + "\n";
    }
    EXPECT_EQ(tags, "4/9 SN-0123456789ABCDEF-0123456789A\n4/7 PN-4321\n");
    EXPECT_EQ(QuorixGetSyslogTag(tag, 31) + QuorixGetSyslogTag(nullptr, 32), -2) << "a buffer under 32 bytes";
    qtest::replaceSlot(qrx::Slot::ReadFru, +[](int, int, int, unsigned char *) { return 10; });
    EXPECT_NE(qtest::captureStdout([] { QuorixSetSyslogTag(1); }).find("Read FRU Info Failed. Length = 10"), std::string::npos);
    EXPECT_EQ(qtest::blockBytes(kGlobals + kRecordSize - 32, 32), Bytes(32, 0)) << "unreadable FRU: empty tag";
}

TEST_F(SyslogService, EndToEndTestMessageReachesTheLocalLog) {
    ASSERT_EQ(set(destRequest(0, 1, 3, "127.0.0.1", 514)), 0u);
    ASSERT_EQ(set({0, 2, 0, 1, 0}), 0u);
    ASSERT_EQ(set({2, 0}), 0u);
    std::string log;
    for (int i = 0; i < 50 && log.find(" Syslog Destination 0 Test Sent Successfully!") == std::string::npos; ++i)
        usleep(100000), log = qtest::readFile("/var/log/test.log");
    EXPECT_NE(log.find(" Syslog Destination 0 Test Sent Successfully!"), std::string::npos) << log;
}

// The host-name tag reads "/etc/hostname" (its last line without the last
// character) on the first use in a process, gethostname() after.
TEST(SyslogTagFirstUse, HostNameFromEtcHostnameThenGethostname) {
    ASSERT_EQ(quorix_interface_init(), 0);
    std::string file = qtest::readFile("/etc/hostname");
    const std::size_t start = file.rfind('\n', file.size() >= 2 ? file.size() - 2 : 0);
    std::string expected = file.substr(start == std::string::npos ? 0 : start + 1);
    if (!expected.empty()) expected.pop_back();
    char tag[32];
    std::string tags;
    for (unsigned which : {0u, 7u}) {
        ASSERT_EQ(QuorixSetSyslogTag(which), 0u);
        ASSERT_EQ(QuorixGetSyslogTag(tag, 32), 0);
        tags += std::string(tag) + "\n";
    }
    EXPECT_EQ(tags, expected.substr(0, 31) + "\nquorix-bmc\n");
}

}  // namespace
