// The harness every fuzz target shares. Each runs in the sandbox against the simulated BMC and checks more than
// "no crash": the block lies between inaccessible pages, and while a call runs the pages it may not write are
// read-only (sampled, see fullWatchDue); a refused request changes neither the block nor "/conf" and restarts
// nothing; secrets never show in clear in a get response or a configuration file; responses go to heap buffers
// of exactly their size. A broken invariant aborts with a message, so libFuzzer keeps the input.
#pragma once

#include <dlfcn.h>
#include <json-c/json.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "core/shared_block.h"
#include "quorix_common_interface.h"
#include "quorix_platform.h"

namespace qfuzz {

namespace fs = std::filesystem;
using Bytes = std::vector<unsigned char>;
using Files = std::map<std::string, std::string>;
struct Region { std::size_t offset, length; };
struct TextField { const char *name; std::size_t offset, size; };  // a secret's name is its JSON key

[[noreturn]] __attribute__((format(printf, 1, 2))) inline void fail(const char *format, ...) {
    va_list ap;
    va_start(ap, format);
    std::fprintf(stderr, "\n==== fuzz invariant broken: "), std::vfprintf(stderr, format, ap), std::fprintf(stderr, " ====\n");
    std::abort();
}

inline unsigned char *block() { return static_cast<unsigned char *>(intf_quorix_mem); }

// Service restarts asked for: the replaced safe_system records them (running them would cost seconds).
inline std::vector<std::string> g_commands;
inline std::vector<std::string> takeCommands() { return std::exchange(g_commands, {}); }

inline void bindOnce() {
    if (std::getenv("QUORIX_SANDBOX") == nullptr) fail("run the target inside scripts/sandbox");
    void *sim = quorix_interface_init() == 0 ? dlopen("/usr/local/lib/libquorix_common_feature.so", RTLD_NOW) : nullptr;
    auto reset = sim == nullptr ? nullptr : reinterpret_cast<int (*)()>(dlsym(sim, "quorix_sim_reset"));
    if (reset == nullptr || reset() != 0) fail("cannot bind to a reset simulator");
    std::error_code ec;
    for (const char *dir : {"/conf", "/var"})
        for (const auto &entry : fs::directory_iterator(dir, ec)) fs::remove_all(entry.path(), ec);
}

// An input as requests: a u16 little-endian length, then that many bytes (fewer at the end); at most `limit`.
inline std::vector<Bytes> splitRequests(const std::uint8_t *data, std::size_t size, std::size_t limit) {
    std::vector<Bytes> requests;
    for (std::size_t at = 0, n; at + 1 < size && requests.size() < limit; at += 2 + n) {
        n = std::min<std::size_t>(data[at] | (data[at + 1] << 8), size - at - 2);
        requests.emplace_back(data + at + 2, data + at + 2 + n);
    }
    return requests;
}

inline Files confFiles() {
    Files files;
    std::error_code ec;
    for (auto it = fs::recursive_directory_iterator("/conf", ec); !ec && it != fs::end(it); it.increment(ec))
        if (std::ifstream in(it->path(), std::ios::binary); it->is_regular_file(ec))
            files[it->path()].assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return files;
}

inline void writeFile(const std::string &path, const std::string &contents) {
    std::error_code ec;
    fs::create_directories(fs::path(path).parent_path(), ec), std::ofstream(path, std::ios::binary) << contents;
}

// An empty request is a zero-size heap block, not a null pointer: any read of it is caught.
inline unsigned char *bytesOf(Bytes &request) {
    static unsigned char *const empty = new unsigned char[0];
    return request.empty() ? empty : request.data();
}

inline void expectCode(const char *what, unsigned cc, const std::vector<unsigned> &defined) {
    if (std::count(defined.begin(), defined.end(), cc) == 0) fail("%s answered undefined 0x%X", what, cc);
}

// get(buffer) into a zero-filled heap buffer of exactly `size` bytes, which it must fill.
template <typename Get>
Bytes exactGet(const char *what, std::size_t size, Get get) {
    Bytes buffer(size, 0);
    if (static_cast<std::size_t>(get(buffer.data())) != size) fail("%s gave a wrong length", what);
    return buffer;
}

// Each text field of `count` records `stride` bytes apart holds a terminator.
inline void expectTerminated(const char *what, const Bytes &records, std::size_t count, std::size_t stride,
                             const std::vector<TextField> &fields) {
    for (std::size_t i = 0; i < count; ++i)
        for (const TextField &f : fields)
            if (std::memchr(&records[i * stride + f.offset], 0, f.size) == nullptr)
                fail("%s: %s of record %zu is not terminated", what, f.name, i);
}

inline bool inside(const std::vector<Region> &regions, std::size_t at) {
    return std::any_of(regions.begin(), regions.end(), [at](Region r) { return at - r.offset < r.length; });
}

// Protecting the whole block costs about 1.5 ms, more than most calls: only every 16th call, the first
// (a reproduction) and all under QUORIX_FUZZ_FULL_WATCH run with the rest of the block read-only.
inline bool fullWatchDue() {
    static unsigned calls = 0;
    return std::getenv("QUORIX_FUZZ_FULL_WATCH") != nullptr || calls++ % 16 == 0;
}

// Write access of the block during one call: only the pages of the owned regions stay writable.
class BlockWatch {
public:
    explicit BlockWatch(std::vector<Region> owned) : owned_(std::move(owned)) {
        for (const Region &r : owned_) {
            for (std::size_t p = r.offset / kPage; r.length > 0 && p <= (r.offset + r.length - 1) / kPage; ++p)
                if (std::find(pages_.begin(), pages_.end(), p) == pages_.end()) pages_.push_back(p);
            baseline_.insert(baseline_.end(), block() + r.offset, block() + r.offset + r.length);
        }
    }
    void arm() {
        pageCopy_.clear();
        for (std::size_t p : pages_) pageCopy_.insert(pageCopy_.end(), block() + p * kPage, block() + (p + 1) * kPage);
        if ((protected_ = fullWatchDue())) {
            protect(0, qrx::kSharedBlockSize / kPage, PROT_READ);
            for (std::size_t p : pages_) protect(p, 1, PROT_READ | PROT_WRITE);
        }
    }
    // Fails on changed bytes outside the regions; answers the owned bytes the call changed.
    std::vector<std::size_t> disarm(const char *what) {
        if (protected_) protect(0, qrx::kSharedBlockSize / kPage, PROT_READ | PROT_WRITE);
        std::vector<std::size_t> changed;
        for (std::size_t i = 0; i < pages_.size(); ++i)
            for (std::size_t k = 0, at = pages_[i] * kPage; k < kPage; ++k, ++at)
                if (pageCopy_[i * kPage + k] != block()[at] && !inside(owned_, at))
                    fail("%s wrote block byte 0x%zX outside its regions", what, at);
                else if (pageCopy_[i * kPage + k] != block()[at])
                    changed.push_back(at);
        return changed;
    }
    // Puts the owned regions back as they were at construction.
    void restore() const {
        const unsigned char *from = baseline_.data();
        for (const Region &r : owned_) from = std::copy(from, from + r.length, block() + r.offset);
    }

private:
    static inline const std::size_t kPage = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    static void protect(std::size_t first, std::size_t pages, int access) {
        if (mprotect(block() + first * kPage, pages * kPage, access) != 0) fail("mprotect failed: %s", strerror(errno));
    }
    std::vector<Region> owned_;
    std::vector<std::size_t> pages_;
    Bytes pageCopy_, baseline_;
    bool protected_ = false;
};

// The start state of a request-sequence target, restored before each input (the owned block regions and
// "/conf"), and the secrets the input's accepted requests set (4 bytes at least).
class Session {
public:
    explicit Session(std::vector<Region> owned) : watch_(std::move(owned)), startConf_(confFiles()) {}
    void startInput() {
        watch_.restore();
        std::error_code ec;
        for (const auto &[path, contents] : confFiles())
            if (startConf_.count(path) == 0 || startConf_.at(path) != contents) fs::remove(path, ec);
        for (const auto &[path, contents] : startConf_)
            if (!fs::exists(path, ec)) writeFile(path, contents);
        secrets_.clear();
    }
    void before() { confBefore_ = confFiles(), takeCommands(), watch_.arm(); }
    void after(const char *what, unsigned cc) {
        const std::vector<std::size_t> changed = watch_.disarm(what);
        std::vector<Region> exempt;
        for (const auto &[region, code] : std::exchange(exempt_, {}))
            if (code == 0 || code == cc) exempt.push_back(region);
        if (cc == 0) return;
        for (std::size_t at : changed)
            if (!inside(exempt, at)) fail("%s refused with 0x%X but changed block byte 0x%zX", what, cc, at);
        if (confFiles() != confBefore_) fail("%s refused with 0x%X but changed /conf", what, cc);
        if (!takeCommands().empty()) fail("%s refused with 0x%X but restarted a service", what, cc);
    }
    // A region the next call may change although it refuses with `code` (0: any): stored before a later check.
    void exemptOnRefusal(Region region, unsigned code = 0) { exempt_.push_back({region, code}); }

    void addSecret(const Bytes &request, std::size_t at, std::size_t width) {
        const char *text = reinterpret_cast<const char *>(request.data()) + at;
        if (at < request.size() && strnlen(text, std::min(width, request.size() - at)) >= 4)
            secrets_.emplace_back(text, strnlen(text, std::min(width, request.size() - at)));
    }
    void checkSecretIn(const char *where, const std::string &value) const {
        static const bool encrypted = IsFeatureEnabled("CONFIG_FEATURE_ENABLE_USERPSWD_ENCRYPTION") != 0;
        for (const std::string &s : secrets_)
            if (encrypted && value.find(s) != std::string::npos) fail("secret in clear in %s", where);
    }
    // In the string `key` of the JSON file's object `section` (or of every object of the array `section`).
    void checkSecretsInJson(const char *path, const char *section, const char *key) const {
        if (secrets_.empty() || access(path, F_OK) != 0) return;
        std::unique_ptr<json_object, decltype(&json_object_put)> root(json_object_from_file(path), json_object_put);
        json_object *obj = nullptr, *value = nullptr;
        if (root == nullptr) fail("%s written by the library does not parse", path);
        const bool list = json_object_object_get_ex(root.get(), section, &obj) && json_object_is_type(obj, json_type_array);
        for (std::size_t i = 0; obj != nullptr && i < (list ? json_object_array_length(obj) : 1); ++i)
            if (json_object_object_get_ex(list ? json_object_array_get_idx(obj, i) : obj, key, &value) &&
                json_object_is_type(value, json_type_string))
                checkSecretIn((std::string(path) + " " + key).c_str(), json_object_get_string(value));
    }

private:
    BlockWatch watch_;
    std::vector<std::pair<Region, unsigned>> exempt_;
    Files startConf_, confBefore_;
    std::vector<std::string> secrets_;
};

}  // namespace qfuzz
