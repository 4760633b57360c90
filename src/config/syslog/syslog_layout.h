// The syslog area of the shared block and the syslog configuration as the
// writer, the parser and the set interface exchange it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "core/byte_access.h"

namespace qrx::config::syslog {

// Shared-block offsets.
inline constexpr std::size_t kSyslogEnableOffset = 6430209;  // 1 disabled, 2 enabled
inline constexpr std::size_t kTagOffset = 6430210;           // index into SyslogTagStr
inline constexpr std::size_t kLevelOffset = 6430211;         // index into SyslogLevelStr
inline constexpr std::size_t kProtocolOffset = 6430212;      // index into SyslogProtocalStr
inline constexpr std::size_t kDestOffset = 6430213, kDestCount = 4, kTagTextOffset = 6430425, kTagTextSize = 32;

// Destination record: in the block, in the writer record and in get responses.
inline constexpr std::size_t kDestEnable = 0, kDestType = 1, kDestHost = 2, kDestHostSize = 47;
inline constexpr std::size_t kDestPort = 49;  // u32, little-endian
inline constexpr std::size_t kDestRecordSize = 53;
static_assert(kDestPort + 4 == kDestRecordSize, "destination record is 53 bytes");
static_assert(kDestOffset + kDestCount * kDestRecordSize == kTagTextOffset, "tag text follows the destinations");
inline constexpr std::size_t kHostTextMax = kDestHostSize - 1;

// Writer record: four globals, four destinations, the test target.
inline constexpr std::size_t kGlobalsSize = 4, kWriterDestOffset = kGlobalsSize;
inline constexpr std::size_t kWriterTestTarget = kWriterDestOffset + kDestCount * kDestRecordSize;
inline constexpr std::size_t kWriterRecordSize = kWriterTestTarget + 1;
static_assert(kWriterRecordSize == 217, "writer record is 217 bytes");

inline constexpr std::uint8_t kSyslogDisabled = 1, kSyslogEnabled = 2, kNoTestTarget = 255;
inline constexpr int kProtocolUdp = 0, kProtocolTcp = 1, kProtocolTlsOneWay = 2, kProtocolTlsTwoWay = 3;

struct Destination {
    std::uint8_t enable = 0;
    std::uint8_t type = 3;
    char host[kHostTextMax + 1] = {};  // at most 46 characters, terminated
    std::uint32_t port = 514;

    // Takes at most 46 characters of text.
    void setHost(std::string_view text) {
        const std::size_t n = text.size() < kHostTextMax ? text.size() : kHostTextMax;
        std::memcpy(host, text.data(), n);
        host[n] = '\0';
    }
    bool operator==(const Destination &o) const {
        return enable == o.enable && type == o.type && std::strcmp(host, o.host) == 0 && port == o.port;
    }
};

// Start-up defaults as member initialisers.
struct SyslogConfig {
    std::uint8_t syslog = kSyslogDisabled;
    std::uint8_t tag = 0;
    std::uint8_t level = 1;
    std::uint8_t protocol = 1;
    Destination dest[kDestCount];
    std::uint8_t testTarget = kNoTestTarget;
};

// A 53-byte destination record through a byte view.
Destination readDestination(ByteView record);
void writeDestination(ByteView record, const Destination &d);

// The configuration in the shared block (test target: none).
SyslogConfig readBlockConfig();
void storeBlockConfig(const SyslogConfig &c);
// The 217-byte writer record (QuorixSyslogWriteToFile).
SyslogConfig readWriterRecord(const unsigned char *record);

}  // namespace qrx::config::syslog
