// Power peak configuration: the OEM get/set handlers with their EEPROM copy
// and cache, and the staggered wait drawn within the configured bound.
#include <time.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "quorix_test.h"

namespace {

constexpr int kPowerPeakOffset = 3904;  // EEPROM

using Bytes = std::vector<unsigned char>;

// The cache is per process and starts unread: every case runs in a child.
class PowerPeak : public qtest::BoundTest {
protected:
    void SetUp() override {
        qtest::BoundTest::SetUp();
        qtest::logToConsole({"QRXMONITOR"});
    }
};

std::string hexResponse(const unsigned char *res, int length) {
    std::string out;
    char buf[8];
    for (int i = 0; i < length; ++i) {
        std::snprintf(buf, sizeof buf, i ? " %02x" : "%02x", res[i]);
        out += buf;
    }
    return out;
}

// Runs a get in the current process: "<length>:<hex response>".
std::string get() {
    unsigned char res[3] = {0xAA, 0xAA, 0xAA};
    int n = QuorixGetPowerPeakConfigInterface(nullptr, 0, res);
    return std::to_string(n) + ":" + hexResponse(res, n > 0 ? n : 0);
}

std::string set(Bytes req) {
    unsigned char res[3] = {0xAA, 0xAA, 0xAA};
    int n = QuorixSetPowerPeakConfigInterface(req.data(), static_cast<int>(req.size()), res);
    return std::to_string(n) + ":" + hexResponse(res, n > 0 ? n : 0);
}

TEST_F(PowerPeak, Set_RangeLengthAndNullChecks) {
    std::string out = qtest::inChild([] {
        unsigned char res[3] = {};
        unsigned char req[2] = {0x59, 0x02};
        for (const Bytes &refused : {Bytes{0x59, 0x02}, Bytes{0x58}, Bytes{0x58, 0x02, 0}, Bytes{0xFF, 0xFF}})
            std::printf("%s|", set(refused).c_str());
        std::printf("%d ", QuorixSetPowerPeakConfigInterface(nullptr, 2, res));
        std::printf("%d|", QuorixSetPowerPeakConfigInterface(req, 2, nullptr));
        std::printf("%u|", qtest::Sim::get().callCount(qrx::slotIndex(qrx::Slot::QuorixWriteMainBoardEEprom)));
        std::printf("%s|", set({0x58, 0x02}).c_str());
        std::printf("%s\n", get().c_str());
    });
    // 601 answers 0xCC, 600 is stored and read back from the cache.
    EXPECT_EQ(out, "1:cc|1:c7|1:c7|1:cc|0 0|0|1:00|3:00 58 02\n");
    EXPECT_EQ(qtest::eeprom(kPowerPeakOffset, 2), (Bytes{0x58, 0x02}));
}

TEST_F(PowerPeak, Get_ReadsEepromOnceAndMapsLargeValuesToTwo) {
    const struct {
        Bytes stored;
        std::string answer;
    } cases[] = {
        {{0x34, 0x01}, "3:00 34 01"},  // 308 s
        {{0x58, 0x02}, "3:00 58 02"},  // 600 s
        {{0xBC, 0x02}, "3:00 02 00"},  // 700 s reads back as 2
        {{0xFF, 0xFF}, "3:00 02 00"},  // blank part
        {{0x00, 0x00}, "3:00 00 00"},
    };
    for (const auto &c : cases) {
        qtest::putEeprom(kPowerPeakOffset, c.stored);
        std::string out = qtest::inChild([] {
            std::string first = get();
            unsigned reads = qtest::Sim::get().callCount(qrx::slotIndex(qrx::Slot::QuorixReadMainBoardEEprom));
            qtest::putEeprom(kPowerPeakOffset, {0x10, 0x00});
            std::string second = get();
            std::printf("%s|%s|%u\n", first.c_str(), second.c_str(), qtest::Sim::get().callCount(qrx::slotIndex(qrx::Slot::QuorixReadMainBoardEEprom)) - reads);
        });
        EXPECT_EQ(qtest::plainOutput(out), c.answer + "|" + c.answer + "|0\n");
    }
}

TEST_F(PowerPeak, Get_LengthNullAndReadFailure) {
    std::string out = qtest::inChild([] {
        unsigned char res[3] = {};
        unsigned char req[1] = {0};
        int n = QuorixGetPowerPeakConfigInterface(req, 1, res);
        std::printf("%d %02x\n", n, res[0]);
        std::printf("%d\n", QuorixGetPowerPeakConfigInterface(nullptr, 0, nullptr));
        qtest::Sim::get().setFault(qrx::slotIndex(qrx::Slot::QuorixReadMainBoardEEprom), 2);
        std::string failed = get();
        std::printf("%s\n", failed.c_str());
    });
    EXPECT_EQ(qtest::plainOutput(out), "1 c7\n0\n1:83\n");
    EXPECT_EQ(qtest::logLines(out),
              (std::vector<std::string>{"[Critical]:Read power peak config from EEPROM failed! retval=1"}));
}

TEST_F(PowerPeak, Set_ShortEepromWriteAnswers0x83ButCaches) {
    std::string out = qtest::inChild([] {
        qtest::Sim::get().setFault(qrx::slotIndex(qrx::Slot::QuorixWriteMainBoardEEprom), 2);
        std::printf("%s|", set({0x2C, 0x01}).c_str());
        qtest::Sim::get().setFault(qrx::slotIndex(qrx::Slot::QuorixWriteMainBoardEEprom), 0);
        std::printf("%s\n", get().c_str());
    });
    EXPECT_EQ(out, "1:83|3:00 2c 01\n");
}

TEST_F(PowerPeak, Sleep_NoDelayForZeroAndSixHundred) {
    for (Bytes stored : {Bytes{0x00, 0x00}, Bytes{0x58, 0x02}}) {
        qtest::putEeprom(kPowerPeakOffset, stored);
        std::string out = qtest::inChild([] {
            timespec a{}, b{};
            clock_gettime(CLOCK_MONOTONIC, &a);
            int rc = RunPowerPeakSleep();
            clock_gettime(CLOCK_MONOTONIC, &b);
            // Whole elapsed time: comparing the seconds fields alone fails a
            // fast call that crosses a second boundary.
            long elapsedMs = (b.tv_sec - a.tv_sec) * 1000 + (b.tv_nsec - a.tv_nsec) / 1000000;
            std::printf("rc=%d fast=%d\n", rc, elapsedMs < 1000);
        });
        EXPECT_EQ(qtest::plainOutput(out), "rc=0 fast=1\n");
        int max = stored[0] | (stored[1] << 8);
        EXPECT_EQ(qtest::logLines(out),
                  (std::vector<std::string>{"[Critical]:Quorix power peak config, state: 0, Max delay time:" +
                                            std::to_string(max)}));
    }
}

TEST_F(PowerPeak, Sleep_ReadFailureReturnsMinusOne) {
    qtest::Sim::get().setFault(qrx::slotIndex(qrx::Slot::QuorixReadMainBoardEEprom), 1);
    std::string out = qtest::inChild([] { std::printf("rc=%d\n", RunPowerPeakSleep()); });
    EXPECT_EQ(qtest::plainOutput(out), "rc=-1\n");
    EXPECT_EQ(qtest::logLines(out),
              (std::vector<std::string>{"[Critical]:Read power peak config from EEPROM failed! retval=-1",
                                        "[Critical]:Get Quorix power peak config failed!"}));
}

// With a one-second bound the real wait is short; it must match the drawn delay.
TEST_F(PowerPeak, Sleep_DrawsDelayWithinBoundAndWaitsIt) {
    qtest::putEeprom(kPowerPeakOffset, {0x01, 0x00});
    for (int round = 0; round < 3; ++round) {
        std::string out = qtest::inChild([] {
            timespec a{}, b{};
            clock_gettime(CLOCK_MONOTONIC, &a);
            int rc = RunPowerPeakSleep();
            clock_gettime(CLOCK_MONOTONIC, &b);
            long elapsedMs = (b.tv_sec - a.tv_sec) * 1000 + (b.tv_nsec - a.tv_nsec) / 1000000;
            std::printf("rc=%d elapsed=%ld\n", rc, elapsedMs);
        });
        unsigned seconds = 99, millis = 9999;
        long elapsed = -1;
        int rc = -9;
        std::string plain = qtest::plainOutput(out);
        ASSERT_EQ(std::sscanf(plain.c_str(),
                              "[Note]: Chassis power on, max delay time=1s, delay time=%us,%ums\nrc=%d elapsed=%ld",
                              &seconds, &millis, &rc, &elapsed),
                  4)
            << out;
        EXPECT_EQ(rc, 0);
        EXPECT_LT(millis, 1000u);
        unsigned delay = seconds * 1000 + millis;
        EXPECT_LE(delay, 1000u);
        EXPECT_GE(elapsed, static_cast<long>(delay));
        EXPECT_LT(elapsed, static_cast<long>(delay) + 500);
        char logged[128];
        std::snprintf(logged, sizeof logged, "[Critical]:Chassis power on, max delay time=1s, delay time=%us,%ums",
                      seconds, millis);
        EXPECT_EQ(qtest::logLines(out).back(), logged);
    }
}

// Bounds of minutes run on a clock a thousand times faster (libfaketime in a
// child process): the drawn delay stays within the bound and is slept in full.
TEST_F(PowerPeak, Sleep_LongBoundOnFastClock) {
    if (std::string(QRX_FAKETIME_LIB).empty()) GTEST_SKIP() << "libfaketime is not installed";
    qtest::putEeprom(kPowerPeakOffset, {0x57, 0x02});  // 599 s
    std::string command = "FAKETIME='+0 x1000' ASAN_OPTIONS=verify_asan_link_order=0 " +
                          qtest::programCommand(QRX_POWER_PEAK_PROBE, QRX_FAKETIME_LIB);
    unsigned long total = 0;
    for (int round = 0; round < 4; ++round) {
        timespec a{}, b{};
        clock_gettime(CLOCK_MONOTONIC, &a);
        qtest::CommandRun run = qtest::runCommand(command);
        const std::string &out = run.out;
        ASSERT_EQ(run.status, 0) << out;
        clock_gettime(CLOCK_MONOTONIC, &b);
        long realMs = (b.tv_sec - a.tv_sec) * 1000 + (b.tv_nsec - a.tv_nsec) / 1000000;
        unsigned seconds = 0, millis = 0;
        std::size_t at = out.find("[Note]");
        ASSERT_NE(at, std::string::npos) << out;
        ASSERT_EQ(std::sscanf(out.c_str() + at, "[Note]: Chassis power on, max delay time=599s, delay time=%us,%ums",
                              &seconds, &millis),
                  2)
            << out;
        EXPECT_LT(millis, 1000u);
        unsigned long delay = seconds * 1000ul + millis;
        EXPECT_LE(delay, 599000ul);
        EXPECT_NE(out.find("rc=0"), std::string::npos);
        // A sleep of delay ms takes delay/1000 ms of real time here, plus start-up.
        EXPECT_GE(realMs, static_cast<long>(delay / 1000) - 5) << "the wait was not slept";
        EXPECT_LT(realMs, static_cast<long>(delay / 1000) + 3000);
        total += delay;
    }
    EXPECT_GT(total, 0ul) << "four draws of zero from 599001 values";
}

}  // namespace
