// Shared test support: every test executable runs inside the sandbox, where
// the library sees its real paths and the simulated BMC.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

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

template <typename Fn>
void replaceSlot(int slot, Fn *fn) {
    intf_handle[slot] = reinterpret_cast<void *>(fn);
}
template <typename Fn>
void replaceSlot(qrx::Slot slot, Fn *fn) {
    replaceSlot(qrx::slotIndex(slot), fn);
}

// Runs fn with standard output sent to a file; returns what it printed.
std::string captureStdout(const std::function<void()> &fn);

// Shell command word(s) that start the built program at path: prefixed by
// $QUORIX_EMULATOR when set (ARM programs under qemu have no binfmt handler).
// A preload library goes to the program, not to the emulator.
std::string programCommand(const std::string &path, const std::string &preload = "");

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

// Sends every level of the named modules' log lines to standard output;
// the reload marker makes a process that already logged see the change.
void logToConsole(std::initializer_list<const char *> modules);

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

}  // namespace qtest
