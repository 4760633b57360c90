// Internal entry points shared by the update sources (task table, runs and
// the device upgrades).
#pragma once

#include <cstddef>
#include <cstdint>

namespace qrx::update {

// Component name of a task in the status report; "" for ids without one.
const char *componentName(int id);

// Bookkeeping of one run of a task with a stored progress byte: id byte,
// image name (when given), start time, progress 0 and status 2; then
// progress 100 and status 3, or status 4.
void beginTaskRun(int id, const char *image);
void endTaskRun(int id, int result);

// Update line to the IDL log service: log type 1, kind byte 13, flag 1. The
// kind names the device family; the text takes at most 255 characters.
inline constexpr std::uint8_t kIdlKindCpld = 2, kIdlKindPsu = 3, kIdlKindVr = 4, kIdlKindFpga = 5, kIdlKindFlash = 6;
inline constexpr std::size_t kIdlTextSize = 256;
inline constexpr int kDone = 100;  // progress of a finished run
void postUpdateLine(std::uint8_t kind, const char *text);

// New version text from "<image>.version" (up to 40 bytes, line end dropped);
// false when the side file is missing or empty.
inline constexpr std::size_t kSideFileRead = 40;
using SideVersion = char[kSideFileRead + 1];
bool readSideFile(const char *image, SideVersion &version);

// Progress estimates of the CPLD and FPGA tasks from their start time and
// expected duration; -1 for a task of another kind.
int cpldProgress(int id);
int fpgaProgress(int id);

// 1 (and the task marked found) when an image for the task waits under
// /var; 0 otherwise (Quorix_HasUpdateFile).
int hasUpdateFile(int id);

// Asks the platform whether the VR upgrade staged in the EEPROM is due:
// the slot's answer, -1 when none is staged (QuorixInVRCheckUpgrade).
int vrCheckUpgrade();

// The task table's setters, as the exports of the same names do them
// (range checks, console lines, SEL records on failure and recovery).
int setTaskStatus(int id, int status);
int setUpdateStatus(int id, int subState);
int setFileName(int id, const char *name);
int setFlashProgress(int id, int percent);

}  // namespace qrx::update
