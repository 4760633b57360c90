// TF card against the sandbox's card: "/dev/mmcblk0p1" points at a state file, "/mnt/sdmmc0p1" is a state
// directory, and mount/umount are stand-ins that log their arguments to "/run/tfcard/mount.log".
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "quorix_test.h"

namespace {

using namespace qtest;
const std::string kCard = "/run/tfcard/mmcblk0p1", kLog = "/run/tfcard/mount.log", kMnt = "/mnt/sdmmc0p1";
using Entries = std::vector<std::string>;
using Outcome = std::pair<int, std::string>;  // result, console text without times

class TfCard : public BoundTest {
protected:
    void SetUp() override {
        BoundTest::SetUp();
        writeFile(kCard, "");
        for (const char *f : {"/run/tfcard/mount.log", "/run/tfcard/mount.fail", "/run/tfcard/umount.fail"}) unlink(f);
        mkdir(kMnt.c_str(), 0755);
        clearDirectory(kMnt);
        logToConsole({"QRXMONITOR"});
        writeFile("/tmp/image.bin", "image-v1");
    }
};

Outcome run(const std::function<int()> &call) {
    int rc = 0;
    std::string text = withoutTimes(captureStdout([&] { rc = call(); }));
    return {rc, text};
}

TEST_F(TfCard, Mount_RunsUmountThenMountWithPlainPathWordsOnly) {
    EXPECT_EQ(captureStdout([] { common_init_tf_card("/dev/mmcblk0p1"); }), "__lt_  common_init_log_tf_card strdev :/dev/mmcblk0p1  \n");
    const std::string longPath = "/mnt/" + std::string(500, 'a'),
                      refused = "[Error]:TF card mount refused: device and mount point must be letters, digits and /._- only\n\n";
    for (const char *path : {"x; touch /var/owned", "x$(touch /var/owned)", "x`touch /var/owned`", "x|touch /var/owned",
                             "x && touch /var/owned", "x\ntouch /var/owned", "-oremount", "", longPath.c_str()})
        EXPECT_EQ(run([&] { return common_mount_tf_card(path, "/mnt/sdmmc0p1") + common_mount_tf_card("/dev/x", path) + common_umount_tf_card(path); }),
                  (Outcome{-3, refused + refused + refused})) << path;
    EXPECT_FALSE(fileExists("/var/owned"));
    EXPECT_FALSE(fileExists(kLog)) << "no command ran";
    EXPECT_EQ(common_mount_tf_card(nullptr, "/mnt/x") + common_mount_tf_card("/dev/x", nullptr) + common_umount_tf_card(nullptr), -3);
    EXPECT_EQ(common_mount_tf_card("/dev/mmcblk0p1-2", "/mnt/sd_mmc.0"), 0);
    EXPECT_EQ(readFile(kLog), "umount /mnt/sd_mmc.0\nmount /dev/mmcblk0p1-2 /mnt/sd_mmc.0\n");
    for (const char *f : {"/run/tfcard/mount.fail", "/run/tfcard/umount.fail"}) writeFile(f, "");
    EXPECT_EQ(common_mount_tf_card("/dev/mmcblk0p1", "/mnt/sdmmc0p1"), 0) << "exit status not looked at";
    EXPECT_EQ(common_umount_tf_card("/mnt/sdmmc0p1"), 0);
    // With no descriptor left the command cannot start.
    EXPECT_EQ(inChild([] {
                  rlimit limit{64, 64};
                  setrlimit(RLIMIT_NOFILE, &limit);
                  while (dup(STDERR_FILENO) >= 0) continue;
                  std::printf("rc=%d\n", common_umount_tf_card("/mnt/sdmmc0p1"));
              }),
              "execute umount /mnt/sdmmc0p1  failed\nrc=-1\n");
}

TEST_F(TfCard, MissingCardOrMountPoint_EachOperationSaysSoAndMountsNothing) {
    char cur[64], prev[64];
    const struct { bool card; std::function<int()> call; int rc; std::string out; } cases[] = {
        {false, [] { return common_copy_file_to_tf_card("/tmp/image.bin", "f", "d"); }, -1, "TFCARD_DEVICE:check TF card fail, no such device."},
        {false, [] { return common_copy_ima_file_to_tf_card("/tmp/image.bin", "img.", "d"); }, 1, "[Critical]:TFCARD_DEVICE:check TF card fail, no such device.\n"},
        {false, [] { return test_file("t"); }, 0x80, "[Critical]:TFCARD_DEVICE:check TF card fail, no such device.\n"},
        {false, [] { return common_copy_log_to_tf_card("/tmp/image.bin"); }, 1, "TFCARD_DEVICE:check  TF card fail, no such file or directory. "},
        {false, [&] { return common_get_file_list_from_tf_card("d", cur, prev); }, 1, "[Critical]:/dev/mmcblk0p1:check TF card fail, no such file or directory.\n"},
        {true, [] { return common_copy_file_to_tf_card("/tmp/image.bin", "f", "d"); }, -1, "TFCARD_MOUNT_DIR:check TF card mount point,no such file or directory."},
        {true, [] { return common_copy_ima_file_to_tf_card("/tmp/image.bin", "img.", "d"); }, 1, "[Critical]:TFCARD_MOUNT_DIR:check TF card fail, no such file or directory.\n"},
        {true, [] { return test_file("t"); }, 0x80, "[Critical]:TFCARD_MOUNT_DIR:check TF card fail, no such file or directory.\n"},
        {true, [&] { return common_get_file_list_from_tf_card("d", cur, prev); }, 2, "[Critical]:/mnt/sdmmc0p1:check TF card fail, no such file or directory.\n"},
    };
    for (const auto &c : cases) {
        if (c.card) writeFile(kCard, ""), rmdir(kMnt.c_str());
        else unlink(kCard.c_str());
        EXPECT_EQ(run(c.call), (Outcome{c.rc, c.out}));
    }
    EXPECT_FALSE(fileExists(kLog));
}

TEST_F(TfCard, Copies_BoundsAndNamesThatStayOnTheCard) {
    const std::string d19(19, 'd'), d20(20, 'd'), d64(64, 'd'), s79 = "/tmp/" + std::string(74, 's'), s80 = s79 + "s";
    std::string big(100000, '\0');
    for (std::size_t i = 0; i < big.size(); ++i) big[i] = static_cast<char>(i * 7);
    writeFile(s79, big);
    writeFile(s80, big);
    const std::string img = "/tmp/image.bin";
    const struct { bool image; std::string src, name, dir; int rc; } copies[] = {  // image: the rotating copy
        {false, img, "fw", d20, -1}, {false, img, d20, "d", -1},   {false, s80, "fw", "d", -1},  {false, s79, "f79", "d", 0},
        {false, img, d19, d19, 0},   {true, img, "img.", d64, -1}, {true, img, d64, "d", -1},
        {true, s80, "img.", d20, 0}, {false, img, "x", "..", -1},  {false, img, "../x", "d", -1}, {true, img, "../img.", "d", -1},
        {true, img, "img.", "../../tmp", -1}, {false, img, "x", ".", -1},
    };
    for (const auto &c : copies) {
        const auto copy = c.image ? common_copy_ima_file_to_tf_card : common_copy_file_to_tf_card;
        EXPECT_EQ(run([&] { return copy(c.src.c_str(), c.name.c_str(), c.dir.c_str()); }).first, c.rc) << c.name << " " << c.dir;
    }
    EXPECT_EQ(directoryEntries(kMnt), (Entries{"d", d19, d20}));
    EXPECT_EQ(readFile(kMnt + "/d/f79"), big);
    EXPECT_EQ(readFile(kMnt + "/" + d19 + "/" + d19), "image-v1");
    EXPECT_EQ(readFile(kMnt + "/" + d20 + "/img.new"), big);
    struct stat st {};
    ASSERT_EQ(stat((kMnt + "/" + d19).c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777 & ~static_cast<mode_t>(umask(022)), 01411u & ~022u) << "mode is decimal 777";
    for (const char *escaped : {"/mnt/x", "/tmp/img.new", "/mnt/img.new"}) EXPECT_FALSE(fileExists(escaped)) << escaped;
}

TEST_F(TfCard, ImageCopy_KeepsOneNewAndOneOldCopy) {
    const struct { const char *name, *contents; Entries after; } steps[] = {
        {"img_1.2.", "v1", {"img_1.2.new"}}, {"img_1.3.", "v2", {"img_1.2.old", "img_1.3.new"}},
        {"img_1.4.", "v3", {"img_1.3.old", "img_1.4.new"}}, {"img_1.4.", "v4", {"img_1.4.new", "img_1.4.old"}},
    };
    for (const auto &s : steps) {
        writeFile("/tmp/image.bin", s.contents);
        ASSERT_EQ(common_copy_ima_file_to_tf_card("/tmp/image.bin", s.name, "bios"), 0);
        EXPECT_EQ(directoryEntries(kMnt + "/bios"), s.after) << s.name;
        EXPECT_EQ(readFile(kMnt + "/bios/" + s.after.back()), s.after.back() == "img_1.4.old" ? "v3" : s.contents);
    }
    mkdir((kMnt + "/fw").c_str(), 0755);
    // bonus_ is cut at its first "n"; the fresh img_1.4.old survives whatever the directory order.
    for (const char *name : {"img_1.4.new", "img_1.4.old", "bonus_2.0.new"}) writeFile(kMnt + "/fw/" + name, name);
    ASSERT_EQ(common_copy_ima_file_to_tf_card("/tmp/image.bin", "cpld_3.1.", "fw"), 0);
    EXPECT_EQ(directoryEntries(kMnt + "/fw"), (Entries{"boold", "cpld_3.1.new", "img_1.4.old"}));
    EXPECT_EQ(readFile(kMnt + "/fw/img_1.4.old"), "img_1.4.new");
    EXPECT_FALSE(fileExists(kLog)) << "the image copy does not mount";
}

TEST_F(TfCard, Failures_ReturnTheirCodeAndSayWhy) {
    writeFile(kMnt + "/blocked", "");
    mkdir((kMnt + "/adir").c_str(), 0755);
    const struct { std::function<int()> call; Outcome expect; } cases[] = {
        {[] { return common_copy_ima_file_to_tf_card("/tmp/missing", "img_1.", "d"); },
         {-1, "[Critical]:Copy /tmp/missing to /mnt/sdmmc0p1/d/img_1.new fail in TF card \n\n"}},
        {[] { return common_copy_ima_file_to_tf_card("/tmp/image.bin", "img.", "blocked"); },
         {-1, "[Error]:create /mnt/sdmmc0p1/blocked in TF card fail. \n\n"}},
        {[] { return common_copy_ima_file_to_tf_card("/tmp/image.bin", "img.", "a/b"); }, {-1, "[Critical]:invalid image name or directory.\n"}},
        {[] { return common_copy_ima_file_to_tf_card(("/tmp/" + std::string(123, 's')).c_str(), "img.", "d"); }, {-1, "[Critical]:filename or path too long.\n"}},
        {[] { return common_check_ima_file_version_tf_card("img_1.2.", "bios"); }, {2, "[Info]:/mnt/sdmmc0p1/bios is not exist in TF Card\n\n"}},
        {[] { char c[64], p[64]; return common_get_file_list_from_tf_card("bios", c, p); }, {2, ""}},
        {[] { char c[64], p[64]; return common_get_file_list_from_tf_card(std::string(64, 'd').c_str(), c, p); },
         {2, "[Critical]:TF Card dir name is too long\n"}},
        {[] { return common_copy_log_to_tf_card("/tmp/none.log"); }, {-1, "[Critical]:Copy /tmp/none.log to /mnt/sdmmc0p1 fail in TF card \n\n"}},
        {[] { return test_file(std::string(250, 'n').c_str()); }, {0xCC, "[Critical]:Buffer Overflow\n"}},
        {[] { return test_file("adir"); }, {0xCC, ""}},  // cannot be opened for writing
        {[] { return test_file(nullptr); }, {0xCC, ""}},
        {[] { return test_file("../escape"); }, {0xCC, ""}},
        {[] { return common_check_ima_file_version_tf_card("img.", "../../tmp"); }, {-1, ""}},
        {[] { char c[64], p[64]; return common_get_file_list_from_tf_card("../../tmp", c, p); }, {2, ""}},
        {[] { return common_copy_ima_file_to_tf_card(nullptr, "i.", "d"); }, {-1, ""}},
        {[] { return common_copy_file_to_tf_card(nullptr, "f", "d") + common_copy_file_to_tf_card("/x", nullptr, "d") +
                     common_copy_file_to_tf_card("/x", "f", nullptr); }, {-3, ""}},
    };
    for (const auto &c : cases) EXPECT_EQ(run(c.call), c.expect);
    EXPECT_FALSE(fileExists("/mnt/escape"));
}

TEST_F(TfCard, VersionAndList_ReadTheBasesOfNewAndOld) {
    char cur[64], prev[64];
    for (std::size_t length : {4081, 4082}) {  // a card path the system cannot take stays empty
        const std::string dir(length, 'd');
        const Outcome out = run([&] { return common_check_ima_file_version_tf_card("img", dir.c_str()); });
        EXPECT_EQ(Outcome(out.first, out.second.substr(0, 21)), (Outcome{2, length == 4081 ? "[Info]:" + kMnt + "/" : "[Info]: is not exist "}));
    }
    mkdir((kMnt + "/bios").c_str(), 0755);
    EXPECT_EQ(common_check_ima_file_version_tf_card("img_1.2.", "bios"), 3);
    ASSERT_EQ(common_get_file_list_from_tf_card("bios", cur, prev), 0);
    EXPECT_EQ(std::string(cur) + "|" + prev, "NA|NA");
    for (const char *f : {"img_1.2.new", "img_1.1.old", "readme.txt"}) writeFile(kMnt + "/bios/" + f, "");
    mkdir((kMnt + "/bios/img_9.9.new").c_str(), 0755);
    for (auto [version, rc] : {std::pair{"img_1.2.extra", 0}, {"img_1.2.", 0}, {"img_1.1.", 0}, {"img_1.2", 3}, {"img_1.3.", 3}, {"img_9.9.", 3}, {"readme.txt", 3}})
        EXPECT_EQ(common_check_ima_file_version_tf_card(version, "bios"), rc) << version;
    ASSERT_EQ(common_get_file_list_from_tf_card("bios", cur, prev), 0);
    EXPECT_EQ(std::string(cur) + "|" + prev, "img_1.2|img_1.1");
    for (int rc : {common_check_ima_file_version_tf_card(nullptr, "bios"), common_check_ima_file_version_tf_card("img", nullptr),
                   common_get_file_list_from_tf_card(nullptr, cur, prev), common_get_file_list_from_tf_card("bios", nullptr, prev),
                   common_get_file_list_from_tf_card("bios", cur, nullptr)})
        EXPECT_EQ(rc, -1);
}

TEST_F(TfCard, LogCopyAndSelfTest) {
    writeFile("/tmp/bmc.log", "log line\n");
    EXPECT_EQ(common_copy_log_to_tf_card("/tmp/bmc.log"), 0);
    EXPECT_EQ(readFile(kMnt + "/bmc.log"), "log line\n");
    EXPECT_EQ(readFile(kLog), "umount /mnt/sdmmc0p1\nmount /dev/mmcblk0p1 /mnt/sdmmc0p1\n");
    EXPECT_EQ(test_file("selftest.txt"), 0);
    EXPECT_EQ(readFile(kMnt + "/selftest.txt"), std::string("Test ok!\0", 9)) << "the file stays on the card";
}

}  // namespace
