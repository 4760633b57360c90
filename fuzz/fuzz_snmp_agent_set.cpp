// SNMP agent set interface: request sequences against the agent record and
// "/conf/SnmpAgentCfg.json". Each request's first byte is its save flag.
#include "config/snmp/snmp_agent_layout.h"
#include "fuzz_support.h"
#include "quorix_common_interface.h"

namespace sa = qrx::config::snmpagent;

namespace {

constexpr std::size_t kTextMax = 16;
constexpr std::size_t kPassMax = 20;

qfuzz::Session &session() {
    static qfuzz::Session s({{sa::kRecordOffset, sa::kRecordSize}});
    return s;
}

void noteSecrets(const unsigned char *req, std::size_t n, qfuzz::Secrets &secrets) {
    if (n < 2) return;
    const unsigned char *data = req + 1;
    switch (req[0]) {
        case 2:
        case 3:
            secrets.add(data, n - 1 < kTextMax ? n - 1 : kTextMax);
            break;
        case 9:
        case 10:
            secrets.add(data, n - 1 < kPassMax ? n - 1 : kPassMax);
            break;
        case 254:
            if (n != sa::kRecordSize + 1) break;
            if (data[sa::kV1Enable] == 1 || data[sa::kV2Enable] == 1) {
                secrets.add(data + sa::kReadOnlyCommunity, kTextMax);
                secrets.add(data + sa::kReadWriteCommunity, kTextMax);
            }
            if (data[sa::kV3Enable] == 1) {
                secrets.add(data + sa::kAuthPassword, kPassMax);
                secrets.add(data + sa::kPrivPassword, kPassMax);
            }
            break;
        default:
            break;
    }
}

void checkGets(const qfuzz::Secrets &secrets) {
    qfuzz::Bytes rec = qfuzz::exact(sa::kRecordSize + 1);
    if (QuorixGetBMCSnmpCfgInterface(rec.data()) != static_cast<int>(rec.size()))
        qfuzz::fail("agent get gave a wrong length");
    secrets.checkField("the agent get (read-only community)", rec.data() + 1 + sa::kReadOnlyCommunity,
                       sa::kCommunitySize);
    secrets.checkField("the agent get (read-write community)", rec.data() + 1 + sa::kReadWriteCommunity,
                       sa::kCommunitySize);
    secrets.checkField("the agent get (auth pass phrase)", rec.data() + 1 + sa::kAuthPassword, sa::kPassSize);
    secrets.checkField("the agent get (priv pass phrase)", rec.data() + 1 + sa::kPrivPassword, sa::kPassSize);
    for (const char *key : {"ReadOnlyCommunity", "ReadWriteCommunity", "AUTHPwd", "PRIVPwd"})
        secrets.checkJson(sa::kConfPath, "SnmpCfg", key);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    qfuzz::bindOnce();
    if (QuorixGetSnmpAgentTotalConfFromJson() != 0) qfuzz::fail("the factory agent configuration does not load");
    session().keepStartState();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    qfuzz::Session &s = session();
    s.startInput();
    for (qfuzz::Bytes &chunk : qfuzz::splitRequests(data, size, 6)) {
        if (chunk.empty()) continue;
        const unsigned char saveFlag = chunk[0] & 1;
        qfuzz::Bytes req(chunk.begin() + 1, chunk.end());
        s.before();
        const unsigned cc =
            QuorixSetBMCSnmpCfgInterface(qfuzz::bytesOf(req), static_cast<int>(req.size()), nullptr, saveFlag);
        s.after("agent set", cc);
        qfuzz::expectCode("agent set", cc, {0x00, 0xC7, 0xC9, 0xCC});
        if (cc == 0) noteSecrets(req.data(), req.size(), s.secrets());
        checkGets(s.secrets());
    }
    return 0;
}
