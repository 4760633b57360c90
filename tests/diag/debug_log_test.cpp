// QuorixDebug: level, path and module rules, output formats and the cache.
// The cache is filled once per process, so every case runs in a child.
#include <cstdio>
#include <filesystem>
#include <functional>
#include <regex>
#include <tuple>

#include "quorix_test.h"

namespace {

using qtest::touchControl;
using Files = std::vector<std::string>;

class DebugLog : public qtest::BoundTest {};

// Standard output of calls made in a fresh process with fresh control files,
// every well-formed time text masked as "T".
std::string logged(const Files &files, const std::function<void()> &calls) {
    std::filesystem::remove_all(qtest::kControlDir);
    std::filesystem::create_directories(qtest::kControlDir);
    for (const std::string &f : files) touchControl({f});
    return std::regex_replace(qtest::inChild(calls), std::regex(R"(<\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d>)"), "<T>");
}

void eachLevel(const char *module) {
    for (unsigned level = 0; level < 4; ++level) QuorixDebug(level, module, "m%u", level);
}

TEST_F(DebugLog, LevelPathAndModuleRulesDecideWhatReachesTheConsole) {
    const std::string all = "[Info]:<T>m0\n[Warning]:<T>m1\n[Error]:<T>m2\n[Critical]:<T>m3\n";
    // clang-format off
    const std::tuple<const char *, Files, std::function<void()>, std::string> cases[] = {  // what, files, calls, out
        {"no level file", {"ENABLE_IPMI", "PATH_SERIAL"}, [] { eachLevel("IPMI"); }, ""},
        {"no path file", {"ENABLE_IPMI", "LEVEL_INFO"}, [] { eachLevel("IPMI"); }, ""},
        {"no control directory", {}, [] { std::filesystem::remove_all(qtest::kControlDir), QuorixDebug(3, "", "x"); }, ""},
        {"info", {"LEVEL_INFO", "PATH_SERIAL", "ENABLE_IPMI"}, [] { eachLevel("IPMI"); }, all},
        {"warning", {"LEVEL_WARNING", "PATH_SERIAL", "ENABLE_IPMI"}, [] { eachLevel("IPMI"); }, all.substr(13)},
        {"critical", {"LEVEL_CRITICAL", "PATH_SERIAL", "ENABLE_IPMI"}, [] { eachLevel("IPMI"); }, all.substr(43)},
        {"warning and info: info", {"LEVEL_WARNING", "LEVEL_INFO", "PATH_SERIAL", "ENABLE_IPMI"},
         [] { QuorixDebug(0, "IPMI", "sel %d cleared", 3); }, "[Info]:<T>sel 3 cleared\n"},
        {"refused and filtered calls return 0", {"LEVEL_WARNING", "PATH_SERIAL", "ENABLE_IPMI"}, [] {
             const char *noFormat = nullptr;
             std::printf("%d%d%d%d%d%d\n", QuorixDebug(4, "IPMI", "four"), QuorixDebug(~0u, "IPMI", "minus one"),
                         QuorixDebug(1, nullptr, "no module"), QuorixDebug(1, "IPMI", noFormat, 1),
                         QuorixDebug(0, "IPMI", "below"), QuorixDebug(1, "SNMP", "not enabled"));
             QuorixDebug(1, "IPMI", "on");
         }, "000000\n[Warning]:<T>on\n"},
        {"unlisted module with a switch", {"LEVEL_INFO", "PATH_SERIAL", "ENABLE_QRXDIAG"},
         [] { QuorixDebug(1, "QRXDIAG", "core dumped"), QuorixDebug(1, "QRXMONITOR", "not enabled"); }, "[Warning]:<T>core dumped\n"},
        {"first 15 characters of a module count", {"LEVEL_INFO", "PATH_SERIAL", "ENABLE_ABCDEFGHIJKLMNOPQRST"}, [] {
             for (const char *m : {"ABCDEFGHIJKLMNOPQRST", "ABCDEFGHIJKLMNO", "ABCDEFGHIJKLMNOxyz", "ABCDEFGHIJKLMN", "xBCDEFGHIJKLMNOPQRST"})
                 QuorixDebug(0, m, "%s", m);
         }, "[Info]:<T>ABCDEFGHIJKLMNOPQRST\n[Info]:<T>ABCDEFGHIJKLMNO\n[Info]:<T>ABCDEFGHIJKLMNOxyz\n"},
        {"message cut at 1023 characters", {"LEVEL_INFO", "PATH_SERIAL", "ENABLE_IPMI"},
         [] { QuorixDebug(0, "IPMI", "%s", std::string(1100, 'c').c_str()); }, "[Info]:<T>" + std::string(1023, 'c') + "\n"},
        {"empty module matches an unused slot; a format's own line feed stays", {"LEVEL_INFO", "PATH_SERIAL", "ENABLE_IPMI"},
         [] { QuorixDebug(0, "", "anonymous"), QuorixDebug(0, "IPMI", "done\n"); }, "[Info]:<T>anonymous\n[Info]:<T>done\n\n"},
        // Without the marker the first load stands; with it every call reads the files again.
        {"reload marker", {"LEVEL_INFO", "PATH_SERIAL", "ENABLE_A"}, [] {
             auto remove = [](const char *name) { std::filesystem::remove(qtest::kControlDir + name); };
             QuorixDebug(0, "A", "one");
             touchControl({"ENABLE_B", "LEVEL_CRITICAL"});
             remove("ENABLE_A"), remove("LEVEL_INFO");
             QuorixDebug(0, "B", "ignored: B not loaded"), QuorixDebug(0, "A", "two");
             qtest::writeFile(qtest::kReloadMarker, "");
             QuorixDebug(3, "B", "three"), QuorixDebug(3, "A", "ignored: A removed"), QuorixDebug(2, "B", "ignored: Critical");
             remove("ENABLE_B");
             QuorixDebug(3, "B", "ignored: B removed");
             touchControl({"ENABLE_A"});
             QuorixDebug(3, "A", "four");
             std::filesystem::remove(qtest::kReloadMarker);
             touchControl({"ENABLE_B"});
             QuorixDebug(3, "B", "ignored: marker gone");
             qtest::writeFile(qtest::kReloadMarker, "");
             QuorixDebug(3, "B", "five");
         }, "[Info]:<T>one\n[Info]:<T>two\n[Critical]:<T>three\n[Critical]:<T>four\n[Critical]:<T>five\n"},
    };
    // clang-format on
    for (const auto &[what, files, calls, out] : cases) EXPECT_EQ(logged(files, calls), out) << what;
    EXPECT_TRUE(qtest::fileExists(qtest::kReloadMarker)) << "the library never removes the marker";
}

// PATH_LOG wins over PATH_BOTH: local5 with the level's priority (Error goes out as debug, on purpose),
// and the message cut at 1023 characters as on the console.
TEST_F(DebugLog, PlatformLogGetsLocal5WithTheLevelsPriorityAndTheCutMessage) {
    qtest::PlatformLog platform;
    const std::string tail = std::string(1000, 'x') + "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    const auto calls = [&] {
        eachLevel("IPMI");
        QuorixDebug(2, "IPMI", "%s", tail.c_str());
    };
    EXPECT_EQ(logged({"LEVEL_INFO", "PATH_LOG", "PATH_BOTH", "ENABLE_IPMI"}, calls), "");
    const std::regex header(R"(^(<\d+>)[A-Z][a-z]{2} [ \d]\d \d\d:\d\d:\d\d [^:]+: )");  // priority kept
    Files masked;
    for (const std::string &m : platform.drain()) masked.push_back(std::regex_replace(m, header, "$1"));
    EXPECT_EQ(masked, (Files{"<174>m0", "<172>m1", "<175>m2", "<170>m3", "<175>" + tail.substr(0, 1023)}));
}

}  // namespace
