// CPLD/FPGA runs (board match, one programming call and IDL line per device), versions, estimates, upload scan.
#include <sys/stat.h>

#include <climits>
#include <cstring>
#include <ctime>
#include <tuple>

#include "update_cases.h"

namespace {

using namespace qtest;

using ProgramCall = std::tuple<int, int, int, std::string>;  // kind, index, trigger, path
std::vector<ProgramCall> g_programmed;
std::vector<int> g_results;  // answers of the programming calls in turn, then 0

int recordProgram(int kind, int index, const char *path, int trigger) {
    g_programmed.push_back({kind, index, trigger, path});
    return g_programmed.size() <= g_results.size() ? g_results[g_programmed.size() - 1] : 0;
}
int present(int, int) { return 1; }

class UpdateRuns : public UpdateTest {
protected:
    void SetUp() override {
        UpdateTest::SetUp();
        g_programmed.clear();
        g_results.clear();
        replaceSlot(qrx::Slot::ProgramCpld, &recordProgram);
        replaceSlot(qrx::Slot::ProgramFpga, &recordProgram);
        replaceSlot(qrx::Slot::quorixGetBackPlanePresent, &present);
    }
    static void frontBackplanes(const std::vector<std::string> &texts) {
        block().setU8(0x1D139, static_cast<std::uint8_t>(texts.size()));
        for (std::size_t i = 0; i < texts.size(); ++i) {
            putText(0x1D13F + 1470 * i, texts[i]);
            block().setU8(0x1D269 + 1470 * i, static_cast<std::uint8_t>(0x21 + i));
        }
    }
};

TEST_F(UpdateRuns, MainBoardCpld_NeedsTheBoardIdInTheNameThenProgramsOnce) {
    poke({{0x149B9, 0x1A}, {0x1CC32, 0x13}, {taskField(2, kTrigger), 0x42}});
    EXPECT_EQ(printed([] { return QuorixUpdateCpld(0, 0, "/usr/local/lmedia/cpld_1b.bin"); }),
              (Printed{-1, "Can not get boardid [26] from file name[/usr/local/lmedia/cpld_1b.bin]\n"}));
    EXPECT_EQ(QuorixUpdateCpld(0, 0, nullptr), -1);
    EXPECT_EQ(block().u32(taskField(2, kStart)), 0u);
    const std::string image = "/usr/local/lmedia/cpld_mb1a.bin";
    writeFile(image + ".version", "1.4\n");
    const auto before = static_cast<std::uint32_t>(std::time(nullptr));
    Printed run = printed([&] { return QuorixUpdateCpld(0, 99, image.c_str()); });
    const std::uint32_t start = block().u32(taskField(2, kStart));
    EXPECT_GE(start, before);
    EXPECT_EQ(run, (Printed{0, "\r\n=====start update cpld time:" + std::to_string(start) + " file:" + image + "======\r\n"}));
    block().setU8(0x1CC32, 0xFF);
    g_results = {0, 6};
    EXPECT_EQ(printed([&] { return QuorixUpdateCpld(0, 0, image.c_str()); }).rc, 6);
    EXPECT_EQ(g_programmed, (std::vector<ProgramCall>{{0, 0, 0x42, image}, {0, 0, 0x42, image}}));
    EXPECT_EQ(idlTexts(), (Texts{"2/1 MainBoard CPLD0 upgrade from version 1.3 to version 1.4 successed",
                                 "2/1 MainBoard CPLD0 upgrade from NULL to version 1.4 failed"}));
}

TEST_F(UpdateRuns, Backplanes_ProgramEachMatchingDeviceAndOrTheResults) {
    frontBackplanes({"BP24NVMEB001", "BP12X35CCCCC", "BP24NVMEB001"});
    const std::string image = "/usr/local/lmedia/cpldBP24NVMEB001_v34.bin";
    writeFile(image + ".version", "3.4");
    g_results = {1, 4};
    EXPECT_EQ(printed([&] { return QuorixUpdateCpld(1, 0, image.c_str()); }).rc, 5);
    EXPECT_EQ(g_programmed, (std::vector<ProgramCall>{{1, 0, 0, image}, {1, 2, 0, image}}));
    EXPECT_NE(block().u32(taskField(3, kStart)), 0u);
    EXPECT_EQ(idlTexts(), (Texts{"2/1 Front BackPlane CPLD0 upgrade from version 2.1 to version 3.4 failed",
                                 "2/1 Front BackPlane CPLD2 upgrade from version 2.3 to version 3.4 failed"}));
    // No matching device: nothing is programmed.
    for (auto [kind, path] : {std::pair{1, "cpldBP12X35ZZZZZ"}, {1, "BP24NVMEB001"}, {1, "cpldBP24"}, {2, "cpldBP24NVMEB001"},
                              {4, "cpldBP24NVMEB001"}, {-1, "cpldBP24NVMEB001"}})
        EXPECT_EQ(printed([kind = kind, path = path] { return QuorixUpdateCpld(kind, 0, ("/usr/local/lmedia/" + std::string(path)).c_str()); }).rc, -2) << path;
    EXPECT_EQ(g_programmed.size(), 2u);
}

TEST_F(UpdateRuns, RearBackplaneLine_NeedsSideFileCountAndPresence) {
    poke({{0x1D13A, 2}, {0x20059 + 1470, 0x35}});
    const std::string image = "/usr/local/lmedia/cpldREARPLANE001";
    const auto post = [&](int kind, int index, const char *path, const char *word) { QuorixCPLDUpdatePostIdl(kind, index, path, 0, word); };
    post(2, 1, image.c_str(), "failed");  // no side file
    writeFile(image + ".version", "");
    post(2, 1, image.c_str(), "failed");  // an empty one
    writeFile(image + ".version", std::string(50, '7'));
    for (auto [kind, index, path, word] : {std::tuple{2, 2, image.c_str(), "failed"}, {0, 1, image.c_str(), "failed"},
                                           {2, 1, nullptr, "failed"}, {2, 1, image.c_str(), nullptr}})
        post(kind, index, path, word);
    EXPECT_EQ(idlTexts(), Texts{});
    post(2, 1, image.c_str(), "failed");
    EXPECT_EQ(idlTexts(), Texts{"2/0 Rear BackPlane CPLD1 upgrade from version 3.5 to version " + std::string(40, '7') + " failed"});
    replaceSlot(qrx::Slot::quorixGetBackPlanePresent, +[](int, int) { return 0; });
    post(2, 1, image.c_str(), "failed");
    replaceSlot(qrx::Slot::quorixGetBackPlanePresent, &present);
    block().setU8(0x1D13A, 9);
    post(2, 1, image.c_str(), "failed");
    EXPECT_EQ(idlTexts(), Texts{}) << "absent, or more than 8 backplanes";
}

TEST_F(UpdateRuns, Fpga_BoardIdThenStartTimeProgrammingAndLine) {
    poke({{0x1D071, 0x3C}, {0x1D0EA, 0x21}, {taskField(7, kTrigger), 3}});
    EXPECT_EQ(printed([] { return QuorixUpdateFpga(0, "/usr/local/lmedia/fpga_3b.bin"); }).rc, -1);
    EXPECT_EQ(block().u32(taskField(7, kStart)), 0u);
    const std::string image = "/usr/local/lmedia/fpga_3c.bin";
    writeFile(image + ".version", "2.2");
    Printed run = printed([&] { return QuorixUpdateFpga(0, image.c_str()); });
    EXPECT_EQ(run, (Printed{0, "\r\n=====start update fpga time:" + std::to_string(block().u32(taskField(7, kStart))) + " file:" + image + "======\r\n"}));
    simResults({{qrx::Slot::QuorixCheckFPGAEnable, 0}});
    g_results = {0, -1};
    EXPECT_EQ(printed([&] { return QuorixUpdateFpga(0, image.c_str()); }).rc, -1);
    // Other kinds: no board check, no line, the start time in task 0.
    EXPECT_EQ(printed([&] { return QuorixUpdateFpga(1, image.c_str()); }).rc, 0);
    EXPECT_NE(block().u32(taskField(0, kStart)), 0u);
    EXPECT_EQ(g_programmed, (std::vector<ProgramCall>{{0, 0, 3, image}, {0, 0, 3, image}, {1, 0, 0, image}}));
    EXPECT_EQ(idlTexts(), (Texts{"5/1 MainBoard FPGA upgrade from version 2.1 to version 2.2 successed",
                                                    "5/1 MainBoard FPGA upgrade from NULL to version 2.2 failed", "5/1 "}));
}

TEST_F(UpdateRuns, VersionReaders_FormatHighAndLowNibble) {
    poke({{0x1CC32, 0x21}, {0x1D139, 2}, {0x1D269 + 1470, 0xF3}, {0x1D13A, 1}, {0x20059, 0x07}, {0x1D0EA, 0x10}, {0x101FD + 819, 0x45}});
    char text[16];
    const struct { std::function<int(char *, int)> read; int size, rc; const char *text; } cases[] = {
        {QuorixGetBoardCpldVersion, 16, 0, "2.1"}, {QuorixGetBoardCpldVersion, 3, 0, "2"},
        {[](char *t, int n) { return QuorixGetHddCpldVersion(7, 1, t, n); }, 16, 0, "15.3"},
        {[](char *t, int n) { return QuorixGetHddCpldVersion(7, 2, t, n); }, 16, -1, ""},
        {[](char *t, int n) { return QuorixGetHddCpldVersion(8, 0, t, n); }, 16, 0, "0.7"},
        {[](char *t, int n) { return QuorixGetHddCpldVersion(8, 1, t, n); }, 16, -1, ""},
        {QuorixGetBoardFPGAVersion, 16, 0, "1.0"}, {[](char *, int n) { return QuorixGetBoardCpldVersion(nullptr, n); }, 16, -1, ""},
        {[](char *t, int n) { return QuorixGetBoardFanPanelCPLDVersion(1, t, n); }, 16, 0, "4.5"},
        {[](char *t, int n) { return QuorixGetBoardFanPanelCPLDVersion(0, t, n); }, 16, 0, "0.0"},
        {[](char *t, int n) { return QuorixGetBoardFanPanelCPLDVersion(2, t, n); }, 16, -1, ""},
        {[](char *t, int n) { return poke({{0x1CC32, 0xFF}}), QuorixGetBoardCpldVersion(t, n); }, 16, -1, ""},
        {[](char *t, int n) { return simResults({{qrx::Slot::QuorixCheckFPGAEnable, 0}}), QuorixGetBoardFPGAVersion(t, n); }, 16, -1, ""},
    };
    for (const auto &c : cases) {
        std::strcpy(text, "");
        EXPECT_EQ(c.read(text, c.size), c.rc) << c.text;
        EXPECT_STREQ(text, c.text);
    }
    EXPECT_EQ(printed([&] { return QuorixGetHddCpldVersion(9, 0, text, 16); }), (Printed{-1, "[Error]: Program should not run into here! "}));
}

TEST_F(UpdateRuns, VersionUpdates_ForwardWithTheKindAsIndex) {
    static std::vector<std::vector<int>> calls;
    replaceSlot(qrx::Slot::UpdateBpCpldVersion, +[](int t, int i, unsigned char *) { calls.push_back({122, t, i}); return 0x122; });
    replaceSlot(qrx::Slot::UpdateMbCpldVersion, +[](int t, int i, unsigned char *) { calls.push_back({123, t, i}); return 0x123; });
    for (auto [kind, rc] : {std::pair{0, 0x123}, {1, 0x122}, {2, 0x122}, {3, 0}}) EXPECT_EQ(QuorixUpdateCpldVersion(kind, 7, nullptr), rc);
    EXPECT_EQ(printed([] { return QuorixUpdateCpldVersion(4, 0, nullptr); }), (Printed{-1, "\r\n====Error cpld type:4   =====\r\n"}));
    EXPECT_EQ(calls, (std::vector<std::vector<int>>{{123, 0, 0}, {122, 1, 1}, {122, 2, 2}}));
}

TEST_F(UpdateRuns, Estimates_ElapsedShareOfTheDurationUpTo95ThenTheStatusDecides) {
    // Steps in order per task: duration, seconds since the start (LONG_MIN: no start time), status -> estimates, start
    // kept. Shares are chosen so that a clock tick during a step does not change them.
    const struct { int id; std::size_t durationAt; int duration; long ago; int status, cpld, fpga; bool startKept; } steps[] = {
        {3, 0x1D169, 120, 0, 2, 0, -1, true},     {3, 0x1D169, 120, 30, 2, 25, -1, true},  {3, 0x1D169, 120, 119, 2, 95, -1, true},
        {3, 0x1D169, 120, 200, 2, 95, -1, true},  {3, 0x1D169, 120, -30, 2, 95, -1, true}, {3, 0x1D169, 0, -30, 2, 95, -1, true},
        {3, 0x1D169, 120, 30, 3, 100, -1, false}, {10, 0x101DA, 200, 80, 2, 40, -1, true}, {10, 0x101DA, 200, 80, 4, 40, -1, false},
        {10, 0x101DA, 200, 80, 5, 40, -1, false}, {10, 0x101DA, 200, 80, 1, 0, -1, true},  {10, 0x101DA, 200, 80, 4, 0, -1, false},
        {10, 0x101DA, 200, 300, 2, 95, -1, true}, {10, 0x101DA, 200, 300, 4, 0, -1, false}, {10, 0x101DA, 200, 80, 0, 0, -1, true},
        {2, 0x149D6, 600, LONG_MIN, 2, 0, -1, true},
        {8, 0x620F33, 200, 50, 2, -1, 25, true},  {8, 0x620F33, 200, 50, 4, -1, 25, true}, {8, 0x620F33, 200, 50, 3, -1, 100, true},
        {9, 0x621066, 200, 50, 2, -1, 25, true},  {14, 0x621665, 200, 50, 4, -1, 0, true}, {7, 0x1D08E, 600, LONG_MIN, 2, -1, 95, true},
        {7, 0x1D08E, 0, -30, 2, -1, 95, true},    {11, 0x1D08E, 0, -30, 2, -1, -1, true},
    };
    for (const auto &s : steps) {
        const std::uint32_t start = s.ago == LONG_MIN ? 0 : static_cast<std::uint32_t>(std::time(nullptr) - s.ago);
        block().setU16(s.durationAt, static_cast<std::uint16_t>(s.duration));
        block().setU32(taskField(s.id, kStart), start);
        block().setU8(taskField(s.id, kStatus), static_cast<std::uint8_t>(s.status));
        EXPECT_EQ(printed([&] { return QuorixGetCpldUpgradeProgress(s.id); }).rc, s.cpld) << s.id << " " << s.ago << " " << s.status;
        EXPECT_EQ(printed([&] { return QuorixGetFpgaUpgradeProgress(s.id); }).rc, s.fpga) << s.id << " " << s.ago << " " << s.status;
        EXPECT_EQ(block().u32(taskField(s.id, kStart)), s.startKept ? start : 0u);
    }
    block().setU16(0x149D6, 0x0102);
    block().setU32(taskField(2, kStart), 0);
    const std::string out = printed([] { return QuorixGetCpldUpgradeProgress(2); }).out, now = std::to_string(std::time(nullptr));
    EXPECT_EQ(out, "\r\n=====current time:" + now + "  start time:0, tmptime:" + now + "  cpldUpdataTime:258======\r\n");
}

TEST_F(UpdateRuns, UploadScan_TakesTheFirstImageOfTheTasksKindByName) {
    mkdir("/usr/local/lmedia/cpld_dir", 0755);
    for (const char *name : {"cpld_MKRA.bin", "cpld_b.bin.version", "cpld_c.bin", "cpld_b.bin", "fpga_a.bin", "cec_gpu.bin"})
        writeFile(std::string("/usr/local/lmedia/") + name, "x");
    Printed scan = printed([] { return Quorix_HasUpdateFile(2); });
    EXPECT_EQ(scan.rc, 1);
    EXPECT_NE(scan.out.find("\r\n====   uType:2,d_name:cpld_MKRA.bin    BoardId:0 BoardIDStr: 0 ====\r\n"), std::string::npos);
    EXPECT_NE(scan.out.find("\r\n====   d_name:cpld_b.bin      ====\r\n"), std::string::npos);
    EXPECT_EQ(scan.out.find("cpld_dir"), std::string::npos);
    EXPECT_EQ(printed([] { return Quorix_HasUpdateFile(2); }).rc, 0) << "the task is taken";
    EXPECT_EQ(fileName(2), "/usr/local/lmedia/cpld_b.bin");
    EXPECT_EQ(blockBytes(taskField(2, kStatus), 2), (Bytes{1, 4}));
    for (int id : {-1, 0, 1, 8, 11, 14, 255}) EXPECT_EQ(Quorix_HasUpdateFile(id), 0) << id;
    for (auto [id, found] : {std::pair{9, 1}, {7, 1}, {5, 0}}) EXPECT_EQ(printed([id = id] { return Quorix_HasUpdateFile(id); }).rc, found);
}

TEST_F(UpdateRuns, UploadScan_BackplaneAndFanPlaneImagesMatchTheirBoards) {
    frontBackplanes({"BP12X35AAAAA", "BP24NVMEB001"});
    poke({{0x1D13A, 2}});
    putText(0x1FF2F, "REARBP000002");
    putText(0x1FF2F + 1470, "BP24NVMEB001");
    putText(0x101B2 + 819, "FANPLANE0003");
    putText(0x1D13F + 1470 * 2, "BPBEYONDCNT1");  // past the front count: never matched
    for (const char *name : {"cpldREARBP000002.bin", "cpldFANPLANE0003.bin", "cpldBP24NVMEB001.bin", "cpldBPBEYONDCNT1.bin"})
        writeFile(std::string("/usr/local/lmedia/") + name, "x");
    static std::string asked;
    replaceSlot(qrx::Slot::QuorixGetTaskIDByBpDesc, +[](const char *desc, int length) { asked.assign(desc, std::size_t(length)); return 4; });
    const struct { int id, found; const char *image; } cases[] = {{3, 0, ""}, {4, 1, "cpldBP24NVMEB001.bin"}, {10, 1, "cpldFANPLANE0003.bin"}};
    for (const auto &c : cases) {
        EXPECT_EQ(printed([&] { return Quorix_HasUpdateFile(c.id); }).rc, c.found) << c.id;
        EXPECT_EQ(fileName(c.id), c.found ? "/usr/local/lmedia/" + std::string(c.image) : "");
    }
    EXPECT_EQ(asked, "BP24NVMEB001") << "a text on both kinds is settled by the platform";
    writeFile("/usr/local/lmedia/cpldBP12X35AAAAA.bin", "x");
    EXPECT_EQ(printed([] { return Quorix_HasUpdateFile(3); }).rc, 1);
    EXPECT_EQ(fileName(3), "/usr/local/lmedia/cpldBP12X35AAAAA.bin");
}

}  // namespace
