// Shared test support: every test executable runs inside the sandbox, where
// the library sees its real paths and the simulated BMC.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

#include "core/byte_access.h"
#include "core/slot_table.h"
#include "quorix_common_interface.h"

namespace qtest {

inline constexpr const char *kFeatureLibraryPath = "/usr/local/lib/libquorix_common_feature.so";

// The simulator's control interface, resolved from the library the
// interface loads.
struct Sim {
    static Sim &get();
    int (*reset)();
    void (*restoreTable)();
    unsigned (*callCount)(int slot);
    int (*setResult)(int slot, int value);
    int (*setFault)(int slot, int fault);
    unsigned long (*blockSize)();
};

// Empties a directory tree's contents (the directory itself stays).
void clearDirectory(const std::string &path);
std::string readFile(const std::string &path);
void writeFile(const std::string &path, const std::string &contents);
bool fileExists(const std::string &path);
// Names in a directory, sorted, without the dot entries.
std::vector<std::string> directoryEntries(const std::string &dir);
std::vector<unsigned char> blockBytes(std::size_t offset, std::size_t length);

using Bytes = std::vector<std::uint8_t>;

// The shared block, for pokes and peeks at absolute offsets.
inline qrx::ByteView block() { return qrx::ByteView(intf_quorix_mem); }
inline void putText(std::size_t offset, const std::string &text) { block().copyIn(offset, text.data(), text.size()); }
// "12 ab 00": bytes as two hex digits each, so a mismatch names its offset.
std::string hex(const unsigned char *bytes, std::size_t length);

// The update task table: 15 records of 307 bytes.
inline constexpr std::size_t kTaskTable = 0x620599, kTaskRecordSize = 307;
inline constexpr std::size_t kStatus = 36, kSubState = 37, kStart = 38, kTrigger = 107, kProgress = 176, kName = 177;
inline std::size_t taskField(int id, std::size_t field) { return kTaskTable + kTaskRecordSize * id + field; }

// Every slot replacement of the tests goes through here.
template <typename Fn>
void replaceSlot(int slot, Fn *fn) {
    intf_handle[slot] = reinterpret_cast<void *>(fn);
}
template <typename Fn>
void replaceSlot(qrx::Slot slot, Fn *fn) {
    replaceSlot(qrx::slotIndex(slot), fn);
}

// Compares text with the golden file golden/<name> beside the calling test
// source; QTEST_UPDATE_GOLDEN=1 in the environment writes the text to the
// state folder's mnt/golden/<name> instead.
#define EXPECT_GOLDEN(name, text) ::qtest::expectGolden(__FILE__, name, text)
void expectGolden(const char *testSource, const std::string &name, const std::string &text);

// Runs fn with standard output sent to a file; returns what it printed.
std::string captureStdout(const std::function<void()> &fn);


// Result of running a function in a forked child.
struct ChildResult {
    bool exited;      // true: ended through exit; false: killed by a signal
    int status;       // exit status, or the signal number
    std::string out;  // what it printed on standard output
    std::string err;  // what it printed on standard error
};
ChildResult runInChild(const std::function<void()> &fn);

// Receives what the platform log (syslog) is sent: binds "/dev/log" inside
// the sandbox for the lifetime of the object.
class PlatformLog {
public:
    PlatformLog();
    ~PlatformLog();
    PlatformLog(const PlatformLog &) = delete;
    PlatformLog &operator=(const PlatformLog &) = delete;
    // Datagrams received so far, as the syslog client sent them.
    std::vector<std::string> drain();

private:
    int fd_ = -1;
};

// Console log lines without their time stamps: "[Error]:<time>text" -> "[Error]:text".
std::string withoutTimes(const std::string &out);
std::vector<std::string> splitLines(const std::string &text);

// Runs a shell command line (standard error merged into the output).
struct CommandRun {
    int status;  // exit status, -1 when it did not exit normally
    std::string out;
};
CommandRun runCommand(const std::string &commandLine);

// Main-board EEPROM through the library (the simulator keeps it in a file).
std::vector<unsigned char> eeprom(int offset, int length);
void putEeprom(int offset, const std::vector<unsigned char> &bytes);

// Debug-log lines of a console capture without their time stamps, and the
// capture without them.
std::vector<std::string> logLines(const std::string &out);
std::string plainOutput(const std::string &out);

// Receives one message of queue key without waiting, as a peer's receive
// buffer holds it (the type word, then the text); empty when there is none.
Bytes receiveRaw(int key);
void removeQueue(int key);
int queuedMessages(int key);  // 0 when the queue does not exist
Bytes pattern(std::size_t length, std::uint8_t seed);

// Read end of a FIFO, opened without blocking so writers find a reader.
class FifoReader {
public:
    explicit FifoReader(const std::string &path);
    ~FifoReader();
    FifoReader(const FifoReader &) = delete;
    FifoReader &operator=(const FifoReader &) = delete;
    Bytes take();  // everything written since the last call

private:
    int fd_ = -1;
};

// Pipe writes through slot 150, recorded whole by recordPipeWrite.
struct PipeWrite {
    std::string path;
    Bytes bytes;
};
extern std::vector<PipeWrite> g_pipeWrites;
int recordPipeWrite(const char *path, unsigned char *buffer, int length);
// SEL events sent to the IPMI main daemon: {event type, task id, status}.
std::vector<std::vector<int>> selEvents();
// IDL update lines waiting on queue 12345: {kind byte, flag byte, text}.
struct IdlLine {
    int kind;
    int flag;
    std::string text;
};
std::vector<IdlLine> takeIdlLines();
// The simulator's programming time of an update slot.
void setProgramTime(int slot, unsigned milliseconds);

// Sends every level of the named modules' log lines to standard output;
// the reload marker makes a process that already logged see the change.
void logToConsole(std::initializer_list<const char *> modules);

// The debug log's control files: creates each named file (empty).
inline const std::string kControlDir = "/conf/quorix_debug/";
inline const std::string kReloadMarker = "/var/quorix_debug_reload";
void touchControl(std::initializer_list<std::string> names);
// Module names of the ENABLE_ files in the order readdir yields them.
std::vector<std::string> enabledInDirectoryOrder();

// Runs fn in a forked child, which must exit normally; returns what it printed.
std::string inChild(const std::function<void()> &fn);

// Fixture: a bound library, a zeroed block, fresh simulator state and empty
// "/conf" and "/var" for every test.
class BoundTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
};

// Fixture for a sandbox whose "/conf" is a small tmpfs (--small-conf):
// fillConf() writes "/conf/filler" until the file system refuses more; it is
// removed after the test.
class FullConfTest : public BoundTest {
protected:
    void fillConf();
    void TearDown() override;
};

// Bound library with pipe writes recorded, the IDL queue and the upload
// folder empty.
class UpdateTest : public BoundTest {
protected:
    void SetUp() override;
};

// Bound library, no message queues left over, "QRXDIAG" logged to the console.
class MessagingTest : public BoundTest {
protected:
    void SetUp() override;
    void TearDown() override;
};

// Power histories: records whose fields all differ, and a fixture with fresh
// histories (they are per-process globals).
using Record = std::vector<unsigned char>;

// A record whose fields all differ: channel c average 0x100*c + 0x12 + k and
// maximum one more; time fields from k.
inline Record makeRecord(unsigned k) {
    Record r(QUORIX_HISTORY_RECORD_SIZE, 0);
    qrx::ByteView v(r.data());
    for (int c = 0; c < 50; ++c) {
        v.setU16(4 * c, static_cast<std::uint16_t>(0x100 * c + 0x12 + k));
        v.setU16(4 * c + 2, static_cast<std::uint16_t>(0x100 * c + 0x13 + k));
    }
    v.setU16(200, static_cast<std::uint16_t>(k % 24));
    v.setU16(202, static_cast<std::uint16_t>(1 + k % 28));
    v.setU16(204, static_cast<std::uint16_t>(1 + k % 12));
    v.setU16(206, 2026);
    v.setU32(208, 0x69000000u + k * 3600);
    v.setU32(212, 0x69000000u + k * 3600 + 1);
    return r;
}

inline std::uint32_t closedAt(const Record &r) {
    return qrx::ByteView(const_cast<unsigned char *>(r.data())).u32(212);
}

inline std::vector<Record> records(const QuorixHistoryBlock *h) {
    std::vector<Record> out;
    for (const QuorixHistoryNode *n = h->head; n != nullptr; n = n->next) out.emplace_back(n->record, n->record + 216);
    return out;
}

inline void freeHistories() {
    for (QuorixHistoryBlock **h : {&dayHistoryLinkHead, &monthHistoryLinkHead, &yearHistoryLinkHead}) {
        std::free(*h);
        *h = nullptr;
    }
}

class HistoryTest : public BoundTest {
protected:
    void SetUp() override {
        BoundTest::SetUp();
        freeHistories();
        getHistoryDataFlag = 0;
        ASSERT_EQ(historyDataInit(), 0);
    }
    void TearDown() override {
        freeHistories();
        getHistoryDataFlag = 0;
        BoundTest::TearDown();
    }
};

}  // namespace qtest
