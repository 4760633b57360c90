// Power peak configuration: the OEM get/set handlers with their EEPROM copy
// and per-process cache (so every case runs in a child), and the staggered wait.
#include <time.h>

#include <cstdio>
#include <string>
#include <vector>

#include "quorix_test.h"

namespace {

using qtest::Bytes;
constexpr int kPowerPeakOffset = 3904;  // EEPROM
const int kRead = qrx::slotIndex(qrx::Slot::QuorixReadMainBoardEEprom), kWrite = qrx::slotIndex(qrx::Slot::QuorixWriteMainBoardEEprom);

// "<length>:<response bytes>" of a set (request given) or a get (none).
std::string call(const Bytes *request = nullptr) {
    unsigned char res[3] = {0xAA, 0xAA, 0xAA};
    Bytes req = request ? *request : Bytes{};
    const int n = request ? QuorixSetPowerPeakConfigInterface(req.data(), static_cast<int>(req.size()), res)
                          : QuorixGetPowerPeakConfigInterface(nullptr, 0, res);
    return std::to_string(n) + ":" + qtest::hex(res, n > 0 ? n : 0);
}
std::string set(const Bytes &request) { return call(&request); }

class PowerPeak : public qtest::BoundTest {
protected:
    void SetUp() override {
        qtest::BoundTest::SetUp();
        qtest::logToConsole({"QRXMONITOR"});
    }
};

TEST_F(PowerPeak, Set_ChecksRangeLengthAndNullThenStoresAndCaches) {
    const std::string out = qtest::inChild([] {
        unsigned char res[3] = {}, req[2] = {0x59, 0x02};
        for (const Bytes &refused : {Bytes{0x59, 0x02}, Bytes{0x58}, Bytes{0x58, 0x02, 0}, Bytes{0xFF, 0xFF}})
            std::printf("%s|", set(refused).c_str());
        std::printf("%d %d|", QuorixSetPowerPeakConfigInterface(nullptr, 2, res), QuorixSetPowerPeakConfigInterface(req, 2, nullptr));
        std::printf("%u|", qtest::Sim::get().callCount(kWrite));
        std::printf("%s|", set({0x58, 0x02}).c_str());
        std::printf("%s|", call().c_str());
        std::printf("%s|", qtest::hex(qtest::eeprom(kPowerPeakOffset, 2).data(), 2).c_str());
        qtest::Sim::get().setFault(kWrite, 2);  // a short write answers 0x83 but is cached
        std::printf("%s|", set({0x2C, 0x01}).c_str());
        qtest::Sim::get().setFault(kWrite, 0);
        std::printf("%s\n", call().c_str());
    });
    EXPECT_EQ(out, "1:cc|1:c7|1:c7|1:cc|0 0|0|1:00|3:00 58 02|58 02|1:83|3:00 2c 01\n");  // 601 is out of range
}

TEST_F(PowerPeak, Get_ReadsEepromOnceAndMapsLargeValuesToTwo) {
    const struct { Bytes stored; const char *answer; } cases[] = {
        {{0x34, 0x01}, "3:00 34 01"}, {{0x58, 0x02}, "3:00 58 02"}, {{0xBC, 0x02}, "3:00 02 00"},  // 700 s reads as 2
        {{0xFF, 0xFF}, "3:00 02 00"}, {{0x00, 0x00}, "3:00 00 00"}};
    for (const auto &c : cases) {
        qtest::putEeprom(kPowerPeakOffset, c.stored);
        const std::string out = qtest::inChild([] {
            const std::string first = call();
            const unsigned reads = qtest::Sim::get().callCount(kRead);
            qtest::putEeprom(kPowerPeakOffset, {0x10, 0x00});
            const std::string second = call();
            std::printf("%s|%s|%u\n", first.c_str(), second.c_str(), qtest::Sim::get().callCount(kRead) - reads);
        });
        EXPECT_EQ(qtest::plainOutput(out), c.answer + ("|" + (c.answer + std::string("|0\n"))));
    }
    const std::string out = qtest::inChild([] {
        unsigned char res[3] = {}, req[1] = {0};
        const int n = QuorixGetPowerPeakConfigInterface(req, 1, res);
        std::printf("%d %02x %d\n", n, res[0], QuorixGetPowerPeakConfigInterface(nullptr, 0, nullptr));
        qtest::Sim::get().setFault(kRead, 2);
        std::printf("%s\n", call().c_str());
    });
    EXPECT_EQ(qtest::plainOutput(out), "1 c7 0\n1:83\n");
    EXPECT_EQ(qtest::logLines(out), (std::vector<std::string>{"[Critical]:Read power peak config from EEPROM failed! retval=1"}));
}

// Milliseconds RunPowerPeakSleep took in a child, and what it logged.
std::pair<long, std::string> timedSleep() {
    const std::string out = qtest::inChild([] {
        timespec a{}, b{};
        clock_gettime(CLOCK_MONOTONIC, &a);
        const int rc = RunPowerPeakSleep();
        clock_gettime(CLOCK_MONOTONIC, &b);
        std::printf("rc=%d elapsed=%ld\n", rc, (b.tv_sec - a.tv_sec) * 1000 + (b.tv_nsec - a.tv_nsec) / 1000000);
    });
    long elapsed = -1;
    const std::string plain = qtest::plainOutput(out);
    std::sscanf(plain.c_str() + plain.find("elapsed="), "elapsed=%ld", &elapsed);
    return {elapsed, out};
}

TEST_F(PowerPeak, Sleep_WaitsADelayDrawnWithinTheBound) {
    for (const Bytes &stored : {Bytes{0x00, 0x00}, Bytes{0x58, 0x02}}) {  // 0 and 600: no wait
        qtest::putEeprom(kPowerPeakOffset, stored);
        const auto [elapsed, out] = timedSleep();
        EXPECT_LT(elapsed, 1000);
        EXPECT_EQ(qtest::plainOutput(out).substr(0, 5), "rc=0 ");
        EXPECT_EQ(qtest::logLines(out), (std::vector<std::string>{"[Critical]:Quorix power peak config, state: 0, Max delay time:" +
                                                                   std::to_string(stored[0] | (stored[1] << 8))}));
    }
    qtest::putEeprom(kPowerPeakOffset, {0x01, 0x00});
    for (int round = 0; round < 3; ++round) {
        const auto [elapsed, out] = timedSleep();
        unsigned seconds = 99, millis = 9999;
        int rc = -9;
        ASSERT_EQ(std::sscanf(qtest::plainOutput(out).c_str(), "[Note]: Chassis power on, max delay time=1s, delay time=%us,%ums\nrc=%d",
                              &seconds, &millis, &rc), 3) << out;
        const long delay = seconds * 1000 + millis;
        EXPECT_TRUE(rc == 0 && millis < 1000 && delay <= 1000 && elapsed >= delay && elapsed < delay + 500) << out;
        EXPECT_EQ(qtest::logLines(out).back(), "[Critical]:Chassis power on, max delay time=1s, delay time=" +
                                                   std::to_string(seconds) + "s," + std::to_string(millis) + "ms");
    }
    qtest::Sim::get().setFault(kRead, 1);
    const auto [elapsed, out] = timedSleep();
    EXPECT_EQ(qtest::plainOutput(out).substr(0, 6), "rc=-1 ");
    EXPECT_EQ(qtest::logLines(out), (std::vector<std::string>{"[Critical]:Read power peak config from EEPROM failed! retval=-1",
                                                               "[Critical]:Get Quorix power peak config failed!"}));
}

}  // namespace
