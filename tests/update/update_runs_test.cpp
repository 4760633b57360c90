// CPLD and FPGA runs: board matching, one programming call and one IDL line
// per matched device, the side files, version readers, the progress
// estimates over time and the upload-folder scan.
#include <sys/stat.h>

#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "quorix_test.h"

namespace {

using namespace qtest;


struct ProgramCall {
    int kind, index;
    std::string path;
    int trigger;
};
std::vector<ProgramCall> g_programmed;
int g_programResult = 0;

int recordProgram(int kind, int index, const char *path, int trigger) {
    g_programmed.push_back({kind, index, path, trigger});
    return g_programResult;
}

int backplanePresent(int, int) {
    return 1;
}

class UpdateRuns : public UpdateTest {
protected:
    void SetUp() override {
        UpdateTest::SetUp();
        g_programmed.clear();
        g_programResult = 0;
        qtest::replaceSlot(qrx::Slot::ProgramCpld, &recordProgram);
        qtest::replaceSlot(qrx::Slot::ProgramFpga, &recordProgram);
        qtest::replaceSlot(qrx::Slot::quorixGetBackPlanePresent, &backplanePresent);
    }
    static void frontBackplanes(const std::vector<std::string> &texts) {
        block().setU8(0x1D139, static_cast<std::uint8_t>(texts.size()));
        for (std::size_t i = 0; i < texts.size(); ++i) {
            putText(0x1D13F + 1470 * i, texts[i]);
            block().setU8(0x1D269 + 1470 * i, static_cast<std::uint8_t>(0x21 + i));
        }
    }
};

TEST_F(UpdateRuns, MainBoardCpld_NameWithoutBoardIdIsRefused) {
    block().setU8(0x149B9, 0x05);
    std::string out =
        qtest::captureStdout([] { EXPECT_EQ(QuorixUpdateCpld(0, 0, "/usr/local/lmedia/cpld_05.bin"), -1); });
    EXPECT_EQ(out, "Can not get boardid [5] from file name[/usr/local/lmedia/cpld_05.bin]\n");
    EXPECT_TRUE(g_programmed.empty());
    EXPECT_EQ(block().u32(taskField(2, kStart)), 0u);
    EXPECT_EQ(QuorixUpdateCpld(0, 0, nullptr), -1);
}

TEST_F(UpdateRuns, MainBoardCpld_ProgramsOnceAndPostsTheLine) {
    block().setU8(0x149B9, 0x1A);
    block().setU8(0x1CC32, 0x13);
    block().setU8(taskField(2, kTrigger), 0x42);
    const char *image = "/usr/local/lmedia/cpld_mb1a.bin";
    qtest::writeFile(std::string(image) + ".version", "1.4\n");
    std::time_t before = std::time(nullptr);
    std::string out = qtest::captureStdout([&] { EXPECT_EQ(QuorixUpdateCpld(0, 99, image), 0); });
    std::uint32_t start = block().u32(taskField(2, kStart));
    EXPECT_GE(start, static_cast<std::uint32_t>(before));
    EXPECT_EQ(out, "\r\n=====start update cpld time:" + std::to_string(start) + " file:" + image + "======\r\n");
    ASSERT_EQ(g_programmed.size(), 1u);
    EXPECT_EQ(g_programmed[0].kind, 0);
    EXPECT_EQ(g_programmed[0].index, 0);
    EXPECT_EQ(g_programmed[0].trigger, 0x42);
    auto lines = takeIdlLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].kind, 2);
    EXPECT_EQ(lines[0].flag, 1);
    EXPECT_EQ(lines[0].text, "MainBoard CPLD0 upgrade from version 1.3 to version 1.4 successed");

    // Unknown current version, failed programming.
    block().setU8(0x1CC32, 0xFF);
    g_programResult = 6;
    qtest::captureStdout([&] { EXPECT_EQ(QuorixUpdateCpld(0, 0, image), 6); });
    lines = takeIdlLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].text, "MainBoard CPLD0 upgrade from NULL to version 1.4 failed");
}

TEST_F(UpdateRuns, FrontBackplanes_OnlyTheMatchingDeviceIsProgrammed) {
    frontBackplanes({"BP12X35AAAAA", "BP24NVMEB001", "BP12X35CCCCC"});
    std::string image = "/usr/local/lmedia/cpldBP24NVMEB001_v34.bin";
    qtest::writeFile(image + ".version", "3.4");
    qtest::captureStdout([&] { EXPECT_EQ(QuorixUpdateCpld(1, 0, image.c_str()), 0); });
    ASSERT_EQ(g_programmed.size(), 1u);
    EXPECT_EQ(g_programmed[0].kind, 1);
    EXPECT_EQ(g_programmed[0].index, 1);
    EXPECT_EQ(g_programmed[0].path, image);
    EXPECT_NE(block().u32(taskField(3, kStart)), 0u);
    auto lines = takeIdlLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].text, "Front BackPlane CPLD1 upgrade from version 2.2 to version 3.4 successed");
}

TEST_F(UpdateRuns, Backplanes_ResultsAreOredAndNoMatchIsMinus2) {
    frontBackplanes({"BP24NVMEB001", "BP24NVMEB001"});
    int results[] = {1, 4};
    static int *next;
    next = results;
    qtest::replaceSlot(
        qrx::Slot::ProgramCpld, +[](int, int, const char *, int) { return *next++; });
    qtest::captureStdout([] { EXPECT_EQ(QuorixUpdateCpld(1, 0, "/usr/local/lmedia/cpldBP24NVMEB001"), 5); });
    qtest::replaceSlot(qrx::Slot::ProgramCpld, &recordProgram);
    qtest::captureStdout([] {
        EXPECT_EQ(QuorixUpdateCpld(1, 0, "/usr/local/lmedia/cpldBP12X35ZZZZZ"), -2);
        EXPECT_EQ(QuorixUpdateCpld(1, 0, "/usr/local/lmedia/BP24NVMEB001"), -2);      // no "cpld"
        EXPECT_EQ(QuorixUpdateCpld(1, 0, "/usr/local/lmedia/cpldBP24"), -2);          // name ends early
        EXPECT_EQ(QuorixUpdateCpld(2, 0, "/usr/local/lmedia/cpldBP24NVMEB001"), -2);  // no rear backplanes
        EXPECT_EQ(QuorixUpdateCpld(4, 0, "/usr/local/lmedia/cpldBP24NVMEB001"), -2);
        EXPECT_EQ(QuorixUpdateCpld(-1, 0, "/usr/local/lmedia/cpldBP24NVMEB001"), -2);
    });
    EXPECT_TRUE(g_programmed.empty());
}

TEST_F(UpdateRuns, IdlLine_RearBackplaneChecksCountPresenceAndSideFile) {
    block().setU8(0x1D13A, 2);
    block().setU8(0x20059 + 1470, 0x35);
    std::string image = "/usr/local/lmedia/cpldREARPLANE001";
    QuorixCPLDUpdatePostIdl(2, 1, image.c_str(), 1, "successed");
    EXPECT_TRUE(takeIdlLines().empty());  // no side file
    qtest::writeFile(image + ".version", "");
    QuorixCPLDUpdatePostIdl(2, 1, image.c_str(), 1, "successed");
    EXPECT_TRUE(takeIdlLines().empty());  // empty side file
    qtest::writeFile(image + ".version", std::string(50, '7'));
    QuorixCPLDUpdatePostIdl(2, 1, image.c_str(), 0, "failed");
    QuorixCPLDUpdatePostIdl(2, 2, image.c_str(), 1, "failed");  // beyond the count
    QuorixCPLDUpdatePostIdl(2, 1, nullptr, 1, "failed");
    QuorixCPLDUpdatePostIdl(2, 1, image.c_str(), 1, nullptr);
    QuorixCPLDUpdatePostIdl(0, 1, image.c_str(), 1, "failed");  // main board: index 0 only
    auto lines = takeIdlLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].flag, 0);
    EXPECT_EQ(lines[0].text,
              "Rear BackPlane CPLD1 upgrade from version 3.5 to version " + std::string(40, '7') + " failed");
    qtest::replaceSlot(
        qrx::Slot::quorixGetBackPlanePresent, +[](int, int) { return 0; });
    QuorixCPLDUpdatePostIdl(2, 1, image.c_str(), 1, "failed");
    EXPECT_TRUE(takeIdlLines().empty());  // not present
    block().setU8(0x1D13A, 9);
    qtest::replaceSlot(qrx::Slot::quorixGetBackPlanePresent, &backplanePresent);
    QuorixCPLDUpdatePostIdl(2, 1, image.c_str(), 1, "failed");
    EXPECT_TRUE(takeIdlLines().empty());  // more than 8 backplanes
}

TEST_F(UpdateRuns, Fpga_BoardIdThenStartTimeProgrammingAndLine) {
    block().setU8(0x1D071, 0x3C);
    block().setU8(0x1D0EA, 0x21);
    qtest::captureStdout([] { EXPECT_EQ(QuorixUpdateFpga(0, "/usr/local/lmedia/fpga_3b.bin"), -1); });
    EXPECT_TRUE(g_programmed.empty());
    std::string image = "/usr/local/lmedia/fpga_3c.bin";
    qtest::writeFile(image + ".version", "2.2");
    block().setU8(taskField(7, kTrigger), 3);
    std::string out = qtest::captureStdout([&] { EXPECT_EQ(QuorixUpdateFpga(0, image.c_str()), 0); });
    EXPECT_EQ(out, "\r\n=====start update fpga time:" + std::to_string(block().u32(taskField(7, kStart))) + " file:" + image +
                       "======\r\n");
    ASSERT_EQ(g_programmed.size(), 1u);
    EXPECT_EQ(g_programmed[0].trigger, 3);
    auto lines = takeIdlLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].kind, 5);
    EXPECT_EQ(lines[0].text, "MainBoard FPGA upgrade from version 2.1 to version 2.2 successed");
    // FPGA disabled: no current version.
    qtest::Sim::get().setResult(qrx::slotIndex(qrx::Slot::QuorixCheckFPGAEnable), 0);
    g_programResult = -1;
    qtest::captureStdout([&] { EXPECT_EQ(QuorixUpdateFpga(0, image.c_str()), -1); });
    EXPECT_EQ(takeIdlLines()[0].text, "MainBoard FPGA upgrade from NULL to version 2.2 failed");
    // Other kinds: no board test, start time in task 0.
    g_programResult = 0;
    qtest::captureStdout([&] { EXPECT_EQ(QuorixUpdateFpga(1, "/x"), 0); });
    EXPECT_NE(block().u32(taskField(0, kStart)), 0u);
}

TEST_F(UpdateRuns, VersionReaders_FormatMajorMinorAndRefuseUnknown) {
    block().setU8(0x1CC32, 0x21);
    char text[16];
    std::memset(text, 'x', sizeof text);
    EXPECT_EQ(QuorixGetBoardCpldVersion(text, sizeof text), 0);
    EXPECT_STREQ(text, "2.1");
    EXPECT_EQ(QuorixGetBoardCpldVersion(text, 3), 0);
    EXPECT_STREQ(text, "2");  // bound of size - 1
    block().setU8(0x1CC32, 0xFF);
    EXPECT_EQ(QuorixGetBoardCpldVersion(text, sizeof text), -1);
    EXPECT_EQ(QuorixGetBoardCpldVersion(nullptr, 16), -1);

    block().setU8(0x1D139, 2);
    block().setU8(0x1D269 + 1470, 0xF3);
    EXPECT_EQ(QuorixGetHddCpldVersion(7, 1, text, sizeof text), 0);
    EXPECT_STREQ(text, "15.3");
    EXPECT_EQ(QuorixGetHddCpldVersion(7, 2, text, sizeof text), -1);
    EXPECT_EQ(QuorixGetHddCpldVersion(8, 0, text, sizeof text), -1);  // no rear backplanes
    EXPECT_EQ(qtest::captureStdout([&] { EXPECT_EQ(QuorixGetHddCpldVersion(9, 0, text, sizeof text), -1); }),
              "[Error]: Program should not run into here! ");

    block().setU8(0x1D0EA, 0x10);
    EXPECT_EQ(QuorixGetBoardFPGAVersion(text, sizeof text), 0);
    EXPECT_STREQ(text, "1.0");
    qtest::Sim::get().setResult(qrx::slotIndex(qrx::Slot::QuorixCheckFPGAEnable), 0);
    EXPECT_EQ(QuorixGetBoardFPGAVersion(text, sizeof text), -1);

    block().setU8(0x101FD + 819, 0x45);
    EXPECT_EQ(QuorixGetBoardFanPanelCPLDVersion(1, text, sizeof text), 0);
    EXPECT_STREQ(text, "4.5");
    EXPECT_EQ(QuorixGetBoardFanPanelCPLDVersion(2, text, sizeof text), -1);
}

TEST_F(UpdateRuns, VersionUpdates_ForwardWithTheKindAsIndex) {
    static std::vector<std::vector<int>> calls;
    calls.clear();
    qtest::replaceSlot(
        qrx::Slot::UpdateBpCpldVersion, +[](int t, int i, unsigned char *) {
            calls.push_back({122, t, i});
            return 0x122;
        });
    qtest::replaceSlot(
        qrx::Slot::UpdateMbCpldVersion, +[](int t, int i, unsigned char *) {
            calls.push_back({123, t, i});
            return 0x123;
        });
    EXPECT_EQ(QuorixUpdateCpldVersion(0, 7, nullptr), 0x123);
    EXPECT_EQ(QuorixUpdateCpldVersion(2, 7, nullptr), 0x122);
    EXPECT_EQ(QuorixUpdateCpldVersion(3, 7, nullptr), 0);
    EXPECT_EQ(qtest::captureStdout([] { EXPECT_EQ(QuorixUpdateCpldVersion(4, 0, nullptr), -1); }),
              "\r\n====Error cpld type:4   =====\r\n");
    EXPECT_EQ(calls, (std::vector<std::vector<int>>{{123, 0, 0}, {122, 2, 2}}));
}

// The estimate at a start time `ago` seconds back, with an expected duration.
int cpldEstimate(int id, std::size_t durationOffset, std::uint16_t duration, long ago, std::uint8_t status) {
    block().setU16(durationOffset, duration);
    block().setU32(taskField(id, kStart), static_cast<std::uint32_t>(std::time(nullptr) - ago));
    block().setU8(taskField(id, kStatus), status);
    int result = 0;
    qtest::captureStdout([&] { result = QuorixGetCpldUpgradeProgress(id); });
    return result;
}

TEST_F(UpdateRuns, CpldEstimate_FollowsElapsedTimeUpTo95Then100) {
    struct Case {
        long ago;
        int expect;
    } cases[] = {{0, 0}, {30, 25}, {60, 50}, {119, 95}, {120, 95}, {200, 95}, {-30, 95}};
    for (const Case &c : cases) EXPECT_EQ(cpldEstimate(3, 0x1D169, 120, c.ago, 2), c.expect) << c.ago;
    EXPECT_EQ(cpldEstimate(3, 0x1D169, 120, 30, 3), 100);
    EXPECT_EQ(block().u32(taskField(3, kStart)), 0u);  // cleared when finished
    for (int bad : {0, 1, 5, 7, 11, 15}) EXPECT_EQ(QuorixGetCpldUpgradeProgress(bad), -1);
}

TEST_F(UpdateRuns, Estimates_ZeroDurationWithAStartAheadOfTheClockReads95) {
    EXPECT_EQ(cpldEstimate(3, 0x1D169, 0, -30, 2), 95);
    block().setU16(0x1D08E, 0);
    block().setU32(taskField(7, kStart), static_cast<std::uint32_t>(std::time(nullptr) + 30));
    block().setU8(taskField(7, kStatus), 2);
    int result = 0;
    qtest::captureStdout([&] { result = QuorixGetFpgaUpgradeProgress(7); });
    EXPECT_EQ(result, 95);
}

TEST_F(UpdateRuns, CpldEstimate_PrintsTheTimesAndHandlesStartZero) {
    block().setU16(0x149D6, 0x0102);
    block().setU8(taskField(2, kStatus), 2);
    std::string out = qtest::captureStdout([] { EXPECT_EQ(QuorixGetCpldUpgradeProgress(2), 0); });
    std::time_t now = std::time(nullptr);
    EXPECT_EQ(out, "\r\n=====current time:" + std::to_string(now) + "  start time:0, tmptime:" + std::to_string(now) +
                       "  cpldUpdataTime:258======\r\n");
    // The FPGA estimate has no such case: now - 0 is far beyond any duration.
    block().setU16(0x1D08E, 600);
    block().setU8(taskField(7, kStatus), 2);
    qtest::captureStdout([] { EXPECT_EQ(QuorixGetFpgaUpgradeProgress(7), 95); });
}

TEST_F(UpdateRuns, CpldEstimate_FailureReportsTheLastEstimateUnlessItRanLong) {
    EXPECT_EQ(cpldEstimate(10, 0x101DA, 100, 40, 2), 40);
    EXPECT_EQ(cpldEstimate(10, 0x101DA, 100, 40, 4), 40);
    EXPECT_EQ(block().u32(taskField(10, kStart)), 0u);
    EXPECT_EQ(cpldEstimate(10, 0x101DA, 100, 40, 5), 40);
    EXPECT_EQ(cpldEstimate(10, 0x101DA, 100, 40, 1), 0);  // waiting again forgets it
    EXPECT_EQ(cpldEstimate(10, 0x101DA, 100, 40, 4), 0);
    EXPECT_EQ(cpldEstimate(10, 0x101DA, 100, 150, 2), 95);  // ran long: memory cleared
    EXPECT_EQ(cpldEstimate(10, 0x101DA, 100, 150, 4), 0);
    EXPECT_EQ(cpldEstimate(10, 0x101DA, 100, 40, 0), 0);
}

TEST_F(UpdateRuns, FpgaEstimate_KeepsTheStartTime) {
    for (int id : {8, 9, 14}) {
        std::size_t duration = id == 8 ? 0x620F33 : id == 9 ? 0x621066 : 0x621665;
        EXPECT_EQ(cpldEstimate(id, duration, 200, 50, 2), -1);  // not a CPLD task
        int result = 0;
        qtest::captureStdout([&] { result = QuorixGetFpgaUpgradeProgress(id); });
        EXPECT_EQ(result, 25) << id;
        block().setU8(taskField(id, kStatus), 4);
        EXPECT_EQ(QuorixGetFpgaUpgradeProgress(id), 25);
        block().setU8(taskField(id, kStatus), 3);
        EXPECT_EQ(QuorixGetFpgaUpgradeProgress(id), 100);
        EXPECT_NE(block().u32(taskField(id, kStart)), 0u);
        block().setU8(taskField(id, kStatus), 4);
        EXPECT_EQ(QuorixGetFpgaUpgradeProgress(id), 0);
    }
    EXPECT_EQ(QuorixGetFpgaUpgradeProgress(2), -1);
}

TEST_F(UpdateRuns, Estimates_FollowARealRunDrivenByTheSimulator) {
    // A real run through the simulated CPLD with programming time 0: the
    // platform fills in the expected duration, the run stores its start.
    qtest::Sim::get().restoreTable();
    qtest::replaceSlot(qrx::Slot::QuorixWritePipe, &recordPipeWrite);
    qtest::replaceSlot(qrx::Slot::quorixGetBackPlanePresent, &backplanePresent);
    setProgramTime(55, 0);
    block().setU8(0x149B9, 0x07);
    block().setU8(taskField(2, kStatus), 2);
    qtest::captureStdout([] { EXPECT_EQ(QuorixUpdateCpld(0, 0, "/usr/local/lmedia/cpld 7"), 0); });
    EXPECT_EQ(qtest::blockBytes(0x149D6, 2), (std::vector<unsigned char>{1, 0}));
    int progress = 0;
    qtest::captureStdout([&] { progress = QuorixGetCpldUpgradeProgress(2); });
    EXPECT_EQ(progress, static_cast<std::uint32_t>(std::time(nullptr)) == block().u32(taskField(2, kStart)) ? 0 : 95);
    qtest::captureStdout([] { QuorixSetTaskStatus(2, 3); });
    EXPECT_EQ(QuorixGetCpldUpgradeProgress(2), 100);
    EXPECT_EQ(qtest::Sim::get().callCount(qrx::slotIndex(qrx::Slot::ProgramCpld)), 1u);
}

class UploadScan : public UpdateRuns {};

TEST_F(UploadScan, TakesTheFirstImageByNameAndSkipsOthers) {
    mkdir("/usr/local/lmedia/cpld_dir", 0755);                 // not a regular file
    qtest::writeFile("/usr/local/lmedia/cpld_MKRA.bin", "x");  // other board family
    qtest::writeFile("/usr/local/lmedia/cpld_b.bin.version", "1.2");
    qtest::writeFile("/usr/local/lmedia/cpld_c.bin", "x");
    qtest::writeFile("/usr/local/lmedia/cpld_b.bin", "x");
    qtest::writeFile("/usr/local/lmedia/fpga_a.bin", "x");
    std::string out = qtest::captureStdout([] { EXPECT_EQ(Quorix_HasUpdateFile(2), 1); });
    std::vector<unsigned char> name = qtest::blockBytes(taskField(2, kName), 128);
    EXPECT_STREQ(reinterpret_cast<const char *>(name.data()), "/usr/local/lmedia/cpld_b.bin");
    EXPECT_EQ(block().u8(taskField(2, kStatus)), 1);
    EXPECT_EQ(block().u8(taskField(2, kSubState)), 4);
    EXPECT_NE(out.find("\r\n====   uType:2,d_name:cpld_MKRA.bin    BoardId:0 BoardIDStr: 0 ====\r\n"),
              std::string::npos);
    EXPECT_NE(out.find("\r\n====   d_name:cpld_b.bin      ====\r\n"), std::string::npos);
    EXPECT_EQ(out.find("cpld_dir"), std::string::npos);
    // The task is taken now: nothing more is recorded.
    EXPECT_EQ(qtest::captureStdout([] { EXPECT_EQ(Quorix_HasUpdateFile(2), 0); }).find("d_name:cpld_c"),
              std::string::npos);
    EXPECT_STREQ(reinterpret_cast<const char *>(qtest::blockBytes(taskField(2, kName), 128).data()),
                 "/usr/local/lmedia/cpld_b.bin");
}

TEST_F(UploadScan, OnlyTasks2To10AndNeverTask8) {
    qtest::writeFile("/usr/local/lmedia/cec_gpu.bin", "x");
    for (int id : {-1, 0, 1, 8, 11, 14, 255}) EXPECT_EQ(Quorix_HasUpdateFile(id), 0) << id;
    qtest::captureStdout([] { EXPECT_EQ(Quorix_HasUpdateFile(9), 1); });
    qtest::captureStdout([] { EXPECT_EQ(Quorix_HasUpdateFile(7), 0); });  // no "fpga" image
}

TEST_F(UploadScan, BackplaneAndFanPlaneImagesMatchTheirBoards) {
    frontBackplanes({"BP12X35AAAAA"});
    block().setU8(0x1D13A, 1);
    putText(0x1FF2F, "REARBP000002");
    putText(0x101B2 + 819, "FANPLANE0003");
    qtest::writeFile("/usr/local/lmedia/cpldREARBP000002.bin", "x");
    qtest::writeFile("/usr/local/lmedia/cpldFANPLANE0003.bin", "x");
    qtest::captureStdout([] { EXPECT_EQ(Quorix_HasUpdateFile(3), 0); });
    qtest::captureStdout([] { EXPECT_EQ(Quorix_HasUpdateFile(4), 1); });
    EXPECT_STREQ(reinterpret_cast<const char *>(qtest::blockBytes(taskField(4, kName), 128).data()),
                 "/usr/local/lmedia/cpldREARBP000002.bin");
    qtest::captureStdout([] { EXPECT_EQ(Quorix_HasUpdateFile(10), 1); });
    EXPECT_STREQ(reinterpret_cast<const char *>(qtest::blockBytes(taskField(10, kName), 128).data()),
                 "/usr/local/lmedia/cpldFANPLANE0003.bin");
    qtest::writeFile("/usr/local/lmedia/cpldBP12X35AAAAA.bin", "x");
    qtest::captureStdout([] { EXPECT_EQ(Quorix_HasUpdateFile(3), 1); });
}

TEST_F(UploadScan, TextOnBothBackplaneKindsIsSettledByThePlatform) {
    frontBackplanes({"BP24NVMEB001"});
    block().setU8(0x1D13A, 1);
    putText(0x1FF2F, "BP24NVMEB001");
    qtest::writeFile("/usr/local/lmedia/cpldBP24NVMEB001.bin", "x");
    static std::string asked;
    qtest::replaceSlot(
        qrx::Slot::QuorixGetTaskIDByBpDesc, +[](const char *desc, int length) {
            asked.assign(desc, static_cast<std::size_t>(length));
            return 4;
        });
    qtest::captureStdout([] { EXPECT_EQ(Quorix_HasUpdateFile(3), 0); });
    EXPECT_EQ(asked, "BP24NVMEB001");
    qtest::captureStdout([] { EXPECT_EQ(Quorix_HasUpdateFile(4), 1); });
}

}  // namespace
