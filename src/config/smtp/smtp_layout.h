// SMTP configuration in the shared block: the 268-byte mail record followed
// by four 83-byte recipient entries (then the SNMP agent record).
#pragma once

#include <cstddef>

namespace qrx::config::smtp {

inline constexpr std::size_t kRecordOffset = 6430609;
inline constexpr std::size_t kRecipientsOffset = 6430877;

inline constexpr std::size_t kEnabled = 0, kServer = 1, kServerSize = 47;
inline constexpr std::size_t kPort = 48;        // u16 little-endian
inline constexpr std::size_t kSecurePort = 50;  // u16 little-endian
inline constexpr std::size_t kStartTls = 52, kSslTls = 53, kAuth = 54, kUserName = 55, kUserNameSize = 66;
inline constexpr std::size_t kPassword = 121;  // protected over 61 bytes
inline constexpr std::size_t kPasswordSize = 61, kSender = 182, kSenderSize = 65, kSubject = 247, kSubjectSize = 17;
inline constexpr std::size_t kHostName = 264, kSerialNumber = 265, kAssetTag = 266, kEventLevel = 267;
inline constexpr std::size_t kRecordSize = 268;
static_assert(kEventLevel + 1 == kRecordSize, "SMTP record is 268 bytes");
static_assert(kRecordOffset + kRecordSize == kRecipientsOffset, "recipients follow the SMTP record");

inline constexpr std::size_t kRcptEnabled = 0, kRcptAddress = 1, kRcptAddressSize = 65, kRcptDescription = 66;
inline constexpr std::size_t kRcptDescriptionSize = 17, kRcptEntrySize = 83, kRcptCount = 4;
inline constexpr std::size_t kRecipientsSize = kRcptCount * kRcptEntrySize;
static_assert(kRcptDescription + kRcptDescriptionSize == kRcptEntrySize, "recipient entry is 83 bytes");
static_assert(kRecipientsSize == 332, "recipient block is 332 bytes");

inline constexpr const char *kFileName = "SmtpCfg.json";
inline constexpr const char *kConfPath = "/conf/SmtpCfg.json";

}  // namespace qrx::config::smtp
