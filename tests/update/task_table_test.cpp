// Task records: accessor bounds and lines, failure/recovery events, the
// flasher file, the pending scan, query, cancel, the report and its handlers.
#include <sys/stat.h>

#include <cstring>
#include <tuple>

#include "update_cases.h"

namespace {

using namespace qtest;
using TaskTable = UpdateTest;

TEST_F(TaskTable, Refusals_PrintTheirLineAndWriteNothing) {
    unsigned char rec[kTaskRecordSize] = {};
    const std::string flag = "set update flag fail!!!\r", name = "set update file name fail!!!\r";
    const struct { std::function<int()> call; std::string line; } cases[] = {
        {[] { return QuorixSetTaskStatus(15, 0); }, flag}, {[] { return QuorixSetTaskStatus(0, 6); }, flag},
        {[] { return QuorixSetTaskStatus(-1, 1); }, flag}, {[] { return QuorixSetTaskStatus(1, -1); }, flag},
        {[] { return QuorixGetUpdateStatus(15); }, "set update type fail!!!\r"},
        {[] { return QuorixSetUpdateStatus(15, 1); }, "set update status fail!!!\r"},
        {[] { return QuorixSetUpdateStatus(3, 14); }, "set update substatus fail!!!\r"},
        {[] { return QuorixSetUpdateStatus(3, -1); }, "set update substatus fail!!!\r"},
        {[] { return QuorixGetTaskStatus(15); }, "get update flag  fail!!!\r"},
        {[] { return QuorixGetTaskTriggerMoment(21); }, "get task trigger moment fail,task id is 21,tool large !!!\r\n"},
        {[] { return QuorixSetFileName(15, "/x"); }, name}, {[] { return QuorixSetFileName(2, nullptr); }, name},
        {[] { return QuorixSetFlashProgress(15, 50); }, "set update flash progress fail!!!\r"},
        {[&] { return QuorixUpdateTaskInfo(15, rec); }, "Set update type fail !!!\r"},
        {[&] { return QuorixUpdateTaskInfo(1, nullptr); }, "Set update type fail !!!\r"},
        {[&] { return QuorixGetUpgradeInfo(rec, 15); }, "Get update type fail!!!\r"},
        {[&] { return QuorixGetUpgradeInfo(nullptr, 1); }, "Get update type fail!!!\r"},
        {[] { return QuorixSetPowerOnFlag(2); }, "set flag fail!!!\r"},
        {[] { return QuorixSetPowerOnFlag(-1); }, "set flag fail!!!\r"},
    };
    for (const auto &c : cases) EXPECT_EQ(printed(c.call), (Printed{-1, c.line}));
    EXPECT_EQ(taskTable(), Bytes(15 * kTaskRecordSize + 2, 0));
}

TEST_F(TaskTable, Setters_WriteOnlyTheirByteAndPrintTheirLine) {
    const struct { std::function<int()> call; std::string line; std::size_t offset; std::uint8_t value; std::function<int()> get; } cases[] = {
        {[] { return QuorixSetTaskStatus(14, 5); }, "\r\n==== task_id:14  status:5 =====\r\n", taskField(14, kStatus), 5,
         [] { return QuorixGetTaskStatus(14); }},
        {[] { return QuorixSetUpdateStatus(9, 13); }, "\r\n==== task_id:9  task_substate:13 =====\r\n",
         taskField(9, kSubState), 13, [] { return QuorixGetUpdateStatus(9); }},
        {[] { return QuorixSetFlashProgress(0, 0x1234); }, "", taskField(0, kProgress), 0x34, nullptr},
        {[] { return QuorixSetPowerOnFlag(1); }, "\r\n==== flag:1 =====\r\n", 0x621797, 1, QuorixIsRequirePowerOn},
    };
    for (const auto &c : cases) {
        block().fill(kTaskTable, 0, 15 * kTaskRecordSize + 2);
        EXPECT_EQ(printed(c.call), (Printed{0, c.line}));
        Bytes expect(15 * kTaskRecordSize + 2, 0);
        expect[c.offset - kTaskTable] = c.value;
        EXPECT_EQ(taskTable(), expect) << c.line;
        if (c.get) {
            EXPECT_EQ(c.get(), c.value);
        }
    }
    block().setU8(taskField(4, kTrigger), 0x5A);
    EXPECT_EQ(QuorixGetTaskTriggerMoment(4), 0x5A);
}

TEST_F(TaskTable, FileName_IsCutAt127AndTerminated) {
    EXPECT_EQ(printed([] { return QuorixSetFileName(3, "/usr/local/lmedia/cpldABC"); }).out,
              "\r\n==== task_id:3  set file_name:/usr/local/lmedia/cpldABC file:/usr/local/lmedia/cpldABC=====\r\n");
    block().setU8(taskField(3, kName + 128), 0x77);
    const std::string longName(200, 'n');
    printed([&] { return QuorixSetFileName(3, longName.c_str()); });
    Bytes expect(129, 'n');
    expect[127] = 0;
    expect[128] = 0x77;
    EXPECT_EQ(blockBytes(taskField(3, kName), 129), expect);
}

TEST_F(TaskTable, UpdateTaskInfo_CopiesTheUpdatersFieldsOnly) {
    unsigned char given[kTaskRecordSize];
    for (std::size_t i = 0; i < kTaskRecordSize; ++i) given[i] = static_cast<unsigned char>(0x40 + i % 23);
    std::memcpy(given + kName, "/usr/local/lmedia/fpga12", 25);
    block().setU8(taskField(7, kStatus), 2);
    block().setU32(taskField(7, kStart), 0x12345678);
    block().setU8(taskField(7, kProgress), 77);
    EXPECT_EQ(printed([&] { return QuorixUpdateTaskInfo(7, given); }).out,
              "\r\n==== task_id:7  task_type:65 trigger_moment:" + std::to_string(given[kTrigger]) + " task_substate: " +
                  std::to_string(given[kSubState]) + " ComponentID:" + std::to_string(given[42]) +
                  " BoardId:" + std::to_string(given[43]) + "file_name:/usr/local/lmedia/fpga12=====\r\n");
    Bytes expect(kTaskRecordSize, 0), stored(kTaskRecordSize);
    for (std::size_t i = 0; i < kTaskRecordSize; ++i)
        if (i <= 1 || i == kSubState || (i >= 42 && i < kProgress) || i >= kName) expect[i] = given[i];
    expect[kStatus] = 2;
    qrx::ByteView(expect.data()).setU32(kStart, 0x12345678);
    ASSERT_EQ(QuorixGetUpgradeInfo(stored.data(), 7), 0);
    EXPECT_EQ(hex(stored.data(), stored.size()), hex(expect.data(), expect.size()));
}

TEST_F(TaskTable, Events_FailureAndTheFirstLaterFinishOfTheSameTaskAndProcess) {
    const struct { std::vector<std::pair<int, int>> statuses; Events events; } cases[] = {
        {{{6, 4}, {6, 4}, {6, 3}, {6, 3}}, {{0x07, 6, 4}, {0x07, 6, 4}, {0x87, 6, 3}}},
        {{{2, 3}, {2, 2}, {2, 1}, {2, 5}}, {}},
        {{{1, 4}, {2, 3}, {1, 3}}, {{0x07, 1, 4}, {0x87, 1, 3}}},
    };
    for (const auto &c : cases) {
        g_pipeWrites.clear();
        for (auto [id, status] : c.statuses) printed([&] { return QuorixSetTaskStatus(id, status); });
        EXPECT_EQ(selEvents(), c.events);
    }
    // The whole request of the last recovery, as the IPMI daemon reads it.
    EXPECT_EQ(g_pipeWrites.back().bytes, (Bytes{0, 0, 0x20, 0, 0, 0x18, 0x02, 0x87, 0x01, 1, 3, 0, 0, 0, 0, 0, 0, 0}));
    ASSERT_TRUE(runInChild([] { QuorixSetTaskStatus(13, 4); }).exited);
    EXPECT_EQ(block().u8(taskField(13, kStatus)), 4);
    g_pipeWrites.clear();
    printed([] { return QuorixSetTaskStatus(13, 3); });
    EXPECT_EQ(selEvents(), Events{}) << "another process's failure is not this one's to recover";
}

// The flasher's block: stage, 92 bytes, 32-bit state; `length` bytes of it.
std::string flasherFile(std::uint8_t stage, std::uint32_t state, std::size_t length) {
    std::string bytes(97, '\0');
    bytes[0] = static_cast<char>(stage);
    bytes[1] = 42;
    for (int i = 0; i < 4; ++i) bytes[93 + i] = static_cast<char>(state >> (8 * i));
    return bytes.substr(0, length);
}

TEST_F(TaskTable, FlashProgress_JudgesStageAndWholeState) {
    const std::string read = "Read prpgress file in flashlib", done = "Flash All Complete!!",
                      retry = "End of file reached while reading flash progressretrying reading status file...";
    const struct { std::uint8_t stage; std::uint32_t state; std::size_t length; std::uint8_t prefill; Printed expect; } cases[] = {
        {4, 2, 97, 0, {255, read + done}},    {3, 2, 97, 0, {0, read}},   {4, 4, 97, 0, {254, read}},
        {2, 4, 97, 0, {254, read}},           {4, 0x0102, 97, 0, {0, read}}, {4, 0x0104, 97, 0, {0, read}},
        // Short: three tries, then the caller's bytes stand in for the missing ones.
        {4, 2, 95, 0, {255, retry + retry + retry + read + done}},
        {4, 2, 95, 0xFF, {0, retry + retry + retry + read}},
    };
    for (const auto &c : cases) {
        writeFile("/var/flasher.progress", flasherFile(c.stage, c.state, c.length));
        unsigned char buffer[97];
        std::memset(buffer, c.prefill, sizeof buffer);
        EXPECT_EQ(printed([&] { return QuorixGetFlashProgress(buffer); }), c.expect) << c.state;
        EXPECT_EQ(buffer[1], 42);
    }
    EXPECT_EQ(QuorixGetFlashProgress(nullptr), -1);
    unsigned char buffer[97];
    ASSERT_EQ(unlink("/var/flasher.progress"), 0);
    EXPECT_EQ(printed([&] { return QuorixGetFlashProgress(buffer); }), (Printed{-1, ""}));
    ASSERT_EQ(mkdir("/var/flasher.progress", 0755), 0);  // opens, never reads: gives up
    EXPECT_EQ(printed([&] { return QuorixGetFlashProgress(buffer); }).rc, -1);
}

TEST_F(TaskTable, PendingScan_FirstWaitingOrRunningTaskInScanOrder) {
    const struct { std::vector<std::pair<int, int>> statuses; int expect; } cases[] = {
        {{{0, 1}, {3, 1}, {4, 1}, {12, 1}, {13, 1}, {14, 1}}, 0}, {{{5, 2}, {2, 1}}, 1}, {{{5, 2}, {1, 3}}, 2},
        {{{10, 1}}, 1}, {{{11, 2}}, 2}, {{{1, 1}}, 1}, {{{9, 4}, {7, 2}}, 2}, {{{6, 5}, {8, 1}}, 1},
    };
    for (const auto &c : cases) {
        block().fill(kTaskTable, 0, 15 * kTaskRecordSize);
        for (auto [id, status] : c.statuses) block().setU8(taskField(id, kStatus), static_cast<std::uint8_t>(status));
        EXPECT_EQ(printed(QuorixHasPendingTask), (Printed{c.expect, ""})) << c.statuses[0].first;
    }
    EXPECT_EQ(block().u8(0x621796), 0);
    block().fill(kTaskTable, 0, 15 * kTaskRecordSize);
    writeFile("/usr/local/lmedia/psu_image.bin", "image");
    EXPECT_EQ(printed(QuorixHasPendingTask).rc, 2);
    EXPECT_EQ(blockBytes(0x621796, 1), Bytes{1});
    EXPECT_EQ(blockBytes(taskField(5, kStatus), 2), (Bytes{1, 4}));
    EXPECT_EQ(QuorixHasPendingTask(), 1);  // now found by its status
}

void putTask(int id, std::uint8_t status, std::uint8_t owner) {
    for (auto [field, value] : {std::pair<std::size_t, int>{0, owner}, {1, 0x30 + id}, {2, 0xA0 + id}, {3, 0xB0 + id},
                                {kStatus, status}, {kTrigger, 0xC0 + id}, {kProgress, 10 + id}})
        block().setU8(taskField(id, field), static_cast<std::uint8_t>(value));
}

Bytes queryOf(const std::vector<int> &ids) {
    Bytes out{0, static_cast<std::uint8_t>(ids.size())};
    for (int id : ids) for (auto b : blockBytes(taskField(id, 0), kTaskRecordSize)) out.push_back(b);
    out.resize(4607, 0);
    return out;
}

TEST_F(TaskTable, Query_CopiesTaskedRecordsInOrder) {
    Bytes out(4607, 0xEE);
    captureStdout([&] { EXPECT_EQ(QuorixBackgroundTaskQuery(out.data(), 255), 2); });
    EXPECT_EQ(out, Bytes(4607, 0));
    putTask(3, 5, 3);
    putTask(12, 1, 12);
    putTask(0, 2, 0);
    const struct { int id, length; std::vector<int> ids; } cases[] = {{0x1FF, 2 + 3 * 307, {0, 3, 12}}, {12, 309, {12}}, {0x303, 309, {3}}, {9, 2, {}}};
    for (const auto &c : cases) {
        std::string lines = captureStdout([&] { EXPECT_EQ(QuorixBackgroundTaskQuery(out.data(), c.id), c.length); });
        EXPECT_EQ(out, queryOf(c.ids)) << c.id;
        EXPECT_EQ(lines, " query Flash progress -task:  0,task_progress:10\n"
                         " query Flash progress -task:  1,task_progress:0\n");
    }
    for (int bad : {15, 254, 0x10F}) EXPECT_EQ(QuorixBackgroundTaskQuery(out.data(), bad), -1) << bad;
    EXPECT_EQ(QuorixBackgroundTaskQuery(nullptr, 5), -1);
}

TEST_F(TaskTable, OperationHandler_ChecksLengthOperationIdThenAnswers) {
    putTask(8, 5, 8);
    putTask(2, 2, 2);
    putTask(10, 1, 10);
    const struct { Bytes req; int length; std::uint8_t code; } cases[] = {
        {{0}, 1, 0xC7},      {{0, 8, 0}, 1, 0xC7}, {{2, 8}, 1, 0xCC},  {{0, 15}, 1, 0xCC}, {{0, 8}, 309, 0x00},
        {{0, 9}, 1, 0xFF},   {{1, 20}, 1, 0xCC},   {{1, 8}, 1, 0xD5},  {{1, 2}, 1, 0xD5},  {{1, 10}, 1, 0x00},
    };
    for (const auto &c : cases) {
        Bytes resp(4607, 0xEE);
        EXPECT_EQ(printed([&] { return QuorixBackgroundTaskOperaInterface(c.req.data(), int(c.req.size()), resp.data()); })
                      .rc,
                  c.length);
        EXPECT_EQ(resp[0], c.code) << hex(c.req.data(), c.req.size());
    }
    Bytes notice(1025, 0);
    notice[0] = 2;
    notice[1] = 10;
    ASSERT_EQ(g_pipeWrites.size(), 1u) << "only the waiting task is posted to the scan task";
    EXPECT_EQ(g_pipeWrites[0].path, "/var/poweroffscanpipe");
    EXPECT_EQ(g_pipeWrites[0].bytes, notice);
    EXPECT_EQ(block().u8(taskField(10, kStatus)), 1);
    EXPECT_EQ(printed([] { return QuorixBackgroundTaskCancel(15); }), (Printed{-1, "Invalid task type !"}));
    EXPECT_EQ(printed([] { return QuorixBackgroundTaskCancel(2); }),
              (Printed{-2, "The status is not allowed to cancel the task."}));
}

int failingPipeWrite(const char *, unsigned char *, int) { return -1; }

TEST_F(TaskTable, PipeNotices_CancelIgnoresAFailedPostTheAsynNoticeReportsIt) {
    EXPECT_EQ(QuorixNotifyAsynTask(3, 0x1234), 0);
    Bytes notice(1025, 0);
    notice[0] = 3;
    notice[2] = 11;
    notice[38] = 0x34;
    ASSERT_EQ(g_pipeWrites.size(), 1u);
    EXPECT_EQ(g_pipeWrites[0].bytes, notice);
    replaceSlot(qrx::Slot::QuorixWritePipe, &failingPipeWrite);
    EXPECT_EQ(printed([] { return QuorixNotifyAsynTask(1, 1); }), (Printed{-1, "Error writing Prep command"}));
    putTask(7, 1, 7);
    EXPECT_EQ(printed([] { return QuorixBackgroundTaskCancel(7); }).rc, 0);
}

TEST_F(TaskTable, StatusReport_OneEntryPerTaskedIdUpTo11) {
    for (auto [id, status] : {std::pair{0, 2}, {5, 4}, {11, 1}, {12, 2}, {14, 2}}) putTask(id, status, id);
    Bytes expect(572, 0);
    expect[1] = 3;
    int k = 0;
    for (auto [id, status, name] : {std::tuple{0, 2, "BMC"}, {5, 4, "PSU"}, {11, 1, ""}}) {
        std::uint8_t *e = expect.data() + 2 + 38 * k++;
        e[0] = static_cast<std::uint8_t>(id);
        std::memcpy(e + 1, name, std::strlen(name));
        for (auto [at, value] : {std::pair{33, status}, {34, 10 + id}, {35, 0xC0 + id}, {36, 0xA0 + id}, {37, 0xB0 + id}})
            e[at] = static_cast<std::uint8_t>(value);
    }
    Bytes out(572, 0xEE);
    std::string lines = captureStdout([&] { EXPECT_EQ(QuorixUpdateStatusQuery(out.data()), 2 + 3 * 38); });
    EXPECT_EQ(hex(out.data(), out.size()), hex(expect.data(), expect.size()));
    EXPECT_EQ(lines, " query Flash progress -task:  0,UpdRogress:10\n query Flash progress -task:  1,UpdRogress:0\n");
    EXPECT_EQ(QuorixUpdateStatusQuery(nullptr), -1);
    const struct { Bytes req; int length; std::uint8_t code; } cases[] = {{{1, 0}, 1, 0xC7}, {{1}, 1, 0xCC}, {{0}, 2 + 3 * 38, 0x00}};
    for (const auto &c : cases) {
        Bytes resp(572, 0xEE);
        captureStdout([&] { EXPECT_EQ(QuorixGetUpdateInfoInterface(c.req.data(), int(c.req.size()), resp.data()), c.length); });
        EXPECT_EQ(resp[0], c.code);
        if (c.code == 0) {
            EXPECT_EQ(Bytes(resp.begin() + 1, resp.end()), Bytes(expect.begin() + 1, expect.end()));
        }
    }
}

TEST_F(TaskTable, ActiveTask_FirstRunningRecordOfAnActiveOwner) {
    putTask(0, 2, 0);  // owners 0 and 4 are not active kinds
    putTask(4, 2, 4);
    putTask(6, 1, 6);  // not running
    putTask(9, 2, 7);  // its owner byte decides, not its slot
    putTask(10, 2, 2);
    unsigned char buffer[307];
    for (int expect : {9, 10, -1}) {
        EXPECT_EQ(QuorixGetBackgroundTaskActive(buffer), expect);
        if (expect < 0) break;
        EXPECT_EQ(Bytes(buffer, buffer + 307), blockBytes(taskField(expect, 0), 307));
        block().setU8(taskField(expect, kStatus), 3);
    }
    EXPECT_EQ(printed([] { return QuorixGetBackgroundTaskActive(nullptr); }), (Printed{-1, "Get task-0 info fail!\r\n"}));
}

}  // namespace
