// quorixctl syslog, validate, md5: the remote syslog settings through the
// IPMI-style interface, the input validators and the file checksum.
#include <strings.h>
#include <sys/stat.h>

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

using cfgreq::completionCodeName;

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
    if (!args.empty()) return usageError("syslog get");
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

bool takeValue(const Args &args, std::size_t &i, std::string &value) {
    if (i + 1 >= args.size()) return false;
    value = args[++i];
    return true;
}

int setGlobals(const Args &args) {
    unsigned char cur[5] = {};
    if (QuorixGetSyslogConfigInterface(0, cur) != 5) return kExitFailed;
    std::vector<std::uint8_t> req = {0, cur[1], cur[2], cur[3], cur[4]};
    for (std::size_t i = 1; i < args.size(); ++i) {
        std::string v;
        const std::string &flag = args[i];
        if (!takeValue(args, i, v)) return usageError(flag + " needs a value");
        int index = -1;
        if (flag == "--syslog") {
            index = v == "on" ? sl::kSyslogEnabled : v == "off" ? sl::kSyslogDisabled : -1;
            if (index < 0) return usageError("--syslog on|off");
            req[1] = static_cast<std::uint8_t>(index);
        } else if (flag == "--tag" || flag == "--level" || flag == "--protocol") {
            const char *const *table = flag == "--tag"     ? SyslogTagStr
                                       : flag == "--level" ? SyslogLevelStr
                                                           : SyslogProtocalStr;
            const int count = flag == "--tag" ? 3 : 4;
            index = wordIndex(table, count, v);
            long raw;
            if (index < 0 && parseInt(v, raw) && raw >= 0 && raw <= 255) index = static_cast<int>(raw);
            if (index < 0) return usageError(flag + " " + wordList(table, count) + " or a number");
            req[flag == "--tag" ? 2 : flag == "--level" ? 3 : 4] = static_cast<std::uint8_t>(index);
        } else {
            return usageError("unknown flag " + flag);
        }
    }
    return sendRequest(req);
}

int setDestination(const Args &args) {
    long index;
    if (args.size() < 2 || !parseInt(args[1], index) || index < 0 || index > 255)
        return usageError("syslog set dest INDEX [--enable on|off] [--type WORD] [--host HOST] [--port N]");
    unsigned char cur[1 + sl::kDestCount * sl::kDestRecordSize] = {};
    if (QuorixGetSyslogConfigInterface(1, cur) != 213) return kExitFailed;
    // Fields not given keep the stored values of that destination.
    std::uint8_t enable = 0, type = 3;
    std::string host;
    std::uint32_t port = 514;
    if (index < static_cast<long>(sl::kDestCount)) {
        qrx::ByteView d(cur + 1 + index * sl::kDestRecordSize);
        enable = d.u8(sl::kDestEnable);
        type = d.u8(sl::kDestType);
        host = std::string(reinterpret_cast<const char *>(d.data() + sl::kDestHost),
                           strnlen(reinterpret_cast<const char *>(d.data() + sl::kDestHost), sl::kDestHostSize));
        port = d.u32(sl::kDestPort);
    }
    for (std::size_t i = 2; i < args.size(); ++i) {
        std::string v;
        const std::string &flag = args[i];
        if (!takeValue(args, i, v)) return usageError(flag + " needs a value");
        long long number;
        if (flag == "--enable") {
            if (v != "on" && v != "off") return usageError("--enable on|off");
            enable = v == "on" ? 1 : 0;
        } else if (flag == "--type") {
            int t = wordIndex(SyslogTypeStr, 4, v);
            if (t < 0 && parseInt(v, number) && number >= 0 && number <= 255) t = static_cast<int>(number);
            if (t < 0) return usageError("--type " + wordList(SyslogTypeStr, 4) + " or a number");
            type = static_cast<std::uint8_t>(t);
        } else if (flag == "--host") {
            if (v.size() > sl::kDestHostSize) return usageError("--host: at most 47 characters");
            host = v;
        } else if (flag == "--port") {
            if (!parseInt(v, number) || number < 0 || number > 0xFFFFFFFFLL) return usageError("--port N");
            port = static_cast<std::uint32_t>(number);
        } else {
            return usageError("unknown flag " + flag);
        }
    }
    std::vector<std::uint8_t> req = {1, static_cast<std::uint8_t>(index), enable, type};
    std::vector<std::uint8_t> hostBytes(sl::kDestHostSize, 0);
    std::memcpy(hostBytes.data(), host.data(), host.size());
    req.insert(req.end(), hostBytes.begin(), hostBytes.end());
    for (int shift : {24, 16, 8, 0}) req.push_back(static_cast<std::uint8_t>(port >> shift));  // MSB first
    return sendRequest(req);
}

int runSet(const Args &args) {
    const char *usage =
        "syslog set globals [--syslog on|off] [--tag W] [--level W] [--protocol W] | "
        "dest INDEX [--enable on|off] [--type W] [--host H] [--port N] | test INDEX";
    if (args.empty()) return usageError(usage);
    if (!bind()) return kExitUnbound;
    if (args[0] == "globals") return setGlobals(args);
    if (args[0] == "dest") return setDestination(args);
    if (args[0] == "test") {
        long index;
        if (args.size() != 2 || !parseInt(args[1], index) || index < 0 || index > 255) return usageError(usage);
        return sendRequest({2, static_cast<std::uint8_t>(index)});
    }
    return usageError(usage);
}

int runInit(const Args &args) {
    if (!args.empty()) return usageError("syslog init");
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
    const char *usage =
        "validate username NAME [--max N] [--mode user|smtp-user|smtp-host] | sender ADDR | email ADDR | "
        "ipv4 TEXT | ipv6 TEXT | domain NAME | password TEXT";
    if (args.size() < 2) return usageError(usage);
    const std::string &kind = args[0];
    const char *text = args[1].c_str();
    if (kind == "username") {
        long max = 16;
        int mode = 0;
        for (std::size_t i = 2; i < args.size(); ++i) {
            std::string v;
            const std::string &flag = args[i];
            if (!takeValue(args, i, v)) return usageError(flag + " needs a value");
            if (flag == "--max" && parseInt(v, max) && max >= 0 && max <= 4096) continue;
            if (flag == "--mode" && (v == "user" || v == "smtp-user" || v == "smtp-host")) {
                mode = v == "user" ? 0 : v == "smtp-user" ? 1 : 2;
                continue;
            }
            return usageError(usage);
        }
        int r = QuorixIsValidUserName(text, static_cast<unsigned>(max), mode);
        if (r != 0 && *text == '\0') std::printf("\n");  // the one message without a line end
        return verdict(r == 0);
    }
    if (args.size() != 2) return usageError(usage);
    if (kind == "sender") return verdict(QuorixIsValidSenderAddress(text) == 0);
    if (kind == "email") return verdict(Quorix_validate_email(text) == 1);
    if (kind == "ipv4") return verdict(QuorixIsValidIpv4(text) == 0);
    if (kind == "ipv6") return verdict(QuorixIsValidIpv6(text) == 0);
    if (kind == "domain") return verdict(QuorixIsValidDomain(text) == 0);
    if (kind == "password") return verdict(QuorixIsValidPasswd(text) == 0);
    return usageError(usage);
}

int runMd5(const Args &args) {
    long length = -1;
    if (args.empty() || (args.size() != 1 && args.size() != 3) ||
        (args.size() == 3 && (args[1] != "--length" || !parseInt(args[2], length) || length < 0)))
        return usageError("md5 FILE [--length N]");
    std::unique_ptr<FILE, int (*)(FILE *)> f(std::fopen(args[0].c_str(), "rb"), std::fclose);
    struct stat st {};
    if (!f || fstat(fileno(f.get()), &st) != 0) {
        std::perror(("quorixctl: " + args[0]).c_str());
        return kExitFailed;
    }
    if (length < 0) length = static_cast<long>(st.st_size);
    // The checksum reports nothing; a failed binding shows up here first.
    if (QuorixInitializeMd5library() != 0) {
        std::fprintf(stderr, "quorixctl: cannot bind MD5 from libcrypto\n");
        return kExitFailed;
    }
    QuorixCloseMd5Library();
    unsigned char digest[16] = {};
    QuorixCalcMD5Checksum(f.get(), static_cast<unsigned>(length), digest);
    char text[33] = {};
    QuorixConvertHextoStr(digest, text, 16, sizeof text);
    std::printf("%s  %s\n", text, args[0].c_str());
    return kExitOk;
}

}  // namespace

std::vector<Command> syslogCommands() {
    return {
        {"syslog", "get", "", "show the remote syslog settings and destinations", runGet},
        {"syslog", "set", "globals|dest N|test N [FLAGS]",
         "send one set request; prints the bytes and the completion code", runSet},
        {"syslog", "init", "", "reload the settings from /conf/syslog.conf (start-up parse)", runInit},
        {"validate", "", "KIND TEXT", "username, sender, email, ipv4, ipv6, domain or password check", runValidate},
        {"md5", "", "FILE [--length N]", "MD5 of a file through the library's libcrypto binding", runMd5},
    };
}

}  // namespace ctl
