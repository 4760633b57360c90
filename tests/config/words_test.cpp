// Word/index routines, severity mapping and SNMP trap input checks.
#include <cstring>
#include <string>
#include <vector>

#include "quorix_test.h"

namespace {

struct WordCase {
    unsigned (*fn)(const char *, unsigned char *);
    const char *word;
    unsigned result;
    unsigned char index;  // expected index byte (0xEE: untouched)
};

TEST(WordToIndex, ExactCaseSensitiveWholeWordMatch) {
    const WordCase cases[] = {
        {ValidateEnableDisable, "Enable", 0, 1},
        {ValidateEnableDisable, "enable", 1, 0xEE},
        {ValidateEnableDisable, "Disabled", 1, 0xEE},
        {ValidateEnableDisableLittleLetter, "disable", 0, 0},
        {ValidateAutoManualLittleLetter, "auto", 0, 1},
        {ValidateSnmpCfgType, "Test", 0, 2},
        {ValidateSnmpTrapVersion, "V2", 1, 0xEE},
        {ValidateSnmpTrapVersion, "V2C", 0, 2},
        {ValidateSnmpTrapVersion, "V2CX", 1, 0xEE},
        {ValidateEventLevelStrToIndex, "Critical", 0, 2},
        {ValidateEventLevelStrToIndex, "", 1, 0xEE},
        {ValidateSyslogTagStrToIndex, "PartNumber", 0, 2},
        {ValidateSyslogEnableStrToIndex, "RemoteEnable", 0, 2},
        {ValidateSyslogProtocalStrToIndex, "TLSTwoWay", 0, 3},
        {ValidateSyslogTypeStrToIndex, "Idl + Audit", 0, 3},
        {ValidateSyslogTypeStrToIndex, "Idl+Audit", 1, 0xEE},
        {ValidateSyslogLevelStrToIndex, "Alert", 0, 3},
    };
    for (const WordCase &c : cases) {
        unsigned char index = 0xEE;
        EXPECT_EQ(c.fn(c.word, &index), c.result) << c.word;
        EXPECT_EQ(index, c.index) << c.word;
    }
    unsigned char index = 0xEE;
    EXPECT_EQ(ValidateEnableDisable(nullptr, &index), 1u);
    EXPECT_EQ(ValidateEnableDisable("Enable", nullptr), 1u);
}

TEST(WordToIndex, OnlyTheFirstCountWordsAreSearched) {
    unsigned char index = 0xEE;
    EXPECT_EQ(ValidateStrToOrder(SyslogLevelStr, "Info", 0, &index), 1u);
    EXPECT_EQ(ValidateStrToOrder(SyslogLevelStr, "Info", -1, &index), 0u);
    EXPECT_EQ(index, 0xEE);
    EXPECT_EQ(ValidateStrToOrder(nullptr, "Info", 4, &index), 1u);
    EXPECT_EQ(ValidateStrToOrder(EventLevelStr, "Critical", 2, &index), 1u);
    EXPECT_EQ(index, 0xEE);
    EXPECT_EQ(ValidateStrToOrder(EventLevelStr, "Critical", 4, &index), 0u);
    EXPECT_EQ(index, 2);
}

TEST(IndexToWord, CopiesBoundedAndRefusesHolesAndRanges) {
    char dest[16];
    std::memset(dest, 'x', sizeof dest);
    EXPECT_EQ(ValidateEventLevelLimitIndexToString(3, dest, sizeof dest), 1u);
    EXPECT_EQ(dest[0], 'x');
    EXPECT_EQ(ValidateEventLevelLimitIndexToString(2, dest, sizeof dest), 0u);
    EXPECT_STREQ(dest, "Critical");
    EXPECT_EQ(ValidateSyslogLevelIndexToString(1, dest, 4), 0u);
    EXPECT_EQ(std::string(dest, 4), std::string("War\0", 4));
    EXPECT_EQ(ValidateSnmpTrapIndexToString(-1, dest, sizeof dest), 1u);
    EXPECT_EQ(ValidateSnmpTrapIndexToString(4, dest, sizeof dest), 1u);
    EXPECT_EQ(ValidateSyslogTypeIndexToString(3, dest, sizeof dest), 0u);
    EXPECT_STREQ(dest, "Idl + Audit");
    EXPECT_EQ(ValidateEnableDisableIndexToString(1, nullptr, 8), 1u);
    EXPECT_EQ(ValidateIndexToString(nullptr, 0, 2, dest, sizeof dest), 1u);
    EXPECT_EQ(ValidateIndexToString(EnableStr, 5, 0, dest, sizeof dest), 1u);
    EXPECT_EQ(ValidateIndexToString(EnableStr, 5, -2, dest, sizeof dest), 0u);
    EXPECT_EQ(ValidateIndexToString(SyslogTagStr, 1, 3, dest, sizeof dest), 0u);
    EXPECT_STREQ(dest, "SerialNumber");
}

TEST(Membership, ListsAndNulls) {
    EXPECT_EQ(ValidateHostID("SerialNumber"), 1u);
    EXPECT_EQ(ValidateHostID("SerialNum"), 0u);
    EXPECT_EQ(ValidateHostID("AssertTag"), 0u);
    EXPECT_EQ(ValidateHostID(nullptr), 1u);
    EXPECT_EQ(ValidateAUTHProtocol("MD5"), 0u);
    EXPECT_EQ(ValidateAUTHProtocol("md5"), 1u);
    EXPECT_EQ(ValidatePrivProtocol("DES"), 0u);
    EXPECT_EQ(ValidatePrivProtocol("SHA"), 1u);
    EXPECT_EQ(QuorixValidateStringParams(PrivProtocols, "AES", 3), 0);
    EXPECT_EQ(QuorixValidateStringParams(PrivProtocols, "AES", 0), 1);
    EXPECT_EQ(QuorixValidateStringParams(nullptr, "AES", 3), 1);
}

TEST(SeverityMapping, WordsToSyslogSeverities) {
    const struct {
        const char *word;
        int level;
    } cases[] = {{"Critical", 2}, {"CRITICAL", 2}, {"alert", 1}, {"Warning", 4}, {"Info", 6}, {"Error", 6}, {"", 6}};
    for (const auto &c : cases) {
        int level = -1;
        EXPECT_EQ(QuorixIDLSeverity2SyslogLevel(c.word, &level), 0) << c.word;
        EXPECT_EQ(level, c.level) << c.word;
    }
    int level = -1;
    EXPECT_EQ(QuorixIDLSeverity2SyslogLevel(nullptr, &level), 1);
    EXPECT_EQ(QuorixIDLSeverity2SyslogLevel("Alert", nullptr), 1);
    EXPECT_EQ(level, -1);
}

TEST(SeverityMapping, SeveritiesToWordsWithStrncpyBounds) {
    char dest[12];
    const struct {
        int severity;
        const char *word;
    } cases[] = {{2, "Critical"}, {4, "Warning"}, {1, "Alert"}, {3, "Info"}, {6, "Info"}, {-7, "Info"}};
    for (const auto &c : cases) {
        std::memset(dest, 'x', sizeof dest);
        EXPECT_EQ(QuorixSyslogLevel2IDLSeverity(c.severity, dest, sizeof dest), 0);
        EXPECT_STREQ(dest, c.word);
        // Zero-filled up to size - 1; the last byte is never written.
        EXPECT_EQ(dest[sizeof dest - 2], '\0');
        EXPECT_EQ(dest[sizeof dest - 1], 'x');
    }
    std::memset(dest, 'x', sizeof dest);
    EXPECT_EQ(QuorixSyslogLevel2IDLSeverity(2, dest, 5), 0);
    EXPECT_EQ(std::string(dest, 6), "Critxx");
    EXPECT_EQ(QuorixSyslogLevel2IDLSeverity(2, dest, 0), -1);
    EXPECT_EQ(QuorixSyslogLevel2IDLSeverity(2, nullptr, 4), -1);
}

TEST(SnmpTrapInput, PrintableWithoutSpaceOrZeroPadding) {
    const unsigned char withSpace[] = {'a', ' ', 'b'};
    const unsigned char withZero[] = {'p', 'u', 'b', 0, 0};
    const unsigned char withDel[] = {'a', 127};
    const unsigned char withHigh[] = {0x80};
    EXPECT_EQ(ValidateSNMPTrapCfgInput(withSpace, 3), 1u);
    EXPECT_EQ(ValidateSNMPTrapCfgInput(withSpace, 1), 0u);
    EXPECT_EQ(ValidateSNMPTrapCfgInput(withZero, 5), 0u);
    EXPECT_EQ(ValidateSNMPTrapCfgInput(withDel, 2), 1u);
    EXPECT_EQ(ValidateSNMPTrapCfgInput(withHigh, 1), 1u);
    EXPECT_EQ(ValidateSNMPTrapCfgInput(withSpace, 0), 0u);
    EXPECT_EQ(ValidateSNMPTrapCfgInput(withSpace, -3), 0u);
    EXPECT_EQ(ValidateSNMPTrapCfgInput(nullptr, 3), 1u);
}

TEST(SnmpTrapInput, DeviceTypeCodes) {
    const unsigned known[] = {4,  5,  7,  8,  11, 12, 13, 15, 16,  17,  18,  20,  21,  23,  24,  25, 27,
                              29, 30, 31, 32, 34, 35, 39, 40, 201, 208, 209, 210, 211, 213, 215, 43, 255};
    for (unsigned code : known) EXPECT_EQ(ValidateSNMPTrapCfgDeviceType(code), 0u) << code;
    for (unsigned code : {0u, 1u, 6u, 26u, 200u, 254u, 256u, 0x10004u})
        EXPECT_EQ(ValidateSNMPTrapCfgDeviceType(code), 1u) << code;
}

}  // namespace
