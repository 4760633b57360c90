// The recorder across hour, day, month and year boundaries: each scenario runs in a child process whose clock
// its script moves, readings written into the shared block between samples.
#include <time.h>

#include <cstdio>
#include <sstream>

#include "core/byte_access.h"
#include "quorix_test.h"

namespace {

std::time_t g_frozen = 0;  // the scenario's clock; 0 leaves the real one

}  // namespace

// Shadows the C library's clock for the library under test.
extern "C" std::time_t time(std::time_t *out) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    if (g_frozen != 0) now.tv_sec = g_frozen;
    if (out != nullptr) *out = now.tv_sec;
    return now.tv_sec;
}

namespace {
// Present supplies 0 (100.4 W) and 1 (200.5 W), total 304 W, class-3 reading
// 35.5, devices 0 (4660) and 39 (1000).
const std::string kReadings =
    "u8 10816 1\nf32 1082f 100.4\nu8 108b5 1\nf32 108ce 200.5\nu16 1153c 304\nf32 13823 35.5\n"
    "u8 ff3c 1\nu16 ff3d 4660\nu8 1009b 1\nu16 1009c 1000\n";
const std::string kZero = " 0 0 0 0 1970-01-01_00:00 1970-01-01_00:00\n";
const std::string kOthers = " 1=36/36 2=100/100 3=201/201 10=4660/4660 49=1000/1000\n";

// "NAME h d m y refreshed closed channel=avg/max..." of one record.
void printRecord(const char *name, unsigned char *record) {
    const qrx::ByteView v(record);
    char times[40];
    const std::time_t refreshed = v.u32(208), closed = v.u32(212);
    const std::size_t n = std::strftime(times, 20, "%F_%R ", std::gmtime(&refreshed));
    std::strftime(times + n, 20, "%F_%R", std::gmtime(&closed));
    std::printf("%s %u %u %u %u %s", name, v.u16(200), v.u16(202), v.u16(204), v.u16(206), times);
    for (int c = 0; c < 50; ++c)
        if (v.u16(4 * c) != 0 || v.u16(4 * c + 2) != 0) std::printf(" %d=%u/%u", c, v.u16(4 * c), v.u16(4 * c + 2));
    std::printf("\n");
}

// One command a line: at DATE TIME | u8|u16|f32 HEXOFFSET VALUE | scan INDEX VALUE | flag VALUE | record -> "rc N" |
// dump day|month|year -> its two newest records | work day|month|year -> "work NAME channel=count/sum/max...".
void runScript(const std::string &script) {
    setenv("TZ", "UTC", 1);
    tzset();
    const struct { const char *name; QuorixHistoryBlock *&h; } histories[] = {
        {"day", dayHistoryLinkHead}, {"month", monthHistoryLinkHead}, {"year", yearHistoryLinkHead}};
    std::istringstream lines("scan 0 2\nscan 1 2\nscan 3 2\n" + script);
    for (std::string line, word, name; std::getline(lines, line);) {
        std::istringstream in(line);
        std::size_t offset = 0;
        double value = 0;
        std::tm at{};
        word = name = "";
        in >> word;
        if (word == "at" && strptime(line.c_str() + 3, "%F %T", &at) != nullptr) g_frozen = timegm(&at);
        if (word == "u8" || word == "u16" || word == "f32") in >> std::hex >> offset >> std::dec >> value;
        if (word == "u8") qtest::block().setU8(offset, static_cast<std::uint8_t>(value));
        if (word == "u16") qtest::block().setU16(offset, static_cast<std::uint16_t>(value));
        if (word == "f32") qtest::block().setF32(offset, static_cast<float>(value));
        if (word == "scan" && in >> offset >> value) write_device_scan_enable(unsigned(offset), unsigned(value));
        if (word == "flag" && in >> value) getHistoryDataFlag = static_cast<unsigned char>(value);
        if (word == "record") std::printf("rc %d\n", historyDataRecord());
        in >> name;
        for (const auto &[historyName, h] : histories) {
            if (name != historyName) continue;
            if (word == "dump")
                for (QuorixHistoryNode *n : {h->tail->prev, h->tail}) printRecord(historyName, n->record);
            if (word != "work") continue;
            std::printf("work %s", historyName);
            for (int c = 0; c < 50; ++c)
                if (h->work[3 * c] + h->work[3 * c + 1] + h->work[3 * c + 2] != 0)
                    std::printf(" %d=%u/%u/%u", c, h->work[3 * c], h->work[3 * c + 1], h->work[3 * c + 2]);
            std::printf("\n");
        }
    }
}

struct Scenario {
    const char *name;
    std::string script, expect;
};
const Scenario kScenarios[] = {
    {"the first sample closes a record everywhere; an hour averages its samples, a day its hours",
     "at 2026-01-31 22:10:00\n" + kReadings + "record\nat 2026-01-31 22:20:00\nf32 1082f 110.6\nu16 1153c 320\nrecord\n"
     "at 2026-01-31 22:40:00\nf32 1082f 90.2\nu16 1153c 290\nrecord\ndump day\nwork day\n"
     "at 2026-01-31 23:00:00\nf32 1082f 50\nu16 1153c 250\nrecord\ndump day\ndump month\nwork month\n"
     "at 2026-02-01 00:00:00\nf32 1082f 70\nu16 1153c 270\nrecord\ndump day\ndump month\ndump year\nwork year\n",
     "rc 0\nrc 0\nrc 0\nday" + kZero + "day 22 31 1 2026 2026-01-31_22:40 2026-01-31_22:10 0=304/304" + kOthers +
     "work day 0=2/610/320 1=2/72/36 2=2/201/111 3=2/402/201 10=2/9320/4660 49=2/2000/1000\n"
     "rc 0\nday 22 31 1 2026 2026-01-31_22:40 2026-01-31_22:10 0=304/304" + kOthers +
     "day 23 31 1 2026 2026-01-31_23:00 2026-01-31_23:00 0=286/320 1=36/36 2=83/111 3=201/201 10=4660/4660 49=1000/1000\n"
     "month" + kZero + "month 22 31 1 2026 2026-01-31_23:00 2026-01-31_22:10 0=304/304" + kOthers +
     "work month 0=1/286/286 1=1/36/36 2=1/83/83 3=1/201/201 10=1/4660/4660 49=1/1000/1000\n"
     "rc 0\nday 23 31 1 2026 2026-01-31_23:00 2026-01-31_23:00 0=286/320 1=36/36 2=83/111 3=201/201 10=4660/4660 49=1000/1000\n"
     "day 0 1 2 2026 2026-02-01_00:00 2026-02-01_00:00 0=270/270 1=36/36 2=70/70 3=201/201 10=4660/4660 49=1000/1000\n"
     "month 22 31 1 2026 2026-01-31_23:00 2026-01-31_22:10 0=304/304" + kOthers +
     "month 0 1 2 2026 2026-02-01_00:00 2026-02-01_00:00 0=278/286 1=36/36 2=76/83 3=201/201 10=4660/4660 49=1000/1000\n"
     "year 22 31 1 2026 2026-01-31_23:00 2026-01-31_22:10 0=304/304" + kOthers +
     "year 0 1 2 2026 2026-02-01_00:00 2026-02-01_00:00 0=278/278 1=36/36 2=76/76 3=201/201 10=4660/4660 49=1000/1000\n"
     "work year\n"},
    {"a month holds the mean and the largest of its daily averages",
     "at 2026-02-01 10:00:00\nu8 10816 1\nf32 1082f 100\nu16 1153c 1000\nrecord\nat 2026-02-01 11:00:00\nu16 1153c 1200\n"
     "record\nat 2026-02-02 09:00:00\nu16 1153c 600\nrecord\nat 2026-02-03 10:00:00\nu16 1153c 300\nrecord\n"
     "at 2026-03-01 11:00:00\nu16 1153c 500\nrecord\ndump month\ndump year\n",
     "rc 0\nrc 0\nrc 0\nrc 0\nrc 0\nmonth 10 3 2 2026 2026-02-03_10:00 2026-02-03_10:00 0=300/300 2=100/100\n"
     "month 11 1 3 2026 2026-03-01_11:00 2026-03-01_11:00 0=500/500 2=100/100\n"
     "year 10 1 2 2026 2026-02-03_10:00 2026-02-01_10:00 0=1000/1000 2=100/100\n"
     "year 11 1 3 2026 2026-03-01_11:00 2026-03-01_11:00 0=566/900 2=100/100\n"},
    {"the hour alone marks the day period: 09:00 the next day keeps it open",
     "at 2026-04-01 09:00:00\nu8 10816 1\nf32 1082f 100\nu16 1153c 100\nrecord\nat 2026-04-02 09:00:00\nu16 1153c 200\n"
     "record\nwork day\ndump day\ndump month\n",
     "rc 0\nrc 0\nwork day 0=1/200/200 1=1/0/0 2=1/100/100\nday" + kZero +
     "day 9 1 4 2026 2026-04-02_09:00 2026-04-01_09:00 0=100/100 2=100/100\n"
     "month 9 1 4 2026 2026-04-01_09:00 2026-04-01_09:00 0=100/100 2=100/100\n"
     "month 9 2 4 2026 2026-04-02_09:00 2026-04-02_09:00\n"},
    {"a new year closes every period; 255.4 is an absent class-3 reading; halves round up",
     "at 2026-12-31 23:30:00\nu8 10816 1\nf32 1082f 10.5\nu16 1153c 4660\nf32 13823 255.4\nrecord\n"
     "at 2027-01-01 00:10:00\nf32 1082f 12.49\nu16 1153c 300\nf32 13823 40.49\nrecord\nwork day\ndump year\n",
     "rc 0\nrc 0\nwork day\nyear 23 31 12 2026 2026-12-31_23:30 2026-12-31_23:30 0=4660/4660 2=11/11\n"
     "year 0 1 1 2027 2027-01-01_00:10 2027-01-01_00:10 0=300/300 1=40/40 2=12/12\n"},
    {"supplies not sampled: nothing closes, supply and total channels are emptied",
     "scan 1 1\nat 2026-03-01 10:00:00\n" + kReadings + "record\nwork day\ndump day\n",
     "rc 0\nwork day 1=1/36/36\nday" + kZero + "day" + kZero},
    {"devices switched off between samples are emptied; 255 is absent",
     "at 2026-03-01 10:00:00\n" + kReadings + "f32 13823 255\nrecord\nat 2026-03-01 10:10:00\nrecord\nwork day\n"
     "scan 0 1\nat 2026-03-01 10:20:00\nrecord\nwork day\n",
     "rc 0\nrc 0\nwork day 0=1/304/304 2=1/100/100 3=1/201/201 10=1/4660/4660 49=1/1000/1000\n"
     "rc 0\nwork day 0=2/608/304 2=2/200/100 3=2/402/201\n"},
    {"the readers' flag stops sampling until cleared",
     "at 2026-05-05 05:05:00\n" + kReadings + "flag 1\nrecord\nwork day\ndump day\nflag 0\nrecord\nwork day\n",
     "rc 0\nwork day\nday" + kZero + "day" + kZero + "rc 0\nwork day\n"},
};

class Recorder : public qtest::HistoryTest, public ::testing::WithParamInterface<Scenario> {};

// A child per scenario: the recorder's first sample is once per process.
TEST_P(Recorder, Scenario) {
    EXPECT_EQ(qtest::inChild([] { runScript(GetParam().script); }), GetParam().expect) << GetParam().name;
}
INSTANTIATE_TEST_SUITE_P(Periods, Recorder, ::testing::ValuesIn(kScenarios));

}  // namespace
