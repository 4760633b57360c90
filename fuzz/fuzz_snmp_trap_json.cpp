// Loader of "/conf/SnmpTrapCfg.json": the input is the file.
#include "config/snmp/snmp_trap_layout.h"
#include "fuzz_support.h"
#include "loader_support.h"
#include "quorix_common_interface.h"

namespace st = qrx::config::snmptrap;

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    qfuzz::bindOnce();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const int result =
        qfuzz::loadFrom(st::kConfPath, data, size, {{st::kDestBlockOffset, st::kDestBlockSize + st::kRecordSize}},
                        [] { return QuorixGetSnmpTotalConfFromJson(); });
    if (result != 0 && result != -1) qfuzz::fail("trap loader returned %d", result);
    qfuzz::Bytes rec = qfuzz::exact(st::kRecordSize + 1);
    if (QuorixGetBMCSnmpTrapCfgInterface(0, rec.data()) != static_cast<int>(rec.size()))
        qfuzz::fail("trap get of the record gave a wrong length");
    qfuzz::expectTerminated("trap loader", rec.data() + 1,
                            {{"Community", st::kCommunity, st::kCommunitySize},
                             {"HostID", st::kHostId, st::kHostIdSize},
                             {"UserName", st::kUserName, st::kUserNameSize},
                             {"AUTHProtocol", st::kAuthProtocol, st::kAuthProtocolSize},
                             {"AUTHPwd", st::kAuthPassword, st::kPassSize},
                             {"PrivProtocol", st::kPrivProtocol, st::kPrivProtocolSize},
                             {"PRIVPwd", st::kPrivPassword, st::kPassSize},
                             {"EngineID", st::kEngineId, st::kEngineIdSize}});
    qfuzz::Bytes dests = qfuzz::exact(st::kDestBlockSize + 1);
    if (QuorixGetBMCSnmpTrapCfgInterface(1, dests.data()) != static_cast<int>(dests.size()))
        qfuzz::fail("trap get of the destinations gave a wrong length");
    for (std::size_t i = 0; i < st::kDestCount; ++i)
        qfuzz::expectTerminated("trap loader", dests.data() + 1 + i * st::kDestEntrySize,
                                {{"Destination", st::kDestAddress, st::kDestAddressSize}});
    qfuzz::Bytes clear = qfuzz::exact(st::kRecordSize);
    QuorixGetSnmpTrapCfgFromMem(clear.data());
    if (result == 0)
        qfuzz::expectSaveReloadKeeps(
            "trap configuration", {st::kDestBlockOffset, st::kDestBlockSize + st::kRecordSize}, {},
            [] {
                return QuorixSetSnmpTotalConfToJson(qfuzz::block() + st::kRecordOffset,
                                                    qfuzz::block() + st::kDestBlockOffset, st::kConfPath);
            },
            [] { return QuorixGetSnmpTotalConfFromJson(); });
    return 0;
}
