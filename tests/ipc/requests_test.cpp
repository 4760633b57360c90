// Pipes and the ready-made requests: every record byte for byte as the
// receiving daemon reads it.
#include <sys/msg.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <string>
#include <thread>

#include "ipc/wire_records.h"
#include "quorix_test.h"

namespace {

using qtest::Bytes;
using Lines = std::vector<std::string>;

Bytes sized(std::size_t size, std::initializer_list<std::pair<std::size_t, std::uint8_t>> set) {
    Bytes bytes(size, 0);
    for (auto [offset, value] : set) bytes[offset] = value;
    return bytes;
}

// Runs a sender in another process; returns its result (or -100 when the
// process failed to report one).
int sendFromChild(const std::function<int()> &send) {
    qtest::ChildResult child = qtest::runInChild([&] { std::printf("%d", send()); });
    if (!child.exited || child.status != 0) return -100;
    return std::atoi(child.out.c_str());
}

class NamedPipes : public qtest::MessagingTest {};

TEST_F(NamedPipes, CreateMakesAFifoOnceAndLeavesAnythingAlreadyThereAlone) {
    mode_t old = umask(0);
    EXPECT_EQ(QuorixCreatePipe("/var/quorix_okl_pipe"), 0);
    umask(old);
    struct stat st {};
    ASSERT_EQ(stat("/var/quorix_okl_pipe", &st), 0);
    EXPECT_TRUE(S_ISFIFO(st.st_mode));
    EXPECT_EQ(st.st_mode & 0777, 0777u);
    EXPECT_EQ(QuorixCreatePipe("/var/quorix_okl_pipe"), 0);

    qtest::writeFile("/var/poweroffscanpipe", "a plain file");
    std::string out = qtest::captureStdout([] { EXPECT_EQ(QuorixCreatePipe("/var/poweroffscanpipe"), 0); });
    EXPECT_EQ(out, "");
    ASSERT_EQ(stat("/var/poweroffscanpipe", &st), 0);
    EXPECT_TRUE(S_ISREG(st.st_mode));
    EXPECT_EQ(qtest::readFile("/var/poweroffscanpipe"), "a plain file");
}

TEST_F(NamedPipes, CreateFailureIsPrintedWithThePath) {
    std::string out = qtest::captureStdout([] {
        EXPECT_EQ(QuorixCreatePipe("/var/no-such-dir/pipe"), -1);
        EXPECT_EQ(QuorixCreatePipe(nullptr), -1);
    });
    EXPECT_EQ(out, "Could not create pipe : /var/no-such-dir/pipe\nCould not create pipe : (null)\n");
}

struct PipeRequest {
    const char *name;
    int (*send)();
    const char *path;
    Bytes record;
};

int addSel() {
    QuorixSelEvent event{{0x20, 0x00, 0x04, 0x0D, 0x96, 0x6F, 0x01, 0xFF, 0x00, 0xA1, 0xB2, 0xC3}};
    return QuorixAddSELToIPMIMain(event);
}

const PipeRequest kPipeRequests[] = {
    {"AddSel", addSel, "/var/quorix_ipmimain_pipe",
     sized(18, {{2, 0x20}, {4, 0x04}, {5, 0x0D}, {6, 0x96}, {7, 0x6F}, {8, 0x01}, {9, 0xFF}})},
    {"Reload", QuorixSendReloadToIPMIMain, "/var/quorix_ipmimain_pipe", sized(18, {{0, 1}})},
    {"OneKeyLog", QuorixPostReqToOneKeyLog, "/var/quorix_okl_pipe", sized(300, {{0, 3}})},
    {"SelCollector", QuorixPostReqToRFSELCollectLog, "/var/quorix_selc_pipe", sized(300, {{0, 3}})},
};

class PipeRequests : public NamedPipes, public ::testing::WithParamInterface<PipeRequest> {};

TEST_P(PipeRequests, AnotherProcessSendsTheRecordWholeAndGetsItsLength) {
    const PipeRequest &r = GetParam();
    ASSERT_EQ(QuorixCreatePipe(r.path), 0);
    qtest::FifoReader reader(r.path);
    EXPECT_EQ(sendFromChild(r.send), static_cast<int>(r.record.size()));
    EXPECT_EQ(reader.take(), r.record);
}

TEST_P(PipeRequests, NoReaderOrNoPipeFailsWithoutWritingAnything) {
    const PipeRequest &r = GetParam();
    std::string out = qtest::captureStdout([&] { EXPECT_EQ(r.send(), -1); });  // no FIFO yet
    ASSERT_EQ(QuorixCreatePipe(r.path), 0);
    out += qtest::captureStdout([&] { EXPECT_EQ(r.send(), -1); });  // FIFO, no reader
    EXPECT_EQ(out, "");
    qtest::FifoReader reader(r.path);
    EXPECT_EQ(reader.take(), Bytes{});
}

TEST_P(PipeRequests, EmptyWriteSlotGivesMinusOneSilently) {
    const PipeRequest &r = GetParam();
    ASSERT_EQ(QuorixCreatePipe(r.path), 0);
    qtest::FifoReader reader(r.path);
    intf_handle[150] = nullptr;
    std::string out = qtest::captureStdout([&] { EXPECT_EQ(r.send(), -1); });
    EXPECT_EQ(out, "");
    EXPECT_EQ(reader.take(), Bytes{});
}

INSTANTIATE_TEST_SUITE_P(Requests, PipeRequests, ::testing::ValuesIn(kPipeRequests),
                         [](const auto &info) { return std::string(info.param.name); });

TEST_F(NamedPipes, TaskFailureEventRenamesTheThreadAndAlwaysReturnsZero) {
    ASSERT_EQ(QuorixCreatePipe("/var/quorix_ipmimain_pipe"), 0);
    qtest::FifoReader reader("/var/quorix_ipmimain_pipe");
    char name[32] = {};
    int failure = -1, recovery = -1;
    std::thread worker([&] {
        prctl(PR_SET_NAME, "updater", 0, 0, 0);
        failure = QuorixAddTaskFailToSEL(0x07, 9, 4);
        recovery = QuorixAddTaskFailToSEL(0x87, 0x0C, 3);
        prctl(PR_GET_NAME, name, 0, 0, 0);
    });
    worker.join();
    EXPECT_EQ(failure, 0);
    EXPECT_EQ(recovery, 0);
    EXPECT_STREQ(name, "QuorixAddTaskFa");  // the kernel keeps 15 characters
    Bytes first = sized(18, {{2, 0x20}, {5, 0x18}, {6, 0x02}, {7, 0x07}, {8, 0x01}, {9, 9}, {10, 4}});
    Bytes second = sized(18, {{2, 0x20}, {5, 0x18}, {6, 0x02}, {7, 0x87}, {8, 0x01}, {9, 0x0C}, {10, 3}});
    first.insert(first.end(), second.begin(), second.end());
    EXPECT_EQ(reader.take(), first);
}

TEST_F(NamedPipes, TaskFailureEventReturnsZeroWhenNothingCanBeSent) {
    std::thread worker([] {
        EXPECT_EQ(QuorixAddTaskFailToSEL(0x07, 1, 4), 0);  // no pipe
        intf_handle[150] = nullptr;
        EXPECT_EQ(QuorixAddTaskFailToSEL(0x07, 1, 4), 0);  // no slot
    });
    worker.join();
}

struct NoticeCase {
    unsigned type;
    unsigned task;
    bool accepted;
    std::uint8_t byte1;
};

class TaskNotice : public NamedPipes, public ::testing::WithParamInterface<NoticeCase> {};

TEST_P(TaskNotice, AcceptedNoticesGoOutWholeRefusedOnesNotAtAll) {
    const NoticeCase &c = GetParam();
    ASSERT_EQ(QuorixCreatePipe("/var/poweroffscanpipe"), 0);
    qtest::FifoReader reader("/var/poweroffscanpipe");
    std::string out =
        qtest::captureStdout([&] { EXPECT_EQ(QuorixNotifyTaskThread(c.type, c.task), c.accepted ? 0 : -1); });
    if (c.accepted) {
        EXPECT_EQ(out, "");
        EXPECT_EQ(reader.take(), sized(1025, {{0, static_cast<std::uint8_t>(c.type)}, {1, c.byte1}}));
    } else {
        EXPECT_EQ(out, "Notify Task fail, Invalid msg type or task id.\n");
        EXPECT_EQ(reader.take(), Bytes{});
    }
}

INSTANTIATE_TEST_SUITE_P(Notices, TaskNotice,
                         ::testing::Values(NoticeCase{0, 5, true, 0}, NoticeCase{1, 7, true, 0},
                                           NoticeCase{2, 0, true, 0}, NoticeCase{2, 14, true, 14},
                                           NoticeCase{2, 255, true, 255}, NoticeCase{3, 9, true, 0},
                                           NoticeCase{3, 255, true, 0},
                                           NoticeCase{2, 0x10E, true, 14},  // the low byte counts
                                           NoticeCase{2, 15, false, 0}, NoticeCase{2, 254, false, 0},
                                           NoticeCase{4, 0, false, 0}, NoticeCase{0xFFFFFFFFu, 1, false, 0}));

int shortWrite(const char *, unsigned char *, int length) {
    return length - 1;
}

TEST_F(NamedPipes, NoticeNotWrittenWholeIsAnError) {
    qtest::replaceSlot(qrx::Slot::QuorixWritePipe, shortWrite);
    std::string out = qtest::captureStdout([] { EXPECT_EQ(QuorixNotifyTaskThread(2, 3), -1); });
    EXPECT_EQ(out, "Error writing Prep command");
    qtest::Sim::get().restoreTable();
    out = qtest::captureStdout([] { EXPECT_EQ(QuorixNotifyTaskThread(2, 3), -1); });  // no reader
    EXPECT_EQ(out, "Error writing Prep command");
}

// ---- queue requests ----

class QueueRequests : public qtest::MessagingTest {
protected:
    // The payload a peer restores from the message on the queue of key.
    static Bytes received(int key) {
        qtest::KernelMessage m = qtest::receiveInChild(key);
        EXPECT_TRUE(m.received);
        Bytes raw = m.raw();
        if (raw.size() < 1 + m.text.size()) return Bytes{};
        // The type word's spare bytes past the payload are the frame's zeros.
        for (std::size_t i = 1 + m.text.size(); i < raw.size(); ++i) EXPECT_EQ(raw[i], 0) << i;
        return Bytes(raw.begin() + 1, raw.begin() + 1 + static_cast<long>(m.text.size()));
    }
};

QuorixIdlRecord idlRecord(std::uint8_t logType, std::uint32_t stamp) {
    qrx::ipc::IdlRecord r;
    r.logType(logType).source(0x20).timeStamp(stamp);
    r.set(12, 0x0D).set(14, 0x96).set(15, 0x6F).set(16, 0x01).set(17, 0xFF).set(39, 0x0A);
    const char label[] = "DISK3_Status ";
    for (std::size_t i = 0; i + 1 < sizeof label; ++i) r.set(19 + i, static_cast<std::uint8_t>(label[i]));
    return r.record();
}

Bytes idlPayload(const QuorixIdlRecord &record) {
    Bytes payload(4 + sizeof record.bytes, 0);
    std::copy(record.bytes, record.bytes + sizeof record.bytes, payload.begin() + 4);
    return payload;
}

std::uint32_t stampOf(const Bytes &payload) {
    return payload[12] | payload[13] << 8 | payload[14] << 16 | static_cast<std::uint32_t>(payload[15]) << 24;
}

TEST_F(QueueRequests, IdlLogTypeZeroSendsTheCallersTimeStampUnchanged) {
    for (std::uint32_t stamp : {0x12345678u, 0u}) {
        QuorixIdlRecord record = idlRecord(0, stamp);
        ASSERT_EQ(QuorixPostReqToIDL(record), 0);
        Bytes got = received(12345);
        ASSERT_EQ(got.size(), 300u);
        EXPECT_EQ(got, idlPayload(record)) << stamp;
        EXPECT_EQ(stampOf(got), stamp);
    }
    EXPECT_EQ(qtest::queuedMessages(12347), 0);
}

TEST_F(QueueRequests, IdlLogTypeOneIsStampedWithLocalWallClockSeconds) {
    const char *savedTz = std::getenv("TZ");
    std::string saved = savedTz != nullptr ? savedTz : "";
    setenv("TZ", "QRX-05:30", 1);  // 5 h 30 min east of UTC
    tzset();
    qrx::ipc::IdlRecord r;
    r.logType(1).source(0x14).timeStamp(0xDEADBEEF).textLine(0, 1, "Power button has been pressed");
    std::time_t before = std::time(nullptr);
    int rc = QuorixPostReqToIDL(r.record());
    std::time_t after = std::time(nullptr);
    if (savedTz != nullptr)
        setenv("TZ", saved.c_str(), 1);
    else
        unsetenv("TZ");
    tzset();
    ASSERT_EQ(rc, 0);
    Bytes got = received(12345);
    ASSERT_EQ(got.size(), 300u);
    EXPECT_GE(stampOf(got), static_cast<std::uint32_t>(before + 19800));
    EXPECT_LE(stampOf(got), static_cast<std::uint32_t>(after + 19800));
    // Everything but the stamp is the caller's record.
    Bytes want = idlPayload(r.record());
    for (int i = 12; i < 16; ++i) want[i] = got[i];
    EXPECT_EQ(got, want);
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(&got[4 + 15])), "Power button has been pressed");
}

TEST_F(QueueRequests, IdlBadLogTypeReturnsOneAndSendsNothing) {
    for (std::uint8_t type : {2, 0x80, 0xFF}) {
        std::string out = qtest::captureStdout([&] { EXPECT_EQ(QuorixPostReqToIDL(idlRecord(type, 7)), 1); });
        EXPECT_EQ(out, "the IDL Log Type(" + std::to_string(type) + ") is Error\n");
    }
    EXPECT_LT(msgget(12345, 0), 0);
}

TEST_F(QueueRequests, IdlTextLineIsCutAt255CharactersAndTerminated) {
    std::string text(300, 'x');
    for (std::size_t i = 0; i < text.size(); ++i) text[i] = static_cast<char>('a' + i % 26);
    qrx::ipc::IdlRecord r;
    r.logType(0).textLine(5, 1, text.c_str());
    ASSERT_EQ(QuorixPostReqToIDL(r.record()), 0);
    Bytes got = received(12345);
    ASSERT_EQ(got.size(), 300u);
    EXPECT_EQ(got[4 + 12], 0xFF);
    EXPECT_EQ(got[4 + 13], 5);
    EXPECT_EQ(got[4 + 14], 1);
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(&got[4 + 15])), text.substr(0, 255));
}

TEST_F(QueueRequests, McaSendsRequestCodeOneAndTheFirst256RecordBytes) {
    QuorixMcaRecord record{};
    for (std::size_t i = 0; i < sizeof record.bytes; ++i) record.bytes[i] = static_cast<std::uint8_t>(0x12 + i * 7);
    ASSERT_EQ(QuorixPostReqToMCA(record), 0);
    Bytes want(300, 0);
    want[0] = 1;
    std::copy(record.bytes, record.bytes + 256, want.begin() + 4);
    EXPECT_EQ(received(12347), want);
    EXPECT_EQ(qtest::queuedMessages(12345), 0);
}

}  // namespace
