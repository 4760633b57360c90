// quorixctl syslog, validate, md5: the remote syslog settings through the
// IPMI-style interface, the input validators and the file checksum.
#include <strings.h>
#include <sys/stat.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "command.h"
#include "config_request.h"
#include "config/syslog/syslog_layout.h"
#include "quorix_common_interface.h"

namespace ctl {
namespace {

namespace sl = qrx::config::syslog;

// A word of a library word table, any letter case; -1 when unknown.
int wordIndex(const char *const *table, int count, const std::string &word) {
    for (int i = 0; i < count; ++i)
        if (table[i] != nullptr && strcasecmp(table[i], word.c_str()) == 0) return i;
    return -1;
}

std::string wordList(const char *const *table, int count) {
    std::string list;
    for (int i = 0; i < count; ++i) list += std::string(i ? "|" : "") + "\"" + table[i] + "\"";
    return list;
}

const char *wordAt(const char *const *table, int count, unsigned index) {
    return index < static_cast<unsigned>(count) && table[index] != nullptr ? table[index] : "?";
}

int sendRequest(const std::vector<std::uint8_t> &request) {
    std::printf("request:");
    for (std::uint8_t b : request) std::printf(" %02x", b);
    std::printf("\n");
    unsigned cc = QuorixSetSyslogConfigInterface(request.data(), static_cast<int>(request.size()));
    std::printf("completion code 0x%02X (%s)\n", cc, completionCodeName(cc));
    return cc == 0 ? kExitOk : kExitFailed;
}

int runGet(const Args &args) {
    expectArgs(args, 0, 0);
    if (!bind()) return kExitUnbound;
    unsigned char res[1 + sl::kDestCount * sl::kDestRecordSize] = {};
    if (QuorixGetSyslogConfigInterface(0, res) != 5) return kExitFailed;
    std::printf("remote syslog: %s\n", res[1] == sl::kSyslogEnabled ? "enabled" : res[1] == 1 ? "disabled" : "?");
    std::printf("tag:           %s\n", wordAt(SyslogTagStr, 3, res[2]));
    std::printf("level:         %s\n", wordAt(SyslogLevelStr, 4, res[3]));
    std::printf("protocol:      %s\n", wordAt(SyslogProtocalStr, 4, res[4]));
    char tag[32] = {};
    if (QuorixGetSyslogTag(tag, sizeof tag) == 0) std::printf("tag text:      %s\n", tag);
    if (QuorixGetSyslogConfigInterface(1, res) != 213) return kExitFailed;
    for (std::size_t i = 0; i < sl::kDestCount; ++i) {
        qrx::ByteView d(res + 1 + i * sl::kDestRecordSize);
        char host[sl::kDestHostSize + 1] = {};
        d.copyOut(sl::kDestHost, host, sl::kDestHostSize);
        std::printf("dest %zu: %-8s type %-12s host %-24s port %u\n", i, d.u8(sl::kDestEnable) ? "enabled" : "disabled",
                    wordAt(SyslogTypeStr, 4, d.u8(sl::kDestType)), *host ? host : "-", d.u32(sl::kDestPort));
    }
    return kExitOk;
}

// A word of the table or its index.
std::uint8_t wordOrIndex(const char *const *table, int count, const std::string &flag, const std::string &v) {
    const int index = wordIndex(table, count, v);
    if (index >= 0) return static_cast<std::uint8_t>(index);
    if (v.empty() || !std::isdigit(static_cast<unsigned char>(v[0])))
        throw UsageError(flag + " '" + v + "' is not one of " + wordList(table, count) + " (or 0.." +
                         std::to_string(count - 1) + ")");
    return static_cast<std::uint8_t>(number(v, flag, 0, count - 1));
}

std::uint8_t onOff(const std::string &flag, const std::string &v) {
    if (v != "on" && v != "off") throw UsageError(flag + " '" + v + "' is not on or off");
    return v == "on" ? 1 : 0;
}

int setGlobals(const Args &args) {
    const Parsed parsed =
        parseOptions(Args(args.begin() + 1, args.end()), {{"enabled", true}, {"tag", true}, {"level", true}, {"protocol", true}});
    expectArgs(parsed.positional, 0, 0);
    if (parsed.options.empty()) throw UsageError("nothing to set");
    std::uint8_t values[4] = {};
    for (const auto &o : parsed.options) {
        if (o.first == "enabled") values[0] = onOff("--enabled", o.second) ? sl::kSyslogEnabled : sl::kSyslogDisabled;
        if (o.first == "tag") values[1] = wordOrIndex(SyslogTagStr, 3, "--tag", o.second);
        if (o.first == "level") values[2] = wordOrIndex(SyslogLevelStr, 4, "--level", o.second);
        if (o.first == "protocol") values[3] = wordOrIndex(SyslogProtocalStr, 4, "--protocol", o.second);
    }
    if (!bind()) return kExitUnbound;
    unsigned char cur[5] = {};
    if (QuorixGetSyslogConfigInterface(0, cur) != 5) return kExitFailed;
    std::vector<std::uint8_t> req = {0, cur[1], cur[2], cur[3], cur[4]};
    static const char *kNames[] = {"enabled", "tag", "level", "protocol"};
    for (int i = 0; i < 4; ++i)
        if (parsed.has(kNames[i])) req[static_cast<std::size_t>(i) + 1] = values[i];
    return sendRequest(req);
}

int setDestination(const Args &args) {
    const Parsed parsed = parseOptions(Args(args.begin() + 1, args.end()),
                                       {{"enabled", true}, {"type", true}, {"host", true}, {"port", true}});
    expectArgs(parsed.positional, 1, 1);
    const long long index = number(parsed.positional[0], "index", 0, static_cast<long long>(sl::kDestCount) - 1);
    std::uint8_t enable = 0, type = 3;
    std::string host;
    std::uint32_t port = 514;
    for (const auto &o : parsed.options) {
        if (o.first == "enabled") enable = onOff("--enabled", o.second);
        if (o.first == "type") type = wordOrIndex(SyslogTypeStr, 4, "--type", o.second);
        if (o.first == "host" && o.second.size() > sl::kDestHostSize)
            throw UsageError("--host: at most " + std::to_string(sl::kDestHostSize) + " characters");
        if (o.first == "host") host = o.second;
        if (o.first == "port") port = static_cast<std::uint32_t>(number(o.second, "--port", 0, 0xFFFF));
    }
    if (!bind()) return kExitUnbound;
    unsigned char cur[1 + sl::kDestCount * sl::kDestRecordSize] = {};
    if (QuorixGetSyslogConfigInterface(1, cur) != 213) return kExitFailed;
    // Fields not given keep the stored values of that destination.
    qrx::ByteView d(cur + 1 + index * sl::kDestRecordSize);
    if (!parsed.has("enabled")) enable = d.u8(sl::kDestEnable);
    if (!parsed.has("type")) type = d.u8(sl::kDestType);
    if (!parsed.has("host"))
        host = std::string(reinterpret_cast<const char *>(d.data() + sl::kDestHost),
                           strnlen(reinterpret_cast<const char *>(d.data() + sl::kDestHost), sl::kDestHostSize));
    if (!parsed.has("port")) port = d.u32(sl::kDestPort);
    std::vector<std::uint8_t> req = {1, static_cast<std::uint8_t>(index), enable, type};
    std::vector<std::uint8_t> hostBytes(sl::kDestHostSize, 0);
    std::memcpy(hostBytes.data(), host.data(), host.size());
    req.insert(req.end(), hostBytes.begin(), hostBytes.end());
    for (int shift : {24, 16, 8, 0}) req.push_back(static_cast<std::uint8_t>(port >> shift));  // MSB first
    return sendRequest(req);
}

int runSet(const Args &args) {
    if (args.empty()) throw UsageError("expects globals, dest or test");
    if (args[0] == "globals") return setGlobals(args);
    if (args[0] == "dest") return setDestination(args);
    if (args[0] == "test") {
        expectArgs(args, 2, 2);
        const long long index = number(args[1], "index", 0, static_cast<long long>(sl::kDestCount) - 1);
        if (!bind()) return kExitUnbound;
        return sendRequest({2, static_cast<std::uint8_t>(index)});
    }
    throw UsageError("'" + args[0] + "' is not globals, dest or test");
}

int runInit(const Args &args) {
    expectArgs(args, 0, 0);
    if (!bind()) return kExitUnbound;
    unsigned result = QuorixSyslogConfigInit();
    std::printf("%s\n", result == 0 ? "loaded /conf/syslog.conf" : "no /conf/syslog.conf: defaults");
    return kExitOk;
}

int verdict(bool valid) {
    std::printf("%s\n", valid ? "valid" : "invalid");
    return valid ? kExitOk : kExitFailed;
}

int runValidate(const Args &args) {
    const Parsed parsed = parseOptions(args, {{"max", true}, {"mode", true}});
    expectArgs(parsed.positional, 2, 2);
    const std::string &kind = parsed.positional[0];
    const char *text = parsed.positional[1].c_str();
    if (kind != "username" && !parsed.options.empty()) throw UsageError("--max and --mode belong to username");
    if (kind == "username") {
        const long long max = number(parsed.value("max", "16"), "--max", 0, 4096);
        const std::string modeWord = parsed.value("mode", "user");
        if (modeWord != "user" && modeWord != "smtp-user" && modeWord != "smtp-host")
            throw UsageError("--mode '" + modeWord + "' is not user, smtp-user or smtp-host");
        const int mode = modeWord == "user" ? 0 : modeWord == "smtp-user" ? 1 : 2;
        int r = QuorixIsValidUserName(text, static_cast<unsigned>(max), mode);
        if (r != 0 && *text == '\0') std::printf("\n");  // the one message without a line end
        return verdict(r == 0);
    }
    if (kind == "sender") return verdict(QuorixIsValidSenderAddress(text) == 0);
    if (kind == "email") return verdict(Quorix_validate_email(text) == 1);
    if (kind == "ipv4") return verdict(QuorixIsValidIpv4(text) == 0);
    if (kind == "ipv6") return verdict(QuorixIsValidIpv6(text) == 0);
    if (kind == "domain") return verdict(QuorixIsValidDomain(text) == 0);
    if (kind == "password") return verdict(QuorixIsValidPasswd(text) == 0);
    throw UsageError("'" + kind + "' is not username, sender, email, ipv4, ipv6, domain or password");
}

int runMd5(const Args &args) {
    const Parsed parsed = parseOptions(args, {{"length", true}});
    expectArgs(parsed.positional, 1, 1);
    const std::string &path = parsed.positional[0];
    long long length = parsed.has("length") ? number(parsed.value("length"), "--length", 0, UINT32_MAX) : -1;
    std::unique_ptr<FILE, int (*)(FILE *)> f(std::fopen(readableFile(path).c_str(), "rb"), std::fclose);
    struct stat st {};
    if (!f || fstat(fileno(f.get()), &st) != 0) throw EnvError(path + ": " + std::strerror(errno));
    if (length < 0) length = static_cast<long long>(st.st_size);
    // The checksum reports nothing; a failed binding shows up here first.
    if (QuorixInitializeMd5library() != 0) {
        std::fprintf(stderr, "quorixctl: cannot bind MD5 from libcrypto\n");
        return kExitUnbound;
    }
    QuorixCloseMd5Library();
    unsigned char digest[16] = {};
    QuorixCalcMD5Checksum(f.get(), static_cast<unsigned>(length), digest);
    char text[33] = {};
    QuorixConvertHextoStr(digest, text, 16, sizeof text);
    std::printf("%s  %s\n", text, path.c_str());
    return kExitOk;
}

}  // namespace

std::vector<Command> syslogCommands() {
    return {
        {"syslog", "get", "", "show the remote syslog settings and destinations", runGet},
        {"syslog", "set",
         "globals [--enabled on|off] [--tag W] [--level W] [--protocol W] | dest INDEX [--enabled on|off] "
         "[--type W] [--host H] [--port N] | test INDEX",
         "send one set request; prints the bytes and the completion code", runSet,
         "INDEX is 0..3. Words: --tag HostName|SerialNumber|PartNumber, --level Info|Warning|Critical|Alert, "
         "--protocol UDP|TCP|TLSOneWay|TLSTwoWay, --type None|Idl|Audit|Idl+Audit (any letter case, or the "
         "word's index). Fields not given keep their stored values."},
        {"syslog", "init", "", "reload the settings from /conf/syslog.conf (start-up parse)", runInit},
        {"validate", "", "KIND TEXT [--max N] [--mode user|smtp-user|smtp-host]",
         "username, sender, email, ipv4, ipv6, domain or password check", runValidate,
         "--max (default 16) and --mode (default user) belong to the username check."},
        {"md5", "", "FILE [--length N]", "MD5 of a file through the library's libcrypto binding", runMd5},
    };
}

}  // namespace ctl
