// quorixctl snmp-trap, snmp-agent: show the SNMP trap and agent settings and
// set them through their IPMI-style requests.
#include <cstdio>
#include <cstring>
#include <string>

#include "command.h"
#include "config/snmp/snmp_agent_layout.h"
#include "config/snmp/snmp_trap_layout.h"
#include "config_request.h"
#include "core/byte_access.h"
#include "quorix_common_interface.h"

namespace ctl {
namespace {

using namespace cfgreq;
namespace st = qrx::config::snmptrap;
namespace sa = qrx::config::snmpagent;

unsigned sendTrap(const Bytes &r) {
    return QuorixSetBMCSnmpTrapCfgInterface(r.data(), static_cast<int>(r.size()));
}
unsigned sendAgent(const Bytes &r) {
    return QuorixSetBMCSnmpCfgInterface(r.data(), static_cast<int>(r.size()), nullptr, 0);
}

const char *word(const char *const *table, int count, unsigned index) {
    return index < static_cast<unsigned>(count) && table[index] != nullptr ? table[index] : "?";
}

int trapShow(const Args &args) {
    const bool reveal = secretsFlag(args);
    if (!bind()) return kExitUnbound;
    unsigned char r[st::kRecordSize] = {}, d[st::kDestBlockSize] = {};
    if (QuorixGetSnmpTrapCfgFromMem(r) != 0 || QuorixGetSnmpTrapDstCfg(d) != 0) return kExitFailed;
    const bool v3 = r[st::kVersion] == 3;
    std::printf("version:        %s\n", word(TrapVersionStr, 4, r[st::kVersion]));
    std::printf("event level:    %s\n", word(EventLevelStr, 3, r[st::kEventLevel]));
    std::printf("community:      %s\n", v3 ? "-" : secret(field(r + st::kCommunity, 17), reveal).c_str());
    std::printf("host ID:        %s\n", field(r + st::kHostId, 17).c_str());
    std::printf("user:           %s\n", field(r + st::kUserName, 17).c_str());
    std::printf("auth protocol:  %s\n", field(r + st::kAuthProtocol, 17).c_str());
    std::printf("auth pass:      %s\n", v3 ? secret(field(r + st::kAuthPassword, 21), reveal).c_str() : "-");
    std::printf("priv protocol:  %s\n", field(r + st::kPrivProtocol, 17).c_str());
    std::printf("priv pass:      %s\n", v3 ? secret(field(r + st::kPrivPassword, 21), reveal).c_str() : "-");
    std::printf("engine ID:      %s\n", field(r + st::kEngineId, 49).c_str());
    std::printf("device type:    %u\n", r[st::kDeviceType]);
    for (std::size_t i = 0; i < st::kDestCount; ++i) {
        qrx::ByteView e(d + i * st::kDestEntrySize);
        std::string address = field(e.data() + st::kDestAddress, st::kDestAddressSize);
        std::printf("dest %zu: %-8s %-46s port %u\n", i, e.u8(st::kDestEnabled) ? "enabled" : "disabled",
                    address.empty() ? "-" : address.c_str(), e.u32(st::kDestPort));
    }
    return kExitOk;
}

const std::vector<Flag> &trapFlags() {
    static const std::vector<Flag> flags = {
        {"--version", 0, Kind::Word, TrapVersionStr, 4}, {"--event-level", 1, Kind::Word, EventLevelStr, 3},
        {"--community", 2, Kind::Text, nullptr, 0},      {"--host-id", 3, Kind::Text, nullptr, 0},
        {"--user", 4, Kind::Text, nullptr, 0},           {"--auth-protocol", 5, Kind::Text, nullptr, 0},
        {"--auth-pass", 6, Kind::Text, nullptr, 0},      {"--priv-protocol", 7, Kind::Text, nullptr, 0},
        {"--priv-pass", 8, Kind::Text, nullptr, 0},      {"--engine-id", 9, Kind::Text, nullptr, 0},
        {"--device-type", 10, Kind::Byte, nullptr, 0}};
    return flags;
}

int trapSet(const Args &args) {
    return runFlags(args, 0, trapFlags(), {0}, sendTrap);
}

int trapDest(const Args &args) {
    static const std::vector<Flag> flags = {{"--enabled", 0, Kind::OnOff, nullptr, 0},
                                            {"--address", 1, Kind::Text, nullptr, 0},
                                            {"--port", 2, Kind::PortBe32, nullptr, 0}};
    if (args.empty() || args[0].rfind("--", 0) == 0) throw UsageError("missing INDEX");
    return runFlags(args, 1, flags, {1, entryIndex(args[0])}, sendTrap);
}

int trapTest(const Args &args) {
    expectArgs(args, 1, 1);
    const std::uint8_t index = entryIndex(args[0]);
    if (!bind()) return kExitUnbound;
    return send(sendTrap, {2, index});
}

int trapRaw(const Args &args) {
    return runRaw(args, sendTrap);
}

int agentShow(const Args &args) {
    const bool reveal = secretsFlag(args);
    if (!bind()) return kExitUnbound;
    unsigned char r[sa::kRecordSize] = {};
    if (QuorixGetSnmpCfgFromMem(r) != 0) return kExitFailed;
    auto clear = [&](std::size_t offset, std::size_t size, int width) {
        unsigned char work[32] = {};
        std::memcpy(work, r + offset, size);
        if (work[0] != 0) QuorixPwDecrypt(work, width);
        return secret(field(work, size - 1), reveal);
    };
    std::printf("SNMPv1:          %s\n", r[sa::kV1Enable] ? "enabled" : "disabled");
    std::printf("SNMPv2c:         %s\n", r[sa::kV2Enable] ? "enabled" : "disabled");
    std::printf("ro community:    %s\n", clear(sa::kReadOnlyCommunity, sa::kCommunitySize, 16).c_str());
    std::printf("rw community:    %s\n", clear(sa::kReadWriteCommunity, sa::kCommunitySize, 16).c_str());
    std::printf("v1/v2c set:      %s\n", r[sa::kV1V2SetEnable] ? "allowed" : "refused");
    std::printf("SNMPv3:          %s\n", r[sa::kV3Enable] ? "enabled" : "disabled");
    std::printf("auth protocol:   %s\n", word(AuthProtocols, 3, r[sa::kAuthProtocol]));
    std::printf("priv protocol:   %s\n", word(PrivProtocols, 3, r[sa::kPrivProtocol]));
    std::printf("user:            %s\n", field(r + sa::kUserName, 17).c_str());
    std::printf("auth pass:       %s\n", clear(sa::kAuthPassword, sa::kPassSize, 24).c_str());
    std::printf("priv pass:       %s\n", clear(sa::kPrivPassword, sa::kPassSize, 24).c_str());
    return kExitOk;
}

int agentSet(const Args &args) {
    static const std::vector<Flag> flags = {{"--v1", 0, Kind::OnOff, nullptr, 0},
                                            {"--v2c", 1, Kind::OnOff, nullptr, 0},
                                            {"--ro-community", 2, Kind::Text, nullptr, 0},
                                            {"--rw-community", 3, Kind::Text, nullptr, 0},
                                            {"--v1v2-set", 4, Kind::OnOff, nullptr, 0},
                                            {"--v3", 5, Kind::OnOff, nullptr, 0},
                                            {"--auth-protocol", 6, Kind::Word, AuthProtocols, 3},
                                            {"--priv-protocol", 7, Kind::Word, PrivProtocols, 3},
                                            {"--user", 8, Kind::Text, nullptr, 0},
                                            {"--auth-pass", 9, Kind::Text, nullptr, 0},
                                            {"--priv-pass", 10, Kind::Text, nullptr, 0}};
    return runFlags(args, 0, flags, {}, sendAgent);
}

int agentRestart(const Args &args) {
    expectArgs(args, 0, 0);
    if (!bind()) return kExitUnbound;
    return send(sendAgent, {255});
}

int agentRaw(const Args &args) {
    return runRaw(args, sendAgent);
}

}  // namespace

std::vector<Command> snmpCommands() {
    return {
        {"snmp-trap", "show", "[--secrets]", "show the trap settings and destinations (secrets masked)", trapShow},
        {"snmp-trap", "set",
         "[--version Disable|V1|V2C|V3] [--event-level Info|Warning|Critical] [--community C] [--host-id H] "
         "[--user U] [--auth-protocol P] [--auth-pass P] [--priv-protocol P] [--priv-pass P] [--engine-id HEX] "
         "[--device-type N]",
         "set trap parameters, one request each", trapSet},
        {"snmp-trap", "dest", "INDEX [--enabled on|off] [--address A] [--port N]", "set a trap destination", trapDest},
        {"snmp-trap", "test", "INDEX", "ask the log service for a test trap to a destination", trapTest},
        {"snmp-trap", "raw", "HEXBYTES", "send request bytes to the trap set handler", trapRaw},
        {"snmp-agent", "show", "[--secrets]", "show the agent settings (secrets masked)", agentShow},
        {"snmp-agent", "set",
         "[--v1 on|off] [--v2c on|off] [--ro-community C] [--rw-community C] [--v1v2-set on|off] [--v3 on|off] "
         "[--auth-protocol SHA|MD5] [--priv-protocol AES|DES] [--user U] [--auth-pass P] [--priv-pass P]",
         "set agent parameters, one request each", agentSet},
        {"snmp-agent", "restart", "", "restart the SNMP agent", agentRestart},
        {"snmp-agent", "raw", "HEXBYTES", "send request bytes to the agent set handler", agentRaw},
    };
}

}  // namespace ctl
