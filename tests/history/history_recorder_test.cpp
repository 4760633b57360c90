// The recorder across hour, day, month and year boundaries: each scenario runs the probe under libfaketime with
// a frozen clock its script moves, readings written into the shared block between samples.
#include <unistd.h>

#include <cstdio>

#include "quorix_test.h"

namespace {

// Present supplies 0 (100.4 W) and 1 (200.5 W), total 304 W, class-3 reading
// 35.5, devices 0 (4660) and 39 (1000).
const std::string kReadings =
    "u8 10816 1\nf32 1082f 100.4\nu8 108b5 1\nf32 108ce 200.5\nu16 1153c 304\nf32 13823 35.5\n"
    "u8 ff3c 1\nu16 ff3d 4660\nu8 1009b 1\nu16 1009c 1000\n";
const std::string kZero = " 0 0 0 0 1970-01-01_00:00 1970-01-01_00:00\n";
const std::string kOthers = " 1=36/36 2=100/100 3=201/201 10=4660/4660 49=1000/1000\n";

std::string probe(const std::string &script) {
    qtest::writeFile("/tmp/history-clock", "2026-01-01 00:00:00\n");
    qtest::writeFile("/tmp/history-script", "scan 0 2\nscan 1 2\nscan 3 2\n" + script);
    const std::string command = "env FAKETIME_TIMESTAMP_FILE=/tmp/history-clock FAKETIME_NO_CACHE=1 TZ=UTC "
                                "ASAN_OPTIONS=verify_asan_link_order=0 " +
                                qtest::programCommand(QRX_RECORDER_PROBE, QRX_FAKETIME_LIB) + " < /tmp/history-script";
    const qtest::CommandRun run = qtest::runCommand(command);
    return run.status == 0 ? run.out : run.out + "probe failed\n";
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

class Recorder : public qtest::BoundTest, public ::testing::WithParamInterface<Scenario> {};

TEST_P(Recorder, Scenario) {
    if (std::string(QRX_FAKETIME_LIB).empty() || access(QRX_FAKETIME_LIB, R_OK) != 0)
        GTEST_SKIP() << "libfaketime for this architecture is not installed";
    EXPECT_EQ(probe(GetParam().script), GetParam().expect) << GetParam().name;
}
INSTANTIATE_TEST_SUITE_P(Periods, Recorder, ::testing::ValuesIn(kScenarios));

}  // namespace
