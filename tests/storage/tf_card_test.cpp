// TF card storage against the sandbox's card: "/dev/mmcblk0p1" points at a
// state file, "/mnt/sdmmc0p1" is a state directory, and mount/umount are
// stand-ins that record their arguments in "/run/tfcard/mount.log".
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "quorix_test.h"

namespace {

const std::string kCardFile = "/run/tfcard/mmcblk0p1";
const std::string kMountLog = "/run/tfcard/mount.log";
const std::string kMountPoint = "/mnt/sdmmc0p1";

class TfCard : public qtest::BoundTest {
protected:
    void SetUp() override {
        qtest::BoundTest::SetUp();
        qtest::writeFile(kCardFile, "");
        unlink(kMountLog.c_str());
        unlink("/run/tfcard/mount.fail");
        unlink("/run/tfcard/umount.fail");
        mkdir(kMountPoint.c_str(), 0755);
        qtest::clearDirectory(kMountPoint);
        qtest::logToConsole({"QRXMONITOR"});
        qtest::writeFile("/tmp/image.bin", "image-v1");
    }
    void removeCard() { ASSERT_EQ(unlink(kCardFile.c_str()), 0); }
    void removeMountPoint() {
        qtest::clearDirectory(kMountPoint);
        ASSERT_EQ(rmdir(kMountPoint.c_str()), 0);
    }
};

TEST_F(TfCard, Sandbox_CardAndMountPointPresent) {
    EXPECT_EQ(access("/dev/mmcblk0p1", F_OK), 0);
    struct stat st {};
    ASSERT_EQ(stat(kMountPoint.c_str(), &st), 0);
    EXPECT_TRUE(S_ISDIR(st.st_mode));
}

TEST_F(TfCard, Init_PrintsDevice) {
    std::string out = qtest::captureStdout([] { EXPECT_EQ(common_init_tf_card("/dev/mmcblk0p1"), 0); });
    EXPECT_EQ(out, "__lt_  common_init_log_tf_card strdev :/dev/mmcblk0p1  \n");
}

TEST_F(TfCard, Mount_RunsUmountThenMountEvenWhenTheyFail) {
    EXPECT_EQ(common_mount_tf_card(nullptr, "/mnt/x"), -1);
    EXPECT_EQ(common_mount_tf_card("/dev/x", nullptr), -1);
    EXPECT_FALSE(qtest::fileExists(kMountLog));
    EXPECT_EQ(common_mount_tf_card("/dev/mmcblk0p1", "/mnt/sdmmc0p1"), 0);
    EXPECT_EQ(qtest::readFile(kMountLog), "umount /mnt/sdmmc0p1\nmount /dev/mmcblk0p1 /mnt/sdmmc0p1\n");
    qtest::writeFile("/run/tfcard/mount.fail", "");
    qtest::writeFile("/run/tfcard/umount.fail", "");
    EXPECT_EQ(common_mount_tf_card("/dev/mmcblk0p1", "/mnt/sdmmc0p1"), 0) << "exit status not looked at";
    EXPECT_EQ(common_umount_tf_card("/mnt/sdmmc0p1"), 0);
    EXPECT_EQ(common_umount_tf_card(nullptr), -1);
}

// With no descriptor left the command cannot start: umount says so and fails.
TEST_F(TfCard, Umount_ReportsACommandThatCannotStart) {
    std::string out = qtest::inChild([] {
        rlimit limit{};
        getrlimit(RLIMIT_NOFILE, &limit);
        limit.rlim_cur = limit.rlim_cur < 64 ? limit.rlim_cur : 64;  // keeps the loop below short
        setrlimit(RLIMIT_NOFILE, &limit);
        while (dup(STDERR_FILENO) >= 0) {
        }
        std::printf("rc=%d\n", common_umount_tf_card("/mnt/sdmmc0p1"));
    });
    EXPECT_EQ(out, "execute umount /mnt/sdmmc0p1  failed\nrc=-1\n");
    EXPECT_FALSE(qtest::fileExists(kMountLog));
}

// A caller's device or mount point reaches the shell only as a plain path word.
TEST_F(TfCard, Mount_RefusesPathsThatAreNotPlainWords_AndRunsNothing) {
    const std::string longPath = "/mnt/" + std::string(500, 'a');
    const char *refused[] = {"x; touch /var/owned", "x$(touch /var/owned)", "x`touch /var/owned`",
                             "x|touch /var/owned", "x && touch /var/owned", "x\ntouch /var/owned",
                             "-oremount", "", longPath.c_str()};
    const std::string line = ">TF card mount refused: device and mount point must be letters, digits and /._- only\n";
    for (const char *path : refused) {
        SCOPED_TRACE(path);
        std::string out = qtest::captureStdout([&] {
            EXPECT_EQ(common_mount_tf_card(path, "/mnt/sdmmc0p1"), -1);
            EXPECT_EQ(common_mount_tf_card("/dev/mmcblk0p1", path), -1);
            EXPECT_EQ(common_umount_tf_card(path), -1);
        });
        std::size_t at = out.find(line);
        ASSERT_NE(at, std::string::npos) << out;
        EXPECT_NE(out.find(line, at + 1), std::string::npos) << "one line per refusal";
        EXPECT_FALSE(qtest::fileExists("/var/owned"));
        EXPECT_FALSE(qtest::fileExists(kMountLog)) << "no command ran";
    }
    EXPECT_EQ(common_mount_tf_card("/dev/mmcblk0p1-2", "/mnt/sd_mmc.0"), 0);
    EXPECT_EQ(qtest::readFile(kMountLog), "umount /mnt/sd_mmc.0\nmount /dev/mmcblk0p1-2 /mnt/sd_mmc.0\n");
}

TEST_F(TfCard, PresenceMessages_PerOperation) {
    removeCard();
    std::string out =
        qtest::captureStdout([] { EXPECT_EQ(common_copy_file_to_tf_card("/tmp/image.bin", "f", "d"), -1); });
    EXPECT_EQ(out, "TFCARD_DEVICE:check TF card fail, no such device.");
    out =
        qtest::captureStdout([] { EXPECT_EQ(common_copy_ima_file_to_tf_card("/tmp/image.bin", "img_1.2.", "d"), 1); });
    EXPECT_NE(out.find(">TFCARD_DEVICE:check TF card fail, no such device.\n"), std::string::npos) << out;
    out = qtest::captureStdout([] { EXPECT_EQ(test_file("t"), 0x80); });
    EXPECT_NE(out.find(">TFCARD_DEVICE:check TF card fail, no such device.\n"), std::string::npos) << out;
    out = qtest::captureStdout([] { EXPECT_EQ(common_copy_log_to_tf_card("/tmp/image.bin"), 1); });
    EXPECT_EQ(out, "TFCARD_DEVICE:check  TF card fail, no such file or directory. ");
    char cur[64], prev[64];
    out = qtest::captureStdout([&] { EXPECT_EQ(common_get_file_list_from_tf_card("d", cur, prev), 1); });
    EXPECT_NE(out.find(">/dev/mmcblk0p1:check TF card fail, no such file or directory.\n"), std::string::npos) << out;
    EXPECT_FALSE(qtest::fileExists(kMountLog)) << "nothing mounted without a card";

    qtest::writeFile(kCardFile, "");
    removeMountPoint();
    out = qtest::captureStdout([] { EXPECT_EQ(common_copy_file_to_tf_card("/tmp/image.bin", "f", "d"), -1); });
    EXPECT_EQ(out, "TFCARD_MOUNT_DIR:check TF card mount point,no such file or directory.");
    out =
        qtest::captureStdout([] { EXPECT_EQ(common_copy_ima_file_to_tf_card("/tmp/image.bin", "img_1.2.", "d"), 1); });
    EXPECT_NE(out.find(">TFCARD_MOUNT_DIR:check TF card fail, no such file or directory.\n"), std::string::npos) << out;
    out = qtest::captureStdout([] { EXPECT_EQ(test_file("t"), 0x80); });
    EXPECT_NE(out.find(">TFCARD_MOUNT_DIR:check TF card fail, no such file or directory.\n"), std::string::npos) << out;
    out = qtest::captureStdout([&] { EXPECT_EQ(common_get_file_list_from_tf_card("d", cur, prev), 2); });
    EXPECT_NE(out.find(">/mnt/sdmmc0p1:check TF card fail, no such file or directory.\n"), std::string::npos) << out;
}

TEST_F(TfCard, PlainCopy_MountsCreatesDirectoryAndCopies) {
    EXPECT_EQ(common_copy_file_to_tf_card("/tmp/image.bin", "fw.bin", "bmc"), 0);
    EXPECT_EQ(qtest::readFile(kMountPoint + "/bmc/fw.bin"), "image-v1");
    struct stat st {};
    ASSERT_EQ(stat((kMountPoint + "/bmc").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777 & ~static_cast<mode_t>(umask(022)), 01411u & ~022u) << "mode is decimal 777";
    EXPECT_EQ(qtest::readFile(kMountLog), "umount /mnt/sdmmc0p1\nmount /dev/mmcblk0p1 /mnt/sdmmc0p1\n");
    // Replacing keeps one file with the new contents.
    qtest::writeFile("/tmp/image.bin", "v2");
    EXPECT_EQ(common_copy_file_to_tf_card("/tmp/image.bin", "fw.bin", "bmc"), 0);
    EXPECT_EQ(qtest::readFile(kMountPoint + "/bmc/fw.bin"), "v2");
}

TEST_F(TfCard, PlainCopy_RefusesLongNamesAndPaths) {
    const std::string dir20(20, 'd');
    const std::string name20(20, 'f');
    const std::string src80 = "/tmp/" + std::string(75, 's');
    const struct {
        std::string src, name, dir;
    } cases[] = {{"/tmp/image.bin", "fw", dir20}, {"/tmp/image.bin", name20, "d"}, {src80, "fw", "d"}};
    for (const auto &c : cases) {
        std::string out = qtest::captureStdout(
            [&] { EXPECT_EQ(common_copy_file_to_tf_card(c.src.c_str(), c.name.c_str(), c.dir.c_str()), -1); });
        EXPECT_EQ(out, " filename or path too long. ");
    }
    EXPECT_EQ(common_copy_file_to_tf_card("/tmp/image.bin", std::string(19, 'f').c_str(), std::string(19, 'd').c_str()),
              0);
    // The image copy takes a 20-character directory.
    EXPECT_EQ(common_copy_ima_file_to_tf_card("/tmp/image.bin", "img_1.2.", dir20.c_str()), 0);
    EXPECT_TRUE(qtest::fileExists(kMountPoint + "/" + dir20 + "/img_1.2.new"));
    EXPECT_EQ(common_copy_file_to_tf_card(nullptr, "f", "d"), -1);
    EXPECT_EQ(common_copy_file_to_tf_card("/tmp/image.bin", nullptr, "d"), -1);
    EXPECT_EQ(common_copy_file_to_tf_card("/tmp/image.bin", "f", nullptr), -1);
}

TEST_F(TfCard, Copies_NeverWriteOutsideTheCard) {
    EXPECT_EQ(common_copy_file_to_tf_card("/tmp/image.bin", "x", ".."), -1);
    EXPECT_EQ(common_copy_file_to_tf_card("/tmp/image.bin", "../x", "d"), -1);
    EXPECT_EQ(common_copy_ima_file_to_tf_card("/tmp/image.bin", "img.", "../../tmp"), -1);
    EXPECT_EQ(common_copy_ima_file_to_tf_card("/tmp/image.bin", "../img.", "d"), -1);
    EXPECT_EQ(test_file("../escape"), 0xCC);
    EXPECT_EQ(common_check_ima_file_version_tf_card("img.", "../../tmp"), -1);
    char cur[64], prev[64];
    EXPECT_EQ(common_get_file_list_from_tf_card("../../tmp", cur, prev), 2);
    EXPECT_FALSE(qtest::fileExists("/mnt/x"));
    EXPECT_FALSE(qtest::fileExists("/mnt/escape"));
    EXPECT_FALSE(qtest::fileExists("/tmp/img.new"));
    EXPECT_EQ(qtest::readFile("/tmp/image.bin"), "image-v1");
}

TEST_F(TfCard, ImageCopy_RotatesCurrentToPrevious) {
    ASSERT_EQ(common_copy_ima_file_to_tf_card("/tmp/image.bin", "img_1.2.", "bios"), 0);
    EXPECT_EQ(qtest::directoryEntries(kMountPoint + "/bios"), (std::vector<std::string>{"img_1.2.new"}));
    qtest::writeFile("/tmp/image.bin", "image-v2");
    ASSERT_EQ(common_copy_ima_file_to_tf_card("/tmp/image.bin", "img_1.3.", "bios"), 0);
    EXPECT_EQ(qtest::directoryEntries(kMountPoint + "/bios"), (std::vector<std::string>{"img_1.2.old", "img_1.3.new"}));
    qtest::writeFile("/tmp/image.bin", "image-v3");
    ASSERT_EQ(common_copy_ima_file_to_tf_card("/tmp/image.bin", "img_1.4.", "bios"), 0);
    EXPECT_EQ(qtest::directoryEntries(kMountPoint + "/bios"), (std::vector<std::string>{"img_1.3.old", "img_1.4.new"}));
    EXPECT_EQ(qtest::readFile(kMountPoint + "/bios/img_1.4.new"), "image-v3");
    EXPECT_EQ(qtest::readFile(kMountPoint + "/bios/img_1.3.old"), "image-v2");
    // The same name twice: still exactly one new and one old.
    ASSERT_EQ(common_copy_ima_file_to_tf_card("/tmp/image.bin", "img_1.4.", "bios"), 0);
    EXPECT_EQ(qtest::directoryEntries(kMountPoint + "/bios"), (std::vector<std::string>{"img_1.4.new", "img_1.4.old"}));
    EXPECT_FALSE(qtest::fileExists(kMountLog)) << "the image copy does not mount";
}

TEST_F(TfCard, ImageCopy_CutsNameAtFirstN) {
    mkdir((kMountPoint + "/fw").c_str(), 0755);
    qtest::writeFile(kMountPoint + "/fw/bonus_2.0.new", "x");
    ASSERT_EQ(common_copy_ima_file_to_tf_card("/tmp/image.bin", "cpld_3.1.", "fw"), 0);
    EXPECT_EQ(qtest::directoryEntries(kMountPoint + "/fw"), (std::vector<std::string>{"boold", "cpld_3.1.new"}));
}

TEST_F(TfCard, ImageCopy_Failures) {
    std::string out = qtest::captureStdout(
        [] { EXPECT_EQ(common_copy_ima_file_to_tf_card("/tmp/image.bin", std::string(64, 'i').c_str(), "d"), -1); });
    EXPECT_NE(out.find(">filename or path too long.\n"), std::string::npos) << out;
    EXPECT_EQ(common_copy_ima_file_to_tf_card(("/tmp/" + std::string(123, 's')).c_str(), "img.", "d"), -1);
    EXPECT_EQ(common_copy_ima_file_to_tf_card(nullptr, "img.", "d"), -1);
    out = qtest::captureStdout([] { EXPECT_EQ(common_copy_ima_file_to_tf_card("/tmp/image.bin", "img.", "a/b"), -1); });
    EXPECT_NE(out.find(">invalid image name or directory.\n"), std::string::npos) << out;
    out = qtest::captureStdout([] { EXPECT_EQ(common_copy_ima_file_to_tf_card("/tmp/missing", "img_1.", "d"), -1); });
    EXPECT_NE(out.find(">Copy /tmp/missing to /mnt/sdmmc0p1/d/img_1.new fail in TF card \n"), std::string::npos) << out;
    // A plain file where the directory should be.
    qtest::writeFile(kMountPoint + "/blocked", "");
    out = qtest::captureStdout(
        [] { EXPECT_EQ(common_copy_ima_file_to_tf_card("/tmp/image.bin", "img.", "blocked"), -1); });
    EXPECT_NE(out.find("create /mnt/sdmmc0p1/blocked in TF card fail. \n"), std::string::npos) << out;
}

TEST_F(TfCard, VersionCheck_PrefixOfNewAndOldBases) {
    std::string out =
        qtest::captureStdout([] { EXPECT_EQ(common_check_ima_file_version_tf_card("img_1.2.", "bios"), 2); });
    EXPECT_NE(out.find(">/mnt/sdmmc0p1/bios is not exist in TF Card\n"), std::string::npos) << out;
    mkdir((kMountPoint + "/bios").c_str(), 0755);
    EXPECT_EQ(common_check_ima_file_version_tf_card("img_1.2.", "bios"), 3);
    qtest::writeFile(kMountPoint + "/bios/img_1.2.new", "");
    qtest::writeFile(kMountPoint + "/bios/img_1.1.old", "");
    qtest::writeFile(kMountPoint + "/bios/readme.txt", "");
    mkdir((kMountPoint + "/bios/img_9.9.new").c_str(), 0755);
    const struct {
        const char *version;
        int rc;
    } cases[] = {{"img_1.2.extra", 0}, {"img_1.2.", 0}, {"img_1.1.", 0},  {"img_1.2", 3},
                 {"img_1.3.", 3},      {"img_9.9.", 3}, {"readme.txt", 3}};
    for (const auto &c : cases) EXPECT_EQ(common_check_ima_file_version_tf_card(c.version, "bios"), c.rc) << c.version;
    EXPECT_EQ(common_check_ima_file_version_tf_card(nullptr, "bios"), -1);
    EXPECT_EQ(common_check_ima_file_version_tf_card("img", nullptr), -1);
}

TEST_F(TfCard, FileList_CurrentPreviousAndNA) {
    char cur[64], prev[64];
    EXPECT_EQ(common_get_file_list_from_tf_card("bios", cur, prev), 2) << "no directory";
    mkdir((kMountPoint + "/bios").c_str(), 0755);
    qtest::writeFile(kMountPoint + "/bios/img_1.2.new", "");
    ASSERT_EQ(common_get_file_list_from_tf_card("bios", cur, prev), 0);
    EXPECT_STREQ(cur, "img_1.2");
    EXPECT_STREQ(prev, "NA");
    qtest::writeFile(kMountPoint + "/bios/img_1.1.old", "");
    ASSERT_EQ(common_get_file_list_from_tf_card("bios", cur, prev), 0);
    EXPECT_STREQ(cur, "img_1.2");
    EXPECT_STREQ(prev, "img_1.1");
    std::string out = qtest::captureStdout(
        [&] { EXPECT_EQ(common_get_file_list_from_tf_card(std::string(64, 'd').c_str(), cur, prev), 2); });
    EXPECT_NE(out.find(">TF Card dir name is too long\n"), std::string::npos) << out;
    EXPECT_EQ(common_get_file_list_from_tf_card(nullptr, cur, prev), -1);
    EXPECT_EQ(common_get_file_list_from_tf_card("bios", nullptr, prev), -1);
}

TEST_F(TfCard, LogCopy_KeepsBaseNameInMountPoint) {
    qtest::writeFile("/tmp/bmc.log", "log line\n");
    EXPECT_EQ(common_copy_log_to_tf_card("/tmp/bmc.log"), 0);
    EXPECT_EQ(qtest::readFile(kMountPoint + "/bmc.log"), "log line\n");
    EXPECT_EQ(qtest::readFile(kMountLog), "umount /mnt/sdmmc0p1\nmount /dev/mmcblk0p1 /mnt/sdmmc0p1\n");
    std::string out = qtest::captureStdout([] { EXPECT_EQ(common_copy_log_to_tf_card("/tmp/none.log"), -1); });
    EXPECT_NE(out.find(">Copy /tmp/none.log to /mnt/sdmmc0p1 fail in TF card \n"), std::string::npos) << out;
}

TEST_F(TfCard, SelfTest_WritesAndReadsBack) {
    EXPECT_EQ(test_file("selftest.txt"), 0);
    std::string text = qtest::readFile(kMountPoint + "/selftest.txt");
    EXPECT_EQ(text, std::string("Test ok!\0", 9)) << "the file stays on the card";
    std::string out = qtest::captureStdout([] { EXPECT_EQ(test_file(std::string(250, 'n').c_str()), 0xCC); });
    EXPECT_NE(out.find(">Buffer Overflow\n"), std::string::npos) << out;
    mkdir((kMountPoint + "/adir").c_str(), 0755);
    EXPECT_EQ(test_file("adir"), 0xCC) << "cannot be opened for writing";
    EXPECT_EQ(test_file(nullptr), 0xCC);
}

}  // namespace
