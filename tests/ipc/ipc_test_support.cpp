#include "ipc_test_support.h"

#include <fcntl.h>
#include <sys/msg.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

namespace ipctest {

using qtest::splitLines;

Bytes KernelMessage::raw() const {
    Bytes bytes(sizeof type + text.size());
    std::memcpy(bytes.data(), &type, sizeof type);
    std::copy(text.begin(), text.end(), bytes.begin() + sizeof type);
    return bytes;
}

KernelMessage receiveInChild(int key) {
    qtest::ChildResult child = qtest::runInChild([key] {
        int id = msgget(key, 0);
        if (id < 0) _exit(2);
        struct {
            long type;
            unsigned char text[4096];
        } message{};
        ssize_t n = msgrcv(id, &message, sizeof message.text, 0, IPC_NOWAIT);
        if (n < 0) _exit(3);
        if (write(STDOUT_FILENO, &message, sizeof(long) + static_cast<std::size_t>(n)) < 0) _exit(4);
        _exit(0);
    });
    KernelMessage m;
    if (!child.exited || child.status != 0 || child.out.size() < sizeof(long)) return m;
    m.received = true;
    std::memcpy(&m.type, child.out.data(), sizeof m.type);
    m.text.assign(child.out.begin() + sizeof(long), child.out.end());
    return m;
}

void removeQueue(int key) {
    int id = msgget(key, 0);
    if (id >= 0) msgctl(id, IPC_RMID, nullptr);
}

int queuedMessages(int key) {
    int id = msgget(key, 0);
    if (id < 0) return 0;
    msqid_ds info{};
    if (msgctl(id, IPC_STAT, &info) != 0) return -1;
    return static_cast<int>(info.msg_qnum);
}

FifoReader::FifoReader(const std::string &path) {
    fd_ = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd_ < 0) ADD_FAILURE() << "cannot open " << path << " for reading: " << std::strerror(errno);
}

FifoReader::~FifoReader() {
    if (fd_ >= 0) close(fd_);
}

Bytes FifoReader::take() {
    Bytes bytes;
    unsigned char buf[4096];
    ssize_t n;
    while (fd_ >= 0 && (n = read(fd_, buf, sizeof buf)) > 0) bytes.insert(bytes.end(), buf, buf + n);
    return bytes;
}

static bool isLogLine(const std::string &line) {
    for (const char *level : {"[Info]:<", "[Warning]:<", "[Error]:<", "[Critical]:<"})
        if (line.rfind(level, 0) == 0) return true;
    return false;
}

std::vector<std::string> logLines(const std::string &out) {
    std::vector<std::string> lines;
    for (const std::string &line : splitLines(out)) {
        if (!isLogLine(line)) continue;
        std::size_t open = line.find(":<");
        std::size_t close = line.find('>', open);
        lines.push_back(line.substr(0, open + 1) + line.substr(close + 1));
    }
    return lines;
}

std::string plainOutput(const std::string &out) {
    std::string text;
    std::size_t start = 0;
    while (start < out.size()) {
        std::size_t end = out.find('\n', start);
        std::size_t next = end == std::string::npos ? out.size() : end + 1;
        std::string line = out.substr(start, next - start);
        if (!isLogLine(line)) text += line;
        start = next;
    }
    return text;
}

void logEverythingToConsole(const std::vector<std::string> &modules) {
    mkdir("/conf/quorix_debug", 0755);
    qtest::writeFile("/conf/quorix_debug/LEVEL_INFO", "");
    qtest::writeFile("/conf/quorix_debug/PATH_SERIAL", "");
    for (const std::string &m : modules) qtest::writeFile("/conf/quorix_debug/ENABLE_" + m, "");
    qtest::writeFile("/var/quorix_debug_reload", "");
}

Bytes pattern(std::size_t length, std::uint8_t seed) {
    Bytes bytes(length);
    for (std::size_t i = 0; i < length; ++i) bytes[i] = static_cast<std::uint8_t>(seed + i * 13);
    return bytes;
}

void MessagingTest::SetUp() {
    BoundTest::SetUp();
    for (int key : {12345, 12347, 0x1234, 0x2345}) removeQueue(key);
    logEverythingToConsole({"QRXDIAG"});
}

void MessagingTest::TearDown() {
    for (int key : {12345, 12347, 0x1234, 0x2345}) removeQueue(key);
    BoundTest::TearDown();
}

}  // namespace ipctest
