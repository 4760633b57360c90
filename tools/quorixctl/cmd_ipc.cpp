// quorixctl listen / send: watch what the daemons send each other on the
// message queues and named pipes, and send the library's requests by hand.
#include <fcntl.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "command.h"
#include "quorix_common_interface.h"

namespace ctl {
namespace {

struct PipeChannel {
    const char *word;
    const char *path;
    std::size_t recordSize;
};

constexpr PipeChannel kPipes[] = {
    {"ipmimain", "/var/quorix_ipmimain_pipe", 18},
    {"okl", "/var/quorix_okl_pipe", 300},
    {"selc", "/var/quorix_selc_pipe", 300},
    {"poweroffscan", "/var/poweroffscanpipe", 1025},
};

std::uint32_t le32(const std::uint8_t *p) {
    return p[0] | p[1] << 8 | p[2] << 16 | static_cast<std::uint32_t>(p[3]) << 24;
}

// Local wall-clock seconds, shown as a calendar date without a zone.
std::string stampText(std::uint32_t seconds) {
    std::time_t t = static_cast<std::time_t>(seconds);
    std::tm tm{};
    char text[32] = "?";
    if (gmtime_r(&t, &tm) != nullptr) std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &tm);
    return text;
}

std::string boundedText(const std::uint8_t *p, std::size_t max) {
    std::string text;
    for (std::size_t i = 0; i < max && p[i] != 0; ++i) text += std::isprint(p[i]) ? static_cast<char>(p[i]) : '.';
    return text;
}

void printEventType(std::uint8_t dirType) {
    std::printf("  event type:   0x%02x (%s, type 0x%02x)\n", dirType, (dirType & 0x80) ? "deassertion" : "assertion",
                dirType & 0x7F);
}

void printIdl(const std::uint8_t *r) {
    std::printf("IDL request\n");
    std::printf("  log type:     %u (%s)\n", r[0], r[0] == 1 ? "time stamped by the sender" : "caller's time");
    std::printf("  source:       0x%02x\n", r[4]);
    std::printf("  time stamp:   %u (%s local)\n", le32(r + 8), stampText(le32(r + 8)).c_str());
    if (r[12] == 0xFF) {
        std::printf("  text line:    kind %u, flag %u\n", r[13], r[14]);
        std::printf("  text:         \"%s\"\n", boundedText(r + 15, 255).c_str());
    } else if (r[4] == 0x20) {
        std::printf("  sensor event: sensor type 0x%02x, sensor number %u\n", r[12], r[14]);
        printEventType(r[15]);
        std::printf("  event data:   0x%02x 0x%02x\n", r[16], r[17]);
        std::printf("  label:        \"%s\"\n", boundedText(r + 19, 15).c_str());
    } else {
        std::printf("  body:\n");
        hexDump(12, r + 12, 284);
    }
}

void printQueueRecord(int key, const std::uint8_t *payload) {
    std::uint32_t code = le32(payload);
    if (key == 12345 && code == 0) {
        printIdl(payload + 4);
    } else if (key == 12347 && code == 1) {
        std::printf("MCA request\n  record:\n");
        hexDump(0, payload + 4, 256);
    } else {
        std::printf("request code %u on queue %d\n", code, key);
        hexDump(0, payload, 300);
    }
}

void printSelEvent(const std::uint8_t *e) {
    std::printf("  generator id: 0x%04x\n", e[0] | e[1] << 8);
    std::printf("  EvM revision: 0x%02x\n", e[2]);
    std::printf("  sensor type:  0x%02x\n", e[3]);
    std::printf("  sensor:       %u\n", e[4]);
    printEventType(e[5]);
    std::printf("  event data:   0x%02x 0x%02x 0x%02x\n", e[6], e[7], e[8]);
}

void printPipeRecord(const PipeChannel &channel, const std::uint8_t *r) {
    if (channel.recordSize == 18) {
        if (r[0] == 0) {
            std::printf("add SEL entry\n");
            printSelEvent(r + 2);
        } else if (r[0] == 1) {
            std::printf("reload\n");
        } else {
            std::printf("command %u\n", r[0]);
            hexDump(0, r, 18);
        }
    } else if (channel.recordSize == 300) {
        if (r[0] == 3)
            std::printf("collect request (%s)\n", channel.word);
        else {
            std::printf("request code %u (%s)\n", r[0], channel.word);
            hexDump(0, r, 300);
        }
    } else {
        std::printf("power-off scan notice: message type %u", r[0]);
        if (r[0] == 2) std::printf(", task %u%s", r[1], r[1] == 255 ? " (all)" : "");
        std::printf("\n");
    }
}

// The one positional word and --count N (0: until interrupted).
std::string listenArgs(const Args &args, long long &count) {
    const Parsed parsed = parseOptions(args, {{"count", true}});
    expectArgs(parsed.positional, 1, 1);
    count = parsed.has("count") ? number(parsed.value("count"), "--count", 1, 1000000000) : 0;
    return parsed.positional[0];
}

int listenQueue(const Args &args) {
    long long count = 0;
    const std::string word = listenArgs(args, count);
    const long long key = number(word, "queue key", 12345, 12347);
    if (key == 12346) throw UsageError("queue key is 12345 (IDL) or 12347 (MCA)");
    int id = QuorixCreateMsgQueue(static_cast<int>(key));
    if (id < 0) {
        std::fprintf(stderr, "quorixctl: cannot open queue %lld: %s\n", key, std::strerror(errno));
        return kExitUnbound;
    }
    std::printf("listening on queue %lld\n", key);
    std::fflush(stdout);
    for (long long n = 0; count == 0 || n < count; ++n) {
        std::uint8_t payload[1024];
        if (QuorixReadMsgQueue(id, payload, sizeof payload) != 0) return kExitFailed;
        printQueueRecord(static_cast<int>(key), payload);
        std::fflush(stdout);
    }
    return kExitOk;
}

int listenPipe(const Args &args) {
    long long count = 0;
    const std::string word = listenArgs(args, count);
    const PipeChannel *channel = nullptr;
    for (const PipeChannel &c : kPipes)
        if (word == c.word) channel = &c;
    if (channel == nullptr) throw UsageError("pipe '" + word + "' is not ipmimain, okl, selc or poweroffscan");
    if (!bind()) return kExitUnbound;
    if (QuorixCreatePipe(channel->path) != 0) return kExitFailed;
    // Read and write: the open does not wait for a sender, and the end of
    // one sender is not the end of the stream.
    int fd = QuorixOpenPipe(channel->path, O_RDWR, 0);
    if (fd < 0) {
        std::fprintf(stderr, "quorixctl: cannot open %s\n", channel->path);
        return kExitFailed;
    }
    std::printf("listening on %s\n", channel->path);
    std::fflush(stdout);
    std::vector<std::uint8_t> record(channel->recordSize);
    for (long long n = 0; count == 0 || n < count; ++n) {
        std::size_t have = 0;
        while (have < record.size()) {
            int got = QuorixReadPipe(fd, record.data() + have, static_cast<int>(record.size() - have));
            if (got <= 0) {
                std::fprintf(stderr, "quorixctl: read from %s failed\n", channel->path);
                return kExitFailed;
            }
            have += static_cast<std::size_t>(got);
        }
        printPipeRecord(*channel, record.data());
        std::fflush(stdout);
    }
    return kExitOk;
}

std::uint8_t byteArg(const std::string &text, const std::string &what) {
    return static_cast<std::uint8_t>(number(text, what, 0, 255));
}

std::string joined(const Args &args, std::size_t from) {
    std::string text;
    for (std::size_t i = from; i < args.size(); ++i) text += (i > from ? " " : "") + args[i];
    return text;
}

int reportResult(const char *what, int rc, int ok) {
    std::printf("%s: %d (%s)\n", what, rc, rc == ok ? "sent" : "failed");
    return rc == ok ? kExitOk : kExitFailed;
}

// The byte at the front of an IDL text line: kind 0 plain, 2 CPLD, 5 FPGA.
int sendIdlText(const Args &args) {
    const Parsed parsed = parseOptions(args, {{"source", true}, {"kind", true}});
    const std::uint8_t source = byteArg(parsed.value("source", "0"), "--source");
    const std::uint8_t kind = byteArg(parsed.value("kind", "0"), "--kind");
    if (parsed.positional.empty()) throw UsageError("missing TEXT");
    QuorixIdlRecord record{};
    record.bytes[0] = 1;
    record.bytes[4] = source;
    record.bytes[12] = 0xFF;
    record.bytes[13] = kind;
    record.bytes[14] = 1;
    std::string text = joined(parsed.positional, 0);
    std::strncpy(reinterpret_cast<char *>(record.bytes + 15), text.c_str(), 255);
    return reportResult("QuorixPostReqToIDL", QuorixPostReqToIDL(record), 0);
}

int sendIdlEvent(const Args &args) {
    expectArgs(args, 6, 6);
    const std::uint8_t type = byteArg(args[0], "sensor type"), sensor = byteArg(args[1], "sensor number"),
                       dirType = byteArg(args[2], "event type"), data1 = byteArg(args[3], "data 1"),
                       data2 = byteArg(args[4], "data 2");
    QuorixIdlRecord record{};
    record.bytes[4] = 0x20;
    record.bytes[12] = type;
    record.bytes[14] = sensor;
    record.bytes[15] = dirType;
    record.bytes[16] = data1;
    record.bytes[17] = data2;
    std::strncpy(reinterpret_cast<char *>(record.bytes + 19), args[5].c_str(), 15);
    record.bytes[39] = 0x0A;
    return reportResult("QuorixPostReqToIDL", QuorixPostReqToIDL(record), 0);
}

int sendMca(const Args &args) {
    std::vector<std::uint8_t> bytes;
    expectArgs(args, 1, 1);
    if (!parseHexBytes(args[0], bytes) || bytes.size() > 256) throw UsageError("expects 1..256 hex bytes");
    QuorixMcaRecord record{};
    std::memcpy(record.bytes, bytes.data(), bytes.size());
    return reportResult("QuorixPostReqToMCA", QuorixPostReqToMCA(record), 0);
}

int sendQueue(const Args &args) {
    expectArgs(args, 2, 2);
    const long long key = number(args[0], "queue key", 1, INT32_MAX);
    std::vector<std::uint8_t> bytes;
    if (!parseHexBytes(args[1], bytes) || bytes.size() > 1024) throw UsageError("expects 1..1024 hex bytes");
    return reportResult("QuorixWriteMsgQueue",
                        QuorixWriteMsgQueue(static_cast<int>(key), bytes.data(), static_cast<int>(bytes.size())), 0);
}

int sendSel(const Args &args) {
    std::vector<std::uint8_t> bytes;
    expectArgs(args, 1, 1);
    if (!parseHexBytes(args[0], bytes) || bytes.size() != 9) throw UsageError("expects 9 hex bytes");
    if (!bind()) return kExitUnbound;
    QuorixSelEvent event{};
    std::memcpy(event.bytes, bytes.data(), bytes.size());
    return reportResult("QuorixAddSELToIPMIMain", QuorixAddSELToIPMIMain(event), 18);
}

int sendReload(const Args &args) {
    expectArgs(args, 0, 0);
    if (!bind()) return kExitUnbound;
    return reportResult("QuorixSendReloadToIPMIMain", QuorixSendReloadToIPMIMain(), 18);
}

int sendOneKeyLog(const Args &args) {
    expectArgs(args, 0, 0);
    if (!bind()) return kExitUnbound;
    return reportResult("QuorixPostReqToOneKeyLog", QuorixPostReqToOneKeyLog(), 300);
}

int sendSelCollector(const Args &args) {
    expectArgs(args, 0, 0);
    if (!bind()) return kExitUnbound;
    return reportResult("QuorixPostReqToRFSELCollectLog", QuorixPostReqToRFSELCollectLog(), 300);
}

int sendTaskFail(const Args &args) {
    expectArgs(args, 3, 3);
    const std::uint8_t kind = byteArg(args[0], "kind"), task = byteArg(args[1], "task"),
                       status = byteArg(args[2], "status");
    if (!bind()) return kExitUnbound;
    return reportResult("QuorixAddTaskFailToSEL", QuorixAddTaskFailToSEL(kind, task, status), 0);
}

int sendNotify(const Args &args) {
    expectArgs(args, 2, 2);
    const long long type = number(args[0], "type", 0, 255), task = number(args[1], "task", 0, 255);
    if (!bind()) return kExitUnbound;
    return reportResult("QuorixNotifyTaskThread",
                        QuorixNotifyTaskThread(static_cast<unsigned>(type), static_cast<unsigned>(task)), 0);
}

}  // namespace

std::vector<Command> ipcCommands() {
    return {
        {"listen", "queue", "12345|12347 [--count N]", "print each IDL or MCA request received on a queue",
         listenQueue},
        {"listen", "pipe", "ipmimain|okl|selc|poweroffscan [--count N]", "print each record read from a named pipe",
         listenPipe},
        {"send", "idl-text", "[--source N] [--kind N] TEXT...", "post a time-stamped IDL text line", sendIdlText},
        {"send", "idl-event", "TYPE NUMBER EVENT_TYPE DATA1 DATA2 LABEL", "post an IDL sensor event", sendIdlEvent},
        {"send", "mca", "HEX", "post an MCA request (record up to 256 bytes)", sendMca},
        {"send", "queue", "KEY HEX", "send a raw payload to the queue of KEY", sendQueue},
        {"send", "sel", "HEX9", "ask the IPMI main daemon to add a SEL entry", sendSel,
         "The 9 bytes: generator id (2), EvM revision, sensor type, sensor, event type, data 1 to 3."},
        {"send", "reload", "", "ask the IPMI main daemon to reload", sendReload},
        {"send", "okl", "", "ask the one-key-log collector to collect", sendOneKeyLog},
        {"send", "selc", "", "ask the Redfish SEL collector to collect", sendSelCollector},
        {"send", "task-fail", "KIND TASK STATUS", "add the update-task failure (0x07) or recovery (0x87) event",
         sendTaskFail},
        {"send", "notify", "TYPE TASK", "send a notice to the power-off scan task", sendNotify},
    };
}

}  // namespace ctl
