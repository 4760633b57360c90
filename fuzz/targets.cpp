// The fuzz targets, one row of kTargets each. Every executable links the same
// code and runs the row its own name gives (fuzz_<target>). The services
// with a configuration file differ only in a table of field layouts and
// secrets; the other targets each check their handler's own definition.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <memory>
#include <string>

#include "config/password_rule/password_rule_layout.h"
#include "config/smtp/smtp_layout.h"
#include "config/snmp/snmp_agent_layout.h"
#include "config/snmp/snmp_trap_layout.h"
#include "config/syslog/syslog_layout.h"
#include "fan/fan_curve_layout.h"
#include "harness.h"
#include "core/eeprom_map.h"
#include "power/power_layout.h"
#include "quorix_common_interface.h"
#include "update/update_layout.h"

using namespace qfuzz;

// The platform's command runner: recorded, not run (see takeCommands).
extern "C" int safe_system(const char *command) {
    g_commands.emplace_back(command == nullptr ? "(null)" : command);
    return command == nullptr ? -1 : 0;
}

namespace st = qrx::config::snmptrap;
namespace sa = qrx::config::snmpagent;
namespace sm = qrx::config::smtp;
namespace sl = qrx::config::syslog;
namespace upd = qrx::update;

namespace {

std::unique_ptr<Session> g_session;

std::size_t upTo(std::size_t n, std::size_t max) {
    return std::min(n, max);
}

// ---- Services with a configuration file: set handler, loader, saver ----

struct Service {
    const char *what, *conf, *section;  // section: the file's JSON object, nullptr for the syslog file
    Region owned;
    int (*load)();
    int (*save)();                                          // nullptr: no JSON round trip
    int (*get)(int which, unsigned char *response);         // which: 0 the record, 1 the list
    std::size_t recordSize, listSize;                       // listSize 0: no list
    int (*fromMem)(unsigned char *record);                  // the record read in clear; nullptr: none
    void (*extra)(const Bytes &record, const Bytes &list);  // further checks of what the gets answer
    std::vector<TextField> secrets;                         // record fields; the name is the JSON key
    bool getBlanksSecrets;                                  // the get answers zeros there rather than protected bytes
    std::vector<TextField> texts;         // record fields a load leaves terminated, as the secrets the get shows
    std::size_t entries, entrySize;       // the list's records
    std::vector<TextField> entryTexts;    // and their fields a load leaves terminated
    std::vector<std::size_t> notSaved;    // bytes of `owned` the file format drops
    std::vector<unsigned> codes;          // completion codes of the set handler
    void (*prepare)(const Bytes &chunk);  // before a request: exemptions; nullptr: none
    unsigned (*set)(Bytes &chunk);
    void (*accepted)(const Bytes &chunk, unsigned cc, Secrets &secrets);  // notes the secrets a request stored
};

Bytes dropCode(Bytes response) {
    response.erase(response.begin());
    return response;
}

const unsigned char *engineId() {
    return block() + st::kRecordOffset + st::kEngineId;
}

bool v3TrapRecord(const Bytes &req) {
    return req.size() == st::kRecordSize + 2 && req[0] == 0 && req[1] == 255 && req[2] == 3;
}

// A whole SMTP record with login stores user name and password before the
// sender check, which may still refuse it with 0xCC.
bool smtpLoginRecord(const Bytes &req) {
    return req.size() >= sm::kRecordSize + 2 && req[0] == 0 && req[1] == 255 && req[2 + sm::kAuth] == 1;
}

const Service kServices[] = {
    {"syslog",
     "/conf/syslog.conf",
     nullptr,
     {sl::kSyslogEnableOffset, sl::kTagTextOffset + sl::kTagTextSize - sl::kSyslogEnableOffset},
     [] { return static_cast<int>(QuorixSyslogConfigInit()); },
     nullptr,
     QuorixGetSyslogConfigInterface,
     sl::kGlobalsSize,
     sl::kDestCount *sl::kDestRecordSize,
     nullptr,
     [](const Bytes &globals, const Bytes &dests) {
         if (globals[0] != sl::kSyslogDisabled && globals[0] != sl::kSyslogEnabled)
             fail("syslog switch stored as %u", globals[0]);
         expectTerminated("syslog destinations", dests.data(), sl::kDestCount, sl::kDestRecordSize,
                          {{"host", sl::kDestHost, sl::kDestHostSize}});
         char tag[sl::kTagTextSize];
         if (QuorixGetSyslogTag(tag, sizeof tag) != 0) fail("syslog tag read failed");
     },
     {},
     false,
     {},
     0,
     0,
     {},
     {},
     {0x00, 0xC7, 0xC9, 0xCC, 0xD5},
     nullptr,
     [](Bytes &req) { return QuorixSetSyslogConfigInterface(bytesOf(req), static_cast<int>(req.size())); },
     [](const Bytes &, unsigned, Secrets &) {}},

    {"trap",
     st::kConfPath,
     "SnmpTrapCfg",
     {st::kDestBlockOffset, st::kDestBlockSize + st::kRecordSize},
     QuorixGetSnmpTotalConfFromJson,
     [] {
         return QuorixSetSnmpTotalConfToJson(block() + st::kRecordOffset, block() + st::kDestBlockOffset,
                                             st::kConfPath);
     },
     QuorixGetBMCSnmpTrapCfgInterface,
     st::kRecordSize,
     st::kDestBlockSize,
     QuorixGetSnmpTrapCfgFromMem,
     nullptr,
     {{"Community", st::kCommunity, st::kCommunitySize},
      {"AUTHPwd", st::kAuthPassword, st::kPassSize},
      {"PRIVPwd", st::kPrivPassword, st::kPassSize}},
     false,
     {{"HostID", st::kHostId, st::kHostIdSize},
      {"UserName", st::kUserName, st::kUserNameSize},
      {"AUTHProtocol", st::kAuthProtocol, st::kAuthProtocolSize},
      {"PrivProtocol", st::kPrivProtocol, st::kPrivProtocolSize},
      {"EngineID", st::kEngineId, st::kEngineIdSize}},
     st::kDestCount,
     st::kDestEntrySize,
     {{"Destination", st::kDestAddress, st::kDestAddressSize}},
     {},
     {0x00, 0xC7, 0xC9, 0xCC, 0xD5},
     // A version-3 whole record stores a valid engine ID before its last
     // checks, which may still refuse the request.
     [](const Bytes &req) {
         if (v3TrapRecord(req)) g_session->exemptOnRefusal({st::kRecordOffset + st::kEngineId, st::kEngineIdSize});
     },
     [](Bytes &req) {
         const Bytes before(engineId(), engineId() + st::kEngineIdSize);
         const unsigned cc = QuorixSetBMCSnmpTrapCfgInterface(bytesOf(req), static_cast<int>(req.size()));
         if (!v3TrapRecord(req) || cc == 0 || std::equal(before.begin(), before.end(), engineId())) return cc;
         // What it may leave: the sent ID, 48 bytes and a terminator, or all zero for an empty one.
         const unsigned char *sent = req.data() + 2 + st::kEngineId;
         bool sentId = engineId()[st::kEngineIdSize - 1] == 0;
         for (std::size_t i = 0; i + 1 < st::kEngineIdSize; ++i)
             sentId = sentId && engineId()[i] == (sent[0] ? sent[i] : 0);
         if (!sentId) fail("refused trap record left an engine ID it was not sent");
         return cc;
     },
     [](const Bytes &req, unsigned cc, Secrets &secrets) {
         if (cc != 0 || req.size() < 3 || req[0] != 0) return;
         const unsigned char *data = req.data() + 2;
         if (req[1] == 2 || req[1] == 6 || req[1] == 8) secrets.add(data, upTo(req.size() - 2, 16));
         // A whole record stores the secrets of its version's group only:
         // version 0 none, 1 and 2 the community, 3 the pass phrases. Texts
         // it does not store may well be in the record in clear (the
         // factory community).
         if (req[1] != 255 || req.size() != st::kRecordSize + 2 || data[st::kVersion] == 0) return;
         if (data[st::kVersion] != 3) secrets.add(data + st::kCommunity, 16);
         if (data[st::kVersion] == 3) secrets.add(data + st::kAuthPassword, st::kPassSize);
         if (data[st::kVersion] == 3) secrets.add(data + st::kPrivPassword, st::kPassSize);
     }},

    // Each request's first byte is its save flag.
    {"agent",
     sa::kConfPath,
     "SnmpCfg",
     {sa::kRecordOffset, sa::kRecordSize},
     QuorixGetSnmpAgentTotalConfFromJson,
     [] { return QuorixSetSnmpAgentTotalConfToJson(block() + sa::kRecordOffset, sa::kConfPath); },
     [](int, unsigned char *response) { return QuorixGetBMCSnmpCfgInterface(response); },
     sa::kRecordSize,
     0,
     nullptr,
     nullptr,
     {{"ReadOnlyCommunity", sa::kReadOnlyCommunity, sa::kCommunitySize},
      {"ReadWriteCommunity", sa::kReadWriteCommunity, sa::kCommunitySize},
      {"AUTHPwd", sa::kAuthPassword, sa::kPassSize},
      {"PRIVPwd", sa::kPrivPassword, sa::kPassSize}},
     false,
     {{"AUTHUserName", sa::kUserName, sa::kUserNameSize}},
     0,
     0,
     {},
     {sa::kV1V2SetEnable},  // "SnmpV1V2SetEnable" is loaded but never written
     {0x00, 0xC7, 0xC9, 0xCC},
     nullptr,
     [](Bytes &chunk) -> unsigned {
         if (chunk.empty()) return 0;
         Bytes req(chunk.begin() + 1, chunk.end());
         return QuorixSetBMCSnmpCfgInterface(bytesOf(req), static_cast<int>(req.size()), nullptr, chunk[0] & 1);
     },
     [](const Bytes &chunk, unsigned cc, Secrets &secrets) {
         if (cc != 0 || chunk.size() < 3) return;
         const unsigned char *data = chunk.data() + 2;
         const std::size_t n = chunk.size() - 2;
         if (chunk[1] == 2 || chunk[1] == 3) secrets.add(data, upTo(n, 16));
         if (chunk[1] == 9 || chunk[1] == 10) secrets.add(data, upTo(n, 20));
         if (chunk[1] != 254 || n != sa::kRecordSize) return;
         if (data[sa::kV1Enable] == 1 || data[sa::kV2Enable] == 1) {
             secrets.add(data + sa::kReadOnlyCommunity, 16);
             secrets.add(data + sa::kReadWriteCommunity, 16);
         }
         if (data[sa::kV3Enable] == 1) {
             secrets.add(data + sa::kAuthPassword, 20);
             secrets.add(data + sa::kPrivPassword, 20);
         }
     }},

    {"SMTP",
     sm::kConfPath,
     "SmtpCfg",
     {sm::kRecordOffset, sm::kRecordSize + sm::kRecipientsSize},
     QuorixGetSmtpTotalConfFromJson,
     QuorixSetSmtpTotalConfToJson,
     QuorixGetBMCSmtpCfgInterface,
     sm::kRecordSize,
     sm::kRecipientsSize,
     QuorixGetSmtpCfgFromMem,
     nullptr,
     {{"PassWord", sm::kPassword, sm::kPasswordSize}},
     true,
     {{"ServerAddr", sm::kServer, sm::kServerSize},
      {"UserName", sm::kUserName, sm::kUserNameSize},
      {"SenderAddr", sm::kSender, sm::kSenderSize},
      {"Subject", sm::kSubject, sm::kSubjectSize}},
     sm::kRcptCount,
     sm::kRcptEntrySize,
     {{"EmailAddress", sm::kRcptAddress, sm::kRcptAddressSize},
      {"Description", sm::kRcptDescription, sm::kRcptDescriptionSize}},
     {},
     {0x00, 0xC7, 0xC9, 0xCC},
     [](const Bytes &req) {
         if (!smtpLoginRecord(req)) return;
         g_session->exemptOnRefusal({sm::kRecordOffset + sm::kUserName, sm::kUserNameSize}, 0xCC);
         g_session->exemptOnRefusal({sm::kRecordOffset + sm::kPassword, sm::kPasswordSize}, 0xCC);
     },
     [](Bytes &req) { return QuorixSetBMCSmtpCfgInterface(bytesOf(req), static_cast<int>(req.size())); },
     [](const Bytes &req, unsigned cc, Secrets &secrets) {
         if ((cc != 0 && cc != 0xCC) || req.size() < 3 || req[0] != 0) return;
         if (req[1] == 8) secrets.add(req.data() + 2, upTo(req.size() - 2, 60));
         if (smtpLoginRecord(req)) secrets.add(req.data() + 2 + sm::kPassword, 60);
     }},
};

// The gets into buffers of exactly their size (completion code dropped);
// false when the record read in clear fails.
bool readBack(const Service &v, Bytes &record, Bytes &list) {
    record = dropCode(exactGet(v.what, v.recordSize + 1, [&](unsigned char *b) { return v.get(0, b); }));
    if (v.listSize > 0)
        list = dropCode(exactGet(v.what, v.listSize + 1, [&](unsigned char *b) { return v.get(1, b); }));
    if (v.extra != nullptr) v.extra(record, list);
    Bytes clear(v.recordSize);
    return v.fromMem == nullptr || v.fromMem(clear.data()) == 0;
}

// Request sequences: each request is checked against the refusal rules,
// its completion codes, the gets and the secrets it stored.
template <int I>
void serviceSetInit() {
    const Service &v = kServices[I];
    // The JSON services load their factory file; syslog starts from its defaults.
    if (v.load() != 0 && v.save != nullptr) fail("the factory %s configuration does not load", v.what);
    g_session = std::make_unique<Session>(std::vector<Region>{v.owned});
}

template <int I>
void serviceSet(const std::uint8_t *data, std::size_t size) {
    const Service &v = kServices[I];
    g_session->startInput();
    const unsigned char reset[1] = {0};
    if (v.section == nullptr) QuorixSetSyslogConfigInterface(reset, 1);  // also forgets the last test target
    for (Bytes &req : splitRequests(data, size, 6)) {
        if (v.prepare != nullptr) v.prepare(req);
        g_session->before();
        const unsigned cc = v.set(req);
        g_session->after(v.what, cc);
        expectCode(v.what, cc, v.codes);
        v.accepted(req, cc, g_session->secrets());
        Bytes record, list;
        if (!readBack(v, record, list)) fail("%s record read from memory failed", v.what);
        for (const TextField &f : v.secrets) {
            if (!v.getBlanksSecrets)
                g_session->secrets().checkField(f.name, record.data() + f.offset, f.size);
            else if (std::any_of(&record[f.offset], &record[f.offset] + f.size, [](unsigned char c) { return c; }))
                fail("%s get left %s bytes in the response", v.what, f.name);
            g_session->secrets().checkJson(v.conf, v.section, f.name);
        }
    }
}

// The input is the file: the loader writes only its region, never the file,
// leaves its text fields terminated, and what it stored survives a save and
// a second load (except the bytes the format drops).
template <int I>
void serviceLoad(const std::uint8_t *data, std::size_t size) {
    const Service &v = kServices[I];
    writeFile(v.conf, std::string(reinterpret_cast<const char *>(data), size));
    const Files files = confFiles();
    BlockWatch watch({v.owned});
    watch.arm();
    const int result = v.load();
    watch.disarm(v.conf);
    const std::string diff = firstDifference(files, confFiles());
    if (!diff.empty()) fail("loading %s changed %s", v.conf, diff.c_str());
    // A file that exists always parses for syslog; the JSON loaders may refuse it.
    if (result != 0 && (result != -1 || v.save == nullptr)) fail("%s loader returned %d", v.what, result);
    Bytes record, list;
    readBack(v, record, list);
    expectTerminated(v.what, record.data(), 1, 0, v.texts);
    if (!v.getBlanksSecrets) expectTerminated(v.what, record.data(), 1, 0, v.secrets);
    expectTerminated(v.what, list.data(), v.entries, v.entrySize, v.entryTexts);
    if (result != 0 || v.save == nullptr) return;
    const Bytes first(block() + v.owned.offset, block() + v.owned.offset + v.owned.length);
    if (v.save() != 0) fail("%s: saving the loaded configuration failed", v.what);
    if (v.load() != 0) fail("%s: the saved configuration does not load", v.what);
    for (std::size_t i = 0; i < v.owned.length; ++i)
        if (first[i] != block()[v.owned.offset + i] && std::count(v.notSaved.begin(), v.notSaved.end(), i) == 0)
            fail("%s: byte %zu changed from 0x%02X to 0x%02X across a save and a reload", v.what, i, first[i],
                 block()[v.owned.offset + i]);
}

// ---- Password rule: the EEPROM record; the block is never written ----

namespace pw = qrx::pwrule;
const Bytes kStartRule = {1, 12, 1, 0x0F, 90, 0, 5, 3, 30, 0, 0, 0};  // enabled: every input starts from one cache

Bytes getRule() {
    const Bytes response = exactGet("password rule get", pw::kRecordSize + 1, QuorixGetUserPasswordRuleInterface);
    if (response[0] != 0) fail("password rule get answered 0x%X", response[0]);
    return dropCode(response);
}

void passwordRuleInit() {
    putEeprom(pw::kEepromOffset, kStartRule);
    g_session =
        std::make_unique<Session>(std::vector<Region>{}, std::vector<Region>{{pw::kEepromOffset, pw::kRecordSize}});
}

void passwordRule(const std::uint8_t *data, std::size_t size) {
    g_session->startInput();
    quorix_passwd_rule_got_flag = 0;
    if (getRule() != kStartRule) fail("password rule cache did not take the enabled EEPROM record");
    for (Bytes &req : splitRequests(data, size, 6)) {
        const Bytes stored = eeprom({pw::kEepromOffset, pw::kRecordSize});
        g_session->before();
        const unsigned cc =
            static_cast<unsigned>(QuorixSetUserPasswordRuleInterface(bytesOf(req), static_cast<int>(req.size())));
        g_session->after("password rule set", cc);
        expectCode("password rule set", cc, {0x00, 0xC7, 0xC9});
        // What the EEPROM holds after a write is what the get reports.
        const Bytes now = eeprom({pw::kEepromOffset, pw::kRecordSize});
        if (now != stored && getRule() != now) fail("password rule get differs from the record just stored");
    }
}

// ---- Power peak: the EEPROM delay; a request's first byte picks get (even) or set (odd) ----

constexpr std::uint16_t kStartDelay = 0x012C;  // 300 s

std::uint16_t currentDelay() {
    const Bytes r = exactGet("power peak get", 3,
                             [](unsigned char *b) { return QuorixGetPowerPeakConfigInterface(nullptr, 0, b); });
    if (r[0] != 0) fail("power peak get failed");
    return static_cast<std::uint16_t>(r[1] | (r[2] << 8));
}

void setDelay(std::uint16_t seconds) {
    unsigned char request[2] = {static_cast<unsigned char>(seconds), static_cast<unsigned char>(seconds >> 8)};
    if (exactGet("power peak set", 1,
                 [&](unsigned char *b) { return QuorixSetPowerPeakConfigInterface(request, 2, b); })[0])
        fail("power peak set of %u failed", seconds);
}

void powerPeakInit() {
    setDelay(kStartDelay);
    g_session =
        std::make_unique<Session>(std::vector<Region>{}, std::vector<Region>{{qrx::eeprom::kPowerPeakOffset, 2}});
}

void powerPeak(const std::uint8_t *data, std::size_t size) {
    g_session->startInput();
    if (currentDelay() != kStartDelay) setDelay(kStartDelay);
    for (Bytes &chunk : splitRequests(data, size, 6)) {
        if (chunk.empty()) continue;
        const bool isSet = chunk[0] & 1;
        Bytes req(chunk.begin() + 1, chunk.end()), response(isSet ? 1 : 3, 0);
        g_session->before();
        const int n =
            isSet ? QuorixSetPowerPeakConfigInterface(bytesOf(req), static_cast<int>(req.size()), response.data())
                  : QuorixGetPowerPeakConfigInterface(bytesOf(req), static_cast<int>(req.size()), response.data());
        g_session->after(isSet ? "power peak set" : "power peak get", response[0]);
        expectCode("power peak", response[0],
                   isSet ? std::vector<unsigned>{0x00, 0xC7, 0xCC} : std::vector<unsigned>{0x00, 0xC7});
        if (n != (response[0] == 0 && !isSet ? 3 : 1)) fail("power peak answered length %d", n);
        if (response[0] != 0) continue;
        const std::uint16_t delay = isSet ? static_cast<std::uint16_t>(req[0] | (req[1] << 8))
                                          : static_cast<std::uint16_t>(response[1] | (response[2] << 8));
        if (!isSet && delay > qrx::power::kPowerPeakMaxDelay)
            fail("power peak get reported more than the longest delay");
        if (isSet &&
            (eeprom({qrx::eeprom::kPowerPeakOffset, 2}) != Bytes{req[0], req[1]} || currentDelay() != delay))
            fail("power peak set of %u did not store it", delay);
    }
}

// ---- Task-table handlers: the low two bits of the first byte give the
// request length, the request follows, and the rest patches a cleared table
// three bytes at a time (task, offset within the record's first 256, value) ----

const unsigned char *taskRecord(int id) {
    return block() + upd::kTaskTableOffset + static_cast<std::size_t>(id) * upd::kTaskRecordSize;
}

int taskStatus(int id) {
    return taskRecord(id)[upd::task::kStatus];
}

struct TaskCall {
    Bytes request, response;
    int n;
};

template <typename Handler>
TaskCall callOverTaskTable(const std::uint8_t *data, std::size_t size, std::size_t responseSize, Handler handle) {
    const std::size_t length = std::min<std::size_t>(data[0] & 3, size - 1);
    TaskCall call{Bytes(data + 1, data + 1 + length), Bytes(responseSize, 0), 0};
    std::memset(block() + upd::kTaskTableOffset, 0, upd::kTaskCount * upd::kTaskRecordSize);
    for (std::size_t at = 1 + length; at + 3 <= size; at += 3)
        block()[upd::kTaskTableOffset + data[at] % upd::kTaskCount * upd::kTaskRecordSize + data[at + 1]] =
            data[at + 2];
    // The handlers refresh the progress estimate of CPLD and FPGA tasks (the
    // CPLD one also clears the start time of an ended task) and write nothing else.
    std::vector<Region> estimates;
    for (int id : {2, 3, 4, 7, 8, 9, 10, 14}) {
        const std::size_t base = upd::kTaskTableOffset + static_cast<std::size_t>(id) * upd::kTaskRecordSize;
        estimates.push_back({base + upd::task::kProgress, 1});
        if (id <= 4 || id == 10) estimates.push_back({base + upd::task::kStartTime, 4});
    }
    BlockWatch watch(estimates);
    watch.arm();
    call.n = handle(bytesOf(call.request), static_cast<int>(call.request.size()), call.response.data());
    watch.disarm("task handler");
    return call;
}

void expectAnswer(const TaskCall &c, unsigned cc) {
    if (c.n != 1 || c.response[0] != cc)
        fail("request of %zu bytes answered %d, 0x%X, not 0x%X", c.request.size(), c.n, c.response[0], cc);
}

void backgroundTask(const std::uint8_t *data, std::size_t size) {
    if (size == 0) return;
    const TaskCall c =
        callOverTaskTable(data, size, 2 + upd::kTaskCount * upd::kTaskRecordSize, QuorixBackgroundTaskOperaInterface);
    if (c.request.size() != 2) return expectAnswer(c, 0xC7);
    const int op = c.request[0], id = c.request[1];
    if (op > 1 || (id > upd::kMaxTaskId && (op == 1 || id != 255))) return expectAnswer(c, 0xCC);
    if (op == 1) return expectAnswer(c, taskStatus(id) != upd::kStatusWaiting ? 0xD5 : 0x00);
    std::vector<int> listed;
    for (int slot = 0; slot < upd::kTaskCount; ++slot)
        if (taskStatus(slot) != upd::kStatusNone && (id == 255 || id == slot)) listed.push_back(slot);
    if (listed.empty()) return expectAnswer(c, 0xFF);
    const int want = static_cast<int>(2 + listed.size() * upd::kTaskRecordSize);
    if (c.n != want || c.response[0] != 0 || c.response[1] != listed.size())
        fail("query of %d answered %d bytes, count %d; expected %d bytes, %zu tasks", id, c.n, c.response[1], want,
             listed.size());
    for (std::size_t i = 0; i < listed.size(); ++i)
        if (std::memcmp(&c.response[2 + i * upd::kTaskRecordSize], taskRecord(listed[i]), upd::kTaskRecordSize) != 0)
            fail("query of %d: record %zu is not task %d", id, i, listed[i]);
}

void updateInfo(const std::uint8_t *data, std::size_t size) {
    constexpr std::size_t kEntry = 38, kName = 1, kNameSize = 32, kStatus = 33;
    if (size == 0) return;
    const TaskCall c = callOverTaskTable(data, size, 572, QuorixGetUpdateInfoInterface);
    if (c.request.size() != 1) return expectAnswer(c, 0xC7);
    if (c.request[0] != 0) return expectAnswer(c, 0xCC);
    std::vector<int> listed;  // the first twelve tasks are reported
    for (int id = 0; id < 12; ++id)
        if (taskStatus(id) != upd::kStatusNone) listed.push_back(id);
    if (c.n != static_cast<int>(2 + listed.size() * kEntry) || c.response[0] != 0 || c.response[1] != listed.size())
        fail("report answered %d bytes, 0x%X, count %d for %zu tasks", c.n, c.response[0], c.response[1],
             listed.size());
    for (std::size_t i = 0; i < listed.size(); ++i) {
        const unsigned char *entry = &c.response[2 + i * kEntry], *task = taskRecord(listed[i]);
        if (entry[0] != task[upd::task::kId] || entry[kStatus] != task[upd::task::kStatus])
            fail("report entry %zu does not show task %d", i, listed[i]);
        if (entry[kName + kNameSize - 1] != 0) fail("report entry %zu name is not terminated", i);
    }
}

// ---- Console commands: the input is the NUL-terminated text ----

bool has(const char *text, const char *word) {
    return std::strstr(text, word) != nullptr;
}

// Any curve id may be named, so a curve command may write anywhere in the
// block, but never outside it; a command without a keyword writes nothing,
// and "pwmraise" writes only the raise byte.
void fanParam(const std::uint8_t *data, std::size_t size) {
    Bytes command(data, data + size);
    command.push_back(0);
    char *text = reinterpret_cast<char *>(command.data());
    if (has(text, "disable") || has(text, "enable") || has(text, "liner") || has(text, "bjpid")) {
        set_fan_param(text);
        return;
    }
    BlockWatch watch(has(text, "pwmraise") ? std::vector<Region>{{qrx::fancurve::kMissingFanRaiseOffset, 1}}
                                           : std::vector<Region>{});
    watch.arm();
    set_fan_param(text);
    watch.disarm("set_fan_param");
}

// SetDebugInformation writes the ten flag bytes only, when the text names one.
void debugInfo(const std::uint8_t *data, std::size_t size) {
    Bytes command(data, data + size);
    command.push_back(0);
    const Bytes copy = command;
    char *text = reinterpret_cast<char *>(command.data());
    BlockWatch watch({{0x621F7C, 10}});
    watch.arm();
    char *result = SetDebugInformation(text);
    const bool changed = watch.disarm("SetDebugInformation");
    if (result != text || command != copy) fail("SetDebugInformation did not return its text unchanged");
    bool named = false;
    for (int n = 0; n < 10; ++n) named = named || has(text, ("debug" + std::to_string(n) + "_").c_str());
    if (changed && !named) fail("SetDebugInformation changed a flag the text does not name");
}

// ---- Validators and word tables: a selector byte, a parameter byte, then
// the text. Every validator answers one of its defined results, the same one
// twice, and never writes its input; outputs get buffers of exactly the size
// they are told. ----

struct TextCheck {
    const char *name;
    int (*fn)(const char *);
    int valid, invalid;
};

const TextCheck kTextChecks[] = {
    {"QuorixIsValidIpv4", QuorixIsValidIpv4, 0, -1},
    {"QuorixIsValidIpv6", QuorixIsValidIpv6, 0, -1},
    {"QuorixIsValidDomain", QuorixIsValidDomain, 0, -1},
    {"QuorixIsValidPasswd", QuorixIsValidPasswd, 0, -1},
    {"Quorix_validate_email", [](const char *t) { return Quorix_validate_email(t); }, 1, 0},
    {"QuorixIsValidSenderAddress", [](const char *t) { return QuorixIsValidSenderAddress(t); }, 0, 1},
    {"FilterSensitiveWordsForSec", [](const char *t) { return FilterSensitiveWordsForSec(t); }, 0, 1},
    {"ValidateAUTHProtocol", [](const char *t) { return static_cast<int>(ValidateAUTHProtocol(t)); }, 0, 1},
    {"ValidatePrivProtocol", [](const char *t) { return static_cast<int>(ValidatePrivProtocol(t)); }, 0, 1},
    {"ValidateHostID", [](const char *t) { return static_cast<int>(ValidateHostID(t)); }, 0, 1},
};

unsigned (*const kWordToIndex[])(const char *, unsigned char *) = {
    ValidateEnableDisable,        ValidateEnableDisableLittleLetter, ValidateAutoManualLittleLetter,
    ValidateSnmpCfgType,          ValidateSnmpTrapVersion,           ValidateEventLevelStrToIndex,
    ValidateSyslogTagStrToIndex,  ValidateSyslogEnableStrToIndex,    ValidateSyslogProtocalStrToIndex,
    ValidateSyslogTypeStrToIndex, ValidateSyslogLevelStrToIndex,
};

unsigned (*const kIndexToWord[])(int, char *, unsigned) = {
    ValidateEnableDisableIndexToString, ValidateSnmpTrapIndexToString,     ValidateEventLevelLimitIndexToString,
    ValidateSyslogTagIndexToString,     ValidateSyslogEnableIndexToString, ValidateSyslogProtocalIndexToString,
    ValidateSyslogTypeIndexToString,    ValidateSyslogLevelIndexToString,
};

void validators(const std::uint8_t *data, std::size_t size) {
    if (size < 2) return;
    const unsigned selector = data[0], param = data[1];
    Bytes raw(data + 2, data + size), buffer = raw;
    buffer.push_back(0);
    const Bytes original = buffer;
    char *text = reinterpret_cast<char *>(buffer.data());
    const std::size_t texts = std::size(kTextChecks), words = std::size(kWordToIndex),
                      indexes = std::size(kIndexToWord);
    std::size_t pick = selector % (texts + words + indexes + 6);
    if (pick < texts) {
        const TextCheck &c = kTextChecks[pick];
        const int r = c.fn(text), again = c.fn(text);
        if ((r != c.valid && r != c.invalid) || r != again) fail("%s answered %d, then %d", c.name, r, again);
    } else if ((pick -= texts) < words) {
        unsigned char index = 0xA5;
        const unsigned r = kWordToIndex[pick](text, &index);
        // Not found leaves the index alone; found gives a position in a table of at most four words.
        if (r > 1 || (r == 1 && index != 0xA5) || (r == 0 && index > 3))
            fail("word-to-index %zu answered %u, index %u", pick, r, index);
    } else if ((pick -= words) < indexes) {
        const unsigned given = param % 40;
        auto dest = std::make_unique<char[]>(given);
        const unsigned r = kIndexToWord[pick](static_cast<signed char>(raw.empty() ? 0 : raw[0]), dest.get(), given);
        if (r > 1 || (r == 0 && given > 0 && std::memchr(dest.get(), 0, given) == nullptr))
            fail("index-to-word %zu answered %u, output terminated: %d", pick, r,
                 given > 0 && std::memchr(dest.get(), 0, given));
    } else if ((pick -= indexes) == 0) {
        const int r = VerifyStrIsDigit(text, param % 20);
        if (r != 0 && r != 1) fail("VerifyStrIsDigit answered %d", r);
    } else if (pick == 1) {
        // Empty input is passed as a null pointer, which is refused.
        const unsigned char *bytes = raw.empty() ? nullptr : raw.data();
        bool clean = bytes != nullptr;
        for (unsigned char c : raw) clean = clean && (c == 0 || (c >= 33 && c <= 126));
        if (ValidateSNMPTrapCfgInput(bytes, static_cast<int>(raw.size())) != (clean ? 0u : 1u))
            fail("ValidateSNMPTrapCfgInput answered %u", ValidateSNMPTrapCfgInput(bytes, static_cast<int>(raw.size())));
    } else if (pick == 2) {
        const int r = QuorixIsValidUserName(text, param, static_cast<int>(selector % 3));
        if (r != 0 && r != 1) fail("QuorixIsValidUserName answered %d", r);
    } else if (pick == 3) {
        int level = -7;
        if (QuorixIDLSeverity2SyslogLevel(text, &level) != 0 || (level != 1 && level != 2 && level != 4 && level != 6))
            fail("QuorixIDLSeverity2SyslogLevel gave %d", level);
    } else if (pick == 4) {
        const unsigned given = param % 24;
        auto dest = std::make_unique<char[]>(given);
        int severity = 0;
        if (!raw.empty()) std::memcpy(&severity, raw.data(), std::min(raw.size(), sizeof severity));
        const int r = QuorixSyslogLevel2IDLSeverity(severity, dest.get(), given);
        if (r != (given == 0 ? -1 : 0)) fail("QuorixSyslogLevel2IDLSeverity answered %d", r);
    } else {
        // The output holds 2 x length digits and the terminator behind them.
        const int length = static_cast<int>(raw.size()), capacity = static_cast<int>(param % 96);
        auto out = std::make_unique<char[]>(static_cast<std::size_t>(capacity) + 1);
        const int r = QuorixConvertHextoStr(raw.data(), out.get(), length, capacity);
        if (r != (capacity < 2 * length ? 1 : 0)) fail("QuorixConvertHextoStr answered %d", r);
    }
    if (buffer != original) fail("validator %u changed its input", selector);
}

struct Target {
    const char *name;
    void (*init)();
    void (*one)(const std::uint8_t *data, std::size_t size);
};

const Target kTargets[] = {
    {"syslog_set", serviceSetInit<0>, serviceSet<0>},
    {"snmp_trap_set", serviceSetInit<1>, serviceSet<1>},
    {"snmp_agent_set", serviceSetInit<2>, serviceSet<2>},
    {"smtp_set", serviceSetInit<3>, serviceSet<3>},
    {"syslog_conf_load", nullptr, serviceLoad<0>},
    {"snmp_trap_json", nullptr, serviceLoad<1>},
    {"snmp_agent_json", nullptr, serviceLoad<2>},
    {"smtp_json", nullptr, serviceLoad<3>},
    {"password_rule", passwordRuleInit, passwordRule},
    {"power_peak", powerPeakInit, powerPeak},
    {"background_task", nullptr, backgroundTask},
    {"update_info", nullptr, updateInfo},
    {"fan_param", nullptr, fanParam},
    {"debug_info", nullptr, debugInfo},
    {"validators", nullptr, validators},
};

const Target *g_target = nullptr;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***argv) {
    const std::string self = std::strrchr((*argv)[0], '/') != nullptr ? std::strrchr((*argv)[0], '/') + 1 : (*argv)[0];
    for (const Target &t : kTargets)
        if (self == std::string("fuzz_") + t.name) g_target = &t;
    if (g_target == nullptr) fail("%s names no fuzz target", self.c_str());
    bindOnce();
    if (g_target->init != nullptr) g_target->init();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    g_target->one(data, size);
    return 0;
}
