// The harness every fuzz target shares (the targets are rows of targets.cpp).
// Each runs inside the sandbox against the simulated BMC and checks more
// than "no crash":
//   - the block lies between inaccessible pages (the simulator maps them), and
//     while a call runs, the pages of the block it may not write are
//     read-only (sampled, see fullWatchDue), so a stray write faults where it
//     happens;
//   - a refused request (non-zero completion code) changes neither the block,
//     nor a file under "/conf", nor the EEPROM bytes the handler owns, and
//     restarts no service;
//   - secrets set through a request never show in clear in a get response or
//     a configuration file while password encryption is on;
//   - responses go to heap buffers of exactly their documented size.
// Broken invariants abort with a message on standard error, so libFuzzer
// keeps the input as a crash artifact.
#pragma once

#include <dlfcn.h>
#include <json-c/json.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "core/shared_block.h"
#include "quorix_common_interface.h"
#include "quorix_platform.h"

namespace qfuzz {

namespace fs = std::filesystem;
using Bytes = std::vector<unsigned char>;

struct Region {
    std::size_t offset, length;
};

[[noreturn]] __attribute__((format(printf, 1, 2))) inline void fail(const char *format, ...) {
    std::fprintf(stderr, "\n==== fuzz invariant broken: ");
    va_list ap;
    va_start(ap, format);
    std::vfprintf(stderr, format, ap);
    va_end(ap);
    std::fprintf(stderr, " ====\n");
    std::fflush(stderr);
    std::abort();
}

inline unsigned char *block() {
    return static_cast<unsigned char *>(intf_quorix_mem);
}

// Service restarts the library asked for since the last take: recorded by
// the replaced safe_system, not run (a real restart starts rsyslogd and would
// cap a run at a few executions per second).
inline std::vector<std::string> g_commands;
inline std::vector<std::string> takeCommands() {
    std::vector<std::string> taken;
    taken.swap(g_commands);
    return taken;
}

// Binds the library to the simulator once per process, resets the simulator
// and empties "/conf" and "/var". Aborts outside the sandbox.
inline void bindOnce() {
    if (std::getenv("QUORIX_SANDBOX") == nullptr) fail("run the target inside scripts/sandbox");
    if (quorix_interface_init() != 0) fail("quorix_interface_init failed");
    void *lib = dlopen("/usr/local/lib/libquorix_common_feature.so", RTLD_NOW);
    auto reset = lib == nullptr ? nullptr : reinterpret_cast<int (*)()>(dlsym(lib, "quorix_sim_reset"));
    if (reset == nullptr || reset() != 0) fail("cannot reset the simulator");
    std::error_code ec;
    for (const char *dir : {"/conf", "/var"})
        for (const auto &entry : fs::directory_iterator(dir, ec)) fs::remove_all(entry.path(), ec);
}

// An input as a sequence of requests: a u16 little-endian length, then that
// many bytes (fewer when the input ends first); at most `limit` requests.
inline std::vector<Bytes> splitRequests(const std::uint8_t *data, std::size_t size, std::size_t limit) {
    std::vector<Bytes> requests;
    for (std::size_t at = 0; at + 1 < size && requests.size() < limit;) {
        const std::size_t length = std::min<std::size_t>(data[at] | (data[at + 1] << 8), size - at - 2);
        requests.emplace_back(data + at + 2, data + at + 2 + length);
        at += 2 + length;
    }
    return requests;
}

// Regular files under "/conf" by path, with their contents.
using Files = std::map<std::string, std::string>;
inline Files confFiles() {
    Files files;
    std::error_code ec;
    for (auto it = fs::recursive_directory_iterator("/conf", ec); !ec && it != fs::recursive_directory_iterator();
         it.increment(ec)) {
        if (!it->is_regular_file(ec)) continue;
        std::ifstream in(it->path(), std::ios::binary);
        std::stringstream ss;
        ss << in.rdbuf();
        files[it->path().string()] = ss.str();
    }
    return files;
}

inline void writeFile(const std::string &path, const std::string &contents) {
    std::error_code ec;
    fs::create_directories(fs::path(path).parent_path(), ec);
    std::ofstream(path, std::ios::binary | std::ios::trunc) << contents;
}

// The first path whose presence or contents differ, "" when none does.
inline std::string firstDifference(const Files &a, const Files &b) {
    for (const auto &[path, contents] : a) {
        auto it = b.find(path);
        if (it == b.end() || it->second != contents) return path + (it == b.end() ? " (removed)" : " (changed)");
    }
    for (const auto &entry : b)
        if (a.count(entry.first) == 0) return entry.first + " (created)";
    return "";
}

// Main-board EEPROM bytes through the library.
inline Bytes eeprom(Region r) {
    Bytes bytes(r.length);
    const int n = static_cast<int>(r.length);
    if (QuorixReadMainBoardEEprom(static_cast<int>(r.offset), bytes.data(), n) != n)
        fail("EEPROM read at %zu failed", r.offset);
    return bytes;
}

inline void putEeprom(std::size_t offset, Bytes bytes) {
    const int n = static_cast<int>(bytes.size());
    if (QuorixWriteMainBoardEEprom(static_cast<int>(offset), bytes.data(), n) != n)
        fail("EEPROM write at %zu failed", offset);
}

// An empty request is a zero-size heap block, not a null pointer: any read of it is caught.
inline unsigned char *bytesOf(Bytes &request) {
    static unsigned char *const empty = new unsigned char[0];
    return request.empty() ? empty : request.data();
}

inline void expectCode(const char *what, unsigned cc, const std::vector<unsigned> &allowed) {
    if (std::find(allowed.begin(), allowed.end(), cc) == allowed.end())
        fail("%s answered completion code 0x%X, not one the handler defines", what, cc);
}

// get(buffer) into a zero-filled heap buffer of exactly `size` bytes (any
// access past it is caught), which must answer `size`.
template <typename Get>
Bytes exactGet(const char *what, std::size_t size, Get get) {
    Bytes buffer(size, 0);
    if (static_cast<std::size_t>(get(buffer.data())) != size) fail("%s gave a wrong length", what);
    return buffer;
}

// Fails unless each text field of every `count` records of `stride` bytes holds a terminator.
struct TextField {
    const char *name;
    std::size_t offset, size;
};
inline void expectTerminated(const char *what, const unsigned char *records, std::size_t count, std::size_t stride,
                             const std::vector<TextField> &fields) {
    for (std::size_t i = 0; i < count; ++i)
        for (const TextField &f : fields)
            if (std::memchr(records + i * stride + f.offset, 0, f.size) == nullptr)
                fail("%s: field %s of record %zu is not terminated inside its %zu bytes", what, f.name, i, f.size);
}

// Protecting the whole block costs about 1.5 ms (two mprotect calls over
// 1600 populated pages), more than most calls under test. So only every
// 16th call, the first one of a process (a reproduction run) and every call
// with QUORIX_FUZZ_FULL_WATCH set run with the rest of the block read-only;
// the other calls have the pages of their regions compared only.
inline bool fullWatchDue() {
    static const bool always = std::getenv("QUORIX_FUZZ_FULL_WATCH") != nullptr;
    static unsigned calls = 0;
    return always || calls++ % 16 == 0;
}

// Write access of the block during one call: only the pages holding the
// owned regions stay writable; changed bytes outside the regions on those
// pages are reported by disarm().
class BlockWatch {
public:
    explicit BlockWatch(std::vector<Region> owned) : owned_(std::move(owned)) {
        for (const Region &r : owned_)
            for (std::size_t p = r.offset / kPage; r.length > 0 && p <= (r.offset + r.length - 1) / kPage; ++p)
                if (std::find(pages_.begin(), pages_.end(), p) == pages_.end()) pages_.push_back(p);
        pageCopy_.resize(pages_.size() * kPage);
    }
    void arm() {
        for (std::size_t i = 0; i < pages_.size(); ++i)
            std::memcpy(&pageCopy_[i * kPage], block() + pages_[i] * kPage, kPage);
        protected_ = fullWatchDue();
        if (protected_) {
            protect(0, kPages, PROT_READ);
            for (std::size_t p : pages_) protect(p, 1, PROT_READ | PROT_WRITE);
        }
    }
    // Restores write access to the whole block; true when an owned byte changed.
    bool disarm(const char *what) {
        if (protected_) protect(0, kPages, PROT_READ | PROT_WRITE);
        changed_.clear();
        for (std::size_t i = 0; i < pages_.size(); ++i) {
            const unsigned char *before = &pageCopy_[i * kPage] - pages_[i] * kPage;
            for (std::size_t at = pages_[i] * kPage; at < (pages_[i] + 1) * kPage; ++at) {
                if (before[at] == block()[at]) continue;
                bool inside = false;
                for (const Region &r : owned_) inside = inside || (at >= r.offset && at < r.offset + r.length);
                if (!inside)
                    fail("%s wrote block byte 0x%zX (0x%02X -> 0x%02X) outside the regions it owns", what, at,
                         before[at], block()[at]);
                changed_.push_back(at);
            }
        }
        return !changed_.empty();
    }
    // Block offsets of the owned bytes the last disarm() found changed.
    const std::vector<std::size_t> &changedBytes() const { return changed_; }
    // Copies the owned regions now, to put them back with restore().
    void keepBaseline() {
        baseline_.clear();
        for (const Region &r : owned_)
            baseline_.insert(baseline_.end(), block() + r.offset, block() + r.offset + r.length);
    }
    void restore() const {
        std::size_t at = 0;
        for (const Region &r : owned_) {
            std::memcpy(block() + r.offset, &baseline_[at], r.length);
            at += r.length;
        }
    }

private:
    static inline const std::size_t kPage = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    static inline const std::size_t kPages = qrx::kSharedBlockSize / kPage;
    static void protect(std::size_t firstPage, std::size_t pages, int access) {
        if (mprotect(block() + firstPage * kPage, pages * kPage, access) != 0)
            fail("mprotect of the block failed: %s", std::strerror(errno));
    }
    std::vector<Region> owned_;
    std::vector<std::size_t> pages_, changed_;  // page indexes within the block; changed block offsets
    Bytes pageCopy_, baseline_;
    bool protected_ = false;
};

// Secrets set by accepted requests in the current input: texts up to their
// first zero byte or `width` bytes; shorter than 4 bytes is ignored.
class Secrets {
public:
    void add(const unsigned char *text, std::size_t width) {
        const std::string s(reinterpret_cast<const char *>(text), strnlen(reinterpret_cast<const char *>(text), width));
        if (s.size() >= 4 && std::find(texts_.begin(), texts_.end(), s) == texts_.end()) texts_.push_back(s);
    }
    void clear() { texts_.clear(); }
    // Fails when the field (a response or a block field) holds one of them.
    void checkField(const char *where, const unsigned char *field, std::size_t size) const {
        if (const std::string *s = heldIn(std::string(reinterpret_cast<const char *>(field), size)))
            fail("secret \"%s\" in clear in %s", printable(*s).c_str(), where);
    }
    // Fails when the JSON file's string `key` of object `section` (or of
    // every object of the array `section`) holds one of them.
    void checkJson(const char *path, const char *section, const char *key) const {
        if (!encryptionOn() || texts_.empty() || access(path, F_OK) != 0) return;
        std::unique_ptr<json_object, decltype(&json_object_put)> root(json_object_from_file(path), json_object_put);
        if (root == nullptr) fail("%s written by the library does not parse", path);
        json_object *obj = nullptr, *value = nullptr;
        if (!json_object_object_get_ex(root.get(), section, &obj)) return;
        const bool list = json_object_is_type(obj, json_type_array);
        for (std::size_t i = 0; i < (list ? json_object_array_length(obj) : 1); ++i) {
            if (!json_object_object_get_ex(list ? json_object_array_get_idx(obj, i) : obj, key, &value) ||
                !json_object_is_type(value, json_type_string))
                continue;
            if (const std::string *s = heldIn(std::string(json_object_get_string(value),
                                                          static_cast<std::size_t>(json_object_get_string_len(value)))))
                fail("secret \"%s\" in clear in %s (%s[%zu].%s)", printable(*s).c_str(), path, section, i, key);
        }
    }

private:
    // Stored secrets are protected on this build (the sandbox's feature list).
    static bool encryptionOn() {
        static const bool on = IsFeatureEnabled("CONFIG_FEATURE_ENABLE_USERPSWD_ENCRYPTION") != 0;
        return on;
    }
    const std::string *heldIn(const std::string &value) const {
        for (const std::string &s : texts_)
            if (encryptionOn() && value.find(s) != std::string::npos) return &s;
        return nullptr;
    }
    static std::string printable(const std::string &text) {
        std::string out;
        for (unsigned char c : text) {
            char hex[8];
            std::snprintf(hex, sizeof hex, "\\x%02x", c);
            out += c >= 0x20 && c < 0x7F ? std::string(1, static_cast<char>(c)) : std::string(hex);
        }
        return out;
    }
    std::vector<std::string> texts_;
};

// The start state of a request-sequence target, restored before each input:
// the owned block regions, "/conf", and the owned EEPROM ranges.
class Session {
public:
    Session(std::vector<Region> owned, std::vector<Region> eepromRanges = {})
        : watch_(std::move(owned)), eepromRanges_(std::move(eepromRanges)) {
        watch_.keepBaseline();
        startConf_ = confFiles();
        startEeprom_ = eepromBytes();
    }
    void startInput() {
        watch_.restore();
        const Files now = confFiles();
        std::error_code ec;
        for (const auto &entry : now)
            if (startConf_.count(entry.first) == 0) fs::remove(entry.first, ec);
        for (const auto &[path, contents] : startConf_)
            if (now.count(path) == 0 || now.at(path) != contents) writeFile(path, contents);
        if (eepromBytes() != startEeprom_)
            for (std::size_t i = 0; i < eepromRanges_.size(); ++i) putEeprom(eepromRanges_[i].offset, startEeprom_[i]);
        secrets_.clear();
        takeCommands();
    }
    // Around one call: everything a refusal must leave alone is compared.
    void before() {
        confBefore_ = confFiles();
        eepromBefore_ = eepromBytes();
        takeCommands();
        watch_.arm();
    }
    void after(const char *what, unsigned completionCode) {
        watch_.disarm(what);
        std::vector<Exemption> exempt;
        exempt.swap(exempt_);
        if (completionCode == 0) return;
        for (std::size_t at : watch_.changedBytes()) {
            bool allowed = false;
            for (const Exemption &e : exempt)
                allowed = allowed || ((e.code == 0 || e.code == completionCode) && at >= e.region.offset &&
                                      at < e.region.offset + e.region.length);
            if (!allowed) fail("%s refused with 0x%X but changed block byte 0x%zX", what, completionCode, at);
        }
        const std::string diff = firstDifference(confBefore_, confFiles());
        if (!diff.empty()) fail("%s refused with 0x%X but changed %s", what, completionCode, diff.c_str());
        if (eepromBytes() != eepromBefore_)
            fail("%s refused with 0x%X but changed its EEPROM bytes", what, completionCode);
        const std::vector<std::string> commands = takeCommands();
        if (!commands.empty())
            fail("%s refused with 0x%X but ran \"%s\"", what, completionCode, commands.front().c_str());
    }
    // A region the next call may still change when it refuses with `code`
    // (0: any code), where the handler's definition says it stores before a
    // later check refuses.
    void exemptOnRefusal(Region region, unsigned code = 0) { exempt_.push_back({region, code}); }
    Secrets &secrets() { return secrets_; }

private:
    std::vector<Bytes> eepromBytes() const {
        std::vector<Bytes> bytes;
        for (const Region &r : eepromRanges_) bytes.push_back(eeprom(r));
        return bytes;
    }
    struct Exemption {
        Region region;
        unsigned code;
    };
    BlockWatch watch_;
    std::vector<Region> eepromRanges_;
    Files startConf_, confBefore_;
    std::vector<Bytes> startEeprom_, eepromBefore_;
    std::vector<Exemption> exempt_;
    Secrets secrets_;
};

}  // namespace qfuzz
