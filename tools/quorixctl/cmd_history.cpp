// quorixctl history: the power history of the console tool's own recorder.
//
// The histories live in the memory of the process that records them, so the
// tool keeps its records in a state file between runs and loads them back
// into fresh rings (oldest first) before each command. Each "record" is the
// first sample of a new process: like the monitor at start-up it closes a
// record in every history at once.
#include <json-c/json.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "command.h"
#include "quorix_common_interface.h"

namespace ctl {
namespace {

constexpr const char *kStateDir = "/var/quorixctl";
constexpr const char *kStateFile = "/var/quorixctl/power_history.bin";
constexpr char kMagic[4] = {'Q', 'P', 'H', '1'};
constexpr int kRecordSize = QUORIX_HISTORY_RECORD_SIZE;

struct Kind {
    const char *word;
    int kind;
    int capacity;
    QuorixHistoryBlock **history;
};
const Kind kKinds[] = {{"day", QUORIX_HISTORY_DAY, 24, &dayHistoryLinkHead},
                       {"month", QUORIX_HISTORY_MONTH, 31, &monthHistoryLinkHead},
                       {"year", QUORIX_HISTORY_YEAR, 12, &yearHistoryLinkHead}};

const Kind *kindNamed(const std::string &word) {
    for (const Kind &k : kKinds)
        if (word == k.word) return &k;
    return nullptr;
}

const Kind *kindOrThrow(const std::string &word) {
    if (const Kind *k = kindNamed(word)) return k;
    throw UsageError("history '" + word + "' is not day, month or year");
}

unsigned u16(const unsigned char *r, int off) {
    return static_cast<unsigned>(r[off] | (r[off + 1] << 8));
}
std::uint32_t u32(const unsigned char *r, int off) {
    return static_cast<std::uint32_t>(r[off]) | (static_cast<std::uint32_t>(r[off + 1]) << 8) |
           (static_cast<std::uint32_t>(r[off + 2]) << 16) | (static_cast<std::uint32_t>(r[off + 3]) << 24);
}

// Loads the saved records into freshly initialised histories.
bool load() {
    if (historyDataInit() != 0) return false;
    FILE *f = std::fopen(kStateFile, "rb");
    if (f == nullptr) return true;  // nothing recorded yet
    std::unique_ptr<FILE, int (*)(FILE *)> file(f, std::fclose);
    char magic[4];
    if (std::fread(magic, 1, 4, f) != 4 || std::memcmp(magic, kMagic, 4) != 0) {
        std::fprintf(stderr, "quorixctl: %s is not a power-history file; ignored\n", kStateFile);
        return true;
    }
    for (const Kind &k : kKinds) {
        std::uint32_t count = 0;
        if (std::fread(&count, sizeof count, 1, f) != 1 || count > static_cast<std::uint32_t>(k.capacity)) break;
        unsigned char record[kRecordSize];
        for (std::uint32_t i = 0; i < count && std::fread(record, 1, kRecordSize, f) == kRecordSize; ++i)
            AddHistoryData(*k.history, record);
    }
    return true;
}

bool save() {
    mkdir(kStateDir, 0755);
    const std::string temp = std::string(kStateFile) + ".new";
    FILE *f = std::fopen(temp.c_str(), "wb");
    if (f == nullptr) {
        std::perror("quorixctl: cannot save the power history");
        return false;
    }
    bool ok = std::fwrite(kMagic, 1, 4, f) == 4;
    for (const Kind &k : kKinds) {
        const std::uint32_t count = static_cast<std::uint32_t>(getHistoryDataNum(k.kind));
        ok = ok && std::fwrite(&count, sizeof count, 1, f) == 1;
        for (const QuorixHistoryNode *n = (*k.history)->head; ok && n != nullptr; n = n->next)
            ok = std::fwrite(n->record, 1, kRecordSize, f) == kRecordSize;
    }
    ok = std::fclose(f) == 0 && ok;
    if (!ok || std::rename(temp.c_str(), kStateFile) != 0) {
        std::perror("quorixctl: cannot save the power history");
        return false;
    }
    return true;
}

// The filled records of a history, oldest first.
std::vector<std::vector<unsigned char>> filledRecords(const Kind &k) {
    std::vector<unsigned char> buffer(static_cast<std::size_t>(k.capacity) * kRecordSize);
    const int n = getHistoryData(k.kind, buffer.data(), k.capacity);
    std::vector<std::vector<unsigned char>> out;
    for (int i = 0; i < n; ++i)
        out.emplace_back(buffer.begin() + i * kRecordSize, buffer.begin() + (i + 1) * kRecordSize);
    return out;
}

std::string when(const unsigned char *r) {
    char text[32];
    std::snprintf(text, sizeof text, "%04u-%02u-%02u %02u:00", u16(r, 206), u16(r, 204), u16(r, 202), u16(r, 200));
    return text;
}

// Channel c: 0 total, 1 class 3, 2..9 supplies, 10..49 class-0 devices.
unsigned avg(const unsigned char *r, int c) {
    return u16(r, 4 * c);
}
unsigned max(const unsigned char *r, int c) {
    return u16(r, 4 * c + 2);
}

void printTable(const std::vector<std::vector<unsigned char>> &records) {
    std::printf("%-3s %-16s %9s %9s %10s %10s  %s\n", "#", "closed", "total_avg", "total_max", "class3_avg",
                "class3_max", "supply averages 0-7");
    int i = 0;
    for (const auto &rec : records) {
        const unsigned char *r = rec.data();
        std::printf("%-3d %-16s %9u %9u %10u %10u ", i++, when(r).c_str(), avg(r, 0), max(r, 0), avg(r, 1), max(r, 1));
        for (int s = 0; s < 8; ++s) std::printf(" %u", avg(r, 2 + s));
        std::printf("\n");
    }
    if (records.empty()) std::puts("(no closed periods yet)");
}

// One bar per record: '#' up to the average total power, '+' on to the maximum.
void printChart(const std::vector<std::vector<unsigned char>> &records) {
    constexpr int kWidth = 50;
    unsigned top = 0;
    for (const auto &rec : records) top = std::max(top, max(rec.data(), 0));
    std::printf("total power (W): '#' average, '+' up to the maximum; full width %u W\n", top);
    for (const auto &rec : records) {
        const unsigned char *r = rec.data();
        const int a = top == 0 ? 0 : static_cast<int>(static_cast<unsigned long>(avg(r, 0)) * kWidth / top);
        const int m = top == 0 ? 0 : static_cast<int>(static_cast<unsigned long>(max(r, 0)) * kWidth / top);
        std::string bar(static_cast<std::size_t>(a), '#');
        bar += std::string(static_cast<std::size_t>(std::max(m - a, 0)), '+');
        std::printf("%s |%-*s| avg %u max %u\n", when(r).c_str(), kWidth, bar.c_str(), avg(r, 0), max(r, 0));
    }
    if (records.empty()) std::puts("(no closed periods yet)");
}

void printCsv(const std::vector<std::vector<unsigned char>> &records) {
    std::printf("year,month,day,hour,refreshed,closed,total_avg,total_max,class3_avg,class3_max");
    for (int s = 0; s < 8; ++s) std::printf(",psu%d_avg,psu%d_max", s, s);
    for (int d = 0; d < 40; ++d) std::printf(",dev%d_avg,dev%d_max", d, d);
    std::printf("\n");
    for (const auto &rec : records) {
        const unsigned char *r = rec.data();
        std::printf("%u,%u,%u,%u,%u,%u", u16(r, 206), u16(r, 204), u16(r, 202), u16(r, 200), u32(r, 208), u32(r, 212));
        for (int c = 0; c < 50; ++c) std::printf(",%u,%u", avg(r, c), max(r, c));
        std::printf("\n");
    }
}

json_object *pair(const unsigned char *r, int c) {
    json_object *o = json_object_new_object();
    json_object_object_add(o, "avg", json_object_new_int(static_cast<int>(avg(r, c))));
    json_object_object_add(o, "max", json_object_new_int(static_cast<int>(max(r, c))));
    return o;
}

void printJson(const std::vector<std::vector<unsigned char>> &records) {
    std::unique_ptr<json_object, int (*)(json_object *)> root(json_object_new_array(), json_object_put);
    for (const auto &rec : records) {
        const unsigned char *r = rec.data();
        json_object *o = json_object_new_object();
        json_object_object_add(o, "year", json_object_new_int(static_cast<int>(u16(r, 206))));
        json_object_object_add(o, "month", json_object_new_int(static_cast<int>(u16(r, 204))));
        json_object_object_add(o, "day", json_object_new_int(static_cast<int>(u16(r, 202))));
        json_object_object_add(o, "hour", json_object_new_int(static_cast<int>(u16(r, 200))));
        json_object_object_add(o, "refreshed", json_object_new_int64(u32(r, 208)));
        json_object_object_add(o, "closed", json_object_new_int64(u32(r, 212)));
        json_object_object_add(o, "total", pair(r, 0));
        json_object_object_add(o, "class3", pair(r, 1));
        json_object *supplies = json_object_new_array();
        for (int s = 0; s < 8; ++s) json_object_array_add(supplies, pair(r, 2 + s));
        json_object_object_add(o, "supplies", supplies);
        json_object *devices = json_object_new_array();
        for (int d = 0; d < 40; ++d) json_object_array_add(devices, pair(r, 10 + d));
        json_object_object_add(o, "devices", devices);
        json_object_array_add(root.get(), o);
    }
    std::puts(json_object_to_json_string_ext(root.get(), JSON_C_TO_STRING_PRETTY | JSON_C_TO_STRING_SPACED));
}

int runRecord(const Args &args) {
    expectArgs(args, 0, 0);
    if (!bind()) return kExitUnbound;
    if (!load()) throw EnvError("the power history could not be initialised");
    if (const int rc = historyDataRecord(); rc != 0) {
        std::fprintf(stderr, "quorixctl: historyDataRecord failed (%d)\n", rc);
        return kExitFailed;
    }
    if (!save()) return kExitUnbound;
    const auto day = filledRecords(kKinds[0]);
    if (day.empty()) {
        std::puts("sample taken; supplies are not sampled (scan 1 is not 2), nothing closed");
    } else {
        const unsigned char *r = day.back().data();
        std::printf("sample taken at %s: total power avg %u W, max %u W\n", when(r).c_str(), avg(r, 0), max(r, 0));
    }
    return kExitOk;
}

int runShow(const Args &args) {
    const Parsed parsed = parseOptions(args, {{"table", false}, {"chart", false}, {"csv", false}, {"json", false}});
    expectArgs(parsed.positional, 1, 1);
    if (parsed.options.size() > 1) throw UsageError("one format at most");
    const Kind *k = kindOrThrow(parsed.positional[0]);
    const std::string format = parsed.options.empty() ? "--table" : "--" + parsed.options[0].first;
    if (!load()) throw EnvError("the power history could not be initialised");
    const auto records = filledRecords(*k);
    if (format == "--chart")
        printChart(records);
    else if (format == "--csv")
        printCsv(records);
    else if (format == "--json")
        printJson(records);
    else
        printTable(records);
    return kExitOk;
}

int runClear(const Args &args) {
    expectArgs(args, 1, 1);
    const Kind *k = kindOrThrow(args[0]);
    if (!load()) throw EnvError("the power history could not be initialised");
    if (clearHistoryData(k->kind) != 0) {
        std::fprintf(stderr, "quorixctl: clearHistoryData refused the %s history\n", k->word);
        return kExitFailed;
    }
    if (!save()) return kExitUnbound;
    std::printf("%s history cleared\n", k->word);
    return kExitOk;
}

}  // namespace

std::vector<Command> historyCommands() {
    return {
        {"history", "record", "", "take one power sample now (closes a record in each history)", runRecord},
        {"history", "show", "day|month|year [--table|--chart|--csv|--json]", "print a history, oldest first", runShow},
        {"history", "clear", "day|month|year", "erase a history's records", runClear},
    };
}

}  // namespace ctl
