// The fuzz targets, one row of kTargets each: every executable links the same
// code and runs the row its own name gives (fuzz_<target>). The services with
// a configuration file differ only in a row of kServices.
#include <cstring>
#include <iterator>
#include <memory>
#include <regex>
#include <string>

#include "config/password_rule/password_rule_layout.h"
#include "config/smtp/smtp_layout.h"
#include "config/snmp/snmp_agent_layout.h"
#include "config/snmp/snmp_trap_layout.h"
#include "config/syslog/syslog_layout.h"
#include "core/eeprom_map.h"
#include "fan/fan_curve_layout.h"
#include "harness.h"
#include "power/power_layout.h"
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
    std::size_t entries, entrySize;                  // the list's records
    std::vector<TextField> entryTexts;               // and their fields a load leaves terminated
    std::size_t notSaved;                            // a byte of `owned` the file drops; SIZE_MAX: none
    std::vector<unsigned> codes;                     // completion codes of the set handler
    // The set request, between session.before() and after(); notes the
    // secrets an accepted request stored and the regions a refusal may still change.
    unsigned (*set)(Bytes &request, Session &session);
};

unsigned char *engineId() { return block() + st::kRecordOffset + st::kEngineId; }
int length(const Bytes &req) { return static_cast<int>(req.size()); }

// Each service's set: `s.before()`, the call, `s.after()`, then the secrets it stored.
template <typename Call>
unsigned around(Session &s, const char *what, Call call) {
    s.before();
    const unsigned cc = call();
    s.after(what, cc);
    return cc;
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

// The gets into buffers of exactly their size, completion code dropped; the
// syslog switch and tag, and the record read in clear, must read back too.
void readBack(const Service &v, Bytes &record, Bytes &list) {
    record = exactGet(v.what, v.recordSize + 1, [&](unsigned char *b) { return v.get(0, b); });
    list = exactGet(v.what, v.listSize + 1, [&](unsigned char *b) { return v.listSize ? v.get(1, b) : 1; });
    record.erase(record.begin());
    list.erase(list.begin());
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

// Request sequences: each request is checked against the refusal rules, its
// completion codes, the gets and the secrets it stored.
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

// The input is the file: the loader writes only its region, never the file,
// leaves its text fields terminated, and what it stored survives a save and
// a second load.
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

// ---- EEPROM records: the password rule (get reports what was stored) and
// the power peak delay (a request's first byte picks get, even, or set, odd) ----

namespace pw = qrx::pwrule;
const Bytes kStartRule = {1, 12, 1, 0x0F, 90, 0, 5, 3, 30, 0, 0, 0};  // enabled: every input starts from one cache

Bytes getRule() {
    const Bytes response = exactGet("password rule get", pw::kRecordSize + 1, QuorixGetUserPasswordRuleInterface);
    if (response[0] != 0) fail("password rule get answered 0x%X", response[0]);
    return Bytes(response.begin() + 1, response.end());
}

void passwordRuleInit() {
    putEeprom(pw::kEepromOffset, kStartRule);
    g_session = std::make_unique<Session>(std::vector<Region>{}, std::vector<Region>{{pw::kEepromOffset, pw::kRecordSize}});
}

void passwordRule(const std::uint8_t *data, std::size_t size) {
    g_session->startInput();
    quorix_passwd_rule_got_flag = 0;
    if (getRule() != kStartRule) fail("password rule cache did not take the enabled EEPROM record");
    for (Bytes &req : splitRequests(data, size, 6)) {
        const Bytes stored = eeprom({pw::kEepromOffset, pw::kRecordSize});
        g_session->before();
        const unsigned cc = static_cast<unsigned>(QuorixSetUserPasswordRuleInterface(bytesOf(req), int(req.size())));
        g_session->after("password rule set", cc);
        expectCode("password rule set", cc, {0x00, 0xC7, 0xC9});
        const Bytes now = eeprom({pw::kEepromOffset, pw::kRecordSize});
        if (now != stored && getRule() != now) fail("password rule get differs from the record just stored");
    }
}

Bytes powerPeak(bool set, Bytes req, int *n) {
    Bytes response(set ? 1 : 3, 0);
    *n = set ? QuorixSetPowerPeakConfigInterface(bytesOf(req), int(req.size()), response.data())
             : QuorixGetPowerPeakConfigInterface(bytesOf(req), int(req.size()), response.data());
    return response;
}

void powerPeakInit() {
    int n = 0;
    if (powerPeak(true, {0x2C, 0x01}, &n) != Bytes{0}) fail("power peak set of 300 s failed");
    g_session = std::make_unique<Session>(std::vector<Region>{}, std::vector<Region>{{qrx::eeprom::kPowerPeakOffset, 2}});
}

void powerPeak(const std::uint8_t *data, std::size_t size) {
    g_session->startInput();
    int n = 0;
    for (Bytes &chunk : splitRequests(data, size, 6)) {
        if (chunk.empty()) continue;
        const bool set = chunk[0] & 1;
        g_session->before();
        const Bytes r = powerPeak(set, Bytes(chunk.begin() + 1, chunk.end()), &n);
        g_session->after("power peak", r[0]);
        expectCode("power peak", r[0], set ? std::vector<unsigned>{0x00, 0xC7, 0xCC} : std::vector<unsigned>{0x00, 0xC7});
        if (n != (r[0] == 0 && !set ? 3 : 1)) fail("power peak answered length %d", n);
        if (r[0] == 0 && !set && (r[1] | r[2] << 8) > qrx::power::kPowerPeakMaxDelay) fail("delay above the longest");
        const Bytes stored = eeprom({qrx::eeprom::kPowerPeakOffset, 2});
        if (r[0] == 0 && set && (chunk.size() < 3 || stored != Bytes(chunk.begin() + 1, chunk.begin() + 3) || powerPeak(false, {}, &n) != Bytes{0, stored[0], stored[1]}))
            fail("power peak set did not store its delay");
    }
}

// ---- Task-table handlers: the low two bits of the first byte give the
// request length, the request follows, and the rest patches a cleared table
// three bytes at a time (task, offset within the record's first 256, value).
// A refusal is one byte; a report lists the tasks in use in id order ----

const unsigned char *taskRecord(int id) { return block() + upd::kTaskTableOffset + std::size_t(id) * upd::kTaskRecordSize; }

template <typename Handler>
void taskHandler(const std::uint8_t *data, std::size_t size, std::size_t entry, int lastListed, Handler handle,
                 std::vector<unsigned> codes) {
    if (size == 0) return;
    Bytes request(data + 1, data + 1 + std::min<std::size_t>(data[0] & 3, size - 1)), response(2 + 15 * entry, 0);
    std::memset(block() + upd::kTaskTableOffset, 0, upd::kTaskCount * upd::kTaskRecordSize);
    for (std::size_t at = 1 + request.size(); at + 3 <= size; at += 3)
        block()[upd::kTaskTableOffset + data[at] % upd::kTaskCount * upd::kTaskRecordSize + data[at + 1]] = data[at + 2];
    // The handlers refresh the progress estimate of CPLD and FPGA tasks (the
    // CPLD one also clears the start time of an ended task) and write nothing else.
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

// ---- Console commands, the input is the text: any curve id may be named,
// so a curve command may write anywhere in the block, but never outside it;
// other commands write only the raise byte ("pwmraise") or nothing. The debug
// flag setter writes only the flag a text names and returns the text unchanged ----

void fanParam(const std::uint8_t *data, std::size_t size) {
    std::string text(reinterpret_cast<const char *>(data), size);
    if (std::regex_search(text, std::regex("disable|enable|liner|bjpid"))) return (void)set_fan_param(text.data());
    BlockWatch watch({{qrx::fancurve::kMissingFanRaiseOffset, text.find("pwmraise") != std::string::npos ? 1u : 0u}});
    watch.arm();
    set_fan_param(text.data());
    watch.disarm("set_fan_param");
}

void debugInfo(const std::uint8_t *data, std::size_t size) {
    std::string text(reinterpret_cast<const char *>(data), size);
    const std::string copy = text;
    BlockWatch watch({{0x621F7C, 10}});
    watch.arm();
    const char *result = SetDebugInformation(text.data());
    if (!watch.disarm("SetDebugInformation").empty() && !std::regex_search(text, std::regex("debug[0-9]_")))
        fail("a flag changed that the text does not name");
    if (result != text.data() || text != copy) fail("SetDebugInformation did not return its text unchanged");
}

// ---- Validators and word tables: a selector byte, a parameter byte, then the
// text. Each answers one of its defined results, the same one twice, never
// writes its input, and fills only output buffers of the size it is told ----

const struct {
    int (*fn)(const char *);
    int valid, invalid;
} kTextChecks[] = {
    {QuorixIsValidIpv4, 0, -1}, {QuorixIsValidIpv6, 0, -1}, {QuorixIsValidDomain, 0, -1}, {QuorixIsValidPasswd, 0, -1},
    {[](const char *t) { return Quorix_validate_email(t); }, 1, 0},
    {[](const char *t) { return QuorixIsValidSenderAddress(t); }, 0, 1},
    {[](const char *t) { return FilterSensitiveWordsForSec(t); }, 0, 1},
    {[](const char *t) { return int(ValidateAUTHProtocol(t)); }, 0, 1},
    {[](const char *t) { return int(ValidatePrivProtocol(t)); }, 0, 1},
    {[](const char *t) { return int(ValidateHostID(t)); }, 0, 1},
    {[](const char *t) { return VerifyStrIsDigit(t, 16); }, 1, 0},
    {[](const char *t) { return QuorixIsValidUserName(t, 16, 1); }, 1, 0},
    {[](const char *t) { return int(ValidateSNMPTrapCfgInput(reinterpret_cast<const unsigned char *>(t), int(strlen(t)))); }, 0, 1}};
unsigned (*const kWordToIndex[])(const char *, unsigned char *) = {
    ValidateEnableDisable,        ValidateEnableDisableLittleLetter, ValidateAutoManualLittleLetter,
    ValidateSnmpCfgType,          ValidateSnmpTrapVersion,           ValidateEventLevelStrToIndex,
    ValidateSyslogTagStrToIndex,  ValidateSyslogEnableStrToIndex,    ValidateSyslogProtocalStrToIndex,
    ValidateSyslogTypeStrToIndex, ValidateSyslogLevelStrToIndex};
unsigned (*const kIndexToWord[])(int, char *, unsigned) = {
    ValidateEnableDisableIndexToString, ValidateSnmpTrapIndexToString,     ValidateEventLevelLimitIndexToString,
    ValidateSyslogTagIndexToString,     ValidateSyslogEnableIndexToString, ValidateSyslogProtocalIndexToString,
    ValidateSyslogTypeIndexToString,    ValidateSyslogLevelIndexToString};

void validators(const std::uint8_t *data, std::size_t size) {
    if (size < 2) return;
    const std::string original(data + 2, data + size);
    std::string text = original;
    const std::size_t texts = std::size(kTextChecks), words = std::size(kWordToIndex), given = data[1] % 96;
    const std::size_t pick = data[0] % (texts + words + std::size(kIndexToWord) + 1);
    auto out = std::make_unique<char[]>(given + 1);  // one more for the digits' terminator
    if (pick < texts) {
        const int r = kTextChecks[pick].fn(text.c_str()), again = kTextChecks[pick].fn(text.c_str());
        if ((r != kTextChecks[pick].valid && r != kTextChecks[pick].invalid) || r != again)
            fail("text check %zu answered %d, then %d", pick, r, again);
    } else if (pick < texts + words) {
        unsigned char index = 0xA5;  // not found leaves it alone; found gives a position in a table of at most four
        const unsigned r = kWordToIndex[pick - texts](text.c_str(), &index);
        if (r > 1 || (r == 1 && index != 0xA5) || (r == 0 && index > 3)) fail("word table %zu answered %u, %u", pick, r, index);
    } else if (pick < texts + words + std::size(kIndexToWord)) {
        const unsigned r = kIndexToWord[pick - texts - words](static_cast<signed char>(text[0]), out.get(), unsigned(given));
        if (r > 1 || (r == 0 && given > 0 && std::memchr(out.get(), 0, given) == nullptr)) fail("index table answered %u", r);
    } else {  // 2 x length digits and their terminator need that room
        const int length = int(text.size()), capacity = int(given);
        if (QuorixConvertHextoStr(reinterpret_cast<unsigned char *>(text.data()), out.get(), length, capacity) != (capacity < 2 * length))
            fail("QuorixConvertHextoStr misjudged its room");
    }
    if (text != original) fail("validator %u changed its input", data[0]);
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
    {"password_rule", passwordRuleInit, passwordRule}, {"power_peak", powerPeakInit, powerPeak},
    {"background_task", nullptr, backgroundTask},      {"update_info", nullptr, updateInfo},
    {"fan_param", nullptr, fanParam},                  {"debug_info", nullptr, debugInfo},
    {"validators", nullptr, validators}};
const Target *g_target = nullptr;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***argv) {
    const std::string self = fs::path((*argv)[0]).filename();
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
