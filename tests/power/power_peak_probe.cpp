// Runs the staggered power-on wait once in a process of its own, so that a
// test can start it under libfaketime with a sped-up clock.
#include <cstdio>

#include "quorix_common_interface.h"

int main() {
    if (quorix_interface_init() != 0) return 2;
    int rc = RunPowerPeakSleep();
    std::printf("rc=%d\n", rc);
    return rc == 0 ? 0 : 1;
}
