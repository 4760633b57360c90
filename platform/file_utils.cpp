// File helpers of the firmware stack's system library: whole-file copy,
// marker files and directories.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "quorix_platform.h"

namespace {

bool writeAll(int fd, const char *data, size_t length) {
    while (length > 0) {
        ssize_t n = write(fd, data, length);
        if (n < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        data += n;
        length -= static_cast<size_t>(n);
    }
    return true;
}

// A directory destination receives the file under the source's base name.
std::string destinationPath(const char *src, const char *dst) {
    struct stat st {};
    if (stat(dst, &st) != 0 || !S_ISDIR(st.st_mode)) return dst;
    std::string source(src);
    std::size_t slash = source.find_last_of('/');
    std::string base = slash == std::string::npos ? source : source.substr(slash + 1);
    std::string dir(dst);
    if (dir.empty() || dir.back() != '/') dir += '/';
    return dir + base;
}

}  // namespace

extern "C" {

int copyFile(const char *src, const char *dst) {
    if (src == nullptr || dst == nullptr || *src == '\0' || *dst == '\0') return -1;
    int in = open(src, O_RDONLY | O_CLOEXEC);
    if (in < 0) return -1;
    struct stat st {};
    if (fstat(in, &st) != 0 || !S_ISREG(st.st_mode)) {
        close(in);
        return -1;
    }
    std::string target = destinationPath(src, dst);
    // Copying a file onto itself would truncate it before it is read.
    struct stat existing {};
    if (stat(target.c_str(), &existing) == 0 && existing.st_dev == st.st_dev && existing.st_ino == st.st_ino) {
        close(in);
        return -1;
    }
    int out = open(target.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (out < 0) {
        close(in);
        return -1;
    }
    char buffer[8192];
    bool ok = true;
    for (;;) {
        ssize_t n = read(in, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) ok = false;
        if (n <= 0) break;
        if (!writeAll(out, buffer, static_cast<size_t>(n))) {
            ok = false;
            break;
        }
    }
    close(in);
    if (close(out) != 0) ok = false;
    return ok ? 0 : -1;
}

int touch(const char *path) {
    if (path == nullptr || *path == '\0') return -1;
    int fd = open(path, O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    if (fd < 0) return -1;
    close(fd);
    return 0;
}

int _mkdir(const char *path) {
    if (path == nullptr || *path == '\0') return -1;
    std::string dir(path);
    // Parents first, as mkdir -p does.
    for (std::size_t at = 1; at <= dir.size(); ++at) {
        if (at != dir.size() && dir[at] != '/') continue;
        std::string part = dir.substr(0, at);
        if (mkdir(part.c_str(), 0755) != 0 && errno != EEXIST) return -1;
    }
    struct stat st {};
    return stat(path, &st) == 0 && S_ISDIR(st.st_mode) ? 0 : -1;
}

}  // extern "C"
