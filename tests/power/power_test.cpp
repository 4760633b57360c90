#include <sys/stat.h>

#include <cstdio>

#include "quorix_test.h"

namespace {

using qtest::Bytes;
constexpr int kPowerStatusOffset = 4481, kComOffset = 5120, kPowerPeakOffset = 3904;  // EEPROM; SOL follows COM
constexpr std::size_t kBlockPowerState = 0x621F8F, kBlockSol = 0x621F7A;  // COM follows SOL
using qrx::Slot;
const int kRead = qrx::slotIndex(Slot::QuorixReadMainBoardEEprom);
const int kWrite = qrx::slotIndex(Slot::QuorixWriteMainBoardEEprom);
const int kAcFail = qrx::slotIndex(Slot::GetACFailFromCPLD), kPowerOk = qrx::slotIndex(Slot::checkSystemPowerOk);
const std::string kMarker = "/var/tmp/power_button_press_flag";
qtest::Sim &sim() { return qtest::Sim::get(); }

class PowerPolicy : public qtest::BoundTest {
protected:
    void SetUp() override {
        qtest::BoundTest::SetUp(), mkdir("/var/tmp", 01777);
        qtest::removeQueue(12345), qtest::logToConsole({"QRXMONITOR"});
    }
};

TEST_F(PowerPolicy, Marker_DecidesWhetherPolicyRunsAndItsClearingIsLogged) {
    const std::string out = qtest::captureStdout([] { EXPECT_EQ(ClearPowerButtonPressFaileFlag(), 0); });
    EXPECT_EQ(qtest::logLines(out).at(0), "[Critical]:Unlink " + kMarker + " fail in ClearPowerButtonPressFaileFlag ");
    EXPECT_EQ(IsPowerPolicyNeedRun(), 1);
    qtest::writeFile(kMarker, "");
    EXPECT_EQ(std::vector<int>({IsPowerPolicyNeedRun(), LoggingPowerPolicyNotStartCause(1),
                                LoggingPowerPolicyNotStartCause(-1), qtest::fileExists(kMarker),
                                LoggingPowerPolicyNotStartCause(0), IsPowerPolicyNeedRun()}),
              std::vector<int>({0, -1, -1, 1, 0, 1}));  // a non-zero cause keeps the marker, cause 0 removes it
    const qtest::Bytes raw = qtest::receiveRaw(12345);
    ASSERT_GE(raw.size(), 1u + 4u + 296u);  // frame marker, request code, record
    const std::string text = "Power button has been pressed before power policy starting,So power policy no start";
    EXPECT_EQ(std::vector<int>({raw[5], raw[9], raw[17], raw[18], raw[19]}), std::vector<int>({1, 0x14, 0xFF, 0, 1}));
    EXPECT_EQ(std::string(raw.begin() + 20, raw.begin() + 5 + 296), text + std::string(296 - 15 - text.size(), '\0'));
}

TEST_F(PowerPolicy, MonitorPowerStatus_StoresChangesUnlessTheCpldLatchedAcFail) {
    const struct { int acFail; std::vector<int> polls; const char *out; std::vector<std::string> log; } cases[] = {
        {1, {1, 1, 0, 1}, "1 0 1 1 0 1\n1 0 1 1 0 1\n0 0 0 1 1 1\n1 0 1 2 1 1\n",
         {"[Critical]:Write power status to EEPROM. Status=1",
          "[Critical]:MBCPLD detected AC_FAIL, stop write power status to EEPROM.",
          "[Critical]:Write power status to EEPROM. Status=1"}},
        {0, {0x101, 0}, "257 0 1 1 0 1\n0 0 0 2 1 0\n",  // only the low byte counts
         {"[Critical]:Write power status to EEPROM. Status=1", "[Critical]:Write power status to EEPROM. Status=0"}}};
    for (const auto &c : cases) {
        sim().reset();
        sim().setResult(kAcFail, c.acFail);
        const std::string out = qtest::inChild([&] {
            for (int state : c.polls) {
                sim().setResult(kPowerOk, state);
                const int rc = QuorixMonitorPowerStatus(0, 1, 2);
                std::printf("%d %d %d %u %u %d\n", state, rc, qtest::blockBytes(kBlockPowerState, 1)[0],
                            sim().callCount(kWrite), sim().callCount(kAcFail), qtest::eeprom(kPowerStatusOffset, 1)[0]);
            }
        });
        EXPECT_EQ(qtest::plainOutput(out), c.out);
        EXPECT_EQ(qtest::logLines(out), c.log);
    }
}

TEST_F(PowerPolicy, ComSol_ValidValuesAreStoredInEepromAndCachedInTheBlock) {
    for (int v = 0; v < 256; ++v) {  // true means invalid
        EXPECT_EQ(IsComCfgValid(static_cast<unsigned char>(v)) != 0, v > 2) << v;
        EXPECT_EQ(IsSolCfgValid(static_cast<unsigned char>(v)) != 0, !(v == 0 || (v >= 2 && v <= 4) || v == 16)) << v;
    }
    auto get = [] { return std::vector<int>({QuorixGetComCfg(), QuorixGetSolCfg()}); };
    qtest::block().setU16(kBlockSol, 0xFFFF);  // not read yet; a blank EEPROM is invalid for both: 0, EEPROM left alone
    EXPECT_EQ(get(), std::vector<int>({0, 0}));
    EXPECT_EQ(qtest::blockBytes(kBlockSol, 2), Bytes({0, 0}));
    EXPECT_EQ(sim().callCount(kWrite), 0u);
    qtest::putEeprom(kComOffset, {1, 4});
    qtest::block().setU16(kBlockSol, 0xFFFF);
    EXPECT_EQ(get(), std::vector<int>({1, 4}));
    qtest::putEeprom(kComOffset, {2, 3});
    EXPECT_EQ(get(), std::vector<int>({1, 4})) << "cached";
    const unsigned writes = sim().callCount(kWrite);
    EXPECT_EQ(std::vector<int>({QuorixSetSolCfg(16), QuorixSetSolCfg(1), QuorixSetSolCfg(5), QuorixSetComCfg(2),
                                QuorixSetComCfg(3)}),
              std::vector<int>({0, -1, -1, 0, -1}));
    EXPECT_EQ(sim().callCount(kWrite) - writes, 2u) << "refused values are not written";
    EXPECT_EQ(qtest::eeprom(kComOffset, 2), Bytes({2, 16}));
    EXPECT_EQ(qtest::blockBytes(kBlockSol, 2), Bytes({16, 2}));
    EXPECT_EQ(get(), std::vector<int>({2, 16}));
}

// Power peak (its cache is per process: cases run in children): prints "<length>:<response bytes>" of a set or get.
void call(const Bytes *request = nullptr) {
    unsigned char res[3] = {0xAA, 0xAA, 0xAA};
    Bytes req = request ? *request : Bytes{};
    const int n = request ? QuorixSetPowerPeakConfigInterface(req.data(), static_cast<int>(req.size()), res)
                          : QuorixGetPowerPeakConfigInterface(nullptr, 0, res);
    std::printf("%d:%s\n", n, qtest::hex(res, n > 0 ? n : 0).c_str());
}
void set(const Bytes &request) { call(&request); }

TEST_F(PowerPolicy, PeakSet_ChecksRangeLengthAndNullThenStoresAndCaches) {
    const std::string out = qtest::inChild([] {
        unsigned char res[3] = {}, req[2] = {0x59, 0x02};
        for (const Bytes &refused : {Bytes{0x59, 2}, Bytes{0x58}, Bytes{0x58, 2, 0}, Bytes{0xFF, 0xFF}}) set(refused);
        std::printf("%d %d %u\n", QuorixSetPowerPeakConfigInterface(nullptr, 2, res),
                    QuorixSetPowerPeakConfigInterface(req, 2, nullptr), sim().callCount(kWrite));
        set({0x58, 0x02}), call();
        std::printf("%s\n", qtest::hex(qtest::eeprom(kPowerPeakOffset, 2).data(), 2).c_str());
        sim().setFault(kWrite, 2);  // a short write answers 0x83 but is cached
        set({0x2C, 0x01}), call();
        const int n = QuorixGetPowerPeakConfigInterface(req, 1, res);
        std::printf("%d %02x %d\n", n, res[0], QuorixGetPowerPeakConfigInterface(nullptr, 0, nullptr));
    });
    // 601 is out of range; then the stored value and the cache after a short write; a get takes no request.
    EXPECT_EQ(out, "1:cc\n1:c7\n1:c7\n1:cc\n0 0 0\n1:00\n3:00 58 02\n58 02\n1:83\n3:00 2c 01\n1 c7 0\n");
}

TEST_F(PowerPolicy, PeakGet_ReadsEepromOnceAndMapsLargeValuesToTwo) {
    const struct { Bytes stored; int fault; const char *answer; } cases[] = {  // above 600: 2
        {{0x34, 0x01}, 0, "3:00 34 01"}, {{0x58, 0x02}, 0, "3:00 58 02"}, {{0xBC, 0x02}, 0, "3:00 02 00"},
        {{0xFF, 0xFF}, 0, "3:00 02 00"}, {{0x00, 0x00}, 0, "3:00 00 00"}, {{0x00, 0x00}, 2, "1:83"}};
    for (const auto &c : cases) {
        qtest::putEeprom(kPowerPeakOffset, c.stored);
        sim().setFault(kRead, c.fault);
        const std::string out = qtest::inChild([] {
            const unsigned reads = sim().callCount(kRead);
            call();
            qtest::putEeprom(kPowerPeakOffset, {0x10, 0x00});
            call();
            std::printf("%u reads\n", sim().callCount(kRead) - reads);
        });
        const std::string answer = c.answer + std::string("\n");  // a failed read is not cached
        EXPECT_EQ(qtest::plainOutput(out), answer + answer + (c.fault ? "2 reads\n" : "1 reads\n"));
    }
}

TEST_F(PowerPolicy, EepromPowerStatus_ReadWriteAndFailures) {
    unsigned char state = 0x5A, back = 0;
    const std::string out = qtest::captureStdout([&] {
        for (unsigned char *buffer : {&state, static_cast<unsigned char *>(nullptr), &state}) {
            if (buffer != nullptr && back != 0) sim().setFault(kRead, 1), sim().setFault(kWrite, 1);
            const int written = QuorixEEPROMWritePowerStatus(buffer);
            std::printf("%d %d\n", written, QuorixEEPROMReadPowerStatus(buffer == nullptr ? nullptr : &back));
        }
        std::printf("%d\n", back);
        sim().setFault(kRead, 0), sim().setFault(kWrite, 0);
    });
    EXPECT_EQ(qtest::eeprom(kPowerStatusOffset, 1), Bytes{0x5A});
    EXPECT_EQ(qtest::plainOutput(out), "0 0\n-3 -3\n-2 -2\n90\n");
    EXPECT_EQ(qtest::logLines(out), (std::vector<std::string>{"[Error]:NULL buffer pointer passed into read policy!",
                                                              "[Error]:NULL buffer pointer passed into read power  status!",
                                                              "[Error]:Write power status from EEPROM failed! retval=-1",
                                                              "[Error]:Read power last status from EEPROM failed! retval=-1"}));
}

TEST_F(PowerPolicy, PeakSleep_NoDelayReturnsAtOnceAndAnUnreadableDelayFails) {
    for (const Bytes &delay : {Bytes{0, 0}, Bytes{0x58, 0x02}}) {  // 600 is valid but does not delay
        qtest::putEeprom(kPowerPeakOffset, delay);
        EXPECT_EQ(qtest::plainOutput(qtest::inChild([] { std::printf("%d", RunPowerPeakSleep()); })), "0");
    }
    sim().setFault(kRead, 1);
    const std::string out = qtest::inChild([] { std::printf("rc=%d\n", RunPowerPeakSleep()); });
    EXPECT_NE(out.find("Get Quorix power peak config failed!"), std::string::npos) << out;
    EXPECT_NE(out.find("rc=-1"), std::string::npos) << out;
}

}  // namespace
