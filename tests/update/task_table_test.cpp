// Task table: id and value bounds with their console lines, failure and
// recovery events, the flasher file, the pending-task scan, the background
// query and cancel, the status report and both IPMI handlers.
#include <sys/stat.h>

#include <cstring>
#include <string>
#include <vector>

#include "quorix_test.h"

namespace {

using namespace qtest;

class TaskTable : public UpdateTest {};


TEST_F(TaskTable, SetTaskStatus_AcceptsUpTo14And5_RefusesBeyondWithoutWriting) {
    std::string out = qtest::captureStdout([] { EXPECT_EQ(QuorixSetTaskStatus(14, 5), 0); });
    EXPECT_EQ(out, "\r\n==== task_id:14  status:5 =====\r\n");
    EXPECT_EQ(block().u8(taskField(14, kStatus)), 5);
    struct Case {
        int id, status;
    } refused[] = {{15, 0}, {0, 6}, {-1, 1}, {255, 2}};
    for (const Case &c : refused) {
        out = qtest::captureStdout([&] { EXPECT_EQ(QuorixSetTaskStatus(c.id, c.status), -1); });
        EXPECT_EQ(out, "set update flag fail!!!\r");
    }
    EXPECT_EQ(qtest::blockBytes(taskField(0, 0), 15 * kTaskRecordSize + 2), [] {
        std::vector<unsigned char> expect(15 * kTaskRecordSize + 2, 0);
        expect[14 * kTaskRecordSize + kStatus] = 5;
        return expect;
    }());
}

TEST_F(TaskTable, BadTaskId_EachAccessorPrintsItsOwnRefusal) {
    unsigned char record[kTaskRecordSize] = {};
    struct Case {
        std::function<int()> call;
        const char *message;
    } cases[] = {
        {[] { return QuorixGetUpdateStatus(15); }, "set update type fail!!!\r"},
        {[] { return QuorixSetUpdateStatus(15, 1); }, "set update status fail!!!\r"},
        {[] { return QuorixSetUpdateStatus(3, 14); }, "set update substatus fail!!!\r"},
        {[] { return QuorixGetTaskStatus(15); }, "get update flag  fail!!!\r"},
        {[] { return QuorixGetTaskTriggerMoment(21); },
         "get task trigger moment fail,task id is 21,tool large !!!\r\n"},
        {[] { return QuorixSetFileName(15, "/usr/local/lmedia/x"); }, "set update file name fail!!!\r"},
        {[] { return QuorixSetFileName(2, nullptr); }, "set update file name fail!!!\r"},
        {[] { return QuorixSetFlashProgress(15, 50); }, "set update flash progress fail!!!\r"},
        {[&] { return QuorixUpdateTaskInfo(15, record); }, "Set update type fail !!!\r"},
        {[&] { return QuorixGetUpgradeInfo(record, 15); }, "Get update type fail!!!\r"},
        {[] { return QuorixSetPowerOnFlag(2); }, "set flag fail!!!\r"},
    };
    for (const Case &c : cases) {
        int result = 0;
        EXPECT_EQ(qtest::captureStdout([&] { result = c.call(); }), c.message);
        EXPECT_EQ(result, -1) << c.message;
    }
    EXPECT_EQ(qtest::blockBytes(taskField(0, 0), 15 * kTaskRecordSize + 2),
              std::vector<unsigned char>(15 * kTaskRecordSize + 2, 0));
}

TEST_F(TaskTable, Setters_StoreTheirByteAndPrintTheirLine) {
    EXPECT_EQ(qtest::captureStdout([] { EXPECT_EQ(QuorixSetUpdateStatus(9, 13), 0); }),
              "\r\n==== task_id:9  task_substate:13 =====\r\n");
    EXPECT_EQ(QuorixGetUpdateStatus(9), 13);
    EXPECT_EQ(QuorixSetFlashProgress(9, 0x1234), 0);
    EXPECT_EQ(block().u8(taskField(9, kProgress)), 0x34);
    EXPECT_EQ(qtest::captureStdout([] { EXPECT_EQ(QuorixSetPowerOnFlag(1), 0); }), "\r\n==== flag:1 =====\r\n");
    EXPECT_EQ(QuorixIsRequirePowerOn(), 1);
    EXPECT_EQ(block().u8(0x621797), 1);
    block().setU8(taskField(4, kTrigger), 0x5A);
    EXPECT_EQ(QuorixGetTaskTriggerMoment(4), 0x5A);

    std::string out = qtest::captureStdout([] { EXPECT_EQ(QuorixSetFileName(3, "/usr/local/lmedia/cpldABC"), 0); });
    EXPECT_EQ(out,
              "\r\n==== task_id:3  set file_name:/usr/local/lmedia/cpldABC file:/usr/local/lmedia/cpldABC=====\r\n");
    std::string longName(200, 'n');
    qtest::captureStdout([&] { QuorixSetFileName(3, longName.c_str()); });
    auto field = qtest::blockBytes(taskField(3, kName), 128);
    EXPECT_EQ(std::string(field.begin(), field.begin() + 127), std::string(127, 'n'));
    EXPECT_EQ(field[127], 0);
    EXPECT_EQ(block().u8(taskField(3, kName + 128)), 0);
}

TEST_F(TaskTable, UpdateTaskInfo_CopiesTheUpdatersFieldsOnly) {
    unsigned char given[kTaskRecordSize];
    for (std::size_t i = 0; i < kTaskRecordSize; ++i) given[i] = static_cast<unsigned char>(0x40 + i % 23);
    std::memcpy(given + kName, "/usr/local/lmedia/fpga12", 25);
    block().setU8(taskField(7, kStatus), 2);
    block().setU32(taskField(7, kStart), 0x12345678);
    block().setU8(taskField(7, kProgress), 77);
    std::string out = qtest::captureStdout([&] { EXPECT_EQ(QuorixUpdateTaskInfo(7, given), 0); });
    EXPECT_EQ(out, "\r\n==== task_id:7  task_type:65 trigger_moment:" + std::to_string(given[kTrigger]) +
                       " task_substate: " + std::to_string(given[kSubState]) +
                       " ComponentID:" + std::to_string(given[42]) + " BoardId:" + std::to_string(given[43]) +
                       "file_name:/usr/local/lmedia/fpga12=====\r\n");
    unsigned char stored[kTaskRecordSize];
    ASSERT_EQ(QuorixGetUpgradeInfo(stored, 7), 0);
    for (std::size_t i = 0; i < kTaskRecordSize; ++i) {
        bool copied = i == 0 || i == 1 || i == kSubState || (i >= 42 && i < 176) || i >= kName;
        unsigned char expect = copied ? given[i] : 0;
        if (i == kStatus) expect = 2;
        if (i >= kStart && i < kStart + 4) expect = static_cast<unsigned char>(0x12345678 >> (8 * (i - kStart)));
        if (i == kProgress) expect = 0;
        EXPECT_EQ(stored[i], expect) << "offset " << i;
    }
}

TEST_F(TaskTable, FailureThenRecovery_Events4_4_3_3GiveTwoFailuresAndOneRecovery) {
    std::string out = qtest::captureStdout([] {
        for (int status : {4, 4, 3, 3}) EXPECT_EQ(QuorixSetTaskStatus(6, status), 0);
    });
    EXPECT_EQ(out,
              "\r\n==== task_id:6  status:4 =====\r\n\r\n==== task_id:6  status:4 =====\r\n"
              "\r\n==== task_id:6  status:3 =====\r\n\r\n==== task_id:6  status:3 =====\r\n");
    EXPECT_EQ(selEvents(), (std::vector<std::vector<int>>{{0x07, 6, 4}, {0x07, 6, 4}, {0x87, 6, 3}}));
    // The whole 18-byte request of the recovery, as the IPMI daemon reads it.
    EXPECT_EQ(g_pipeWrites.back().bytes, (Bytes{0, 0, 0x20, 0, 0, 0x18, 0x02, 0x87, 0x01, 6, 3, 0, 0, 0, 0, 0, 0, 0}));
}

TEST_F(TaskTable, FinishedWithoutEarlierFailure_SendsNothing) {
    qtest::captureStdout([] {
        QuorixSetTaskStatus(2, 3);
        QuorixSetTaskStatus(2, 2);
        QuorixSetTaskStatus(2, 1);
        QuorixSetTaskStatus(2, 5);
    });
    EXPECT_TRUE(selEvents().empty());
}

TEST_F(TaskTable, FailureMemory_IsPerProcess) {
    // A failure set by another process leaves this one nothing to recover.
    qtest::ChildResult child = qtest::runInChild([] { QuorixSetTaskStatus(5, 4); });
    ASSERT_TRUE(child.exited);
    EXPECT_EQ(block().u8(taskField(5, kStatus)), 4);
    g_pipeWrites.clear();
    qtest::captureStdout([] { QuorixSetTaskStatus(5, 3); });
    EXPECT_TRUE(selEvents().empty());
    // Each id keeps its own memory.
    qtest::captureStdout([] {
        QuorixSetTaskStatus(1, 4);
        QuorixSetTaskStatus(2, 3);
        QuorixSetTaskStatus(1, 3);
    });
    EXPECT_EQ(selEvents(), (std::vector<std::vector<int>>{{0x07, 1, 4}, {0x87, 1, 3}}));
}

// The flasher's 97-byte block: stage, 92 bytes, state.
std::string flasherBlock(std::uint8_t stage, std::uint32_t state, std::size_t length = 97) {
    std::string bytes(97, '\0');
    bytes[0] = static_cast<char>(stage);
    bytes[1] = 42;
    for (int i = 0; i < 4; ++i) bytes[93 + i] = static_cast<char>(state >> (8 * i));
    return bytes.substr(0, length);
}

TEST_F(TaskTable, FlashProgress_JudgesStageAndState) {
    struct Case {
        std::uint8_t stage;
        std::uint32_t state;
        int result;
        const char *tail;
    } cases[] = {
        {4, 2, 255, "Flash All Complete!!"},
        {3, 2, 0, ""},
        {4, 4, 254, ""},
        {2, 4, 254, ""},
        {4, 0x0102, 0, ""},  // the whole u32 counts, not its low byte
    };
    for (const Case &c : cases) {
        qtest::writeFile("/var/flasher.progress", flasherBlock(c.stage, c.state));
        unsigned char buffer[97] = {};
        int result = 0;
        std::string out = qtest::captureStdout([&] { result = QuorixGetFlashProgress(buffer); });
        EXPECT_EQ(result, c.result);
        EXPECT_EQ(out, std::string("Read prpgress file in flashlib") + c.tail);
        EXPECT_EQ(buffer[1], 42);
    }
}

TEST_F(TaskTable, FlashProgress_ShortFileIsReadThreeTimesThenJudged) {
    // 95 bytes: the state's two high bytes never arrive; they keep the caller's bytes.
    qtest::writeFile("/var/flasher.progress", flasherBlock(4, 2, 95));
    unsigned char buffer[97];
    std::memset(buffer, 0, sizeof buffer);
    int result = 0;
    std::string out = qtest::captureStdout([&] { result = QuorixGetFlashProgress(buffer); });
    std::string retry = "End of file reached while reading flash progressretrying reading status file...";
    EXPECT_EQ(out, retry + retry + retry + "Read prpgress file in flashlibFlash All Complete!!");
    EXPECT_EQ(result, 255);
    std::memset(buffer, 0xFF, sizeof buffer);
    qtest::captureStdout([&] { result = QuorixGetFlashProgress(buffer); });
    EXPECT_EQ(result, 0);  // state read as 0xFFFF0002
}

TEST_F(TaskTable, FlashProgress_MissingFileOrNullBufferFails) {
    unsigned char buffer[97];
    EXPECT_EQ(qtest::captureStdout([&] { EXPECT_EQ(QuorixGetFlashProgress(buffer), -1); }), "");
    qtest::writeFile("/var/flasher.progress", flasherBlock(4, 2));
    EXPECT_EQ(QuorixGetFlashProgress(nullptr), -1);
    // A path that opens but never reads gives up instead of spinning.
    ASSERT_EQ(unlink("/var/flasher.progress"), 0);
    ASSERT_EQ(mkdir("/var/flasher.progress", 0755), 0);
    int result = 0;
    qtest::captureStdout([&] { result = QuorixGetFlashProgress(buffer); });
    EXPECT_EQ(result, -1);
}

TEST_F(TaskTable, PendingScan_LooksAtItsIdsInOrder) {
    // Ids outside the scan never count.
    for (int id : {0, 3, 4, 12, 13, 14}) block().setU8(taskField(id, kStatus), 1);
    EXPECT_EQ(qtest::captureStdout([] { EXPECT_EQ(QuorixHasPendingTask(), 0); }), "");
    // The first of the scan order wins: 2 (waiting) before 5 (running).
    block().setU8(taskField(5, kStatus), 2);
    block().setU8(taskField(2, kStatus), 1);
    EXPECT_EQ(QuorixHasPendingTask(), 1);
    block().setU8(taskField(2, kStatus), 0);
    EXPECT_EQ(QuorixHasPendingTask(), 2);
    block().setU8(taskField(11, kStatus), 1);
    block().setU8(taskField(5, kStatus), 3);
    EXPECT_EQ(QuorixHasPendingTask(), 1);
    EXPECT_EQ(block().u8(0x621796), 0);
}

TEST_F(TaskTable, PendingScan_AnImageWaitingSetsThePendingFlag) {
    qtest::writeFile("/usr/local/lmedia/psu_image.bin", "image");
    std::string out = qtest::captureStdout([] { EXPECT_EQ(QuorixHasPendingTask(), 2); });
    EXPECT_EQ(block().u8(0x621796), 1);
    EXPECT_EQ(block().u8(taskField(5, kStatus)), 1);
    EXPECT_EQ(block().u8(taskField(5, kSubState)), 4);
    EXPECT_NE(out.find("\r\n====   d_name:psu_image.bin      ====\r\n"), std::string::npos);
    // Now it is waiting: found by its status.
    EXPECT_EQ(QuorixHasPendingTask(), 1);
}

void putTask(int id, std::uint8_t status, std::uint8_t owner) {
    block().setU8(taskField(id, 0), owner);
    block().setU8(taskField(id, 1), static_cast<std::uint8_t>(0x30 + id));
    block().setU8(taskField(id, kStatus), status);
    block().setU8(taskField(id, 2), static_cast<std::uint8_t>(0xA0 + id));
    block().setU8(taskField(id, 3), static_cast<std::uint8_t>(0xB0 + id));
    block().setU8(taskField(id, kTrigger), static_cast<std::uint8_t>(0xC0 + id));
    block().setU8(taskField(id, kProgress), static_cast<std::uint8_t>(10 + id));
}

TEST_F(TaskTable, Query255_EmptyTableGivesTheHeadOnlyAndTheHandlerAnswersFF) {
    std::vector<unsigned char> out(4607, 0xEE);
    EXPECT_EQ(QuorixBackgroundTaskQuery(out.data(), 255), 2);
    EXPECT_EQ(out, std::vector<unsigned char>(4607, 0));
    unsigned char req[2] = {0, 255};
    std::vector<unsigned char> resp(4607, 0xEE);
    EXPECT_EQ(QuorixBackgroundTaskOperaInterface(req, 2, resp.data()), 1);
    EXPECT_EQ(resp[0], 0xFF);
}

TEST_F(TaskTable, Query255_CopiesEveryTaskedSlotInOrder) {
    putTask(3, 5, 3);
    putTask(12, 1, 12);
    putTask(0, 2, 0);
    std::vector<unsigned char> out(4607, 0);
    int length = 0;
    std::string printed = qtest::captureStdout([&] { length = QuorixBackgroundTaskQuery(out.data(), 0x1FF); });
    EXPECT_EQ(length, 2 + 3 * 307);
    EXPECT_EQ(out[1], 3);
    EXPECT_EQ(qtest::blockBytes(taskField(0, 0), 307), std::vector<unsigned char>(out.begin() + 2, out.begin() + 309));
    EXPECT_EQ(qtest::blockBytes(taskField(3, 0), 307),
              std::vector<unsigned char>(out.begin() + 309, out.begin() + 616));
    EXPECT_EQ(qtest::blockBytes(taskField(12, 0), 307),
              std::vector<unsigned char>(out.begin() + 616, out.begin() + 923));
    EXPECT_NE(printed.find(" query Flash progress -task:  0,task_progress:10\n"), std::string::npos);
    EXPECT_NE(printed.find(" query Flash progress -task:  1,task_progress:0\n"), std::string::npos);
}

TEST_F(TaskTable, QuerySingleId_CopiesThatSlotOrNothing) {
    putTask(5, 2, 5);
    putTask(6, 1, 6);
    std::vector<unsigned char> out(4607, 0);
    EXPECT_EQ(QuorixBackgroundTaskQuery(out.data(), 6), 309);
    EXPECT_EQ(out[1], 1);
    EXPECT_EQ(out[2 + 36], 1);
    EXPECT_EQ(out[2 + 1], 0x36);
    EXPECT_EQ(QuorixBackgroundTaskQuery(out.data(), 9), 2);
    EXPECT_EQ(out[1], 0);
    EXPECT_EQ(QuorixBackgroundTaskQuery(out.data(), 0x305), 309);  // only the low byte names the task
    for (int bad : {15, 254, 0x10F}) EXPECT_EQ(QuorixBackgroundTaskQuery(out.data(), bad), -1) << bad;
    EXPECT_EQ(QuorixBackgroundTaskQuery(nullptr, 5), -1);
}

TEST_F(TaskTable, QueryHandler_ChecksLengthOperationAndId) {
    putTask(8, 5, 8);
    struct Case {
        Bytes req;
        int length;
        std::uint8_t code;
    } cases[] = {
        {{0}, 1, 0xC7},      {{0, 8, 0}, 1, 0xC7}, {{2, 8}, 1, 0xCC},  {{0, 15}, 1, 0xCC},
        {{0, 8}, 309, 0x00}, {{0, 9}, 1, 0xFF},    {{1, 20}, 1, 0xCC}, {{1, 8}, 1, 0xD5},
    };
    for (const Case &c : cases) {
        std::vector<unsigned char> resp(4607, 0xEE);
        int length = 0;
        qtest::captureStdout([&] {
            length = QuorixBackgroundTaskOperaInterface(c.req.data(), static_cast<int>(c.req.size()), resp.data());
        });
        EXPECT_EQ(length, c.length);
        EXPECT_EQ(resp[0], c.code);
    }
}

TEST_F(TaskTable, Cancel_OnlyAWaitingTaskIsPostedToTheScanTask) {
    putTask(2, 2, 2);
    putTask(10, 1, 10);
    EXPECT_EQ(qtest::captureStdout([] { EXPECT_EQ(QuorixBackgroundTaskCancel(15), -1); }), "Invalid task type !");
    EXPECT_EQ(qtest::captureStdout([] { EXPECT_EQ(QuorixBackgroundTaskCancel(2), -2); }),
              "The status is not allowed to cancel the task.");
    EXPECT_TRUE(g_pipeWrites.empty());
    unsigned char req[2] = {1, 10};
    unsigned char resp[4] = {0xEE};
    EXPECT_EQ(QuorixBackgroundTaskOperaInterface(req, 2, resp), 1);
    EXPECT_EQ(resp[0], 0x00);
    ASSERT_EQ(g_pipeWrites.size(), 1u);
    EXPECT_EQ(g_pipeWrites[0].path, "/var/poweroffscanpipe");
    Bytes notice(1025, 0);
    notice[0] = 2;
    notice[1] = 10;
    EXPECT_EQ(g_pipeWrites[0].bytes, notice);
    EXPECT_EQ(block().u8(taskField(10, kStatus)), 1);  // the scan task does the cancelling
}

int failingPipeWrite(const char *, unsigned char *, int) {
    return -1;
}

TEST_F(TaskTable, Cancel_SucceedsEvenWhenThePostFails) {
    putTask(7, 1, 7);
    qtest::replaceSlot(qrx::Slot::QuorixWritePipe, &failingPipeWrite);
    int result = 1;
    qtest::captureStdout([&] { result = QuorixBackgroundTaskCancel(7); });
    EXPECT_EQ(result, 0);
}

TEST_F(TaskTable, NotifyAsynTask_WritesTheNotice) {
    EXPECT_EQ(QuorixNotifyAsynTask(3, 0x1234), 0);
    ASSERT_EQ(g_pipeWrites.size(), 1u);
    Bytes notice(1025, 0);
    notice[0] = 3;
    notice[2] = 11;
    notice[38] = 0x34;
    EXPECT_EQ(g_pipeWrites[0].bytes, notice);
    qtest::replaceSlot(qrx::Slot::QuorixWritePipe, &failingPipeWrite);
    EXPECT_EQ(qtest::captureStdout([] { EXPECT_EQ(QuorixNotifyAsynTask(1, 1), -1); }), "Error writing Prep command");
}

TEST_F(TaskTable, StatusReport_EntriesForTasksUpTo11Only) {
    putTask(0, 2, 0);
    putTask(5, 4, 5);
    putTask(11, 1, 11);
    putTask(12, 2, 12);
    putTask(14, 2, 14);
    std::vector<unsigned char> out(572, 0xEE);
    int length = 0;
    std::string printed = qtest::captureStdout([&] { length = QuorixUpdateStatusQuery(out.data()); });
    EXPECT_EQ(length, 2 + 3 * 38);
    EXPECT_EQ(out[0], 0);
    EXPECT_EQ(out[1], 3);
    auto entry = [&](int k) { return std::vector<unsigned char>(out.begin() + 2 + 38 * k, out.begin() + 40 + 38 * k); };
    auto expected = [](int id, const char *name, std::uint8_t status) {
        std::vector<unsigned char> e(38, 0);
        e[0] = static_cast<unsigned char>(id);
        std::memcpy(e.data() + 1, name, std::strlen(name));
        e[33] = status;
        e[34] = static_cast<unsigned char>(10 + id);
        e[35] = static_cast<unsigned char>(0xC0 + id);
        e[36] = static_cast<unsigned char>(0xA0 + id);
        e[37] = static_cast<unsigned char>(0xB0 + id);
        return e;
    };
    EXPECT_EQ(entry(0), expected(0, "BMC", 2));
    EXPECT_EQ(entry(1), expected(5, "PSU", 4));
    EXPECT_EQ(entry(2), expected(11, "", 1));
    EXPECT_EQ(std::vector<unsigned char>(out.begin() + length, out.end()), std::vector<unsigned char>(572 - length, 0));
    EXPECT_NE(printed.find(" query Flash progress -task:  0,UpdRogress:10\n"), std::string::npos);

    unsigned char req[1] = {0};
    std::vector<unsigned char> resp(572, 0xEE);
    EXPECT_EQ(QuorixGetUpdateInfoInterface(req, 1, resp.data()), length);
    EXPECT_EQ(resp[0], 0x00);
    EXPECT_EQ(std::vector<unsigned char>(resp.begin() + 1, resp.end()),
              std::vector<unsigned char>(out.begin() + 1, out.end()));
    EXPECT_EQ(QuorixUpdateStatusQuery(nullptr), -1);
}

TEST_F(TaskTable, StatusHandler_ChecksLengthAndRequestByte) {
    unsigned char req[2] = {1, 0};
    unsigned char resp[572];
    EXPECT_EQ(QuorixGetUpdateInfoInterface(req, 2, resp), 1);
    EXPECT_EQ(resp[0], 0xC7);
    EXPECT_EQ(QuorixGetUpdateInfoInterface(req, 1, resp), 1);
    EXPECT_EQ(resp[0], 0xCC);
    req[0] = 0;
    EXPECT_EQ(QuorixGetUpdateInfoInterface(req, 1, resp), 2);
    EXPECT_EQ(resp[0], 0x00);
    EXPECT_EQ(resp[1], 0);
}

TEST_F(TaskTable, ActiveTask_FirstRunningTaskOfAnActiveKind) {
    putTask(0, 2, 0);  // BMC is not one of them
    putTask(4, 2, 4);  // nor the rear backplane
    putTask(6, 1, 6);  // not running
    putTask(9, 2, 7);  // its own id byte decides
    putTask(10, 2, 2);
    unsigned char buffer[307];
    EXPECT_EQ(QuorixGetBackgroundTaskActive(buffer), 9);
    EXPECT_EQ(buffer[1], 0x39);
    block().setU8(taskField(9, kStatus), 3);
    EXPECT_EQ(QuorixGetBackgroundTaskActive(buffer), 10);
    block().setU8(taskField(10, kStatus), 3);
    EXPECT_EQ(QuorixGetBackgroundTaskActive(buffer), -1);
    EXPECT_EQ(qtest::captureStdout([] { EXPECT_EQ(QuorixGetBackgroundTaskActive(nullptr), -1); }),
              "Get task-0 info fail!\r\n");
}

}  // namespace
