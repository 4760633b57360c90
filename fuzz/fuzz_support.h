// Shared harness of the fuzz targets. Every target runs inside the sandbox
// against the simulated BMC and checks more than "no crash":
//   - the block lies between inaccessible pages (the simulator maps them), and
//     while a call runs, the pages of the block it may not write are
//     read-only (sampled, see BlockWatch), so a stray write faults where it
//     happens;
//   - a refused request (non-zero completion code) changes neither the block,
//     nor a file under "/conf", nor the EEPROM bytes the handler owns, and
//     restarts no service;
//   - secrets set through a request never show in clear in a get response or
//     a configuration file while password encryption is on.
// Broken invariants abort with a message on standard error, so libFuzzer
// keeps the input as a crash artifact.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace qfuzz {

using Bytes = std::vector<unsigned char>;

struct Region {
    std::size_t offset;
    std::size_t length;
};

[[noreturn]] void fail(const char *format, ...) __attribute__((format(printf, 1, 2)));

// Binds the library to the simulator once per process, resets the simulator
// and empties "/conf" and "/var". Aborts outside the sandbox.
void bindOnce();
unsigned char *block();
std::size_t blockSize();

// An input as a sequence of requests: a u16 little-endian length, then that
// many bytes (fewer when the input ends first); at most `limit` requests.
std::vector<Bytes> splitRequests(const std::uint8_t *data, std::size_t size, std::size_t limit);

// Regular files under "/conf" by path, with their contents.
using Files = std::map<std::string, std::string>;
Files confFiles();
// Makes "/conf" hold exactly `files`, touching only what differs.
void restoreConf(const Files &files);
// The first path whose presence or contents differ, "" when none does.
std::string firstDifference(const Files &a, const Files &b);
void writeFile(const std::string &path, const std::uint8_t *data, std::size_t size);

// Shell commands the library ran (service restarts) since the last call.
// They are recorded, not run: a real restart starts rsyslogd and would cap a
// run at a few executions per second.
std::vector<std::string> takeCommands();

// Main-board EEPROM bytes through the library.
Bytes eeprom(int offset, int length);
void putEeprom(int offset, const Bytes &bytes);

// Stored secrets are protected on this build (the sandbox's feature list).
bool encryptionOn();

// Write access of the block during one call: only the pages holding the
// owned regions stay writable (on every 16th call, see fullWatchDue);
// changed bytes outside the regions on those pages are reported by disarm().
class BlockWatch {
public:
    explicit BlockWatch(std::vector<Region> owned);
    void arm();
    // Restores write access to the whole block; true when an owned byte changed.
    bool disarm(const char *what);
    // Block offsets of the owned bytes the last disarm() found changed.
    const std::vector<std::size_t> &changedBytes() const { return changed_; }
    // Copies the owned regions now, to put them back with restore().
    void keepBaseline();
    void restore() const;
    const std::vector<Region> &owned() const { return owned_; }

private:
    std::vector<Region> owned_;
    std::vector<std::size_t> pages_;  // page indexes within the block
    Bytes pageCopy_;
    Bytes baseline_;
    std::vector<std::size_t> changed_;
    bool armed_ = false;
    bool protected_ = false;
};

// Secrets set by accepted requests in the current input.
class Secrets {
public:
    // Takes text up to its first zero byte or `width` bytes; shorter than 4 bytes is ignored.
    void add(const unsigned char *text, std::size_t width);
    void clear() { texts_.clear(); }
    bool empty() const { return texts_.empty(); }
    // Fails when the field (a response or a block field) holds one of them.
    void checkField(const char *where, const unsigned char *field, std::size_t size) const;
    // Fails when the JSON file's string at object `section`, key `key` holds one of them.
    void checkJson(const char *path, const char *section, const char *key) const;
    // Same for every object of the array `section`.
    void checkJsonArray(const char *path, const char *section, const char *key) const;

private:
    bool holds(const std::string &value, std::string *which) const;
    std::vector<std::string> texts_;
};

// The start state of a request-sequence target, restored before each input:
// the owned block regions, "/conf", and the owned EEPROM ranges.
class Session {
public:
    Session(std::vector<Region> owned, std::vector<Region> eepromRanges = {});
    // Records the current state as the start state (once, after preparing it).
    void keepStartState();
    void startInput();
    // Around one call: everything a refusal must leave alone is compared.
    void before();
    void after(const char *what, unsigned completionCode);
    // A region the next call may still change when it refuses with `code`
    // (0: any code), where the handler's definition says it stores before a
    // later check refuses.
    void exemptOnRefusal(Region region, unsigned code = 0) { exempt_.push_back({region, code}); }
    Secrets &secrets() { return secrets_; }

private:
    BlockWatch watch_;
    std::vector<Region> eepromRanges_;
    Files startConf_;
    std::vector<Bytes> startEeprom_;
    Files confBefore_;
    std::vector<Bytes> eepromBefore_;
    struct Exemption {
        Region region;
        unsigned code;
    };
    std::vector<Exemption> exempt_;
    Secrets secrets_;
};

// Fails unless cc is one of the listed completion codes.
void expectCode(const char *what, unsigned cc, std::initializer_list<unsigned> allowed);

// The request's bytes; an empty request gives a zero-size heap block rather
// than a null pointer, so that handlers see a real (empty) buffer and any
// read of it is caught.
unsigned char *bytesOf(Bytes &request);

// The input as a NUL-terminated text, as the console commands take it.
Bytes textOf(const std::uint8_t *data, std::size_t size);

// A zero-filled heap buffer of exactly `size` bytes, so that any access past
// it is caught by AddressSanitizer.
Bytes exact(std::size_t size);

}  // namespace qfuzz
