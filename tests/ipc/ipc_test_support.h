// Helpers of the messaging tests: a second process that reads a queue the
// way a peer daemon does, a FIFO reader, and the debug log on the console.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "quorix_test.h"

namespace ipctest {

using Bytes = std::vector<std::uint8_t>;

// What the kernel holds for one message: its type word and its text.
struct KernelMessage {
    bool received = false;
    long type = 0;
    Bytes text;
    // The receive buffer as a peer sees it: the type word, then the text.
    Bytes raw() const;
};

// Receives one message of queue key in a forked child (without waiting);
// received is false when the queue or the message is missing.
KernelMessage receiveInChild(int key);
// Removes the queue of key if it exists.
void removeQueue(int key);
// Number of messages waiting on the queue of key (0 when it does not exist).
int queuedMessages(int key);

// Read end of a FIFO, opened without blocking so writers find a reader.
class FifoReader {
public:
    explicit FifoReader(const std::string &path);
    ~FifoReader();
    FifoReader(const FifoReader &) = delete;
    FifoReader &operator=(const FifoReader &) = delete;
    // Everything written since the last call.
    Bytes take();

private:
    int fd_ = -1;
};

// Debug-log lines of a console capture, without their time stamps:
// "[Critical]:<time>text" becomes "[Critical]:text".
std::vector<std::string> logLines(const std::string &out);
using qtest::withoutTimes;
// Console output without the debug-log lines.
std::string plainOutput(const std::string &out);

// Log every module at every level to the console, re-reading the control
// files on every call.
void logEverythingToConsole(const std::vector<std::string> &modules);

Bytes pattern(std::size_t length, std::uint8_t seed);

// Bound library, clean queues, console logging of "QRXDIAG".
class MessagingTest : public qtest::BoundTest {
protected:
    void SetUp() override;
    void TearDown() override;
};

}  // namespace ipctest
