/*
 * libquorix_common_interface: the common front that every BMC daemon loads to
 * reach hardware state (through the platform feature library and the shared
 * device-state block) and the BMC's own configuration.
 *
 * Plain C ABI: every name below has C linkage. Results are ints unless noted:
 * 0 success, -1 failure; IPMI-style handlers return the response length with
 * the completion code in response byte 0. Buffers are owned by the caller.
 */
#ifndef QUORIX_COMMON_INTERFACE_H
#define QUORIX_COMMON_INTERFACE_H

#include <pthread.h>
#include <stddef.h>
#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define QUORIX_PRINTF_LIKE(fmt, first) __attribute__((format(printf, fmt, first)))
#else
#define QUORIX_PRINTF_LIKE(fmt, first)
#endif

/* ==== Threads ================================================================== */
/* The library starts no thread and every call runs on the caller's thread. It
 * locks nothing but PwrBtnmutex (the power-button lock): the shared block is
 * written without locks by whichever daemon owns a record (the monitor the
 * device state, the IPMI daemon the configuration) and read by all, so a
 * reader may see a record half-updated. The IPMI-style set handlers expect one
 * request thread at a time. The debug log's cache is a per-process global
 * without a lock: QuorixDebug may be called from any thread, but while the
 * reload marker exists a message may be dropped or let through wrongly. The
 * MD5 binding is per-process too: bind it (QuorixInitializeMd5library) from
 * one thread before others use it. */

/* ==== Debug log rules ========================================================== */
/* QuorixDebug(level, module, ...) decides from marker files in
 * QUORIX_DEBUG_DIR (contents never read):
 *  - LEVEL_INFO, LEVEL_WARNING, LEVEL_ERROR, LEVEL_CRITICAL: the first that
 *    exists sets the threshold 0..3; a message at or above it is shown.
 *    No LEVEL_ file: nothing is logged at all.
 *  - PATH_SERIAL (standard output), PATH_LOG (platform debug log), PATH_BOTH:
 *    no PATH_ file, no output either.
 *  - ENABLE_<module> switches a module on; at most 16 modules, and only the
 *    first QUORIX_DEBUG_MODULE_NAME_MAX characters of a name count.
 * A process reads the files on its first call and again only on calls made
 * while the reload marker QUORIX_DEBUG_RELOAD_MARKER exists; the library
 * never removes it. Levels above 3, a NULL module or format: no output. A
 * message is cut at QUORIX_DEBUG_MESSAGE_MAX characters. */
#define QUORIX_DEBUG_DIR "/conf/quorix_debug/"
#define QUORIX_DEBUG_RELOAD_MARKER "/var/quorix_debug_reload"
#define QUORIX_DEBUG_MESSAGE_MAX 1023
#define QUORIX_DEBUG_MODULE_NAME_MAX 15
#define QUORIX_DEBUG_MODULE_SLOTS 16

/* ==== Request, response and record layouts ===================================== */
/* Byte offsets (..._SIZE: widths) of every record a caller sends or receives.
 * Records are packed; multi-byte fields are little-endian unless marked BE.
 * Text fields are NUL-terminated within their width. An OEM get response
 * leaves byte 0 for the completion code and carries the record from byte 1;
 * a set request's length n counts every byte from byte 0. */

/* IPMI completion codes: response byte 0, or the result of a set handler. */
#define QUORIX_CC_OK 0x00
#define QUORIX_CC_REQ_DATA_LEN_INVALID 0xC7
#define QUORIX_CC_PARAM_OUT_OF_RANGE 0xC9
#define QUORIX_CC_INVALID_DATA_FIELD 0xCC
#define QUORIX_CC_NOT_ALLOWED_NOW 0xD5
#define QUORIX_CC_UNSPECIFIED 0xFF /* also: the file or EEPROM could not be written */

/* -- Syslog: QuorixSetSyslogConfigInterface / QuorixGetSyslogConfigInterface -- */
#define QUORIX_SYSLOG_DEST_COUNT 4
/* Destination record (in the block, the writer record and get responses). */
#define QUORIX_SYSLOG_DEST_ENABLE 0 /* 0 off, 1 on */
#define QUORIX_SYSLOG_DEST_TYPE 1   /* index into SyslogTypeStr */
#define QUORIX_SYSLOG_DEST_HOST 2   /* IPv4, IPv6 address or domain name, at most 46 characters */
#define QUORIX_SYSLOG_DEST_HOST_SIZE 47
#define QUORIX_SYSLOG_DEST_PORT 49 /* u32 */
#define QUORIX_SYSLOG_DEST_SIZE 53
/* Globals, in this order: SYSLOG (1 off, 2 on), TAG (SyslogTagStr), LEVEL (SyslogLevelStr),
 * PROTOCAL (SyslogProtocalStr). */
#define QUORIX_SYSLOG_GLOBAL_SYSLOG 0
#define QUORIX_SYSLOG_GLOBAL_TAG 1
#define QUORIX_SYSLOG_GLOBAL_LEVEL 2
#define QUORIX_SYSLOG_GLOBAL_PROTOCOL 3
#define QUORIX_SYSLOG_GLOBALS_SIZE 4
/* Set request: byte 0 selects. */
#define QUORIX_SYSLOG_SET_GLOBALS 0     /* bytes 1..4 the globals */
#define QUORIX_SYSLOG_SET_GLOBALS_LEN 5
#define QUORIX_SYSLOG_SET_DEST 1        /* byte 1 index 0..3, then one destination record, port BE */
#define QUORIX_SYSLOG_SET_DEST_LEN 55
#define QUORIX_SYSLOG_SET_DEST_INDEX 1
#define QUORIX_SYSLOG_SET_DEST_RECORD 2 /* request offset of destination record offset 0 */
#define QUORIX_SYSLOG_SET_TEST 2        /* byte 1 index: send a test message there */
#define QUORIX_SYSLOG_SET_TEST_LEN 2
/* Get responses: selector 0 the globals, selector 1 the four destinations. */
#define QUORIX_SYSLOG_GET_GLOBALS_LEN 5
#define QUORIX_SYSLOG_GET_DESTS_LEN 213
/* Writer record of QuorixSyslogWriteToFile: globals, destinations, test target (0..3, 255 none). */
#define QUORIX_SYSLOG_WRITER_DESTS 4
#define QUORIX_SYSLOG_WRITER_TEST_TARGET 216
#define QUORIX_SYSLOG_WRITER_SIZE 217
/* Tag text of QuorixGetSyslogTag. */
#define QUORIX_SYSLOG_TAG_SIZE 32

/* -- SNMP trap: QuorixSetBMCSnmpTrapCfgInterface / QuorixGetBMCSnmpTrapCfgInterface -- */
/* Trap record; community and pass phrases are stored protected. */
#define QUORIX_TRAP_VERSION 0     /* TrapVersionStr */
#define QUORIX_TRAP_EVENT_LEVEL 1 /* 0 Info, 1 Warning, 2 Critical */
#define QUORIX_TRAP_COMMUNITY 2
#define QUORIX_TRAP_COMMUNITY_SIZE 17
#define QUORIX_TRAP_HOST_ID 19 /* one of HostIDs */
#define QUORIX_TRAP_HOST_ID_SIZE 17
#define QUORIX_TRAP_USER_NAME 36
#define QUORIX_TRAP_USER_NAME_SIZE 17
#define QUORIX_TRAP_AUTH_PROTOCOL 53
#define QUORIX_TRAP_AUTH_PROTOCOL_SIZE 17
#define QUORIX_TRAP_AUTH_PASSWORD 70
#define QUORIX_TRAP_PASSWORD_SIZE 21
#define QUORIX_TRAP_PRIV_PROTOCOL 91
#define QUORIX_TRAP_PRIV_PROTOCOL_SIZE 17
#define QUORIX_TRAP_PRIV_PASSWORD 108
#define QUORIX_TRAP_ENGINE_ID 129 /* hex digits, an even count of 10..48 */
#define QUORIX_TRAP_ENGINE_ID_SIZE 49
#define QUORIX_TRAP_DEVICE_TYPE 178
#define QUORIX_TRAP_RECORD_SIZE 179
/* Destination entry; four back to back form the destination block. */
#define QUORIX_TRAP_DEST_COUNT 4
#define QUORIX_TRAP_DEST_ENABLED 0
#define QUORIX_TRAP_DEST_ADDRESS 1 /* at most 46 characters */
#define QUORIX_TRAP_DEST_ADDRESS_SIZE 47
#define QUORIX_TRAP_DEST_PORT 48 /* u32, at most 65535 */
#define QUORIX_TRAP_DEST_SIZE 52
#define QUORIX_TRAP_DESTS_SIZE 208
/* Set request: byte 0 the group. */
#define QUORIX_TRAP_SET_RECORD 0 /* byte 1 parameter (0..10 = the record's fields in order, 255 whole), data from 2 */
#define QUORIX_TRAP_SET_PARAM 1
#define QUORIX_TRAP_SET_DATA 2
#define QUORIX_TRAP_SET_WHOLE 255 /* data: a trap record */
#define QUORIX_TRAP_SET_WHOLE_LEN 181
#define QUORIX_TRAP_SET_DEST 1 /* byte 1 index 0..3, byte 2 parameter (0 enabled, 1 address, 2 port BE u32, 255 whole) */
#define QUORIX_TRAP_SET_DEST_INDEX 1
#define QUORIX_TRAP_SET_DEST_PARAM 2
#define QUORIX_TRAP_SET_DEST_DATA 3
/* Whole destination (parameter 255): enabled, 46 address bytes, one unused byte, port BE. */
#define QUORIX_TRAP_SET_DEST_WHOLE_ENABLED 3
#define QUORIX_TRAP_SET_DEST_WHOLE_ADDRESS 4
#define QUORIX_TRAP_SET_DEST_WHOLE_PORT 51
#define QUORIX_TRAP_SET_DEST_WHOLE_LEN 55
#define QUORIX_TRAP_SET_TEST 2 /* byte 1 index: send an alert test to that destination */
/* Get responses: selector 0 the trap record, selector 1 the destination block. */
#define QUORIX_TRAP_GET_RECORD_LEN 180
#define QUORIX_TRAP_GET_DESTS_LEN 209

/* -- SNMP agent: QuorixSetBMCSnmpCfgInterface / QuorixGetBMCSnmpCfgInterface -- */
#define QUORIX_AGENT_V1_ENABLE 0
#define QUORIX_AGENT_V2_ENABLE 1
#define QUORIX_AGENT_RO_COMMUNITY 2 /* protected */
#define QUORIX_AGENT_RW_COMMUNITY 19 /* protected */
#define QUORIX_AGENT_COMMUNITY_SIZE 17
#define QUORIX_AGENT_V1V2_SET_ENABLE 36
#define QUORIX_AGENT_V3_ENABLE 37
#define QUORIX_AGENT_AUTH_PROTOCOL 38 /* 1..2, index into AuthProtocols */
#define QUORIX_AGENT_PRIV_PROTOCOL 39 /* 1..2, index into PrivProtocols */
#define QUORIX_AGENT_USER_NAME 40
#define QUORIX_AGENT_USER_NAME_SIZE 17
#define QUORIX_AGENT_AUTH_PASSWORD 57 /* at most 20 characters, protected over 24 bytes */
#define QUORIX_AGENT_PRIV_PASSWORD 81
#define QUORIX_AGENT_PASSWORD_SIZE 24
#define QUORIX_AGENT_RECORD_SIZE 105
/* Set request: byte 0 the parameter (0..10 = the fields above in order), data from byte 1. */
#define QUORIX_AGENT_SET_DATA 1
#define QUORIX_AGENT_SET_WHOLE 254 /* data: an agent record */
#define QUORIX_AGENT_SET_WHOLE_LEN 106
#define QUORIX_AGENT_SET_RESTART 255 /* restart the agent; n = 1 */
#define QUORIX_AGENT_GET_LEN 106

/* -- SMTP: QuorixSetBMCSmtpCfgInterface / QuorixGetBMCSmtpCfgInterface -- */
#define QUORIX_SMTP_ENABLED 0
#define QUORIX_SMTP_SERVER 1 /* at most 46 characters */
#define QUORIX_SMTP_SERVER_SIZE 47
#define QUORIX_SMTP_PORT 48        /* u16 */
#define QUORIX_SMTP_SECURE_PORT 50 /* u16 */
#define QUORIX_SMTP_STARTTLS 52
#define QUORIX_SMTP_SSL_TLS 53
#define QUORIX_SMTP_AUTH 54
#define QUORIX_SMTP_USER_NAME 55
#define QUORIX_SMTP_USER_NAME_SIZE 66
#define QUORIX_SMTP_PASSWORD 121 /* at most 60 characters, protected over 61 bytes */
#define QUORIX_SMTP_PASSWORD_SIZE 61
#define QUORIX_SMTP_SENDER 182
#define QUORIX_SMTP_SENDER_SIZE 65
#define QUORIX_SMTP_SUBJECT 247
#define QUORIX_SMTP_SUBJECT_SIZE 17
#define QUORIX_SMTP_HOST_NAME 264
#define QUORIX_SMTP_SERIAL_NUMBER 265
#define QUORIX_SMTP_ASSET_TAG 266
#define QUORIX_SMTP_EVENT_LEVEL 267 /* 0 Info, 1 Warning, 2 Critical */
#define QUORIX_SMTP_RECORD_SIZE 268
/* Recipient entry; four back to back form the recipient block. */
#define QUORIX_SMTP_RCPT_COUNT 4
#define QUORIX_SMTP_RCPT_ENABLED 0
#define QUORIX_SMTP_RCPT_ADDRESS 1
#define QUORIX_SMTP_RCPT_ADDRESS_SIZE 65
#define QUORIX_SMTP_RCPT_DESCRIPTION 66
#define QUORIX_SMTP_RCPT_DESCRIPTION_SIZE 17
#define QUORIX_SMTP_RCPT_SIZE 83
#define QUORIX_SMTP_RCPTS_SIZE 332
/* Set request: byte 0 the group. */
#define QUORIX_SMTP_SET_RECORD 0 /* byte 1 parameter (0..14 = the record's fields in order, 255 whole), data from 2 */
#define QUORIX_SMTP_SET_PARAM 1
#define QUORIX_SMTP_SET_DATA 2
#define QUORIX_SMTP_SET_WHOLE 255 /* data: an SMTP record, both ports BE */
#define QUORIX_SMTP_SET_WHOLE_LEN 270
#define QUORIX_SMTP_SET_RCPT 1 /* byte 1 index 0..3, byte 2 parameter (0 enabled, 1 address, 2 description, 255 whole) */
#define QUORIX_SMTP_SET_RCPT_INDEX 1
#define QUORIX_SMTP_SET_RCPT_PARAM 2
#define QUORIX_SMTP_SET_RCPT_DATA 3 /* whole: a recipient entry */
#define QUORIX_SMTP_SET_RCPT_WHOLE_LEN 86
#define QUORIX_SMTP_SET_TEST 2 /* byte 1 index: send an alert test to that recipient */
/* Get responses: selector 0 the record (password bytes zeroed), selector 1 the recipient block. */
#define QUORIX_SMTP_GET_RECORD_LEN 269
#define QUORIX_SMTP_GET_RCPTS_LEN 333

/* -- User password rule: QuorixSetUserPasswordRuleInterface / QuorixGetUserPasswordRuleInterface -- */
#define QUORIX_PWRULE_ENABLED 0           /* u8 0..1 */
#define QUORIX_PWRULE_MIN_LENGTH 1        /* u8 8..16 */
#define QUORIX_PWRULE_COMPLEXITY 2        /* u8 0..1 */
#define QUORIX_PWRULE_CLASS_MASK 3        /* u8 0..31, checked when COMPLEXITY is 1 */
#define QUORIX_PWRULE_MAX_AGE_DAYS 4      /* u16 0..90 */
#define QUORIX_PWRULE_HISTORY_DEPTH 6     /* u8 0..10 */
#define QUORIX_PWRULE_LOCKOUT_ATTEMPTS 7  /* u8 0..5 */
#define QUORIX_PWRULE_LOCKOUT_MINUTES 8   /* u32 5..60 */
#define QUORIX_PWRULE_RECORD_SIZE 12
/* Set request: byte 0 the parameter (0..7 = the fields above in order), data from byte 1; 255 the whole
 * record, whose u16 and u32 come BE (a single parameter's are little-endian). */
#define QUORIX_PWRULE_SET_DATA 1
#define QUORIX_PWRULE_SET_WHOLE 255
#define QUORIX_PWRULE_SET_WHOLE_LEN 13
#define QUORIX_PWRULE_GET_LEN 13

/* -- Power supply summary record filled by ReadQuorixPSUInfo -- */
#define QUORIX_PSU_INFO_INDEX 0
#define QUORIX_PSU_INFO_PRESENT 1 /* 255: index out of range */
#define QUORIX_PSU_INFO_WORK_MODE 2
#define QUORIX_PSU_INFO_STATUS_WORD 3 /* u16 */
#define QUORIX_PSU_INFO_PS_STATUS 5   /* u16 */
#define QUORIX_PSU_INFO_INPUT_TYPE 7
#define QUORIX_PSU_INFO_PWR_GOOD 8
#define QUORIX_PSU_INFO_FAN_STATUS 9
/* u16 readings, rounded to whole units except where x 100 */
#define QUORIX_PSU_INFO_AMBIENT_TEMPERATURE 10
#define QUORIX_PSU_INFO_SECONDARY_TEMPERATURE 12
#define QUORIX_PSU_INFO_PRIMARY_TEMPERATURE 14
#define QUORIX_PSU_INFO_INPUT_POWER 16
#define QUORIX_PSU_INFO_OUTPUT_POWER 18
#define QUORIX_PSU_INFO_INPUT_VOLT 20
#define QUORIX_PSU_INFO_OUTPUT_VOLT 22    /* x 100 */
#define QUORIX_PSU_INFO_INPUT_CURRENT 24  /* x 100 */
#define QUORIX_PSU_INFO_OUTPUT_CURRENT 26 /* x 100 */
#define QUORIX_PSU_INFO_OUTPUT_POWER_MAX 28
#define QUORIX_PSU_INFO_FAN_SPEED 30
/* texts */
#define QUORIX_PSU_INFO_MANUFACTURER 32
#define QUORIX_PSU_INFO_MODEL 50
#define QUORIX_PSU_INFO_SERIAL 68
#define QUORIX_PSU_INFO_TEXT_SIZE 18 /* manufacturer, model, serial, part number */
#define QUORIX_PSU_INFO_FW_VERSION 86
#define QUORIX_PSU_INFO_FW_VERSION_SIZE 16
#define QUORIX_PSU_INFO_PART_NUM 102
#define QUORIX_PSU_INFO_DATE 120
#define QUORIX_PSU_INFO_DATE_SIZE 6
#define QUORIX_PSU_INFO_SIZE 126

/* -- Update tasks: QuorixGetUpgradeInfo, QuorixUpdateTaskInfo, QuorixGetBackgroundTaskActive and the two handlers -- */
#define QUORIX_TASK_COUNT 15 /* task ids 0..14 */
#define QUORIX_TASK_ID 0
#define QUORIX_TASK_TYPE 1
#define QUORIX_TASK_REPORT_A 2
#define QUORIX_TASK_REPORT_B 3
#define QUORIX_TASK_STATUS 36     /* 0 none, 1 waiting, 2 running, 3 finished, 4 failed, 5 accepted */
#define QUORIX_TASK_SUB_STATE 37  /* 0..13 */
#define QUORIX_TASK_START_TIME 38 /* u32, seconds since the epoch */
#define QUORIX_TASK_COMPONENT_ID 42
#define QUORIX_TASK_BOARD_ID 43
#define QUORIX_TASK_TRIGGER 107
#define QUORIX_TASK_PROGRESS 176 /* percent */
#define QUORIX_TASK_FILE_NAME 177
#define QUORIX_TASK_FILE_NAME_SIZE 128
#define QUORIX_TASK_RECORD_SIZE 307
/* QuorixBackgroundTaskOperaInterface request: byte 0 operation (0 query, 1 cancel), byte 1 task id
 * (query: 255 all). Query response: byte 0 code, byte 1 count, then count task records. */
#define QUORIX_TASK_OP_QUERY 0
#define QUORIX_TASK_OP_CANCEL 1
#define QUORIX_TASK_OP_TASK 1
#define QUORIX_TASK_ALL 255
#define QUORIX_TASK_QUERY_HEAD 2
#define QUORIX_TASK_QUERY_MAX_LEN 4607
/* QuorixGetUpdateInfoInterface request: one byte 0. Response: byte 0 code, byte 1 count, then count
 * status entries (tasks 0..11 with a status other than 0). */
#define QUORIX_TASK_ENTRY_ID 0
#define QUORIX_TASK_ENTRY_NAME 1 /* component name */
#define QUORIX_TASK_ENTRY_NAME_SIZE 32
#define QUORIX_TASK_ENTRY_STATUS 33
#define QUORIX_TASK_ENTRY_PROGRESS 34
#define QUORIX_TASK_ENTRY_TRIGGER 35
#define QUORIX_TASK_ENTRY_REPORT_A 36
#define QUORIX_TASK_ENTRY_REPORT_B 37
#define QUORIX_TASK_ENTRY_SIZE 38
#define QUORIX_TASK_REPORT_HEAD 2
#define QUORIX_TASK_REPORT_MAX_LEN 458
/* QuorixGetFlashProgress: the first bytes of the flasher's progress file. */
#define QUORIX_FLASH_PROGRESS_STAGE 0
#define QUORIX_FLASH_PROGRESS_STATE 93 /* u32 */
#define QUORIX_FLASH_PROGRESS_SIZE 97

/* ==== Binding and accessors ==================================================== */

/* Shared device-state block of the feature library; NULL until a binding got that far. */
extern void *intf_quorix_mem;
/* Feature handle table: 237 function-pointer slots; NULL until bound. */
extern void **intf_handle;

/* Loads the feature library and publishes block and table; 0 (also when already bound), -1 on failure. */
int quorix_interface_init(void);
/* Returns intf_quorix_mem as it stands. */
void *quorix_get_intf_mem(void);
/* Returns intf_handle as it stands. */
void **quorix_get_intf_handle(void);

/* ==== Feature forwarders ======================================================= */
/* Each forwards its arguments to one slot of the table and returns the slot's
 * result unchanged unless its comment says otherwise. Bind first: a plain
 * forwarder does not check the table. */

/* -- EEPROM and FRU -- */
/* Reads length bytes of the main-board EEPROM at offset; returns the bytes transferred. */
int QuorixReadMainBoardEEprom(int offset, unsigned char *buffer, int length);
/* Writes length bytes to the main-board EEPROM at offset; returns the bytes transferred. */
int QuorixWriteMainBoardEEprom(int offset, unsigned char *buffer, int length);
/* Same as QuorixWriteMainBoardEEprom, pausing delay_ms between device writes. */
int QuorixWriteMainBoardEEpromDelayX(int offset, unsigned char *buffer, int length, int delay_ms);
/* Writes the 24C256 (asset) EEPROM at offset; returns the platform's status. */
int QuorixWrite24256EEprom(int offset, unsigned char *buffer, int length);
/* Reads the asset-information file into buffer; returns the bytes read. */
int QuorixReadAssetInfoFromFile(unsigned char *buffer, int length);
/* Writes buffer as the asset-information file; returns the bytes written. */
int QuorixWriteAssetInfoToFile(unsigned char *buffer, int length);
/* FRU presence of one device into *present; -1 when the platform has no such check. */
int quorixGetFruPresent(int fru_type, int index, unsigned char *present);
/* Refreshes the FRU record of one power supply in the shared block. */
int update_psu_fru_info(int psu_index);
/* Refreshes the main-board FRU record in the shared block. */
int update_board_fru_info(void);
/* Refreshes the FRU record of one disk backplane in the shared block. */
int update_hddbp_fru_info(int cpld_type, int bp_index);
/* Reads one FRU area of device fru_id from its EEPROM into buffer. */
int get_fru_info_from_eeprom(int fru_id, int area, unsigned char *buffer, int length);
/* Extracts field of area from raw FRU data as text into value (at most value_size bytes). */
int QuorixParseEEPROMFRUData(unsigned char *fru_data, int data_length, int area, int field, char *value, int value_size);
/* Checks the FRU data of device fru_id; 0 when it is sound. */
int QuorixCheckFruErr(int fru_id);

/* -- Power supplies -- */
/* Presence of supply psu_index into *present. */
int GetHwPSUPresent(int psu_index, unsigned char *present);
/* Presence and power-good of supply psu_index, read from one CPLD register. */
int GetHwPSUPwrGood(int psu_index, unsigned char *present, unsigned char *pwr_good);
/* Prints a trace line, then forwards: reads the black-box record of a supply into buffer. */
int QuorixGetPSUBlackBoxInfoInterface(int psu_index, unsigned char *buffer, int length);
/* Decodes the status registers of supply psu_index into status. */
int GetHwPSUStatusParsing(int psu_index, unsigned char *status, int length);
/* Sets the work mode (active, standby, ...) of supply psu_index. */
int SetQuorixPSUWorkMode(int psu_index, int work_mode, int flags);
/* Configured supply count from psu_count presence bytes into *config_num. */
int GetHwPSUConfigNum(int psu_count, unsigned char *psu_present, unsigned char *config_num);
/* Count of supplies in normal state from psu_count status bytes into *normal_num. */
int GetHwPSUNormalNum(int psu_count, unsigned char *psu_status, unsigned char *normal_num);
/* Total input and output power of all supplies, in watts. */
int GetHwPSUTotalPower(float *input_power, float *output_power);
/* Records the input power (watts) of supply psu_index. */
int UpdatePSUInputPower(int psu_index, int input_power);
/* Writes a supply power flag to the main-board CPLD. */
int QuorixWritePSUPowerFlagToCPLDInterface(int psu_index, int flag, int value);
/* Sends the T-off time (raw PMBus bytes) to supply psu_index. */
int SetQuorixPSUTOFFTime(int psu_index, unsigned char *toff_time, int length);

/* -- Fans -- */
/* Presence of fan fan_index into *present; 0 on a successful read. */
int quorixGetFanPresent(int fan_index, unsigned char *present);
/* Feeds the fan controller's watchdog. */
int quorixFanWatchdogFeed(void);
/* Total fan power in watts. */
int QuorixGetFanPower(float *power);
/* Summary health of all fans. */
int QuorixGetFanSummaryHealth(void);
/* Runs one pass of the fan control loop. */
int quorixFanControll(void);
/* Sets fan control parameters of param_type; persist also keeps them in EEPROM. */
int quorixSetFanControlParams(int param_type, unsigned char *params, int length, int persist);
/* Reads fan control parameters of param_type into params. */
int quorixGetFanControlParams(int param_type, unsigned char *params, int length);
/* Prints the temperatures the fan control uses. */
int show_fan_temperature(void);
/* Sets the LED of fan fan_index; returns 0. */
int QuorixSetFanLedStatus(int fan_index, int state);
/* Drives every fan LED from the fans' state; returns 0. */
int QuorixFanLedCtrl(void);
/* Fan rotor model (single or dual rotor). */
int quorixGetFanRotorModelFromShareMem(void);
/* Sets the fan rotor model. */
int quorixSetFanRotorModelToShareMem(int model);
/* Checks the number of fans found against the board's. */
int QuorixCheckFanNumber(void);
/* Reads or writes a fan-plane CPLD register: request[0] 0 read / 1 write, request[1] register, then data. */
int QuorixFanPlaneRW(int plane_index, unsigned char *request, int length);
/* Records the presence of fan plane plane_index. */
int QuorixSetFanPlanePresent(int plane_index, int present);
/* Cooling strategy in force. */
int QuorixGetCoolingStrategy(void);

/* -- CPLD, FPGA and board -- */
/* Reads (is_write 0) or writes a main-board CPLD register through *value. */
int QuorixMBCPLDRW(int is_write, int reg, unsigned char *value);
/* Reads (is_write 0) or writes a main-board FPGA register through *value. */
int QuorixMBFPGARW(int is_write, int reg, unsigned char *value);
/* Whether the main-board FPGA is enabled. */
int QuorixCheckFPGAEnable(void);
/* Checks the CPLD alert state. */
int CheckCPLDAlertStat(void);
/* Analyses and records a pending CPLD alert. */
int AnalyzeCPLDAlert(void);
/* Checks the GPIO alert state. */
int checkGPIOAlertStat(void);
/* GPIO number of a board signal. */
int QuorixGetGpioNum(int signal_id);
/* Status of a slot as the main-board CPLD reports it. */
int QuorixGetMBCPLDSlotStatusInterface(int slot_index, unsigned char *status);
/* Switches the power of a slot through the main-board CPLD. */
int QuorixSetMBCPLDSlotPowerInterface(int slot_index, int power_on);
/* Front-panel button information from the main-board CPLD. */
int QuorixGetMBCPLDButtonInfo(void);
/* Shields (shielded 1) or releases a front-panel button. */
int SetFrontPanelButtonShieldStatus(int button, int shielded);
/* Shield state of a front-panel button. */
int GetFrontPanelButtonShieldStatus(int button);
/* UID LED state. */
int QuorixGetUidStatus(void);
/* Sets the UID LED; returns 0. */
int QuorixSetUidStatus(int state);
/* UID button long-press information; -1 when the platform has none. */
int QuorixGetUidLongInfo(void);
/* Drives an LED; does nothing (0) when the platform has no LED control. */
int QuorixLedCtrlInterface(int led, int action);
/* Refreshes the main-board information; -1 when the platform has none, else 0. */
int QuorixGetMainboardInfo(void);
/* Board type code. */
int QuorixGetBoardType(void);
/* Prints a trace line, then forwards: sets the UART switch. */
int QuorixSetUARTSwitchStatusInterface(int status);
/* Prints a trace line, then forwards: reads the UART switch into *status. */
int QuorixGetUARTSwitchStatusInterface(unsigned char *status);
/* Prints a trace line, then forwards: reads the CPU type mismatch flag into *mismatch. */
int QuorixGetCPUTypeMisMatchInterface(unsigned char *mismatch);
/* Whether CPU 1 is disabled. */
int CheckCPU1DisableStat(void);
/* Whether the last reset was a CPU cold reset. */
int checkCPUColdReset(void);
/* Whether the platform reset has completed. */
int checkPlatformResetOK(void);
/* Whether the BMC's POST has completed. */
int checkBMCPostComplete(void);
/* Polls the chassis intrusion switch. */
int QuorixMonitorIntrusionStatus(void);
/* Chassis intrusion state. */
int QuorixGetIntrusionStatus(void);
/* Polls the leakage detector. */
int QuorixMonitorLeakageStatus(void);
/* Records that a component was replaced; returns 0. */
int QuorixSetComponentReplaceInfo(int component, int index);
/* Records the BMC restart cause. */
int QuorixSetBMCRestartCause(int cause);
/* BMC restart cause. */
int QuorixGetBMCRestartCause(void);
/* Records the system stop cause. */
int QuorixSetSysStopCause(int cause);
/* Records the system restart cause. */
int QuorixSetSysRestartCause(int cause);
/* Firmware version of VR vr_index as text. */
int QuorixGetVRVersionInterface(int vr_index, char *version, int size);
/* Product ID read from the hardware of source into product_id; -1 if product_id is NULL. */
int QuorixGetProductIDFromHardware(int source, unsigned char *product_id, int length);
/* Whether the board supports topology IDs. */
int QuorixCheckTopologyIDSupport(void);
/* Whether the host's VGA output is disabled. */
int BmcVgaDisableStateCheck(void);

/* -- Disks and backplanes -- */
/* Information on M.2 device index. */
int QuorixGetM2Info(int index, unsigned char *info, int length);
/* Presence of M.2 device index into *present. */
int QuorixGetM2Present(int index, unsigned char *present);
/* Reads or writes a backplane CPLD register: request[0] 0 read / 1 write, request[1] register, then data. */
int QuorixBackPlaneRW(int bp_index, unsigned char *request, int length);
/* Prints a trace line, then forwards: sets a disk LED or power action. */
int QuorixSetHDDLedPwrStatusInterface(int backplane_type, int slot_number, int action_type, int action);
/* Prints a trace line, then forwards: reads a disk LED or power state into *action. */
int QuorixGetHDDLedPwrStatusInterface(int backplane_type, int slot_number, int action_type, unsigned char *action);
/* Prints a trace line, then forwards: sets the VMD state of a CPU. */
int QuorixSetVMDStatusInterface(int cpu_index, int state);
/* Disk information of a backplane; -1 if info is NULL. */
int GetHwHDDInfo(unsigned char *info, int cpld_type, int bp_index);
/* 1 when backplane bp_index of cpld_type is present. */
int quorixGetBackPlanePresent(int cpld_type, int bp_index);
/* Records the presence of a backplane. */
int quorixSetBackPlanePresent(int cpld_type, int bp_index, int present);
/* Refreshes the CPLD information of a backplane; -1 when the platform has none, else 0. */
int GetBPCpldInfo(int cpld_type, int bp_index);
/* Status of all disks of cpld_type; -1 if status is NULL, 0 when the platform has none. */
int GetAllHddStatus(unsigned char *status, int cpld_type, int length);
/* Disk status behind SAS expander expander_index. */
int QuorixGetExpanderHDDStatus(int expander_index, unsigned char *status, int length);
/* Temperature of a SAS expander on a backplane. */
int QuorixExpanderTemp(int cpld_type, int bp_index, int expander_index, float *temp);
/* Firmware version of SAS expander expander_index as text. */
int QuorixGetExpanderVersion(int expander_index, char *version, int size);
/* Turns off one channel of a backplane. */
int QuorixDisableBackPlaneChannel(int cpld_type, int bp_index, int channel);
/* Temperature of the switch on backplane bp_index. */
int QuorixBackPlaneSwitchTempGet(int bp_index, float *temp);
/* First disk number of the rear backplanes' NVMe disks. */
int quorixGetRearBackPlaneNvmeStartNum(void);
/* Whether RAID monitoring is enabled. */
int QuorixGetRaidMonitorEnable(void);

/* -- PCIe, NIC and GPU -- */
/* Changes the NC-SI switch mode. */
int QuorixNcsiSwitchModeChange(int mode);
/* Information on smart NIC nic_index; -1 if info is NULL. */
int GetHwSmartNicInfo(unsigned char *info, int nic_index);
/* Presence of smart NIC nic_index; -1 if present is NULL. */
int ReadQuorixSmartNICPresent(unsigned char *present, int nic_index);
/* Sends a command to smart NIC nic_index. */
int SetSmartNicCmdCall(int nic_index, unsigned char *command, int length);
/* Slot number of a PCIe function. */
int QuorixGetPcieSlotInterface(int cpu_index, int bus, int device, int function, unsigned char location_type);
/* Slot of smart NIC nic_index into *slot_number. */
int QuorixGetSmartNICSlotLocationInterface(int nic_index, unsigned char *slot_number);
/* Polls an NC-SI card temperature; returns 0. */
int QuorixGetNcsiCardTemp(int index);
/* Polls a NIC temperature over I2C; returns 0. */
int QuorixGetNicCardiTempFromI2C(int index);
/* Polls a riser temperature; returns 0. */
int QuorixGetRiserTemp(int riser_index);
/* 1 when OCP card ocp_index is present. */
int QuorixGetOcpPresent(int ocp_index);
/* Slot and location index of a bus/device/function; -1 if any pointer is NULL. */
int QuorixGetPcieLocationIndex(unsigned char *bdf, unsigned char *slot_number, unsigned char *location_index);
/* Polls a NIC's link state; returns 0. */
int QuorixGetNicCardLinkStatus(int index);
/* Presence of the PCIe slots, one bit per slot, into *presence. */
int QuorixGetPCIESlotPresentInfo(unsigned int *presence);
/* Sets the supported management ports. */
int QuorixSetSupportMangePortsInfo(unsigned char *ports, int count);
/* Temperature of smart NIC nic_index. */
int QuorixGetSmartNICTempInterface(int nic_index, float *temp);
/* Polls a PCIe GPU; returns 0. */
int QuorixGetPcieGPUInfo(int index);
/* State of the PCA9641 bus arbiter on bus. */
int QuorixCheck9641Status(int bus);
/* Turns off PCIe switch switch_index. */
int QuorixDisablePcieSwitch(int switch_index);
/* Polls a PCIe SSD temperature; returns 0. */
int QuorixGetPCIESSDTemp(int index);
/* Checks the dial switch of the shared NIC port. */
int BmcCheckDialSwitchStatus(int port, int mode);
/* Disables the shared NC-SI link. */
int BmcShareLinkDisable(void);
/* 1 when riser riser_index is present. */
int FlaipiGetRiserPresent(int riser_index);
/* Polls an OCP card's type; returns 0. */
int QuorixGetOCPCardType(int ocp_index);
/* Sets the temperature sensor information of a PCIe slot. */
int FlaipiSetPcieTempSensorInfo(int slot_index, unsigned char *info, int length);
/* Link state of a network port. */
int QuorixGetLinkStatus(int port);
/* Runs the PCIe NIC scan if the platform has one; returns 0. */
int QuorixGetPcieNicInfoThread(void);
/* Polls a PCIe NIC if the platform can; returns 0. */
int QuorixGetPcieNicCardinfo(int index);
/* Polls a MOC card if the platform can; returns 0. */
int QuorixGetMocCardinfo(int index);
/* Runs the MOC card scan if the platform has one; returns 0. */
int QuorixGetMocInfoThread(void);
/* Polls a PCIe FPGA card; returns 0. */
int QuorixGetPcieFPAGInfo(int index);
/* Rebuilds the PCIe device information. */
int QuorixReinitPcieInfo(void);
/* Firmware image a GPU board's switch runs. */
int QuorixGetGPUBoardSwitchFW(int board_index);
/* Selects the firmware image of a GPU board's switch. */
int QuorixSwitchGPUBoardFW(int board_index, int image);
/* Polls a PCIe accelerator; returns 0. */
int QuorixGetPcieAcceleratorsInfo(int index);
/* Polls an OCP card over MCTP if the platform can; returns 0. */
int QuorixGetOCPInfoFromMCTPOverI2C(int ocp_index);
/* Name of PCIe location as text. */
int QuorixProjTranslatePcielocation(int location, char *text, int size);

/* -- Power -- */
/* System power state: 1 on, 0 off. */
int checkSystemPowerOk(int node, int source, int flags);
/* Whether the PCP power is good. */
int checkPcpPowerOk(void);
/* Runs a chassis power action. */
int powerControl(int action);
/* Switches the system P12V rail. */
int SetSysP12VPowerControl(int state);
/* Powers on from the BMC with the front-panel button information. */
int QuorixBMCControlPWRON(int button_info);
/* Applies the chassis power-on policy. */
int QuorixChassisPowerPolicy(void);
/* Prints a trace line, then forwards: shuts down after an over-current detection. */
int QuorixSystemOverCurrentProtectDetectShutdown(void);
/* Sets the power-policy flag. */
int QuorixSetPowerPolicyFlag(int flag);
/* Power-policy flag. */
int QuorixGetPowerPolicyFlag(void);
/* Main-board power in watts. */
int QuorixGetMBPowerInterface(float *power);
/* Power of front backplane bp_index in watts. */
int QuorixGetFrontBackPlanePowerInterface(int bp_index, float *power);
/* Power of rear backplane bp_index in watts. */
int QuorixGetRearBackPlanePowerInterface(int bp_index, float *power);
/* Power of PCIe slot slot_index in watts. */
int QuorixGetPCIePower(int slot_index, float *power);
/* Power of disk disk_index in watts. */
int QuorixGetHDDPower(int disk_index, float *power);
/* AP power in watts. */
int QuorixGetAPPower(float *power);
/* Power information item; only the low byte of the platform's result. */
int QuorixGetPowerInfo(int item);
/* Information on power device device_index. */
int GetHWPowerDeviceInfo(int device_index, unsigned char *buffer, int length);
/* Sets the system over-current protection value. */
int QuorixSetSysOverCurrentProtectValueInterface(int value);
/* System over-current protection value. */
int QuorixGetSysOverCurrentProtectValueInterface(void);
/* Checks for and records an over-current shutdown. */
int QuorixCheckAndRecoredOverCurrentShutDown(void);
/* Clears the COMS so that the power status is set again. */
int QuorixClearCOMSToSetPowerStatus(void);
/* Whether the power-on policy asks for power on. */
int QuorixPowerPolicyNeedPowerOn(void);
/* Power-on policy. */
int QuorixGetPowerPolicy(void);
/* Sets the power-on policy. */
int QuorixSetPowerPolicy(int policy);
/* Sets the power LED. */
int QuorixChangePowerLedStatus(int state);
/* Whether the main-board CPLD saw an AC failure. */
int GetACFailFromCPLD(void);

/* -- BIOS, SCP and ME -- */
/* Resets the management engine. */
int resetME(void);
/* Reads a BIOS-to-BMC item into *value; 0 on success, -1 otherwise. */
int QuorixGetBIOSBMCInterface(int item, unsigned char *value);
/* Switches the BIOS SPI flash to owner; returns 0. */
int QuorixBiosHostSpiChange(int owner);
/* Whether the BIOS POST has completed. */
int checkBIOSPostComplete(void);
/* Whether the BIOS booted. */
int checkBIOSBootOK(void);
/* Selected image of flash (0 BIOS, 1 SCP) in bit 0. */
int QuorixGetBIOSBootSelector(int flash);
/* Selects image selector of flash (0 BIOS, 1 SCP). */
int QuorixSetBIOSBootSelector(int selector, int flash);
/* Sets the BIOS flash mode. */
int setBIOSFlashMode(int mode);
/* Whether the board has two BIOS flashes. */
int CheckBIOSDoubleFlashSupport(void);
/* SCP firmware version as text. */
int QuorixGetSCPVersion(char *version, int size);
/* Sets the SCP flash mode. */
int setSCPFlashMode(int mode);
/* Whether the board has two SCP flashes. */
int CheckScpDoubleFlashSupport(void);
/* Selects the SCP boot image. */
int QuorixSetSCPBootSelector(int selector);
/* Selected SCP boot image. */
int QuorixGetSCPBootSelector(void);
/* Boot index. */
int QuorixGetBootIndex(void);
/* Sets the ME mode flag. */
int QuorixSetMeModeFlag(int mode);
/* Current ME mode. */
int QuorixGetMeCurrentMode(void);
/* Sets the ME state control. */
int QuorixSetMeStatCtrl(int state);
/* Polls the node-manager scan information; returns 0. */
int QuorixGetNmScanInfo(void);

/* -- Sensors -- */
/* Polls the DIMM temperatures of CPU cpu_index; returns 0. */
int QuorixGetCpuDimmTemp(int cpu_index);
/* Sensor reading into *reading; -1 if reading is NULL. */
int QuorixGetSensorReading(int sensor_type, float *reading, int sensor_index);
/* Reads a common temperature sensor. */
int QuorixReadCommonTemp(int sensor_index, float *temp);
/* Reads a board-specific temperature sensor. */
int QuorixReadSpecialTemp(int sensor_index, float *temp);
/* Asserts or deasserts a CPU or memory state event offset. */
int QuorixCPUMEMStatCtrl(int device_type, int index, int event_offset, int assert_event);
/* State of CPU cpu_index into *state. */
int QuorixGetCPUStat(int cpu_index, unsigned char *state);
/* State of DIMM dimm_index into *state. */
int QuorixGetMEMStat(int dimm_index, unsigned char *state);
/* DIMM disable bitmap. */
int QuorixGetDimmDisable(unsigned char *bitmap, int length);
/* RTC battery voltage in volts. */
int GetHWRTCVolt(float *volt);

/* -- Miscellaneous -- */
/* Checks whether a factory-configuration reload was requested. */
int BmcReloadFactoryConfigCheck(void);
/* The platform's IPMI configuration table. */
int QuorixGetPmcIpmiConfigTable(unsigned char *table, int length);
/* The platform's string configuration table. */
int QuorixGetPmcStrConfigTable(unsigned char *table, int length);
/* Runs a platform console command. */
int quorix_project_feature_cmd(int argc, char **argv);
/* Opens a named pipe; -1 when the platform has no pipes. */
int QuorixOpenPipe(const char *path, int flags, int mode);
/* Reads from an open pipe; -1 when the platform has no pipes. */
int QuorixReadPipe(int fd, unsigned char *buffer, int length);
/* Writes length bytes to the named pipe path; returns the bytes written, -1 when the platform has no pipes. */
int QuorixWritePipe(const char *path, unsigned char *buffer, int length);
/* Update task id that a backplane board text belongs to; -1 if desc is NULL. */
int QuorixGetTaskIDByBpDesc(const char *desc, int length);
/* Sets the RTC time zone as an offset from UTC. */
int RTC_SetTimezone(int utc_offset_minutes);
/* Sets (1) or clears (0) the RTC lock. */
int QuorixSetRtcLockStatus(int locked);

/* ---- end feature forwarders ---- */

/* Operations that compose several slots. */
/* Checks the dial switch (slot 161) and, when it reports 0, disables the shared link (slot 163). */
int BmcUpdateShareLink(int port, int mode);
/* Runs the platform initialisation (slot 0) once for all processes sharing the block; 0 when already done. */
int quorixPlatInit(void);
/* Asks slot 191 for the next GPU-box device (a per-process call counter); returns 0. */
int QuorixGetGPUBoxDevInfo(void);
/* Reads fan presence through slot 6, up to 10 tries until one returns 0; returns the last result. */
int QuorixRetryGetFanPresent(int fan_index, unsigned char *present);
/* Raises the chassis diagnostic interrupt (slot 39 with 18, 1); 0 on success, -1 otherwise. */
int QuorixDiagInterruptChassis(void);
/* Sets a BIOS-BMC item: request = {item, value} (length 2) goes to slot 39; response[0] = 0x00, 0xFF when the
 * slot fails, 0xC7 for another length. Returns 1 (the response length), -1 on a NULL pointer. */
int QuorixSetBIOSBMCInterface(const unsigned char *request, int length, unsigned char *response);
/* Flips the BIOS boot flash selector (slots 172, 173); returns slot 173's result. */
int QuorixBiosSwitchNode(void);
/* Flips the SCP boot flash selector (slots 172, 173); returns slot 173's result. */
int QuorixScpSwitchNode(void);
/* Refreshes the FPGA version through slot 170 with (0, 0, version): index is replaced by the type; only FPGA
 * type 0 is known, others give -1. */
int QuorixUpdateFpgaVersion(int fpga_type, int index, unsigned char *version);
/* Runs an RTC device command (slot 215) with the RTC lock held around it; returns the slot's result. */
int RTC_DeviceControl(int command, void *data);
/* Reads fan information through slot 1; -1 if info is NULL or index above the fan count in the block. */
int get_hw_fan_info(unsigned char *info, int index);
/* Reads a device health summary through slot 64; -1 when unbound or health is NULL, 0 when the slot is empty. */
int QuorixSysDevHealth(unsigned char *health, int length);

/* ==== Power button lock ========================================================= */

/* The library's only lock: guards QuorixBMCControlPwrBtnGetSet. */
extern pthread_mutex_t PwrBtnmutex;
/* Initialises PwrBtnmutex once per process; returns 0. */
int QuorixBMCControlPwrBtnmutexInit(void);
/* Under PwrBtnmutex, passes the CPLD button information (slot 153) to slot 78; returns 0. */
int QuorixBMCControlPwrBtnGetSet(void);

/* ==== Debug log and debug flags ================================================= */

/* Level words, indexed by level 0..3: "Info", "Warning", "Error", "Critical". */
extern const char *DebugLevelDesc[4];
/* Known module switches: "ENABLE_DEV" ... "ENABLE_CPLD". */
extern const char *DebugSourceFile[6];

/* Logs one message at level 0..3 for module, as the files in /conf/quorix_debug/ decide; result carries no status.
 * The files are read at a process's first call and later only while "/var/quorix_debug_reload" exists, so a
 * change reaches running daemons once that marker is created, each has logged, and it is removed again
 * ("quorixctl debug reload" does all three). */
int QuorixDebug(unsigned int level, const char *module, const char *format, ...) QUORIX_PRINTF_LIKE(3, 4);
/* Threshold level from the LEVEL_ files: 0..3, or -1 when none exists. */
int GetDebugEanleLevel(void);
/* Output path from the PATH_ files: 0 console, 1 platform log, 2 both, or -1 when none exists. */
int GetDebugEanlePath(void);
/* Fills a 256-byte area (16 slots of 16 bytes) with the enabled module names; returns 0. */
int LoadDebugSource(char *slots);
/* 1 if the ENABLE_ file of module exists, 0 if not, -1 for NULL. */
int GetDebugSourceIsEnable(const char *module);
/* 1 if module is one of DebugSourceFile, 0 if not, -1 for NULL. */
int GetSourceIsVaild(const char *module);
/* Syslog priority of a level (without facility bits), 0xFFFFFFFF above 3. */
unsigned int TranslateToSyslogLevel(unsigned int level);
/* Prints the ten debug-flag bytes of the shared block; returns the last print's result. */
int ShowAllDebugInfo(void);
/* Sets debug-flag bytes from "debugN_VALUE" text; the result carries no meaning. */
char *SetDebugInformation(char *text);

/* ==== Device state: power supplies, board/CPU/ME, disks and backplanes, FRU and EEPROM records, fans === */

/* -- Power supplies (block region 67604..68879; up to 8 records of 159 bytes) -- */
/* PSU count from the block, clamped to 8. */
int ReadQuorixPSUNum(void);
/* Same as ReadQuorixPSUNum. */
int QuorixGetPsuNum(void);
/* Configured PSU number (block byte 68877). */
int ReadQuorixPSUConfigNum(void);
/* Normal PSU number (block byte 68878). */
int ReadQuorixPSUNormalNum(void);
/* Redundant PSU number (block byte 68879). */
int GetQuorixPSURedundantNum(void);
/* Present byte of supply index (index == count accepted); -1 if index > min(count, 8). */
int ReadQuorixPSUPresent(int index);
/* PSU type byte of supply index, unchecked; -1 only if the record would lie outside the block. */
int ReadQuorixPSUType(unsigned int index);
/* PMBus STATUS_WORD of a present supply; 0 if absent or out of range. */
int ReadQuorixPSUStatusWord(int index);
/* PMBus VOUT status byte of a present supply; 0 if absent or out of range. */
int ReadQuorixPSUVoutStatus(int index);
/* PMBus IOUT status byte of a present supply; 0 if absent or out of range. */
int ReadQuorixPSUIoutStatus(int index);
/* PMBus input status byte of a present supply; 0 if absent or out of range. */
int ReadQuorixPSUInputStatus(int index);
/* PMBus temperature status byte of a present supply; 0 if absent or out of range. */
int ReadQuorixPSUTemperatureStatus(int index);
/* PMBus fan status byte of a present supply; 0 if absent or out of range. */
int ReadQuorixPSUFanStatus(int index);
/* Sum of the input power of the present supplies, watts, truncated to int. */
int ReadQuorixPSUPower(void);
/* Copies the 18 serial-number bytes of supply index (< 8) or "NULL" and its zero into serial (caller-owned,
 * 18 bytes); 0, or -1 if serial is NULL. */
int QuorixGetPSUSN(int index, unsigned char *serial);
/* Fills the caller's 126-byte PSU summary record (readings rounded, Vout and currents x100); 0, or -1 if info
 * is NULL or index > count. Absent or out-of-range supplies get bytes 2..31 = 255 and the rest 0. */
int ReadQuorixPSUInfo(int index, unsigned char *info);
/* Prints every supply's record to standard output; returns the last print's result. */
int ShowAllPSUInfo(void);
/* Reads supply information through the platform (caller's buffer of length bytes); runs the type-2 handling
 * when a present supply of type 2 exists; returns the platform's read result. */
int GetHwPSUInfo(int psu_index, unsigned char *buffer, int length);
/* Programs supply psu_index from the image file (must be readable); PSUUpdating is 1 meanwhile; prints the
 * outcome; returns the platform's result (0 done), or -1 when the image is missing. */
int QuorixUpdatePSU(const char *image, unsigned char psu_index);
/* Console "--flash-psu NAME": prints three lines; 0 when NAME holds no "psu", else QuorixUpdatePSU of
 * "/var/psuimage" with the number after a leading "psu" (0 when none). */
int psu_flash(const char *name);

/* -- Board, CPUs, ME, CPLDs -- */
/* CPU count, at most 4. */
int QuorixGetCpuNum(void);
/* Present byte of CPU index; 0 if index >= min(count, 4). */
int QuorixGetCpuPresentStatus(int index);
/* Fills the CPU present bytes from the platform once per process; returns 0. */
int GetCpuStat(void);
/* Bitmap of present CPUs (bit i = CPU i), also stored at block byte 6419669. */
int GetConfiguredCPUBitMap(void);
/* Number of bits set in value. */
int GetBitCount(unsigned long long value);
/* Front backplane count, at most 8 (no log). */
int QuorixGetFrontBpNum(void);
/* Rear backplane count, at most 5 (no log). */
int QuorixGetRearBpNum(void);
/* OCP card count, at most 2. */
int QuorixGetOcpCardNum(void);
/* Reads each OCP slot's presence through slot 115 (>0 card, 0 none) into block 0x200440 + slot and sets the
 * OCP count; returns the cards present, or -1 when a read failed (that slot keeps its last state). */
int QuorixSyncOCPDeviceInfo(void);
/* System restart cause byte. */
int QuorixGetSysRstartCause(void);
/* Memory power, watts, truncated. */
int GetMemoryPower(void);
/* Writes the ME firmware version text ("4.1.5.123") into buffer (caller-owned, size >= 15 bytes, zeroed first);
 * 0, or -1 with a console line on a NULL buffer or a smaller size. fw_index and reserved only appear in that line. */
int QuorixGetMeRevision(int fw_index, int reserved, char *buffer, int size);
/* Pushes the PCIe slot presence to the CPLD when the system power turns on; returns 0. */
int QuorixSetPCIESlotPresentToCPLD(void);
/* Prints the main-board, backplane and fan-plane CPLD fields of the block; returns the last print's result. */
int ShowAllCPLDInfo(void);

/* -- Disks and backplanes (front table 8 x 36, rear 5 x 36 records of 136 bytes); cpld_type 1 front, 2 rear -- */
/* Copies a whole table image (39168 front / 24480 rear bytes) into the block; 0, or -1 on NULL or another type. */
int WriteHwHDDInfo(const unsigned char *image, int cpld_type);
/* Copies a whole table out of the block into image (caller-owned, table size); 0, or -1 on NULL or another type. */
int QuorixGetHDDInfoFromShareMem(unsigned char *image, int cpld_type);
/* Front backplane count; above 8 it logs (critical) and gives 8. */
int QuorixReadFrontHDDBlackPlaneNum(void);
/* Rear backplane count; above 5 it logs (critical) and gives 5. */
int QuorixReadRearHDDBlackPlaneNum(void);
/* Highest NVMe temperature (deg C) among present front disks first..last; 0 if first > last. */
int GetMaxFrontHDDNVMETemp(int first, unsigned int last);
/* Number of present front disks first..last; 0 if first > last. */
int GetMaxFrontHDDNVMEPresentNum(int first, unsigned int last);
/* Copies the 24 serial bytes of disk (0..77 front, 78..86 rear 0..8) or "NULL" and its zero into serial
 * (caller-owned, 24 bytes); 0, or -1 if serial is NULL. */
int QuorixGetHDDSN(int disk, unsigned char *serial);
/* Disk slots of the backplanes in use for the type; -1 (with a console line) on another type. */
int QuorixGetHDDNumSupport(int cpld_type);
/* One disk-sensor scan of a table: debounces, counts and sends SEL events (sensors 150/151); 0, or -1 on another type. */
int QuorixSetHDDSensor(int cpld_type);
/* Posts a disk sensor event titled "DISK%d_Status" to the IDL log service; QuorixPostReqToIDL's result. */
int QuorixHddStatusPostIdl(unsigned char event, unsigned char state, int disk, unsigned char sensor_number);
/* Disk-sensor monitor state byte. */
int QuorixGetHDDSensorMonitorState(void);
/* 1 if a front backplane record has 6 disk slots, else 0. */
int RackHarlo_Get_BackPlanePort(void);
/* Slot of name in a table of count 9-byte entries (8-byte name, slot byte); 255 if none or count < 1. */
int RackHarlo_Get_Slot(const char *name, const unsigned char *table, int count);
/* Orders 32 source rack disk records (114 bytes each) by slot into 18 destination records (caller-owned,
 * 18 x 114 bytes), marking empty slots "N/A"; 0, or -1 on NULL. */
int RackHarlo_Formate_DiskInfo(const unsigned char *source, unsigned char *destination);

/* -- FRU, asset records, scan enables, ME access, presence checks -- */
/* Reads length FRU bytes into buffer; length on success, -1 (console line) on any other count, -2 if the
 * platform has no FRU read. */
int quorix_read_fru(int device, int offset, int length, unsigned char *buffer);
/* Writes length FRU bytes; the platform's result, -1 for devices 30..33 or a failed write (console line),
 * -2 if the platform has no FRU write. */
int quorix_write_fru(int device, int offset, int length, unsigned char *buffer);
/* Writes asset data to the EEPROM; at offset 29120 a success also sets the force-BIOS-info-to-CPLD flag. */
int QuorixWriteAssetInfo2EEpromInterface(int offset, unsigned char *buffer, int length);
/* Erases length bytes of the 24256 EEPROM at offset to 0xFF through slot 16, page by page (64 bytes); 0, or
 * -1 for a range outside 0..32767 or a failed page (logged). Clearing offset 29120 sets the force flag. */
int QuorixClearEEPROMInfo(int offset, int length);
/* ME access status byte (0 or 1). */
int read_me_access_status(void);
/* Sets the ME access status; 0, or -1 if value > 1 (nothing written). */
int write_me_access_status(unsigned int value);
/* Enable byte of device scan index (0..24); -1 if index > 24. */
int read_device_scan_enable(unsigned int index);
/* Sets device scan index (0..24) to value (0 off, 1 on, 2); 0, or -1 (nothing written). */
int write_device_scan_enable(unsigned int index, unsigned int value);
/* Turns all 25 device scans on; returns 0. */
int StartQuorixMonitorScan(void);
/* Turns all 25 device scans off; returns 0. */
int StopQuorixMonitorScan(void);
/* 0 if any backplane record is present (marker 254), else -1. */
int checkBackPlanePresent(void);
/* 0 if either fan-plane record is present (marker 254), else -1. */
int checkFanPlanePresent(void);

/* -- Fan information (block 0x200000: count, then up to 16 records of 32 bytes: present, health, front and
 *    rear rpm (u16), duty %, rotor model, max rpm (u16), 16-byte name, 6 reserved) -- */
/* Fan count, at most 16. */
int QuorixGetFanNumber(void);
/* Copies fan record index (32 bytes) into info (caller-owned); 0, or -1 on NULL or index outside the count. */
int read_quorix_fan_info(int index, unsigned char *info);
/* Stores fan record index (0..15) from info, raising the count to index + 1 if needed; 0, or -1. */
int write_quorix_fan_info(int index, const unsigned char *info);
/* Sets fan index (below the fan count) to duty_percent (0..100) through slot 7 and, when the slot returns 0,
 * stores the duty in the fan record; the slot's result, or -1 (no call) for a bad index or duty. */
int quorixSetFanSpeedInterface(int fan_index, int duty_percent);
/* Prints every fan record and the platform's summary health; returns that health value. */
int show_fan_info(void);

/* -- PCIe GPUs and accelerators (block 0x200400 GPUs, 0x200420 accelerators: 16 x {present, link up}) -- */
/* Queries every GPU whose present and link-up flags are both 1 through slot 146 (the index); returns 0. */
int QuorixGetPcieGPUThread(void);
/* Queries every accelerator whose present and link-up flags are both 1 through slot 228 (the index); returns 0. */
int QuorixGetPcieAcceleratorsThread(void);

/* ==== Crash and signal handling ========================================== */

/* Copies min(length, 32) bytes of module_name into the crash-report module name and installs the handler
 * table; 0, or -1 (nothing installed) for a NULL name. length counts the terminator. */
int QuorixInitSignals(const char *module_name, int length);
/* Installs handler for signal signum with every signal blocked while it runs and SA_RESTART; returns 0
 * (a failure is printed, not returned). */
unsigned int InstallSignal(int signum, void (*handler)(int));

/* ==== Pipes, message queues and daemon requests ========================== */

/* IDL log request record (296 bytes, passed by value): byte 0 log type (0 keep the time stamp, 1 stamp with
 * local time), byte 4 source, bytes 8-11 time stamp (u32 LE, seconds), bytes 12-295 body. */
typedef struct QuorixIdlRecord {
    unsigned char bytes[296];
} QuorixIdlRecord;
/* MCA request record (passed by value); all 256 bytes are sent. */
typedef struct QuorixMcaRecord {
    unsigned char bytes[256];
} QuorixMcaRecord;
/* SEL request (passed by value): bytes 0-8 generator id (2), EvM rev, sensor type, sensor number,
 * event direction and type, event data 1-3; bytes 9-11 unused. */
typedef struct QuorixSelEvent {
    unsigned char bytes[12];
} QuorixSelEvent;

/* Creates the FIFO path (mode 0777) unless something already exists there; 0, or -1 with a console line. */
int QuorixCreatePipe(const char *path);
/* Returns the id of the message queue of key, creating it (0666); -1 on failure (logged). */
int QuorixCreateMsgQueue(int key);
/* Sends size (0..1024) bytes of data to the queue of key without blocking; 0, or -1 (logged). */
int QuorixWriteMsgQueue(int key, const void *data, int size);
/* Waits for the next message on queue msgid and copies min(size, 1024) payload bytes into buffer (zeroed
 * first, size bytes, caller-owned); 0, or -1 (printed and logged). */
int QuorixReadMsgQueue(int msgid, void *buffer, int size);
/* Posts the record to the IDL log service (queue 12345); 1 for a log type above 1 (nothing sent), else
 * QuorixWriteMsgQueue's result. */
int QuorixPostReqToIDL(QuorixIdlRecord record);
/* Posts the record to the MCA service (queue 12347); QuorixWriteMsgQueue's result. */
int QuorixPostReqToMCA(QuorixMcaRecord record);
/* Asks the IPMI main daemon to add the SEL event (18-byte record on its pipe); bytes written (18), or -1. */
int QuorixAddSELToIPMIMain(QuorixSelEvent event);
/* Asks the IPMI main daemon to reload (18-byte record on its pipe); bytes written (18), or -1. */
int QuorixSendReloadToIPMIMain(void);
/* Asks the one-key-log collector to collect (300-byte record on its pipe); bytes written (300), or -1. */
int QuorixPostReqToOneKeyLog(void);
/* Asks the Redfish SEL collector to collect (300-byte record on its pipe); bytes written (300), or -1. */
int QuorixPostReqToRFSELCollectLog(void);
/* Renames the calling thread and adds the update-task SEL event (kind 0x07 failure, 0x87 recovery); always 0. */
int QuorixAddTaskFailToSEL(unsigned char kind, unsigned char task_id, unsigned char status);
/* Sends a notice (message type 0..3; task id 0..14 or 255, sent for type 2 only) to the power-off scan
 * task; 0 when all 1025 bytes went out, else -1 with a console line. */
int QuorixNotifyTaskThread(unsigned int msg_type, unsigned int task_id);

/* ==== Configuration services: words, validators, secrets, syslog, SNMP, SMTP, BIOS = */


/* Word tables: index = position of the word; NULL entries are holes. */
extern const char *EnableStr[2];              /* "Disable", "Enable" */
extern const char *EnabledStrLittleLetter[2]; /* "disable", "enable" */
extern const char *AutoStrLittleLetter[2];    /* "manual", "auto" */
extern const char *CfgTypeStr[3];             /* "Version", "Dest", "Test" */
extern const char *TrapVersionStr[4];         /* "Disable", "V1", "V2C", "V3" */
extern const char *EventLevelStr[4];          /* "Info", "Warning", "Critical", NULL */
extern const char *AuthProtocols[3];          /* "SHA", "MD5", "NONE" */
extern const char *PrivProtocols[3];          /* "AES", "DES", "NONE" */
extern const char *HostIDs[3];                /* "HostName", "SerialNum", "AssertTag" */
extern const char *SyslogTagStr[3];           /* "HostName", "SerialNumber", "PartNumber" */
extern const char *SyslogEnableStr[3];        /* "SyslogEnable", "LocalEnable", "RemoteEnable" */
extern const char *SyslogProtocalStr[4];      /* "UDP", "TCP", "TLSOneWay", "TLSTwoWay" */
extern const char *SyslogTypeStr[4];          /* "None", "Idl", "Audit", "Idl + Audit" */
extern const char *SyslogLevelStr[4];         /* "Info", "Warning", "Critical", "Alert" */

/* Word to index (exact, case-sensitive) into *index; 0 found, 1 not found or NULL (count 0: 1, count < 0: 0). */
unsigned ValidateStrToOrder(const char *const *table, const char *word, int count, unsigned char *index);
/* Index to word, snprintf into dest (size bytes); 0 done, 1 bad index, hole or NULL dest/table. */
unsigned ValidateIndexToString(const char *const *table, int index, int count, char *dest, unsigned size);
/* Fixed-list word-to-index wrappers: 0 found (index stored), 1 not found (index untouched). */
unsigned ValidateEnableDisable(const char *word, unsigned char *index);
unsigned ValidateEnableDisableLittleLetter(const char *word, unsigned char *index);
unsigned ValidateAutoManualLittleLetter(const char *word, unsigned char *index);
unsigned ValidateSnmpCfgType(const char *word, unsigned char *index);
unsigned ValidateSnmpTrapVersion(const char *word, unsigned char *index);
unsigned ValidateEventLevelStrToIndex(const char *word, unsigned char *index);
unsigned ValidateSyslogTagStrToIndex(const char *word, unsigned char *index);
unsigned ValidateSyslogEnableStrToIndex(const char *word, unsigned char *index);
unsigned ValidateSyslogProtocalStrToIndex(const char *word, unsigned char *index);
unsigned ValidateSyslogTypeStrToIndex(const char *word, unsigned char *index);
unsigned ValidateSyslogLevelStrToIndex(const char *word, unsigned char *index);
/* Fixed-list index-to-word wrappers into dest (size bytes); 0 done, 1 bad index, hole or NULL dest. */
unsigned ValidateEnableDisableIndexToString(int index, char *dest, unsigned size);
unsigned ValidateSnmpTrapIndexToString(int index, char *dest, unsigned size);
unsigned ValidateEventLevelLimitIndexToString(int index, char *dest, unsigned size);
unsigned ValidateSyslogTagIndexToString(int index, char *dest, unsigned size);
unsigned ValidateSyslogEnableIndexToString(int index, char *dest, unsigned size);
unsigned ValidateSyslogProtocalIndexToString(int index, char *dest, unsigned size);
unsigned ValidateSyslogTypeIndexToString(int index, char *dest, unsigned size);
unsigned ValidateSyslogLevelIndexToString(int index, char *dest, unsigned size);
/* Membership in AuthProtocols, PrivProtocols, HostIDs: 0 member, 1 not or NULL. */
unsigned ValidateAUTHProtocol(const char *word);
unsigned ValidatePrivProtocol(const char *word);
unsigned ValidateHostID(const char *word);
/* Severity word (any case) to syslog severity in *level: Critical 2, Alert 1, Warning 4, else 6; 0, or 1 for NULL. */
int QuorixIDLSeverity2SyslogLevel(const char *word, int *level);
/* Severity to word (2 Critical, 4 Warning, 1 Alert, else Info), strncpy of size - 1; 0, -1 for NULL or size 0. */
int QuorixSyslogLevel2IDLSeverity(int severity, char *dest, unsigned size);
/* 0 when each of length bytes is 0 or 33..126, 1 otherwise or for NULL. */
unsigned ValidateSNMPTrapCfgInput(const unsigned char *bytes, int length);
/* 0 for a known SNMP trap device-type code, 1 otherwise. */
unsigned ValidateSNMPTrapCfgDeviceType(unsigned code);

/* Input validators; each has its own result convention. Messages go to stdout. */
/* User name (mode 0), SMTP user name (1) or SMTP host name (other), at most max_length chars; 0 valid, 1 not. */
int QuorixIsValidUserName(const char *name, unsigned max_length, int mode);
/* Checks the first 16 characters of a sender address; 0 valid, 1 not. */
int QuorixIsValidSenderAddress(const char *address);
/* Mail address (first 64 characters): 1 valid, 0 invalid. */
int Quorix_validate_email(const char *address);
/* 0 when text is an IPv4 address, -1 otherwise or NULL. */
int QuorixIsValidIpv4(const char *text);
/* 0 when text is an IPv6 address, -1 otherwise or NULL. */
int QuorixIsValidIpv6(const char *text);
/* 0 when a letter follows the last "." (not the first character), -1 otherwise or NULL. */
int QuorixIsValidDomain(const char *name);
/* 0 when 3 of lower, upper, digit, non-word classes occur and no blank or control byte; else -1. */
int QuorixIsValidPasswd(const char *password);
/* 1 when text is a number in base 10 (any non-empty text), 16 or 2; 0 otherwise. */
int VerifyStrIsDigit(const char *text, unsigned base);
/* 1 when text holds one of * ( ) & = |, 0 when clean, -1 for NULL. */
int FilterSensitiveWordsForSec(const char *text);
/* 0 when word is in table (count entries), 1 otherwise or NULL. */
int QuorixValidateStringParams(const char *const *table, const char *word, int count);
/* Index of the first maximum and first minimum of count bytes; untouched when count <= 1 or NULL. */
void FindMaxAndMinUint8(const unsigned char *values, int count, unsigned *max_index, unsigned *min_index);
/* Same for count floats. */
void FindMaxAndMinFloat(const float *values, int count, unsigned *max_index, unsigned *min_index);
/* Sleeps seconds, resuming after signals; returns 0. */
int QuorixSleep(unsigned seconds);
/* Sleeps seconds + nanoseconds, resuming after signals; 0, or -1 when both are 0. */
int QuorixNanoSleep(long seconds, long nanoseconds);
/* Splits a DIMM sensor index: bits 7..5, 4..2, 1..0 into the outputs (NULL ones skipped); returns 0. */
int QuorixGetDimmSensorIndexField(unsigned char index, unsigned char *cpu, unsigned char *channel, unsigned char *dimm);

/* MD5 function pointer as bound at run time (cast to the MD5 signature before calling). */
typedef void (*QuorixMd5Fn)(void);
/* One row of the MD5 binding table: index into g_Md5Handle and the symbol name (258 bytes). */
typedef struct QuorixMd5Binding {
    unsigned short index;
    char name[256];
} QuorixMd5Binding;
/* Handle of "/usr/lib/arm-linux-gnueabi/libcrypto.so"; NULL while closed. */
extern void *dl_md5;
/* MD5_Init, MD5_Update, MD5_Final as bound by QuorixInitializeMd5library. */
extern QuorixMd5Fn g_Md5Handle[3];
/* Rows (0, "MD5_Init"), (1, "MD5_Update"), (2, "MD5_Final"). */
extern const QuorixMd5Binding g_Md5Initialize[3];
/* Opens libcrypto if needed and binds the three MD5 functions; 0, or -1 (library closed again). */
int QuorixInitializeMd5library(void);
/* Closes libcrypto if open. */
void QuorixCloseMd5Library(void);
/* MD5 of length bytes from the stream's position (64-byte reads) into digest[16]; silent on failure. */
void QuorixCalcMD5Checksum(FILE *stream, unsigned length, unsigned char *digest);
/* Bytes to lower-case hex (writes 2 x length + 1 bytes); 1 when capacity < 2 x length, else 0. */
int QuorixConvertHextoStr(const unsigned char *in, char *out, int length, int capacity);
/* IPMI zero checksum: (0 - sum of bytes) & 255; 0 for length < 1. */
unsigned char QuorixCalculateZeroChksum(const unsigned char *bytes, int length);
/* Packs the bits of value under mask into the low end (0xB0, 0xE0 -> 0x05). */
unsigned char QuorixGetBits(unsigned char value, unsigned char mask);
/* Deposits the low bits of value into the set bits of mask (0xE0, 0x05 -> 0xA0); mask comes first. */
unsigned char QuorixSetBits(unsigned char mask, unsigned char value);

/* Password protection. With the encryption feature off every call returns 0 and leaves its output alone. */
/* Encrypts length (<= 64) bytes of buf in place, same length; 0, or -1 (also for an empty buf). */
int QuorixPwEncrypt(unsigned char *buf, int length);
/* Decrypts length (<= 64) bytes of buf in place; 0 or -1. */
int QuorixPwDecrypt(unsigned char *buf, int length);
/* Encrypts length (1..96) bytes of plain with key, base64 into the caller's zeroed out (at most
 * 2 x length characters, no terminator added); 0 or -1. */
int QuorixPwEncryptAndCyo(const char *plain, char *out, const char *key, int length);
/* Decodes and decrypts b64 with key into out (size bytes, zero-filled behind the text); 0, or -1 (out cleared). */
int QuorixPwDecryptAndCyo(const char *b64, char *out, const char *key, unsigned size);

/* Syslog configuration (shared block 0x621E01..0x621EF8 and "/conf/syslog.conf"). */
/* IPMI-style set: selector 0 globals (5 bytes), 1 destination (55), 2 test (2); returns the completion code. */
unsigned QuorixSetSyslogConfigInterface(const unsigned char *request, int length);
/* Selector 0: code + 4 globals (returns 5); 1: code + 4 x 53-byte destinations (returns 213); else -1. */
int QuorixGetSyslogConfigInterface(int selector, unsigned char *response);
/* Rewrites "/conf/syslog.conf" from a 217-byte record, restarts rsyslog; 0, 204 bad test target, 255 not written. */
unsigned QuorixSyslogWriteToFile(const unsigned char *record);
/* Start-up: defaults into the block, then the header of "/conf/syslog.conf"; 0, or -1 when it is missing. */
unsigned QuorixSyslogConfigInit(void);
/* Stops and starts rsyslog ("/etc/init.d/rsyslog"); 0, or -1 when a command failed. */
int QuorixRestartSyslog(void);
/* Sets the tag text: 1 FRU serial number, 2 FRU part number, else the host name; 0, or -1 (no host name). */
unsigned QuorixSetSyslogTag(unsigned tag);
/* Copies the 32-byte tag text into dest; 0, or -1 for NULL or size < 32. */
int QuorixGetSyslogTag(char *dest, int size);
/* password rule, configuration flags, BIOS settings */
/* 1 once this process's password-rule cache holds the EEPROM record; set it to 0 to force a re-read. */
extern unsigned char quorix_passwd_rule_got_flag;
/* OEM set of the 12-byte password rule (byte 0 parameter 0..7 or 255 whole record, data from byte 1; length
 * counts byte 0); stores to EEPROM 0x1680; returns the completion code (0, 0xC7, 0xC9, 0xFF). May rewrite
 * request byte 2 (minimum length 8 for a disabled whole record). */
int QuorixSetUserPasswordRuleInterface(unsigned char *request, int length);
/* OEM get of the password rule into response (13 bytes, caller-owned): 13 with byte 0 = 0 and the record;
 * 1 with byte 0 = 0x83 when the EEPROM read fails; -1 for NULL. */
int QuorixGetUserPasswordRuleInterface(unsigned char *response);
/* Preserve-setup flag (EEPROM 648, cached) into *flag; 0, or -1 after three failed reads or for NULL. */
int QuorixGetConfFlagInterface(unsigned char *flag);
/* Stores the preserve-setup flag (0..1; 1 first prepares the BIOS future settings); 0, or 1 on failure. */
int QuorixSetConfFlagInterface(unsigned char value);
/* Merges the pending BIOS settings over the current ones into the future-settings file; 0, or -1. */
int GenerateFutureSetJson(void);
/* Copies BIOS attribute name's current value as text into out (size bytes, NUL-terminated); 0, -1 NULL,
 * -2 no file, -3 unparsable, -4 no "Attributes", -5 no such attribute, -6 value does not fit. */
int GetCurrentSetValue(const char *name, char *out, int size);
/* Prints "name : value" of a current BIOS attribute, or the error; returns the count printed. */
int GetBiosSetupOption(const char *name);
/* 0 when the BIOS future-settings file holds "Attributes", else -1 (logged). */
int QuorixGetAttributeValueFromJson(void);
/* 0 when the last BIOS setting result is "EFI_SUCCESS", else -1. */
int QuorixGetResultFromJson(void);
/* SNMP trap, SNMP agent and SMTP */
/* Set handlers answer an IPMI completion code (0, 0xC7, 0xC9, 0xCC, 0xD5, 0xFF); get handlers leave response
 * byte 0 for the caller's code and return the bytes used. Buffers are the caller's. Secrets stay protected
 * except where a call says it decrypts them. */
/* OEM get: selector 0 trap record (179 bytes at response + 1, returns 180), 1 destinations (208, returns 209);
 * -1 for another selector or NULL. */
int QuorixGetBMCSnmpTrapCfgInterface(int selector, unsigned char *response);
/* OEM set of the trap record (byte 0 = 0), a destination (1) or an alert test to a destination (2); saves
 * "/conf/SnmpTrapCfg.json" on a change. */
unsigned QuorixSetBMCSnmpTrapCfgInterface(const unsigned char *request, int length);
/* One trap-record parameter (request byte 1, data from byte 2); sets *changed to 1 when it stored something. */
unsigned SetSNMPTrapCfg(const unsigned char *request, int length, unsigned char *changed);
/* Checks a 179-byte trap record (upper-cases its protocol names in place) and stores it; completion code. */
unsigned ValidateSNMPTrapCfgAll(unsigned char *record);
/* Checks an engine ID (hex, even count 10..48) and stores it when it differs; 0, 1 bad character, 2 bad length. */
unsigned ValidateSNMPTrapCfgEngineID(const unsigned char *text, int length);
/* Zeroes size bytes of buffer; returns 0. */
int ClearSNMPTrapCfgUnsupportedParams(unsigned char *buffer, int size);
/* Loads "/conf/SnmpTrapCfg.json" (else "/etc/defconfig/SnmpTrapCfg.json") into the shared block; 0 or -1. */
int QuorixGetSnmpTotalConfFromJson(void);
/* Writes a trap record and a 208-byte destination block as JSON to path (replaced atomically); 0 or -1. */
int QuorixSetSnmpTotalConfToJson(const unsigned char *record, const unsigned char *destinations, const char *path);
/* Copies the 208-byte destination block into buffer; 0, or -1 for NULL. */
int QuorixGetSnmpTrapDstCfg(unsigned char *buffer);
/* Copies the 179-byte trap record into buffer with its secrets decrypted; 0, or -1 for NULL. */
int QuorixGetSnmpTrapCfgFromMem(unsigned char *buffer);
/* OEM get of the 105-byte SNMP agent record at response + 1 (secrets protected); 106, or -1 for NULL. */
int QuorixGetBMCSnmpCfgInterface(unsigned char *response);
/* Copies the 105-byte agent record as stored into buffer; 0, or -1 for NULL. */
int QuorixGetSnmpCfgFromMem(unsigned char *buffer);
/* OEM set of the agent record (byte 0 parameter, 254 whole record, 255 restart the agent); saves
 * "/conf/SnmpAgentCfg.json" on a change or when save_flag is 1. unused is ignored. */
unsigned QuorixSetBMCSnmpCfgInterface(const unsigned char *request, int length, void *unused, unsigned char save_flag);
/* Loads "/conf/SnmpAgentCfg.json" (else the factory default) into the shared block; 0 or -1. */
int QuorixGetSnmpAgentTotalConfFromJson(void);
/* Writes a 105-byte agent record as JSON to path (replaced atomically); 0 or -1. */
int QuorixSetSnmpAgentTotalConfToJson(const unsigned char *record, const char *path);
/* OEM get: selector 0 SMTP record (268 bytes, password zeroed, returns 269), 1 recipients (332, returns 333);
 * -1 for another selector or NULL. */
int QuorixGetBMCSmtpCfgInterface(int selector, unsigned char *response);
/* Copies the 268-byte SMTP record into buffer with the password decrypted; 0, or -1 for NULL. */
int QuorixGetSmtpCfgFromMem(unsigned char *buffer);
/* Copies the 332-byte recipient block into buffer; 0, or -1 for NULL. */
int QuorixGetSmtpDstCfgFromMem(unsigned char *buffer);
/* OEM set of the SMTP record (byte 0 = 0), a recipient (1) or an alert test to a recipient (2); saves
 * "/conf/SmtpCfg.json" on a change. */
unsigned QuorixSetBMCSmtpCfgInterface(const unsigned char *request, int length);
/* Loads "/conf/SmtpCfg.json" (else the factory default) into the shared block; 0 or -1. */
int QuorixGetSmtpTotalConfFromJson(void);
/* Writes the SMTP record and recipients of the shared block to "/conf/SmtpCfg.json"; 0 or -1. */
int QuorixSetSmtpTotalConfToJson(void);

/* ==== Firmware update tasks and update runs ============================== */

/* Task table: 15 records of 307 bytes (task ids 0-14) in the shared block. Task status: 0 none, 1 waiting,
 * 2 running, 3 finished, 4 failed, 5 accepted. Refusals print their message on stdout and leave the block alone. */

/* Stores the power-on-required flag (0 or 1); 0, or -1 for another value. */
int QuorixSetPowerOnFlag(int flag);
/* Returns the power-on-required flag byte. */
int QuorixIsRequirePowerOn(void);
/* Returns the task's sub-state (0-13), or -1 for a task id above 14. */
int QuorixGetUpdateStatus(int task_id);
/* Stores the task's sub-state (0-13); 0, or -1 for a bad id or sub-state. */
int QuorixSetUpdateStatus(int task_id, int sub_state);
/* Returns the task's status (0-5), or -1 for a bad id. */
int QuorixGetTaskStatus(int task_id);
/* Stores the task's status (0-5); 4 sends the failure SEL event each time, 3 after a 4 set by this process
 * the recovery event; 0, or -1 for a bad id or status. */
int QuorixSetTaskStatus(int task_id, int status);
/* Returns the task's trigger moment byte, or -1 for a bad id. */
int QuorixGetTaskTriggerMoment(int task_id);
/* Stores the image file name (cut to 127 characters, terminated); 0, or -1 for a bad id or null name. */
int QuorixSetFileName(int task_id, const char *name);
/* Stores the low byte of percent as the task's progress; 0, or -1 for a bad id. */
int QuorixSetFlashProgress(int task_id, int percent);
/* Copies the updater's fields of a 307-byte task record (caller-owned) into the task's slot, progress back to
 * 0, status untouched; 0, or -1 for a bad id or null record. */
int QuorixUpdateTaskInfo(int task_id, const unsigned char *record);
/* Copies the task's 307-byte record into buffer (caller-owned); 0, or -1 for a bad id or null buffer. */
int QuorixGetUpgradeInfo(unsigned char *buffer, int task_id);
/* Reads the first 97 bytes of "/var/flasher.progress" into buffer (97 bytes, caller-owned; byte 0 stage,
 * bytes 93-96 state); 255 all written, 254 flasher failure, 0 otherwise, -1 when the file cannot be opened. */
int QuorixGetFlashProgress(unsigned char *buffer);
/* Scans tasks 1, 2, 5-11: returns the first status 1 or 2, or 2 (pending flag set) when an image waits; else 0. */
int QuorixHasPendingTask(void);
/* Copies records into buffer (307 bytes) until a running BIOS/CPLD/PSU/VR/FPGA task; its id, or -1 for none. */
int QuorixGetBackgroundTaskActive(unsigned char *buffer);
/* Background-task query of one id (0-14) or all (255) into out (4607 bytes, caller-owned): byte 1 the count,
 * records from byte 2; returns 2 + 307 x count, or -1 for a null buffer or bad id. */
int QuorixBackgroundTaskQuery(unsigned char *out, int task_id);
/* Status report of tasks 0-11 into out (572 bytes, caller-owned): byte 1 the count, 38-byte entries from
 * byte 2; returns 2 + 38 x count, or -1 for a null buffer. */
int QuorixUpdateStatusQuery(unsigned char *out);
/* Asks the power-off scan task to cancel a waiting task; 0, -1 for a bad id, -2 when not waiting. */
int QuorixBackgroundTaskCancel(int task_id);
/* Writes a 1025-byte notice (type, task type 11, value as sub-state) to "/var/poweroffscanpipe"; 0 or -1. */
int QuorixNotifyAsynTask(int msg_type, int value);
/* IPMI handler: request [operation 0 query / 1 cancel, task id]; completion code in resp[0] (resp holds 4607
 * bytes); returns the response length. */
int QuorixBackgroundTaskOperaInterface(const unsigned char *req, int req_len, unsigned char *resp);
/* IPMI handler: request [0]; the status report into resp (572 bytes), code in resp[0]; returns its length. */
int QuorixGetUpdateInfoInterface(const unsigned char *req, int req_len, unsigned char *resp);

/* CPLD kinds: 0 main board (task 2), 1 front backplanes (3), 2 rear backplanes (4), 3 fan planes (10). */
/* Programs every CPLD of the kind that the image at image_path names (board id or 12-character board text
 * after "cpld") through slot 55, one IDL line each; OR of the results, -1 board-id mismatch, -2 bad kind or
 * nothing programmed. reserved is not used. */
int QuorixUpdateCpld(int kind, int reserved, const char *image_path);
/* Programs FPGA kind (0 main board, board id checked) through slot 169 with one IDL line; the platform's
 * result, -1 for a board-id mismatch. */
int QuorixUpdateFpga(int kind, const char *image_path);
/* Posts the IDL line "... upgrade from version X to version Y result" of CPLD kind/index, the new version
 * read from "<image_path>.version"; nothing when that file is missing or empty. */
void QuorixCPLDUpdatePostIdl(int kind, int index, const char *image_path, int flag, const char *result);
/* Same for the main-board FPGA (kind 0). */
void QuorixFPGAUpdatePostIdl(int kind, const char *image_path, int flag, const char *result);
/* Progress estimate of a CPLD task (2, 3, 4, 10) from its start time and expected duration: 0-95 while
 * running, 100 finished; -1 for another id. */
int QuorixGetCpldUpgradeProgress(int task_id);
/* Progress estimate of an FPGA task (7, 8, 9, 14); -1 for another id. */
int QuorixGetFpgaUpgradeProgress(int task_id);
/* Refreshes the CPLD version of kind through slot 123 (kind 0) or 122 (1, 2); 0 for kind 3, -1 otherwise. */
int QuorixUpdateCpldVersion(int kind, int index, unsigned char *version);
/* Writes the main-board CPLD version "major.minor" into buffer (size bytes); 0, or -1 (null, unknown 255). */
int QuorixGetBoardCpldVersion(char *buffer, int size);
/* Writes the backplane CPLD version (location 7 front, 8 rear; index below the count); 0 or -1. */
int QuorixGetHddCpldVersion(int location, int index, char *buffer, int size);
/* Writes the main-board FPGA version when the FPGA is enabled; 0 or -1. */
int QuorixGetBoardFPGAVersion(char *buffer, int size);
/* Writes the CPLD version of fan plane index (0 or 1); 0 or -1. */
int QuorixGetBoardFanPanelCPLDVersion(int index, char *buffer, int size);
/* Looks for an image for task id (2-10) in "/usr/local/lmedia/" (first by name; VR: QuorixInVRCheckUpgrade);
 * when one waits and the slot is free, records it with sub-state 4 and status 1; 1 when recorded, else 0. */
int Quorix_HasUpdateFile(int task_id);

/* Device upgrades below share one pattern: a readable image is required (-1 and a console line otherwise);
 * the task's start time is stored and its progress set to 0, status 2 through QuorixSetTaskStatus; the
 * platform slot programs the part; then progress 100 and status 3, or status 4 (failure SEL event); one IDL
 * line (log type 1, byte 12 0xFF, byte 13 the kind: 3 PSU, 4 VR, 5 GPU FPGA, 6 BIOS/SCP flash, flag 1):
 * "<device> upgrade to version V successed|failed" with V from "<image>.version", or "<device> upgrade with
 * image PATH successed|failed" without one. QuorixUpdatePSU (task 5, device "PSU<n>") follows it too. */
/* Programs the BIOS (flash 0, task 1) or SCP (flash 1, task 11) SPI flash through slot 197; the platform's
 * result, -2 for another flash. */
int QuorixUpdateSCP(const char *image_path, int flash);
/* Programs the HGX2 GPU FPGA (slot 182 kind 0, task 8); progress from the FPGA estimate; the result. */
int QuorixUpdateHgx2Fpga(const char *image_path);
/* Programs the GPU CEC (slot 182 kind 1, task 9); progress from the FPGA estimate; the result. */
int QuorixUpdateGPUCECFpga(const char *image_path);
/* VR upgrade request: 48 bytes at main-board EEPROM offset 3840: byte 0 1 = requested, 1 vendor (0 any,
 * 1 PXE, 2 XDP, 3 MPS), 2 VR index, 3 operation (set here: 0 check, 1 upgrade), 4-47 image path. */
/* Hands a pending request to slot 59 as a check; its result (0: an upgrade is due), -1 when none is pending. */
int QuorixInVRCheckUpgrade(void);
/* Runs a pending request through slot 59 as task 6 and clears the request; the result, -2 when none. */
int QuorixInVRAutoUpgrade(void);
/* Programs PXE-kind VR vr_index from image_path through slot 60 as task 6; the platform's result. */
int QuorixInVRPXEUpgrade(int vr_index, const char *image_path);
/* Programs XDP-kind VR vr_index from image_path through slot 61 as task 6; the platform's result. */
int QuorixInVRXDPUpgrade(int vr_index, const char *image_path);
/* Programs MPS-kind VR vr_index from image_path through slot 62 as task 6; the platform's result. */
int QuorixInVRMPSUpgrade(int vr_index, const char *image_path);
/* On double-flash boards (slot 175) with EEPROM byte 3892 = 1 (a new BIOS awaits its first boot): a booted
 * BIOS (checkBIOSBootOK) clears it and finishes task 1; the third boot that failed (count in byte 3893)
 * switches to the other BIOS image, clears it and fails task 1. One IDL line either way. Always 0. */
int QuorixBIOSBootUpMonitor(void);

/* ==== Power history ====================================================== */

/* Size of one power-history record; fields (little-endian): channel c (0 total power, 1 class-3 reading,
 * 2-9 supplies 0-7, 10-49 class-0 devices 0-39) u16 average at 4c and u16 maximum at 4c+2; u16 hour, day,
 * month, year at 200, 202, 204, 206; u32 last sample at 208 and closing time at 212 (epoch seconds). */
#define QUORIX_HISTORY_RECORD_SIZE 216
/* History kinds: day (24 hourly records), month (31 daily), year (12 monthly). */
#define QUORIX_HISTORY_DAY 1
#define QUORIX_HISTORY_MONTH 2
#define QUORIX_HISTORY_YEAR 3

/* One node of a history ring: its record, list links (prev = older, next = newer) and fixed ring successor. */
typedef struct QuorixHistoryNode {
    unsigned char record[QUORIX_HISTORY_RECORD_SIZE];
    struct QuorixHistoryNode *prev;
    struct QuorixHistoryNode *next;
    struct QuorixHistoryNode *ring_next;
} QuorixHistoryNode;
/* A history: the recorder's working area (50 channels of sample count, sum, maximum), the period marker,
 * the oldest and newest nodes and the node area that follows this header in the same allocation. */
typedef struct QuorixHistoryBlock {
    unsigned int work[150];
    unsigned int period;
    QuorixHistoryNode *head;
    QuorixHistoryNode *tail;
    QuorixHistoryNode *nodes;
} QuorixHistoryBlock;

/* The day, month and year histories of this process; NULL until historyDataInit creates them. */
extern QuorixHistoryBlock *dayHistoryLinkHead;
extern QuorixHistoryBlock *monthHistoryLinkHead;
extern QuorixHistoryBlock *yearHistoryLinkHead;
/* While 1, historyDataRecord takes no sample (the readers raise it while they copy). */
extern unsigned char getHistoryDataFlag;

/* Creates the missing histories (day, month, year), each full of zero records; 0, or -1 with a console line. */
int historyDataInit(void);
/* Appends a copy of the 216-byte record, dropping the oldest when full; 0, or -1 for a NULL pointer. */
int AddHistoryData(QuorixHistoryBlock *history, const unsigned char *record);
/* Kind 1-3: records in that history (0 if missing); 129-131: 1 if it exists, else 0; kind 0: 0; else -1. */
int getHistoryDataNum(int kind);
/* Kind 1-3: erases every record to 0xFF and stamps the newest (bytes 208-211) with the time; 0; else -1. */
int clearHistoryData(int kind);
/* Takes one power sample from the shared block (none while getHistoryDataFlag is 1) and closes hour, day
 * and month records as the clock moves; 0, or -1 when the local time cannot be had (with a console line),
 * the histories cannot be created or the library is not bound. */
int historyDataRecord(void);
/* Copies the newest max_records filled records of history kind (1-3), oldest first, into buffer
 * (max_records x 216 bytes, caller-owned); zero and erased records are skipped. Count copied, 0 if the
 * history is missing, -1 for a bad kind, NULL buffer or negative max_records. */
int getHistoryData(int kind, unsigned char *buffer, int max_records);
/* Copies the filled records of history kind whose closing time (epoch seconds) lies in [from, to], oldest
 * first, at most max_records (buffer of max_records x 216 bytes); count copied, 0 if missing, -1 for a bad
 * kind, NULL buffer, negative max_records or from > to. */
int copyHistoryData(int kind, unsigned int from, unsigned int to, unsigned char *buffer, int max_records);

/* ==== TF card storage ==================================================== */

/* TF card: device "/dev/mmcblk0p1", mount point "/mnt/sdmmc0p1". Names and subdirectories are single
 * path components. */
/* Prints the device name; returns 0. */
int common_init_tf_card(const char *device);
/* Runs "umount" of mount_point and "mount" of device on it (exit status not looked at); 0, -1 for NULL. */
int common_mount_tf_card(const char *device, const char *mount_point);
/* Runs "umount" of mount_point; 0, -1 for NULL or when the command cannot be started. */
int common_umount_tf_card(const char *mount_point);
/* Mounts and copies src to subdir/file_name on the card (names under 20, src under 80 characters); 0 / -1. */
int common_copy_file_to_tf_card(const char *src, const char *file_name, const char *subdir);
/* Copies src to subdir/<image_name>new, the previous "new" becoming "old" and older "old" deleted;
 * image_name ends with the dot. 0, 1 card missing, -1 other failures. */
int common_copy_ima_file_to_tf_card(const char *src, const char *image_name, const char *subdir);
/* 0 when version begins with the base name of an image in subdir, 3 when none does, 2 no directory,
 * -1 failure. */
int common_check_ima_file_version_tf_card(const char *version, const char *subdir);
/* Mounts and copies src into the mount point under its base name; 0, 1 no card, -1 failure. */
int common_copy_log_to_tf_card(const char *src);
/* Names of the current and previous images of subdir (without the dot) into current and previous (64 bytes
 * each, caller-owned; "NA" when absent); 0, 1 no card, 2 no mount point or directory, -1 NULL. */
int common_get_file_list_from_tf_card(const char *subdir, char *current, char *previous);
/* Writes "Test ok!" to the card file name and reads it back; 0 passed, 0x80 no card, 0xCC failure. */
int test_file(const char *name);

/* ==== Power policy ======================================================= */

/* Power-on policy: 1 when "/var/tmp/power_button_press_flag" does not exist, else 0. */
int IsPowerPolicyNeedRun(void);
/* Removes the power-button press marker (failure logged); returns 0. */
int ClearPowerButtonPressFaileFlag(void);
/* value 0: clears the marker and posts the "policy not started" line to the IDL log, 0; else -1. */
int LoggingPowerPolicyNotStartCause(int value);
/* Polls the power state (slot 2 with a, b, c) into the block and keeps changes in EEPROM, except an off
 * state caused by an AC failure; returns 0. Waits 2 s when the state drops to 0. */
int QuorixMonitorPowerStatus(int a, int b, int c);
/* Writes one byte from buffer as the last power state (EEPROM 4481); 0, -2 transfer failed, -3 NULL. */
int QuorixEEPROMWritePowerStatus(unsigned char *buffer);
/* Reads the last power state (EEPROM 4481) into buffer; 0, -2 transfer failed, -3 NULL. */
int QuorixEEPROMReadPowerStatus(unsigned char *buffer);
/* OEM get of the power peak maximum delay (request length 0): returns 3 with byte 0 = 0 and the seconds
 * (u16 LE) in bytes 1-2; 1 with byte 0 = 0xC7 or 0x83; 0 for a NULL response. */
int QuorixGetPowerPeakConfigInterface(unsigned char *request, int length, unsigned char *response);
/* OEM set of the power peak maximum delay (request: u16 LE seconds 0..600, length 2): returns 1 with byte 0
 * = 0, 0xC7, 0xCC or 0x83 (EEPROM write short); 0 for NULL buffers. */
int QuorixSetPowerPeakConfigInterface(unsigned char *request, int length, unsigned char *response);
/* Sleeps a random time up to the power peak maximum (1..599 s; 0 and 600 do not wait); 0, or -1. */
int RunPowerPeakSleep(void);
/* COM (0..2) and SOL (0, 2, 3, 4, 16) configuration bytes: get returns the cached or EEPROM value (an
 * invalid stored value reads as 0); set returns 0, or -1 for an invalid value. */
int QuorixGetComCfg(void);
int QuorixSetComCfg(unsigned char value);
int QuorixGetSolCfg(void);
int QuorixSetSolCfg(unsigned char value);
/* Non-zero when value is NOT a valid COM (resp. SOL) configuration. */
int IsComCfgValid(unsigned char value);
int IsSolCfgValid(unsigned char value);

/* ==== Sensor value conversion ============================================ */

/* Real value of a raw reading by the SDR formula (raw*m + b*10^K1) * 10^R, with K1 the low nibble of
 * exponents (0..15, unsigned) and R = TO_R_EXP(high nibble). */
double SdrConvertSensorReading(int raw, int m, int b, unsigned char exponents);
/* SDR result exponent of a nibble (low 4 bits used): 0 -> 0, 8..15 -> -8..-1, 1..7 -> 7..1 (mirrored). */
int TO_R_EXP(int nibble);
/* Mean of count floats, one smallest and one largest left out when count > 2; NaN for count 0 or NULL
 * values. Also stored through out unless it is NULL. */
float GetAveValue(const float *values, int count, float *out);
/* Temperature of a sensor through slot 24, truncated toward zero (degrees C); 0 when unbound or no slot. */
float QuorixGetTempSensorReading(int sensor_type, int sensor_index);
/* Power reading of a sensor through slot 25, truncated toward zero (watts); 0 when unbound or no slot. */
float QuorixGetPowerSensorReading(int sensor_type, int sensor_index);
/* Moves a discrete sensor from previous_offset (-1: none asserted) to event_offset (0..14) through slot 49:
 * deasserts the old event, then asserts the new; 0 when unchanged, the first failing slot result, or -1
 * (no call) for an offset out of range. */
int QuorixSetSensorReading(int device_type, int index, int previous_offset, int event_offset);

/* ==== Fan control curves ================================================= */

/* Curve type names by type byte: "FAN_TYPE_NONE", "FAN_TYPE_PID", "FAN_TYPE_LINER", "FAN_TYPE_PID_BJ". */
extern const char quorix_fan_ctrl_type[4][20];
/* One temperature sensor of the board: sensor number and NUL-padded name (34 bytes). */
typedef struct QuorixTempSensorDesc {
    unsigned short sensor_number;
    char name[32];
} QuorixTempSensorDesc;
/* The board's 814 temperature sensors, indexed by sensor number (0 "INLET_TEMP", 8 "CPU0_TEMP", ...). */
extern const QuorixTempSensorDesc g_temp_sensor_descrip[814];
/* Applies one fan-curve command ("enable3", "liner2_temper1val45", "bjpid1_kp1.5", "pwmraise20", ...) to the
 * curves in the shared block, printing what it does; a curve id outside the block is refused with a message.
 * The result carries no status (-1 only for NULL or an unbound library). */
int set_fan_param(char *command);
/* Prints the PWM outputs and every curve in use to standard output; 0, or -1 when unbound. */
int show_fan_param(void);

#ifdef __cplusplus
}
#endif

#endif /* QUORIX_COMMON_INTERFACE_H */
