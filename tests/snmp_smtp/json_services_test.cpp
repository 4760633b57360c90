// The contract the three JSON-backed services (SNMP trap, SNMP agent, SMTP)
// share, run once per service: what a set writes and refuses, what a save
// onto a read-only or full "/conf" leaves, what the loader takes and logs,
// how secrets are kept, what the raw readers copy and what group 2 posts.
#include <unistd.h>

#include "svc_test_util.h"

namespace {

using namespace svctest;

struct Service {
    const char *name;
    unsigned (*set)(const Bytes &);
    int (*load)();
    int (*reader)(unsigned char *);  // copies readerSize block bytes from readerAt as they stand
    std::size_t region, regionSize, readerAt, readerSize;
    std::string file, factoryFile, section, list;  // list: empty when the file has none
    Bytes change, change2;  // requests that set the byte at changeField to their last byte
    std::size_t changeField;
    Bytes refused;
    unsigned refusedCc;
    std::vector<std::pair<std::size_t, Bytes>> factory;  // what the factory default loads
    std::string loggedName;  // the service's name in the loader's messages
    std::size_t listBlock, listSize;
    std::string probeKey;  // an integer of the record, loaded by its low bits
    std::size_t probeOffset;
    Bytes probeAt259;
    std::string textKey;  // a 17-byte text of the record
    std::size_t textField;
    std::vector<Bytes> secretSetup;  // requests that make the secret settable
    Bytes secret, emptySecret;  // set "c0mmunity!"; set an empty secret with clear bytes behind its terminator
    std::size_t secretField, secretSize;
    Bytes group2;  // empty: no group 2
    unsigned char idlCode;
};

const std::string kClear = "c0mmunity!", kHidden = std::string("\0c0mmunity!", 11);

const Service kServices[] = {
    {"SnmpTrap", setTrap, QuorixGetSnmpTotalConfFromJson, QuorixGetSnmpTrapDstCfg, kTrapDest, 208 + 179, kTrapDest,
     208, "/conf/SnmpTrapCfg.json", "/etc/defconfig/SnmpTrapCfg.json", "SnmpTrapCfg", "SnmpTrapDestCfg", {0, 1, 1},
     {0, 1, 2}, kTrapRec + 1, {0, 1, 3}, 0xCC,
     {{kTrapRec, {2, 0}}, {kTrapRec + 2, text("vantol", 17)}, {kTrapRec + 19, text("HostName", 17)},
      {kTrapRec + 178, {255}}, {kTrapDest, (Bytes(48, 0) + Bytes{162, 0, 0, 0}) + (Bytes(48, 0) + Bytes{162, 0, 0, 0}) +
                                               (Bytes(48, 0) + Bytes{162, 0, 0, 0}) + (Bytes(48, 0) + Bytes{162, 0, 0, 0})}},
     "SnmpTrap", kTrapDest, 208, "TrapVersion", kTrapRec, {3}, "HostID", kTrapRec + 19, {{0, 0, 2}}, req({0, 2}, kClear),
     req({0, 2}, kHidden), kTrapRec + 2, 17, {2, 3}, 3},
    {"SnmpAgent", setAgent, QuorixGetSnmpAgentTotalConfFromJson, QuorixGetSnmpCfgFromMem, kAgentRec, 105, kAgentRec,
     105, "/conf/SnmpAgentCfg.json", "/etc/defconfig/SnmpAgentCfg.json", "SnmpCfg", "", {0, 1}, {0, 0}, kAgentRec,
     {6, 3}, 0xCC, {{kAgentRec, Bytes(38, 0) + Bytes{1, 1} + Bytes(65, 0)}}, "Snmp", 0, 0, "SnmpV1Enable", kAgentRec,
     {3}, "AUTHUserName", kAgentRec + 40, {req({10}, "privphrase")}, req({2}, kClear),
     req({10}, std::string("\0Xauthphrase", 11)), kAgentRec + 81, 24, {}, 0},
    {"Smtp", setSmtp, QuorixGetSmtpTotalConfFromJson, QuorixGetSmtpDstCfgFromMem, kSmtpRec, 268 + 332, kSmtpRcpt, 332,
     "/conf/SmtpCfg.json", "/etc/defconfig/SmtpCfg.json", "SmtpCfg", "SmtpDestCfg", {0, 14, 1}, {0, 14, 2},
     kSmtpRec + 267, {0, 14, 3}, 0xC9,
     {{kSmtpRec, {0}}, {kSmtpRec + 48, {25, 0, 0xD1, 0x01}}, {kSmtpRec + 247, text("BMC Alert", 17)},
      {kSmtpRec + 264, {1, 1, 0, 1}}, {kSmtpRcpt, Bytes(332, 0)}},
     "Smtp", kSmtpRcpt, 332, "SmtpPort", kSmtpRec + 48, {3, 1}, "Subject", kSmtpRec + 247, {}, req({0, 8}, kClear),
     req({0, 8}, kHidden), kSmtpRec + 121, 61, {2, 1}, 5},
};

class JsonService : public qtest::BoundTest, public ::testing::WithParamInterface<Service> {
protected:
    const Service &s = GetParam();
    void SetUp() override {
        BoundTest::SetUp();
        qtest::logToConsole({"IPMI"});
        factory_ = qtest::readFile(s.factoryFile);
    }
    void TearDown() override {
        qtest::writeFile(s.factoryFile, factory_);
        BoundTest::TearDown();
    }
    std::string file() const { return qtest::fileExists(s.file) ? qtest::readFile(s.file) : "-"; }
    std::string load(int expected) const {
        return qtest::captureStdout([&] { EXPECT_EQ(s.load(), expected); });
    }
    void fill(std::size_t offset, std::size_t size) const {
        std::memset(static_cast<unsigned char *>(intf_quorix_mem) + offset, 0xAA, size);
    }
    std::string fileWith(const std::string &section, const std::string &list = "[]") const {
        return "{\"" + s.section + "\":" + section + (s.list.empty() ? "" : ",\"" + s.list + "\":" + list) + "}";
    }
    std::string factory_;
};

TEST_P(JsonService, UnchangedValueWritesNoFile_RefusalLeavesBlockAndFileAlone) {
    ASSERT_EQ(s.set(s.change), 0u);
    ASSERT_TRUE(qtest::fileExists(s.file));
    unlink(s.file.c_str());
    ASSERT_EQ(s.set(s.change), 0u);
    EXPECT_FALSE(qtest::fileExists(s.file));
    ASSERT_EQ(s.set(s.change2), 0u);
    const Bytes block = qtest::blockBytes(s.region, s.regionSize);
    const std::string before = file();
    EXPECT_EQ(s.set(s.refused), s.refusedCc);
    EXPECT_EQ(qtest::blockBytes(s.region, s.regionSize), block);
    EXPECT_EQ(file(), before);
}

TEST_P(JsonService, LoaderTakesTheFactoryDefaultsAndTouchesNothingElse) {
    fill(s.region - 16, s.regionSize + 32);
    load(0);
    for (const auto &[offset, bytes] : s.factory) EXPECT_EQ(qtest::blockBytes(offset, bytes.size()), bytes) << offset;
    EXPECT_EQ(qtest::blockBytes(s.region - 16, 16) + qtest::blockBytes(s.region + s.regionSize, 16), Bytes(32, 0xAA));
}

TEST_P(JsonService, LoaderFailuresAreLogged) {
    const std::string name = s.loggedName;
    unlink(s.factoryFile.c_str());
    EXPECT_NE(load(-1).find("The " + name + " configure file " + (name == "Snmp" ? s.factoryFile : s.file) + " not exist."),
              std::string::npos);
    const struct { std::string file, says; } cases[] = {
        {"{ not json", "Get the total " + name + " configure struct from Json failed."},
        {R"({"Other":{}})", "Get the " + s.section + " struct from Json failed."},
        {"{\"" + s.section + "\":[1]}", "Get the " + s.section + " struct from Json failed."},
        {s.list.empty() ? "" : fileWith("{}", R"({"Enabled":1})"), "Get the " + s.list + " struct from Json failed."}};
    for (const auto &c : cases) {
        if (c.file.empty()) continue;
        qtest::writeFile(s.file, c.file);
        EXPECT_NE(load(-1).find(c.says), std::string::npos) << c.file;
    }
    if (s.list.empty()) return;
    // Five entries: the record is loaded, the list's block is not touched.
    fill(s.listBlock, s.listSize);
    qtest::writeFile(s.file, fileWith("{\"" + s.probeKey + "\":259}", "[{},{},{},{},{}]"));
    EXPECT_NE(load(-1).find("Get the " + s.list + " length from Json error."), std::string::npos);
    EXPECT_EQ(qtest::blockBytes(s.listBlock, s.listSize), Bytes(s.listSize, 0xAA));
    EXPECT_EQ(qtest::blockBytes(s.probeOffset, s.probeAt259.size()), s.probeAt259);
}

TEST_P(JsonService, LoaderConfWins_IntegersKeepTheirLowBits_WrongTypesLoadEmpty) {
    qtest::writeFile(s.file, fileWith("{\"" + s.probeKey + "\":259}"));
    load(0);
    EXPECT_EQ(qtest::blockBytes(s.probeOffset, s.probeAt259.size()), s.probeAt259);
    qtest::writeFile(s.file, fileWith("{\"" + s.probeKey + "\":\"3\",\"" + s.textKey + "\":17}"));
    load(0);
    EXPECT_EQ(qtest::blockBytes(s.probeOffset, s.probeAt259.size()), Bytes(s.probeAt259.size(), 0));
    EXPECT_EQ(qtest::blockBytes(s.textField, 17), Bytes(17, 0));
}

TEST_P(JsonService, SecretNeverInClear_EmptySecretKeepsNothingBehindItsTerminator) {
    for (const Bytes &r : s.secretSetup) ASSERT_EQ(s.set(r), 0u);
    ASSERT_EQ(s.set(s.secret), 0u);
    const Bytes field = qtest::blockBytes(s.secretField, s.secretSize);
    EXPECT_EQ(std::string(field.begin(), field.end()).find(kClear), std::string::npos);
    EXPECT_NE(field, Bytes(s.secretSize, 0));
    EXPECT_EQ(qtest::readFile(s.file).find(kClear), std::string::npos);
    EXPECT_EQ(s.set(s.emptySecret), 0u);
    EXPECT_EQ(qtest::blockBytes(s.secretField, s.secretSize), Bytes(s.secretSize, 0));
}

TEST_P(JsonService, RawReaderCopiesTheBlockAsItStands) {
    ASSERT_EQ(s.set(s.change), 0u);
    for (std::size_t i = 0; i < s.readerSize; ++i) qtest::block().setU8(s.readerAt + i, static_cast<std::uint8_t>(i * 7 + 1));
    Bytes out(s.readerSize + 1, 0x5A);
    ASSERT_EQ(s.reader(out.data()), 0);
    EXPECT_EQ(out, qtest::blockBytes(s.readerAt, s.readerSize) + Bytes{0x5A});
    EXPECT_EQ(s.reader(nullptr), -1);
}

TEST_P(JsonService, Group2PostsTheAlertTestAndWritesNothing) {
    if (s.group2.empty()) GTEST_SKIP() << "no group 2";
    qtest::removeQueue(12345);
    EXPECT_EQ(s.set(s.group2), 0u);
    const qtest::KernelMessage m = qtest::receiveInChild(12345);
    ASSERT_TRUE(m.received);
    const Bytes raw = m.raw();
    ASSERT_GE(raw.size(), 1u + 4 + 15);
    const Bytes record(raw.begin() + 5, raw.begin() + 20);
    const Bytes fields = {record[0], record[4], record[12], record[13], record[14]};
    EXPECT_EQ(fields, (Bytes{1, 0x24, 0xFF, s.idlCode, 1}));
    EXPECT_FALSE(qtest::fileExists(s.file));
}

// Run in two sandboxes: "/conf" read-only, and "/conf" a small tmpfs that the
// test fills once a first save has written the file.
class JsonServiceStore : public qtest::FullConfTest, public ::testing::WithParamInterface<Service> {};

TEST_P(JsonServiceStore, FailedSaveAnswers0xFF_BlockChanged_FileAndFolderKept) {
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

std::string serviceName(const ::testing::TestParamInfo<Service> &i) {
    return i.param.name;
}
INSTANTIATE_TEST_SUITE_P(Services, JsonServiceStore, ::testing::ValuesIn(kServices), serviceName);
INSTANTIATE_TEST_SUITE_P(Services, JsonService, ::testing::ValuesIn(kServices), serviceName);

}  // namespace
