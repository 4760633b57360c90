// Task records: accessor bounds and lines, failure/recovery events, the
// flasher file, the pending scan, query, cancel, the report and its handlers.
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <tuple>

#include "update_cases.h"

namespace {

using namespace qtest;
using TaskTable = UpdateTest;

TEST_F(TaskTable, Refusals_PrintTheirLineAndWriteNothing) {
    unsigned char r[kTaskRecordSize] = {};
    const std::string flag = "set update flag fail!!!\r", sub = "set update substatus fail!!!\r", info = "Set update type fail !!!\r",
                      name = "set update file name fail!!!\r", get = "Get update type fail!!!\r", on = "set flag fail!!!\r";
    const struct { std::function<int()> call; std::string line; } cases[] = {
        {[] { return QuorixSetTaskStatus(15, 0); }, flag}, {[] { return QuorixSetTaskStatus(0, 6); }, flag},
        {[] { return QuorixSetTaskStatus(-1, 1); }, flag}, {[] { return QuorixSetTaskStatus(1, -1); }, flag},
        {[] { return QuorixSetUpdateStatus(3, 14); }, sub}, {[] { return QuorixSetUpdateStatus(3, -1); }, sub},
        {[] { return QuorixSetFileName(15, "/x"); }, name}, {[] { return QuorixSetFileName(2, nullptr); }, name},
        {[&] { return QuorixUpdateTaskInfo(15, r); }, info}, {[&] { return QuorixUpdateTaskInfo(1, nullptr); }, info},
        {[&] { return QuorixGetUpgradeInfo(r, 15); }, get}, {[&] { return QuorixGetUpgradeInfo(nullptr, 1); }, get},
        {[] { return QuorixSetPowerOnFlag(2); }, on}, {[] { return QuorixSetPowerOnFlag(-1); }, on},
        {[] { return QuorixGetUpdateStatus(15); }, "set update type fail!!!\r"},
        {[] { return QuorixSetUpdateStatus(15, 1); }, "set update status fail!!!\r"},
        {[] { return QuorixGetTaskStatus(15); }, "get update flag  fail!!!\r"},
        {[] { return QuorixGetTaskTriggerMoment(21); }, "get task trigger moment fail,task id is 21,tool large !!!\r\n"},
        {[] { return QuorixSetFlashProgress(15, 50); }, "set update flash progress fail!!!\r"},
    };
    for (const auto &c : cases) EXPECT_EQ(printed(c.call), (Printed{-1, c.line}));
    EXPECT_EQ(taskTable(), Bytes(15 * kTaskRecordSize + 2, 0));
}

TEST_F(TaskTable, Setters_WriteOnlyTheirByteAndPrintTheirLine) {
    const struct { std::function<int()> set; std::string line; std::size_t offset; std::uint8_t value; int (*get)(int); } cases[] = {
        {[] { return QuorixSetTaskStatus(14, 5); }, "\r\n==== task_id:14  status:5 =====\r\n", taskField(14, kStatus), 5, QuorixGetTaskStatus},
        {[] { return QuorixSetUpdateStatus(14, 13); }, "\r\n==== task_id:14  task_substate:13 =====\r\n", taskField(14, kSubState), 13,
         QuorixGetUpdateStatus},
        {[] { return QuorixSetFlashProgress(14, 0x1234); }, "", taskField(14, kProgress), 0x34, nullptr},
        {[] { return QuorixSetPowerOnFlag(1); }, "\r\n==== flag:1 =====\r\n", 0x621797, 1, [](int) { return QuorixIsRequirePowerOn(); }},
    };
    for (const auto &c : cases) {
        block().fill(kTaskTable, 0, 15 * kTaskRecordSize + 2);
        EXPECT_EQ(printed(c.set), (Printed{0, c.line}));
        Bytes expect(15 * kTaskRecordSize + 2, 0);
        expect[c.offset - kTaskTable] = c.value;
        EXPECT_EQ(taskTable(), expect) << c.line;
        EXPECT_EQ(c.get ? c.get(14) : c.value, c.value);
    }
    block().setU8(taskField(4, kTrigger), 0x5A);
    EXPECT_EQ(QuorixGetTaskTriggerMoment(4), 0x5A);
    EXPECT_EQ(printed([] { return QuorixSetFileName(3, "/usr/local/lmedia/cpldABC"); }).out,
              "\r\n==== task_id:3  set file_name:/usr/local/lmedia/cpldABC file:/usr/local/lmedia/cpldABC=====\r\n");
    block().setU8(taskField(3, kName + 128), 0x77);
    printed([] { return QuorixSetFileName(3, std::string(200, 'n').c_str()); });
    EXPECT_EQ(fileName(3), std::string(127, 'n'));
    EXPECT_EQ(block().u8(taskField(3, kName + 128)), 0x77);
}

TEST_F(TaskTable, UpdateTaskInfo_CopiesTheUpdatersFieldsOnly) {
    Bytes given(kTaskRecordSize), expect(kTaskRecordSize, 0), stored(kTaskRecordSize);
    for (std::size_t i = 0; i < kTaskRecordSize; ++i) given[i] = static_cast<unsigned char>(0x40 + i % 23);
    std::memcpy(given.data() + kName, "/usr/local/lmedia/fpga12", 25);
    poke({{taskField(7, kStatus), 2}, {taskField(7, kProgress), 77}});
    block().setU32(taskField(7, kStart), 0x12345678);
    EXPECT_EQ(printed([&] { return QuorixUpdateTaskInfo(7, given.data()); }).out,
              "\r\n==== task_id:7  task_type:65 trigger_moment:79 task_substate: 78 ComponentID:83 BoardId:84"
              "file_name:/usr/local/lmedia/fpga12=====\r\n");
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
        for (auto [id, status] : c.statuses) printed([id = id, status = status] { return QuorixSetTaskStatus(id, status); });
        EXPECT_EQ(selEvents(), c.events);
    }
    // The whole request of the last recovery, as the IPMI daemon reads it.
    EXPECT_EQ(g_pipeWrites.back().bytes, (Bytes{0, 0, 0x20, 0, 0, 0x18, 0x02, 0x87, 0x01, 1, 3, 0, 0, 0, 0, 0, 0, 0}));
    ASSERT_TRUE(runInChild([] { QuorixSetTaskStatus(13, 4); }).exited);
    g_pipeWrites.clear();
    printed([] { return QuorixSetTaskStatus(13, 3); });
    EXPECT_EQ(selEvents(), Events{}) << "another process's failure is not this one's to recover";
}

TEST_F(TaskTable, FlashProgress_JudgesStageAndWholeState) {
    const std::string read = "Read prpgress file in flashlib", done = "Flash All Complete!!",
                      retry = "End of file reached while reading flash progressretrying reading status file...";
    // Short files: three tries, then the caller's bytes stand in for the missing ones.
    const struct { std::uint8_t stage; std::uint32_t state; std::size_t length; std::uint8_t prefill; Printed expect; } cases[] = {
        {4, 2, 97, 0, {255, read + done}}, {3, 2, 97, 0, {0, read}},       {4, 4, 97, 0, {254, read}},
        {2, 4, 97, 0, {254, read}},        {4, 0x0102, 97, 0, {0, read}}, {4, 0x0104, 97, 0, {0, read}},
        {4, 2, 95, 0, {255, retry + retry + retry + read + done}},        {4, 2, 95, 0xFF, {0, retry + retry + retry + read}},
    };
    unsigned char buffer[97];
    for (const auto &c : cases) {
        std::string file(97, '\0');
        file[0] = static_cast<char>(c.stage);
        file[1] = 42;
        for (int i = 0; i < 4; ++i) file[93 + i] = static_cast<char>(c.state >> (8 * i));
        writeFile("/var/flasher.progress", file.substr(0, c.length));
        std::memset(buffer, c.prefill, sizeof buffer);
        EXPECT_EQ(printed([&] { return QuorixGetFlashProgress(buffer); }), c.expect) << c.state;
        EXPECT_EQ(buffer[1], 42);
    }
    EXPECT_EQ(QuorixGetFlashProgress(nullptr), -1);
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
    EXPECT_EQ(block().u8(0x621796) * 0x10000 + block().u16(taskField(5, kStatus)), 0x10401);
    EXPECT_EQ(QuorixHasPendingTask(), 1);  // now found by its status
}

void putTasks(std::initializer_list<std::array<int, 3>> tasks) {  // {slot, status, owner}
    for (auto [id, status, owner] : tasks)
        for (auto [field, value] : {std::pair<std::size_t, int>{0, owner}, {1, 0x30 + id}, {2, 0xA0 + id}, {3, 0xB0 + id},
                                    {kStatus, status}, {kTrigger, 0xC0 + id}, {kProgress, 10 + id}})
            block().setU8(taskField(id, field), static_cast<std::uint8_t>(value));
}

TEST_F(TaskTable, Query_CopiesTaskedRecordsInOrder) {
    Bytes out(4607, 0xEE);
    captureStdout([&] { EXPECT_EQ(QuorixBackgroundTaskQuery(out.data(), 255), 2); });
    EXPECT_EQ(out, Bytes(4607, 0));
    putTasks({{3, 5, 3}, {12, 1, 12}, {0, 2, 0}});
    const struct { int id; std::vector<int> ids; } cases[] = {{0x1FF, {0, 3, 12}}, {12, {12}}, {0x303, {3}}, {9, {}}};
    for (const auto &c : cases) {
        std::string lines = captureStdout([&] { EXPECT_EQ(QuorixBackgroundTaskQuery(out.data(), c.id), 2 + 307 * int(c.ids.size())); });
        Bytes expect{0, static_cast<std::uint8_t>(c.ids.size())};
        for (int id : c.ids) for (auto b : blockBytes(taskField(id, 0), kTaskRecordSize)) expect.push_back(b);
        expect.resize(4607, 0);
        EXPECT_EQ(out, expect) << c.id;
        EXPECT_EQ(lines, " query Flash progress -task:  0,task_progress:10\n query Flash progress -task:  1,task_progress:0\n");
    }
    for (int bad : {15, 254, 0x10F}) EXPECT_EQ(QuorixBackgroundTaskQuery(out.data(), bad), -1) << bad;
    EXPECT_EQ(QuorixBackgroundTaskQuery(nullptr, 5), -1);
}

TEST_F(TaskTable, OperationHandler_ChecksLengthOperationIdThenAnswers) {
    putTasks({{8, 5, 8}, {2, 2, 2}, {10, 1, 10}});
    const struct { Bytes req; int length; std::uint8_t code; } cases[] = {
        {{0}, 1, 0xC7},    {{0, 8, 0}, 1, 0xC7}, {{2, 8}, 1, 0xCC}, {{0, 15}, 1, 0xCC}, {{0, 8}, 309, 0x00},
        {{0, 9}, 1, 0xFF}, {{1, 20}, 1, 0xCC},   {{1, 8}, 1, 0xD5}, {{1, 2}, 1, 0xD5},  {{1, 10}, 1, 0x00},
    };
    for (const auto &c : cases) {
        Bytes resp(4607, 0xEE);
        const int length = printed([&] { return QuorixBackgroundTaskOperaInterface(c.req.data(), int(c.req.size()), resp.data()); }).rc;
        EXPECT_EQ(std::pair(length, resp[0]), std::pair(c.length, c.code)) << hex(c.req.data(), c.req.size());
    }
    Bytes cancel(1025, 0), asyn(1025, 0);
    cancel[0] = 2, cancel[1] = 10, asyn[0] = 3, asyn[2] = 11, asyn[38] = 0x34;
    EXPECT_EQ(QuorixNotifyAsynTask(3, 0x1234), 0);
    ASSERT_EQ(g_pipeWrites.size(), 2u) << "only the waiting task is posted to the scan task, which cancels it";
    for (auto [write, bytes] : {std::pair{0, cancel}, {1, asyn}}) EXPECT_EQ(g_pipeWrites[write].bytes, bytes);
    EXPECT_EQ(g_pipeWrites[0].path, "/var/poweroffscanpipe");
    EXPECT_EQ(block().u8(taskField(10, kStatus)), 1);
    EXPECT_EQ(printed([] { return QuorixBackgroundTaskCancel(15); }), (Printed{-1, "Invalid task type !"}));
    EXPECT_EQ(printed([] { return QuorixBackgroundTaskCancel(2); }), (Printed{-2, "The status is not allowed to cancel the task."}));
    replaceSlot(qrx::Slot::QuorixWritePipe, +[](const char *, unsigned char *, int) { return -1; });
    EXPECT_EQ(printed([] { return QuorixNotifyAsynTask(1, 1); }), (Printed{-1, "Error writing Prep command"}));
    EXPECT_EQ(printed([] { return QuorixBackgroundTaskCancel(10); }).rc, 0) << "a failed post changes nothing here";
}

TEST_F(TaskTable, StatusReport_OneEntryPerTaskedIdUpTo11) {
    putTasks({{0, 2, 0}, {5, 4, 5}, {11, 1, 11}, {12, 2, 12}, {14, 2, 14}});
    Bytes expect(572, 0);
    expect[1] = 3;
    for (auto [k, id, name] : {std::tuple{0, 0, "BMC"}, {1, 5, "PSU"}, {2, 11, ""}}) {
        std::uint8_t *e = expect.data() + 2 + 38 * k;
        e[0] = static_cast<std::uint8_t>(id);
        std::memcpy(e + 1, name, std::strlen(name));
        const std::size_t from[] = {kStatus, kProgress, kTrigger, 2, 3};  // entry bytes 33..37
        for (int j = 0; j < 5; ++j) e[33 + j] = block().u8(taskField(id, from[j]));
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
        EXPECT_TRUE(c.code != 0 || std::equal(resp.begin() + 1, resp.end(), expect.begin() + 1));
    }
}

TEST_F(TaskTable, ActiveTask_FirstRunningRecordOfAnActiveOwner) {
    // Owners 0 and 4 are not active kinds; slot 6 is not running; slot 9's owner byte decides.
    putTasks({{0, 2, 0}, {4, 2, 4}, {6, 1, 6}, {9, 2, 7}, {10, 2, 2}});
    unsigned char buffer[307];
    for (int active : {9, 10}) {
        ASSERT_EQ(QuorixGetBackgroundTaskActive(buffer), active);
        EXPECT_EQ(Bytes(buffer, buffer + 307), blockBytes(taskField(active, 0), 307));
        block().setU8(taskField(active, kStatus), 3);
    }
    EXPECT_EQ(QuorixGetBackgroundTaskActive(buffer), -1);
    EXPECT_EQ(printed([] { return QuorixGetBackgroundTaskActive(nullptr); }), (Printed{-1, "Get task-0 info fail!\r\n"}));
}

}  // namespace
