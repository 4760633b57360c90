/* A daemon written in C: includes the public header, links the library, calls it,
 * and builds and reads records with nothing but the header's layout constants. */
#include <stdio.h>
#include <string.h>

#include "quorix_common_interface.h"

static int failures;

static void check(int ok, const char *what) {
    if (!ok) {
        printf("FAILED: %s\n", what);
        ++failures;
    }
}

static unsigned get16(const unsigned char *p) { return p[0] | (unsigned)p[1] << 8; }
static unsigned long get32(const unsigned char *p) { return get16(p) | (unsigned long)get16(p + 2) << 16; }

int main(void) {
    check(quorix_get_intf_mem() == NULL, "block is NULL before binding");
    check(quorix_interface_init() == 0, "binding succeeds");
    check(quorix_get_intf_mem() == intf_quorix_mem && intf_quorix_mem != NULL, "block published");
    check(quorix_get_intf_handle() == intf_handle && intf_handle != NULL, "table published");
    check(TranslateToSyslogLevel(2) == 7u, "Error maps to priority 7");
    check(strcmp(DebugLevelDesc[3], "Critical") == 0, "level words exported");
    check(QuorixBMCControlPwrBtnmutexInit() == 0, "power button lock initialises");
    check(QuorixUpdateFpgaVersion(1, 0, NULL) == -1, "unknown FPGA type refused");
    /* Syslog destination 2 set (port big-endian), then read back from the get response (little-endian). */
    unsigned char dest_req[QUORIX_SYSLOG_SET_DEST_LEN] = {0};
    unsigned char dests[QUORIX_SYSLOG_GET_DESTS_LEN] = {0};
    const unsigned char *dest = dests + 1 + 2 * QUORIX_SYSLOG_DEST_SIZE;
    dest_req[0] = QUORIX_SYSLOG_SET_DEST;
    dest_req[QUORIX_SYSLOG_SET_DEST_INDEX] = 2;
    dest_req[QUORIX_SYSLOG_SET_DEST_RECORD + QUORIX_SYSLOG_DEST_ENABLE] = 1;
    dest_req[QUORIX_SYSLOG_SET_DEST_RECORD + QUORIX_SYSLOG_DEST_TYPE] = 3;
    strcpy((char *)dest_req + QUORIX_SYSLOG_SET_DEST_RECORD + QUORIX_SYSLOG_DEST_HOST, "192.0.2.7");
    dest_req[QUORIX_SYSLOG_SET_DEST_RECORD + QUORIX_SYSLOG_DEST_PORT + 2] = 0x12;
    dest_req[QUORIX_SYSLOG_SET_DEST_RECORD + QUORIX_SYSLOG_DEST_PORT + 3] = 0x34;
    check(QuorixSetSyslogConfigInterface(dest_req, (int)sizeof dest_req) == QUORIX_CC_OK, "syslog destination set");
    check(QuorixGetSyslogConfigInterface(1, dests) == QUORIX_SYSLOG_GET_DESTS_LEN, "syslog destinations length");
    check(dest[QUORIX_SYSLOG_DEST_ENABLE] == 1 && dest[QUORIX_SYSLOG_DEST_TYPE] == 3 &&
              strcmp((const char *)dest + QUORIX_SYSLOG_DEST_HOST, "192.0.2.7") == 0 &&
              get32(dest + QUORIX_SYSLOG_DEST_PORT) == 0x1234,
          "syslog destination read back");
    /* Whole password rule (multi-byte fields big-endian), read back little-endian. */
    unsigned char rule_req[QUORIX_PWRULE_SET_WHOLE_LEN] = {QUORIX_PWRULE_SET_WHOLE};
    unsigned char got[QUORIX_PWRULE_GET_LEN] = {0};
    unsigned char *rule = rule_req + QUORIX_PWRULE_SET_DATA;
    rule[QUORIX_PWRULE_ENABLED] = 1;
    rule[QUORIX_PWRULE_MIN_LENGTH] = 12;
    rule[QUORIX_PWRULE_MAX_AGE_DAYS + 1] = 90;
    rule[QUORIX_PWRULE_HISTORY_DEPTH] = 7;
    rule[QUORIX_PWRULE_LOCKOUT_ATTEMPTS] = 3;
    rule[QUORIX_PWRULE_LOCKOUT_MINUTES + 3] = 45;
    check(QuorixSetUserPasswordRuleInterface(rule_req, (int)sizeof rule_req) == QUORIX_CC_OK, "password rule set");
    quorix_passwd_rule_got_flag = 0;
    check(QuorixGetUserPasswordRuleInterface(got) == QUORIX_PWRULE_GET_LEN, "password rule length");
    check(got[1 + QUORIX_PWRULE_MIN_LENGTH] == 12 && get16(got + 1 + QUORIX_PWRULE_MAX_AGE_DAYS) == 90 &&
              got[1 + QUORIX_PWRULE_HISTORY_DEPTH] == 7 && get32(got + 1 + QUORIX_PWRULE_LOCKOUT_MINUTES) == 45,
          "password rule read back");
    printf("%d failed\n", failures);
    return failures == 0 ? 0 : 1;
}
