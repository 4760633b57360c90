// Syslog configuration service: the IPMI-style set/get interface, the writer
// of "/conf/syslog.conf", its start-up parse, the message tag and the restart.
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "core/completion_codes.h"
#include "config/syslog_file.h"
#include "config/syslog_layout.h"
#include "config/validators.h"
#include "core/export.h"
#include "core/shared_block.h"
#include "quorix_common_interface.h"
#include "quorix_platform.h"

// FRU access of the device-state subsystem.
extern "C" int quorix_read_fru(int device, int offset, int length, unsigned char *buffer);

namespace qrx::config::syslog {

namespace {

constexpr const char *kConfFile = "/conf/syslog.conf";
constexpr const char *kHostnameFile = "/etc/hostname";
constexpr const char *kStopCommand = "/etc/init.d/rsyslog stop";
constexpr const char *kStartCommand = "/etc/init.d/rsyslog start";

using namespace qrx::cc;

constexpr unsigned kLevelError = 2;
constexpr int kWriteAttempts = 3;

constexpr std::uint8_t kSelectGlobals = 0;
constexpr std::uint8_t kSelectDestination = 1;
constexpr std::uint8_t kSelectTest = 2;
constexpr std::size_t kGlobalsRequestLength = 5;
constexpr std::size_t kDestinationRequestLength = 55;
constexpr std::size_t kTestRequestLength = 2;
// Destination request: index, enable, type, 47 host bytes, port most significant byte first.
constexpr std::size_t kReqDestIndex = 1;
constexpr std::size_t kReqDestEnable = 2;
constexpr std::size_t kReqDestType = 3;
constexpr std::size_t kReqDestHost = 4;
constexpr std::size_t kReqDestPort = kReqDestHost + kDestHostSize;
// The request layout the public header gives.
static_assert(QUORIX_SYSLOG_SET_GLOBALS == kSelectGlobals && QUORIX_SYSLOG_SET_DEST == kSelectDestination &&
              QUORIX_SYSLOG_SET_TEST == kSelectTest && QUORIX_SYSLOG_SET_GLOBALS_LEN == kGlobalsRequestLength &&
              QUORIX_SYSLOG_SET_DEST_LEN == kDestinationRequestLength && QUORIX_SYSLOG_SET_TEST_LEN == kTestRequestLength);
static_assert(QUORIX_SYSLOG_SET_DEST_INDEX == kReqDestIndex &&
              QUORIX_SYSLOG_SET_DEST_RECORD + QUORIX_SYSLOG_DEST_ENABLE == kReqDestEnable &&
              QUORIX_SYSLOG_SET_DEST_RECORD + QUORIX_SYSLOG_DEST_TYPE == kReqDestType &&
              QUORIX_SYSLOG_SET_DEST_RECORD + QUORIX_SYSLOG_DEST_HOST == kReqDestHost &&
              QUORIX_SYSLOG_SET_DEST_RECORD + QUORIX_SYSLOG_DEST_PORT == kReqDestPort);
static_assert(kReqDestPort + 4 == kDestinationRequestLength, "destination request is 55 bytes");

constexpr int kFruDevice = 0;
constexpr int kFruReadLength = 255;
constexpr int kFruProductArea = 4;
constexpr int kFruSerialField = 9;
constexpr int kFruPartField = 7;
constexpr unsigned kTagSerial = 1;
constexpr unsigned kTagPart = 2;

// Lives only in this process; every configuration change clears it so that
// the next test rewrites the file.
std::uint8_t g_lastTestTarget = kNoTestTarget;
bool g_tagSetBefore = false;

struct FileCloser {
    void operator()(FILE *f) const { std::fclose(f); }
};
using File = std::unique_ptr<FILE, FileCloser>;

// Bounds-aware reader of a request; reads past the end give 0 (the length
// test runs before any field is used).
class Cursor {
public:
    Cursor(const unsigned char *data, std::size_t length) : data_(data), length_(length) {}
    std::size_t length() const { return length_; }
    std::uint8_t u8(std::size_t off) const { return off < length_ ? data_[off] : 0; }
    std::uint32_t u32be(std::size_t off) const {
        return (static_cast<std::uint32_t>(u8(off)) << 24) | (static_cast<std::uint32_t>(u8(off + 1)) << 16) |
               (static_cast<std::uint32_t>(u8(off + 2)) << 8) | u8(off + 3);
    }
    const unsigned char *at(std::size_t off) const { return data_ + off; }

private:
    const unsigned char *data_;
    std::size_t length_;
};

ByteView destRecord(std::size_t i) {
    return sharedBlock().at(kDestOffset + i * kDestRecordSize);
}

bool writeOnce(FILE *f, const std::string &text) {
    return std::fwrite(text.data(), 1, text.size(), f) == text.size() && std::fflush(f) == 0;
}

// The same text up to three times on the open file; a failed attempt is not
// undone, a later one appends.
bool writeWithRetries(FILE *f, const std::string &text) {
    for (int attempt = 0; attempt < kWriteAttempts; ++attempt) {
        if (writeOnce(f, text)) return true;
        std::clearerr(f);
    }
    return false;
}

const char *writeFailureMessage(const SyslogConfig &c) {
    if (c.syslog == kSyslogDisabled) return "SYSLOG config basic to file failed .";
    switch (c.protocol) {
        case kProtocolTlsOneWay:
            return "SYSLOG CONFIG to file failed .";
        case kProtocolTlsTwoWay:
            return "SYSLOG CONFIG dest two-way to file failed .";
        default:
            return "SYSLOG config dest udp/tcp to file failed .";
    }
}

// A field of the product area of FRU device 0; empty when it cannot be read.
std::string fruField(int field) {
    unsigned char fru[kFruReadLength] = {};
    char value[64] = {};
    if (quorix_read_fru(kFruDevice, 0, kFruReadLength, fru) != kFruReadLength) return "";
    if (QuorixParseEEPROMFRUData(fru, kFruReadLength, kFruProductArea, field, value, sizeof value - 1) != 0) return "";
    return std::string(value, strnlen(value, sizeof value));
}

// Last line of "/etc/hostname" without its last character (the line feed).
bool hostnameFromFile(std::string &name) {
    File f(std::fopen(kHostnameFile, "r"));
    if (!f) return false;
    char line[256];
    std::string last;
    while (std::fgets(line, sizeof line, f.get()) != nullptr) last = line;
    if (!last.empty()) last.pop_back();
    name = last;
    return true;
}

}  // namespace

Destination readDestination(ByteView record) {
    Destination d;
    d.enable = record.u8(kDestEnable);
    d.type = record.u8(kDestType);
    const char *host = reinterpret_cast<const char *>(record.data() + kDestHost);
    d.host.assign(host, strnlen(host, kHostTextMax));
    d.port = record.u32(kDestPort);
    return d;
}

void writeDestination(ByteView record, const Destination &d) {
    record.setU8(kDestEnable, d.enable);
    record.setU8(kDestType, d.type);
    record.fill(kDestHost, 0, kDestHostSize);
    record.copyIn(kDestHost, d.host.data(), std::min(d.host.size(), kHostTextMax));
    record.setU32(kDestPort, d.port);
}

SyslogConfig readBlockConfig() {
    ByteView block = sharedBlock();
    SyslogConfig c;
    c.syslog = block.u8(kSyslogEnableOffset);
    c.tag = block.u8(kTagOffset);
    c.level = block.u8(kLevelOffset);
    c.protocol = block.u8(kProtocolOffset);
    for (std::size_t i = 0; i < kDestCount; ++i) c.dest[i] = readDestination(destRecord(i));
    return c;
}

void storeBlockConfig(const SyslogConfig &c) {
    ByteView block = sharedBlock();
    block.setU8(kSyslogEnableOffset, c.syslog);
    block.setU8(kTagOffset, c.tag);
    block.setU8(kLevelOffset, c.level);
    block.setU8(kProtocolOffset, c.protocol);
    for (std::size_t i = 0; i < kDestCount; ++i) writeDestination(destRecord(i), c.dest[i]);
}

SyslogConfig readWriterRecord(const unsigned char *record) {
    ByteView r(const_cast<unsigned char *>(record));
    SyslogConfig c;
    c.syslog = r.u8(0);
    c.tag = r.u8(1);
    c.level = r.u8(2);
    c.protocol = r.u8(3);
    for (std::size_t i = 0; i < kDestCount; ++i)
        c.dest[i] = readDestination(r.at(kWriterDestOffset + i * kDestRecordSize));
    c.testTarget = r.u8(kWriterTestTarget);
    return c;
}

void writeWriterRecord(const SyslogConfig &c, unsigned char *record) {
    ByteView r(record);
    r.fill(0, 0, kWriterRecordSize);
    r.setU8(0, c.syslog);
    r.setU8(1, c.tag);
    r.setU8(2, c.level);
    r.setU8(3, c.protocol);
    for (std::size_t i = 0; i < kDestCount; ++i)
        writeDestination(r.at(kWriterDestOffset + i * kDestRecordSize), c.dest[i]);
    r.setU8(kWriterTestTarget, c.testTarget);
}

namespace {

unsigned writeConfigFile(const SyslogConfig &c) {
    if (c.testTarget > kDestCount && c.testTarget != kNoTestTarget) return kCcInvalidDataField;
    File f(std::fopen(kConfFile, "w"));
    if (!f) {
        QuorixDebug(kLevelError, "QRXMONITOR", "Open syslog.conf failed .");
        return kCcUnspecified;
    }
    const std::string text = configText(c);
    // An unknown transport leaves the file empty.
    if (!text.empty() && !writeWithRetries(f.get(), text)) {
        f.reset();
        QuorixDebug(kLevelError, "QRXMONITOR", "%s", writeFailureMessage(c));
        return kCcUnspecified;
    }
    f.reset();
    // A failed restart is logged by the restart; the file is written.
    QuorixRestartSyslog();
    return kCcOk;
}

unsigned writeConfig(const SyslogConfig &c) {
    unsigned char record[kWriterRecordSize];
    writeWriterRecord(c, record);
    return QuorixSyslogWriteToFile(record);
}

unsigned setGlobals(const Cursor &req) {
    g_lastTestTarget = kNoTestTarget;
    if (req.length() != kGlobalsRequestLength) return kCcReqDataLenInvalid;
    const std::uint8_t syslog = req.u8(1), tag = req.u8(2), level = req.u8(3), protocol = req.u8(4);
    if ((syslog != kSyslogDisabled && syslog != kSyslogEnabled) || tag > 2 || level > 3 || protocol > 3)
        return kCcParamOutOfRange;
    SyslogConfig c = readBlockConfig();
    if (c.syslog == syslog && c.tag == tag && c.level == level && c.protocol == protocol) return kCcOk;
    const std::uint8_t storedTag = c.tag;
    c.syslog = syslog;
    c.tag = tag;
    c.level = level;
    c.protocol = protocol;
    c.testTarget = kNoTestTarget;
    if (unsigned cc = writeConfig(c); cc != kCcOk) return cc;
    ByteView block = sharedBlock();
    block.setU8(kSyslogEnableOffset, syslog);
    block.setU8(kLevelOffset, level);
    block.setU8(kProtocolOffset, protocol);
    if (tag != storedTag) {
        block.setU8(kTagOffset, tag);
        QuorixSetSyslogTag(tag);
    }
    return kCcOk;
}

unsigned setDestination(const Cursor &req) {
    g_lastTestTarget = kNoTestTarget;
    if (req.length() != kDestinationRequestLength) return kCcReqDataLenInvalid;
    const std::uint8_t index = req.u8(kReqDestIndex);
    Destination d;
    d.enable = req.u8(kReqDestEnable);
    d.type = req.u8(kReqDestType);
    d.port = req.u32be(kReqDestPort);
    if (index >= kDestCount || d.enable > 1 || d.type > 3 || d.port > 0xFFFF) return kCcParamOutOfRange;
    if (!isPrintableField(req.at(kReqDestHost), kDestHostSize)) return kCcInvalidDataField;
    char host[kDestHostSize + 1] = {};
    std::memcpy(host, req.at(kReqDestHost), kDestHostSize);
    // An enabled destination with an empty host is accepted.
    if (host[0] != '\0' && !isValidHost(host)) {
        QuorixDebug(kLevelError, "IPMI", "Invalid data format of Syslog destination!");
        return kCcInvalidDataField;
    }
    d.host.assign(host, strnlen(host, kHostTextMax));
    SyslogConfig c = readBlockConfig();
    if (c.dest[index] == d) return kCcOk;
    c.dest[index] = d;
    c.testTarget = kNoTestTarget;
    if (unsigned cc = writeConfig(c); cc != kCcOk) return cc;
    writeDestination(destRecord(index), d);
    return kCcOk;
}

unsigned sendTest(const Cursor &req) {
    if (req.length() != kTestRequestLength) return kCcReqDataLenInvalid;
    const std::uint8_t index = req.u8(1);
    if (index >= kDestCount) return kCcParamOutOfRange;
    SyslogConfig c = readBlockConfig();
    if (c.syslog == kSyslogDisabled || c.dest[index].enable != 1) return kCcNotAllowedNow;
    // The same target again: the file already holds its test line.
    if (index != g_lastTestTarget) {
        g_lastTestTarget = index;
        c.testTarget = index;
        if (unsigned cc = writeConfig(c); cc != kCcOk) return cc;
    }
    char ident[kTagTextSize + 1] = {};
    sharedBlock().copyOut(kTagTextOffset, ident, kTagTextSize);
    openlog(ident, LOG_CONS, LOG_LOCAL7);
    ::syslog(LOG_INFO, " Syslog Destination %d Test Sent Successfully!", index);
    closelog();
    return kCcOk;
}

}  // namespace

}  // namespace qrx::config::syslog

namespace sl = qrx::config::syslog;

extern "C" {

QRX_EXPORT unsigned QuorixSetSyslogConfigInterface(const unsigned char *request, int length) {
    if (request == nullptr || length < 1) return sl::kCcReqDataLenInvalid;
    try {
        const sl::Cursor req(request, static_cast<std::size_t>(length));
        switch (req.u8(0)) {
            case sl::kSelectGlobals:
                return sl::setGlobals(req);
            case sl::kSelectDestination:
                return sl::setDestination(req);
            case sl::kSelectTest:
                return sl::sendTest(req);
            default:
                return sl::kCcParamOutOfRange;
        }
    } catch (...) {
        return sl::kCcUnspecified;
    }
}

QRX_EXPORT int QuorixGetSyslogConfigInterface(int selector, unsigned char *response) {
    if (response == nullptr) return -1;
    const qrx::ByteView block = qrx::sharedBlock();
    if (selector == sl::kSelectGlobals) {
        response[0] = sl::kCcOk;
        block.copyOut(sl::kSyslogEnableOffset, response + 1, sl::kGlobalsSize);
        return 1 + static_cast<int>(sl::kGlobalsSize);
    }
    if (selector == sl::kSelectDestination) {
        const std::size_t size = sl::kDestCount * sl::kDestRecordSize;
        response[0] = sl::kCcOk;
        block.copyOut(sl::kDestOffset, response + 1, size);
        return 1 + static_cast<int>(size);
    }
    return -1;
}

QRX_EXPORT unsigned QuorixSyslogWriteToFile(const unsigned char *record) {
    if (record == nullptr) return sl::kCcInvalidDataField;
    try {
        return sl::writeConfigFile(sl::readWriterRecord(record));
    } catch (...) {
        return sl::kCcUnspecified;
    }
}

QRX_EXPORT unsigned QuorixSyslogConfigInit(void) {
    try {
        sl::SyslogConfig c;  // the defaults
        sl::storeBlockConfig(c);
        sl::File f(std::fopen(sl::kConfFile, "r"));
        if (!f) return static_cast<unsigned>(-1);
        int tagSeen = 0;
        char line[1024];
        while (std::fgets(line, sizeof line, f.get()) != nullptr) {
            line[std::strcspn(line, "\r\n")] = '\0';
            sl::applyHeaderLine(line, c, tagSeen);
        }
        sl::storeBlockConfig(c);
        QuorixSetSyslogTag(static_cast<unsigned>(tagSeen));
        return 0;
    } catch (...) {
        return static_cast<unsigned>(-1);
    }
}

QRX_EXPORT unsigned QuorixSetSyslogTag(unsigned tag) {
    try {
        std::string text;
        if (tag == sl::kTagSerial) {
            text = sl::fruField(sl::kFruSerialField);
        } else if (tag == sl::kTagPart) {
            text = sl::fruField(sl::kFruPartField);
        } else {
            char name[sl::kTagTextSize + 1] = {};
            if (sl::g_tagSetBefore && gethostname(name, sl::kTagTextSize) == 0) {
                text.assign(name, strnlen(name, sl::kTagTextSize));
            } else if (!sl::hostnameFromFile(text)) {
                return static_cast<unsigned>(-1);
            }
        }
        if (text.size() > sl::kTagTextSize - 1) text.resize(sl::kTagTextSize - 1);
        const qrx::ByteView block = qrx::sharedBlock();
        block.fill(sl::kTagTextOffset, 0, sl::kTagTextSize);
        block.copyIn(sl::kTagTextOffset, text.data(), text.size());
        sl::g_tagSetBefore = true;
        return 0;
    } catch (...) {
        return static_cast<unsigned>(-1);
    }
}

QRX_EXPORT int QuorixGetSyslogTag(char *dest, int size) {
    if (dest == nullptr || size < static_cast<int>(sl::kTagTextSize)) return -1;
    qrx::sharedBlock().copyOut(sl::kTagTextOffset, dest, sl::kTagTextSize);
    dest[sl::kTagTextSize - 1] = '\0';
    return 0;
}

QRX_EXPORT int QuorixRestartSyslog(void) {
    if (safe_system(sl::kStopCommand) < 0) {
        QuorixDebug(sl::kLevelError, "QRXMONITOR", "stop syslog failed.");
        return -1;
    }
    if (safe_system(sl::kStartCommand) < 0) {
        QuorixDebug(sl::kLevelError, "QRXMONITOR", "start syslog failed.");
        return -1;
    }
    return 0;
}

}  // extern "C"
