// The fuzz targets, one row of kTargets each: every executable links the same code and runs the row its own
// name gives (fuzz_<target>). The services with a configuration file differ only in a row of kServices.

#include "config/smtp/smtp_layout.h"
#include "config/snmp/snmp_agent_layout.h"
#include "config/snmp/snmp_trap_layout.h"
#include "config/syslog/syslog_layout.h"
#include "diag/debug_flags_layout.h"
#include "fan/fan_curve_layout.h"
#include "harness.h"
#include "update/update_layout.h"

using namespace qfuzz;

// The platform's command runner: recorded, not run (see takeCommands).
extern "C" int safe_system(const char *command) { return g_commands.emplace_back(command ? command : "(null)"), command ? 0 : -1; }

namespace st = qrx::config::snmptrap;
namespace sa = qrx::config::snmpagent;
namespace sm = qrx::config::smtp;
namespace sl = qrx::config::syslog;
namespace upd = qrx::update;

namespace {

std::unique_ptr<Session> g_session;

// ---- Services with a configuration file: set handler, loader, saver ----

struct Service {
    const char *what, *conf, *section;  // section: the file's JSON object; nullptr for the syslog file
    Region owned;
    int (*load)(), (*save)();                        // save nullptr: no JSON round trip
    int (*get)(int which, unsigned char *response);  // which: 0 the record, 1 the list
    std::size_t recordSize, listSize;                // listSize 0: no list
    int (*fromMem)(unsigned char *record);           // the record read in clear; nullptr: none
    std::vector<TextField> secrets, texts;           // record fields a load leaves terminated; a secret's name is its JSON key
    bool getBlanksSecrets;                           // the get answers zeros there, not protected bytes
    std::size_t entries, entrySize;                  // the list's records, and their fields a load leaves terminated:
    std::vector<TextField> entryTexts;
    std::size_t notSaved;                            // a byte of `owned` the file drops; SIZE_MAX: none
    std::vector<unsigned> codes;                     // completion codes of the set handler
    unsigned (*set)(Bytes &request, Session &session);  // the call around(); notes secrets stored and exemptions
};

unsigned char *engineId() { return block() + st::kRecordOffset + st::kEngineId; }
int length(const Bytes &req) { return static_cast<int>(req.size()); }

template <typename Call>
unsigned around(Session &s, const char *what, Call call) {
    s.before();
    const unsigned cc = call();
    return s.after(what, cc), cc;
}

const Service kServices[] = {
    {"syslog", "/conf/syslog.conf", nullptr, {sl::kSyslogEnableOffset, sl::kTagTextOffset + sl::kTagTextSize - sl::kSyslogEnableOffset},
     [] { return static_cast<int>(QuorixSyslogConfigInit()); }, nullptr, QuorixGetSyslogConfigInterface, sl::kGlobalsSize,
     sl::kDestCount * sl::kDestRecordSize, nullptr, {}, {}, false, sl::kDestCount, sl::kDestRecordSize,
     {{"host", sl::kDestHost, sl::kDestHostSize}}, SIZE_MAX, {0x00, 0xC7, 0xC9, 0xCC, 0xD5},
     [](Bytes &req, Session &s) { return around(s, "syslog", [&] { return QuorixSetSyslogConfigInterface(bytesOf(req), length(req)); }); }},

    {"trap", st::kConfPath, "SnmpTrapCfg", {st::kDestBlockOffset, st::kDestBlockSize + st::kRecordSize}, QuorixGetSnmpTotalConfFromJson,
     [] { return QuorixSetSnmpTotalConfToJson(block() + st::kRecordOffset, block() + st::kDestBlockOffset, st::kConfPath); },
     QuorixGetBMCSnmpTrapCfgInterface, st::kRecordSize, st::kDestBlockSize, QuorixGetSnmpTrapCfgFromMem,
     {{"Community", st::kCommunity, st::kCommunitySize}, {"AUTHPwd", st::kAuthPassword, st::kPassSize},
      {"PRIVPwd", st::kPrivPassword, st::kPassSize}},
     {{"HostID", st::kHostId, st::kHostIdSize}, {"UserName", st::kUserName, st::kUserNameSize},
      {"AUTHProtocol", st::kAuthProtocol, st::kAuthProtocolSize}, {"PrivProtocol", st::kPrivProtocol, st::kPrivProtocolSize},
      {"EngineID", st::kEngineId, st::kEngineIdSize}},
     false, st::kDestCount, st::kDestEntrySize, {{"Destination", st::kDestAddress, st::kDestAddressSize}}, SIZE_MAX,
     {0x00, 0xC7, 0xC9, 0xCC, 0xD5},
     [](Bytes &req, Session &s) {
         // A version-3 whole record stores a valid engine ID before its last checks: a refusal may leave the
         // sent ID (48 bytes and a terminator), or all zero for an empty one, and nothing else.
         const bool v3Record = req.size() == st::kRecordSize + 2 && req[0] == 0 && req[1] == 255 && req[2] == 3;
         const Bytes before(engineId(), engineId() + st::kEngineIdSize);
         if (v3Record) s.exemptOnRefusal({st::kRecordOffset + st::kEngineId, st::kEngineIdSize});
         const unsigned cc = around(s, "trap", [&] { return QuorixSetBMCSnmpTrapCfgInterface(bytesOf(req), length(req)); });
         for (std::size_t i = 0; v3Record && cc != 0 && !std::equal(before.begin(), before.end(), engineId()) && i < st::kEngineIdSize; ++i)
             if (engineId()[i] != (req[2 + st::kEngineId] != 0 && i + 1 < st::kEngineIdSize ? req[2 + st::kEngineId + i] : 0))
                 fail("refused trap record left an engine ID it was not sent");
         // A whole record stores the secrets of its version's group only: 0 none, 1 and 2 the community, 3 the pass phrases.
         if (cc != 0 || req.size() < 3 || req[0] != 0) return cc;
         if (req[1] == 2 || req[1] == 6 || req[1] == 8) s.addSecret(req, 2, 16);
         if (req[1] != 255 || req.size() != st::kRecordSize + 2 || req[2 + st::kVersion] == 0) return cc;
         for (std::size_t at : {st::kCommunity, st::kAuthPassword, st::kPrivPassword})
             if ((req[2 + st::kVersion] == 3) == (at != st::kCommunity)) s.addSecret(req, 2 + at, at == st::kCommunity ? 16 : st::kPassSize);
         return cc;
     }},

    // A request's first byte is its save flag.
    {"agent", sa::kConfPath, "SnmpCfg", {sa::kRecordOffset, sa::kRecordSize}, QuorixGetSnmpAgentTotalConfFromJson,
     [] { return QuorixSetSnmpAgentTotalConfToJson(block() + sa::kRecordOffset, sa::kConfPath); },
     [](int, unsigned char *response) { return QuorixGetBMCSnmpCfgInterface(response); }, sa::kRecordSize, 0, nullptr,
     {{"ReadOnlyCommunity", sa::kReadOnlyCommunity, sa::kCommunitySize}, {"ReadWriteCommunity", sa::kReadWriteCommunity, sa::kCommunitySize},
      {"AUTHPwd", sa::kAuthPassword, sa::kPassSize}, {"PRIVPwd", sa::kPrivPassword, sa::kPassSize}},
     {{"AUTHUserName", sa::kUserName, sa::kUserNameSize}}, false, 0, 0, {},
     sa::kV1V2SetEnable,  // "SnmpV1V2SetEnable" is loaded but never written
     {0x00, 0xC7, 0xC9, 0xCC},
     [](Bytes &chunk, Session &s) -> unsigned {
         if (chunk.empty()) return 0;
         Bytes req(chunk.begin() + 1, chunk.end());
         const unsigned cc = around(s, "agent", [&] { return QuorixSetBMCSnmpCfgInterface(bytesOf(req), length(req), nullptr, chunk[0] & 1); });
         if (cc != 0 || req.size() < 2) return cc;
         if (req[0] == 2 || req[0] == 3 || req[0] == 9 || req[0] == 10) s.addSecret(req, 1, req[0] < 9 ? 16 : 20);
         for (std::size_t at : {sa::kReadOnlyCommunity, sa::kReadWriteCommunity, sa::kAuthPassword, sa::kPrivPassword})
             if (req[0] == 254 && req.size() == sa::kRecordSize + 1 &&
                 (at < sa::kAuthPassword ? req[1 + sa::kV1Enable] == 1 || req[1 + sa::kV2Enable] == 1 : req[1 + sa::kV3Enable] == 1))
                 s.addSecret(req, 1 + at, at < sa::kAuthPassword ? 16 : 20);
         return cc;
     }},

    {"SMTP", sm::kConfPath, "SmtpCfg", {sm::kRecordOffset, sm::kRecordSize + sm::kRecipientsSize}, QuorixGetSmtpTotalConfFromJson,
     QuorixSetSmtpTotalConfToJson, QuorixGetBMCSmtpCfgInterface, sm::kRecordSize, sm::kRecipientsSize, QuorixGetSmtpCfgFromMem,
     {{"PassWord", sm::kPassword, sm::kPasswordSize}},
     {{"ServerAddr", sm::kServer, sm::kServerSize}, {"UserName", sm::kUserName, sm::kUserNameSize},
      {"SenderAddr", sm::kSender, sm::kSenderSize}, {"Subject", sm::kSubject, sm::kSubjectSize}},
     true, sm::kRcptCount, sm::kRcptEntrySize,
     {{"EmailAddress", sm::kRcptAddress, sm::kRcptAddressSize}, {"Description", sm::kRcptDescription, sm::kRcptDescriptionSize}},
     SIZE_MAX, {0x00, 0xC7, 0xC9, 0xCC},
     [](Bytes &req, Session &s) {
         // A whole record with login stores user name and password before the sender check may refuse it with 0xCC.
         const bool login = req.size() >= sm::kRecordSize + 2 && req[0] == 0 && req[1] == 255 && req[2 + sm::kAuth] == 1;
         if (login) s.exemptOnRefusal({sm::kRecordOffset + sm::kUserName, sm::kUserNameSize}, 0xCC);
         if (login) s.exemptOnRefusal({sm::kRecordOffset + sm::kPassword, sm::kPasswordSize}, 0xCC);
         const unsigned cc = around(s, "SMTP", [&] { return QuorixSetBMCSmtpCfgInterface(bytesOf(req), length(req)); });
         if ((cc == 0 || cc == 0xCC) && req.size() >= 3 && req[0] == 0 && (req[1] == 8 || login))
             s.addSecret(req, req[1] == 8 ? 2 : 2 + sm::kPassword, 60);
         return cc;
     }},
};

// The gets into buffers of exactly their size, code dropped; the syslog switch and tag and the record in clear too.
void readBack(const Service &v, Bytes &record, Bytes &list) {
    record = exactGet(v.what, v.recordSize + 1, [&](unsigned char *b) { return v.get(0, b); });
    list = exactGet(v.what, v.listSize + 1, [&](unsigned char *b) { return v.listSize ? v.get(1, b) : 1; });
    record.erase(record.begin()), list.erase(list.begin());
    Bytes clear(v.recordSize);
    char tag[sl::kTagTextSize];
    if (v.fromMem != nullptr && v.fromMem(clear.data()) != 0) fail("%s record read from memory failed", v.what);
    if (v.section == nullptr && ((record[0] != sl::kSyslogDisabled && record[0] != sl::kSyslogEnabled) ||
                                 QuorixGetSyslogTag(tag, sizeof tag) != 0))
        fail("syslog switch stored as %u, or the tag unreadable", record[0]);
}

template <int I>
void serviceSetInit() {
    const Service &v = kServices[I];
    if (v.load() != 0 && v.save != nullptr) fail("the factory %s configuration does not load", v.what);
    g_session = std::make_unique<Session>(std::vector<Region>{v.owned});
}

// Request sequences: each request against the refusal rules, its completion codes, the gets and its secrets.
template <int I>
void serviceSet(const std::uint8_t *data, std::size_t size) {
    const Service &v = kServices[I];
    g_session->startInput();
    const unsigned char reset[1] = {0};
    if (v.section == nullptr) QuorixSetSyslogConfigInterface(reset, 1);  // also forgets the last test target
    for (Bytes &req : splitRequests(data, size, 6)) {
        expectCode(v.what, v.set(req, *g_session), v.codes);
        Bytes record, list;
        readBack(v, record, list);
        for (const TextField &f : v.secrets) {
            const std::string field(&record[f.offset], &record[f.offset] + f.size);
            g_session->checkSecretIn(f.name, field);
            if (v.getBlanksSecrets && field != std::string(f.size, '\0')) fail("%s get left %s bytes in the response", v.what, f.name);
            g_session->checkSecretsInJson(v.conf, v.section, f.name);
        }
    }
}

// The input is the file: the loader writes only its region, never the file, leaves its texts terminated, and
// what it stored survives a save and a second load.
template <int I>
void serviceLoad(const std::uint8_t *data, std::size_t size) {
    const Service &v = kServices[I];
    writeFile(v.conf, std::string(reinterpret_cast<const char *>(data), size));
    const Files files = confFiles();
    BlockWatch watch({v.owned});
    watch.arm();
    const int result = v.load();
    watch.disarm(v.conf);
    if (confFiles() != files) fail("loading %s changed /conf", v.conf);
    // A file that exists always parses for syslog; the JSON loaders may refuse it.
    if (result != 0 && (result != -1 || v.save == nullptr)) fail("%s loader returned %d", v.what, result);
    Bytes record, list;
    readBack(v, record, list);
    expectTerminated(v.what, record, 1, 0, v.texts);
    expectTerminated(v.what, record, v.getBlanksSecrets ? 0 : 1, 0, v.secrets);
    expectTerminated(v.what, list, v.entries, v.entrySize, v.entryTexts);
    if (result != 0 || v.save == nullptr) return;
    const Bytes first(block() + v.owned.offset, block() + v.owned.offset + v.owned.length);
    if (v.save() != 0 || v.load() != 0) fail("%s: the loaded configuration does not save and load again", v.what);
    for (std::size_t i = 0; i < v.owned.length; ++i)
        if (first[i] != block()[v.owned.offset + i] && i != v.notSaved)
            fail("%s: byte %zu changed across a save and a reload", v.what, i);
}

// ---- Task-table handlers: the low two bits of the first byte give the request length, the request follows,
// and the rest patches a cleared table three bytes at a time (task, offset within the record's first 256,
// value). A refusal is one byte; a report lists the tasks in use in id order ----

const unsigned char *taskRecord(int id) { return block() + upd::kTaskTableOffset + std::size_t(id) * upd::kTaskRecordSize; }

template <typename Handler>
void taskHandler(const std::uint8_t *data, std::size_t size, std::size_t entry, int lastListed, Handler handle,
                 std::vector<unsigned> codes) {
    if (size == 0) return;
    Bytes request(data + 1, data + 1 + std::min<std::size_t>(data[0] & 3, size - 1)), response(2 + 15 * entry, 0);
    std::memset(block() + upd::kTaskTableOffset, 0, upd::kTaskCount * upd::kTaskRecordSize);
    for (std::size_t at = 1 + request.size(); at + 3 <= size; at += 3)
        block()[upd::kTaskTableOffset + data[at] % upd::kTaskCount * upd::kTaskRecordSize + data[at + 1]] = data[at + 2];
    // They refresh the progress estimate of CPLD and FPGA tasks (CPLD: the start time of an ended task too), nothing else.
    std::vector<Region> estimates;
    for (std::size_t id : {2, 3, 4, 7, 8, 9, 10, 14}) {
        estimates.push_back({std::size_t(taskRecord(int(id)) - block()) + upd::task::kProgress, 1});
        if (id <= 4 || id == 10) estimates.push_back({std::size_t(taskRecord(int(id)) - block()) + upd::task::kStartTime, 4});
    }
    BlockWatch watch(estimates);
    watch.arm();
    const int n = handle(bytesOf(request), static_cast<int>(request.size()), response.data());
    watch.disarm("task handler");
    expectCode("task handler", response[0], codes);
    std::vector<int> listed;
    for (int id = 0; id <= lastListed; ++id)
        if (taskRecord(id)[upd::task::kStatus] != upd::kStatusNone && (request.size() < 2 || request[1] == 255 || request[1] == id))
            listed.push_back(id);
    if (n == 1) return;
    if (response[0] != 0 || n != int(2 + listed.size() * entry) || response[1] != listed.size())
        fail("report of %d bytes, 0x%X, %u tasks; %zu in use", n, response[0], response[1], listed.size());
    for (std::size_t i = 0; i < listed.size(); ++i) {
        const unsigned char *got = &response[2 + i * entry], *task = taskRecord(listed[i]);
        if (entry == upd::kTaskRecordSize ? std::memcmp(got, task, entry) != 0
                                          : got[0] != task[upd::task::kId] || got[33] != task[upd::task::kStatus] || got[32] != 0)
            fail("entry %zu does not show task %d", i, listed[i]);
    }
}

void backgroundTask(const std::uint8_t *data, std::size_t size) {
    taskHandler(data, size, upd::kTaskRecordSize, upd::kMaxTaskId, QuorixBackgroundTaskOperaInterface, {0, 0xC7, 0xCC, 0xD5, 0xFF});
}
void updateInfo(const std::uint8_t *data, std::size_t size) {  // the first twelve tasks, 38 bytes each
    taskHandler(data, size, 38, 11, QuorixGetUpdateInfoInterface, {0, 0xC7, 0xCC});
}

// ---- Console text commands: the input is the text. A fan command without a
// curve keyword writes nothing ("pwmraise" only the raise byte; a curve may be
// anywhere in the block). SetDebugInformation writes the ten flags only, those
// its text names, and hands its text back unchanged ----

bool has(const std::string &text, const std::string &word) { return text.find(word) != std::string::npos; }

void fanParam(const std::uint8_t *data, std::size_t size) {
    std::string text(reinterpret_cast<const char *>(data), size);
    const char *curve[] = {"disable", "enable", "liner", "bjpid"};
    if (std::any_of(std::begin(curve), std::end(curve), [&](const char *w) { return has(text, w); }))
        return (void)set_fan_param(text.data());
    BlockWatch watch(has(text, "pwmraise") ? std::vector<Region>{{qrx::fancurve::kMissingFanRaiseOffset, 1}} : std::vector<Region>{});
    watch.arm();
    set_fan_param(text.data());
    watch.disarm("set_fan_param");
}

void debugInfo(const std::uint8_t *data, std::size_t size) {
    std::string text(reinterpret_cast<const char *>(data), size);
    const std::string copy = text;
    BlockWatch watch({{qrx::diag::kDebugFlagsOffset, qrx::diag::kDebugFlagCount}});
    watch.arm();
    if (SetDebugInformation(text.data()) != text.data() || text != copy) fail("SetDebugInformation changed its text");
    for (std::size_t offset : watch.disarm("SetDebugInformation"))
        if (!has(text.c_str(), "debug" + std::to_string(offset - qrx::diag::kDebugFlagsOffset) + "_"))
            fail("SetDebugInformation changed flag %zu the text does not name", offset - qrx::diag::kDebugFlagsOffset);
}

const struct Target {
    const char *name;
    void (*init)();
    void (*one)(const std::uint8_t *data, std::size_t size);
} kTargets[] = {
    {"syslog_set", serviceSetInit<0>, serviceSet<0>},  {"snmp_trap_set", serviceSetInit<1>, serviceSet<1>},
    {"snmp_agent_set", serviceSetInit<2>, serviceSet<2>}, {"smtp_set", serviceSetInit<3>, serviceSet<3>},
    {"syslog_conf_load", nullptr, serviceLoad<0>},     {"snmp_trap_json", nullptr, serviceLoad<1>},
    {"snmp_agent_json", nullptr, serviceLoad<2>},      {"smtp_json", nullptr, serviceLoad<3>},
    {"background_task", nullptr, backgroundTask},      {"update_info", nullptr, updateInfo},
    {"fan_param", nullptr, fanParam},                  {"debug_info", nullptr, debugInfo},
};
const Target *g_target = nullptr;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***argv) {
    const std::string self = fs::path((*argv)[0]).filename();
    for (const Target &t : kTargets)
        if (self == std::string("fuzz_") + t.name) g_target = &t;
    if (g_target == nullptr) fail("%s names no fuzz target", self.c_str());
    bindOnce();
    return g_target->init != nullptr ? g_target->init(), 0 : 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) { return g_target->one(data, size), 0; }
