// SNMP trap set interface: request sequences against the trap record, the
// destinations and "/conf/SnmpTrapCfg.json".
#include <algorithm>

#include "config/snmp/snmp_trap_layout.h"
#include "fuzz_support.h"
#include "quorix_common_interface.h"

namespace st = qrx::config::snmptrap;

namespace {

constexpr std::size_t kTextMax = 16;

qfuzz::Session &session() {
    static qfuzz::Session s({{st::kDestBlockOffset, st::kDestBlockSize + st::kRecordSize}});
    return s;
}

// Clear texts an accepted request stored as secrets.
void noteSecrets(const qfuzz::Bytes &req, qfuzz::Secrets &secrets) {
    if (req.size() < 3 || req[0] != 0) return;
    const unsigned char *data = req.data() + 2;
    const std::size_t n = req.size() - 2;
    switch (req[1]) {
        case 2:
        case 6:
        case 8:
            secrets.add(data, n < kTextMax ? n : kTextMax);
            break;
        case 255:
            // A whole record stores the secrets of its version's group only:
            // version 0 none, versions 1 and 2 the community, version 3 the
            // pass phrases. Texts it does not store may well be in the
            // record already, in clear (the factory community).
            if (req.size() != st::kRecordSize + 2 || data[st::kVersion] == 0) break;
            if (data[st::kVersion] == 3) {
                secrets.add(data + st::kAuthPassword, st::kPassSize);
                secrets.add(data + st::kPrivPassword, st::kPassSize);
            } else {
                secrets.add(data + st::kCommunity, kTextMax);
            }
            break;
        default:
            break;
    }
}

void checkGets(const qfuzz::Secrets &secrets) {
    qfuzz::Bytes rec = qfuzz::exact(st::kRecordSize + 1);
    if (QuorixGetBMCSnmpTrapCfgInterface(0, rec.data()) != static_cast<int>(rec.size()))
        qfuzz::fail("trap get of the record gave a wrong length");
    qfuzz::Bytes dests = qfuzz::exact(st::kDestBlockSize + 1);
    if (QuorixGetBMCSnmpTrapCfgInterface(1, dests.data()) != static_cast<int>(dests.size()))
        qfuzz::fail("trap get of the destinations gave a wrong length");
    qfuzz::Bytes clear = qfuzz::exact(st::kRecordSize);
    if (QuorixGetSnmpTrapCfgFromMem(clear.data()) != 0) qfuzz::fail("trap record read from memory failed");
    secrets.checkField("the trap get (community)", rec.data() + 1 + st::kCommunity, st::kCommunitySize);
    secrets.checkField("the trap get (auth pass phrase)", rec.data() + 1 + st::kAuthPassword, st::kPassSize);
    secrets.checkField("the trap get (priv pass phrase)", rec.data() + 1 + st::kPrivPassword, st::kPassSize);
    for (const char *key : {"Community", "AUTHPwd", "PRIVPwd"}) secrets.checkJson(st::kConfPath, "SnmpTrapCfg", key);
}

const unsigned char *engineIdField() {
    return qfuzz::block() + st::kRecordOffset + st::kEngineId;
}

// The engine ID of a whole-record request as its validator stores it: 48
// bytes and a terminator, or all zero for an empty one.
bool holdsSentEngineId(const qfuzz::Bytes &req) {
    const unsigned char *sent = req.data() + 2 + st::kEngineId;
    if (engineIdField()[st::kEngineIdSize - 1] != 0) return false;
    for (std::size_t i = 0; i + 1 < st::kEngineIdSize; ++i)
        if (engineIdField()[i] != (sent[0] == 0 ? 0 : sent[i])) return false;
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    qfuzz::bindOnce();
    if (QuorixGetSnmpTotalConfFromJson() != 0) qfuzz::fail("the factory trap configuration does not load");
    session().keepStartState();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    qfuzz::Session &s = session();
    s.startInput();
    for (qfuzz::Bytes &req : qfuzz::splitRequests(data, size, 6)) {
        // A version-3 whole record stores a valid engine ID before its last
        // checks, which may still refuse the request.
        const bool v3Record = req.size() == st::kRecordSize + 2 && req[0] == 0 && req[1] == 255 && req[2] == 3;
        if (v3Record) s.exemptOnRefusal({st::kRecordOffset + st::kEngineId, st::kEngineIdSize});
        const qfuzz::Bytes engineBefore(engineIdField(), engineIdField() + st::kEngineIdSize);
        s.before();
        const unsigned cc = QuorixSetBMCSnmpTrapCfgInterface(qfuzz::bytesOf(req), static_cast<int>(req.size()));
        s.after("trap set", cc);
        const bool engineKept = std::equal(engineBefore.begin(), engineBefore.end(), engineIdField());
        if (v3Record && cc != 0 && !engineKept && !holdsSentEngineId(req))
            qfuzz::fail("refused trap record left an engine ID it was not sent");
        qfuzz::expectCode("trap set", cc, {0x00, 0xC7, 0xC9, 0xCC, 0xD5});
        if (cc == 0) noteSecrets(req, s.secrets());
        checkGets(s.secrets());
    }
    return 0;
}
