// Random bytes for the firmware stack (staggered power-on delays).
#include <sys/random.h>

#include <cerrno>

#include "quorix_platform.h"

extern "C" int generate_random_number(unsigned char *buffer, int length) {
    if (buffer == nullptr || length < 0) return -1;
    int filled = 0;
    while (filled < length) {
        ssize_t n = getrandom(buffer + filled, static_cast<size_t>(length - filled), 0);
        if (n < 0) {
            if (errno == EINTR) continue;
            return -1;
        }
        filled += static_cast<int>(n);
    }
    return 0;
}
