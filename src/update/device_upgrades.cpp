// Update runs of the parts without an estimate of their own: power supplies
// (task 5), the BIOS/SCP flashes (tasks 1 and 11), the GPU FPGA and CEC
// (tasks 8 and 9), the voltage regulators (task 6) and the check of the first
// BIOS boot after an update. Each records its start time, moves its task
// through its states and posts one IDL line per device.
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <ctime>

#include "core/export.h"
#include "core/eeprom_map.h"
#include "core/slot_table.h"
#include "devstate/psu_layout.h"
#include "quorix_common_interface.h"
#include "update/update_internal.h"
#include "update/update_layout.h"

namespace qrx::update {
namespace {

constexpr const char *kPsuImagePath = "/var/psuimage";
constexpr int kFlashBios = 0, kFlashScp = 1, kGpuFpgaKind = 0, kGpuCecKind = 1;

// VR upgrade request kept in the main-board EEPROM by whoever stages a VR
// image (web or IPMI upload), handed to the platform as it stands.
using eeprom::kVrRecordOffset;
using eeprom::kVrRecordSize;
namespace vr {
constexpr std::size_t kRequest = 0;    // 1: an upgrade waits
// Byte 1, read by the platform only: vendor, 0 any, 1 PXE, 2 XDP, 3 MPS.
constexpr std::size_t kIndex = 2;      // VR index
constexpr std::size_t kOperation = 3;  // set here: 0 check, 1 upgrade
constexpr std::size_t kImage = 4;      // NUL-terminated path, 44 bytes
constexpr std::size_t kImageLen = kVrRecordSize - kImage;
}  // namespace vr
constexpr std::uint8_t kVrRequested = 1, kVrOpCheck = 0, kVrOpUpgrade = 1;

// First boot of a freshly flashed BIOS.
using eeprom::kBiosFailedBootsOffset;
using eeprom::kBiosVerifyOffset;
constexpr std::uint8_t kBiosVerifyPending = 1;
constexpr int kBiosBootTries = 3;

bool imageReadable(const char *image) {
    return image != nullptr && access(image, R_OK) == 0;
}

// Device names in the lines: "PSU3", "VR1 (PXE)", "BIOS flash", ...
constexpr std::size_t kDeviceNameSize = 32;

void postDeviceLine(std::uint8_t kind, const char *device, const char *image, int result) {
    SideVersion version;
    const char *word = result == 0 ? "successed" : "failed";
    char text[kIdlTextSize];
    if (image != nullptr && readSideFile(image, version))
        std::snprintf(text, sizeof text, "%s upgrade to version %s %s", device, version, word);
    else
        std::snprintf(text, sizeof text, "%s upgrade with image %s %s", device, image == nullptr ? "NULL" : image,
                      word);
    postUpdateLine(kind, text);
}

int programFlash(const char *image, int flash) {
    if (flash != kFlashBios && flash != kFlashScp) {
        std::printf("QuorixUpdateSCP: no flash %d\n", flash);
        return -2;
    }
    if (!imageReadable(image)) {
        std::printf("QuorixUpdateSCP: image %s not found\n", image == nullptr ? "(null)" : image);
        return -1;
    }
    int id = flash == kFlashBios ? kTaskBios : kTaskScp;
    beginTaskRun(id, image);
    int result = slotFn<Slot::ProgramScp>()(image, flash);
    endTaskRun(id, result);
    postDeviceLine(kIdlKindFlash, flash == kFlashBios ? "BIOS flash" : "SCP flash", image, result);
    return result;
}

int programGpuFpga(int kind, const char *image) {
    int id = kind == kGpuFpgaKind ? kTaskGpuFpga : kTaskGpuCec;
    const char *device = kind == kGpuFpgaKind ? "GPU FPGA" : "GPU CEC";
    if (!imageReadable(image)) {
        std::printf("%s image %s not found\n", device, image == nullptr ? "(null)" : image);
        return -1;
    }
    // Progress comes from the FPGA estimate, which needs the start time.
    std::time_t now = std::time(nullptr);
    taskRecord(id).setU8(task::kId, static_cast<std::uint8_t>(id));
    setFileName(id, image);
    taskRecord(id).setU32(task::kStartTime, static_cast<std::uint32_t>(now));
    std::printf("\r\n=====start update fpga time:%ld file:%s======\r\n", static_cast<long>(now), image);
    setTaskStatus(id, kStatusRunning);
    int result = slotFn<Slot::ProgramGpuFpga>()(kind, 0, image, taskRecord(id).u8(task::kTrigger));
    setTaskStatus(id, result == 0 ? kStatusFinished : kStatusFailed);
    postDeviceLine(kIdlKindFpga, device, image, result);
    return result;
}

bool readVrRecord(unsigned char *record) {
    return qrx::slotFn<qrx::Slot::QuorixReadMainBoardEEprom>()(kVrRecordOffset, record, kVrRecordSize) == kVrRecordSize &&
           record[vr::kRequest] == kVrRequested;
}


int vrAutoUpgrade() {
    unsigned char record[kVrRecordSize] = {};
    if (!readVrRecord(record)) return -2;
    char staged[vr::kImageLen + 1] = {};
    std::memcpy(staged, record + vr::kImage, vr::kImageLen);
    beginTaskRun(kTaskVr, staged);
    record[vr::kOperation] = kVrOpUpgrade;
    int result = slotFn<Slot::UpgradeVr>()(record, kVrRecordSize);
    // The request is used up either way, so a bad image is not retried on every start.
    unsigned char cleared = 0;
    qrx::slotFn<qrx::Slot::QuorixWriteMainBoardEEprom>()(kVrRecordOffset + static_cast<int>(vr::kRequest), &cleared, 1);
    endTaskRun(kTaskVr, result);
    char device[kDeviceNameSize];
    std::snprintf(device, sizeof device, "VR%d", record[vr::kIndex]);
    postDeviceLine(kIdlKindVr, device, staged, result);
    return result;
}

using VrProgrammer = int (*)(int, const char *);

int vrUpgrade(const char *vendor, VrProgrammer program, int index, const char *image) {
    if (!imageReadable(image)) {
        std::printf("VR%d %s image %s not found\n", index, vendor, image == nullptr ? "(null)" : image);
        return -1;
    }
    beginTaskRun(kTaskVr, image);
    int result = program(index, image);
    endTaskRun(kTaskVr, result);
    char device[kDeviceNameSize];
    std::snprintf(device, sizeof device, "VR%d (%s)", index, vendor);
    postDeviceLine(kIdlKindVr, device, image, result);
    return result;
}

// After a BIOS update on a double-flash board: confirm the first boot, or
// after three boots that never came up, go back to the other image.
void verifyBiosBoot() {
    unsigned char failed = 0;
    if (qrx::slotFn<qrx::Slot::QuorixReadMainBoardEEprom>()(kBiosFailedBootsOffset, &failed, 1) != 1) failed = 0;
    unsigned char clear = 0;
    if (qrx::slotFn<qrx::Slot::checkBIOSBootOK>()() == 1) {
        qrx::slotFn<qrx::Slot::QuorixWriteMainBoardEEprom>()(kBiosVerifyOffset, &clear, 1);
        qrx::slotFn<qrx::Slot::QuorixWriteMainBoardEEprom>()(kBiosFailedBootsOffset, &clear, 1);
        setTaskStatus(kTaskBios, kStatusFinished);
        postUpdateLine(kIdlKindFlash, "BIOS boot-up after upgrade successed");
        return;
    }
    failed = failed == 0xFF ? 1 : static_cast<unsigned char>(failed + 1);
    if (failed < kBiosBootTries) {
        qrx::slotFn<qrx::Slot::QuorixWriteMainBoardEEprom>()(kBiosFailedBootsOffset, &failed, 1);
        return;
    }
    int other = (qrx::slotFn<qrx::Slot::QuorixGetBIOSBootSelector>()(kFlashBios) & 1) ^ 1;
    qrx::slotFn<qrx::Slot::QuorixSetBIOSBootSelector>()(other, kFlashBios);
    qrx::slotFn<qrx::Slot::QuorixWriteMainBoardEEprom>()(kBiosVerifyOffset, &clear, 1);
    qrx::slotFn<qrx::Slot::QuorixWriteMainBoardEEprom>()(kBiosFailedBootsOffset, &clear, 1);
    setTaskStatus(kTaskBios, kStatusFailed);
    char text[kIdlTextSize];
    std::snprintf(text, sizeof text, "BIOS boot-up after upgrade failed, switched to image %d", other);
    postUpdateLine(kIdlKindFlash, text);
}

int biosBootUpMonitor() {
    if (qrx::slotFn<qrx::Slot::CheckBIOSDoubleFlashSupport>()() == 0) return 0;
    unsigned char pending = 0;
    if (qrx::slotFn<qrx::Slot::QuorixReadMainBoardEEprom>()(kBiosVerifyOffset, &pending, 1) == 1 && pending == kBiosVerifyPending)
        verifyBiosBoot();
    return 0;
}

// Programs one supply from an image file through the feature library; the
// supply record's PSUUpdating byte is 1 while it runs.
int programPsu(const char *image, unsigned char index) {
    if (!imageReadable(image)) {
        std::printf("QuorixUpdatePSU: psu%d image %s not found\n", index, image == nullptr ? "(null)" : image);
        return -1;
    }
    const bool tracked = index < psu::kMaxRecords;
    const std::size_t updating = psu::fieldOffset(index, psu::rec::kPsuUpdating);
    if (tracked) sharedBlock().setU8(updating, 1);
    beginTaskRun(kTaskPsu, image);
    int result = slotFn<Slot::ProgramPsu>()(image, index);
    if (tracked) sharedBlock().setU8(updating, 0);
    endTaskRun(kTaskPsu, result);
    char device[kDeviceNameSize];
    std::snprintf(device, sizeof device, "PSU%d", index);
    postDeviceLine(kIdlKindPsu, device, image, result);
    std::printf("QuorixUpdatePSU: psu%d from %s %s (%d)\n", index, image, result == 0 ? "done" : "failed", result);
    return result;
}

// The monitor's "--flash-psu psuN": the image is always /var/psuimage.
int flashPsu(const char *name) {
    std::printf("== psu_flash name: %s\n", name == nullptr ? "(null)" : name);
    std::printf("==   note1:eg: run quorix_monitor_app --flash-psu psu0 means falsh psu0.\n");
    std::printf("==   note2:/var/psuimage should exist before run this command..\n");
    if (name == nullptr || std::strstr(name, "psu") == nullptr) return 0;
    // Parsed from the start of the name: "xpsu1" selects supply 0.
    int number = 0;
    if (std::sscanf(name, "psu%d", &number) != 1) number = 0;
    return programPsu(kPsuImagePath, static_cast<unsigned char>(number));
}

}  // namespace

int vrCheckUpgrade() {
    unsigned char record[kVrRecordSize] = {};
    if (!readVrRecord(record)) return -1;
    record[vr::kOperation] = kVrOpCheck;
    return slotFn<Slot::UpgradeVr>()(record, kVrRecordSize);
}

void beginTaskRun(int id, const char *image) {
    // This run is the updater: it names itself and its image in the record.
    taskRecord(id).setU8(task::kId, static_cast<std::uint8_t>(id));
    if (image != nullptr) setFileName(id, image);
    taskRecord(id).setU32(task::kStartTime, static_cast<std::uint32_t>(std::time(nullptr)));
    setFlashProgress(id, 0);
    setTaskStatus(id, kStatusRunning);
}

void endTaskRun(int id, int result) {
    if (result == 0) setFlashProgress(id, kDone);
    setTaskStatus(id, result == 0 ? kStatusFinished : kStatusFailed);
}

}  // namespace qrx::update

using namespace qrx::update;

extern "C" {

QRX_EXPORT int QuorixUpdatePSU(const char *image, unsigned char psu_index) {
    return programPsu(image, psu_index);
}

QRX_EXPORT int psu_flash(const char *name) {
    return flashPsu(name);
}

QRX_EXPORT int QuorixUpdateSCP(const char *image_path, int flash) {
    return programFlash(image_path, flash);
}

QRX_EXPORT int QuorixUpdateHgx2Fpga(const char *image_path) {
    return programGpuFpga(kGpuFpgaKind, image_path);
}

QRX_EXPORT int QuorixUpdateGPUCECFpga(const char *image_path) {
    return programGpuFpga(kGpuCecKind, image_path);
}

QRX_EXPORT int QuorixInVRCheckUpgrade(void) {
    return vrCheckUpgrade();
}

QRX_EXPORT int QuorixInVRAutoUpgrade(void) {
    return vrAutoUpgrade();
}

QRX_EXPORT int QuorixInVRPXEUpgrade(int vr_index, const char *image_path) {
    return vrUpgrade("PXE", qrx::slotFn<qrx::Slot::UpgradeVrPxe>(), vr_index, image_path);
}

QRX_EXPORT int QuorixInVRXDPUpgrade(int vr_index, const char *image_path) {
    return vrUpgrade("XDP", qrx::slotFn<qrx::Slot::UpgradeVrXdp>(), vr_index, image_path);
}

QRX_EXPORT int QuorixInVRMPSUpgrade(int vr_index, const char *image_path) {
    return vrUpgrade("MPS", qrx::slotFn<qrx::Slot::UpgradeVrMps>(), vr_index, image_path);
}

QRX_EXPORT int QuorixBIOSBootUpMonitor(void) {
    return biosBootUpMonitor();
}

}  // extern "C"
