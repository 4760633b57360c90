// The contract the three JSON-backed services (SNMP trap, SNMP agent, SMTP)
// share, run once per service: what a set writes and refuses, what a save
// onto a read-only or full "/conf" leaves, what the loader takes and logs,
// how secrets are kept and what group 2 posts.
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

#include "../ipc/ipc_test_support.h"
#include "svc_test_util.h"

namespace {

using namespace svctest;

constexpr std::size_t kTrapDest = 0x621C7E, kTrapRec = 0x621D4E;
constexpr std::size_t kSmtpRec = 0x621F91, kSmtpRcpt = 0x62209D;
constexpr std::size_t kAgentRec = 0x6221E9;

struct Expect {
    std::size_t offset;
    Bytes bytes;
};

struct Service {
    const char *name;
    unsigned (*set)(const Bytes &);
    int (*load)();
    std::size_t region, regionSize;  // the block bytes the service owns
    const char *file, *factoryFile;
    Bytes change, change2;           // requests that change the byte at changeField to their last byte
    std::size_t changeField;
    Bytes refused;                   // a request refused with refusedCc
    unsigned refusedCc;
    std::vector<Expect> factory;     // what the factory default loads
    const char *missing, *unparsed, *noSection, *noList, *tooLong;
    const char *section, *list;      // list: null when the file has none
    std::size_t listBlock, listSize;
    const char *probeKey;            // an integer of the record: loaded by its low bits
    std::size_t probeOffset;
    Bytes probeAt259;                // what 259 loads as
    const char *textKey;             // a 17-byte text of the record
    std::size_t textField;
    std::vector<Bytes> secretSetup;  // requests that make the secret settable
    Bytes secret;                    // sets the secret "c0mmunity!"
    Bytes emptySecret;               // sets an empty secret with clear bytes behind its terminator
    std::size_t secretField, secretSize;
    Bytes group2;                    // empty: no group 2
    unsigned char idlCode;
};

unsigned setTrap(const Bytes &r) {
    return QuorixSetBMCSnmpTrapCfgInterface(r.data(), static_cast<int>(r.size()));
}
unsigned setAgent(const Bytes &r) {
    return QuorixSetBMCSnmpCfgInterface(r.data(), static_cast<int>(r.size()), nullptr, 0);
}
unsigned setSmtp(const Bytes &r) {
    return QuorixSetBMCSmtpCfgInterface(r.data(), static_cast<int>(r.size()));
}

Bytes repeat(const Bytes &b, int times) {
    Bytes out;
    for (int i = 0; i < times; ++i) out = cat(out, b);
    return out;
}

const Service kServices[] = {
    {"SnmpTrap", setTrap, QuorixGetSnmpTotalConfFromJson, kTrapDest, 208 + 179, "/conf/SnmpTrapCfg.json",
     "/etc/defconfig/SnmpTrapCfg.json", {0, 1, 1}, {0, 1, 2}, kTrapRec + 1, {0, 1, 3}, 0xCC,
     {{kTrapRec, {2, 0}},
      {kTrapRec + 2, text("vantol", 17)},
      {kTrapRec + 19, text("HostName", 17)},
      {kTrapRec + 178, {255}},
      {kTrapDest, repeat(cat(Bytes(48, 0), Bytes{162, 0, 0, 0}), 4)}},
     "The SnmpTrap configure file /conf/SnmpTrapCfg.json not exist.",
     "Get the total SnmpTrap configure struct from Json failed.", "Get the SnmpTrapCfg struct from Json failed.",
     "Get the SnmpTrapDestCfg struct from Json failed.", "Get the SnmpTrapDestCfg length from Json error.",
     "SnmpTrapCfg", "SnmpTrapDestCfg", kTrapDest, 208, "TrapVersion", kTrapRec, {3}, "HostID", kTrapRec + 19, {{0, 0, 2}},
     req({0, 2}, "c0mmunity!"), req({0, 2}, std::string("\0c0mmunity!", 11)), kTrapRec + 2, 17, {2, 3}, 3},
    {"SnmpAgent", setAgent, QuorixGetSnmpAgentTotalConfFromJson, kAgentRec, 105, "/conf/SnmpAgentCfg.json",
     "/etc/defconfig/SnmpAgentCfg.json", {0, 1}, {0, 0}, kAgentRec, {6, 3}, 0xCC,
     {{kAgentRec, cat(cat(Bytes(38, 0), Bytes{1, 1}), Bytes(65, 0))}},
     "The Snmp configure file /etc/defconfig/SnmpAgentCfg.json not exist.",
     "Get the total Snmp configure struct from Json failed.", "Get the SnmpCfg struct from Json failed.", nullptr,
     nullptr, "SnmpCfg", nullptr, 0, 0, "SnmpV1Enable", kAgentRec, {3}, "AUTHUserName", kAgentRec + 40,
     {req({10}, "privphrase")},
     req({2}, "c0mmunity!"), req({10}, std::string("\0Xauthphrase", 11)), kAgentRec + 81, 24, {}, 0},
    {"Smtp", setSmtp, QuorixGetSmtpTotalConfFromJson, kSmtpRec, 268 + 332, "/conf/SmtpCfg.json",
     "/etc/defconfig/SmtpCfg.json", {0, 14, 1}, {0, 14, 2}, kSmtpRec + 267, {0, 14, 3}, 0xC9,
     {{kSmtpRec, {0}},
      {kSmtpRec + 48, {25, 0, 0xD1, 0x01}},
      {kSmtpRec + 247, text("BMC Alert", 17)},
      {kSmtpRec + 264, {1, 1, 0, 1}},
      {kSmtpRcpt, Bytes(332, 0)}},
     "The Smtp configure file /conf/SmtpCfg.json not exist.", "Get the total Smtp configure struct from Json failed.",
     "Get the SmtpCfg struct from Json failed.", "Get the SmtpDestCfg struct from Json failed.",
     "Get the SmtpDestCfg length from Json error.", "SmtpCfg", "SmtpDestCfg", kSmtpRcpt, 332, "SmtpPort",
     kSmtpRec + 48, {3, 1}, "Subject", kSmtpRec + 247, {}, req({0, 8}, "c0mmunity!"), req({0, 8}, std::string("\0c0mmunity!", 11)),
     kSmtpRec + 121, 61, {2, 1}, 5},
};

class JsonService : public qtest::BoundTest, public ::testing::WithParamInterface<Service> {
protected:
    void SetUp() override {
        BoundTest::SetUp();
        logIpmiToConsole();
        factory_ = qtest::readFile(GetParam().factoryFile);
    }
    void TearDown() override {
        qtest::writeFile(GetParam().factoryFile, factory_);
        BoundTest::TearDown();
    }
    std::pair<Bytes, std::string> snapshot() const {
        const Service &s = GetParam();
        return {qtest::blockBytes(s.region, s.regionSize), qtest::fileExists(s.file) ? qtest::readFile(s.file) : "-"};
    }
    std::string load(int expected) const {
        return qtest::captureStdout([&] { EXPECT_EQ(GetParam().load(), expected); });
    }
    std::string fileWith(const std::string &section, const std::string &list = "[]") const {
        const Service &s = GetParam();
        std::string text = std::string("{\"") + s.section + "\":" + section;
        if (s.list != nullptr) text += std::string(",\"") + s.list + "\":" + list;
        return text + "}";
    }
    unsigned char *block(std::size_t offset) const { return static_cast<unsigned char *>(intf_quorix_mem) + offset; }
    std::string factory_;
};

TEST_P(JsonService, UnchangedValue_WritesNoFile) {
    const Service &s = GetParam();
    ASSERT_EQ(s.set(s.change), 0u);
    ASSERT_TRUE(qtest::fileExists(s.file));
    unlink(s.file);
    ASSERT_EQ(s.set(s.change), 0u);
    EXPECT_FALSE(qtest::fileExists(s.file));
}

TEST_P(JsonService, Refusal_LeavesBlockAndFileAlone) {
    const Service &s = GetParam();
    ASSERT_EQ(s.set(s.change), 0u);
    const auto before = snapshot();
    EXPECT_EQ(s.set(s.refused), s.refusedCc);
    EXPECT_EQ(snapshot(), before);
}

TEST_P(JsonService, Loader_FactoryDefaults) {
    const Service &s = GetParam();
    std::memset(block(s.region), 0xAA, s.regionSize);
    load(0);
    for (const Expect &e : s.factory) EXPECT_EQ(qtest::blockBytes(e.offset, e.bytes.size()), e.bytes) << e.offset;
}

TEST_P(JsonService, Loader_FailuresAreLogged) {
    const Service &s = GetParam();
    unlink(s.factoryFile);
    EXPECT_NE(load(-1).find(s.missing), std::string::npos);
    qtest::writeFile(s.file, "{ not json");
    EXPECT_NE(load(-1).find(s.unparsed), std::string::npos);
    qtest::writeFile(s.file, R"({"Other":{}})");
    EXPECT_NE(load(-1).find(s.noSection), std::string::npos);
    qtest::writeFile(s.file, std::string("{\"") + s.section + "\":[1]}");
    EXPECT_NE(load(-1).find(s.noSection), std::string::npos);
    if (s.list == nullptr) return;
    qtest::writeFile(s.file, fileWith("{}", R"({"Enabled":1})"));
    EXPECT_NE(load(-1).find(s.noList), std::string::npos);
    // Five entries: the record is loaded, the list's block is not touched.
    std::memset(block(s.listBlock), 0xAA, s.listSize);
    qtest::writeFile(s.file, fileWith(std::string("{\"") + s.probeKey + "\":259}", "[{},{},{},{},{}]"));
    EXPECT_NE(load(-1).find(s.tooLong), std::string::npos);
    EXPECT_EQ(qtest::blockBytes(s.listBlock, s.listSize), Bytes(s.listSize, 0xAA));
    EXPECT_EQ(qtest::blockBytes(s.probeOffset, s.probeAt259.size()), s.probeAt259);
}

TEST_P(JsonService, Loader_ConfWinsAndIntegersKeepTheirLowBits_WrongTypesLoadEmpty) {
    const Service &s = GetParam();
    qtest::writeFile(s.file, fileWith(std::string("{\"") + s.probeKey + "\":259}"));
    load(0);
    EXPECT_EQ(qtest::blockBytes(s.probeOffset, s.probeAt259.size()), s.probeAt259);
    qtest::writeFile(s.file, fileWith(std::string("{\"") + s.probeKey + "\":\"3\",\"" + s.textKey + "\":17}"));
    load(0);
    EXPECT_EQ(qtest::blockBytes(s.probeOffset, s.probeAt259.size()), Bytes(s.probeAt259.size(), 0));
    EXPECT_EQ(qtest::blockBytes(s.textField, 17), Bytes(17, 0));
}

TEST_P(JsonService, Secret_NeverInClear_NotInTheBlockNorTheFile) {
    const Service &s = GetParam();
    for (const Bytes &r : s.secretSetup) ASSERT_EQ(s.set(r), 0u);
    ASSERT_EQ(s.set(s.secret), 0u);
    const Bytes field = qtest::blockBytes(s.secretField, s.secretSize);
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(field.data()), 10).find("c0mmunity!"), std::string::npos);
    EXPECT_NE(field, Bytes(s.secretSize, 0));
    EXPECT_EQ(qtest::readFile(s.file).find("c0mmunity!"), std::string::npos);
}

TEST_P(JsonService, Secret_EmptyKeepsNothingBehindItsTerminator) {
    const Service &s = GetParam();
    for (const Bytes &r : s.secretSetup) ASSERT_EQ(s.set(r), 0u);
    EXPECT_EQ(s.set(s.emptySecret), 0u);
    EXPECT_EQ(qtest::blockBytes(s.secretField, s.secretSize), Bytes(s.secretSize, 0));
}

TEST_P(JsonService, Group2_PostsTheAlertTestAndWritesNothing) {
    const Service &s = GetParam();
    if (s.group2.empty()) GTEST_SKIP() << "no group 2";
    ipctest::removeQueue(12345);
    EXPECT_EQ(s.set(s.group2), 0u);
    ipctest::KernelMessage m = ipctest::receiveInChild(12345);
    ASSERT_TRUE(m.received);
    const Bytes raw = m.raw();
    ASSERT_GE(raw.size(), 1u + 4 + 15);
    const unsigned char *record = raw.data() + 1 + 4;
    EXPECT_EQ(record[0], 1);
    EXPECT_EQ(record[4], 0x24);
    EXPECT_EQ(Bytes(record + 12, record + 15), (Bytes{0xFF, s.idlCode, 1}));
    EXPECT_FALSE(qtest::fileExists(s.file));
}

// Run in two sandboxes: "/conf" read-only, and "/conf" a small tmpfs that the
// test fills once a first save has written the file.
class JsonServiceStore : public qtest::FullConfTest, public ::testing::WithParamInterface<Service> {};

TEST_P(JsonServiceStore, FailedSave_Answers0xFF_BlockChanged_FileAndFolderKept) {
    const Service &s = GetParam();
    Bytes last = s.change;
    if (access("/conf", W_OK) == 0) {
        ASSERT_EQ(s.set(s.change), 0u);
        fillConf();
        last = s.change2;
    }
    const std::string before = qtest::fileExists(s.file) ? qtest::readFile(s.file) : "-";
    const auto entries = qtest::directoryEntries("/conf");
    unsigned cc = 0;
    qtest::captureStdout([&] { cc = s.set(last); });
    EXPECT_EQ(cc, 0xFFu);
    EXPECT_EQ(qtest::blockBytes(s.changeField, 1), Bytes{last.back()});
    EXPECT_EQ(qtest::fileExists(s.file) ? qtest::readFile(s.file) : "-", before);
    EXPECT_EQ(qtest::directoryEntries("/conf"), entries);
}

INSTANTIATE_TEST_SUITE_P(Services, JsonServiceStore, ::testing::ValuesIn(kServices),
                         [](const ::testing::TestParamInfo<Service> &i) { return std::string(i.param.name); });

INSTANTIATE_TEST_SUITE_P(Services, JsonService, ::testing::ValuesIn(kServices),
                         [](const ::testing::TestParamInfo<Service> &i) { return std::string(i.param.name); });

}  // namespace
