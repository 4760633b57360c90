// Binding without the feature library: the sandbox has none at its path.
#include <csignal>
#include <regex>
#include <tuple>

#include "quorix_test.h"

TEST(MissingLibrary, ReportsErrnoTextAndDlerrorEveryTime) {
    for (int attempt = 0; attempt < 2; ++attempt) {
        std::string out = qtest::captureStdout([] { EXPECT_EQ(quorix_interface_init(), -1); });
        std::smatch m;  // errno is whatever dlopen left behind, shown with its own text
        ASSERT_TRUE(
            std::regex_match(out, m, std::regex("open quorix lib fail error:(-?[0-9]+);([^;]*);dlerror:(.*)\n")));
        EXPECT_EQ(m[2].str(), std::strerror(std::stoi(m[1].str())));
        EXPECT_EQ(m[3].str(), std::string(qtest::kFeatureLibraryPath) +
                                  ": cannot open shared object file: No such file or directory");
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
    EXPECT_TRUE((!child.exited && child.status == SIGSEGV) ||
                (child.exited && child.status != 0));  // or a sanitizer's exit
}

// Broken feature libraries: each bind attempt prints why and leaves the
// pointers it could not get null; a block that appears later binds both.
using Binding = std::tuple<int, std::string, bool, bool>;  // result, output, block bound, table bound
Binding bind() {
    int result = 0;
    const std::string out = qtest::captureStdout([&] { result = quorix_interface_init(); });
    return {result, out, quorix_get_intf_mem() != nullptr, quorix_get_intf_handle() != nullptr};
}

TEST(nogetter, ReportsMissingBlockGetter) {
    EXPECT_EQ(bind(), (Binding{-1, "get quorix mem fail\n", false, false}));
}
TEST(nullthenblock, NullBlockFailsAndALaterCallBindsBoth) {
    EXPECT_EQ(bind(), (Binding{-1, "g_quorix_handle is NULL\n", false, false}));
    EXPECT_EQ(bind(), (Binding{0, "", true, true}));
}
TEST(notable, KeepsTheBlockAndLeavesTheTableNull) {
    EXPECT_EQ(bind(), (Binding{-1, "quorix_handle is NULL\n", true, false}));
}
