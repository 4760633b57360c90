// SNMP agent configuration: parameters, whole record, save flag, restart,
// the JSON file and its loader.
#include <cstring>
#include <string>
#include <thread>

#include "svc_test_util.h"

namespace {

using namespace svctest;

constexpr std::size_t kRec = 0x6221E9;
constexpr const char *kFile = "/conf/SnmpAgentCfg.json";
constexpr const char *kStandinLog = "/var/log/netsnmp-standin.log";

unsigned set(const Bytes &r, unsigned char saveFlag = 0) {
    return QuorixSetBMCSnmpCfgInterface(r.data(), static_cast<int>(r.size()), nullptr, saveFlag);
}
Bytes rec(std::size_t off, std::size_t len) {
    return qtest::blockBytes(kRec + off, len);
}

class SnmpAgent : public qtest::BoundTest {
protected:
    std::pair<Bytes, std::string> snapshot() {
        return {rec(0, 105), qtest::fileExists(kFile) ? qtest::readFile(kFile) : "<none>"};
    }
};

TEST_F(SnmpAgent, ByteParameters_Table) {
    struct Case {
        unsigned char param;
        std::size_t offset;
        unsigned char good;
        unsigned char bad;
        unsigned badCc;
    } cases[] = {{0, 0, 1, 2, 0xC9},  {1, 1, 1, 2, 0xC9},  {4, 36, 1, 2, 0xC9},
                 {5, 37, 1, 2, 0xC9}, {6, 38, 2, 0, 0xCC}, {7, 39, 1, 3, 0xCC}};
    for (const Case &c : cases) {
        auto before = snapshot();
        EXPECT_EQ(set({c.param, c.bad}), c.badCc) << int(c.param);
        EXPECT_EQ(set({c.param, c.good, 0}), 0xC7u) << int(c.param);
        EXPECT_EQ(snapshot(), before) << int(c.param);
        EXPECT_EQ(set({c.param, c.good}), 0u) << int(c.param);
        EXPECT_EQ(rec(c.offset, 1), Bytes{c.good}) << int(c.param);
    }
    EXPECT_EQ(set({6, 3}), 0xCCu);
    EXPECT_EQ(set({11, 0}), 0xC9u);
    EXPECT_EQ(QuorixSetBMCSnmpCfgInterface(Bytes{0}.data(), 0, nullptr, 0), 0xC7u);
}

TEST_F(SnmpAgent, Communities_ProtectedSixteenCharactersWhole) {
    EXPECT_EQ(set(req({2}, "sixteen-chars-ok")), 0u);  // n = 17
    unsigned char work[17] = {};
    std::memcpy(work, "sixteen-chars-ok", 16);
    ASSERT_EQ(QuorixPwEncrypt(work, 16), 0);
    Bytes want(17, 0);
    std::memcpy(want.data(), work, strnlen(reinterpret_cast<char *>(work), 16));
    EXPECT_EQ(rec(2, 17), want);
    EXPECT_EQ(set(req({3}, "seventeen-chars!!")), 0xC7u);
    EXPECT_EQ(set(req({3}, "with blank")), 0xC9u);
    EXPECT_EQ(set(req({3}, "private")), 0u);
    EXPECT_NE(rec(19, 7), text("private", 7));
}

// The device key is random: look for a community whose protected form holds a
// zero byte early. The set stores the form up to that byte, zeros behind it.
TEST_F(SnmpAgent, Community_ProtectedFormStoredUpToItsFirstZeroByte) {
    Bytes form;
    std::string phrase;
    for (int i = 0; i < 4096 && phrase.empty(); ++i) {
        form = text("comm" + std::to_string(100000 + i), 17);
        ASSERT_EQ(QuorixPwEncrypt(form.data(), 16), 0);
        if (std::memchr(form.data() + 1, 0, 14) != nullptr) phrase = "comm" + std::to_string(100000 + i);
    }
    ASSERT_FALSE(phrase.empty());
    EXPECT_EQ(set(req({3}, phrase)), 0u);
    Bytes want(17, 0);
    std::memcpy(want.data(), form.data(), strnlen(reinterpret_cast<char *>(form.data()), 16));
    EXPECT_EQ(rec(19, 17), want);
}

TEST_F(SnmpAgent, UserNameAndPassPhrases) {
    EXPECT_EQ(set(req({8}, "snmpuser")), 0u);
    EXPECT_EQ(rec(40, 17), text("snmpuser", 17));
    EXPECT_EQ(set(req({9}, "twenty-characters-ok")), 0u);  // n = 21
    EXPECT_EQ(rec(57, 24), protectedForm("twenty-characters-ok", 24, false));
    EXPECT_EQ(set(req({10}, "privphrase")), 0u);
    EXPECT_EQ(rec(81, 24), protectedForm("privphrase", 24, false));
    EXPECT_EQ(set(req({10}, "twenty-one-characters")), 0xC7u);
    EXPECT_EQ(set(req({9}, "pass phrase")), 0xC9u);
}

// An empty text has no protected form: what a request carries behind the
// terminator must not be stored (and returned by the get) in clear.
TEST_F(SnmpAgent, EmptyPassPhrase_KeepsNothingBehindItsTerminator) {
    ASSERT_EQ(set(req({9}, "authphrase")), 0u);
    EXPECT_EQ(set(req({10}, std::string("\0Xauthphrase", 11))), 0u);
    EXPECT_EQ(rec(81, 24), Bytes(24, 0));
    EXPECT_EQ(set(req({10}, std::string("priv\0phrase", 11))), 0u);
    EXPECT_EQ(rec(81, 24), protectedForm("priv", 24, false));
    unsigned char resp[106] = {};
    ASSERT_EQ(QuorixGetBMCSnmpCfgInterface(resp), 106);
    EXPECT_EQ(Bytes(resp + 82, resp + 106), protectedForm("priv", 24, false));
}

TEST_F(SnmpAgent, UnchangedWritesOnlyWithTheSaveFlag) {
    ASSERT_EQ(set(req({8}, "snmpuser")), 0u);
    unlink(kFile);
    EXPECT_EQ(set(req({8}, "snmpuser"), 1), 0u);
    EXPECT_TRUE(qtest::fileExists(kFile));
}

Bytes wholeRecord(unsigned char v1, unsigned char v2, unsigned char v3) {
    Bytes r(105, 0);
    r[0] = v1;
    r[1] = v2;
    std::memcpy(&r[2], "public", 6);
    std::memcpy(&r[19], "private", 7);
    r[36] = 1;
    r[37] = v3;
    r[38] = 2;
    r[39] = 1;
    std::memcpy(&r[40], "v3user", 6);
    std::memcpy(&r[57], "authphrase", 10);
    std::memcpy(&r[81], "privphrase", 10);
    return cat({254}, r);
}

TEST_F(SnmpAgent, WholeRecord_StoresEnabledGroupsAndKeepsSetByte) {
    EXPECT_EQ(set(wholeRecord(1, 0, 1)), 0u);
    EXPECT_EQ(rec(0, 2), (Bytes{1, 0}));
    EXPECT_EQ(rec(36, 4), (Bytes{0, 1, 2, 1}));  // byte 36 untouched
    EXPECT_EQ(rec(40, 17), text("v3user", 17));
    EXPECT_EQ(rec(57, 24), protectedForm("authphrase", 24, false));
    // Encrypted in place over 16 bytes: the whole protected form stays, zero bytes included.
    Bytes ro = text("public", 17);
    ASSERT_EQ(QuorixPwEncrypt(ro.data(), 16), 0);
    EXPECT_EQ(rec(2, 17), ro);
}

TEST_F(SnmpAgent, WholeRecord_AllDisabledStoresOnlyTheEnables) {
    ASSERT_EQ(set(wholeRecord(1, 1, 1)), 0u);
    Bytes before = rec(0, 105);
    Bytes r = wholeRecord(0, 0, 0);
    std::memset(&r[3], ' ', 16);  // invalid text in disabled groups is not looked at
    EXPECT_EQ(set(r), 0u);
    before[0] = before[1] = before[37] = 0;
    EXPECT_EQ(rec(0, 105), before);
    Json j(kFile);
    EXPECT_EQ(j.num("SnmpCfg", "SnmpV1Enable"), 0);
    EXPECT_EQ(j.num("SnmpCfg", "SnmpV3Enable"), 0);
}

TEST_F(SnmpAgent, WholeRecord_RefusalsLeaveEverythingAlone) {
    auto before = snapshot();
    Bytes r = wholeRecord(2, 0, 0);
    EXPECT_EQ(set(r), 0xC9u);
    r = wholeRecord(1, 0, 1);
    r[1 + 38] = 3;
    EXPECT_EQ(set(r), 0xCCu);
    r = wholeRecord(1, 0, 1);
    r[1 + 45] = ' ';
    EXPECT_EQ(set(r), 0xC9u);
    r = wholeRecord(0, 1, 0);
    r[1 + 5] = 0x7F;
    EXPECT_EQ(set(r), 0xC9u);
    r.pop_back();
    EXPECT_EQ(set(r), 0xC7u);
    EXPECT_EQ(snapshot(), before);
}

TEST_F(SnmpAgent, Restart_PrintsAndRunsTheServiceScript) {
    unlink(kStandinLog);
    std::string out = qtest::captureStdout([] { EXPECT_EQ(set({255}), 0u); });
    EXPECT_EQ(out, "SNMP RESTART!\n");
    for (int i = 0; i < 100 && !qtest::fileExists(kStandinLog); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(qtest::readFile(kStandinLog), "restart\n");
    unlink(kStandinLog);
    EXPECT_EQ(set({255, 0}), 0xC7u);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_FALSE(qtest::fileExists(kStandinLog));
}

TEST_F(SnmpAgent, Json_KeysAndLoaderRoundTrip) {
    ASSERT_EQ(set(wholeRecord(1, 1, 1)), 0u);
    ASSERT_EQ(set({4, 1}), 0u);
    Json j(kFile);
    ASSERT_NE(j.root, nullptr);
    Bytes r = rec(0, 105);
    EXPECT_EQ(j.num("SnmpCfg", "SnmpV1Enable"), 1);
    EXPECT_EQ(j.num("SnmpCfg", "SnmpV2Enable"), 1);
    EXPECT_EQ(j.str("SnmpCfg", "ReadOnlyCommunity"), std::string(reinterpret_cast<char *>(r.data() + 2)));
    EXPECT_EQ(j.num("SnmpCfg", "SnmpV3Enable"), 1);
    EXPECT_EQ(j.num("SnmpCfg", "AUTHProtocol"), 2);
    EXPECT_EQ(j.num("SnmpCfg", "PrivProtocol"), 1);
    EXPECT_EQ(j.str("SnmpCfg", "AUTHUserName"), "v3user");
    EXPECT_EQ(j.at("SnmpCfg", "SnmpV1V2SetEnable"), nullptr);  // never written (deliberate)
    std::memset(static_cast<unsigned char *>(intf_quorix_mem) + kRec, 0x55, 105);
    ASSERT_EQ(QuorixGetSnmpAgentTotalConfFromJson(), 0);
    EXPECT_EQ(rec(0, 2), (Bytes{1, 1}));
    EXPECT_EQ(rec(36, 21), cat(Bytes{0, 1, 2, 1}, text("v3user", 17)));
}

TEST_F(SnmpAgent, NullArgumentsAreRefused) {
    unsigned char r[105] = {};
    EXPECT_EQ(QuorixSetSnmpAgentTotalConfToJson(nullptr, kFile), -1);
    EXPECT_EQ(QuorixSetSnmpAgentTotalConfToJson(r, nullptr), -1);
    unsigned char resp[106];
    EXPECT_EQ(QuorixGetBMCSnmpCfgInterface(resp), 106);
    EXPECT_EQ(QuorixGetBMCSnmpCfgInterface(nullptr), -1);
    EXPECT_EQ(QuorixGetSnmpCfgFromMem(nullptr), -1);
}

}  // namespace
