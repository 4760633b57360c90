// The message-queue frame, the queue writer and the blocking reader.
#include <signal.h>
#include <sys/msg.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <thread>

#include "quorix_test.h"

namespace {

using qtest::Bytes;
using Lines = std::vector<std::string>;

constexpr int kKey = 0x1234;

// The kernel's view of a payload sent through the frame, worked out from the
// frame layout: the native long at offset 0 is the type, the text follows.
qtest::KernelMessage expectedKernelView(const Bytes &payload) {
    Bytes frame(1025 + sizeof(long), 0);
    frame[0] = 1;
    std::copy(payload.begin(), payload.end(), frame.begin() + 1);
    qtest::KernelMessage m;
    m.received = true;
    unsigned long type = 0;
    for (std::size_t i = 0; i < sizeof(long); ++i) type |= static_cast<unsigned long>(frame[i]) << (8 * i);
    m.type = static_cast<long>(type);
    m.text.assign(frame.begin() + sizeof(long), frame.begin() + sizeof(long) + payload.size());
    return m;
}

class MsgQueue : public qtest::MessagingTest {};

TEST_F(MsgQueue, CreateReturnsTheSameQueueForAKeyWithMode0666) {
    int id = QuorixCreateMsgQueue(kKey);
    ASSERT_GE(id, 0);
    EXPECT_EQ(msgget(kKey, 0), id);
    EXPECT_EQ(QuorixCreateMsgQueue(kKey), id);
    msqid_ds info{};
    ASSERT_EQ(msgctl(id, IPC_STAT, &info), 0);
    EXPECT_EQ(info.msg_perm.mode & 0777, 0666u);
    EXPECT_NE(QuorixCreateMsgQueue(0x2345), id);
}

// A queue the caller may not use: created by root with mode 0600, opened by
// an unprivileged process.
TEST_F(MsgQueue, CreateFailureIsLoggedWithKeyAndErrno) {
    ASSERT_GE(msgget(kKey, IPC_CREAT | 0600), 0);
    qtest::ChildResult child = qtest::runInChild([] {
        if (setgid(65534) != 0 || setuid(65534) != 0) _exit(9);
        std::printf("id=%d\n", QuorixCreateMsgQueue(kKey));
        std::printf("write=%d\n", QuorixWriteMsgQueue(kKey, "abc", 3));
    });
    ASSERT_TRUE(child.exited);
    ASSERT_EQ(child.status, 0);
    EXPECT_EQ(qtest::plainOutput(child.out), "id=-1\nwrite=-1\n");
    const std::string line = "[Critical]:Error creating thread MsgQueue\u3000key :4660ErroNo:13";
    EXPECT_EQ(qtest::logLines(child.out), (Lines{line, line}));
    EXPECT_EQ(qtest::queuedMessages(kKey), 0);
}

struct SizeCase {
    std::size_t size;
    std::uint8_t seed;
};

class MsgQueueSizes : public MsgQueue, public ::testing::WithParamInterface<SizeCase> {};

// A peer that is not built on this library receives the message with the
// kernel's own framing and restores the payload from byte 1.
TEST_P(MsgQueueSizes, PeerSeesTheFrameAndRestoresThePayloadFromByteOne) {
    const Bytes payload = qtest::pattern(GetParam().size, GetParam().seed);
    const void *data = payload.empty() ? static_cast<const void *>("") : payload.data();  // never null
    std::string out =
        qtest::captureStdout([&] { EXPECT_EQ(QuorixWriteMsgQueue(kKey, data, static_cast<int>(payload.size())), 0); });
    EXPECT_EQ(out, "");
    qtest::KernelMessage got = qtest::receiveInChild(kKey);
    qtest::KernelMessage want = expectedKernelView(payload);
    ASSERT_TRUE(got.received);
    EXPECT_EQ(got.type, want.type);
    EXPECT_EQ(got.type & 0xFF, 1);  // the frame marker
    EXPECT_EQ(got.text, want.text);
    Bytes raw = got.raw();
    ASSERT_GE(raw.size(), payload.size() + 1);
    EXPECT_EQ(Bytes(raw.begin() + 1, raw.begin() + 1 + static_cast<long>(payload.size())), payload);
}

INSTANTIATE_TEST_SUITE_P(Payloads, MsgQueueSizes,
                         ::testing::Values(SizeCase{0, 0}, SizeCase{1, 0x21}, SizeCase{3, 0x12}, SizeCase{7, 0x10},
                                           SizeCase{300, 0x23}, SizeCase{1023, 0x05}, SizeCase{1024, 0x17}));

TEST_F(MsgQueue, OversizeNegativeAndNullPayloadsAreRefusedAndNothingIsSent) {
    const Bytes big(1025, 0x5A);
    struct Case {
        const void *data;
        int size;
        const char *line;
    } cases[] = {
        {big.data(), 1025, "[Critical]:QuorixWriteMsgQueue Error Size:1025;Max:1024"},
        {big.data(), -1, "[Critical]:QuorixWriteMsgQueue Error Size:-1;Max:1024"},
        {nullptr, 4, "[Critical]:QuorixWriteMsgQueue Error Size:4;Max:1024"},
        {nullptr, 0, "[Critical]:QuorixWriteMsgQueue Error Size:0;Max:1024"},
    };
    for (const Case &c : cases) {
        std::string out = qtest::captureStdout([&] { EXPECT_EQ(QuorixWriteMsgQueue(kKey, c.data, c.size), -1); });
        EXPECT_EQ(qtest::logLines(out), (Lines{c.line})) << c.size;
    }
    EXPECT_LT(msgget(kKey, 0), 0) << "no queue is created for a refused payload";
}

TEST_F(MsgQueue, FullQueueFailsAtOnceWithTheSendError) {
    int id = QuorixCreateMsgQueue(kKey);
    ASSERT_GE(id, 0);
    msqid_ds info{};
    ASSERT_EQ(msgctl(id, IPC_STAT, &info), 0);
    const int fits = static_cast<int>(info.msg_qbytes / 1024);
    const Bytes payload = qtest::pattern(1024, 0x11);
    std::string out = qtest::captureStdout([&] {
        for (int i = 0; i < fits; ++i) ASSERT_EQ(QuorixWriteMsgQueue(kKey, payload.data(), 1024), 0) << i;
        EXPECT_EQ(QuorixWriteMsgQueue(kKey, payload.data(), 1024), -1);
    });
    EXPECT_EQ(qtest::logLines(out), (Lines{"[Critical]:Send MsgQueue Error MsgId:" + std::to_string(id) +
                                             ";ErrNo:" + std::to_string(EAGAIN)}));
    EXPECT_EQ(qtest::queuedMessages(kKey), fits);
}

TEST_F(MsgQueue, ReadGetsWhatAnotherProcessSentZeroPadded) {
    const Bytes payload = qtest::pattern(300, 0x1C);
    qtest::ChildResult sender = qtest::runInChild(
        [&] { _exit(QuorixWriteMsgQueue(kKey, payload.data(), static_cast<int>(payload.size())) == 0 ? 0 : 1); });
    ASSERT_TRUE(sender.exited && sender.status == 0);

    Bytes buffer(1100 + 16, 0xEE);
    ASSERT_EQ(QuorixReadMsgQueue(QuorixCreateMsgQueue(kKey), buffer.data(), 1100), 0);
    Bytes want(1100, 0);
    std::copy(payload.begin(), payload.end(), want.begin());
    want.resize(1100 + 16, 0xEE);  // beyond size: untouched
    EXPECT_EQ(buffer, want);
}

TEST_F(MsgQueue, ReadIntoASmallBufferGetsTheFirstBytesOnly) {
    const Bytes payload = qtest::pattern(300, 0x1D);
    ASSERT_EQ(QuorixWriteMsgQueue(kKey, payload.data(), 300), 0);
    Bytes buffer(16, 0xEE);
    ASSERT_EQ(QuorixReadMsgQueue(msgget(kKey, 0), buffer.data(), 10), 0);
    Bytes want(payload.begin(), payload.begin() + 10);
    want.resize(16, 0xEE);
    EXPECT_EQ(buffer, want);
    EXPECT_EQ(qtest::queuedMessages(kKey), 0);
}

// The largest text the reader accepts (1025 bytes) from a peer that fills
// it: the reader's frame holds it, and 1024 payload bytes come back.
TEST_F(MsgQueue, ReadOfAFullSizedPeerMessageStaysInsideTheFrame) {
    int id = QuorixCreateMsgQueue(kKey);
    ASSERT_GE(id, 0);
    struct {
        long type;
        unsigned char text[1025];
    } message{};
    message.type = 0x7F;
    for (std::size_t i = 0; i < sizeof message.text; ++i) message.text[i] = static_cast<unsigned char>(0x30 + i % 61);
    ASSERT_EQ(msgsnd(id, &message, sizeof message.text, 0), 0);

    Bytes buffer(1024);
    ASSERT_EQ(QuorixReadMsgQueue(id, buffer.data(), 1024), 0);
    Bytes raw(sizeof(long) + sizeof message.text);
    std::memcpy(raw.data(), &message.type, sizeof(long));
    std::memcpy(raw.data() + sizeof(long), message.text, sizeof message.text);
    EXPECT_EQ(buffer, Bytes(raw.begin() + 1, raw.begin() + 1025));
}

TEST_F(MsgQueue, ReadOfATooLongMessageFailsAndLeavesItQueued) {
    int id = QuorixCreateMsgQueue(kKey);
    struct {
        long type;
        unsigned char text[1026];
    } message{};
    message.type = 1;
    ASSERT_EQ(msgsnd(id, &message, sizeof message.text, 0), 0);
    Bytes buffer(64, 0xEE);
    std::string out = qtest::captureStdout([&] { EXPECT_EQ(QuorixReadMsgQueue(id, buffer.data(), 64), -1); });
    const std::string facts = "msgid=" + std::to_string(id) + ", RetVal=-1;errorNo:" + std::to_string(E2BIG);
    // The console line has no line feed of its own; the log line's format
    // ends in one, hence the empty line after it.
    EXPECT_EQ(qtest::withoutTimes(out), "[Error]: read the msgid date error: " + facts +
                                              "[Critical]:Read the msgid date error: " + facts + "\n\n");
    EXPECT_EQ(buffer, Bytes(64, 0));  // zeroed before the receive
    EXPECT_EQ(qtest::queuedMessages(kKey), 1);
}

TEST_F(MsgQueue, ReadRefusesNoQueueAndNoBufferWithoutTouchingTheBuffer) {
    ASSERT_EQ(QuorixWriteMsgQueue(kKey, "queued", 6), 0);
    int id = msgget(kKey, 0);
    Bytes buffer(8, 0xEE);
    std::string out = qtest::captureStdout([&] {
        EXPECT_EQ(QuorixReadMsgQueue(-1, buffer.data(), 8), -1);
        EXPECT_EQ(QuorixReadMsgQueue(id, nullptr, 8), -1);
        EXPECT_EQ(QuorixReadMsgQueue(id, buffer.data(), -8), -1);
    });
    EXPECT_EQ(qtest::logLines(out), (Lines(3, "[Critical]:QuorixReadMsgQueue Error")));
    EXPECT_EQ(buffer, Bytes(8, 0xEE));
    EXPECT_EQ(qtest::queuedMessages(kKey), 1);
}

TEST_F(MsgQueue, ReadOfARemovedQueueReportsTheError) {
    int id = QuorixCreateMsgQueue(kKey);
    qtest::removeQueue(kKey);
    Bytes buffer(8);
    std::string out = qtest::captureStdout([&] { EXPECT_EQ(QuorixReadMsgQueue(id, buffer.data(), 8), -1); });
    const std::string facts = "msgid=" + std::to_string(id) + ", RetVal=-1;errorNo:" + std::to_string(EINVAL);
    EXPECT_EQ(qtest::withoutTimes(out), "[Error]: read the msgid date error: " + facts +
                                              "[Critical]:Read the msgid date error: " + facts + "\n\n");
}

int g_interruptions = 0;
void countInterruption(int) {
    ++g_interruptions;
}

char processState(pid_t pid) {
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string text((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
    std::size_t close = text.rfind(')');
    return close == std::string::npos || close + 2 >= text.size() ? '?' : text[close + 2];
}

// The reader blocks until a message comes; a signal whose handler does not
// ask for restarting interrupts the wait, and the receive carries on.
TEST_F(MsgQueue, BlockedReadSurvivesAnInterruptingSignalAndGetsTheMessage) {
    int id = QuorixCreateMsgQueue(kKey);
    ASSERT_GE(id, 0);
    int ready[2], result[2];
    ASSERT_EQ(pipe(ready), 0);
    ASSERT_EQ(pipe(result), 0);
    pid_t pid = fork();
    if (pid == 0) {
        struct sigaction sa {};
        sa.sa_handler = countInterruption;  // no SA_RESTART
        sigaction(SIGUSR1, &sa, nullptr);
        unsigned char buffer[32];
        char one = 1;
        if (write(ready[1], &one, 1) != 1) _exit(5);
        int rc = QuorixReadMsgQueue(id, buffer, sizeof buffer);
        char text[128];
        int n = std::snprintf(text, sizeof text, "rc=%d signals=%d text=%s", rc, g_interruptions,
                              reinterpret_cast<char *>(buffer));
        if (write(result[1], text, static_cast<std::size_t>(n)) != n) _exit(6);
        _exit(0);
    }
    close(result[1]);
    char byte;
    ASSERT_EQ(read(ready[0], &byte, 1), 1);
    // Wait until the child sleeps in the receive.
    for (int i = 0; i < 500 && processState(pid) != 'S'; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    ASSERT_EQ(processState(pid), 'S');
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(qtest::queuedMessages(kKey), 0);
    ASSERT_EQ(kill(pid, SIGUSR1), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    ASSERT_EQ(processState(pid), 'S') << "the receive ended on the signal";
    ASSERT_EQ(QuorixWriteMsgQueue(kKey, "after the signal", 17), 0);
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    char text[128] = {};
    ASSERT_GT(read(result[0], text, sizeof text - 1), 0);
    EXPECT_STREQ(text, "rc=0 signals=1 text=after the signal");
    for (int fd : {ready[0], ready[1], result[0]}) close(fd);
}

}  // namespace
