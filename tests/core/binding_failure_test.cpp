// Binding against missing or broken feature libraries: each suite runs in a
// sandbox whose "/usr/local/lib/libquorix_common_feature.so" is that variant.
#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <regex>

#include "quorix_test.h"

using qtest::captureStdout;

namespace {

int bindAndCapture(std::string &out) {
    int result = 0;
    out = captureStdout([&] { result = quorix_interface_init(); });
    return result;
}

}  // namespace

TEST(MissingLibrary, ReportsErrnoTextAndDlerrorThenStaysUnbound) {
    std::string out;
    EXPECT_EQ(bindAndCapture(out), -1);
    // errno is whatever dlopen left behind; the line shows it with its own text.
    std::smatch m;
    ASSERT_TRUE(std::regex_match(out, m, std::regex("open quorix lib fail error:(-?[0-9]+);([^;]*);dlerror:(.*)\n")))
        << out;
    EXPECT_EQ(m[2].str(), std::strerror(std::stoi(m[1].str())));
    EXPECT_EQ(m[3].str(),
              "/usr/local/lib/libquorix_common_feature.so: cannot open shared object file: No such file or directory");
    EXPECT_EQ(quorix_get_intf_mem(), nullptr);
    EXPECT_EQ(quorix_get_intf_handle(), nullptr);
    // A failed binding may be retried; it fails the same way.
    EXPECT_EQ(bindAndCapture(out), -1);
    EXPECT_EQ(out.rfind("open quorix lib fail error:", 0), 0u);
}

TEST(MissingLibrary, GuardedHealthCheckRefusesWhilePlainForwarderFaults) {
    unsigned char health[4] = {};
    EXPECT_EQ(QuorixSysDevHealth(health, 4), -1);
    qtest::ChildResult child = qtest::runInChild([] {
        checkSystemPowerOk(0, 0, 0);
        std::puts("survived");
    });
    EXPECT_EQ(child.out.find("survived"), std::string::npos);
    // A plain SIGSEGV, or the sanitizer's report and failure exit in that build.
    EXPECT_TRUE((!child.exited && child.status == SIGSEGV) || (child.exited && child.status != 0))
        << "exited " << child.exited << " status " << child.status;
}

TEST(nogetter, ReportsMissingBlockGetter) {
    std::string out;
    EXPECT_EQ(bindAndCapture(out), -1);
    EXPECT_EQ(out, "get quorix mem fail\n");
    EXPECT_EQ(quorix_get_intf_mem(), nullptr);
    EXPECT_EQ(quorix_get_intf_handle(), nullptr);
}

TEST(nullthenblock, NullBlockFailsAndALaterCallBindsBoth) {
    std::string out;
    EXPECT_EQ(bindAndCapture(out), -1);
    EXPECT_EQ(out, "g_quorix_handle is NULL\n");
    EXPECT_EQ(quorix_get_intf_mem(), nullptr);
    EXPECT_EQ(quorix_get_intf_handle(), nullptr);

    EXPECT_EQ(bindAndCapture(out), 0);
    EXPECT_EQ(out, "");
    EXPECT_NE(quorix_get_intf_mem(), nullptr);
    EXPECT_NE(quorix_get_intf_handle(), nullptr);
}

TEST(notable, KeepsTheBlockAndLeavesTheTableNull) {
    std::string out;
    EXPECT_EQ(bindAndCapture(out), -1);
    EXPECT_EQ(out, "quorix_handle is NULL\n");
    EXPECT_NE(quorix_get_intf_mem(), nullptr);
    EXPECT_EQ(quorix_get_intf_handle(), nullptr);
}
