// Syslog configuration service: the IPMI-style set/get interface, the writer
// of "/conf/syslog.conf", its start-up parse, the message tag and the restart.
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>

#include "core/completion_codes.h"
#include "config/syslog/syslog_file.h"
#include "config/syslog/syslog_layout.h"
#include "config/common/validators.h"
#include "core/export.h"
#include "diag/log_names.h"
#include "core/request_reader.h"
#include "core/shared_block.h"
#include "core/slot_table.h"
#include "core/unique.h"
#include "devstate/fru_records.h"
#include "quorix_common_interface.h"
#include "quorix_platform.h"

// FRU access of the device-state subsystem.

namespace qrx::config::syslog {

namespace {

constexpr const char *kConfFile = "/conf/syslog.conf", *kHostnameFile = "/etc/hostname";
constexpr const char *kStopCommand = "/etc/init.d/rsyslog stop", *kStartCommand = "/etc/init.d/rsyslog start";

using namespace qrx::cc;

constexpr int kWriteAttempts = 3;

constexpr std::uint8_t kSelectGlobals = 0, kSelectDestination = 1, kSelectTest = 2;
// Selector, then: syslog, tag, level, protocol.
constexpr LengthRule kGlobalsRequest = exactly(5);
// Selector, then: index, enable, type, 47 host bytes, port most significant byte first.
constexpr LengthRule kDestinationRequest = exactly(4 + kDestHostSize + 4);
// Selector, then the destination index.
constexpr LengthRule kTestRequest = exactly(2);
// The request layout the public header gives.
static_assert(QUORIX_SYSLOG_SET_GLOBALS == kSelectGlobals && QUORIX_SYSLOG_SET_DEST == kSelectDestination &&
              QUORIX_SYSLOG_SET_TEST == kSelectTest && QUORIX_SYSLOG_SET_GLOBALS_LEN == kGlobalsRequest.value &&
              QUORIX_SYSLOG_SET_DEST_LEN == kDestinationRequest.value && QUORIX_SYSLOG_SET_TEST_LEN == kTestRequest.value);
constexpr std::uint8_t kTagMax = 2, kLevelMax = 3, kProtocolMax = 3, kDestEnableMax = 1, kDestTypeMax = 3;
constexpr std::uint32_t kPortMax = 0xFFFF;

constexpr int kFruDevice = 0, kFruReadLength = 255, kFruProductArea = 4, kFruSerialField = 9, kFruPartField = 7;
constexpr unsigned kTagSerial = 1;
constexpr unsigned kTagPart = 2;

// Lives only in this process; every configuration change clears it so that
// the next test rewrites the file.
std::uint8_t g_lastTestTarget = kNoTestTarget;
bool g_tagSetBefore = false;

using File = UniqueFile;

ByteView destRecord(std::size_t i) {
    return sharedBlock().at(kDestOffset + i * kDestRecordSize);
}

bool writeOnce(FILE *f, std::string_view text) {
    return std::fwrite(text.data(), 1, text.size(), f) == text.size() && std::fflush(f) == 0;
}

// The same text up to three times on the open file; a failed attempt is not
// undone, a later one appends.
bool writeWithRetries(FILE *f, std::string_view text) {
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

// A field of the product area of FRU device 0 into out; empty when it cannot be read.
void fruField(int field, char *out, std::size_t size) {
    out[0] = '\0';
    unsigned char fru[kFruReadLength] = {};
    char value[64] = {};
    if (devstate::readFru(kFruDevice, 0, kFruReadLength, fru) != kFruReadLength) return;
    if (slotFn<Slot::QuorixParseEEPROMFRUData>()(fru, kFruReadLength, kFruProductArea, field, value, sizeof value - 1) != 0) return;
    std::snprintf(out, size, "%.*s", static_cast<int>(strnlen(value, sizeof value)), value);
}

// Last line of "/etc/hostname" without its last character (the line feed) into out.
bool hostnameFromFile(char *out, std::size_t size) {
    File f(std::fopen(kHostnameFile, "r"));
    if (!f) return false;
    char line[256];
    char last[256] = {};
    while (std::fgets(line, sizeof line, f.get()) != nullptr) std::snprintf(last, sizeof last, "%s", line);
    const std::size_t length = std::strlen(last);
    if (length > 0) last[length - 1] = '\0';
    std::snprintf(out, size, "%s", last);
    return true;
}

int restartSyslog() {
    if (safe_system(kStopCommand) < 0) {
        qrx::debugLog(qrx::kLogError, qrx::kModuleMonitor, "stop syslog failed.");
        return -1;
    }
    if (safe_system(kStartCommand) < 0) {
        qrx::debugLog(qrx::kLogError, qrx::kModuleMonitor, "start syslog failed.");
        return -1;
    }
    return 0;
}

// The message tag in the block: FRU serial or part number, else the host name.
unsigned setTag(unsigned tag) {
    char text[kTagTextSize] = {};
    if (tag == kTagSerial) {
        fruField(kFruSerialField, text, sizeof text);
    } else if (tag == kTagPart) {
        fruField(kFruPartField, text, sizeof text);
    } else {
        char name[kTagTextSize + 1] = {};
        if (g_tagSetBefore && gethostname(name, kTagTextSize) == 0) {
            std::snprintf(text, sizeof text, "%.*s", static_cast<int>(strnlen(name, kTagTextSize)), name);
        } else if (!hostnameFromFile(text, sizeof text)) {
            return static_cast<unsigned>(-1);
        }
    }
    const ByteView block = sharedBlock();
    block.fill(kTagTextOffset, 0, kTagTextSize);
    block.copyIn(kTagTextOffset, text, std::strlen(text));
    g_tagSetBefore = true;
    return 0;
}

}  // namespace

Destination readDestination(ByteView record) {
    Destination d;
    d.enable = record.u8(kDestEnable);
    d.type = record.u8(kDestType);
    const char *host = reinterpret_cast<const char *>(record.data() + kDestHost);
    d.setHost(std::string_view(host, strnlen(host, kHostTextMax)));
    d.port = record.u32(kDestPort);
    return d;
}

void writeDestination(ByteView record, const Destination &d) {
    record.setU8(kDestEnable, d.enable);
    record.setU8(kDestType, d.type);
    record.fill(kDestHost, 0, kDestHostSize);
    record.copyIn(kDestHost, d.host, strnlen(d.host, kHostTextMax));
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

namespace {

unsigned writeConfigFile(const SyslogConfig &c) {
    if (c.testTarget > kDestCount && c.testTarget != kNoTestTarget) return kCcInvalidDataField;
    File f(std::fopen(kConfFile, "w"));
    if (!f) {
        qrx::debugLog(qrx::kLogError, qrx::kModuleMonitor, "Open syslog.conf failed .");
        return kCcUnspecified;
    }
    const ConfigText file = configText(c);
    const std::string_view text = file.view();
    // An unknown transport leaves the file empty.
    if (!text.empty() && !writeWithRetries(f.get(), text)) {
        f.reset();
        qrx::debugLog(qrx::kLogError, qrx::kModuleMonitor, "%s", writeFailureMessage(c));
        return kCcUnspecified;
    }
    f.reset();
    // A failed restart is logged by the restart; the file is written.
    restartSyslog();
    return kCcOk;
}


unsigned setGlobals(RequestReader req) {
    g_lastTestTarget = kNoTestTarget;
    if (!kGlobalsRequest.accepts(req.length())) return kCcReqDataLenInvalid;
    const std::uint8_t syslog = req.u8(), tag = req.u8(), level = req.u8(), protocol = req.u8();
    if ((syslog != kSyslogDisabled && syslog != kSyslogEnabled) || tag > kTagMax || level > kLevelMax ||
        protocol > kProtocolMax)
        return kCcParamOutOfRange;
    SyslogConfig c = readBlockConfig();
    if (c.syslog == syslog && c.tag == tag && c.level == level && c.protocol == protocol) return kCcOk;
    const std::uint8_t storedTag = c.tag;
    c.syslog = syslog;
    c.tag = tag;
    c.level = level;
    c.protocol = protocol;
    c.testTarget = kNoTestTarget;
    if (unsigned cc = writeConfigFile(c); cc != kCcOk) return cc;
    ByteView block = sharedBlock();
    block.setU8(kSyslogEnableOffset, syslog);
    block.setU8(kLevelOffset, level);
    block.setU8(kProtocolOffset, protocol);
    if (tag != storedTag) {
        block.setU8(kTagOffset, tag);
        setTag(tag);
    }
    return kCcOk;
}

unsigned setDestination(RequestReader req) {
    g_lastTestTarget = kNoTestTarget;
    if (!kDestinationRequest.accepts(req.length())) return kCcReqDataLenInvalid;
    const std::uint8_t index = req.u8();
    Destination d;
    d.enable = req.u8();
    d.type = req.u8();
    const RequestText hostBytes = req.text(kDestHostSize);
    d.port = req.u32be();
    if (index >= kDestCount || d.enable > kDestEnableMax || d.type > kDestTypeMax || d.port > kPortMax)
        return kCcParamOutOfRange;
    if (!isPrintableField(hostBytes.data, kDestHostSize)) return kCcInvalidDataField;
    char host[kDestHostSize + 1] = {};
    std::memcpy(host, hostBytes.data, kDestHostSize);
    // An enabled destination with an empty host is accepted.
    if (host[0] != '\0' && !isValidHost(host)) {
        qrx::debugLog(qrx::kLogError, qrx::kModuleIpmi, "Invalid data format of Syslog destination!");
        return kCcInvalidDataField;
    }
    d.setHost(std::string_view(host, strnlen(host, kHostTextMax)));
    SyslogConfig c = readBlockConfig();
    if (c.dest[index] == d) return kCcOk;
    c.dest[index] = d;
    c.testTarget = kNoTestTarget;
    if (unsigned cc = writeConfigFile(c); cc != kCcOk) return cc;
    writeDestination(destRecord(index), d);
    return kCcOk;
}

unsigned sendTest(RequestReader req) {
    if (!kTestRequest.accepts(req.length())) return kCcReqDataLenInvalid;
    const std::uint8_t index = req.u8();
    if (index >= kDestCount) return kCcParamOutOfRange;
    SyslogConfig c = readBlockConfig();
    if (c.syslog == kSyslogDisabled || c.dest[index].enable != 1) return kCcNotAllowedNow;
    // The same target again: the file already holds its test line.
    if (index != g_lastTestTarget) {
        g_lastTestTarget = index;
        c.testTarget = index;
        if (unsigned cc = writeConfigFile(c); cc != kCcOk) return cc;
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
    qrx::RequestReader req(request, static_cast<std::size_t>(length));
    switch (req.u8()) {
        case sl::kSelectGlobals:
            return sl::setGlobals(req);
        case sl::kSelectDestination:
            return sl::setDestination(req);
        case sl::kSelectTest:
            return sl::sendTest(req);
        default:
            return sl::kCcParamOutOfRange;
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
    return sl::writeConfigFile(sl::readWriterRecord(record));
}

QRX_EXPORT unsigned QuorixSyslogConfigInit(void) {
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
    sl::setTag(static_cast<unsigned>(tagSeen));
    return 0;
}

QRX_EXPORT unsigned QuorixSetSyslogTag(unsigned tag) {
    return sl::setTag(tag);
}

QRX_EXPORT int QuorixGetSyslogTag(char *dest, int size) {
    if (dest == nullptr || size < static_cast<int>(sl::kTagTextSize)) return -1;
    qrx::sharedBlock().copyOut(sl::kTagTextOffset, dest, sl::kTagTextSize);
    dest[sl::kTagTextSize - 1] = '\0';
    return 0;
}

QRX_EXPORT int QuorixRestartSyslog(void) {
    return sl::restartSyslog();
}

}  // extern "C"
