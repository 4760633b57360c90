// quorixctl listen / send: watch what the daemons send each other on the
// message queues and named pipes, and send the library's requests by hand.
#include <fcntl.h>

#include <cctype>
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

bool parseCount(const Args &args, std::size_t from, long &count) {
    count = 0;  // until interrupted
    if (args.size() == from) return true;
    return args.size() == from + 2 && args[from] == "--count" && parseInt(args[from + 1], count) && count > 0;
}

int listenQueue(const Args &args) {
    long key = 0, count = 0;
    if (args.size() < 1 || !parseInt(args[0], key) || (key != 12345 && key != 12347) || !parseCount(args, 1, count))
        return usageError("listen queue 12345|12347 [--count N]");
    int id = QuorixCreateMsgQueue(static_cast<int>(key));
    if (id < 0) {
        std::fprintf(stderr, "quorixctl: cannot open queue %ld\n", key);
        return kExitFailed;
    }
    std::printf("listening on queue %ld (id %d)\n", key, id);
    std::fflush(stdout);
    for (long n = 0; count == 0 || n < count; ++n) {
        std::uint8_t payload[1024];
        if (QuorixReadMsgQueue(id, payload, sizeof payload) != 0) return kExitFailed;
        printQueueRecord(static_cast<int>(key), payload);
        std::fflush(stdout);
    }
    return kExitOk;
}

int listenPipe(const Args &args) {
    const PipeChannel *channel = nullptr;
    for (const PipeChannel &c : kPipes)
        if (!args.empty() && args[0] == c.word) channel = &c;
    long count = 0;
    if (channel == nullptr || !parseCount(args, 1, count))
        return usageError("listen pipe ipmimain|okl|selc|poweroffscan [--count N]");
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
    for (long n = 0; count == 0 || n < count; ++n) {
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

bool parseByte(const std::string &text, std::uint8_t &byte) {
    long value = 0;
    if (!parseInt(text, value) || value < 0 || value > 255) return false;
    byte = static_cast<std::uint8_t>(value);
    return true;
}

std::string joined(const Args &args, std::size_t from) {
    std::string text;
    for (std::size_t i = from; i < args.size(); ++i) text += (i > from ? " " : "") + args[i];
    return text;
}

int reportResult(const char *what, int rc, int ok) {
    std::printf("%s: %d\n", what, rc);
    return rc == ok ? kExitOk : kExitFailed;
}

// The byte at the front of an IDL text line: kind 0 plain, 2 CPLD, 5 FPGA.
int sendIdlText(const Args &args) {
    std::uint8_t source = 0, kind = 0;
    std::size_t at = 0;
    while (at + 1 < args.size() && (args[at] == "--source" || args[at] == "--kind")) {
        if (!parseByte(args[at + 1], args[at] == "--source" ? source : kind))
            return usageError(args[at] + " takes a byte");
        at += 2;
    }
    if (at >= args.size()) return usageError("send idl-text [--source N] [--kind N] TEXT...");
    QuorixIdlRecord record{};
    record.bytes[0] = 1;
    record.bytes[4] = source;
    record.bytes[12] = 0xFF;
    record.bytes[13] = kind;
    record.bytes[14] = 1;
    std::string text = joined(args, at);
    std::strncpy(reinterpret_cast<char *>(record.bytes + 15), text.c_str(), 255);
    return reportResult("QuorixPostReqToIDL", QuorixPostReqToIDL(record), 0);
}

int sendIdlEvent(const Args &args) {
    std::uint8_t type = 0, number = 0, dirType = 0, data1 = 0, data2 = 0;
    if (args.size() != 6 || !parseByte(args[0], type) || !parseByte(args[1], number) || !parseByte(args[2], dirType) ||
        !parseByte(args[3], data1) || !parseByte(args[4], data2))
        return usageError("send idl-event SENSOR_TYPE SENSOR_NUMBER EVENT_TYPE DATA1 DATA2 LABEL");
    QuorixIdlRecord record{};
    record.bytes[4] = 0x20;
    record.bytes[12] = type;
    record.bytes[14] = number;
    record.bytes[15] = dirType;
    record.bytes[16] = data1;
    record.bytes[17] = data2;
    std::strncpy(reinterpret_cast<char *>(record.bytes + 19), args[5].c_str(), 15);
    record.bytes[39] = 0x0A;
    return reportResult("QuorixPostReqToIDL", QuorixPostReqToIDL(record), 0);
}

int sendMca(const Args &args) {
    std::vector<std::uint8_t> bytes;
    if (args.size() != 1 || !parseHexBytes(args[0], bytes) || bytes.size() > 256)
        return usageError("send mca HEX (up to 256 bytes)");
    QuorixMcaRecord record{};
    std::memcpy(record.bytes, bytes.data(), bytes.size());
    return reportResult("QuorixPostReqToMCA", QuorixPostReqToMCA(record), 0);
}

int sendQueue(const Args &args) {
    long key = 0;
    std::vector<std::uint8_t> bytes;
    if (args.size() != 2 || !parseInt(args[0], key) || !parseHexBytes(args[1], bytes))
        return usageError("send queue KEY HEX");
    return reportResult("QuorixWriteMsgQueue",
                        QuorixWriteMsgQueue(static_cast<int>(key), bytes.data(), static_cast<int>(bytes.size())), 0);
}

int sendSel(const Args &args) {
    std::vector<std::uint8_t> bytes;
    if (args.size() != 1 || !parseHexBytes(args[0], bytes) || bytes.size() != 9)
        return usageError(
            "send sel HEX (9 bytes: generator id (2), EvM rev, sensor type, sensor, event type, data 1-3)");
    if (!bind()) return kExitUnbound;
    QuorixSelEvent event{};
    std::memcpy(event.bytes, bytes.data(), bytes.size());
    return reportResult("QuorixAddSELToIPMIMain", QuorixAddSELToIPMIMain(event), 18);
}

int sendReload(const Args &args) {
    if (!args.empty()) return usageError("send reload");
    if (!bind()) return kExitUnbound;
    return reportResult("QuorixSendReloadToIPMIMain", QuorixSendReloadToIPMIMain(), 18);
}

int sendOneKeyLog(const Args &args) {
    if (!args.empty()) return usageError("send okl");
    if (!bind()) return kExitUnbound;
    return reportResult("QuorixPostReqToOneKeyLog", QuorixPostReqToOneKeyLog(), 300);
}

int sendSelCollector(const Args &args) {
    if (!args.empty()) return usageError("send selc");
    if (!bind()) return kExitUnbound;
    return reportResult("QuorixPostReqToRFSELCollectLog", QuorixPostReqToRFSELCollectLog(), 300);
}

int sendTaskFail(const Args &args) {
    std::uint8_t kind = 0, task = 0, status = 0;
    if (args.size() != 3 || !parseByte(args[0], kind) || !parseByte(args[1], task) || !parseByte(args[2], status))
        return usageError("send task-fail KIND TASK STATUS (KIND 0x07 failure, 0x87 recovery)");
    if (!bind()) return kExitUnbound;
    return reportResult("QuorixAddTaskFailToSEL", QuorixAddTaskFailToSEL(kind, task, status), 0);
}

int sendNotify(const Args &args) {
    long type = 0, task = 0;
    if (args.size() != 2 || !parseInt(args[0], type) || !parseInt(args[1], task))
        return usageError("send notify TYPE TASK");
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
        {"send", "sel", "HEX9", "ask the IPMI main daemon to add a SEL entry", sendSel},
        {"send", "reload", "", "ask the IPMI main daemon to reload", sendReload},
        {"send", "okl", "", "ask the one-key-log collector to collect", sendOneKeyLog},
        {"send", "selc", "", "ask the Redfish SEL collector to collect", sendSelCollector},
        {"send", "task-fail", "KIND TASK STATUS", "add the update-task failure (0x07) or recovery (0x87) event",
         sendTaskFail},
        {"send", "notify", "TYPE TASK", "send a notice to the power-off scan task", sendNotify},
    };
}

}  // namespace ctl
