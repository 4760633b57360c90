// QuorixDebug called from several threads of one process. The cache is
// per process, so each scenario runs in a fresh child.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "quorix_test.h"
#include "thread_group.h"

namespace {

using conctest::kThreads;
using conctest::runTogether;

constexpr int kMessages = 240;
const char *const kLevelWords[] = {"Info", "Warning", "Error", "Critical"};

class DebugLogThreads : public qtest::BoundTest {
protected:
    void SetUp() override {
        BoundTest::SetUp();
        std::filesystem::create_directories("/conf/quorix_debug");
        for (const char *name : {"LEVEL_ERROR", "PATH_SERIAL", "ENABLE_QRXMONITOR", "ENABLE_IPMI"})
            qtest::writeFile(std::string("/conf/quorix_debug/") + name, "");
    }

    // Every thread logs kMessages lines, cycling through the four levels and
    // two enabled modules and one that is not; returns the sorted lines.
    static std::vector<std::string> logFromThreads() {
        std::string out = qtest::inChild([] {
            runTogether(kThreads, [](int t) {
                const char *modules[] = {"QRXMONITOR", "IPMI", "QRXDIAG"};
                for (int i = 0; i < kMessages; ++i)
                    QuorixDebug(static_cast<unsigned>(i % 4), modules[i % 3], "thread %d message %d", t, i);
            });
        });
        std::vector<std::string> lines = qtest::splitLines(qtest::withoutTimes(out));
        std::sort(lines.begin(), lines.end());
        return lines;
    }

    // Error and Critical lines of the enabled modules, each exactly once.
    static std::vector<std::string> expectedLines() {
        std::vector<std::string> lines;
        for (int t = 0; t < kThreads; ++t)
            for (int i = 0; i < kMessages; ++i)
                if (i % 4 >= 2 && i % 3 != 2)
                    lines.push_back(std::string("[") + kLevelWords[i % 4] + "]:thread " + std::to_string(t) +
                                    " message " + std::to_string(i));
        std::sort(lines.begin(), lines.end());
        return lines;
    }
};

TEST_F(DebugLogThreads, CachedControlFiles_EveryPassingLineOnceAndWhole) {
    std::vector<std::string> lines = logFromThreads();
    EXPECT_EQ(lines.size(), std::size_t{kThreads} * kMessages * 2 / 4 * 2 / 3);
    EXPECT_EQ(lines, expectedLines());
}

// While the reload marker exists every call re-reads the directory; with the
// files unchanged, a reload racing another thread's check loses no message.
TEST_F(DebugLogThreads, ReloadMarkerPresent_ReloadsRacingChecksLoseNothing) {
    qtest::writeFile("/var/quorix_debug_reload", "");
    EXPECT_EQ(logFromThreads(), expectedLines());
}

}  // namespace
