// SMTP configuration: record and recipient parameters, whole records, the
// OEM get without the password, the JSON file and its loader.
#include <cstring>
#include <string>

#include "svc_test_util.h"

namespace {

using namespace svctest;

constexpr std::size_t kRec = 0x621F91;
constexpr std::size_t kRcpt = 0x62209D;
constexpr const char *kFile = "/conf/SmtpCfg.json";

unsigned set(const Bytes &r) {
    return QuorixSetBMCSmtpCfgInterface(r.data(), static_cast<int>(r.size()));
}
Bytes rec(std::size_t off, std::size_t len) {
    return qtest::blockBytes(kRec + off, len);
}

class Smtp : public qtest::BoundTest {
protected:
    void SetUp() override {
        BoundTest::SetUp();
        logIpmiToConsole();
    }
    std::pair<Bytes, std::string> snapshot() {
        return {qtest::blockBytes(kRec, 268 + 332), qtest::fileExists(kFile) ? qtest::readFile(kFile) : "<none>"};
    }
};

TEST_F(Smtp, FlagParameters_Table) {
    struct Case {
        unsigned char param;
        std::size_t offset;
        unsigned char max;
    } cases[] = {{0, 0, 1}, {4, 52, 1}, {5, 53, 1}, {6, 54, 1}, {11, 264, 1}, {12, 265, 1}, {13, 266, 1}, {14, 267, 2}};
    for (const Case &c : cases) {
        auto before = snapshot();
        EXPECT_EQ(set({0, c.param, static_cast<unsigned char>(c.max + 1)}), 0xC9u) << int(c.param);
        EXPECT_EQ(set({0, c.param, c.max, 0}), 0xC7u) << int(c.param);
        EXPECT_EQ(snapshot(), before) << int(c.param);
        EXPECT_EQ(set({0, c.param, c.max}), 0u) << int(c.param);
        EXPECT_EQ(rec(c.offset, 1), Bytes{c.max}) << int(c.param);
        Json j(kFile);
        EXPECT_NE(j.root, nullptr);
    }
    EXPECT_EQ(set({0, 15, 0}), 0xC9u);
    EXPECT_EQ(set({0, 0}), 0xC7u);
    EXPECT_EQ(set({3, 0, 0}), 0xC9u);
}

// One row per request: completion code, and the bytes the block then holds at
// an offset from the mail record (recipients follow it).
constexpr std::size_t kNone = ~std::size_t{0};
struct CodeCase {
    Bytes request;
    unsigned cc;
    std::size_t offset = kNone;
    Bytes stored = {};
};

TEST_F(Smtp, Parameters_CodesAndStoredBytes) {
    const std::string a64 = std::string(52, 'a') + "@example.com";
    const std::size_t rcpt = kRcpt - kRec;
    const CodeCase cases[] = {
        // Ports: little-endian when set alone.
        {{0, 2, 0x19, 0x00}, 0x00, 48, {0x19, 0x00}},
        {{0, 3, 0x34, 0x12}, 0x00, 50, {0x34, 0x12}},
        {{0, 2, 0x19}, 0xC7},
        {req({0, 1}, "smtp.example.com"), 0x00, 1, text("smtp.example.com", 47)},
        {req({0, 1}, "a b.com"), 0xC9},
        {req({0, 1}, std::string(48, 'a')), 0xC7},
        // Subject: blanks allowed, 16 characters at most.
        {req({0, 10}, "Two words"), 0x00, 247, text("Two words", 17)},
        {req({0, 10}, "sixteen chars ok"), 0x00, 247, text("sixteen chars ok", 17)},
        {req({0, 10}, "seventeen chars!!"), 0xC7},
        {req({0, 10}, "tab\there"), 0xC9},
        {req({0, 7}, "mail user"), 0xC9},
        {req({0, 7}, "mailer"), 0x00, 55, text("mailer", 66)},
        {req({0, 7}, std::string(66, 'u')), 0xC7},
        {req({0, 9}, "bmc@example.com"), 0x00, 182, text("bmc@example.com", 65)},
        {req({0, 9}, std::string(65, 's')), 0xC7},
        {req({0, 8}, std::string(61, 'p')), 0xC7},
        {req({0, 8}, "pass word"), 0xC9},
        // Recipients.
        {req({1, 2, 1}, a64), 0x00, rcpt + 2 * 83 + 1, text(a64, 65)},
        {req({1, 2, 1}, a64 + "x"), 0xC7},
        {req({1, 4, 1}, "a@b.com"), 0xC9},
        {req({1, 0, 1}, "not-an-address"), 0xCC},
        {{1, 0, 0, 1}, 0x00, rcpt, {1}},
        {{1, 0, 0, 2}, 0xC9},
        {req({1, 0, 2}, "Ops team"), 0x00, rcpt + 66, text("Ops team", 17)},
        {req({1, 0, 2}, "seventeen chars!!"), 0xC7},
        {req({1, 0, 9}, "x"), 0xC9},
        {{1, 0, 0}, 0xC7},
    };
    for (const CodeCase &c : cases) {
        EXPECT_EQ(set(c.request), c.cc) << ::testing::PrintToString(c.request);
        if (c.offset != kNone) {
            EXPECT_EQ(rec(c.offset, c.stored.size()), c.stored) << ::testing::PrintToString(c.request);
        }
    }
    Json j(kFile);
    EXPECT_EQ(j.num("SmtpCfg", "SmtpPort"), 25);
    EXPECT_EQ(j.num("SmtpCfg", "SmtpSecurePort"), 0x1234);
    std::string out = qtest::captureStdout([] { EXPECT_EQ(set(req({0, 1}, "nodots")), 0xCCu); });
    EXPECT_NE(out.find("Invalid data format of SMTP Server Address!"), std::string::npos) << out;
    unsigned char block[333] = {};
    ASSERT_EQ(QuorixGetBMCSmtpCfgInterface(1, block), 333);
    EXPECT_EQ(Bytes(block + 1, block + 333), qtest::blockBytes(kRcpt, 332));
}

TEST_F(Smtp, Password_ProtectedAndNeverInTheOemGet) {
    EXPECT_EQ(set(req({0, 8}, "S3cret!pw")), 0u);
    EXPECT_EQ(rec(121, 61), protectedForm("S3cret!pw", 61, true));
    unsigned char resp[270];
    std::memset(resp, 0x5A, sizeof resp);
    ASSERT_EQ(QuorixGetBMCSmtpCfgInterface(0, resp), 269);
    EXPECT_EQ(Bytes(resp + 122, resp + 183), Bytes(61, 0));
    EXPECT_EQ(resp[0], 0x5A);  // left for the caller
    unsigned char clear[268] = {};
    ASSERT_EQ(QuorixGetSmtpCfgFromMem(clear), 0);
    EXPECT_STREQ(reinterpret_cast<char *>(clear + 121), "S3cret!pw");
    // The same password again writes nothing.
    unlink(kFile);
    EXPECT_EQ(set(req({0, 8}, "S3cret!pw")), 0u);
    EXPECT_FALSE(qtest::fileExists(kFile));
    EXPECT_EQ(QuorixGetBMCSmtpCfgInterface(2, resp), -1);
    EXPECT_EQ(QuorixGetSmtpCfgFromMem(nullptr), -1);
}

TEST_F(Smtp, Recipients_WholeEntry) {
    Bytes r = cat(cat(cat(req({1, 1, 255, 1}), text("ops@example.com", 64)), Bytes{0xEE}), text("On call", 16));
    r.push_back(0xEE);
    ASSERT_EQ(r.size(), 86u);
    EXPECT_EQ(set(r), 0u);
    EXPECT_EQ(qtest::blockBytes(kRcpt + 83, 83), cat(cat(Bytes{1}, text("ops@example.com", 65)), text("On call", 17)));
    Bytes bad = r;
    std::memcpy(&bad[4], "nobody", 7);
    EXPECT_EQ(set(bad), 0xCCu);
    Bytes off = bad;
    off[3] = 0;
    EXPECT_EQ(set(off), 0u);
    EXPECT_EQ(qtest::blockBytes(kRcpt + 83, 17), cat(Bytes{0}, text("ops@example.com", 16)));
    off.pop_back();
    EXPECT_EQ(set(off), 0xC7u);
}

Bytes wholeRecord() {
    Bytes r(268, 0);
    r[0] = 1;
    std::memcpy(&r[1], "10.1.2.3", 8);
    r[48] = 0x00;  // port 25, high byte first
    r[49] = 0x19;
    r[50] = 0x01;  // 465
    r[51] = 0xD1;
    r[52] = 1;
    r[54] = 1;
    std::memcpy(&r[55], "mailer", 6);
    std::memcpy(&r[121], "Pw0rd!xyz", 9);
    std::memcpy(&r[182], "bmc@example.com", 15);
    std::memcpy(&r[247], "BMC alert", 9);
    r[264] = 1;
    r[267] = 2;
    return r;
}

TEST_F(Smtp, WholeRecord_StoresPortsLittleEndian) {
    EXPECT_EQ(set(cat({0, 255}, wholeRecord())), 0u);
    // As sent, but the ports little-endian and the password protected.
    Bytes want = wholeRecord();
    const Bytes ports = {0x19, 0x00, 0xD1, 0x01}, password = protectedForm("Pw0rd!xyz", 61, true);
    std::copy(ports.begin(), ports.end(), want.begin() + 48);
    std::copy(password.begin(), password.end(), want.begin() + 121);
    EXPECT_EQ(rec(0, 268), want);
    Json j(kFile);
    EXPECT_EQ(j.num("SmtpCfg", "SmtpPort"), 25);
    EXPECT_EQ(j.num("SmtpCfg", "SmtpSecurePort"), 465);
}

TEST_F(Smtp, WholeRecord_DisabledOnlyClearsEnabled) {
    ASSERT_EQ(set(cat({0, 255}, wholeRecord())), 0u);
    Bytes before = rec(1, 267);
    Bytes r(268, 0xFF);
    r[0] = 0;
    for (std::size_t off : {52, 53, 54, 264, 265, 266, 267}) r[off] = 0;
    EXPECT_EQ(set(cat({0, 255}, r)), 0u);
    EXPECT_EQ(rec(0, 1), Bytes{0});
    EXPECT_EQ(rec(1, 267), before);
}

TEST_F(Smtp, WholeRecord_Refusals) {
    auto before = snapshot();
    struct Case {
        const char *what;
        std::size_t off;
        std::string value;
        unsigned cc;
    } cases[] = {{"flag", 53, "\x02", 0xC9},      {"level", 267, "\x03", 0xC9}, {"server", 1, "a b", 0xC9},
                 {"server-format", 1, "x", 0xCC}, {"subject", 247, "\t", 0xC9}, {"user", 55, "a b", 0xC9},
                 {"password", 121, "a b", 0xC9}};
    for (const Case &c : cases) {
        Bytes r = wholeRecord();
        std::memset(&r[c.off], 0, c.value.size() == 1 && c.value[0] < 4 ? 1 : 9);
        std::memcpy(&r[c.off], c.value.data(), c.value.size());
        EXPECT_EQ(set(cat({0, 255}, r)), c.cc) << c.what;
        EXPECT_EQ(snapshot(), before) << c.what;
    }
    EXPECT_EQ(set(cat({0, 255}, Bytes(100, 0))), 0xC7u);
}

TEST_F(Smtp, Json_KeyByKeyAndLoaderRoundTrip) {
    ASSERT_EQ(set(cat({0, 255}, wholeRecord())), 0u);
    ASSERT_EQ(set(req({1, 3, 1}, "x@y.org")), 0u);
    Json j(kFile);
    ASSERT_NE(j.root, nullptr);
    EXPECT_EQ(j.num("SmtpCfg", "SmtpEnable"), 1);
    EXPECT_EQ(j.str("SmtpCfg", "ServerAddr"), "10.1.2.3");
    EXPECT_EQ(j.num("SmtpCfg", "EnableSTARTTLS"), 1);
    EXPECT_EQ(j.num("SmtpCfg", "EnableSSLTLS"), 0);
    EXPECT_EQ(j.num("SmtpCfg", "SMTPAUTH"), 1);
    EXPECT_EQ(j.str("SmtpCfg", "UserName"), "mailer");
    EXPECT_NE(j.str("SmtpCfg", "PassWord"), "Pw0rd!xyz");
    EXPECT_EQ(j.str("SmtpCfg", "SenderAddr"), "bmc@example.com");
    EXPECT_EQ(j.str("SmtpCfg", "Subject"), "BMC alert");
    EXPECT_EQ(j.num("SmtpCfg", "HostName"), 1);
    EXPECT_EQ(j.num("SmtpCfg", "SerialNumber"), 0);
    EXPECT_EQ(j.num("SmtpCfg", "AssetTag"), 0);
    EXPECT_EQ(j.num("SmtpCfg", "EventLevel"), 2);
    json_object *list = j.at("SmtpDestCfg");
    ASSERT_EQ(json_object_array_length(list), 4u);
    json_object *v = nullptr;
    ASSERT_TRUE(json_object_object_get_ex(json_object_array_get_idx(list, 3), "EmailAddress", &v));
    EXPECT_STREQ(json_object_get_string(v), "x@y.org");

    Bytes record = rec(0, 268), rcpt = qtest::blockBytes(kRcpt, 332);
    std::memset(static_cast<unsigned char *>(intf_quorix_mem) + kRec, 0, 600);
    ASSERT_EQ(QuorixGetSmtpTotalConfFromJson(), 0);
    EXPECT_EQ(qtest::blockBytes(kRcpt, 332), rcpt);
    EXPECT_EQ(rec(0, 121), Bytes(record.begin(), record.begin() + 121));
    // The sender is loaded with 16 characters only (deliberate).
    EXPECT_EQ(rec(182, 65), text("bmc@example.com", 65));
}


TEST_F(Smtp, Loader_TakesSixtyPasswordCharacters) {
    qtest::writeFile(kFile, "{\"SmtpCfg\":{\"PassWord\":\"" + std::string(61, 'p') + "\"},\"SmtpDestCfg\":[]}");
    ASSERT_EQ(QuorixGetSmtpTotalConfFromJson(), 0);
    EXPECT_EQ(rec(121, 61), text(std::string(60, 'p'), 61));
}

}  // namespace
