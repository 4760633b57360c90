// Named pipes between daemons, as the feature library provides them.
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>

#include "sim_devices.h"
#include "sim_state.h"

namespace sim {

int openPipe(const char *path, int flags, int mode) {
    countCall(Slot::QuorixOpenPipe);
    if (path == nullptr) return -1;
    return open(path, flags | O_CLOEXEC, mode);
}

int readPipe(int fd, unsigned char *buffer, int length) {
    countCall(Slot::QuorixReadPipe);
    if (buffer == nullptr || length < 0) return -1;
    ssize_t n;
    do {
        n = read(fd, buffer, static_cast<std::size_t>(length));
    } while (n < 0 && errno == EINTR);
    return static_cast<int>(n);
}

// Opens the FIFO without blocking, so a missing reader fails the write at
// once (ENXIO) instead of hanging the daemon; returns the bytes written.
int writePipe(const char *path, unsigned char *buffer, int length) {
    countCall(Slot::QuorixWritePipe);
    if (path == nullptr || buffer == nullptr || length < 0) return -1;
    int fd = open(path, O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) return -1;
    // A reader that went away must not kill the writer with SIGPIPE.
    sigset_t pipeSet, saved;
    sigemptyset(&pipeSet);
    sigaddset(&pipeSet, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipeSet, &saved);
    ssize_t n;
    do {
        n = write(fd, buffer, static_cast<std::size_t>(length));
    } while (n < 0 && errno == EINTR);
    if (n < 0 && errno == EPIPE) {
        timespec none{};
        sigtimedwait(&pipeSet, nullptr, &none);  // drop the pending SIGPIPE
    }
    pthread_sigmask(SIG_SETMASK, &saved, nullptr);
    close(fd);
    return static_cast<int>(n);
}

}  // namespace sim
