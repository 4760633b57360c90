// User password rule: single-parameter and whole-record sets, the EEPROM
// copy, the got-flag and the per-process cache.
#include <cstring>
#include <string>
#include <vector>

#include "password_rule_test_util.h"

namespace {

using Bytes = std::vector<unsigned char>;

class PasswordRule : public qtest::BoundTest {
protected:
    void SetUp() override {
        qtest::BoundTest::SetUp();
        // The cache outlives a test: bring it back to the defaults, then forget the EEPROM.
        unsigned char reset[13] = {255, 0, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 5};
        ASSERT_EQ(QuorixSetUserPasswordRuleInterface(reset, 13), 0);
        quorix_passwd_rule_got_flag = 0;
        ASSERT_EQ(qtest::Sim::get().reset(), 0);
        qtest::clearDirectory("/var");
    }

    static int set(Bytes req) { return QuorixSetUserPasswordRuleInterface(req.data(), static_cast<int>(req.size())); }

    // The cached record as the get handler answers it.
    static Bytes cached() {
        quorix_passwd_rule_got_flag = 1;
        unsigned char res[13] = {};
        EXPECT_EQ(QuorixGetUserPasswordRuleInterface(res), 13);
        EXPECT_EQ(res[0], 0);
        return Bytes(res + 1, res + 13);
    }
};

struct SingleCase {
    Bytes request;
    int cc;
};

TEST_F(PasswordRule, SingleParameter_LengthAndRangeCodes) {
    const SingleCase cases[] = {
        {{}, 0xC7},
        {{1}, 0xC7},
        {{1, 8, 0}, 0xC7},
        {{1, 7}, 0xC9},
        {{1, 17}, 0xC9},
        {{0, 2}, 0xC9},
        {{2, 2}, 0xC9},
        {{3, 32}, 0xC9},
        {{4, 91, 0}, 0xC9},
        {{4, 0x5A}, 0xC7},
        {{5, 11}, 0xC9},
        {{6, 6}, 0xC9},
        {{7, 4, 0, 0, 0}, 0xC9},
        {{7, 61, 0, 0, 0}, 0xC9},
        {{7, 60, 0, 0, 1}, 0xC9},
        {{7, 60, 0, 0}, 0xC7},
        {{8, 0}, 0xC9},
        {{254, 0}, 0xC9},
        {{255, 1, 8}, 0xC7},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(set(c.request), c.cc) << "request size " << c.request.size() << " param "
                                        << (c.request.empty() ? -1 : c.request[0]);
    }
    EXPECT_EQ(qtest::Sim::get().callCount(qrx::slotIndex(qrx::Slot::QuorixWriteMainBoardEEprom)), 0u) << "refused requests write nothing";
    EXPECT_EQ(QuorixSetUserPasswordRuleInterface(nullptr, 2), 0xC7);
}

TEST_F(PasswordRule, SingleParameter_StoresLittleEndianFieldsInCacheAndEeprom) {
    EXPECT_EQ(set({1, 16}), 0);
    EXPECT_EQ(set({2, 1}), 0);
    EXPECT_EQ(set({3, 31}), 0);
    EXPECT_EQ(set({4, 0x5A, 0x00}), 0);
    EXPECT_EQ(set({5, 10}), 0);
    EXPECT_EQ(set({6, 5}), 0);
    EXPECT_EQ(set({7, 0x3C, 0, 0, 0}), 0);
    EXPECT_EQ(set({0, 1}), 0);
    Bytes expected = {1, 16, 1, 31, 0x5A, 0x00, 10, 5, 0x3C, 0, 0, 0};
    EXPECT_EQ(ptest::eeprom(ptest::kRuleOffset, 12), expected);
    EXPECT_EQ(cached(), expected);
    EXPECT_EQ(qtest::Sim::get().callCount(qrx::slotIndex(qrx::Slot::QuorixWriteMainBoardEEprom)), 8u);
}

TEST_F(PasswordRule, SingleParameter_EqualValueAnswersZeroWithoutWriting) {
    EXPECT_EQ(set({1, 12}), 0);
    unsigned writes = qtest::Sim::get().callCount(qrx::slotIndex(qrx::Slot::QuorixWriteMainBoardEEprom));
    EXPECT_EQ(set({1, 12}), 0);
    EXPECT_EQ(set({7, 5, 0, 0, 0}), 0);  // the default
    EXPECT_EQ(qtest::Sim::get().callCount(qrx::slotIndex(qrx::Slot::QuorixWriteMainBoardEEprom)), writes);
}

TEST_F(PasswordRule, WholeRecord_EnabledTakesBigEndianValues) {
    // 16-bit 90 and 32-bit 60 sent high byte first.
    EXPECT_EQ(set({255, 1, 12, 1, 0x15, 0x00, 0x5A, 9, 4, 0x00, 0x00, 0x00, 0x3C}), 0);
    Bytes expected = {1, 12, 1, 0x15, 0x5A, 0x00, 9, 4, 0x3C, 0, 0, 0};
    EXPECT_EQ(ptest::eeprom(ptest::kRuleOffset, 12), expected);
    EXPECT_EQ(quorix_passwd_rule_got_flag, 1);
    EXPECT_EQ(cached(), expected);
    // The same values little-endian are out of range as a whole record.
    EXPECT_EQ(set({255, 1, 12, 1, 0x15, 0x5A, 0x00, 9, 4, 0x3C, 0x00, 0x00, 0x00}), 0xC9);
}

TEST_F(PasswordRule, WholeRecord_EnabledRangeChecks) {
    const Bytes good = {255, 1, 8, 1, 31, 0, 90, 10, 5, 0, 0, 0, 5};
    ASSERT_EQ(set(good), 0);
    const struct {
        int index;
        unsigned char value;
    } bad[] = {{2, 7}, {2, 17}, {3, 2}, {7, 11}, {8, 6}, {6, 91}, {5, 1}, {12, 4}, {12, 61}, {11, 1}, {4, 32}, {1, 2}};
    for (const auto &b : bad) {
        Bytes req = good;
        req[b.index] = b.value;
        EXPECT_EQ(set(req), 0xC9) << "byte " << b.index << " = " << int(b.value);
    }
    EXPECT_EQ(ptest::eeprom(ptest::kRuleOffset, 12), (Bytes{1, 8, 1, 31, 90, 0, 10, 5, 5, 0, 0, 0}));
}

TEST_F(PasswordRule, WholeRecord_TiedValueCheckedOnlyWithOptionFlag) {
    EXPECT_EQ(set({255, 1, 8, 0, 200, 0, 0, 0, 0, 0, 0, 0, 5}), 0);
    EXPECT_EQ(cached()[3], 200);
    EXPECT_EQ(set({255, 1, 8, 1, 200, 0, 0, 0, 0, 0, 0, 0, 5}), 0xC9);
    EXPECT_EQ(cached()[2], 0) << "a refused record changes nothing";
}

TEST_F(PasswordRule, WholeRecord_DisabledStoresDefaultsAndUncheckedBytes) {
    Bytes req = {255, 0, 99, 7, 200, 0x12, 0x34, 77, 66, 0x12, 0x34, 0x56, 0x78};
    ASSERT_EQ(QuorixSetUserPasswordRuleInterface(req.data(), 13), 0);
    EXPECT_EQ(req[2], 8) << "minimum length written back into the request";
    Bytes expected = {0, 8, 7, 200, 0, 0, 77, 66, 5, 0, 0, 0};
    EXPECT_EQ(ptest::eeprom(ptest::kRuleOffset, 12), expected);
    EXPECT_EQ(quorix_passwd_rule_got_flag, 1);
    EXPECT_EQ(cached(), expected);
}

TEST_F(PasswordRule, EepromWriteFailure_Answers0xFFKeepsCacheAndLogs) {
    ptest::logToConsole();
    qtest::Sim::get().setFault(qrx::slotIndex(qrx::Slot::QuorixWriteMainBoardEEprom), 2);  // 6 of 12 bytes
    std::string out = qtest::captureStdout([] { EXPECT_EQ(set({1, 0x0C}), 0xFF); });
    EXPECT_NE(out.find("Write UserPassWdRUle to EEPROM failed! retval=6"), std::string::npos) << out;
    EXPECT_EQ(cached()[1], 0x0C);
    qtest::Sim::get().setFault(qrx::slotIndex(qrx::Slot::QuorixWriteMainBoardEEprom), 1);
    out = qtest::captureStdout([] { EXPECT_EQ(set({1, 0x0D}), 0xFF); });
    EXPECT_NE(out.find("Write UserPassWdRUle to EEPROM failed! retval=-1"), std::string::npos) << out;
}

TEST_F(PasswordRule, Get_ReadFailureAnswers0x83AndLeavesFlagClear) {
    ptest::logToConsole();
    for (int fault : {1, 2}) {
        qtest::Sim::get().setFault(qrx::slotIndex(qrx::Slot::QuorixReadMainBoardEEprom), fault);
        unsigned char res[13];
        std::memset(res, 0xAA, sizeof res);
        std::string out = qtest::captureStdout([&] { EXPECT_EQ(QuorixGetUserPasswordRuleInterface(res), 1); });
        EXPECT_EQ(res[0], 0x83);
        EXPECT_EQ(res[1], 0xAA) << "nothing else is written";
        EXPECT_NE(out.find(fault == 1 ? "Read UserPassWdRUle to EEPROM failed! retval=-1"
                                      : "Read UserPassWdRUle to EEPROM failed! retval=6"),
                  std::string::npos)
            << out;
        EXPECT_EQ(quorix_passwd_rule_got_flag, 0);
    }
    EXPECT_EQ(QuorixGetUserPasswordRuleInterface(nullptr), -1);
}

TEST_F(PasswordRule, Get_EnabledEepromRecordReplacesCache) {
    ptest::putEeprom(ptest::kRuleOffset, {1, 14, 1, 0x11, 0x2D, 0x00, 3, 2, 0x1E, 0, 0, 0});
    unsigned char res[13] = {};
    EXPECT_EQ(QuorixGetUserPasswordRuleInterface(res), 13);
    EXPECT_EQ(Bytes(res, res + 13), (Bytes{0, 1, 14, 1, 0x11, 0x2D, 0x00, 3, 2, 0x1E, 0, 0, 0}));
    EXPECT_EQ(quorix_passwd_rule_got_flag, 1);
    // Cached from now on: a new EEPROM record is not seen until the flag is cleared.
    ptest::putEeprom(ptest::kRuleOffset, {1, 9, 0, 0, 0, 0, 0, 0, 5, 0, 0, 0});
    EXPECT_EQ(QuorixGetUserPasswordRuleInterface(res), 13);
    EXPECT_EQ(res[2], 14);
    quorix_passwd_rule_got_flag = 0;
    EXPECT_EQ(QuorixGetUserPasswordRuleInterface(res), 13);
    EXPECT_EQ(res[2], 9);
}

TEST_F(PasswordRule, Get_DisabledEepromRecordOnlyClearsEnabled) {
    ASSERT_EQ(set({1, 15}), 0);
    ASSERT_EQ(set({0, 1}), 0);
    ptest::putEeprom(ptest::kRuleOffset, {0, 10, 1, 1, 1, 0, 1, 1, 9, 0, 0, 0});
    quorix_passwd_rule_got_flag = 0;
    unsigned char res[13] = {};
    EXPECT_EQ(QuorixGetUserPasswordRuleInterface(res), 13);
    EXPECT_EQ(Bytes(res, res + 13), (Bytes{0, 0, 15, 0, 0, 0, 0, 0, 0, 5, 0, 0, 0}));
}

TEST_F(PasswordRule, TwoProcesses_ReaderSeesWriterOnlyAfterFlagCleared) {
    unsigned char res[13] = {};
    ASSERT_EQ(QuorixGetUserPasswordRuleInterface(res), 13);  // this process has read the EEPROM
    ASSERT_EQ(quorix_passwd_rule_got_flag, 1);
    std::string out = ptest::inChild([] {
        std::printf("%d\n",
                    QuorixSetUserPasswordRuleInterface((Bytes{255, 1, 13, 0, 0, 0, 30, 4, 3, 0, 0, 0, 10}).data(), 13));
    });
    EXPECT_EQ(out, "0\n");
    EXPECT_EQ(QuorixGetUserPasswordRuleInterface(res), 13);
    EXPECT_EQ(res[1], 0) << "still the cached record";
    quorix_passwd_rule_got_flag = 0;
    EXPECT_EQ(QuorixGetUserPasswordRuleInterface(res), 13);
    EXPECT_EQ(Bytes(res + 1, res + 13), (Bytes{1, 13, 0, 0, 30, 0, 4, 3, 10, 0, 0, 0}));
}

// Registered as a test of its own: the cache as a process starts, before any
// read or set (disabled, minimum length 8, lockout 5 minutes).
TEST(PasswordRuleFirstUse, CacheStartsAtTheDefaults) {
    quorix_passwd_rule_got_flag = 1;
    unsigned char res[13] = {};
    ASSERT_EQ(QuorixGetUserPasswordRuleInterface(res), 13);
    EXPECT_EQ(Bytes(res, res + 13), (Bytes{0, 0, 8, 0, 0, 0, 0, 0, 0, 5, 0, 0, 0}));
}

}  // namespace
