// Owners of C resources: each closes its resource once, on every path.
#pragma once

#include <dirent.h>
#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>
#include <memory>

struct json_object;
extern "C" int json_object_put(json_object *obj);

namespace qrx {

namespace detail {
struct FileCloser {
    void operator()(std::FILE *f) const { std::fclose(f); }
};
struct DirCloser {
    void operator()(DIR *d) const { closedir(d); }
};
struct PipeCloser {
    void operator()(std::FILE *f) const { pclose(f); }
};
struct LibraryCloser {
    void operator()(void *handle) const { dlclose(handle); }
};
struct JsonPutter {
    void operator()(json_object *obj) const { json_object_put(obj); }
};
}  // namespace detail

using UniqueFile = std::unique_ptr<std::FILE, detail::FileCloser>;
using UniqueDir = std::unique_ptr<DIR, detail::DirCloser>;
// A popen() stream; closing it waits for the command.
using UniquePipe = std::unique_ptr<std::FILE, detail::PipeCloser>;
using UniqueJson = std::unique_ptr<json_object, detail::JsonPutter>;
// A dlopen() handle.
using UniqueLibrary = std::unique_ptr<void, detail::LibraryCloser>;

// A file descriptor, -1 when empty.
class UniqueFd {
public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : fd_(fd) {}
    ~UniqueFd() { reset(); }
    UniqueFd(UniqueFd &&other) noexcept : fd_(other.release()) {}
    UniqueFd &operator=(UniqueFd &&other) noexcept {
        if (this != &other) reset(other.release());
        return *this;
    }
    UniqueFd(const UniqueFd &) = delete;
    UniqueFd &operator=(const UniqueFd &) = delete;

    int get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }
    int release() {
        int fd = fd_;
        fd_ = -1;
        return fd;
    }
    void reset(int fd = -1) {
        if (fd_ >= 0) ::close(fd_);
        fd_ = fd;
    }

private:
    int fd_ = -1;
};

}  // namespace qrx
