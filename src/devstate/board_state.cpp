// Board counters, CPU presence, the ME firmware version, the PCIe slot
// presence push and the CPLD report.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "core/export.h"
#include "core/slot_table.h"
#include "devstate/board_layout.h"
#include "devstate/disk_layout.h"
#include "devstate/value_convert.h"

namespace {

using namespace qrx::board;

constexpr int kMeRevisionMinBuffer = 15;
constexpr int kPowerOn = 1;

// Process-local, zero at load: GetCpuStat fills the present bytes once, and
// the PCIe presence is pushed only when the power state turns on.
int g_cpuStateFilled = 0;
unsigned char g_lastSystemPowerState = 0;

qrx::ByteView block() { return qrx::sharedBlock(); }

int clampedByte(std::size_t offset, int max) {
    int n = block().u8(offset);
    return n > max ? max : n;
}

char digit(unsigned nibble) { return static_cast<char>('0' + (nibble & 0xF)); }

// The ME version text: major "." minor-high "." minor-low "." build digits.
// Nibbles above 9 give ':' to '?', as the firmware has always shown them.
// Longest text: "127.?.?.???" and its NUL.
constexpr std::size_t kMeRevisionTextSize = 16;

void meRevisionText(char (&text)[kMeRevisionTextSize]) {
    unsigned minor = block().u8(kMeMinorOffset);
    std::uint32_t build = block().u32(kMeBuildOffset);
    unsigned bits12 = (build >> 12) & 0xF, bits8 = (build >> 8) & 0xF, bits20 = (build >> 20) & 0xF;
    char buildDigits[4] = {};
    if (bits12 != 0) {
        buildDigits[0] = digit(bits12);
        buildDigits[1] = digit(block().u8(kMeBuildOffset + 1));  // bits 8..11, read again from their byte
    } else if (bits8 != 0) {
        buildDigits[0] = digit(bits8);
    }
    buildDigits[std::strlen(buildDigits)] = digit(bits20);
    std::snprintf(text, sizeof text, "%u.%c.%c.%s", block().u8(kMeMajorOffset) & kMeMajorMask, digit(minor >> 4),
                  digit(minor), buildDigits);
}

using BoardText = qrx::ConsoleText<kBoardTextLen>;

int showBackplane(const char *side, int number, int record) {
    std::size_t at = qrx::disk::backplaneOffset(record);
    return std::printf("    %s bp%d: InUse: %d; Marker: 0x%x; Board: \"%s\"; CpldVersion: 0x%x; DiskSlots: %d;\n", side,
                       number, block().u8(at + qrx::disk::kBpInUse), block().u8(at + qrx::disk::kBpMarker),
                       BoardText(block(), at + qrx::disk::kBpBoardText).c_str(), block().u8(at + qrx::disk::kBpCpldVersion),
                       block().u8(at + qrx::disk::kBpDiskSlots));
}

int showAllCpld() {
    std::puts("ShowAllCPLDInfo:main board, backplane and fan plane CPLD info;");
    std::printf("    MB CPLD: BoardId: 0x%x; Version: 0x%x;\n", block().u8(kMbCpldBoardIdOffset),
                block().u8(kMbCpldVersionOffset));
    std::printf("    MB FPGA: BoardId: 0x%x; Version: 0x%x;\n", block().u8(kFpgaBoardIdOffset),
                block().u8(kFpgaVersionOffset));
    int front = clampedByte(qrx::disk::kFrontBackplaneCountOffset, qrx::disk::kFrontBackplanes);
    int rear = clampedByte(qrx::disk::kRearBackplaneCountOffset, qrx::disk::kRearBackplanes);
    int fanPlanes = clampedByte(kFanPlaneCountOffset, kFanPlaneRecords);
    std::printf("    FrontBackPlaneNum: %d;\n", front);
    for (int k = 0; k < front; ++k) showBackplane("front", k, k);
    std::printf("    RearBackPlaneNum: %d;\n", rear);
    for (int k = 0; k < rear; ++k) showBackplane("rear", k, qrx::disk::kFirstRearBackplane + k);
    int last = std::printf("    FanPlaneNum: %d;\n", fanPlanes);
    for (int k = 0; k < fanPlanes; ++k) {
        std::size_t at = kFanPlaneRecordsOffset + kFanPlaneRecordSize * k;
        last = std::printf("    fanplane%d: Board: \"%s\"; CpldVersion: 0x%x;\n", k,
                           BoardText(block(), at + kFanPlaneBoardText).c_str(), block().u8(at + kFanPlaneCpldVersion));
    }
    return last;
}

}  // namespace

extern "C" {

QRX_EXPORT int QuorixGetCpuNum(void) { return cpuCount(); }

// Signed test only: -1 passes and reads the byte before CPU 0's record.
QRX_EXPORT int QuorixGetCpuPresentStatus(int index) {
    if (index >= cpuCount()) return 0;
    long long at = static_cast<long long>(kCpuRecordsOffset) + static_cast<long long>(index) * kCpuRecordSize;
    if (at < 0) return 0;  // never read before the block
    return block().u8(static_cast<std::size_t>(at));
}

QRX_EXPORT int GetCpuStat(void) {
    if (g_cpuStateFilled != 0) return 0;
    int count = block().u8(kCpuCountOffset);
    // An out-of-range count leaves the flag clear: the next call tries again.
    if (count > kMaxCpus) return 0;
    for (int i = 0; i < count; ++i) {
        int present = qrx::slotFn<qrx::Slot::GetCpuPresent>()(i);
        if (present == 0 || present == 1) block().setU8(cpuPresentOffset(i), static_cast<unsigned char>(present));
    }
    g_cpuStateFilled = 1;
    return 0;
}

QRX_EXPORT int GetConfiguredCPUBitMap(void) {
    block().setU8(kConfiguredCpuBitmapOffset, 0);
    int n = cpuCount();
    unsigned char bitmap = 0;
    for (int i = 0; i < n; ++i) {
        if (block().u8(cpuPresentOffset(i)) != 1) continue;
        bitmap = static_cast<unsigned char>(bitmap | (1u << i));
        block().setU8(kConfiguredCpuBitmapOffset, bitmap);
    }
    return bitmap;
}

QRX_EXPORT int GetBitCount(unsigned long long value) {
    int bits = 0;
    for (; value != 0; value &= value - 1) ++bits;
    return bits;
}

QRX_EXPORT int QuorixGetFrontBpNum(void) {
    return clampedByte(qrx::disk::kFrontBackplaneCountOffset, qrx::disk::kFrontBackplanes);
}

QRX_EXPORT int QuorixGetRearBpNum(void) {
    return clampedByte(qrx::disk::kRearBackplaneCountOffset, qrx::disk::kRearBackplanes);
}

QRX_EXPORT int QuorixGetOcpCardNum(void) { return clampedByte(kOcpCountOffset, kMaxOcpCards); }

// A slot whose presence cannot be read keeps what was last synced, and the
// count is taken from the stored bytes, so one failing read never drops a card.
QRX_EXPORT int QuorixSyncOCPDeviceInfo(void) {
    bool allRead = true;
    int present = 0;
    for (int i = 0; i < kMaxOcpCards; ++i) {
        int result = qrx::slotFn<qrx::Slot::QuorixGetOcpPresent>()(i);
        if (result < 0) allRead = false;
        else block().setU8(kOcpPresentOffset + i, result > 0 ? 1 : 0);
        present += block().u8(kOcpPresentOffset + i) == 1 ? 1 : 0;
    }
    block().setU8(kOcpCountOffset, static_cast<unsigned char>(present));
    return allRead ? present : -1;
}

QRX_EXPORT int QuorixGetSysRstartCause(void) { return block().u8(kRestartCauseOffset); }

QRX_EXPORT int GetMemoryPower(void) { return qrx::truncatedInt(block().f32(kMemoryPowerOffset)); }

QRX_EXPORT int QuorixGetMeRevision(int fw_index, int reserved, char *buffer, int size) {
    (void)reserved;
    if (buffer == nullptr || size < kMeRevisionMinBuffer) {
        std::printf("Get Fw Version get input error fwIndex:%d, inputSize:%d!!", fw_index, size);
        return -1;
    }
    std::memset(buffer, 0, static_cast<std::size_t>(size));
    char text[kMeRevisionTextSize];
    meRevisionText(text);
    std::memcpy(buffer, text, std::min<std::size_t>(std::strlen(text), static_cast<std::size_t>(size) - 1));
    return 0;
}

// The platform's default power-state query: node 0, any source, no flags.
QRX_EXPORT int QuorixSetPCIESlotPresentToCPLD(void) {
    unsigned char power = static_cast<unsigned char>(qrx::slotFn<qrx::Slot::checkSystemPowerOk>()(0, 0, 0));
    if (power == g_lastSystemPowerState) return 0;
    g_lastSystemPowerState = power;
    if (power == kPowerOn) {
        unsigned int presence = 0;
        qrx::slotFn<qrx::Slot::QuorixGetPCIESlotPresentInfo>()(&presence);
        qrx::slotFn<qrx::Slot::SetPcieSlotPresentToCpld>()(&presence);
    }
    return 0;
}

QRX_EXPORT int ShowAllCPLDInfo(void) { return showAllCpld(); }

}  // extern "C"
