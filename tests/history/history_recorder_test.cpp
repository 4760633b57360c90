// The recorder across hour, day, month and year boundaries. Each scenario
// runs in a probe process under libfaketime with a frozen clock that the
// script moves; the readings are written into the shared block between samples.
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <map>
#include <sstream>
#include <string>

#include "quorix_test.h"

namespace {

using qtest::Record;

// Channel numbers of the record.
constexpr int kTotal = 0, kClass3Ch = 1, kPsu0 = 2, kPsu1 = 3, kDev0 = 10, kDev39 = 49;

struct ProbeRun {
    std::vector<int> results;                                       // "rc" of every record command
    std::map<std::string, std::vector<std::vector<Record>>> dumps;  // per history, every dump in order
    std::vector<std::vector<unsigned>> work;                        // every "work" line
    std::string errors;
};

std::uint32_t utc(int year, int month, int day, int hour, int minute) {
    std::tm t{};
    t.tm_year = year - 1900;
    t.tm_mon = month - 1;
    t.tm_mday = day;
    t.tm_hour = hour;
    t.tm_min = minute;
    return static_cast<std::uint32_t>(timegm(&t));
}

Record fromHex(const std::string &hex) {
    Record r;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2)
        r.push_back(static_cast<unsigned char>(std::stoi(hex.substr(i, 2), nullptr, 16)));
    return r;
}

class RecorderTest : public qtest::BoundTest {
protected:
    void SetUp() override {
        BoundTest::SetUp();
        if (std::string(QRX_FAKETIME_LIB).empty() || access(QRX_FAKETIME_LIB, R_OK) != 0)
            GTEST_SKIP() << "libfaketime for this architecture is not installed";
        // Supplies, class-0 devices and the class-3 reading are sampled.
        setScan(0, 2);
        setScan(1, 2);
        setScan(3, 2);
    }

    static void setScan(unsigned scan, unsigned value) { ASSERT_EQ(write_device_scan_enable(scan, value), 0); }

    static ProbeRun run(const std::string &script) {
        const std::string clock = "/tmp/history-clock", input = "/tmp/history-script";
        qtest::writeFile(clock, "2026-01-01 00:00:00\n");
        qtest::writeFile(input, script);
        const std::string command =
            "env FAKETIME_TIMESTAMP_FILE=" + clock + " FAKETIME_NO_CACHE=1 TZ=UTC ASAN_OPTIONS=verify_asan_link_order=0 " +
            qtest::programCommand(QRX_RECORDER_PROBE, QRX_FAKETIME_LIB) + " < " + input;
        ProbeRun out;
        FILE *pipe = popen(command.c_str(), "r");
        if (pipe == nullptr) {
            out.errors = "cannot start the probe";
            return out;
        }
        std::string text;
        char buf[4096];
        std::size_t n;
        while ((n = std::fread(buf, 1, sizeof buf, pipe)) > 0) text.append(buf, n);
        if (pclose(pipe) != 0) out.errors += "probe failed;";

        std::istringstream lines(text);
        std::string line, current;
        while (std::getline(lines, line)) {
            std::istringstream in(line);
            std::string word;
            in >> word;
            if (word == "rc") {
                int rc;
                in >> rc;
                out.results.push_back(rc);
            } else if (word == "history") {
                in >> current;
                out.dumps[current].emplace_back();
            } else if (word == "rec") {
                std::string hex;
                in >> hex;
                out.dumps[current].back().push_back(fromHex(hex));
            } else if (word == "work") {
                out.work.emplace_back();
                unsigned v;
                while (in >> v) out.work.back().push_back(v);
            } else {
                out.errors += line + ";";
            }
        }
        return out;
    }
};

struct Expect {
    int channel;
    unsigned average;
    unsigned maximum;
};

void expectRecord(const Record &r, std::initializer_list<Expect> channels, int hour, int day, int month, int year,
                  std::uint32_t refreshed, std::uint32_t closed) {
    ASSERT_EQ(r.size(), 216u);
    qrx::ByteView v(const_cast<unsigned char *>(r.data()));
    for (const Expect &e : channels) {
        EXPECT_EQ(v.u16(4 * e.channel), e.average) << "average of channel " << e.channel;
        EXPECT_EQ(v.u16(4 * e.channel + 2), e.maximum) << "maximum of channel " << e.channel;
    }
    EXPECT_EQ(v.u16(200), hour);
    EXPECT_EQ(v.u16(202), day);
    EXPECT_EQ(v.u16(204), month);
    EXPECT_EQ(v.u16(206), year);
    EXPECT_EQ(v.u32(208), refreshed);
    EXPECT_EQ(v.u32(212), closed);
}

// Counters of channel c in a working area: count, sum, maximum.
std::vector<unsigned> channel(const std::vector<unsigned> &work, int c) {
    return {work.at(3 * c), work.at(3 * c + 1), work.at(3 * c + 2)};
}

const char *kFirstReadings =
    "u8 10816 1\nf32 1082f 100.4\nu8 108b5 1\nf32 108ce 200.5\nu16 1153c 304\nf32 13823 35.5\n"
    "u8 ff3c 1\nu16 ff3d 4660\nu8 1009b 1\nu16 1009c 1000\n";

TEST_F(RecorderTest, FirstSample_ClosesARecordInEveryHistory) {
    const ProbeRun r = run(std::string("at 2026-01-31 22:10:00\n") + kFirstReadings +
                           "record\ndump day\ndump month\ndump year\nwork day\nwork month\nwork year\n");
    ASSERT_EQ(r.errors, "");
    ASSERT_EQ(r.results, std::vector<int>{0});
    const std::uint32_t t = utc(2026, 1, 31, 22, 10);
    for (const char *name : {"day", "month", "year"}) {
        SCOPED_TRACE(name);
        const auto &records = r.dumps.at(name).at(0);
        ASSERT_FALSE(records.empty());
        // One sample: average and maximum agree; 100.4 -> 100, 200.5 -> 201, 35.5 -> 36.
        expectRecord(records.back(),
                     {{kTotal, 304, 304},
                      {kClass3Ch, 36, 36},
                      {kPsu0, 100, 100},
                      {kPsu1, 201, 201},
                      {kDev0, 4660, 4660},
                      {kDev39, 1000, 1000},
                      {4, 0, 0}},
                     22, 31, 1, 2026, t, t);
        EXPECT_EQ(records[records.size() - 2], Record(216, 0));
    }
    EXPECT_EQ(r.dumps.at("day")[0].size(), 24u);
    EXPECT_EQ(r.dumps.at("month")[0].size(), 31u);
    EXPECT_EQ(r.dumps.at("year")[0].size(), 12u);
    for (const auto &w : r.work) EXPECT_EQ(w, std::vector<unsigned>(150, 0));
}

TEST_F(RecorderTest, Periods_RollOverAtHourDayAndMonthWithAveragedMaxima) {
    const std::string script = std::string("at 2026-01-31 22:10:00\n") + kFirstReadings +
                               "record\n"
                               "at 2026-01-31 22:20:00\nf32 1082f 110.6\nu16 1153c 320\nrecord\n"
                               "at 2026-01-31 22:40:00\nf32 1082f 90.2\nu16 1153c 290\nrecord\n"
                               "dump day\nwork day\n"
                               "at 2026-01-31 23:00:00\nf32 1082f 50\nu16 1153c 250\nrecord\n"
                               "dump day\ndump month\nwork month\n"
                               "at 2026-02-01 00:00:00\nf32 1082f 70\nu16 1153c 270\nrecord\n"
                               "dump day\ndump month\ndump year\nwork year\n";
    const ProbeRun r = run(script);
    ASSERT_EQ(r.errors, "");
    ASSERT_EQ(r.results, (std::vector<int>{0, 0, 0, 0, 0}));
    const std::uint32_t t1 = utc(2026, 1, 31, 22, 10), t3 = utc(2026, 1, 31, 22, 40);
    const std::uint32_t t4 = utc(2026, 1, 31, 23, 0), t5 = utc(2026, 2, 1, 0, 0);

    // Within the hour the newest record only has its time stamp refreshed.
    const auto &day1 = r.dumps.at("day").at(0);
    expectRecord(day1.back(), {{kTotal, 304, 304}, {kPsu0, 100, 100}}, 22, 31, 1, 2026, t3, t1);
    EXPECT_EQ(channel(r.work.at(0), kPsu0), (std::vector<unsigned>{2, 111 + 90, 111}));
    EXPECT_EQ(channel(r.work.at(0), kTotal), (std::vector<unsigned>{2, 320 + 290, 320}));

    // 23:00 closes the hour: the 22:20, 22:40 and 23:00 samples.
    const auto &day2 = r.dumps.at("day").at(1);
    expectRecord(
        day2.back(),
        {{kTotal, 860 / 3, 320}, {kPsu0, 251 / 3, 111}, {kPsu1, 201, 201}, {kClass3Ch, 36, 36}, {kDev0, 4660, 4660}},
        23, 31, 1, 2026, t4, t4);
    expectRecord(day2[day2.size() - 2], {{kTotal, 304, 304}}, 22, 31, 1, 2026, t3, t1);
    // The day goes on: the month's newest record is refreshed; the hour's average is rolled in.
    expectRecord(r.dumps.at("month").at(0).back(), {{kTotal, 304, 304}}, 22, 31, 1, 2026, t4, t1);
    EXPECT_EQ(channel(r.work.at(1), kTotal), (std::vector<unsigned>{1, 286, 286}));
    EXPECT_EQ(channel(r.work.at(1), kPsu0), (std::vector<unsigned>{1, 83, 83}));

    // Midnight into February closes the hour, the day and the month.
    const auto &day3 = r.dumps.at("day").at(2);
    expectRecord(day3.back(), {{kTotal, 270, 270}, {kPsu0, 70, 70}}, 0, 1, 2, 2026, t5, t5);
    // The day's maximum is the largest hourly average (286), not the largest sample (320).
    const auto &month = r.dumps.at("month").at(1);
    expectRecord(month.back(),
                 {{kTotal, (286 + 270) / 2, 286}, {kPsu0, (83 + 70) / 2, 83}, {kPsu1, 201, 201}, {kDev39, 1000, 1000}},
                 0, 1, 2, 2026, t5, t5);
    expectRecord(month[month.size() - 2], {{kTotal, 304, 304}}, 22, 31, 1, 2026, t4, t1);
    const auto &year = r.dumps.at("year").at(0);
    expectRecord(year.back(), {{kTotal, 278, 278}, {kPsu0, 76, 76}, {kClass3Ch, 36, 36}}, 0, 1, 2, 2026, t5, t5);
    expectRecord(year[year.size() - 2], {{kTotal, 304, 304}}, 22, 31, 1, 2026, t4, t1);
    EXPECT_EQ(r.work.at(2), std::vector<unsigned>(150, 0));
}

TEST_F(RecorderTest, YearRecord_HoldsTheMeanAndLargestOfTheDailyAverages) {
    const ProbeRun r =
        run("at 2026-02-01 10:00:00\nu8 10816 1\nf32 1082f 100\nu16 1153c 1000\nrecord\n"
            "at 2026-02-01 11:00:00\nu16 1153c 1200\nrecord\n"
            "at 2026-02-02 09:00:00\nu16 1153c 600\nrecord\n"
            "at 2026-02-03 10:00:00\nu16 1153c 300\nrecord\n"
            "at 2026-03-01 11:00:00\nu16 1153c 500\nrecord\ndump month\ndump year\n");
    ASSERT_EQ(r.errors, "");
    const std::uint32_t t1 = utc(2026, 2, 1, 10, 0), t5 = utc(2026, 3, 1, 11, 0);
    // Daily records: Feb 1 (1200 at 11:00, 600 at 09:00 the next day), Feb 2, Feb 3. Only the hour is the
    // hour marker, so each day's sample is taken at another hour than the one before.
    const auto &month = r.dumps.at("month")[0];
    expectRecord(month[month.size() - 3], {{kTotal, 900, 1200}}, 9, 2, 2, 2026, utc(2026, 2, 2, 9, 0),
                 utc(2026, 2, 2, 9, 0));
    expectRecord(month[month.size() - 2], {{kTotal, 300, 300}}, 10, 3, 2, 2026, utc(2026, 2, 3, 10, 0),
                 utc(2026, 2, 3, 10, 0));
    expectRecord(month.back(), {{kTotal, 500, 500}, {kPsu0, 100, 100}}, 11, 1, 3, 2026, t5, t5);
    // February's record: the mean of the daily averages (900, 300, 500) and the largest of them.
    const auto &year = r.dumps.at("year")[0];
    expectRecord(year.back(), {{kTotal, (900 + 300 + 500) / 3, 900}, {kPsu0, 100, 100}}, 11, 1, 3, 2026, t5, t5);
    expectRecord(year[year.size() - 2], {{kTotal, 1000, 1000}}, 10, 1, 2, 2026, utc(2026, 2, 3, 10, 0), t1);
}

TEST_F(RecorderTest, SameHourOnTheNextDay_KeepsTheHourOpen) {
    // The day period's marker is the hour alone: 09:00 the next day is still
    // "the same hour", while the month period sees a new day and closes.
    const ProbeRun r =
        run("at 2026-04-01 09:00:00\nu8 10816 1\nf32 1082f 100\nu16 1153c 100\nrecord\n"
            "at 2026-04-02 09:00:00\nu16 1153c 200\nrecord\nwork day\ndump day\ndump month\n");
    ASSERT_EQ(r.errors, "");
    const std::uint32_t t1 = utc(2026, 4, 1, 9, 0), t2 = utc(2026, 4, 2, 9, 0);
    EXPECT_EQ(channel(r.work.at(0), kTotal), (std::vector<unsigned>{1, 200, 200}));
    expectRecord(r.dumps.at("day")[0].back(), {{kTotal, 100, 100}}, 9, 1, 4, 2026, t2, t1);
    expectRecord(r.dumps.at("month")[0].back(), {{kTotal, 0, 0}, {kPsu0, 0, 0}}, 9, 2, 4, 2026, t2, t2);
}

TEST_F(RecorderTest, NewYear_ClosesTheYearRecordAndAnAbsentReadingZeroesItsChannel) {
    const ProbeRun r =
        run("at 2026-12-31 23:30:00\nu8 10816 1\nf32 1082f 10.5\nu16 1153c 4660\nf32 13823 255.4\nrecord\n"
            "at 2027-01-01 00:10:00\nf32 1082f 12.49\nu16 1153c 300\nf32 13823 40.49\nrecord\nwork day\n"
            "dump day\ndump month\ndump year\n");
    ASSERT_EQ(r.errors, "");
    const std::uint32_t t1 = utc(2026, 12, 31, 23, 30), t2 = utc(2027, 1, 1, 0, 10);
    expectRecord(r.dumps.at("day")[0].back(), {{kTotal, 300, 300}, {kPsu0, 12, 12}, {kClass3Ch, 40, 40}}, 0, 1, 1, 2027,
                 t2, t2);
    expectRecord(r.dumps.at("month")[0].back(), {{kTotal, 300, 300}, {kPsu0, 12, 12}}, 0, 1, 1, 2027, t2, t2);
    const auto &year = r.dumps.at("year")[0];
    expectRecord(year.back(), {{kTotal, 300, 300}, {kPsu0, 12, 12}, {kClass3Ch, 40, 40}}, 0, 1, 1, 2027, t2, t2);
    // 255.4 truncates to 255: absent, so the class-3 channel is empty; 10.5 rounds up.
    expectRecord(year[year.size() - 2], {{kTotal, 4660, 4660}, {kPsu0, 11, 11}, {kClass3Ch, 0, 0}}, 23, 31, 12, 2026,
                 t1, t1);
}

TEST_F(RecorderTest, ScanSwitches_GateTheChannels) {
    // Supplies not sampled: nothing closes, and the supply and total channels are
    // emptied; the class-3 reading was taken before.
    setScan(1, 1);
    ProbeRun r =
        run("at 2026-03-01 10:00:00\nu8 10816 1\nf32 1082f 100\nu16 1153c 100\nf32 13823 35.49\n"
            "record\nwork day\ndump day\n");
    ASSERT_EQ(r.errors, "");
    EXPECT_EQ(r.results, std::vector<int>{0});
    for (const Record &rec : r.dumps.at("day")[0]) EXPECT_EQ(rec, Record(216, 0));
    EXPECT_EQ(channel(r.work.at(0), kClass3Ch), (std::vector<unsigned>{1, 35, 35}));
    EXPECT_EQ(channel(r.work.at(0), kTotal), (std::vector<unsigned>{0, 0, 0}));
    EXPECT_EQ(channel(r.work.at(0), kPsu0), (std::vector<unsigned>{0, 0, 0}));

    // Class-0 devices switched off between samples: their channels are emptied.
    setScan(1, 2);
    r =
        run("at 2026-03-01 10:00:00\nu8 10816 1\nf32 1082f 100\nu16 1153c 100\nu8 ff3c 1\nu16 ff3d 4660\n"
            "f32 13823 255\nrecord\n"
            "at 2026-03-01 10:10:00\nrecord\nwork day\nscan 0 1\nat 2026-03-01 10:20:00\nrecord\nwork day\n");
    ASSERT_EQ(r.errors, "");
    EXPECT_EQ(channel(r.work.at(0), kDev0), (std::vector<unsigned>{1, 4660, 4660}));
    EXPECT_EQ(channel(r.work.at(1), kDev0), (std::vector<unsigned>{0, 0, 0}));
    EXPECT_EQ(channel(r.work.at(1), kPsu0), (std::vector<unsigned>{2, 200, 100}));
    // An absent class-3 reading (255) leaves its channel empty.
    EXPECT_EQ(channel(r.work.at(1), kClass3Ch), (std::vector<unsigned>{0, 0, 0}));
}

TEST_F(RecorderTest, Flag_StopsSampling) {
    const ProbeRun r = run(std::string("at 2026-05-05 05:05:00\n") + kFirstReadings +
                           "flag 1\nrecord\nwork day\ndump day\nflag 0\nrecord\nwork day\n");
    ASSERT_EQ(r.errors, "");
    EXPECT_EQ(r.results, (std::vector<int>{0, 0}));
    EXPECT_EQ(r.work.at(0), std::vector<unsigned>(150, 0));
    for (const Record &rec : r.dumps.at("day")[0]) EXPECT_EQ(rec, Record(216, 0));
    // Cleared at once by the first real sample, which closes the first hour.
    EXPECT_EQ(r.work.at(1), std::vector<unsigned>(150, 0));
}

}  // namespace
