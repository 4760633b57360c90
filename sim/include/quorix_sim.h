/*
 * Control interface of the simulated BMC (the substitute feature library).
 * Tests and quorixctl resolve these with dlsym from the library loaded at
 * "/usr/local/lib/libquorix_common_feature.so"; daemons never use them.
 */
#ifndef QUORIX_SIM_H
#define QUORIX_SIM_H

#ifdef __cplusplus
extern "C" {
#endif

/* Size of the simulated shared device-state block in bytes. */
unsigned long quorix_sim_block_size(void);
/* Zeroes the block and the simulation state (call counts, canned results, faults) and restores every slot of the table. */
int quorix_sim_reset(void);
/* Restores every slot of quorix_handle to the simulator's own function. */
void quorix_sim_restore_table(void);
/* Calls of a slot since the last reset, counted across every process sharing the simulation. */
unsigned int quorix_sim_call_count(int slot);
/* Makes a slot without a device model of its own return value (default 0). */
int quorix_sim_set_result(int slot, int value);
/* Fault of a device slot: 0 none, 1 the transfer fails (-1), 2 the transfer is cut to half its length. */
int quorix_sim_set_fault(int slot, int fault);
/* Time a programming slot (55, 56, 59-62, 169, 182, 197) takes, in milliseconds (0 after a reset). */
int quorix_sim_set_program_time(int slot, unsigned int milliseconds);

#ifdef __cplusplus
}
#endif

#endif /* QUORIX_SIM_H */
