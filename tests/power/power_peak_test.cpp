// Power peak configuration: the OEM get/set handlers with their EEPROM copy
// and per-process cache (so every case runs in a child), and the staggered wait.
#include <time.h>

#include <cstdio>

#include "quorix_test.h"

namespace {

using qtest::Bytes;
constexpr int kPowerPeakOffset = 3904;  // EEPROM
const int kRead = qrx::slotIndex(qrx::Slot::QuorixReadMainBoardEEprom);
const int kWrite = qrx::slotIndex(qrx::Slot::QuorixWriteMainBoardEEprom);

// Prints "<length>:<response bytes>" of a set (request given) or a get.
void call(const Bytes *request = nullptr) {
    unsigned char res[3] = {0xAA, 0xAA, 0xAA};
    Bytes req = request ? *request : Bytes{};
    const int n = request ? QuorixSetPowerPeakConfigInterface(req.data(), static_cast<int>(req.size()), res)
                          : QuorixGetPowerPeakConfigInterface(nullptr, 0, res);
    std::printf("%d:%s\n", n, qtest::hex(res, n > 0 ? n : 0).c_str());
}
void set(const Bytes &request) { call(&request); }

class PowerPeak : public qtest::BoundTest {
protected:
    void SetUp() override { qtest::BoundTest::SetUp(), qtest::logToConsole({"QRXMONITOR"}); }
};

TEST_F(PowerPeak, Set_ChecksRangeLengthAndNullThenStoresAndCaches) {
    const std::string out = qtest::inChild([] {
        unsigned char res[3] = {}, req[2] = {0x59, 0x02};
        for (const Bytes &refused : {Bytes{0x59, 0x02}, Bytes{0x58}, Bytes{0x58, 0x02, 0}, Bytes{0xFF, 0xFF}}) set(refused);
        std::printf("%d %d\n", QuorixSetPowerPeakConfigInterface(nullptr, 2, res), QuorixSetPowerPeakConfigInterface(req, 2, nullptr));
        std::printf("%u\n", qtest::Sim::get().callCount(kWrite));
        set({0x58, 0x02}), call();
        std::printf("%s\n", qtest::hex(qtest::eeprom(kPowerPeakOffset, 2).data(), 2).c_str());
        qtest::Sim::get().setFault(kWrite, 2);  // a short write answers 0x83 but is cached
        set({0x2C, 0x01}), call();
    });
    EXPECT_EQ(out, "1:cc\n1:c7\n1:c7\n1:cc\n0 0\n0\n1:00\n3:00 58 02\n58 02\n1:83\n3:00 2c 01\n");  // 601 is out of range
}

TEST_F(PowerPeak, Get_ReadsEepromOnceAndMapsLargeValuesToTwo) {
    const struct { Bytes stored; int fault; const char *answer; } cases[] = {  // above 600: 2
        {{0x34, 0x01}, 0, "3:00 34 01"}, {{0x58, 0x02}, 0, "3:00 58 02"}, {{0xBC, 0x02}, 0, "3:00 02 00"},
        {{0xFF, 0xFF}, 0, "3:00 02 00"}, {{0x00, 0x00}, 0, "3:00 00 00"}, {{0x00, 0x00}, 2, "1:83"}};
    for (const auto &c : cases) {
        qtest::putEeprom(kPowerPeakOffset, c.stored);
        qtest::Sim::get().setFault(kRead, c.fault);
        const std::string out = qtest::inChild([] {
            const unsigned reads = qtest::Sim::get().callCount(kRead);
            call();
            qtest::putEeprom(kPowerPeakOffset, {0x10, 0x00});
            call();
            std::printf("%u reads\n", qtest::Sim::get().callCount(kRead) - reads);
        });
        const std::string answer = c.answer + std::string("\n");  // a failed read is not cached
        EXPECT_EQ(qtest::plainOutput(out), answer + answer + (c.fault ? "2 reads\n" : "1 reads\n"));
    }
    const std::string out = qtest::inChild([] {
        unsigned char res[3] = {}, req[1] = {0};
        const int n = QuorixGetPowerPeakConfigInterface(req, 1, res);
        std::printf("%d %02x %d\n", n, res[0], QuorixGetPowerPeakConfigInterface(nullptr, 0, nullptr));
    });
    EXPECT_EQ(out, "1 c7 0\n");
}

// The wait in a child: "rc=<result> <milliseconds waited>" and the log; a
// bound of one second draws a delay within it and sleeps it.
TEST_F(PowerPeak, Sleep_WaitsADelayDrawnWithinTheBound) {
    const struct { Bytes stored; int fault; const char *rc, *log; } cases[] = {
        {{0x00, 0x00}, 0, "rc=0", "[Critical]:Quorix power peak config, state: 0, Max delay time:0"},
        {{0x58, 0x02}, 0, "rc=0", "[Critical]:Quorix power peak config, state: 0, Max delay time:600"},
        {{0x01, 0x00}, 1, "rc=-1", "[Critical]:Get Quorix power peak config failed!"},
        {{0x01, 0x00}, 0, "rc=0", "[Critical]:Chassis power on, max delay time=1s, delay time=%us,%ums"},
        {{0x01, 0x00}, 0, "rc=0", "[Critical]:Chassis power on, max delay time=1s, delay time=%us,%ums"}};
    for (const auto &c : cases) {
        qtest::putEeprom(kPowerPeakOffset, c.stored);
        qtest::Sim::get().setFault(kRead, c.fault);
        const std::string out = qtest::inChild([] {
            timespec a{}, b{};
            clock_gettime(CLOCK_MONOTONIC, &a);
            const int rc = RunPowerPeakSleep();
            clock_gettime(CLOCK_MONOTONIC, &b);
            std::printf("rc=%d %ld\n", rc, (b.tv_sec - a.tv_sec) * 1000 + (b.tv_nsec - a.tv_nsec) / 1000000);
        });
        unsigned s = 0, ms = 0;
        const std::string log = qtest::logLines(out).back(), plain = qtest::plainOutput(out), rc = std::string(c.rc) + " ";
        std::sscanf(log.c_str(), c.log, &s, &ms);
        const bool drawn = std::string(c.log).find('%') != std::string::npos;
        EXPECT_EQ(log, drawn ? "[Critical]:Chassis power on, max delay time=1s, delay time=" + std::to_string(s) + "s," +
                                   std::to_string(ms) + "ms" : std::string(c.log));
        ASSERT_EQ(plain.substr(plain.find("rc="), rc.size()), rc) << out;
        const long waited = std::stol(plain.substr(plain.find("rc=") + rc.size()));
        EXPECT_TRUE(ms < 1000 && s * 1000 + ms <= 1000 && waited >= s * 1000 + ms && waited < s * 1000 + ms + 500) << out;
    }
}

}  // namespace
