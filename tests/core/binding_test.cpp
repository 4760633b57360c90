// Binding to the simulated BMC: the feature library stays loaded and its
// block and table are published; a second call changes nothing.
#include <dlfcn.h>

#include "quorix_test.h"

TEST(Binding, PublishesTheSimulatorsBlockAndTable) {
    for (int call = 0; call < 2; ++call) {
        ASSERT_EQ(quorix_interface_init(), 0);
        void *lib = dlopen(qtest::kFeatureLibraryPath, RTLD_NOW | RTLD_NOLOAD);
        ASSERT_NE(lib, nullptr);
        EXPECT_EQ(intf_quorix_mem, reinterpret_cast<void *(*)()>(dlsym(lib, "oem_get_shared_mem"))());
        EXPECT_EQ(static_cast<void *>(intf_handle), dlsym(lib, "quorix_handle"));
        EXPECT_EQ(quorix_get_intf_mem(), intf_quorix_mem);
        EXPECT_EQ(quorix_get_intf_handle(), intf_handle);
        EXPECT_EQ(qtest::Sim::get().blockSize(), 0x640000UL);
        dlclose(lib);
    }
}
