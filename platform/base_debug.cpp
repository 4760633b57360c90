// Platform debug log: on the host, the system log.
#include <syslog.h>

#include "quorix_platform.h"

extern "C" int BaseDebugOut(unsigned int priority, const char *message) {
    if (message == nullptr) return -1;
    // The priority already carries the facility bits.
    syslog(static_cast<int>(priority), "%s", message);
    return 0;
}
