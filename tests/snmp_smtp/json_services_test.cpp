// The contract the SNMP trap, SNMP agent and SMTP services share, run once per
// service; then each service's parameters and whole records, one row per request.
#include <unistd.h>

#include <cstring>
#include <string>

#include "quorix_test.h"

namespace {

using qtest::Bytes;
constexpr std::size_t kTrapDest = 0x621C7E, kTrapRec = 0x621D4E, kSmtpRec = 0x621F91, kSmtpRcpt = 0x62209D,
                      kAgentRec = 0x6221E9;

Bytes operator+(Bytes a, const Bytes &b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}
// Text in a zero-padded field of width bytes.
Bytes text(const std::string &s, std::size_t width) {
    Bytes b(width, 0);
    std::memcpy(b.data(), s.data(), std::min(s.size(), width));
    return b;
}
Bytes req(Bytes head, const std::string &data = "") { return head + Bytes(data.begin(), data.end()); }
// The protected form the library stores for clear text over width bytes.
// A fixed device key: a protected form that starts with a zero byte is never decrypted, and one that holds
// a zero byte is cut where a copy stops at it, so with a fresh random key per run the expected forms
// below would hold only most of the time.
struct FixedKey : ::testing::Environment {
    void SetUp() override {
        std::string key;
        for (int i = 0; i < 56; ++i) key += static_cast<char>('A' + i * 11 % 26);
        qtest::writeFile("/etc/quorix/encrypt.key", key);
    }
};
const auto *const kFixedKey = ::testing::AddGlobalTestEnvironment(new FixedKey);

Bytes protectedForm(const std::string &clear, std::size_t width, bool zeroLast) {
    Bytes b = text(clear, width);
    EXPECT_EQ(QuorixPwEncrypt(b.data(), static_cast<int>(width)), 0);
    if (zeroLast) b[width - 1] = 0;
    return b;
}

unsigned setTrap(const Bytes &r) { return QuorixSetBMCSnmpTrapCfgInterface(r.data(), static_cast<int>(r.size())); }
unsigned setAgent(const Bytes &r) { return QuorixSetBMCSnmpCfgInterface(r.data(), static_cast<int>(r.size()), nullptr, 0); }
unsigned setSmtp(const Bytes &r) { return QuorixSetBMCSmtpCfgInterface(r.data(), static_cast<int>(r.size())); }

struct Service {
    const char *name;
    unsigned (*set)(const Bytes &);
    int (*load)(), (*reader)(unsigned char *);  // reader: copies readerSize block bytes from readerAt as they stand
    std::size_t region, regionSize, readerAt, readerSize;  // the reader's bytes are the list's block too
    std::string file, factoryFile, section, list;  // list: empty when the file has none
    Bytes change, change2;  // requests that set the byte at changeField to their last byte
    std::size_t changeField;
    Bytes refused;
    unsigned refusedCc;
    std::vector<std::pair<std::size_t, Bytes>> factory;  // what the factory default loads
    std::string loggedName;  // the service's name in the loader's messages
    std::string probeKey;  // an integer of the record, loaded by its low bits: 259 loads as probeAt259
    std::size_t probeOffset;
    Bytes probeAt259;
    std::string textKey;  // a 17-byte text of the record at textField
    std::size_t textField;
    std::vector<Bytes> secretSetup;  // requests that make the secret settable
    Bytes secret, emptySecret;  // set "c0mmunity!"; set an empty secret with clear bytes behind its terminator
    std::size_t secretField, secretSize;
    Bytes group2;  // empty: no group 2
    unsigned char idlCode;
};

const std::string kClear = "c0mmunity!", kHidden = std::string("\0c0mmunity!", 11);

const Service kServices[] = {
    {"SnmpTrap", setTrap, QuorixGetSnmpTotalConfFromJson, QuorixGetSnmpTrapDstCfg, kTrapDest, 208 + 179, kTrapDest, 208,
     "/conf/SnmpTrapCfg.json", "/etc/defconfig/SnmpTrapCfg.json", "SnmpTrapCfg", "SnmpTrapDestCfg", {0, 1, 1},
     {0, 1, 2}, kTrapRec + 1, {0, 1, 3}, 0xCC,
     {{kTrapRec, {2, 0}}, {kTrapRec + 2, text("vantol", 17)}, {kTrapRec + 19, text("HostName", 17)},
      {kTrapRec + 178, {255}}, {kTrapDest, Bytes(48, 0) + Bytes{162, 0, 0, 0}}, {kTrapDest + 3 * 52 + 48, {162, 0, 0, 0}}},
     "SnmpTrap", "TrapVersion", kTrapRec, {3}, "HostID", kTrapRec + 19, {{0, 0, 2}}, req({0, 2}, kClear),
     req({0, 2}, kHidden), kTrapRec + 2, 17, {2, 3}, 3},
    {"SnmpAgent", setAgent, QuorixGetSnmpAgentTotalConfFromJson, QuorixGetSnmpCfgFromMem, kAgentRec, 105, kAgentRec,
     105, "/conf/SnmpAgentCfg.json", "/etc/defconfig/SnmpAgentCfg.json", "SnmpCfg", "", {0, 1}, {0, 0}, kAgentRec,
     {6, 3}, 0xCC, {{kAgentRec, Bytes(38, 0) + Bytes{1, 1} + Bytes(65, 0)}}, "Snmp", "SnmpV1Enable", kAgentRec, {3},
     "AUTHUserName", kAgentRec + 40, {req({10}, "privphrase")}, req({10}, kClear),
     req({10}, std::string("\0Xauthphrase", 11)), kAgentRec + 81, 24, {}, 0},
    {"Smtp", setSmtp, QuorixGetSmtpTotalConfFromJson, QuorixGetSmtpDstCfgFromMem, kSmtpRec, 268 + 332, kSmtpRcpt, 332,
     "/conf/SmtpCfg.json", "/etc/defconfig/SmtpCfg.json", "SmtpCfg", "SmtpDestCfg", {0, 10, 'A'}, {0, 10, 'B'},
     kSmtpRec + 247, {0, 14, 3}, 0xC9,
     {{kSmtpRec, {0}}, {kSmtpRec + 48, {25, 0, 0xD1, 0x01}}, {kSmtpRec + 247, text("BMC Alert", 17)},
      {kSmtpRec + 264, {1, 1, 0, 1}}, {kSmtpRcpt, Bytes(332, 0)}},
     "Smtp", "SmtpPort", kSmtpRec + 48, {3, 1}, "Subject", kSmtpRec + 247, {}, req({0, 8}, kClear),
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
    std::string load(int expected) const { return qtest::captureStdout([&] { EXPECT_EQ(s.load(), expected); }); }
    void fill(std::size_t at, std::size_t size) const { std::memset(static_cast<unsigned char *>(intf_quorix_mem) + at, 0xAA, size); }
    std::string fileWith(const std::string &section, const std::string &list = "[]") const {
        return "{\"" + s.section + "\":" + section + (s.list.empty() ? "" : ",\"" + s.list + "\":" + list) + "}";
    }
    std::string factory_;
};

TEST_P(JsonService, UnchangedValueWritesNoFile_RefusalLeavesBlockAndFileAlone_RawReaderCopiesTheBlock) {
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
    for (std::size_t i = 0; i < s.readerSize; ++i) qtest::block().setU8(s.readerAt + i, static_cast<std::uint8_t>(i * 7 + 1));
    Bytes out(s.readerSize + 1, 0x5A);
    ASSERT_EQ(s.reader(out.data()), 0);
    EXPECT_EQ(out, qtest::blockBytes(s.readerAt, s.readerSize) + Bytes{0x5A});
    EXPECT_EQ(s.reader(nullptr), -1);
}

TEST_P(JsonService, LoaderTakesTheFactoryDefaultsAndTouchesNothingElse_ConfWins_WrongTypesLoadEmpty) {
    fill(s.region - 16, s.regionSize + 32);
    load(0);
    for (const auto &[offset, bytes] : s.factory) EXPECT_EQ(qtest::blockBytes(offset, bytes.size()), bytes) << offset;
    EXPECT_EQ(qtest::blockBytes(s.region - 16, 16) + qtest::blockBytes(s.region + s.regionSize, 16), Bytes(32, 0xAA));
    qtest::writeFile(s.file, fileWith("{\"" + s.probeKey + "\":\"3\",\"" + s.textKey + "\":17}"));
    load(0);
    EXPECT_EQ(qtest::blockBytes(s.probeOffset, s.probeAt259.size()), Bytes(s.probeAt259.size(), 0));
    EXPECT_EQ(qtest::blockBytes(s.textField, 17), Bytes(17, 0));
}

TEST_P(JsonService, LoaderFailuresAreLogged) {
    unlink(s.factoryFile.c_str());
    const std::string missing = s.loggedName == "Snmp" ? s.factoryFile : s.file;
    EXPECT_NE(load(-1).find("The " + s.loggedName + " configure file " + missing + " not exist."), std::string::npos);
    const struct { std::string file, says; } cases[] = {
        {"{ not json", "Get the total " + s.loggedName + " configure struct from Json failed."},
        {R"({"Other":{}})", "Get the " + s.section + " struct from Json failed."},
        {"{\"" + s.section + "\":[1]}", "Get the " + s.section + " struct from Json failed."},
        {s.list.empty() ? "" : fileWith("{}", R"({"Enabled":1})"), "Get the " + s.list + " struct from Json failed."}};
    for (const auto &c : cases) {
        if (!c.file.empty()) qtest::writeFile(s.file, c.file);
        EXPECT_TRUE(c.file.empty() || load(-1).find(c.says) != std::string::npos) << c.file;
    }
    if (s.list.empty()) return;
    // Five entries: the record is loaded, the list's block is not touched.
    fill(s.readerAt, s.readerSize);
    qtest::writeFile(s.file, fileWith("{\"" + s.probeKey + "\":259}", "[{},{},{},{},{}]"));
    EXPECT_NE(load(-1).find("Get the " + s.list + " length from Json error."), std::string::npos);
    EXPECT_EQ(qtest::blockBytes(s.readerAt, s.readerSize), Bytes(s.readerSize, 0xAA));
    EXPECT_EQ(qtest::blockBytes(s.probeOffset, s.probeAt259.size()), s.probeAt259);
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

TEST_P(JsonService, Group2PostsTheAlertTestAndWritesNothing) {
    if (s.group2.empty()) GTEST_SKIP() << "no group 2";
    qtest::removeQueue(12345);
    EXPECT_EQ(s.set(s.group2), 0u);
    const Bytes r = qtest::receiveRaw(12345);  // the type byte, a word, then the record
    ASSERT_GE(r.size(), 20u);
    EXPECT_EQ((Bytes{r[5], r[9], r[17], r[18], r[19]}), (Bytes{1, 0x24, 0xFF, s.idlCode, 1})) << "record bytes 0, 4, 12, 13, 14";
    EXPECT_FALSE(qtest::fileExists(s.file));
}

// "/conf" is read-only, or a small tmpfs filled once a first save has written the file.
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
    qtest::captureStdout([&] { EXPECT_EQ(s.set(last), 0xFFu); });
    EXPECT_EQ(qtest::blockBytes(s.changeField, 1), Bytes{last.back()});
    EXPECT_EQ(qtest::fileExists(s.file) ? qtest::readFile(s.file) : "-", before);
    EXPECT_EQ(qtest::directoryEntries("/conf"), entries);
}

std::string serviceName(const ::testing::TestParamInfo<Service> &i) { return i.param.name; }
INSTANTIATE_TEST_SUITE_P(Services, JsonServiceStore, ::testing::ValuesIn(kServices), serviceName);
INSTANTIATE_TEST_SUITE_P(Services, JsonService, ::testing::ValuesIn(kServices), serviceName);


// A request, its completion code, and the bytes the block then holds at an absolute offset.
struct Row { Bytes request; unsigned cc; std::size_t at = 0; Bytes stored = {}; };
const Row V1 = {{0, 0, 1}, 0}, V2 = {{0, 0, 2}, 0}, V3 = {{0, 0, 3}, 0};  // trap versions

// b with bytes written at an offset; a text also clears the 16 bytes it starts.
Bytes put(Bytes b, std::size_t at, const Bytes &bytes) {
    std::copy(bytes.begin(), bytes.end(), b.begin() + static_cast<long>(at));
    return b;
}
Bytes put(const Bytes &b, std::size_t at, const std::string &textBytes) { return put(b, at, text(textBytes, 16)); }
Bytes shortOf(const Bytes &b) { return Bytes(b.begin(), b.end() - 1); }
Bytes tail(const Bytes &b, std::size_t from) { return Bytes(b.begin() + static_cast<long>(from), b.end()); }

void run(unsigned (*set)(const Bytes &), const std::vector<Row> &rows) {
    for (const Row &r : rows) {
        EXPECT_EQ(set(r.request), r.cc) << ::testing::PrintToString(r.request);
        EXPECT_EQ(qtest::blockBytes(r.at, r.stored.size()), r.stored) << ::testing::PrintToString(r.request);
    }
}
using Parameters = qtest::BoundTest;

TEST_F(Parameters, SnmpTrapCodesAndStoredBytes) {
    const std::size_t port1 = kTrapDest + 52 + 48, d46 = kTrapDest + 2 * 52 + 1;
    const std::string host46 = std::string(42, 'a') + ".com";
    const Bytes dest3 = req({1, 3, 255, 1}) + text("10.0.0.5", 46) + Bytes{0xEE, 0, 0, 1, 2};
    run(setTrap, {
        {{0, 0, 4}, 0xC9}, {{0, 0, 2, 0}, 0xC7}, {{0, 0}, 0xC7}, {{0, 11, 1}, 0xC9}, {{3, 0, 1}, 0xC9}, {{}, 0xC7},
        {{0, 1, 2}, 0, kTrapRec + 1, {2}}, {{0, 1, 3}, 0xCC}, {{0, 10, 211}, 0, kTrapRec + 178, {211}}, {{0, 10, 6}, 0xC9},
        {req({0, 3}, "SerialNum"), 0, kTrapRec + 19, text("SerialNum", 17)}, {req({0, 3}, "Nobody"), 0xCC},
        {req({0, 3}, "Host Name"), 0xCC}, V3, {req({0, 2}, "public"), 0xD5}, V1, {req({0, 4}, "abcdefgh"), 0xD5},
        {req({0, 9}, "abcdefgh"), 0xD5},
        // Protocol names as spelled, stored upper case; each way of failing has its code.
        V3, {req({0, 5}, "sha"), 0xCC}, {req({0, 5}, "SHA"), 0, kTrapRec + 53, text("SHA", 17)}, {req({0, 5}, "S A"), 0xC9},
        {req({0, 7}, "DES"), 0, kTrapRec + 91, text("DES", 17)}, {req({0, 7}, "XYZ"), 0xC9}, {req({0, 7}, "D S"), 0xCC},
        {req({0, 9}, std::string(45, 'e') + "9Ff"), 0, kTrapRec + 129, text(std::string(45, 'e') + "9Ff", 49)},
        {{0, 9, 0}, 0, kTrapRec + 129, Bytes(49, 0)},  // an empty engine ID is taken without the digit rules
        {req({0, 9}, "01234567GG"), 0xC9}, {req({0, 9}, "012345678"), 0xC7}, {req({0, 9}, std::string(49, 'a')), 0xC7},
        {req({0, 6}, "1234567"), 0xC7}, {req({0, 8}, "pass word"), 0xC9}, {req({0, 6}, "1234567890abcdefg"), 0xC7},
        // Destinations: ports big-endian in the request, little-endian in the block.
        {{1, 1, 2, 0, 0, 0x12, 0x34}, 0, port1, {0x34, 0x12, 0, 0}}, {{1, 1, 2, 0, 1, 0, 0}, 0xC9, port1, {0x34, 0x12, 0, 0}},
        {{1, 1, 2, 0, 0, 0xA2}, 0xC7}, {{1, 1, 0, 1}, 0, port1 - 48, {1}}, {{1, 1, 0, 2}, 0xC9}, {{1, 1, 7, 2}, 0xC9},
        {{1, 4, 0, 1}, 0xC9}, {req({1, 2, 1}, host46 + "xx"), 0xC7}, {req({1, 2, 1}) + text(host46, 46), 0, d46, text(host46, 47)},
        {req({1, 0, 1}, "fe80::1"), 0}, {{1, 0, 1, 0}, 0, kTrapDest + 1, Bytes(47, 0)}, {req({1, 0, 1}, "a b"), 0xC9},
        {req({1, 0, 1}, "nodots"), 0xCC}, {dest3, 0, kTrapDest + 3 * 52, Bytes{1} + text("10.0.0.5", 47) + Bytes{2, 1, 0, 0}},
        {put(dest3, 51, Bytes{1}), 0xC9}, {req({1, 0, 255, 1}) + Bytes(51, 0), 0}, {req({1, 0, 255, 1}) + text("bad", 51), 0xCC},
        {req({1, 0, 255, 1}) + Bytes(50, 0), 0xC7},
    });
}

TEST_F(Parameters, SnmpAgentAndSmtpCodesAndStoredBytes) {
    std::vector<Row> agent = {
        {{6, 3}, 0xCC}, {{11, 0}, 0xC9}, {{}, 0xC7}, {req({8}, "snmpuser"), 0, kAgentRec + 40, text("snmpuser", 17)},
        {req({3}, "seventeen-chars!!"), 0xC7}, {req({3}, "with blank"), 0xC9}, {req({10}, "twenty-one-characters"), 0xC7},
        {req({9}, "pass phrase"), 0xC9}, {{255, 0}, 0xC7}};
    const Bytes rcpt = req({1, 1, 255, 1}, "ops@example.com") + Bytes(49, 0) + Bytes{0xEE} + text("On call", 16) + Bytes{0xEE};
    std::vector<Row> smtp = {  // ports little-endian when set alone
        {{0, 3, 0x34, 0x12}, 0, kSmtpRec + 50, {0x34, 0x12}}, {{0, 2, 0x19}, 0xC7},
        {req({0, 1}, "smtp.example.com"), 0, kSmtpRec + 1, text("smtp.example.com", 47)}, {req({0, 1}, "a b.com"), 0xC9},
        {req({0, 1}, std::string(48, 'a')), 0xC7}, {req({0, 1}, "nodots"), 0xCC},
        // Subject: blanks allowed, 16 characters at most.
        {req({0, 10}, "sixteen chars ok"), 0, kSmtpRec + 247, text("sixteen chars ok", 17)},
        {req({0, 10}, "seventeen chars!!"), 0xC7}, {req({0, 10}, "tab\there"), 0xC9}, {req({0, 7}, "mail user"), 0xC9},
        {req({0, 7}, "mailer"), 0, kSmtpRec + 55, text("mailer", 66)}, {req({0, 7}, std::string(66, 'u')), 0xC7},
        {req({0, 9}, "bmc@example.com"), 0, kSmtpRec + 182, text("bmc@example.com", 65)},
        {req({0, 9}, std::string(65, 's')), 0xC7}, {req({0, 8}, std::string(61, 'p')), 0xC7}, {req({0, 8}, "pass word"), 0xC9},
        {{0, 15, 0}, 0xC9}, {{0, 0}, 0xC7}, {{3, 0, 0}, 0xC9},
        {req({1, 2, 1}, std::string(52, 'a') + "@example.com"), 0, kSmtpRcpt + 2 * 83 + 1, text(std::string(52, 'a') + "@example.com", 65)},
        {req({1, 2, 1}, std::string(53, 'a') + "@example.com"), 0xC7}, {req({1, 4, 1}, "a@b.com"), 0xC9},
        {req({1, 0, 1}, "not-an-address"), 0xCC}, {{1, 0, 0, 1}, 0, kSmtpRcpt, {1}}, {{1, 0, 0, 2}, 0xC9},
        {req({1, 0, 2}, "Ops team"), 0, kSmtpRcpt + 66, text("Ops team", 17)}, {req({1, 0, 2}, "seventeen chars!!"), 0xC7},
        {req({1, 0, 9}, "x"), 0xC9}, {{1, 0, 0}, 0xC7},
        {rcpt, 0, kSmtpRcpt + 83, Bytes{1} + text("ops@example.com", 65) + text("On call", 17)},
        {put(rcpt, 4, text("nobody", 7)), 0xCC}, {put(rcpt, 3, Bytes{2}), 0xC9},
        {put(put(rcpt, 4, text("nobody", 7)), 3, Bytes{0}), 0, kSmtpRcpt + 83, Bytes{0} + text("ops@example.com", 16)},  // only the flag
        {shortOf(rcpt), 0xC7}};
    // One-byte flags: {parameter, offset, accepted, refused, its code}; a longer request is refused first.
    const struct { std::vector<Row> &rows; Bytes head; std::size_t at; unsigned char good, bad; unsigned cc; } flags[] = {
        {agent, {0}, kAgentRec, 1, 2, 0xC9}, {agent, {4}, kAgentRec + 36, 1, 2, 0xC9},
        {agent, {1}, kAgentRec + 1, 1, 2, 0xC9}, {agent, {5}, kAgentRec + 37, 1, 2, 0xC9}, {agent, {6}, kAgentRec + 38, 2, 0, 0xCC},
        {agent, {7}, kAgentRec + 39, 1, 3, 0xCC}, {smtp, {0, 0}, kSmtpRec, 1, 2, 0xC9}, {smtp, {0, 4}, kSmtpRec + 52, 1, 2, 0xC9},
        {smtp, {0, 5}, kSmtpRec + 53, 1, 2, 0xC9}, {smtp, {0, 6}, kSmtpRec + 54, 1, 2, 0xC9},
        {smtp, {0, 12}, kSmtpRec + 265, 1, 2, 0xC9}, {smtp, {0, 14}, kSmtpRec + 267, 2, 3, 0xC9}};
    for (const auto &f : flags)
        f.rows.insert(f.rows.end(), {{f.head + Bytes{f.bad}, f.cc, f.at, {0}}, {f.head + Bytes{f.good, 0}, 0xC7, f.at, {0}},
                                     {f.head + Bytes{f.good}, 0, f.at, {f.good}}});
    run(setAgent, agent);
    run(setSmtp, smtp);
}

// The agent keeps a community's protected form up to its first zero byte.
Bytes agentForm(const std::string &clear) {
    Bytes form = text(clear, 17), out(17, 0);
    EXPECT_EQ(QuorixPwEncrypt(form.data(), 16), 0);
    std::copy(form.begin(), std::find(form.begin(), form.begin() + 16, 0), out.begin());
    return out;
}

TEST_F(Parameters, SecretsStoredProtected_ReadersGiveThemBackClear_OemGetsAsStored_TrapVersionClearsThem) {
    run(setTrap, {V2, {req({0, 2}, "sixteen-chars-ok"), 0, kTrapRec + 2, protectedForm("sixteen-chars-ok", 17, true)},
                  {req({0, 2}, "seventeen-chars!!"), 0xC7}, {req({0, 2}, "has blank"), 0xC9}});
    run(setAgent, {{req({2}, "sixteen-chars-ok"), 0, kAgentRec + 2, agentForm("sixteen-chars-ok")},
                   {req({3}, std::string("\0Xprivate", 9)), 0, kAgentRec + 19, Bytes(17, 0)},  // empty: nothing behind it
                   {req({9}, "twenty-characters-ok"), 0, kAgentRec + 57, protectedForm("twenty-characters-ok", 24, false)},
                   {req({10}, std::string("priv\0phrase", 11)), 0, kAgentRec + 81, protectedForm("priv", 24, false)}});
    run(setSmtp, {{req({0, 8}, "S3cret!pw"), 0, kSmtpRec + 121, protectedForm("S3cret!pw", 61, true)}});
    unsigned char clear[300] = {}, resp[400];
    ASSERT_EQ(QuorixGetSmtpCfgFromMem(clear), 0);
    EXPECT_STREQ(reinterpret_cast<char *>(clear + 121), "S3cret!pw") << "the in-memory reader gives it back clear";
    run(setTrap, {V3, {req({0, 8}, "1234567890abcdef"), 0, kTrapRec + 108, protectedForm("1234567890abcdef", 21, true)}});
    ASSERT_EQ(QuorixGetSnmpTrapCfgFromMem(clear), 0);
    EXPECT_STREQ(reinterpret_cast<char *>(clear + 108), "1234567890abcdef");
    const struct { int (*get)(unsigned char *); int length; std::size_t from; Bytes zeroed; } gets[] = {
        {[](unsigned char *r) { return QuorixGetBMCSnmpTrapCfgInterface(0, r); }, 180, kTrapRec, {}},
        {[](unsigned char *r) { return QuorixGetBMCSnmpTrapCfgInterface(1, r); }, 209, kTrapDest, {}},
        {QuorixGetBMCSnmpCfgInterface, 106, kAgentRec, {}},
        {[](unsigned char *r) { return QuorixGetBMCSmtpCfgInterface(0, r); }, 269, kSmtpRec, Bytes(61, 0)},  // no password
        {[](unsigned char *r) { return QuorixGetBMCSmtpCfgInterface(1, r); }, 333, kSmtpRcpt, {}}};
    for (const auto &g : gets) {
        std::memset(resp, 0x5A, sizeof resp);
        ASSERT_EQ(g.get(resp), g.length);
        Bytes want = qtest::blockBytes(g.from, g.length - 1);
        if (!g.zeroed.empty()) std::copy(g.zeroed.begin(), g.zeroed.end(), want.begin() + 121);
        EXPECT_EQ(Bytes(resp + 1, resp + g.length + 1), want + Bytes{0x5A}) << g.length;
    }
    EXPECT_EQ(QuorixGetBMCSnmpTrapCfgInterface(2, resp) + QuorixGetBMCSmtpCfgInterface(2, resp), -2);
    for (auto get : {QuorixGetBMCSnmpCfgInterface, QuorixGetSnmpTrapCfgFromMem, QuorixGetSmtpCfgFromMem}) EXPECT_EQ(get(nullptr), -1);
    // A new trap version clears the other groups' secrets.
    run(setTrap, {V3, {req({0, 4}, "admin"), 0}, {req({0, 9}, std::string(26, 'c')), 0},
         V1, {req({0, 2}, "public"), 0, kTrapRec + 36, Bytes(17, 0)},  // user gone
         // Only the first 21 bytes of the engine ID are cleared.
         {{0, 1, 1}, 0, kTrapRec + 129, Bytes(21, 0) + text("ccccc", 6)},
         V3, {{0, 1, 1}, 0, kTrapRec + 2, Bytes(17, 0)}});
    unsigned char changed = 0;  // the record-only set reports a change instead of saving it
    EXPECT_EQ(SetSNMPTrapCfg(V2.request.data(), 3, &changed), 0u);
    EXPECT_EQ(changed, 1);
}

Bytes trapRecord(unsigned char version) {
    return Bytes{0, 255, version, 1} + text("community1", 17) + text("AssertTag", 17) + text("v3user", 17) +
           text("MD5", 17) + text("authpass1", 21) + text("AES", 17) + text("privpass1", 21) +
           text("80001F8880AB12", 49) + Bytes{43};
}
Bytes agentRecord(unsigned char v1, unsigned char v2, unsigned char v3) {
    return Bytes{254, v1, v2} + text("public", 17) + text("private", 17) + Bytes{1, v3, 2, 1} + text("v3user", 17) +
           text("authphrase", 24) + text("privphrase", 24);
}
Bytes smtpRecord() {  // ports high byte first
    return Bytes{0, 255, 1} + text("10.1.2.3", 47) + Bytes{0, 25, 1, 0xD1, 1, 0, 1} + text("mailer", 66) +
           text("Pw0rd!xyz", 61) + text("bmc@example.com", 65) + text("BMC alert", 17) + Bytes{1, 0, 0, 2};
}
TEST_F(Parameters, WholeRecordsStoreWhatTheirEnablesAllowAndCheckTheRest) {
    const Bytes trap3 = put(put(put(tail(trapRecord(3), 2), 2, Bytes(17, 0)), 70, protectedForm("authpass1", 21, true)),
                            108, protectedForm("privpass1", 21, true));
    const Bytes trap2 = Bytes{2, 1} + protectedForm("community1", 17, true) + text("AssertTag", 17) + Bytes(142, 0) + Bytes{43};
    const Bytes publicForm = protectedForm("public", 16, false) + Bytes{0};
    const Bytes agent = Bytes{1, 0} + publicForm + protectedForm("private", 16, false) + Bytes{0, 0, 1, 2, 1} + text("v3user", 17) +
                        protectedForm("authphrase", 24, false);
    const Bytes smtp = put(put(tail(smtpRecord(), 2), 48, Bytes{25, 0, 0xD1, 1}), 121, protectedForm("Pw0rd!xyz", 61, true));
    Bytes smtpOff = Bytes{0, 255} + Bytes(268, 0xFF);
    for (std::size_t at : {0, 52, 53, 54, 264, 265, 266, 267}) smtpOff[2 + at] = 0;
    run(setTrap, {
        {trapRecord(3), 0, kTrapRec, trap3}, {trapRecord(2), 0, kTrapRec, trap2},
        {put(Bytes{0, 255} + Bytes(179, 0xFF), 2, Bytes{0, 0}), 0, kTrapRec, put(trap2, 0, Bytes{0})},  // version 0: only it
        {put(trapRecord(2), 4, "a b"), 0xC9}, {put(trapRecord(3), 2, Bytes{4}), 0xC9}, {put(trapRecord(3), 21, "Other"), 0xC9},
        {put(trapRecord(3), 180, Bytes{6}), 0xC9}, {put(trapRecord(3), 38, "a b"), 0xCC}, {put(trapRecord(3), 93, "XYZ"), 0xC9},
        {put(trapRecord(3), 72, "short"), 0xC7}, {shortOf(trapRecord(3)), 0xC7}});
    run(setAgent, {{req({8}, "a-long-user-name"), 0}, {agentRecord(1, 0, 1), 0, kAgentRec, agent},  // the name replaced whole
                   {put(agentRecord(0, 0, 0), 4, std::string(16, ' ')), 0, kAgentRec, put(put(agent, 0, Bytes{0}), 37, Bytes{0})},
                   {agentRecord(2, 0, 0), 0xC9}, {put(agentRecord(1, 0, 1), 39, Bytes{3}), 0xCC},
                   {put(agentRecord(0, 1, 0), 6, Bytes{0x7F}), 0xC9}, {shortOf(agentRecord(1, 1, 1)), 0xC7, kAgentRec, {0, 0}}});
    run(setSmtp, {{smtpRecord(), 0, kSmtpRec, smtp}, {smtpOff, 0, kSmtpRec, put(smtp, 0, Bytes{0})},
                  {put(smtpRecord(), 269, Bytes{3}), 0xC9}, {put(smtpRecord(), 3, "x"), 0xCC}, {put(smtpRecord(), 249, "\t"), 0xC9},
                  {put(smtpRecord(), 123, "a b"), 0xC9}, {Bytes{0, 255} + Bytes(100, 0), 0xC7, kSmtpRec, {0}}});
}

TEST_F(Parameters, SavedRecordsLoadBackAsTheyWere_ForeignValuesAsTheSaverWritesThem) {
    qtest::writeFile("/etc/quorix/features", "");  // plain forms: a protected one may hold a zero byte, which ends its text
    run(setTrap, {{trapRecord(3), 0}, {req({1, 2, 255, 1}) + text("2001:db8::7", 46) + Bytes{0, 0, 0, 1, 0x2C}, 0}});
    const Bytes saved = qtest::blockBytes(kTrapDest, 208 + 179);
    std::memset(static_cast<unsigned char *>(intf_quorix_mem) + kTrapDest, 0x55, 208 + 179);
    ASSERT_EQ(QuorixGetSnmpTotalConfFromJson(), 0);
    EXPECT_EQ(qtest::blockBytes(kTrapDest, 208 + 179), saved);
    // Texts cut to 16, unmentioned entries cleared, ports kept to their low 32 bits by the loader and the saver alike.
    qtest::writeFile("/conf/SnmpTrapCfg.json", R"({"SnmpTrapCfg":{"EngineID":"0123456789abcdef0123"},"SnmpTrapDestCfg":[
        {"Enabled":1,"Destination":"h.org","port":-62},{"port":4294967234},{"port":4294967296}]})");
    ASSERT_EQ(QuorixGetSnmpTotalConfFromJson(), 0);
    const Bytes loaded = qtest::blockBytes(kTrapDest, 208 + 179), c2 = {0xC2, 0xFF, 0xFF, 0xFF};
    EXPECT_EQ(tail(loaded, 208 + 129), text("0123456789abcdef", 50));
    EXPECT_EQ(Bytes(loaded.begin(), loaded.begin() + 208), Bytes{1} + text("h.org", 47) + c2 + Bytes(48, 0) + c2 + Bytes(104, 0));
    ASSERT_EQ(QuorixSetSnmpTotalConfToJson(loaded.data() + 208, loaded.data(), "/conf/SnmpTrapCfg.json"), 0);
    ASSERT_EQ(QuorixGetSnmpTotalConfFromJson(), 0);
    EXPECT_EQ(qtest::blockBytes(kTrapDest, 208 + 179), loaded);
    qtest::writeFile("/conf/SmtpCfg.json", "{\"SmtpCfg\":{\"ServerAddr\":\"" + std::string(48, 's') + "\",\"PassWord\":\"" +
                                               std::string(61, 'p') + "\"},\"SmtpDestCfg\":[{\"Description\":\"" + std::string(20, 'd') + "\"}]}");
    ASSERT_EQ(QuorixGetSmtpTotalConfFromJson(), 0);
    EXPECT_EQ(qtest::blockBytes(kSmtpRec + 1, 47) + qtest::blockBytes(kSmtpRec + 121, 61),
              text(std::string(46, 's'), 47) + text(std::string(60, 'p'), 61));
    EXPECT_EQ(qtest::blockBytes(kSmtpRcpt + 66, 17), text(std::string(16, 'd'), 17));
    qtest::writeFile("/etc/quorix/features", "CONFIG_FEATURE_ENABLE_USERPSWD_ENCRYPTION=y\n");
}

// A past finding: a zero byte inside a protected form keeps the bytes behind it.
TEST_F(Parameters, ReadersCopyStoredFormsWhole) {
    unsigned char out[179] = {};
    std::string phrase;  // the device key is random: find a phrase whose form holds a zero byte early
    for (int i = 0; i < 4096 && phrase.empty(); ++i) {
        const Bytes form = protectedForm(std::to_string(100000 + i) + "phrase", 21, true);
        if (std::count(form.begin(), form.begin() + 14, 0) > 0) phrase = std::to_string(100000 + i) + "phrase";
    }
    ASSERT_FALSE(phrase.empty());
    run(setTrap, {V3, {req({0, 6}, phrase), 0}});
    ASSERT_EQ(QuorixGetSnmpTrapCfgFromMem(out), 0);
    EXPECT_EQ(Bytes(out + 70, out + 91), text(phrase, 21));
    run(setTrap, {V2, {req({0, 3}, "HostName"), 0}});  // a community without a zero byte ends inside its field
    qtest::putText(kTrapRec + 2, std::string(17, 'c'));
    ASSERT_EQ(QuorixGetSnmpTrapCfgFromMem(out), 0);
    EXPECT_EQ(Bytes(out + 18, out + 36), Bytes{0} + text("HostName", 17));
    qtest::putText(kTrapRec + 2, std::string("vantol\0", 7));  // the factory community is stored in clear
    ASSERT_EQ(QuorixGetSnmpTrapCfgFromMem(out), 0);
    EXPECT_EQ(Bytes(out + 2, out + 9), text("vantol", 7));
}

}  // namespace
