// QuorixDebug: level, path and module rules, output formats and the cache.
// The cache is filled once per process, so every scenario runs in a child.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <functional>
#include <regex>
#include <set>
#include <string>

#include "quorix_test.h"

namespace {

using qtest::kReloadMarker;
using qtest::touchControl;

// Replaces every well-formed time text by "T"; any other shape stays visible.
std::string maskTimes(const std::string &out) {
    static const std::regex time(R"(<\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d>)");
    return std::regex_replace(out, time, "<T>");
}

std::string timeText(std::time_t t) {
    std::tm utc{};
    gmtime_r(&t, &utc);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &utc);
    return text;
}

class DebugLog : public qtest::BoundTest {
protected:
    void SetUp() override {
        BoundTest::SetUp();
        std::filesystem::create_directories(qtest::kControlDir);
    }

    // Standard output of calls made in a fresh process under time zone tz.
    static std::string runFresh(const std::function<void()> &calls, const char *tz = "UTC") {
        auto result = qtest::runInChild([&] {
            setenv("TZ", tz, 1);
            tzset();
            calls();
        });
        EXPECT_TRUE(result.exited);
        EXPECT_EQ(result.status, 0);
        return result.out;
    }
    static std::string logged(const std::function<void()> &calls) { return maskTimes(runFresh(calls)); }
};

TEST_F(DebugLog, NoLevelFile_NothingLoggedAnywhere) {
    touchControl({"ENABLE_QRXMONITOR", "PATH_BOTH"});
    qtest::PlatformLog platform;
    EXPECT_EQ(logged([] {
                  for (unsigned level = 0; level < 4; ++level) QuorixDebug(level, "QRXMONITOR", "level %u", level);
              }),
              "");
    EXPECT_TRUE(platform.drain().empty());
}

TEST_F(DebugLog, Threshold_PassesLevelsAtOrAboveIt) {
    const char *files[] = {"LEVEL_INFO", "LEVEL_WARNING", "LEVEL_ERROR", "LEVEL_CRITICAL"};
    const char *expected[] = {
        "[Info]:<T>m0\n[Warning]:<T>m1\n[Error]:<T>m2\n[Critical]:<T>m3\n",
        "[Warning]:<T>m1\n[Error]:<T>m2\n[Critical]:<T>m3\n",
        "[Error]:<T>m2\n[Critical]:<T>m3\n",
        "[Critical]:<T>m3\n",
    };
    for (int t = 0; t < 4; ++t) {
        SCOPED_TRACE(files[t]);
        qtest::clearDirectory(qtest::kControlDir);
        touchControl({files[t], "PATH_SERIAL", "ENABLE_IPMI"});
        EXPECT_EQ(logged([] {
                      for (unsigned level = 0; level < 4; ++level) QuorixDebug(level, "IPMI", "m%u", level);
                  }),
                  expected[t]);
    }
}

TEST_F(DebugLog, LevelWarningAndInfo_InfoWins) {
    touchControl({"LEVEL_WARNING", "LEVEL_INFO", "PATH_SERIAL", "ENABLE_IPMI"});
    EXPECT_EQ(logged([] { QuorixDebug(0, "IPMI", "sel %d cleared", 3); }), "[Info]:<T>sel 3 cleared\n");
}

TEST_F(DebugLog, RefusedArguments_NothingLogged) {
    touchControl({"LEVEL_INFO", "PATH_SERIAL", "ENABLE_IPMI"});
    EXPECT_EQ(logged([] {
                  const char *noFormat = nullptr;
                  QuorixDebug(4, "IPMI", "four");
                  QuorixDebug(static_cast<unsigned>(-1), "IPMI", "minus one");
                  QuorixDebug(0, nullptr, "no module");
                  QuorixDebug(0, "IPMI", noFormat, 1);
                  QuorixDebug(0, "IPMI", "still on");
              }),
              "[Info]:<T>still on\n");
}

// Each level reaches the platform log as local5 with its table priority;
// Error goes out as 0xAF (debug), on purpose.
TEST_F(DebugLog, PathLogAndBoth_PlatformLogOnlyWithLevelPriorities) {
    touchControl({"LEVEL_INFO", "PATH_LOG", "PATH_BOTH", "ENABLE_QRXMONITOR"});
    qtest::PlatformLog platform;
    EXPECT_EQ(logged([] {
                  for (unsigned level = 0; level < 4; ++level) QuorixDebug(level, "QRXMONITOR", "psu %u", level);
              }),
              "");
    auto messages = platform.drain();
    ASSERT_EQ(messages.size(), 4u);
    const char *priorities[] = {"174", "172", "175", "170"};
    for (int level = 0; level < 4; ++level) {
        std::regex shape("<" + std::string(priorities[level]) + R"(>[A-Z][a-z]{2} [ \d]\d \d\d:\d\d:\d\d [^:]+: psu )" +
                         std::to_string(level));
        EXPECT_TRUE(std::regex_match(messages[level], shape)) << messages[level];
    }
}

TEST_F(DebugLog, PathBoth_ConsoleLineAndPlatformMessage) {
    touchControl({"LEVEL_ERROR", "PATH_BOTH", "ENABLE_IPMI"});
    qtest::PlatformLog platform;
    EXPECT_EQ(logged([] { QuorixDebug(2, "IPMI", "bad %s", "request"); }), "[Error]:<T>bad request\n");
    auto messages = platform.drain();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_TRUE(std::regex_match(messages[0], std::regex(R"(<175>.*: bad request)"))) << messages[0];
}

TEST_F(DebugLog, NoPathFile_NothingWritten) {
    touchControl({"LEVEL_INFO", "ENABLE_IPMI"});
    qtest::PlatformLog platform;
    EXPECT_EQ(logged([] { QuorixDebug(3, "IPMI", "lost"); }), "");
    EXPECT_TRUE(platform.drain().empty());
}

TEST_F(DebugLog, UnlistedModuleSwitch_EnablesIt) {
    touchControl({"LEVEL_INFO", "PATH_SERIAL", "ENABLE_QRXDIAG"});
    EXPECT_EQ(GetSourceIsVaild("QRXDIAG"), 0);
    EXPECT_EQ(logged([] {
                  QuorixDebug(1, "QRXDIAG", "core dumped");
                  QuorixDebug(1, "QRXMONITOR", "not enabled");
              }),
              "[Warning]:<T>core dumped\n");
}

TEST_F(DebugLog, LongModuleName_OnlyFirst15CharactersCount) {
    touchControl({"LEVEL_INFO", "PATH_SERIAL", "ENABLE_ABCDEFGHIJKLMNOPQRST"});
    EXPECT_EQ(logged([] {
                  QuorixDebug(0, "ABCDEFGHIJKLMNOPQRST", "twenty");
                  QuorixDebug(0, "ABCDEFGHIJKLMNO", "fifteen");
                  QuorixDebug(0, "ABCDEFGHIJKLMNOxyz", "other tail");
                  QuorixDebug(0, "ABCDEFGHIJKLMN", "fourteen");
                  QuorixDebug(0, "xBCDEFGHIJKLMNOPQRST", "other head");
              }),
              "[Info]:<T>twenty\n[Info]:<T>fifteen\n[Info]:<T>other tail\n");
}

TEST_F(DebugLog, SeventeenSwitches_First16InDirectoryOrderHonoured) {
    touchControl({"LEVEL_INFO", "PATH_SERIAL"});
    std::set<std::string> modules;
    for (int i = 0; i < 17; ++i) {
        char name[16];
        std::snprintf(name, sizeof name, "MOD%02d", i);
        modules.insert(name);
        touchControl({std::string("ENABLE_") + name});
    }
    auto order = qtest::enabledInDirectoryOrder();
    ASSERT_EQ(order.size(), 17u);
    std::set<std::string> honoured(order.begin(), order.begin() + 16);

    std::string expected;
    for (const auto &m : modules) {
        if (honoured.count(m)) expected += "[Info]:<T>" + m + "\n";
    }
    EXPECT_EQ(logged([&] {
                  for (const auto &m : modules) QuorixDebug(0, m.c_str(), "%s", m.c_str());
                  QuorixDebug(0, "", "all slots taken");
              }),
              expected);
}

TEST_F(DebugLog, EmptyModuleName_MatchesAnUnusedSlot) {
    touchControl({"LEVEL_INFO", "PATH_SERIAL", "ENABLE_IPMI"});
    EXPECT_EQ(logged([] { QuorixDebug(0, "", "anonymous"); }), "[Info]:<T>anonymous\n");
}

TEST_F(DebugLog, MissingControlDirectory_NothingLogged) {
    std::filesystem::remove_all(qtest::kControlDir);
    EXPECT_EQ(logged([] { QuorixDebug(3, "", "nowhere"); }), "");
}

// Without the marker the first load stands; with it every call re-reads the
// files; the library never removes it.
TEST_F(DebugLog, ReloadMarker_OnlyItMakesFileChangesVisible) {
    touchControl({"LEVEL_INFO", "PATH_SERIAL", "ENABLE_A"});
    const std::string a = qtest::kControlDir + "ENABLE_A";
    const std::string b = qtest::kControlDir + "ENABLE_B";
    EXPECT_EQ(logged([&] {
                  QuorixDebug(0, "A", "one");
                  touchControl({"ENABLE_B", "LEVEL_CRITICAL"});
                  std::filesystem::remove(a);
                  std::filesystem::remove(qtest::kControlDir + "LEVEL_INFO");
                  QuorixDebug(0, "B", "ignored: B not loaded");
                  QuorixDebug(0, "A", "two");
                  qtest::writeFile(kReloadMarker, "");
                  QuorixDebug(3, "B", "three");
                  QuorixDebug(3, "A", "ignored: A removed");
                  QuorixDebug(2, "B", "ignored: now Critical");
                  std::filesystem::remove(b);
                  QuorixDebug(3, "B", "ignored: B removed");
                  touchControl({"ENABLE_A"});
                  QuorixDebug(3, "A", "four");
                  std::filesystem::remove(kReloadMarker);
                  touchControl({"ENABLE_B"});
                  QuorixDebug(3, "B", "ignored: marker gone");
              }),
              "[Info]:<T>one\n[Info]:<T>two\n[Critical]:<T>three\n[Critical]:<T>four\n");

    touchControl({"ENABLE_B"});
    qtest::writeFile(kReloadMarker, "");
    logged([] { QuorixDebug(0, "B", "x"); });
    EXPECT_TRUE(qtest::fileExists(kReloadMarker));
}

TEST_F(DebugLog, ConsoleLine_LocalTimeInIsoForm) {
    touchControl({"LEVEL_INFO", "PATH_SERIAL", "ENABLE_IPMI"});
    const std::regex line(R"(\[Warning\]:<([-\dT:]+)>fan 2 at 4200 rpm\n)");
    // "QRX-3" is three hours east of UTC: the text must be local time.
    for (auto [tz, offset] : {std::pair{"UTC", 0}, std::pair{"QRX-3", 3 * 3600}}) {
        SCOPED_TRACE(tz);
        std::time_t before = std::time(nullptr);
        std::string out = runFresh([] { QuorixDebug(1, "IPMI", "fan %d at %d rpm", 2, 4200); }, tz);
        std::time_t after = std::time(nullptr);
        std::smatch m;
        ASSERT_TRUE(std::regex_match(out, m, line)) << out;
        bool inRange = false;
        for (std::time_t t = before; t <= after; ++t) inRange |= m[1] == timeText(t + offset);
        EXPECT_TRUE(inRange) << m[1];
    }
}

// A daemon that is already running follows a change of time zone.
TEST_F(DebugLog, ConsoleLine_FollowsTimeZoneChangedWhileRunning) {
    touchControl({"LEVEL_INFO", "PATH_SERIAL", "ENABLE_IPMI"});
    std::time_t before = std::time(nullptr);
    std::string out = runFresh([] {
        QuorixDebug(0, "IPMI", "utc");
        setenv("TZ", "QRX-3", 1);
        QuorixDebug(0, "IPMI", "east");
    });
    std::time_t after = std::time(nullptr);
    std::smatch m;
    ASSERT_TRUE(std::regex_match(out, m, std::regex(R"(\[Info\]:<([-\dT:]+)>utc\n\[Info\]:<([-\dT:]+)>east\n)")))
        << out;
    bool shifted = false;
    for (std::time_t t = before; t <= after; ++t) shifted |= m[2] == timeText(t + 3 * 3600);
    EXPECT_TRUE(shifted) << m[1] << " then " << m[2];
}

TEST_F(DebugLog, FormatEndingInNewline_GivesEmptyLine) {
    touchControl({"LEVEL_INFO", "PATH_SERIAL", "ENABLE_IPMI"});
    EXPECT_EQ(logged([] { QuorixDebug(0, "IPMI", "done\n"); }), "[Info]:<T>done\n\n");
}

TEST_F(DebugLog, LongMessage_CutAt1023Characters) {
    touchControl({"LEVEL_INFO", "PATH_BOTH", "ENABLE_IPMI"});
    qtest::PlatformLog platform;
    const std::string exact(1023, 'e');
    const std::string tail = std::string(1000, 'x') + "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    EXPECT_EQ(logged([&] {
                  QuorixDebug(0, "IPMI", "%s", exact.c_str());
                  QuorixDebug(0, "IPMI", "%s", tail.c_str());
              }),
              "[Info]:<T>" + exact + "\n[Info]:<T>" + tail.substr(0, 1023) + "\n");
    auto messages = platform.drain();
    ASSERT_EQ(messages.size(), 2u);
    EXPECT_EQ(messages[1].substr(messages[1].size() - 1025), ": " + tail.substr(0, 1023));
}

}  // namespace
