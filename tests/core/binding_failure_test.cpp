// Binding against missing or broken feature libraries: each suite runs in a
// sandbox whose feature library is that variant (see CMakeLists.txt).
#include <csignal>
#include <cstring>
#include <regex>

#include "quorix_test.h"

namespace {

// Binds and checks the printed line, the result and what is published.
void expectBinding(int result, const std::string &line, bool block, bool table) {
    int got = 0;
    EXPECT_EQ(qtest::captureStdout([&] { got = quorix_interface_init(); }), line);
    EXPECT_EQ(got, result);
    EXPECT_EQ(quorix_get_intf_mem() != nullptr, block);
    EXPECT_EQ(quorix_get_intf_handle() != nullptr, table);
}

}  // namespace

TEST(MissingLibrary, ReportsErrnoTextAndDlerrorEveryTime) {
    for (int attempt = 0; attempt < 2; ++attempt) {
        std::string out = qtest::captureStdout([] { EXPECT_EQ(quorix_interface_init(), -1); });
        std::smatch m;  // errno is whatever dlopen left behind, shown with its own text
        ASSERT_TRUE(std::regex_match(out, m, std::regex("open quorix lib fail error:(-?[0-9]+);([^;]*);dlerror:(.*)\n")));
        EXPECT_EQ(m[2].str(), std::strerror(std::stoi(m[1].str())));
        EXPECT_EQ(m[3].str(), std::string(qtest::kFeatureLibraryPath) + ": cannot open shared object file: No such file or directory");
        EXPECT_TRUE(quorix_get_intf_mem() == nullptr && quorix_get_intf_handle() == nullptr);
    }
}

TEST(MissingLibrary, GuardedHealthCheckRefusesWhilePlainForwarderFaults) {
    unsigned char health[4] = {};
    EXPECT_EQ(QuorixSysDevHealth(health, 4), -1);
    qtest::ChildResult child = qtest::runInChild([] {
        checkSystemPowerOk(0, 0, 0);
        std::puts("survived");
    });
    EXPECT_EQ(child.out.find("survived"), std::string::npos);
    EXPECT_TRUE((!child.exited && child.status == SIGSEGV) || (child.exited && child.status != 0));  // or a sanitizer's exit
}

TEST(nogetter, ReportsMissingBlockGetter) { expectBinding(-1, "get quorix mem fail\n", false, false); }

TEST(notable, KeepsTheBlockAndLeavesTheTableNull) { expectBinding(-1, "quorix_handle is NULL\n", true, false); }
