// SNMP trap configuration: group-0 parameters, destinations, whole records,
// readers, the JSON file and its loader.
#include <cstring>
#include <string>

#include "core/byte_access.h"
#include "svc_test_util.h"

namespace {

using namespace svctest;

constexpr std::size_t kDest = 0x621C7E;
constexpr std::size_t kRec = 0x621D4E;
constexpr const char *kFile = "/conf/SnmpTrapCfg.json";

unsigned set(const Bytes &r) {
    return QuorixSetBMCSnmpTrapCfgInterface(r.data(), static_cast<int>(r.size()));
}
Bytes rec(std::size_t off, std::size_t len) {
    return qtest::blockBytes(kRec + off, len);
}

class SnmpTrap : public qtest::BoundTest {
protected:
    void SetUp() override {
        BoundTest::SetUp();
        logIpmiToConsole();
    }
    void setVersion(unsigned char v) { ASSERT_EQ(set({0, 0, v}), 0u); }
    // Block and file as they stand, to prove a refusal touched nothing.
    std::pair<Bytes, std::string> snapshot() {
        return {qtest::blockBytes(kDest, 208 + 179), qtest::fileExists(kFile) ? qtest::readFile(kFile) : "<none>"};
    }
};

// ---- group 0: single parameters ----

TEST_F(SnmpTrap, Version_StoresAndClearsTheOtherGroupsSecrets) {
    setVersion(3);
    ASSERT_EQ(set(req({0, 4}, "admin")), 0u);
    ASSERT_EQ(set(req({0, 9}, "0123456789abcdef0123456789")), 0u);
    EXPECT_EQ(rec(129, 27), cat(text("0123456789abcdef0123456789", 26), Bytes{0}));
    setVersion(1);
    EXPECT_EQ(rec(0, 1), Bytes{1});
    EXPECT_EQ(rec(36, 17), Bytes(17, 0));
    // Only the first 21 bytes of the engine ID are cleared.
    EXPECT_EQ(rec(129, 21), Bytes(21, 0));
    EXPECT_EQ(rec(150, 5), text("56789", 5));
    ASSERT_EQ(set(req({0, 2}, "public")), 0u);
    setVersion(3);
    EXPECT_EQ(rec(2, 17), Bytes(17, 0));
}

// One row per request: the version set first (kAny: left as it is), the
// completion code, and the bytes the block then holds at a record offset
// (kDest + offset for destinations).
constexpr int kAny = -1;
constexpr std::size_t kNone = ~std::size_t{0};
struct CodeCase {
    int version;
    Bytes request;
    unsigned cc;
    std::size_t offset = kNone;
    Bytes stored = {};
};

TEST_F(SnmpTrap, Parameters_CodesAndStoredBytes) {
    const std::size_t dest1Port = kDest - kRec + 52 + 48;
    const CodeCase cases[] = {
        {kAny, {0, 0, 4}, 0xC9},
        {kAny, {0, 0, 2, 0}, 0xC7},
        {kAny, {0, 0}, 0xC7},
        {kAny, {0, 11, 1}, 0xC9},
        {kAny, {3, 0, 1}, 0xC9},
        {kAny, {0, 1, 2}, 0x00, 1, {2}},
        {kAny, {0, 1, 3}, 0xCC},
        {kAny, {0, 1, 1, 0}, 0xC7},
        {kAny, {0, 10, 211}, 0x00, 178, {211}},
        {kAny, {0, 10, 6}, 0xC9},
        {kAny, {0, 10, 255}, 0x00, 178, {255}},
        {kAny, {0, 10, 4, 4}, 0xC7},
        {kAny, req({0, 3}, "SerialNum"), 0x00, 19, text("SerialNum", 17)},
        {kAny, req({0, 3}, "Nobody"), 0xCC},
        {kAny, req({0, 3}, "Host Name"), 0xCC},
        {3, req({0, 2}, "public"), 0xD5},
        {1, req({0, 4}, "abcdefgh"), 0xD5},
        {1, req({0, 5}, "abcdefgh"), 0xD5},
        {1, req({0, 6}, "abcdefgh"), 0xD5},
        {1, req({0, 7}, "abcdefgh"), 0xD5},
        {1, req({0, 8}, "abcdefgh"), 0xD5},
        {1, req({0, 9}, "abcdefgh"), 0xD5},
        // Protocol names as the table spells them, stored upper case; each way of failing has its code.
        {3, req({0, 5}, "sha"), 0xCC},
        {3, req({0, 5}, "SHA"), 0x00, 53, text("SHA", 17)},
        {3, req({0, 5}, "XYZ"), 0xCC},
        {3, req({0, 5}, "S A"), 0xC9},
        {3, req({0, 7}, "DES"), 0x00, 91, text("DES", 17)},
        {3, req({0, 7}, "XYZ"), 0xC9},
        {3, req({0, 7}, "D S"), 0xCC},
        {3, req({0, 9}, "0123456789"), 0x00, 129, text("0123456789", 49)},
        {3, req({0, 9}, "01234567GG"), 0xC9},
        {3, req({0, 9}, "012345678"), 0xC7},
        {3, req({0, 9}, std::string(49, 'a')), 0xC7},
        // Destination ports: big-endian in the request, little-endian in the block.
        {kAny, {1, 1, 2, 0x00, 0x00, 0x00, 0xA2}, 0x00, dest1Port, {0xA2, 0, 0, 0}},
        {kAny, {1, 1, 2, 0x00, 0x00, 0x12, 0x34}, 0x00, dest1Port, {0x34, 0x12, 0, 0}},
        {kAny, {1, 1, 2, 0x00, 0x01, 0x00, 0x00}, 0xC9, dest1Port, {0x34, 0x12, 0, 0}},
        {kAny, {1, 1, 2, 0x00, 0x00, 0xA2}, 0xC7},
        {kAny, {1, 1, 0, 1}, 0x00, dest1Port - 48, {1}},
        {kAny, {1, 1, 0, 2}, 0xC9},
        {kAny, {1, 1, 7, 2}, 0xC9},
        {kAny, {1, 4, 0, 1}, 0xC9},
        {kAny, {1, 1, 0}, 0xC7},
    };
    for (const CodeCase &c : cases) {
        if (c.version != kAny) setVersion(static_cast<unsigned char>(c.version));
        EXPECT_EQ(set(c.request), c.cc) << ::testing::PrintToString(c.request);
        if (c.offset != kNone) {
            EXPECT_EQ(rec(c.offset, c.stored.size()), c.stored) << ::testing::PrintToString(c.request);
        }
    }
}

TEST_F(SnmpTrap, Readers_CopyTheBlockAndRefuseNull) {
    ASSERT_EQ(set({1, 2, 2, 0x00, 0x00, 0x12, 0x34}), 0u);
    unsigned char dest[208];
    std::memset(dest, 0x5A, sizeof dest);
    ASSERT_EQ(QuorixGetSnmpTrapDstCfg(dest), 0);
    EXPECT_EQ(Bytes(dest, dest + 208), qtest::blockBytes(kDest, 208));
    unsigned char resp[210] = {};
    ASSERT_EQ(QuorixGetBMCSnmpTrapCfgInterface(1, resp), 209);
    EXPECT_EQ(Bytes(resp + 1, resp + 209), qtest::blockBytes(kDest, 208));
    EXPECT_EQ(QuorixGetBMCSnmpTrapCfgInterface(0, nullptr), -1);
    EXPECT_EQ(QuorixGetBMCSnmpTrapCfgInterface(2, resp), -1);
    EXPECT_EQ(QuorixGetSnmpTrapDstCfg(nullptr), -1);
}

TEST_F(SnmpTrap, Messages_CarryFunctionNameAndLine) {
    const struct {
        Bytes request;
        const char *says;
    } cases[] = {{{0, 1, 3}, "] Invalid event level limit:3\n"}, {{0, 0, 4}, "] Invalid version!\n"}};
    for (const auto &c : cases) {
        std::string out = qtest::captureStdout([&] { set(c.request); });
        EXPECT_EQ(out.rfind("[SetSNMPTrapCfg ", 0), 0u) << out;
        EXPECT_NE(out.find(c.says), std::string::npos) << out;
    }
}

TEST_F(SnmpTrap, Community_StoredProtectedAndReadBackClear) {
    setVersion(2);
    ASSERT_EQ(set(req({0, 2}, "sixteen-chars-ok")), 0u);  // n = 18: the whole 16 characters
    EXPECT_EQ(rec(2, 17), protectedForm("sixteen-chars-ok", 17, true));
    unsigned char clear[179] = {};
    ASSERT_EQ(QuorixGetSnmpTrapCfgFromMem(clear), 0);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(clear + 2)), "sixteen-chars-ok");
    // The stored form goes out of the OEM get as it stands.
    unsigned char resp[181] = {};
    ASSERT_EQ(QuorixGetBMCSnmpTrapCfgInterface(0, resp), 180);
    EXPECT_EQ(Bytes(resp + 3, resp + 20), rec(2, 17));
    EXPECT_EQ(set(req({0, 2}, "seventeen-chars!!")), 0xC7u);
    EXPECT_EQ(set(req({0, 2}, "has blank")), 0xC9u);
}

TEST_F(SnmpTrap, PassPhrase_LengthRule) {
    setVersion(3);
    struct Case {
        std::string phrase;
        unsigned cc;
    } cases[] = {{"1234567", 0xC7}, {"12345678", 0x00}, {"1234567890abcdef", 0x00}, {"pass word", 0xC9}};
    for (unsigned char p : {6, 8})
        for (const Case &c : cases) EXPECT_EQ(set(req({0, p}, c.phrase)), c.cc) << int(p) << " " << c.phrase;
    // 17 characters do not fit the request.
    EXPECT_EQ(set(req({0, 6}, "1234567890abcdefg")), 0xC7u);
    std::string out = qtest::captureStdout([] { set(req({0, 8}, "short")); });
    EXPECT_NE(out.find("] Invalid privpassword length!\n"), std::string::npos) << out;
    EXPECT_EQ(rec(70, 21), protectedForm("1234567890abcdef", 21, true));
    unsigned char clear[179] = {};
    ASSERT_EQ(QuorixGetSnmpTrapCfgFromMem(clear), 0);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(clear + 70)), "1234567890abcdef");
    EXPECT_EQ(std::string(reinterpret_cast<char *>(clear + 108)), "1234567890abcdef");
}

TEST_F(SnmpTrap, EngineId_Validator) {
    struct Case {
        std::string id;
        unsigned result;
    } cases[] = {
        {"0123456789", 0},         {"012345678", 2}, {"0123456789a", 2}, {"01234567GG", 1}, {std::string(48, 'a'), 0},
        {std::string(50, 'a'), 2}, {"", 0}};
    for (const Case &c : cases)
        EXPECT_EQ(ValidateSNMPTrapCfgEngineID(reinterpret_cast<const unsigned char *>(c.id.c_str()),
                                              static_cast<int>(c.id.size())),
                  c.result)
            << c.id;
    // The empty ID was accepted last and cleared the stored one.
    EXPECT_EQ(rec(129, 49), Bytes(49, 0));
    std::string out =
        qtest::captureStdout([] { ValidateSNMPTrapCfgEngineID(reinterpret_cast<const unsigned char *>("12%sG"), 5); });
    EXPECT_NE(out.find("] Invalid Engine ID:12%sG\n"), std::string::npos) << out;
}

TEST_F(SnmpTrap, FromMem_PercentStaysPercent) {
    // A stored pass phrase holding a conversion is copied, never expanded.
    qrx::ByteView block(intf_quorix_mem);
    block.setU8(kRec, 3);
    // Turn off protection for this check so the stored bytes are the clear text.
    qtest::writeFile("/etc/quorix/features", "");
    Bytes plain = text("%s%n%x%s%d", 21);
    block.copyIn(kRec + 70, plain.data(), 21);
    unsigned char out[179] = {};
    ASSERT_EQ(QuorixGetSnmpTrapCfgFromMem(out), 0);
    EXPECT_EQ(Bytes(out + 70, out + 91), plain);
    qtest::writeFile("/etc/quorix/features", "CONFIG_FEATURE_ENABLE_USERPSWD_ENCRYPTION=y\n");
    EXPECT_EQ(QuorixGetSnmpTrapCfgFromMem(nullptr), -1);
}

TEST_F(SnmpTrap, FromMem_ZeroByteInsideTheProtectedFormIsKept) {
    // The device key is random, so look for a phrase whose protected form holds a
    // zero byte before its last byte: the bytes behind it must still decrypt.
    std::string phrase;
    for (int i = 0; i < 4096 && phrase.empty(); ++i) {
        std::string candidate = "phrase" + std::to_string(100000 + i);
        Bytes stored = protectedForm(candidate, 21, true);
        if (std::memchr(stored.data(), 0, 20) != nullptr) phrase = candidate;
    }
    ASSERT_FALSE(phrase.empty());
    setVersion(3);
    ASSERT_EQ(set(req({0, 6}, phrase)), 0u);
    unsigned char clear[179] = {};
    ASSERT_EQ(QuorixGetSnmpTrapCfgFromMem(clear), 0);
    EXPECT_EQ(Bytes(clear + 70, clear + 91), text(phrase, 21));
}

TEST_F(SnmpTrap, FromMem_DefaultCommunityTakenPlain) {
    qrx::ByteView block(intf_quorix_mem);
    block.setU8(kRec, 2);
    block.copyIn(kRec + 2, "vantol", 7);
    unsigned char out[179] = {};
    ASSERT_EQ(QuorixGetSnmpTrapCfgFromMem(out), 0);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(out + 2)), "vantol");
}

// ---- group 1: destinations ----

TEST_F(SnmpTrap, Destination_AddressRules) {
    std::string d46 = std::string(42, 'a') + ".com";
    ASSERT_EQ(d46.size(), 46u);
    EXPECT_EQ(set(req({1, 2, 1}, d46 + "xx")), 0xC7u);  // n = 51 > 49
    EXPECT_EQ(set(cat(req({1, 2, 1}), text(d46, 46))), 0u);
    EXPECT_EQ(qtest::blockBytes(kDest + 2 * 52 + 1, 47), cat(text(d46, 46), Bytes{0}));
    EXPECT_EQ(set(req({1, 0, 1}, "192.168.1.20")), 0u);
    EXPECT_EQ(set(req({1, 0, 1}, "fe80::1")), 0u);
    EXPECT_EQ(set({1, 0, 1, 0}), 0u);  // empty
    EXPECT_EQ(qtest::blockBytes(kDest + 1, 47), Bytes(47, 0));
    EXPECT_EQ(set(req({1, 0, 1}, "a b")), 0xC9u);
    EXPECT_EQ(set(req({1, 4, 1}, "host.com")), 0xC9u);
    EXPECT_EQ(set({1, 0, 1}), 0xC7u);
    std::string out = qtest::captureStdout([] { EXPECT_EQ(set(req({1, 0, 1}, "nodots")), 0xCCu); });
    EXPECT_NE(out.find("Invalid data format of SNMPTrap destination!"), std::string::npos) << out;
}

TEST_F(SnmpTrap, Destination_WholeEntry) {
    Bytes r = cat(cat(req({1, 3, 255, 1}), text("10.0.0.5", 46)), Bytes{0xEE, 0x00, 0x00, 0x01, 0x02});
    ASSERT_EQ(r.size(), 55u);
    EXPECT_EQ(set(r), 0u);
    Bytes want = cat(cat(Bytes{1}, text("10.0.0.5", 47)), Bytes{0x02, 0x01, 0, 0});
    EXPECT_EQ(qtest::blockBytes(kDest + 3 * 52, 52), want);
    Bytes bad = r;
    bad[53] = 0;
    bad[51] = 0x01;  // port 0x01000102
    EXPECT_EQ(set(bad), 0xC9u);
    Bytes disabledEmpty = cat(cat(req({1, 0, 255, 0}), text("", 46)), Bytes{0, 0, 0, 0, 0});
    EXPECT_EQ(set(disabledEmpty), 0u);
    Bytes enabledEmpty = cat(cat(req({1, 0, 255, 1}), text("", 46)), Bytes{0, 0, 0, 0, 0});
    EXPECT_EQ(set(enabledEmpty), 0u);
    Bytes enabledBad = cat(cat(req({1, 0, 255, 1}), text("bad", 46)), Bytes{0, 0, 0, 0, 0});
    EXPECT_EQ(set(enabledBad), 0xCCu);
    r.pop_back();
    EXPECT_EQ(set(r), 0xC7u);
}

// ---- whole record ----

Bytes wholeRecord(unsigned char version) {
    Bytes r(179, 0);
    r[0] = version;
    r[1] = 1;
    std::memcpy(&r[2], "community1", 10);
    std::memcpy(&r[19], "AssertTag", 9);
    std::memcpy(&r[36], "v3user", 6);
    std::memcpy(&r[53], "MD5", 3);
    std::memcpy(&r[70], "authpass1", 9);
    std::memcpy(&r[91], "AES", 3);
    std::memcpy(&r[108], "privpass1", 9);
    std::memcpy(&r[129], "80001F8880AB12", 14);
    r[178] = 43;
    return r;
}

TEST_F(SnmpTrap, WholeRecord_Version3StoresEverything) {
    EXPECT_EQ(set(cat({0, 255}, wholeRecord(3))), 0u);
    // As sent, but no community and both pass phrases protected.
    Bytes want = wholeRecord(3);
    std::fill(want.begin() + 2, want.begin() + 19, 0);
    const Bytes auth = protectedForm("authpass1", 21, true), priv = protectedForm("privpass1", 21, true);
    std::copy(auth.begin(), auth.end(), want.begin() + 70);
    std::copy(priv.begin(), priv.end(), want.begin() + 108);
    EXPECT_EQ(rec(0, 179), want);
    Json j(kFile);
    EXPECT_EQ(j.str("SnmpTrapCfg", "AUTHProtocol"), "MD5");
    EXPECT_EQ(j.str("SnmpTrapCfg", "EngineID"), "80001F8880AB12");
}

TEST_F(SnmpTrap, WholeRecord_Version2StoresCommunityAndClearsV3) {
    ASSERT_EQ(set(cat({0, 255}, wholeRecord(3))), 0u);
    EXPECT_EQ(set(cat({0, 255}, wholeRecord(2))), 0u);
    EXPECT_EQ(rec(0, 1), Bytes{2});
    EXPECT_EQ(rec(2, 17), protectedForm("community1", 17, true));
    EXPECT_EQ(rec(36, 142), Bytes(142, 0));
}

TEST_F(SnmpTrap, WholeRecord_Version0StoresOnlyTheVersion) {
    ASSERT_EQ(set(cat({0, 255}, wholeRecord(3))), 0u);
    Bytes before = rec(1, 178);
    Bytes junk(179, 0xFF);
    junk[0] = 0;
    junk[1] = 0;
    EXPECT_EQ(set(cat({0, 255}, junk)), 0u);
    EXPECT_EQ(rec(0, 1), Bytes{0});
    EXPECT_EQ(rec(1, 178), before);
}

TEST_F(SnmpTrap, WholeRecord_RefusalsLeaveEverythingAlone) {
    ASSERT_EQ(set(cat({0, 255}, wholeRecord(2))), 0u);
    auto before = snapshot();
    // late: refused after the engine-ID check, which has stored the engine ID by then (deliberate).
    struct Case {
        const char *what;
        std::size_t off;
        std::string value;
        unsigned char version;
        unsigned cc;
        bool late = false;
    } cases[] = {
        {"community", 2, "a b", 2, 0xC9},        {"version", 0, "\x04", 3, 0xC9},
        {"level", 1, "\x03", 3, 0xC9},           {"host", 19, "Other", 3, 0xC9},
        {"type", 178, "\x06", 3, 0xC9},          {"user", 36, "a b", 3, 0xCC},
        {"authproto", 53, "X Y", 3, 0xCC},       {"authproto2", 53, "XYZ", 3, 0xC9, true},
        {"privproto", 91, "XYZ", 3, 0xC9, true}, {"authpw", 70, "short", 3, 0xC7, true},
    };
    for (const Case &c : cases) {
        Bytes r = wholeRecord(c.version);
        std::memset(&r[c.off], 0, c.off == 0 || c.off == 1 || c.off == 178 ? 1 : 16);
        std::memcpy(&r[c.off], c.value.data(), c.value.size());
        EXPECT_EQ(set(cat({0, 255}, r)), c.cc) << c.what;
        auto after = snapshot();
        if (c.late) {
            EXPECT_EQ(rec(129, 49), text("80001F8880AB12", 49)) << c.what;
            std::fill(after.first.begin() + 208 + 129, after.first.begin() + 208 + 178, 0);
        }
        EXPECT_EQ(after, before) << c.what;
    }
    EXPECT_EQ(set(cat({0, 255}, Bytes(178, 0))), 0xC7u);
}

// ---- JSON ----

TEST_F(SnmpTrap, Json_WrittenKeyByKey) {
    setVersion(2);
    ASSERT_EQ(set(req({0, 2}, "abc")), 0u);
    ASSERT_EQ(set({1, 1, 2, 0, 0, 0x12, 0x34}), 0u);
    ASSERT_EQ(set(req({1, 1, 1}, "trap.example.org")), 0u);
    ASSERT_EQ(set({1, 1, 0, 1}), 0u);
    Json j(kFile);
    ASSERT_NE(j.root, nullptr);
    EXPECT_EQ(json_object_get_string(j.at("Version")), std::string("1.00"));
    EXPECT_EQ(j.num("SnmpTrapCfg", "TrapVersion"), 2);
    EXPECT_EQ(j.num("SnmpTrapCfg", "EventLevelLimit"), 0);
    Bytes stored = rec(2, 17);
    EXPECT_EQ(j.str("SnmpTrapCfg", "Community"), std::string(reinterpret_cast<char *>(stored.data())));
    for (const char *k : {"HostID", "UserName", "AUTHProtocol", "AUTHPwd", "PrivProtocol", "PRIVPwd", "EngineID"})
        EXPECT_EQ(j.str("SnmpTrapCfg", k), "") << k;
    EXPECT_EQ(j.num("SnmpTrapCfg", "DeviceType"), 0);
    json_object *list = j.at("SnmpTrapDestCfg");
    ASSERT_EQ(json_object_array_length(list), 4u);
    json_object *e1 = json_object_array_get_idx(list, 1), *v = nullptr;
    ASSERT_TRUE(json_object_object_get_ex(e1, "port", &v));
    EXPECT_EQ(json_object_get_int(v), 0x1234);
    ASSERT_TRUE(json_object_object_get_ex(e1, "Destination", &v));
    EXPECT_STREQ(json_object_get_string(v), "trap.example.org");
    ASSERT_TRUE(json_object_object_get_ex(e1, "Enabled", &v));
    EXPECT_EQ(json_object_get_int(v), 1);
}

TEST_F(SnmpTrap, Json_SaveRefusesNullArguments) {
    unsigned char r[179] = {}, d[208] = {};
    EXPECT_EQ(QuorixSetSnmpTotalConfToJson(nullptr, d, kFile), -1);
    EXPECT_EQ(QuorixSetSnmpTotalConfToJson(r, d, nullptr), -1);
    EXPECT_EQ(QuorixSetSnmpTotalConfToJson(r, d, "/conf/other.json"), 0);
    EXPECT_TRUE(qtest::fileExists("/conf/other.json"));
}

TEST_F(SnmpTrap, Json_RoundTripThroughTheLoader) {
    // Plain stored forms: a protected form may hold a zero byte, which ends its text in the file.
    qtest::writeFile("/etc/quorix/features", "");
    ASSERT_EQ(set(cat({0, 255}, wholeRecord(3))), 0u);
    ASSERT_EQ(set(cat(cat(req({1, 2, 255, 1}), text("2001:db8::7", 46)), Bytes{0, 0, 0, 0x01, 0x2C})), 0u);
    Bytes dest = qtest::blockBytes(kDest, 208);
    Bytes record = rec(0, 179);
    std::memset(static_cast<unsigned char *>(intf_quorix_mem) + kDest, 0, 208 + 179);
    ASSERT_EQ(QuorixGetSnmpTotalConfFromJson(), 0);
    EXPECT_EQ(qtest::blockBytes(kDest, 208), dest);
    EXPECT_EQ(rec(0, 179), record);
    qtest::writeFile("/etc/quorix/features", "CONFIG_FEATURE_ENABLE_USERPSWD_ENCRYPTION=y\n");
}

class SnmpTrapLoader : public SnmpTrap {
protected:
    void SetUp() override {
        SnmpTrap::SetUp();
        factory_ = qtest::readFile("/etc/defconfig/SnmpTrapCfg.json");
    }
    void TearDown() override {
        qtest::writeFile("/etc/defconfig/SnmpTrapCfg.json", factory_);
        SnmpTrap::TearDown();
    }
    std::string load(int expected) {
        return qtest::captureStdout([&] { EXPECT_EQ(QuorixGetSnmpTotalConfFromJson(), expected); });
    }
    std::string factory_;
};

TEST_F(SnmpTrapLoader, ConfWinsOverDefaultsAndStringsAreCutTo16) {
    qtest::writeFile(kFile, R"({"SnmpTrapCfg":{"TrapVersion":259,"EngineID":"0123456789abcdef0123",
        "HostID":"SerialNum"},"SnmpTrapDestCfg":[{"Enabled":1,"Destination":"h.org","port":74565}]})");
    std::memset(static_cast<unsigned char *>(intf_quorix_mem) + kDest, 0xAA, 208);
    load(0);
    EXPECT_EQ(rec(0, 1), Bytes{3});  // low byte of 259
    EXPECT_EQ(rec(129, 49), text("0123456789abcdef", 49));
    EXPECT_EQ(qtest::blockBytes(kDest, 52), cat(cat(Bytes{1}, text("h.org", 47)), Bytes{0x45, 0x23, 0x01, 0x00}));
    // Entries the array does not mention are cleared.
    EXPECT_EQ(qtest::blockBytes(kDest + 52, 156), Bytes(156, 0));
}

TEST_F(SnmpTrapLoader, PortKeepsItsLow32BitsAcrossSaveAndReload) {
    // A file from elsewhere may hold a negative or an oversized port; what the
    // loader stores must be what the saver writes and the next load reads.
    qtest::writeFile(kFile, R"({"SnmpTrapCfg":{},"SnmpTrapDestCfg":[{"port":-62},{"port":4294967234},
        {"port":4294967296},{"port":99999999999999999999}]})");
    load(0);
    const Bytes ports[] = {{0xC2, 0xFF, 0xFF, 0xFF}, {0xC2, 0xFF, 0xFF, 0xFF}, {0, 0, 0, 0}, {0xFF, 0xFF, 0xFF, 0xFF}};
    for (int i = 0; i < 4; ++i) EXPECT_EQ(qtest::blockBytes(kDest + 52 * i + 48, 4), ports[i]) << i;
    const Bytes loaded = qtest::blockBytes(kDest, 208 + 179);
    ASSERT_EQ(QuorixSetSnmpTotalConfToJson(static_cast<unsigned char *>(intf_quorix_mem) + kDest + 208,
                                           static_cast<unsigned char *>(intf_quorix_mem) + kDest, kFile),
              0);
    load(0);
    EXPECT_EQ(qtest::blockBytes(kDest, 208 + 179), loaded);
}

}  // namespace
