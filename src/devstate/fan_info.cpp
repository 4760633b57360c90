// Fan information records: the count, record copies in and out, and the
// console report with the platform's summary health (slot 12).
#include <cstdio>

#include "core/export.h"
#include "core/slot_table.h"
#include "devstate/fan_layout.h"

namespace {

using namespace qrx::fan;

qrx::ByteView block() { return qrx::sharedBlock(); }

using FanName = qrx::ConsoleText<kNameLen>;

}  // namespace

extern "C" {

QRX_EXPORT int QuorixGetFanNumber(void) { return clampedCount(); }

QRX_EXPORT int read_quorix_fan_info(int index, unsigned char *info) {
    if (info == nullptr || index < 0 || index >= clampedCount()) return -1;
    block().copyOut(recordOffset(index), info, kRecordSize);
    return 0;
}

// The monitor's writer: a record beyond the current count raises the count.
QRX_EXPORT int write_quorix_fan_info(int index, const unsigned char *info) {
    if (info == nullptr || index < 0 || index >= kMaxFans) return -1;
    block().copyIn(recordOffset(index), info, kRecordSize);
    if (count() < index + 1) block().setU8(kCountOffset, static_cast<unsigned char>(index + 1));
    return 0;
}

// The duty reaches the record only once the controller took it, so the block
// never shows a speed the fans were not asked for.
QRX_EXPORT int quorixSetFanSpeedInterface(int fan_index, int duty_percent) {
    if (fan_index < 0 || fan_index >= clampedCount() || duty_percent < 0 || duty_percent > kMaxDuty) return -1;
    int result = qrx::slotFn<qrx::Slot::SetFanSpeed>()(fan_index, duty_percent);
    if (result == 0) block().setU8(recordOffset(fan_index) + kDuty, static_cast<unsigned char>(duty_percent));
    return result;
}

QRX_EXPORT int show_fan_info(void) {
    int n = clampedCount();
    std::printf("show_fan_info:fan num %d;\n", n);
    for (int i = 0; i < n; ++i) {
        std::size_t at = recordOffset(i);
        if (block().u8(at + kPresent) != 1) {
            std::printf("    fan%d: absent;\n", i);
            continue;
        }
        std::printf("    fan%d: Name: %s; Health: %d; FrontSpeed: %u rpm; RearSpeed: %u rpm; MaxSpeed: %u rpm; "
                    "Duty: %u%%; RotorModel: %u;\n",
                    i, FanName(block(), at + kName).c_str(), block().u8(at + kHealth), block().u16(at + kFrontSpeed),
                    block().u16(at + kRearSpeed), block().u16(at + kMaxSpeed), block().u8(at + kDuty),
                    block().u8(at + kRotorModel));
    }
    int health = qrx::slotFn<qrx::Slot::QuorixGetFanSummaryHealth>()();
    std::printf("    FanSummaryHealth: %d;\n", health);
    return health;
}

}  // extern "C"
