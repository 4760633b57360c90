// The firmware stack's file helpers as the host stand-ins provide them.
#include <sys/stat.h>

#include <string>

#include "quorix_platform.h"
#include "quorix_test.h"

namespace {

using PlatformFiles = qtest::BoundTest;

TEST_F(PlatformFiles, CopyFile_CreatesReplacesAndKeepsBaseNameInDirectory) {
    std::string big(100000, '\0');
    for (std::size_t i = 0; i < big.size(); ++i) big[i] = static_cast<char>(i * 7);
    qtest::writeFile("/tmp/src.bin", big);
    EXPECT_EQ(copyFile("/tmp/src.bin", "/tmp/dst.bin"), 0);
    EXPECT_EQ(qtest::readFile("/tmp/dst.bin"), big);
    qtest::writeFile("/tmp/src.bin", "short");
    EXPECT_EQ(copyFile("/tmp/src.bin", "/tmp/dst.bin"), 0);
    EXPECT_EQ(qtest::readFile("/tmp/dst.bin"), "short") << "replaced, not overwritten in place";
    mkdir("/tmp/dir", 0755);
    EXPECT_EQ(copyFile("/tmp/src.bin", "/tmp/dir"), 0);
    EXPECT_EQ(qtest::readFile("/tmp/dir/src.bin"), "short");
    EXPECT_EQ(copyFile("/tmp/src.bin", "/tmp/src.bin"), -1);
    EXPECT_EQ(qtest::readFile("/tmp/src.bin"), "short") << "a copy onto itself keeps the file";
    EXPECT_EQ(copyFile("/tmp/missing", "/tmp/x"), -1);
    EXPECT_EQ(copyFile("/tmp/dir", "/tmp/x"), -1);
    EXPECT_EQ(copyFile("/tmp/src.bin", "/tmp/nodir/x"), -1);
    EXPECT_EQ(copyFile(nullptr, "/tmp/x"), -1);
    EXPECT_FALSE(qtest::fileExists("/tmp/x"));
}

TEST_F(PlatformFiles, TouchAndMkdir) {
    EXPECT_EQ(touch("/tmp/marker"), 0);
    EXPECT_EQ(qtest::readFile("/tmp/marker"), "");
    qtest::writeFile("/tmp/marker", "kept");
    EXPECT_EQ(touch("/tmp/marker"), 0);
    EXPECT_EQ(qtest::readFile("/tmp/marker"), "kept");
    EXPECT_EQ(touch("/tmp/none/marker"), -1);
    EXPECT_EQ(_mkdir("/tmp/a/b/c"), 0);
    struct stat st {};
    ASSERT_EQ(stat("/tmp/a/b/c", &st), 0);
    EXPECT_TRUE(S_ISDIR(st.st_mode));
    EXPECT_EQ(_mkdir("/tmp/a/b/c"), 0) << "an existing directory is fine";
    EXPECT_EQ(_mkdir("/tmp/marker/sub"), -1);
    EXPECT_EQ(_mkdir(nullptr), -1);
}

TEST_F(PlatformFiles, RandomNumbersFillTheBuffer) {
    unsigned char a[64] = {}, b[64] = {};
    EXPECT_EQ(generate_random_number(a, sizeof a), 0);
    EXPECT_EQ(generate_random_number(b, sizeof b), 0);
    EXPECT_NE(std::string(a, a + 64), std::string(b, b + 64));
    EXPECT_NE(std::string(a, a + 64), std::string(64, '\0'));
    EXPECT_EQ(generate_random_number(nullptr, 4), -1);
}

}  // namespace
