// Loader of "/conf/SnmpAgentCfg.json": the input is the file.
#include "config/snmp/snmp_agent_layout.h"
#include "fuzz_support.h"
#include "loader_support.h"
#include "quorix_common_interface.h"

namespace sa = qrx::config::snmpagent;

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    qfuzz::bindOnce();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const int result = qfuzz::loadFrom(sa::kConfPath, data, size, {{sa::kRecordOffset, sa::kRecordSize}},
                                       [] { return QuorixGetSnmpAgentTotalConfFromJson(); });
    if (result != 0 && result != -1) qfuzz::fail("agent loader returned %d", result);
    qfuzz::Bytes rec = qfuzz::exact(sa::kRecordSize + 1);
    if (QuorixGetBMCSnmpCfgInterface(rec.data()) != static_cast<int>(rec.size()))
        qfuzz::fail("agent get gave a wrong length");
    qfuzz::expectTerminated("agent loader", rec.data() + 1,
                            {{"ReadOnlyCommunity", sa::kReadOnlyCommunity, sa::kCommunitySize},
                             {"ReadWriteCommunity", sa::kReadWriteCommunity, sa::kCommunitySize},
                             {"AUTHUserName", sa::kUserName, sa::kUserNameSize},
                             {"AUTHPwd", sa::kAuthPassword, sa::kPassSize},
                             {"PRIVPwd", sa::kPrivPassword, sa::kPassSize}});
    // "SnmpV1V2SetEnable" is loaded but never written.
    if (result == 0)
        qfuzz::expectSaveReloadKeeps(
            "agent configuration", {sa::kRecordOffset, sa::kRecordSize}, {sa::kV1V2SetEnable},
            [] { return QuorixSetSnmpAgentTotalConfToJson(qfuzz::block() + sa::kRecordOffset, sa::kConfPath); },
            [] { return QuorixGetSnmpAgentTotalConfFromJson(); });
    return 0;
}
