// SMTP configuration in the shared block: the 268-byte mail record followed
// by four 83-byte recipient entries (then the SNMP agent record).
#pragma once

#include <cstddef>

namespace qrx::config::smtp {

inline constexpr std::size_t kRecordOffset = 0x621F91;
inline constexpr std::size_t kRecipientsOffset = 0x62209D;

inline constexpr std::size_t kEnabled = 0;
inline constexpr std::size_t kServer = 1;
inline constexpr std::size_t kServerSize = 47;
inline constexpr std::size_t kPort = 48;        // u16 little-endian
inline constexpr std::size_t kSecurePort = 50;  // u16 little-endian
inline constexpr std::size_t kStartTls = 52;
inline constexpr std::size_t kSslTls = 53;
inline constexpr std::size_t kAuth = 54;
inline constexpr std::size_t kUserName = 55;
inline constexpr std::size_t kUserNameSize = 66;
inline constexpr std::size_t kPassword = 121;  // protected over 61 bytes
inline constexpr std::size_t kPasswordSize = 61;
inline constexpr std::size_t kSender = 182;
inline constexpr std::size_t kSenderSize = 65;
inline constexpr std::size_t kSubject = 247;
inline constexpr std::size_t kSubjectSize = 17;
inline constexpr std::size_t kHostName = 264;
inline constexpr std::size_t kSerialNumber = 265;
inline constexpr std::size_t kAssetTag = 266;
inline constexpr std::size_t kEventLevel = 267;
inline constexpr std::size_t kRecordSize = 268;
static_assert(kEventLevel + 1 == kRecordSize, "SMTP record is 268 bytes");
static_assert(kRecordOffset + kRecordSize == kRecipientsOffset, "recipients follow the SMTP record");

inline constexpr std::size_t kRcptEnabled = 0;
inline constexpr std::size_t kRcptAddress = 1;
inline constexpr std::size_t kRcptAddressSize = 65;
inline constexpr std::size_t kRcptDescription = 66;
inline constexpr std::size_t kRcptDescriptionSize = 17;
inline constexpr std::size_t kRcptEntrySize = 83;
inline constexpr std::size_t kRcptCount = 4;
inline constexpr std::size_t kRecipientsSize = kRcptCount * kRcptEntrySize;
static_assert(kRcptDescription + kRcptDescriptionSize == kRcptEntrySize, "recipient entry is 83 bytes");
static_assert(kRecipientsSize == 332, "recipient block is 332 bytes");

inline constexpr const char *kFileName = "SmtpCfg.json";
inline constexpr const char *kConfPath = "/conf/SmtpCfg.json";

}  // namespace qrx::config::smtp
