// Pipes and the ready-made requests: every record byte for byte as its daemon reads it.
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <tuple>

#include "ipc/wire_records.h"
#include "quorix_test.h"

namespace {

using qtest::Bytes;

Bytes sized(std::size_t size, std::initializer_list<std::pair<std::size_t, std::uint8_t>> set) {
    Bytes bytes(size, 0);
    for (auto [offset, value] : set) bytes[offset] = value;
    return bytes;
}

class NamedPipes : public qtest::MessagingTest {};

TEST_F(NamedPipes, CreateMakesAFifoOnceLeavesAnythingThereAloneAndNamesAFailure) {
    const mode_t old = umask(0);
    struct stat st {};
    EXPECT_EQ(QuorixCreatePipe("/var/quorix_okl_pipe") + QuorixCreatePipe("/var/quorix_okl_pipe"), 0);
    umask(old);
    EXPECT_EQ(stat("/var/quorix_okl_pipe", &st) == 0 ? st.st_mode & (S_IFMT | 0777) : 0, S_IFIFO | 0777u);
    qtest::writeFile("/var/poweroffscanpipe", "a plain file");
    EXPECT_EQ(qtest::captureStdout([] {
                  EXPECT_EQ(std::vector<int>({QuorixCreatePipe("/var/poweroffscanpipe"),
                                              QuorixCreatePipe("/var/no-such-dir/pipe"), QuorixCreatePipe(nullptr)}),
                            std::vector<int>({0, -1, -1}));
              }),
              "Could not create pipe : /var/no-such-dir/pipe\nCould not create pipe : (null)\n");
    EXPECT_EQ(qtest::readFile("/var/poweroffscanpipe"), "a plain file");
}

struct PipeRequest {
    const char *name;
    int (*send)();
    const char *path;
    Bytes record;
} const kPipeRequests[] = {
    {"AddSel",
     [] { return QuorixAddSELToIPMIMain({{0x20, 0x00, 0x04, 0x0D, 0x96, 0x6F, 0x01, 0xFF, 0x5C, 0xA1, 0xB2, 0xC3}}); },
     "/var/quorix_ipmimain_pipe",
     sized(18, {{2, 0x20}, {4, 0x04}, {5, 0x0D}, {6, 0x96}, {7, 0x6F}, {8, 0x01}, {9, 0xFF}, {10, 0x5C}})},
    {"Reload", QuorixSendReloadToIPMIMain, "/var/quorix_ipmimain_pipe", sized(18, {{0, 1}})},
    {"OneKeyLog", QuorixPostReqToOneKeyLog, "/var/quorix_okl_pipe", sized(300, {{0, 3}})},
    {"SelCollector", QuorixPostReqToRFSELCollectLog, "/var/quorix_selc_pipe", sized(300, {{0, 3}})},
};

class PipeRequests : public NamedPipes, public ::testing::WithParamInterface<PipeRequest> {};

// Sent whole from another process with a reader; nothing at all without a
// FIFO, without a reader or without the write slot.
TEST_P(PipeRequests, GoOutWholeOrNotAtAll) {
    const PipeRequest &r = GetParam();
    std::string out = qtest::captureStdout([&] { EXPECT_EQ(r.send(), -1); });
    ASSERT_EQ(QuorixCreatePipe(r.path), 0);
    out += qtest::captureStdout([&] { EXPECT_EQ(r.send(), -1); });
    qtest::FifoReader reader(r.path);
    qtest::ChildResult child = qtest::runInChild([&] { std::printf("%d", r.send()); });
    EXPECT_EQ(child.out, std::to_string(r.record.size()));
    EXPECT_EQ(reader.take(), r.record);
    intf_handle[150] = nullptr;
    out += qtest::captureStdout([&] { EXPECT_EQ(r.send(), -1); });
    EXPECT_EQ(out, "");
    EXPECT_EQ(reader.take(), Bytes{});
}

INSTANTIATE_TEST_SUITE_P(Requests, PipeRequests, ::testing::ValuesIn(kPipeRequests),
                         [](const auto &info) { return std::string(info.param.name); });

// {type, task, accepted, byte 1 of the notice}; the task's low byte counts.
TEST_F(NamedPipes, TaskNoticesAcceptedGoOutWholeRefusedOnesNotAtAll) {
    const std::tuple<unsigned, unsigned, bool, std::uint8_t> cases[] = {
        {0, 5, true, 0},     {1, 7, true, 0},    {2, 0, true, 0},   {2, 14, true, 14},
        {2, 255, true, 255}, {3, 9, true, 0},    {3, 255, true, 0}, {2, 0x10E, true, 14},
        {2, 15, false, 0},   {2, 254, false, 0}, {4, 0, false, 0},  {0xFFFFFFFFu, 1, false, 0}};
    ASSERT_EQ(QuorixCreatePipe("/var/poweroffscanpipe"), 0);
    qtest::FifoReader reader("/var/poweroffscanpipe");
    for (const auto &[type, task, accepted, byte1] : cases) {
        const std::string out =
            qtest::captureStdout([&, type = type, task = task, accepted = accepted] { EXPECT_EQ(QuorixNotifyTaskThread(type, task), accepted ? 0 : -1); });
        EXPECT_EQ(out, accepted ? "" : "Notify Task fail, Invalid msg type or task id.\n") << type << "/" << task;
        EXPECT_EQ(reader.take(), accepted ? sized(1025, {{0, static_cast<std::uint8_t>(type)}, {1, byte1}}) : Bytes{});
    }
    qtest::replaceSlot(
        qrx::Slot::QuorixWritePipe, +[](const char *, unsigned char *, int length) { return length - 1; });
    EXPECT_EQ(qtest::captureStdout([] { EXPECT_EQ(QuorixNotifyTaskThread(2, 3), -1); }), "Error writing Prep command");
}

// Sent as a SEL event and reported done; the calling thread keeps the request's name.
TEST_F(NamedPipes, TaskFailureGoesOutAsASelEventAndRenamesTheCallingThread) {
    ASSERT_EQ(QuorixCreatePipe("/var/quorix_ipmimain_pipe"), 0);
    qtest::FifoReader reader("/var/quorix_ipmimain_pipe");
    EXPECT_EQ(qtest::inChild([] {
                  char name[16] = {};
                  const int result = QuorixAddTaskFailToSEL(0x07, 3, 9);
                  prctl(PR_GET_NAME, name, 0, 0, 0);
                  std::printf("%d %s", result, name);
              }),
              "0 QuorixAddTaskFa");
    EXPECT_EQ(reader.take(), sized(18, {{2, 0x20}, {5, 0x18}, {6, 0x02}, {7, 0x07}, {8, 0x01}, {9, 3}, {10, 9}}));
}

class QueueRequests : public qtest::MessagingTest {};

// Log type 0 goes out as the caller made it, behind the marker byte and a zeroed four-byte
// header; a type above 1 is refused with 1.
TEST_F(QueueRequests, IdlLogTypeZeroIsSentUnchangedTypesAboveOneAreRefused) {
    for (int type : {0, 2, 0x80, 0xFF}) {
        qrx::ipc::IdlRecord r;
        r.logType(static_cast<std::uint8_t>(type)).source(0x20).timeStamp(0x12345678);
        r.sensorEvent(0x0D, 0x96, 0x6F, 0x01, 0xFF, "DISK3_Status");
        std::string out = qtest::captureStdout([&] { EXPECT_EQ(QuorixPostReqToIDL(r.record()), type == 0 ? 0 : 1); });
        EXPECT_EQ(out, type == 0 ? "" : "the IDL Log Type(" + std::to_string(type) + ") is Error\n");
        if (type != 0) continue;
        Bytes peerView(sizeof(long) + 4 + sizeof r.record().bytes, 0);
        peerView[0] = 1;
        std::copy_n(r.record().bytes, sizeof r.record().bytes, peerView.begin() + 1 + 4);
        EXPECT_EQ(qtest::receiveRaw(12345), peerView);
    }
    EXPECT_EQ(qtest::queuedMessages(12345) + qtest::queuedMessages(12347), 0);
}

}  // namespace
