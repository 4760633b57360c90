// The message-queue frame, writer and reader against the sandbox's own IPC namespace.
#include <sys/msg.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "quorix_test.h"

namespace {

using qtest::Bytes;
using Lines = std::vector<std::string>;
constexpr int kKey = 0x1234;

class MsgQueue : public qtest::MessagingTest {};

// Sends length text bytes under its own type word, as a peer not built on the library does.
int sendRaw(int id, long type, std::size_t length) {
    std::vector<unsigned char> message(sizeof(long) + length);
    std::memcpy(message.data(), &type, sizeof type);
    for (std::size_t i = 0; i < length; ++i) message[sizeof(long) + i] = static_cast<unsigned char>(0x30 + i % 61);
    return msgsnd(id, message.data(), length, 0);
}

TEST_F(MsgQueue, CreateGivesOneQueuePerKeyWithMode0666OrLogsTheFailure) {
    const int id = QuorixCreateMsgQueue(kKey);
    msqid_ds info{};
    ASSERT_EQ(msgctl(id, IPC_STAT, &info), 0);
    EXPECT_EQ(std::vector<int>({msgget(kKey, 0), QuorixCreateMsgQueue(kKey), int(info.msg_perm.mode & 0777)}),
              std::vector<int>({id, id, 0666}));
    EXPECT_NE(QuorixCreateMsgQueue(0x2345), id);
    ASSERT_GE(msgget(0x3456, IPC_CREAT | 0600), 0);  // root's, used by an unprivileged process
    const std::string out = qtest::inChild([] {
        if (setgid(65534) == 0 && setuid(65534) == 0) std::printf("%d", QuorixCreateMsgQueue(0x3456));
    });
    EXPECT_EQ(qtest::withoutTimes(out), "[Critical]:Error creating thread MsgQueue\u3000key :13398ErroNo:13\n-1");
}

// The type word holds the marker 1 and the first payload bytes; a peer restores the payload from byte 1.
TEST_F(MsgQueue, PeerRestoresEveryPayloadSizeFromByteOne) {
    for (std::size_t size : {0, 1, 3, 7, 300, 1023, 1024}) {
        const Bytes payload = qtest::pattern(size, 0x21);
        const void *data = size ? static_cast<const void *>(payload.data()) : "";
        EXPECT_EQ(qtest::captureStdout([&] { EXPECT_EQ(QuorixWriteMsgQueue(kKey, data, int(size)), 0); }), "");
        Bytes frame(sizeof(long) + size, 0);
        frame[0] = 1;
        std::copy(payload.begin(), payload.end(), frame.begin() + 1);
        EXPECT_EQ(qtest::receiveRaw(kKey), frame) << size;
    }
}

TEST_F(MsgQueue, OversizeNegativeNullAndFullQueueWritesFailAtOnceAndAreLogged) {
    const Bytes big(1025, 0x5A);
    for (const auto &refused :
         {std::pair<const void *, int>{big.data(), 1025}, {big.data(), -1}, {nullptr, 4}, {nullptr, 0}}) {
        const auto [data, size] = refused;
        std::string out = qtest::captureStdout([&, data = data, size = size] { EXPECT_EQ(QuorixWriteMsgQueue(kKey, data, size), -1); });
        EXPECT_EQ(qtest::logLines(out),
                  Lines{"[Critical]:QuorixWriteMsgQueue Error Size:" + std::to_string(size) + ";Max:1024"});
    }
    EXPECT_LT(msgget(kKey, 0), 0) << "no queue is created for a refused payload";
    const int id = QuorixCreateMsgQueue(kKey);
    msqid_ds info{};
    ASSERT_EQ(msgctl(id, IPC_STAT, &info), 0);
    const int fits = static_cast<int>(info.msg_qbytes / 1024);
    std::string out = qtest::captureStdout([&] {
        for (int i = 0; i <= fits; ++i) EXPECT_EQ(QuorixWriteMsgQueue(kKey, big.data(), 1024), i < fits ? 0 : -1);
    });
    EXPECT_EQ(qtest::logLines(out),
              Lines{"[Critical]:Send MsgQueue Error MsgId:" + std::to_string(id) + ";ErrNo:" + std::to_string(EAGAIN)});
    EXPECT_EQ(qtest::queuedMessages(kKey), fits);
}

// Zeroed up to size, filled with what fits; bytes past size stay. The largest
// text the reader takes (1025 bytes) stays inside its frame.
TEST_F(MsgQueue, ReadGetsWhatAnotherProcessSentCutOrZeroPaddedToTheSize) {
    const Bytes payload = qtest::pattern(300, 0x1C);
    for (int size : {1100, 10}) {
        ASSERT_EQ(qtest::inChild([&] { std::printf("%d", QuorixWriteMsgQueue(kKey, payload.data(), 300)); }), "0");
        Bytes buffer(size + 16, 0xEE), want(payload);
        want.resize(size, 0);
        want.resize(size + 16, 0xEE);
        ASSERT_EQ(QuorixReadMsgQueue(QuorixCreateMsgQueue(kKey), buffer.data(), size), 0);
        EXPECT_EQ(buffer, want) << size;
    }
    ASSERT_EQ(sendRaw(msgget(kKey, 0), 0x7F, 1025), 0);
    Bytes buffer(1024), want(sizeof(long) - 1, 0);  // the type word past its low byte, then the text
    for (std::size_t i = 0; want.size() < 1024; ++i) want.push_back(static_cast<unsigned char>(0x30 + i % 61));
    ASSERT_EQ(QuorixReadMsgQueue(msgget(kKey, 0), buffer.data(), 1024), 0);
    EXPECT_EQ(buffer, want);
}

// Refusals touch neither buffer nor queue; a receive error zeroes the buffer and leaves the message.
TEST_F(MsgQueue, ReadRefusalsAndReceiveErrorsAreLogged) {
    const int id = QuorixCreateMsgQueue(kKey);
    ASSERT_EQ(sendRaw(id, 1, 1026), 0);
    Bytes buffer(64, 0xEE);
    std::string out = qtest::captureStdout([&] {
        for (auto [queue, to, size] : {std::tuple{-1, buffer.data(), 8}, {id, nullptr, 8}, {id, buffer.data(), -8}})
            EXPECT_EQ(QuorixReadMsgQueue(queue, to, size), -1);
    });
    EXPECT_EQ(qtest::logLines(out), Lines(3, "[Critical]:QuorixReadMsgQueue Error"));
    EXPECT_EQ(buffer, Bytes(64, 0xEE));
    for (int err : {E2BIG, EINVAL}) {
        out = qtest::captureStdout([&] { EXPECT_EQ(QuorixReadMsgQueue(id, buffer.data(), 64), -1); });
        const std::string facts = "msgid=" + std::to_string(id) + ", RetVal=-1;errorNo:" + std::to_string(err);
        // The console line has no line feed; the log line's format ends in one.
        EXPECT_EQ(qtest::withoutTimes(out), "[Error]: read the msgid date error: " + facts +
                                                "[Critical]:Read the msgid date error: " + facts + "\n\n");
        EXPECT_EQ(buffer, Bytes(64, 0));
        EXPECT_EQ(qtest::queuedMessages(kKey), err == E2BIG ? 1 : 0);
        qtest::removeQueue(kKey);
    }
}

}  // namespace
