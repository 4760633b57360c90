/* A minimal daemon: binds to the platform, then reports the power supplies.
 *
 *   gcc daemon.c $(pkg-config --cflags --libs quorix_common_interface) -o daemon
 *   quorix-sim quorixctl sim load /usr/share/quorix-sim/fixtures/server-2psu-2cpu-12disk.json
 *   quorix-sim ./daemon
 */
#include <stdio.h>

#include <quorix_common_interface.h>

int main(void) {
    if (quorix_interface_init() != 0) {
        fprintf(stderr, "daemon: no platform feature library\n");
        return 1;
    }
    int count = ReadQuorixPSUNum();
    printf("supplies: %d, input power: %d W\n", count, ReadQuorixPSUPower());
    for (int i = 0; i < count; ++i) {
        unsigned char serial[18] = {0};
        QuorixGetPSUSN(i, serial);
        printf("psu %d: %s, serial %.17s\n", i, ReadQuorixPSUPresent(i) == 1 ? "present" : "absent",
               (const char *)serial);
    }
    QuorixDebug(0, "DAEMON", "reported %d supplies\n", count);
    return 0;
}
