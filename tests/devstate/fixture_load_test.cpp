// The shipped device fixtures, loaded by quorixctl into the shared block and
// read back through the library's own readers.
#include <string>
#include <vector>

#include "quorix_test.h"

namespace {

qtest::CommandRun quorixctl(const std::string &args) {
    return qtest::runCommand(qtest::programCommand(QUORIXCTL_PATH) + " " + args);
}

std::string fixture(const char *name) { return std::string(FIXTURE_DIR) + "/" + name; }

std::string text(const unsigned char *p, std::size_t len) {
    std::string s;
    for (std::size_t i = 0; i < len && p[i] != 0; ++i) s += static_cast<char>(p[i]);
    return s;
}

class DeviceFixture : public qtest::BoundTest {};

TEST_F(DeviceFixture, Server_FillsSuppliesCpusMeDisksAndFans) {
    qtest::CommandRun run = quorixctl("sim load " + fixture("server-2psu-2cpu-12disk.json"));
    ASSERT_EQ(run.status, 0) << run.out;
    EXPECT_EQ(run.out, "loaded " + fixture("server-2psu-2cpu-12disk.json") +
                           ": 0 block regions, 0 slot results, 23 device records\n");
    EXPECT_EQ(ReadQuorixPSUNum(), 2);
    EXPECT_EQ(GetQuorixPSURedundantNum(), 1);
    EXPECT_EQ(ReadQuorixPSUPower(), 420);  // 212.5 + 208.25
    unsigned char info[126];
    ASSERT_EQ(ReadQuorixPSUInfo(1, info), 0);
    EXPECT_EQ(info[1], 1);
    EXPECT_EQ(info[16] | (info[17] << 8), 208);   // input power, rounded
    EXPECT_EQ(info[22] | (info[23] << 8), 1220);  // 12.2 V x 100
    EXPECT_EQ(text(info + 68, 18), "QP16A240501702");
    EXPECT_EQ(std::vector<unsigned char>(info + 120, info + 126),
              (std::vector<unsigned char>{0x18, 0x05, 0x11, 0, 0, 0}));
    EXPECT_EQ(QuorixGetCpuNum(), 2);
    EXPECT_EQ(GetConfiguredCPUBitMap(), 3);
    char me[16];
    ASSERT_EQ(QuorixGetMeRevision(0, 0, me, sizeof me), 0);
    EXPECT_EQ(std::string(me), "4.1.5.123");
    EXPECT_EQ(QuorixReadFrontHDDBlackPlaneNum(), 1);
    EXPECT_EQ(QuorixGetHDDNumSupport(1), 12);
    unsigned char sn[24];
    ASSERT_EQ(QuorixGetHDDSN(7, sn), 0);
    EXPECT_EQ(text(sn, 24), "WD-QX5512307");
    EXPECT_EQ(qtest::block().u8(49 + 136 * 7 + 4), 2);  // the faulty disk
    EXPECT_EQ(QuorixGetFanNumber(), 6);
    EXPECT_EQ(read_device_scan_enable(24), 1);
    EXPECT_EQ(checkBackPlanePresent(), 0);
}

TEST_F(DeviceFixture, Storage_HasAnAbsentSupplyAndRearNvmeDisks) {
    ASSERT_EQ(quorixctl("sim load " + fixture("storage-4psu-24disk-rear-nvme.json")).status, 0);
    EXPECT_EQ(ReadQuorixPSUNum(), 4);
    EXPECT_EQ(ReadQuorixPSUPresent(2), 0);
    EXPECT_EQ(ReadQuorixPSUStatusWord(3), 0x0842);
    EXPECT_EQ(QuorixGetHDDNumSupport(1), 24);
    EXPECT_EQ(QuorixGetHDDNumSupport(2), 6);
    unsigned char sn[24];
    ASSERT_EQ(QuorixGetHDDSN(78 + 3, sn), 0);
    EXPECT_EQ(text(sn, 24), "NV-QX00009103");
    EXPECT_EQ(RackHarlo_Get_BackPlanePort(), 0);
}

TEST_F(DeviceFixture, Rack_SelectsTheTwentyTwoSlotReport) {
    ASSERT_EQ(quorixctl("sim load " + fixture("rack-nvme-6disk.json")).status, 0);
    EXPECT_EQ(RackHarlo_Get_BackPlanePort(), 1);
    EXPECT_EQ(GetMaxFrontHDDNVMETemp(0, 5), 46);
    EXPECT_EQ(GetMaxFrontHDDNVMEPresentNum(0, 7), 6);
    qtest::CommandRun run = quorixctl("disk rack " + fixture("rack-nvme-6disk.json"));
    ASSERT_EQ(run.status, 0) << run.out;
    EXPECT_NE(run.out.find("slot 10: NVME8    02 01 08\n"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("slot 17: NVME1    02 01 01\n"), std::string::npos) << run.out;
}

}  // namespace
