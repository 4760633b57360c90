#include "fuzz_support.h"

#include <dlfcn.h>
#include <json-c/json.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "core/shared_block.h"
#include "quorix_common_interface.h"
#include "quorix_platform.h"

namespace fs = std::filesystem;

namespace {

std::vector<std::string> g_commands;

constexpr const char *kFeatureLibrary = "/usr/local/lib/libquorix_common_feature.so";
constexpr std::size_t kShortestSecret = 4;

void clearDirectory(const char *path) {
    std::error_code ec;
    for (const auto &entry : fs::directory_iterator(path, ec)) fs::remove_all(entry.path(), ec);
}

std::string readFile(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

std::string printable(const std::string &text) {
    std::string out;
    for (unsigned char c : text) {
        if (c >= 0x20 && c < 0x7F) {
            out += static_cast<char>(c);
        } else {
            char hex[8];
            std::snprintf(hex, sizeof hex, "\\x%02x", c);
            out += hex;
        }
    }
    return out;
}

}  // namespace

// The platform's command runner, replaced in the fuzz targets (see takeCommands).
extern "C" int safe_system(const char *command) {
    g_commands.emplace_back(command == nullptr ? "(null)" : command);
    return command == nullptr ? -1 : 0;
}

namespace qfuzz {

void fail(const char *format, ...) {
    std::fprintf(stderr, "\n==== fuzz invariant broken: ");
    va_list ap;
    va_start(ap, format);
    std::vfprintf(stderr, format, ap);
    va_end(ap);
    std::fprintf(stderr, " ====\n");
    std::fflush(stderr);
    std::abort();
}

void bindOnce() {
    static bool bound = false;
    if (bound) return;
    if (std::getenv("QUORIX_SANDBOX") == nullptr) fail("run the target inside scripts/sandbox");
    if (quorix_interface_init() != 0) fail("quorix_interface_init failed");
    void *lib = dlopen(kFeatureLibrary, RTLD_NOW);
    auto reset = lib == nullptr ? nullptr : reinterpret_cast<int (*)()>(dlsym(lib, "quorix_sim_reset"));
    if (reset == nullptr || reset() != 0) fail("cannot reset the simulator");
    clearDirectory("/conf");
    clearDirectory("/var");
    bound = true;
}

unsigned char *block() {
    return static_cast<unsigned char *>(intf_quorix_mem);
}

std::size_t blockSize() {
    return qrx::kSharedBlockSize;
}

std::vector<Bytes> splitRequests(const std::uint8_t *data, std::size_t size, std::size_t limit) {
    std::vector<Bytes> requests;
    std::size_t at = 0;
    while (at + 1 < size && requests.size() < limit) {
        const std::size_t wanted = data[at] | (static_cast<std::size_t>(data[at + 1]) << 8);
        const std::size_t length = std::min<std::size_t>(wanted, size - at - 2);
        requests.emplace_back(data + at + 2, data + at + 2 + length);
        at += 2 + length;
    }
    return requests;
}

Files confFiles() {
    Files files;
    std::error_code ec;
    for (auto it = fs::recursive_directory_iterator("/conf", ec); !ec && it != fs::recursive_directory_iterator();
         it.increment(ec)) {
        if (it->is_regular_file(ec)) files[it->path().string()] = readFile(it->path().string());
    }
    return files;
}

void writeFile(const std::string &path, const std::uint8_t *data, std::size_t size) {
    std::error_code ec;
    fs::create_directories(fs::path(path).parent_path(), ec);
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char *>(data), static_cast<std::streamsize>(size));
}

void restoreConf(const Files &files) {
    const Files now = confFiles();
    std::error_code ec;
    for (const auto &[path, contents] : now)
        if (files.find(path) == files.end()) fs::remove(path, ec);
    for (const auto &[path, contents] : files) {
        auto it = now.find(path);
        if (it == now.end() || it->second != contents)
            writeFile(path, reinterpret_cast<const std::uint8_t *>(contents.data()), contents.size());
    }
}

std::string firstDifference(const Files &a, const Files &b) {
    for (const auto &[path, contents] : a) {
        auto it = b.find(path);
        if (it == b.end()) return path + " (removed)";
        if (it->second != contents) return path + " (changed)";
    }
    for (const auto &[path, contents] : b)
        if (a.find(path) == a.end()) return path + " (created)";
    return "";
}

std::vector<std::string> takeCommands() {
    std::vector<std::string> taken;
    taken.swap(g_commands);
    return taken;
}

Bytes eeprom(int offset, int length) {
    Bytes bytes(static_cast<std::size_t>(length));
    if (QuorixReadMainBoardEEprom(offset, bytes.data(), length) != length) fail("EEPROM read at %d failed", offset);
    return bytes;
}

void putEeprom(int offset, const Bytes &bytes) {
    Bytes copy = bytes;
    if (QuorixWriteMainBoardEEprom(offset, copy.data(), static_cast<int>(copy.size())) != static_cast<int>(copy.size()))
        fail("EEPROM write at %d failed", offset);
}

bool encryptionOn() {
    static const bool on = IsFeatureEnabled("CONFIG_FEATURE_ENABLE_USERPSWD_ENCRYPTION") != 0;
    return on;
}

unsigned char *bytesOf(Bytes &request) {
    static unsigned char *const empty = new unsigned char[0];
    return request.empty() ? empty : request.data();
}

Bytes textOf(const std::uint8_t *data, std::size_t size) {
    Bytes text(data, data + size);
    text.push_back(0);
    return text;
}

Bytes exact(std::size_t size) {
    return Bytes(size, 0);
}

void expectCode(const char *what, unsigned cc, std::initializer_list<unsigned> allowed) {
    if (std::find(allowed.begin(), allowed.end(), cc) == allowed.end())
        fail("%s answered completion code 0x%X, not one the handler defines", what, cc);
}

// ---- BlockWatch ----

namespace {

std::size_t pageSize() {
    static const std::size_t size = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    return size;
}

void protect(std::size_t firstPage, std::size_t pages, int access) {
    if (pages == 0) return;
    if (mprotect(block() + firstPage * pageSize(), pages * pageSize(), access) != 0)
        fail("mprotect of the block failed: %s", std::strerror(errno));
}

}  // namespace

BlockWatch::BlockWatch(std::vector<Region> owned) : owned_(std::move(owned)) {
    for (const Region &r : owned_) {
        if (r.length == 0) continue;
        for (std::size_t p = r.offset / pageSize(); p <= (r.offset + r.length - 1) / pageSize(); ++p)
            if (std::find(pages_.begin(), pages_.end(), p) == pages_.end()) pages_.push_back(p);
    }
    std::sort(pages_.begin(), pages_.end());
    pageCopy_.resize(pages_.size() * pageSize());
}

// Protecting the whole block costs about 1.5 ms (two mprotect calls over
// 1600 populated pages), more than most calls under test. So only every
// 16th call, the first one of a process (a reproduction run) and every call
// with QUORIX_FUZZ_FULL_WATCH set run with the rest of the block read-only;
// the other calls have the pages of their regions compared only.
static bool fullWatchDue() {
    static const bool always = std::getenv("QUORIX_FUZZ_FULL_WATCH") != nullptr;
    static unsigned calls = 0;
    return always || calls++ % 16 == 0;
}

void BlockWatch::arm() {
    for (std::size_t i = 0; i < pages_.size(); ++i)
        std::memcpy(pageCopy_.data() + i * pageSize(), block() + pages_[i] * pageSize(), pageSize());
    protected_ = fullWatchDue();
    if (protected_) {
        protect(0, blockSize() / pageSize(), PROT_READ);
        for (std::size_t p : pages_) protect(p, 1, PROT_READ | PROT_WRITE);
    }
    armed_ = true;
}

bool BlockWatch::disarm(const char *what) {
    if (!armed_) return false;
    if (protected_) protect(0, blockSize() / pageSize(), PROT_READ | PROT_WRITE);
    armed_ = false;
    changed_.clear();
    for (std::size_t i = 0; i < pages_.size(); ++i) {
        const unsigned char *before = pageCopy_.data() + i * pageSize();
        const std::size_t base = pages_[i] * pageSize();
        if (std::memcmp(before, block() + base, pageSize()) == 0) continue;
        for (std::size_t b = 0; b < pageSize(); ++b) {
            if (before[b] == block()[base + b]) continue;
            const std::size_t at = base + b;
            bool inside = false;
            for (const Region &r : owned_) inside = inside || (at >= r.offset && at < r.offset + r.length);
            if (!inside)
                fail("%s wrote block byte 0x%zX (0x%02X -> 0x%02X) outside the regions it owns", what, at, before[b],
                     block()[at]);
            changed_.push_back(at);
        }
    }
    return !changed_.empty();
}

void BlockWatch::keepBaseline() {
    baseline_.clear();
    for (const Region &r : owned_) baseline_.insert(baseline_.end(), block() + r.offset, block() + r.offset + r.length);
}

void BlockWatch::restore() const {
    std::size_t at = 0;
    for (const Region &r : owned_) {
        std::memcpy(block() + r.offset, baseline_.data() + at, r.length);
        at += r.length;
    }
}

// ---- Secrets ----

void Secrets::add(const unsigned char *text, std::size_t width) {
    const std::size_t length = strnlen(reinterpret_cast<const char *>(text), width);
    if (length < kShortestSecret) return;
    std::string s(reinterpret_cast<const char *>(text), length);
    if (std::find(texts_.begin(), texts_.end(), s) == texts_.end()) texts_.push_back(s);
}

bool Secrets::holds(const std::string &value, std::string *which) const {
    for (const std::string &s : texts_) {
        if (value.find(s) != std::string::npos) {
            *which = s;
            return true;
        }
    }
    return false;
}

void Secrets::checkField(const char *where, const unsigned char *field, std::size_t size) const {
    if (!encryptionOn() || texts_.empty()) return;
    std::string value(reinterpret_cast<const char *>(field), size);
    std::string which;
    if (holds(value, &which)) fail("secret \"%s\" in clear in %s", printable(which).c_str(), where);
}

namespace {

struct JsonDoc {
    json_object *root;
    explicit JsonDoc(const char *path) : root(json_object_from_file(path)) {}
    ~JsonDoc() { json_object_put(root); }
    JsonDoc(const JsonDoc &) = delete;
    JsonDoc &operator=(const JsonDoc &) = delete;
};

std::string stringAt(json_object *obj, const char *key) {
    json_object *value = nullptr;
    if (!json_object_object_get_ex(obj, key, &value) || !json_object_is_type(value, json_type_string)) return "";
    return std::string(json_object_get_string(value), static_cast<std::size_t>(json_object_get_string_len(value)));
}

}  // namespace

void Secrets::checkJson(const char *path, const char *section, const char *key) const {
    if (!encryptionOn() || texts_.empty() || access(path, F_OK) != 0) return;
    JsonDoc doc(path);
    if (doc.root == nullptr) fail("%s written by the library does not parse", path);
    json_object *obj = nullptr;
    if (!json_object_object_get_ex(doc.root, section, &obj)) return;
    std::string which;
    if (holds(stringAt(obj, key), &which))
        fail("secret \"%s\" in clear in %s (%s.%s)", printable(which).c_str(), path, section, key);
}

void Secrets::checkJsonArray(const char *path, const char *section, const char *key) const {
    if (!encryptionOn() || texts_.empty() || access(path, F_OK) != 0) return;
    JsonDoc doc(path);
    if (doc.root == nullptr) fail("%s written by the library does not parse", path);
    json_object *list = nullptr;
    if (!json_object_object_get_ex(doc.root, section, &list) || !json_object_is_type(list, json_type_array)) return;
    std::string which;
    for (std::size_t i = 0; i < json_object_array_length(list); ++i)
        if (holds(stringAt(json_object_array_get_idx(list, i), key), &which))
            fail("secret \"%s\" in clear in %s (%s[%zu].%s)", printable(which).c_str(), path, section, i, key);
}

// ---- Session ----

Session::Session(std::vector<Region> owned, std::vector<Region> eepromRanges)
    : watch_(std::move(owned)), eepromRanges_(std::move(eepromRanges)) {}

void Session::keepStartState() {
    watch_.keepBaseline();
    startConf_ = confFiles();
    startEeprom_.clear();
    for (const Region &r : eepromRanges_)
        startEeprom_.push_back(eeprom(static_cast<int>(r.offset), static_cast<int>(r.length)));
    takeCommands();
}

void Session::startInput() {
    watch_.restore();
    restoreConf(startConf_);
    for (std::size_t i = 0; i < eepromRanges_.size(); ++i) {
        const Region &r = eepromRanges_[i];
        if (eeprom(static_cast<int>(r.offset), static_cast<int>(r.length)) != startEeprom_[i])
            putEeprom(static_cast<int>(r.offset), startEeprom_[i]);
    }
    secrets_.clear();
    takeCommands();
}

void Session::before() {
    confBefore_ = confFiles();
    eepromBefore_.clear();
    for (const Region &r : eepromRanges_)
        eepromBefore_.push_back(eeprom(static_cast<int>(r.offset), static_cast<int>(r.length)));
    takeCommands();
    watch_.arm();
}

void Session::after(const char *what, unsigned completionCode) {
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
    for (std::size_t i = 0; i < eepromRanges_.size(); ++i) {
        const Region &r = eepromRanges_[i];
        if (eeprom(static_cast<int>(r.offset), static_cast<int>(r.length)) != eepromBefore_[i])
            fail("%s refused with 0x%X but changed EEPROM bytes at %zu", what, completionCode, r.offset);
    }
    const std::vector<std::string> commands = takeCommands();
    if (!commands.empty()) fail("%s refused with 0x%X but ran \"%s\"", what, completionCode, commands.front().c_str());
}

}  // namespace qfuzz
