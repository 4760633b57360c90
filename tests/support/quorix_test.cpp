#include "quorix_test.h"

#include "ipc/wire_records.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/msg.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace fs = std::filesystem;

namespace qtest {

Sim &Sim::get() {
    static Sim sim = [] {
        void *lib = dlopen(kFeatureLibraryPath, RTLD_NOW);
        auto resolve = [lib](auto &fn, const char *name) {
            fn = reinterpret_cast<std::remove_reference_t<decltype(fn)>>(lib ? dlsym(lib, name) : nullptr);
            if (fn != nullptr) return;
            std::fprintf(stderr, "simulator symbol %s missing: %s\n", name, dlerror());
            std::abort();
        };
        Sim s{};
        resolve(s.reset, "quorix_sim_reset");
        resolve(s.restoreTable, "quorix_sim_restore_table");
        resolve(s.callCount, "quorix_sim_call_count");
        resolve(s.setResult, "quorix_sim_set_result");
        resolve(s.setFault, "quorix_sim_set_fault");
        resolve(s.blockSize, "quorix_sim_block_size");
        return s;
    }();
    return sim;
}

// Mount points of this namespace. A build tree cloned under "/tmp" or "/var"
// is bound at its own path inside the state folder's "/tmp" or "/var".
static std::vector<std::string> mountPoints() {
    std::vector<std::string> points;
    std::ifstream in("/proc/self/mountinfo");
    std::string line;
    while (std::getline(in, line)) {
        std::istringstream fields(line);
        std::string id, parent, dev, root, point;
        if (fields >> id >> parent >> dev >> root >> point) points.push_back(point);
    }
    return points;
}

// Clears everything except mount points and the directories leading to them,
// so that emptying "/tmp" never reaches into a bound build or source tree.
static void clearExceptMounts(const fs::path &dir, const std::vector<std::string> &mounts) {
    std::error_code ec;
    for (const auto &entry : fs::directory_iterator(dir, ec)) {
        const std::string p = entry.path().string();
        bool mounted = false, above = false;
        for (const auto &m : mounts) {
            mounted = mounted || m == p;
            above = above || m.compare(0, p.size() + 1, p + "/") == 0;
        }
        if (mounted) continue;
        if (above) {
            clearExceptMounts(entry.path(), mounts);
        } else {
            fs::remove_all(entry.path(), ec);
        }
    }
}

void clearDirectory(const std::string &path) {
    std::error_code ec;
    if (!fs::exists(path, ec)) return;
    clearExceptMounts(fs::path(path), mountPoints());
}

std::string readFile(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

void writeFile(const std::string &path, const std::string &contents) {
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << contents;
}

bool fileExists(const std::string &path) {
    return access(path.c_str(), F_OK) == 0;
}

std::vector<unsigned char> blockBytes(std::size_t offset, std::size_t length) {
    auto *base = static_cast<unsigned char *>(intf_quorix_mem);
    return std::vector<unsigned char>(base + offset, base + offset + length);
}

static std::string drainFd(int fd) {
    std::string text;
    lseek(fd, 0, SEEK_SET);
    char buf[4096];
    ssize_t n;
    while ((n = read(fd, buf, sizeof buf)) > 0) text.append(buf, static_cast<std::size_t>(n));
    return text;
}

std::string captureStdout(const std::function<void()> &fn) {
    std::fflush(stdout);
    char name[] = "/tmp/qtest-stdout-XXXXXX";
    int fd = mkstemp(name);
    unlink(name);
    int saved = dup(STDOUT_FILENO);
    dup2(fd, STDOUT_FILENO);
    fn();
    std::fflush(stdout);
    dup2(saved, STDOUT_FILENO);
    close(saved);
    std::string text = drainFd(fd);
    close(fd);
    return text;
}

ChildResult runInChild(const std::function<void()> &fn) {
    std::fflush(stdout);
    std::fflush(stderr);
    char outName[] = "/tmp/qtest-child-out-XXXXXX";
    char errName[] = "/tmp/qtest-child-err-XXXXXX";
    int outFd = mkstemp(outName);
    int errFd = mkstemp(errName);
    unlink(outName);
    unlink(errName);
    pid_t pid = fork();
    if (pid == 0) {
        dup2(outFd, STDOUT_FILENO);
        dup2(errFd, STDERR_FILENO);
        fn();
        std::fflush(stdout);
        _exit(0);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    ChildResult r{WIFEXITED(status), WIFEXITED(status) ? WEXITSTATUS(status) : WTERMSIG(status), drainFd(outFd),
                  drainFd(errFd)};
    close(outFd);
    close(errFd);
    return r;
}

PlatformLog::PlatformLog() {
    fd_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    std::strcpy(addr.sun_path, "/dev/log");
    unlink(addr.sun_path);
    if (bind(fd_, reinterpret_cast<sockaddr *>(&addr), sizeof addr) != 0) {
        ADD_FAILURE() << "cannot bind /dev/log: " << std::strerror(errno);
    }
    closelog();  // the next syslog() call connects to this socket
}

PlatformLog::~PlatformLog() {
    closelog();
    close(fd_);
    unlink("/dev/log");
}

std::vector<std::string> PlatformLog::drain() {
    std::vector<std::string> messages;
    char buf[2048];
    ssize_t n;
    while ((n = recv(fd_, buf, sizeof buf, MSG_DONTWAIT)) > 0) messages.emplace_back(buf, static_cast<std::size_t>(n));
    return messages;
}

std::string withoutTimes(const std::string &out) {
    std::string text = out;
    std::size_t at = 0;
    while ((at = text.find("]:<", at)) != std::string::npos) {
        std::size_t close = text.find('>', at);
        if (close == std::string::npos) break;
        text.erase(at + 2, close + 1 - (at + 2));
        at += 2;
    }
    return text;
}

std::vector<std::string> splitLines(const std::string &text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line)) lines.push_back(line);
    return lines;
}

CommandRun runCommand(const std::string &commandLine) {
    std::string command = commandLine + " 2>&1";
    FILE *p = popen(command.c_str(), "r");
    std::string out;
    char buf[512];
    while (p != nullptr && std::fgets(buf, sizeof buf, p) != nullptr) out += buf;
    int status = p != nullptr ? pclose(p) : -1;
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, out};
}

std::vector<unsigned char> eeprom(int offset, int length) {
    std::vector<unsigned char> bytes(static_cast<std::size_t>(length));
    EXPECT_EQ(QuorixReadMainBoardEEprom(offset, bytes.data(), length), length);
    return bytes;
}

void putEeprom(int offset, const std::vector<unsigned char> &bytes) {
    std::vector<unsigned char> copy = bytes;
    ASSERT_EQ(QuorixWriteMainBoardEEprom(offset, copy.data(), static_cast<int>(copy.size())),
              static_cast<int>(copy.size()));
}

void logToConsole(std::initializer_list<const char *> modules) {
    touchControl({"LEVEL_INFO", "PATH_SERIAL"});
    for (const char *module : modules) touchControl({std::string("ENABLE_") + module});
    writeFile(kReloadMarker, "");
}

void touchControl(std::initializer_list<std::string> names) {
    for (const auto &name : names) writeFile(kControlDir + name, "");
}

std::vector<std::string> enabledInDirectoryOrder() {
    std::vector<std::string> names;
    if (DIR *dir = opendir(kControlDir.c_str())) {
        while (const dirent *entry = readdir(dir))
            if (std::strncmp(entry->d_name, "ENABLE_", 7) == 0) names.emplace_back(entry->d_name + 7);
        closedir(dir);
    }
    return names;
}

std::string inChild(const std::function<void()> &fn) {
    ChildResult r = runInChild(fn);
    EXPECT_TRUE(r.exited);
    EXPECT_EQ(r.status, 0) << r.err;
    return r.out;
}

void BoundTest::SetUp() {
    ASSERT_EQ(quorix_interface_init(), 0);
    ASSERT_EQ(Sim::get().reset(), 0);
    clearDirectory("/conf");
    clearDirectory("/var");
    clearDirectory("/tmp");
}

void BoundTest::TearDown() {
    Sim::get().restoreTable();
}

std::vector<std::string> directoryEntries(const std::string &dir) {
    std::vector<std::string> names;
    if (DIR *d = opendir(dir.c_str())) {
        while (dirent *e = readdir(d))
            if (std::strcmp(e->d_name, ".") != 0 && std::strcmp(e->d_name, "..") != 0) names.emplace_back(e->d_name);
        closedir(d);
    }
    std::sort(names.begin(), names.end());
    return names;
}

void FullConfTest::fillConf() {
    // Only ever fill the small file system the test is registered with.
    struct statvfs fs {};
    ASSERT_EQ(statvfs("/conf", &fs), 0);
    ASSERT_LE(static_cast<unsigned long long>(fs.f_blocks) * fs.f_frsize, 1ull << 20) << "run with --small-conf";
    int fd = open("/conf/filler", O_WRONLY | O_CREAT | O_TRUNC, 0600);
    ASSERT_GE(fd, 0);
    std::vector<char> chunk(512, 'x');
    while (write(fd, chunk.data(), chunk.size()) > 0) {
    }
    close(fd);
}

void FullConfTest::TearDown() {
    unlink("/conf/filler");
    BoundTest::TearDown();
}

std::string hex(const unsigned char *bytes, std::size_t length) {
    std::string out;
    char buf[4];
    for (std::size_t i = 0; i < length; ++i) {
        std::snprintf(buf, sizeof buf, i == 0 ? "%02x" : " %02x", bytes[i]);
        out += buf;
    }
    return out;
}

void expectGolden(const char *testSource, const std::string &name, const std::string &text) {
    const std::string path = fs::path(testSource).parent_path() / "golden" / name;
    const char *update = std::getenv("QTEST_UPDATE_GOLDEN");
    if (update != nullptr && std::string(update) == "1") {
        // The sources are read-only in the sandbox: the new text goes to the
        // state folder's mnt/golden, to be copied beside the test.
        writeFile("/mnt/golden/" + name, text);
        return;
    }
    ASSERT_TRUE(fileExists(path)) << path;
    EXPECT_EQ(text, readFile(path)) << "golden file " << path;
}

static bool isLogLine(const std::string &line) {
    for (const char *level : {"[Info]:<", "[Warning]:<", "[Error]:<", "[Critical]:<"})
        if (line.rfind(level, 0) == 0) return true;
    return false;
}

std::vector<std::string> logLines(const std::string &out) {
    std::vector<std::string> lines;
    for (const std::string &line : splitLines(out))
        if (isLogLine(line)) lines.push_back(withoutTimes(line));
    return lines;
}

std::string plainOutput(const std::string &out) {
    std::string text;
    for (std::size_t start = 0, next; start < out.size(); start = next) {
        std::size_t end = out.find('\n', start);
        next = end == std::string::npos ? out.size() : end + 1;
        std::string line = out.substr(start, next - start);
        if (!isLogLine(line)) text += line;
    }
    return text;
}

Bytes receiveRaw(int key) {
    struct {
        long type;
        unsigned char text[4096];
    } message{};
    const int id = msgget(key, 0);
    const ssize_t n = id < 0 ? -1 : msgrcv(id, &message, sizeof message.text, 0, IPC_NOWAIT);
    const auto *bytes = reinterpret_cast<const unsigned char *>(&message);
    return n < 0 ? Bytes() : Bytes(bytes, bytes + sizeof message.type + static_cast<std::size_t>(n));
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

Bytes pattern(std::size_t length, std::uint8_t seed) {
    Bytes bytes(length);
    for (std::size_t i = 0; i < length; ++i) bytes[i] = static_cast<std::uint8_t>(seed + i * 13);
    return bytes;
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

std::vector<PipeWrite> g_pipeWrites;

int recordPipeWrite(const char *path, unsigned char *buffer, int length) {
    g_pipeWrites.push_back({path, Bytes(buffer, buffer + length)});
    return length;
}

std::vector<std::vector<int>> selEvents() {
    namespace w = qrx::ipc;
    std::vector<std::vector<int>> events;
    for (const PipeWrite &pw : g_pipeWrites) {
        if (pw.path != w::kIpmiMainPipe || pw.bytes.size() != w::kIpmiMainRecordSize) continue;
        const std::uint8_t *e = pw.bytes.data() + w::kIpmiMainEventOffset;
        events.push_back({e[w::kSelEventTypeOffset], e[w::kSelEventData2Offset], e[w::kSelEventData3Offset]});
    }
    return events;
}

std::vector<IdlLine> takeIdlLines() {
    namespace w = qrx::ipc;
    std::vector<IdlLine> lines;
    int id = msgget(w::kIdlQueueKey, 0);
    if (id < 0) return lines;
    // A peer receives the frame whole: the kernel's type word is the frame's
    // first bytes, so the request starts at the frame's payload offset.
    alignas(long) unsigned char frame[w::kFrameBufferSize + 8] = {};
    while (msgrcv(id, frame, w::kReceiveTextSize, 0, IPC_NOWAIT) >= 0) {
        const unsigned char *record = frame + w::kFramePayloadOffset + w::kRequestRecordOffset;
        lines.push_back({record[w::kIdlTextKindOffset], record[w::kIdlTextFlagOffset],
                         reinterpret_cast<const char *>(record + w::kIdlTextOffset)});
        EXPECT_EQ(record[w::kIdlLogTypeOffset], 1);
        EXPECT_EQ(record[w::kIdlTextMarkerOffset], 0xFF);
    }
    return lines;
}

void setProgramTime(int slot, unsigned milliseconds) {
    void *lib = dlopen(kFeatureLibraryPath, RTLD_NOW | RTLD_NOLOAD);
    ASSERT_NE(lib, nullptr);
    auto set = reinterpret_cast<int (*)(int, unsigned)>(dlsym(lib, "quorix_sim_set_program_time"));
    ASSERT_NE(set, nullptr);
    ASSERT_EQ(set(slot, milliseconds), 0);
    dlclose(lib);
}

void UpdateTest::SetUp() {
    BoundTest::SetUp();
    g_pipeWrites.clear();
    replaceSlot(qrx::Slot::QuorixWritePipe, &recordPipeWrite);
    takeIdlLines();
    clearDirectory("/usr/local/lmedia");
}

static constexpr int kTestQueues[] = {12345, 12347, 0x1234, 0x2345};

void MessagingTest::SetUp() {
    BoundTest::SetUp();
    for (int key : kTestQueues) removeQueue(key);
    logToConsole({"QRXDIAG"});
}

void MessagingTest::TearDown() {
    for (int key : kTestQueues) removeQueue(key);
    BoundTest::TearDown();
}

}  // namespace qtest
