// The power-history recorder: one sample per call, closing an hour, a day or
// a month when the calendar moves on.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "core/export.h"
#include "core/float_bits.h"
#include "core/shared_block.h"
#include "devstate/flags_layout.h"
#include "history/history_layout.h"
#include "history/history_store.h"
#include "quorix_common_interface.h"

namespace qrx::history {
namespace {

bool g_periodsStarted = false;

void addSample(QuorixHistoryBlock *h, int channel, std::uint32_t value) {
    sampleSum(h, channel) += value;
    if (value > sampleMax(h, channel)) sampleMax(h, channel) = value;
    ++sampleCount(h, channel);
}

void zeroChannel(QuorixHistoryBlock *h, int channel) {
    sampleCount(h, channel) = sampleSum(h, channel) = sampleMax(h, channel) = 0;
}

// The device-state family's scan switches say which classes are sampled.
bool sampling(unsigned scan) {
    return flags::scanEnable(scan) == kScanSampling;
}

void sampleClass3(QuorixHistoryBlock *day) {
    if (sampling(kClass3Scan)) {
        const float reading = sharedBlock().f32(kClass3ReadingOffset);
        if (floatbits::truncatedSaturated(reading) != kClass3Absent) {
            addSample(day, kClass3Channel, floatbits::roundedHalfUpWrapped(reading));
            return;
        }
    }
    zeroChannel(day, kClass3Channel);
}

// False when supply sampling is off: the caller stops before any period closes.
bool sampleSupplies(QuorixHistoryBlock *day) {
    if (!sampling(kSupplyScan)) {
        zeroChannel(day, kTotalChannel);
        for (int i = 0; i < kSupplies; ++i) zeroChannel(day, kFirstSupplyChannel + i);
        return false;
    }
    const ByteView block = sharedBlock();
    for (int i = 0; i < kSupplies; ++i) {
        if (block.u8(kSupplyPresentBase + kSupplyStride * i) != 1) continue;
        const float reading = block.f32(kSupplyReadingBase + kSupplyStride * i);
        addSample(day, kFirstSupplyChannel + i, floatbits::roundedHalfUpWrapped(reading));
    }
    addSample(day, kTotalChannel, block.u16(kTotalPowerOffset));
    return true;
}

void sampleDevices(QuorixHistoryBlock *day) {
    if (!sampling(kClass0Scan)) {
        for (int j = 0; j < kDevices; ++j) zeroChannel(day, kFirstDeviceChannel + j);
        return;
    }
    const ByteView block = sharedBlock();
    for (int j = 0; j < kDevices; ++j) {
        if (block.u8(kDevicePresentBase + kDeviceStride * j) != 1) continue;
        // A whole number already: rounding it as a float would give it back.
        addSample(day, kFirstDeviceChannel + j, block.u16(kDeviceReadingBase + kDeviceStride * j));
    }
}

struct Calendar {
    std::uint32_t now;
    int hour, day, month, year;
};

// Builds the record of the period gathered in `from`, appends it, rolls its
// averages into `into` (when there is a longer period) and restarts `from`.
void closePeriod(QuorixHistoryBlock *from, QuorixHistoryBlock *into, const Calendar &cal) {
    unsigned char record[kRecordSize] = {};
    const ByteView out(record);
    for (int c = 0; c < kChannels; ++c) {
        const std::uint32_t n = sampleCount(from, c);
        const std::uint32_t average = n == 0 ? 0 : sampleSum(from, c) / n;
        out.setU16(averageOffset(c), static_cast<std::uint16_t>(average));
        out.setU16(maximumOffset(c), static_cast<std::uint16_t>(sampleMax(from, c)));
        if (into != nullptr) {
            // The longer period's maximum is the largest of these averages.
            const std::uint32_t rolled = out.u16(averageOffset(c));
            if (n != 0) ++sampleCount(into, c);
            sampleSum(into, c) += rolled;
            if (rolled > sampleMax(into, c)) sampleMax(into, c) = rolled;
        }
    }
    out.setU16(kHourOffset, static_cast<std::uint16_t>(cal.hour));
    out.setU16(kDayOffset, static_cast<std::uint16_t>(cal.day));
    out.setU16(kMonthOffset, static_cast<std::uint16_t>(cal.month));
    out.setU16(kYearOffset, static_cast<std::uint16_t>(cal.year));
    out.setU32(kRefreshedOffset, cal.now);
    out.setU32(kClosedOffset, cal.now);
    append(from, record);
    std::memset(from->work, 0, sizeof from->work);
}

// One period level: refresh the newest record while the marker holds, else
// close the period and take the new marker.
void advance(QuorixHistoryBlock *history, QuorixHistoryBlock *longer, int marker, const Calendar &cal) {
    if (history->period == static_cast<std::uint32_t>(marker)) {
        ByteView(history->tail->record).setU32(kRefreshedOffset, cal.now);
        return;
    }
    closePeriod(history, longer, cal);
    history->period = static_cast<std::uint32_t>(marker);
}

int record() {
    if (getHistoryDataFlag == 1) return 0;
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    if (localtime_r(&now, &local) == nullptr) {
        std::printf("Localtime return null func:%s line:%d\n", "historyDataRecord", __LINE__);
        return -1;
    }
    // The recorder needs its working areas; a daemon that skipped the init gets it here.
    if ((dayHistoryLinkHead == nullptr || monthHistoryLinkHead == nullptr || yearHistoryLinkHead == nullptr) &&
        initAll() != 0)
        return -1;
    if (intf_quorix_mem == nullptr) return -1;
    QuorixHistoryBlock *day = dayHistoryLinkHead;
    QuorixHistoryBlock *month = monthHistoryLinkHead;
    QuorixHistoryBlock *year = yearHistoryLinkHead;
    if (!g_periodsStarted) {
        // 24 is no real hour, so the first sample closes an hour at once.
        day->period = 24;
        month->period = 0;
        year->period = 0;
        g_periodsStarted = true;
    }
    sampleClass3(day);
    if (!sampleSupplies(day)) return 0;
    sampleDevices(day);

    const Calendar cal{static_cast<std::uint32_t>(now), local.tm_hour, local.tm_mday, local.tm_mon + 1,
                       local.tm_year + 1900};
    advance(day, month, cal.hour, cal);
    advance(month, year, cal.day, cal);
    advance(year, nullptr, cal.month, cal);
    return 0;
}

}  // namespace
}  // namespace qrx::history

extern "C" QRX_EXPORT int historyDataRecord(void) {
    return qrx::history::record();
}
