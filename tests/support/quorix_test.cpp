#include "quorix_test.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/socket.h>
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

template <typename T>
static T resolve(void *lib, const char *name) {
    void *sym = dlsym(lib, name);
    if (sym == nullptr) {
        std::fprintf(stderr, "simulator symbol %s missing\n", name);
        std::abort();
    }
    return reinterpret_cast<T>(sym);
}

Sim &Sim::get() {
    static Sim sim = [] {
        void *lib = dlopen(kFeatureLibraryPath, RTLD_NOW);
        if (lib == nullptr) {
            std::fprintf(stderr, "cannot load the simulator: %s\n", dlerror());
            std::abort();
        }
        Sim s{};
        s.reset = resolve<int (*)()>(lib, "quorix_sim_reset");
        s.restoreTable = resolve<void (*)()>(lib, "quorix_sim_restore_table");
        s.callCount = resolve<unsigned (*)(int)>(lib, "quorix_sim_call_count");
        s.setResult = resolve<int (*)(int, int)>(lib, "quorix_sim_set_result");
        s.setFault = resolve<int (*)(int, int)>(lib, "quorix_sim_set_fault");
        s.blockSize = resolve<unsigned long (*)()>(lib, "quorix_sim_block_size");
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

std::string programCommand(const std::string &path, const std::string &preload) {
    const char *emulator = std::getenv("QUORIX_EMULATOR");
    if (emulator == nullptr || *emulator == '\0')
        return preload.empty() ? path : "env LD_PRELOAD=" + preload + " " + path;
    std::string command = emulator;
    if (!preload.empty()) command += " -E LD_PRELOAD=" + preload;
    return command + " " + path;
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
    writeFile("/conf/quorix_debug/LEVEL_INFO", "");
    writeFile("/conf/quorix_debug/PATH_SERIAL", "");
    for (const char *module : modules) writeFile(std::string("/conf/quorix_debug/ENABLE_") + module, "");
    writeFile("/var/quorix_debug_reload", "");
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

}  // namespace qtest
