// Binding to the simulated BMC.
#include <dlfcn.h>

#include <atomic>

#include "quorix_test.h"

namespace {
std::atomic<int> g_dlopenCalls{0};
std::atomic<int> g_dlsymCalls{0};
}  // namespace

// Counting wrappers: the executable's definitions come first in symbol lookup,
// so the library's own dlopen/dlsym calls pass through here. AddressSanitizer
// and ThreadSanitizer resolve their own interceptors through dlsym before
// main, so the sanitizer builds leave these out.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define QTEST_COUNTS_DL_CALLS 1
extern "C" void *dlopen(const char *file, int mode) {
    ++g_dlopenCalls;
    static auto real = reinterpret_cast<void *(*)(const char *, int)>(dlvsym(RTLD_NEXT, "dlopen", "GLIBC_2.34"));
    static auto fallback = reinterpret_cast<void *(*)(const char *, int)>(dlvsym(RTLD_NEXT, "dlopen", "GLIBC_2.1"));
    return (real ? real : fallback)(file, mode);
}

extern "C" void *dlsym(void *handle, const char *name) {
    ++g_dlsymCalls;
    static auto real = reinterpret_cast<void *(*)(void *, const char *)>(dlvsym(RTLD_NEXT, "dlsym", "GLIBC_2.34"));
    static auto fallback = reinterpret_cast<void *(*)(void *, const char *)>(dlvsym(RTLD_NEXT, "dlsym", "GLIBC_2.0"));
    return (real ? real : fallback)(handle, name);
}
#endif

TEST(Binding, SecondCallReturnsAtOnceWithoutLoadingAgain) {
#ifndef QTEST_COUNTS_DL_CALLS
    GTEST_SKIP() << "dlopen/dlsym are not interposed in the sanitizer build";
#endif
    ASSERT_EQ(quorix_interface_init(), 0);
    void *block = quorix_get_intf_mem();
    void **table = quorix_get_intf_handle();
    int opens = g_dlopenCalls, syms = g_dlsymCalls;

    EXPECT_EQ(quorix_interface_init(), 0);
    EXPECT_EQ(g_dlopenCalls, opens);
    EXPECT_EQ(g_dlsymCalls, syms);
    EXPECT_EQ(quorix_get_intf_mem(), block);
    EXPECT_EQ(quorix_get_intf_handle(), table);
}

TEST(Binding, PublishesTheSimulatorsBlockAndTable) {
    ASSERT_EQ(quorix_interface_init(), 0);
    void *lib = dlopen(qtest::kFeatureLibraryPath, RTLD_NOW | RTLD_NOLOAD);
    ASSERT_NE(lib, nullptr) << "the feature library must stay loaded after binding";
    auto getBlock = reinterpret_cast<void *(*)()>(dlsym(lib, "oem_get_shared_mem"));
    EXPECT_EQ(intf_quorix_mem, getBlock());
    EXPECT_EQ(static_cast<void *>(intf_handle), dlsym(lib, "quorix_handle"));
    EXPECT_EQ(qtest::Sim::get().blockSize(), 0x640000UL);
}
