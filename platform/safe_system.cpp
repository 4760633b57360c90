// safe_system of the firmware stack's system library: runs a shell command
// line without the pitfalls of system() in a daemon (inherited signal
// dispositions and masks, EINTR while waiting).
#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>
#include <csignal>

#include "quorix_platform.h"

extern "C" char **environ;

extern "C" int safe_system(const char *command) {
    if (command == nullptr) return -1;
    posix_spawnattr_t attr;
    if (posix_spawnattr_init(&attr) != 0) return -1;
    sigset_t all;
    sigset_t none;
    sigfillset(&all);
    sigemptyset(&none);
    posix_spawnattr_setsigdefault(&attr, &all);
    posix_spawnattr_setsigmask(&attr, &none);
    posix_spawnattr_setflags(&attr, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    char sh[] = "/bin/sh";
    char dashC[] = "-c";
    char *argv[] = {sh, dashC, const_cast<char *>(command), nullptr};
    pid_t pid;
    const int rc = posix_spawn(&pid, sh, nullptr, &attr, argv, environ);
    posix_spawnattr_destroy(&attr);
    if (rc != 0) return -1;
    int status = 0;
    while (waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR) return -1;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}
