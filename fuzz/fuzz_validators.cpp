// Input validators and word tables. Input: a selector byte, a parameter byte,
// then the text (NUL-terminated in an exact-size buffer). Every validator
// answers one of its defined results, the same one twice, and never writes
// its input; index-to-word calls get an output buffer of exactly the size
// they are told.
#include <cstring>
#include <memory>

#include "fuzz_support.h"
#include "quorix_common_interface.h"

namespace {

using TextCheck = int (*)(const char *);
using WordToIndex = unsigned (*)(const char *, unsigned char *);
using IndexToWord = unsigned (*)(int, char *, unsigned);

struct Named {
    const char *name;
    TextCheck fn;
    int valid;
    int invalid;
};

int emailCheck(const char *t) {
    return Quorix_validate_email(t);
}
int senderCheck(const char *t) {
    return QuorixIsValidSenderAddress(t);
}
int sensitiveCheck(const char *t) {
    return FilterSensitiveWordsForSec(t);
}
int authCheck(const char *t) {
    return static_cast<int>(ValidateAUTHProtocol(t));
}
int privCheck(const char *t) {
    return static_cast<int>(ValidatePrivProtocol(t));
}
int hostIdCheck(const char *t) {
    return static_cast<int>(ValidateHostID(t));
}

const Named kTextChecks[] = {
    {"QuorixIsValidIpv4", QuorixIsValidIpv4, 0, -1},
    {"QuorixIsValidIpv6", QuorixIsValidIpv6, 0, -1},
    {"QuorixIsValidDomain", QuorixIsValidDomain, 0, -1},
    {"QuorixIsValidPasswd", QuorixIsValidPasswd, 0, -1},
    {"Quorix_validate_email", emailCheck, 1, 0},
    {"QuorixIsValidSenderAddress", senderCheck, 0, 1},
    {"FilterSensitiveWordsForSec", sensitiveCheck, 0, 1},
    {"ValidateAUTHProtocol", authCheck, 0, 1},
    {"ValidatePrivProtocol", privCheck, 0, 1},
    {"ValidateHostID", hostIdCheck, 0, 1},
};

const WordToIndex kWordToIndex[] = {
    ValidateEnableDisable,        ValidateEnableDisableLittleLetter, ValidateAutoManualLittleLetter,
    ValidateSnmpCfgType,          ValidateSnmpTrapVersion,           ValidateEventLevelStrToIndex,
    ValidateSyslogTagStrToIndex,  ValidateSyslogEnableStrToIndex,    ValidateSyslogProtocalStrToIndex,
    ValidateSyslogTypeStrToIndex, ValidateSyslogLevelStrToIndex,
};

const IndexToWord kIndexToWord[] = {
    ValidateEnableDisableIndexToString, ValidateSnmpTrapIndexToString,     ValidateEventLevelLimitIndexToString,
    ValidateSyslogTagIndexToString,     ValidateSyslogEnableIndexToString, ValidateSyslogProtocalIndexToString,
    ValidateSyslogTypeIndexToString,    ValidateSyslogLevelIndexToString,
};

template <typename T, std::size_t N>
constexpr std::size_t count(const T (&)[N]) {
    return N;
}

void twice(const char *name, int first, int second) {
    if (first != second) qfuzz::fail("%s answered %d, then %d for the same text", name, first, second);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    qfuzz::bindOnce();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    if (size < 2) return 0;
    const unsigned selector = data[0];
    const unsigned param = data[1];
    qfuzz::Bytes raw(data + 2, data + size);
    qfuzz::Bytes buffer = raw;
    buffer.push_back(0);
    const qfuzz::Bytes original = buffer;
    char *text = reinterpret_cast<char *>(buffer.data());

    const std::size_t textChecks = count(kTextChecks), wordChecks = count(kWordToIndex);
    const std::size_t indexChecks = count(kIndexToWord);
    std::size_t pick = selector % (textChecks + wordChecks + indexChecks + 6);
    if (pick < textChecks) {
        const Named &c = kTextChecks[pick];
        const int r = c.fn(text);
        if (r != c.valid && r != c.invalid) qfuzz::fail("%s answered %d", c.name, r);
        twice(c.name, r, c.fn(text));
    } else if ((pick -= textChecks) < wordChecks) {
        unsigned char index = 0xA5;
        const unsigned r = kWordToIndex[pick](text, &index);
        // Not found leaves the index alone; found gives a position in a table of at most four words.
        if (r > 1 || (r == 1 && index != 0xA5) || (r == 0 && index > 3))
            qfuzz::fail("word-to-index %zu answered %u, index %u", pick, r, index);
    } else if ((pick -= wordChecks) < indexChecks) {
        const unsigned sizeGiven = param % 40;
        auto dest = std::make_unique<char[]>(sizeGiven);
        const int index = static_cast<int>(static_cast<signed char>(raw.empty() ? 0 : raw[0]));
        const unsigned r = kIndexToWord[pick](index, dest.get(), sizeGiven);
        if (r > 1) qfuzz::fail("index-to-word %zu answered %u", pick, r);
        if (r == 0 && sizeGiven > 0 && std::memchr(dest.get(), 0, sizeGiven) == nullptr)
            qfuzz::fail("index-to-word %zu left its output unterminated", pick);
    } else {
        switch (pick - indexChecks) {
            case 0: {
                const int r = VerifyStrIsDigit(text, param % 20);
                if (r != 0 && r != 1) qfuzz::fail("VerifyStrIsDigit answered %d", r);
                break;
            }
            case 1: {
                // Empty input is passed as a null pointer, which is refused.
                const unsigned char *bytes = raw.empty() ? nullptr : raw.data();
                const unsigned r = ValidateSNMPTrapCfgInput(bytes, static_cast<int>(raw.size()));
                bool clean = bytes != nullptr;
                for (unsigned char c : raw) clean = clean && (c == 0 || (c >= 33 && c <= 126));
                if (r != (clean ? 0u : 1u)) qfuzz::fail("ValidateSNMPTrapCfgInput answered %u", r);
                break;
            }
            case 2: {
                const int r = QuorixIsValidUserName(text, param, static_cast<int>(selector % 3));
                if (r != 0 && r != 1) qfuzz::fail("QuorixIsValidUserName answered %d", r);
                break;
            }
            case 3: {
                int level = -7;
                if (QuorixIDLSeverity2SyslogLevel(text, &level) != 0 ||
                    (level != 1 && level != 2 && level != 4 && level != 6))
                    qfuzz::fail("QuorixIDLSeverity2SyslogLevel gave %d", level);
                break;
            }
            case 4: {
                const unsigned sizeGiven = param % 24;
                auto dest = std::make_unique<char[]>(sizeGiven);
                int severity = 0;
                if (!raw.empty())
                    std::memcpy(&severity, raw.data(), std::min<std::size_t>(raw.size(), sizeof severity));
                const int r = QuorixSyslogLevel2IDLSeverity(severity, dest.get(), sizeGiven);
                if (r != (sizeGiven == 0 ? -1 : 0)) qfuzz::fail("QuorixSyslogLevel2IDLSeverity answered %d", r);
                break;
            }
            default: {
                // The output holds 2 x length digits and the terminator behind them.
                const int length = static_cast<int>(raw.size());
                const int capacity = static_cast<int>(param % 96);
                auto out = std::make_unique<char[]>(static_cast<std::size_t>(capacity) + 1);
                const int r = QuorixConvertHextoStr(raw.data(), out.get(), length, capacity);
                if (r != (capacity < 2 * length ? 1 : 0)) qfuzz::fail("QuorixConvertHextoStr answered %d", r);
                break;
            }
        }
    }
    if (buffer != original) qfuzz::fail("validator %u changed its input", selector);
    return 0;
}
