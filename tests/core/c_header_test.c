/* A daemon written in C: the public header compiles as C99 and the program
 * links the library and calls it. */
#include <stdio.h>
#include <string.h>

#include "quorix_common_interface.h"

static int failures;

static void check(int ok, const char *what) {
    if (!ok) printf("FAILED: %s\n", what);
    failures += !ok;
}

int main(void) {
    check(quorix_get_intf_mem() == NULL, "block is NULL before binding");
    check(quorix_interface_init() == 0, "binding succeeds");
    check(quorix_get_intf_mem() == intf_quorix_mem && intf_quorix_mem != NULL, "block published");
    check(quorix_get_intf_handle() == intf_handle && intf_handle != NULL, "table published");
    check(TranslateToSyslogLevel(2) == 7u, "Error maps to priority 7");
    check(strcmp(DebugLevelDesc[3], "Critical") == 0, "level words exported");
    check(QuorixBMCControlPwrBtnmutexInit() == 0, "power button lock initialises");
    check(QuorixUpdateFpgaVersion(1, 0, NULL) == -1, "unknown FPGA type refused");
    return failures == 0 ? 0 : 1;
}
