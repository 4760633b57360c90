// Signal-safe system call wrappers of the firmware stack: a call that a
// signal handler interrupted is repeated instead of failing with EINTR.
#include <fcntl.h>
#include <sys/msg.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>

#include "quorix_platform.h"

namespace {

template <typename Call>
auto repeatOnEintr(Call call) {
    decltype(call()) result;
    do {
        result = call();
    } while (result == -1 && errno == EINTR);
    return result;
}

}  // namespace

extern "C" int sigwrap_open(const char *path, int flags, ...) {
    mode_t mode = 0;
    if ((flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE) {
        va_list ap;
        va_start(ap, flags);
        mode = static_cast<mode_t>(va_arg(ap, int));
        va_end(ap);
    }
    return repeatOnEintr([&] { return open(path, flags, mode); });
}

extern "C" ssize_t sigwrap_write(int fd, const void *buffer, size_t count) {
    return repeatOnEintr([&] { return write(fd, buffer, count); });
}

// Linux releases the descriptor even when close() reports EINTR, so a retry
// could close a descriptor another thread has just been given.
extern "C" int sigwrap_close(int fd) {
    int rc = close(fd);
    return (rc == -1 && errno == EINTR) ? 0 : rc;
}

// msgsnd and msgrcv are never restarted by SA_RESTART, hence the loops.
extern "C" int sigwrap_msgsnd(int msqid, const void *msgp, size_t msgsz, int msgflg) {
    return repeatOnEintr([&] { return msgsnd(msqid, msgp, msgsz, msgflg); });
}

extern "C" ssize_t sigwrap_msgrcv(int msqid, void *msgp, size_t msgsz, long msgtyp, int msgflg) {
    return repeatOnEintr([&] { return msgrcv(msqid, msgp, msgsz, msgtyp, msgflg); });
}
