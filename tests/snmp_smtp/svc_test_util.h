// The three JSON-backed services as the tests drive them: their set entry
// points, where their records stand in the block, and byte builders.
#pragma once

#include <cstring>
#include <string>

#include "quorix_test.h"

namespace svctest {

using qtest::Bytes;
constexpr std::size_t kTrapDest = 0x621C7E, kTrapRec = 0x621D4E, kSmtpRec = 0x621F91, kSmtpRcpt = 0x62209D,
                      kAgentRec = 0x6221E9;

inline Bytes operator+(Bytes a, const Bytes &b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}
// Text in a zero-padded field of width bytes.
inline Bytes text(const std::string &s, std::size_t width) {
    Bytes b(width, 0);
    std::memcpy(b.data(), s.data(), std::min(s.size(), width));
    return b;
}
inline Bytes req(Bytes head, const std::string &data = "") {
    return head + Bytes(data.begin(), data.end());
}
// The protected form the library stores for clear text over width bytes.
inline Bytes protectedForm(const std::string &clear, std::size_t width, bool zeroLast) {
    Bytes b = text(clear, width);
    EXPECT_EQ(QuorixPwEncrypt(b.data(), static_cast<int>(width)), 0);
    if (zeroLast) b[width - 1] = 0;
    return b;
}

inline unsigned setTrap(const Bytes &r) {
    return QuorixSetBMCSnmpTrapCfgInterface(r.data(), static_cast<int>(r.size()));
}
inline unsigned setAgent(const Bytes &r) {
    return QuorixSetBMCSnmpCfgInterface(r.data(), static_cast<int>(r.size()), nullptr, 0);
}
inline unsigned setSmtp(const Bytes &r) {
    return QuorixSetBMCSmtpCfgInterface(r.data(), static_cast<int>(r.size()));
}

}  // namespace svctest
