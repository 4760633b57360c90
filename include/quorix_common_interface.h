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

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define QUORIX_PRINTF_LIKE(fmt, first) __attribute__((format(printf, fmt, first)))
#else
#define QUORIX_PRINTF_LIKE(fmt, first)
#endif

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

/* ---- feature forwarders (generated from src/core/slots.def) ---- */
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
/* Flips the BIOS boot flash selector (slots 172, 173); returns slot 173's result. */
int QuorixBiosSwitchNode(void);
/* Flips the SCP boot flash selector (slots 172, 173); returns slot 173's result. */
int QuorixScpSwitchNode(void);
/* Refreshes the FPGA version through slot 170; only FPGA type 0 is known, others give -1. */
int QuorixUpdateFpgaVersion(int fpga_type, int reserved, unsigned char *version);
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

/* Logs one message at level 0..3 for module, as the files in /conf/quorix_debug/ decide; result carries no status. */
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

/* ---- devstate begin ---- */
/* ---- devstate end ---- */

/* ==== Crash and signal handling ========================================== */

/* ---- signals begin ---- */
/* ---- signals end ---- */

/* ==== Pipes, message queues and daemon requests ========================== */

/* ---- ipc begin ---- */
/* ---- ipc end ---- */

/* ==== Configuration services: words, validators, secrets, syslog, SNMP, SMTP, BIOS = */

/* ---- config begin ---- */
/* ---- config end ---- */

/* ==== Firmware update tasks and update runs ============================== */

/* ---- update begin ---- */
/* ---- update end ---- */

/* ==== Power history ====================================================== */

/* ---- history begin ---- */
/* ---- history end ---- */

/* ==== TF card storage ==================================================== */

/* ---- storage begin ---- */
/* ---- storage end ---- */

/* ==== Power policy ======================================================= */

/* ---- power begin ---- */
/* ---- power end ---- */

/* ==== Sensor value conversion ============================================ */

/* ---- sensor begin ---- */
/* ---- sensor end ---- */

/* ==== Fan control curves ================================================= */

/* ---- fan begin ---- */
/* ---- fan end ---- */

#ifdef __cplusplus
}
#endif

#endif /* QUORIX_COMMON_INTERFACE_H */
