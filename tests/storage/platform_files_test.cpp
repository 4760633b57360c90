// The firmware stack's file helpers as the host stand-ins provide them.
#include <sys/stat.h>

#include "quorix_platform.h"
#include "quorix_test.h"

namespace {

using namespace qtest;
using PlatformFiles = BoundTest;

TEST_F(PlatformFiles, CopyTouchMkdirAndRandom) {
    writeFile("/tmp/src.bin", std::string(100000, '\x5A') + "end");
    writeFile("/tmp/dst.bin", std::string(200000, 'x'));
    mkdir("/tmp/dir", 0755);
    const struct { std::function<int()> call; int rc; } cases[] = {
        {[] { return copyFile("/tmp/src.bin", "/tmp/dst.bin"); }, 0}, {[] { return copyFile("/tmp/src.bin", "/tmp/dir"); }, 0},
        {[] { return copyFile("/tmp/src.bin", "/tmp/src.bin"); }, -1}, {[] { return copyFile("/tmp/missing", "/tmp/x"); }, -1},
        {[] { return copyFile("/tmp/dir", "/tmp/x"); }, -1},           {[] { return copyFile("/tmp/src.bin", "/tmp/nodir/x"); }, -1},
        {[] { return copyFile(nullptr, "/tmp/x"); }, -1},              {[] { return touch("/tmp/marker"); }, 0},
        {[] { return touch("/tmp/dst.bin"); }, 0},                     {[] { return touch("/tmp/none/marker"); }, -1},
        {[] { return _mkdir("/tmp/a/b/c"); }, 0},                      {[] { return _mkdir("/tmp/a/b/c"); }, 0},
        {[] { return _mkdir("/tmp/marker/sub"); }, -1},                {[] { return _mkdir(nullptr); }, -1},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) EXPECT_EQ(cases[i].call(), cases[i].rc) << "case " << i;
    const std::string src = readFile("/tmp/src.bin");
    EXPECT_EQ(src.size(), 100003u);
    EXPECT_EQ(readFile("/tmp/dst.bin"), src) << "replaced, not overwritten in place; touch keeps it";
    EXPECT_EQ(readFile("/tmp/dir/src.bin"), src);
    EXPECT_EQ(readFile("/tmp/marker"), "");
    EXPECT_EQ(directoryEntries("/tmp/a/b"), std::vector<std::string>{"c"});
    EXPECT_FALSE(fileExists("/tmp/x"));
    unsigned char a[64] = {}, b[64] = {};
    EXPECT_EQ(generate_random_number(a, sizeof a) + generate_random_number(b, sizeof b), 0);
    EXPECT_NE(std::string(a, a + 64), std::string(b, b + 64));
    EXPECT_EQ(generate_random_number(nullptr, 4), -1);
}

}  // namespace
