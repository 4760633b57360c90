// The disk sensor: run by the monitor once per scan and CPLD type, it
// debounces each disk's presence and status, keeps the counts, and turns
// count changes into SEL events for the IPMI main daemon (drive-slot sensors
// 150 front, 151 rear) and fresh faults into "DISK%d_Status" IDL records.
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "core/export.h"
#include "devstate/disk_layout.h"
#include "ipc/wire_records.h"
#include "quorix_common_interface.h"

namespace {

using namespace qrx::disk;

constexpr unsigned char kFrontSensorNumber = 150;
constexpr unsigned char kRearSensorNumber = 151;
constexpr int kDebounceScans = 5;  // a change is taken on the sixth scan that sees it

// SEL request bytes.
constexpr unsigned char kSensorTypeDriveSlot = 0x0D;
constexpr unsigned char kEventAssert = 0x6F;
constexpr unsigned char kEventDeassert = 0xEF;
constexpr unsigned char kEventData2Unused = 0xFF;
constexpr unsigned char kOffsetPresence = 0;
constexpr unsigned char kOffsetFault = 1;
constexpr unsigned char kOffsetPredictiveFailure = 2;
constexpr unsigned char kOffsetRebuild = 7;

// IDL sensor-event record of a disk fault.
constexpr unsigned char kIdlSourceDiskEvent = 0x20;

struct DiskSlot {
    std::uint8_t presence = 0;  // debounced
    std::uint8_t status = 0;    // debounced
    std::uint8_t counted = 0;   // already counted as inserted
    std::uint8_t prevPresence = 0;
    std::uint8_t prevStatus = 0;
    std::uint8_t presenceRetry = 0;
    std::uint8_t statusRetry = 0;
};

template <int Disks>
struct SensorState {
    std::uint8_t insertCount = 0;
    std::uint8_t presentCount = 0;
    std::uint8_t rebuildCount = 0;
    std::uint8_t predictiveFailureCount = 0;
    std::uint8_t faultCount = 0;
    DiskSlot disks[Disks];
};

// One set per CPLD type, in the monitor's process; zero at load. The
// presence-event latch is shared by both and never cleared.
SensorState<kFrontDisks> g_front;
SensorState<kRearDisks> g_rear;
bool g_presenceLatch = false;

void debounce(std::uint8_t seen, std::uint8_t &debounced, std::uint8_t &retry) {
    if (seen == debounced) {
        retry = 0;
    } else if (retry >= kDebounceScans) {
        retry = 0;
        debounced = seen;
    } else {
        ++retry;
    }
}

void sendSel(unsigned char sensorNumber, bool assert, unsigned char offset) {
    QuorixSelEvent event;
    std::memset(&event, 0, sizeof event);
    qrx::ByteView bytes(event.bytes);
    namespace w = qrx::ipc;
    bytes.setU8(w::kSelGeneratorOffset, w::kSelGeneratorBmc);
    bytes.setU8(w::kSelSensorTypeOffset, kSensorTypeDriveSlot);
    bytes.setU8(w::kSelSensorNumberOffset, sensorNumber);
    bytes.setU8(w::kSelEventTypeOffset, assert ? kEventAssert : kEventDeassert);
    bytes.setU8(w::kSelEventData1Offset, offset);
    bytes.setU8(w::kSelEventData2Offset, kEventData2Unused);
    w::sendToIpmiMain(w::kIpmiMainAddSel, event.bytes);
}

// Assertion when a count becomes non-zero, deassertion when it returns to 0.
void countEvent(unsigned char sensorNumber, std::uint8_t before, std::uint8_t now, unsigned char offset) {
    if (before == 0 && now != 0) sendSel(sensorNumber, true, offset);
    else if (before != 0 && now == 0) sendSel(sensorNumber, false, offset);
}

// One "DISK%d_Status " sensor event to the IDL log service.
int postDiskStatus(unsigned char event, unsigned char state, int disk, unsigned char sensor_number) {
    namespace w = qrx::ipc;
    char label[w::kIdlLabelMax + 1];
    std::snprintf(label, sizeof label, "DISK%d_Status ", disk);
    w::IdlRecord record;
    record.logType(w::kIdlLogKeepTime)
        .source(kIdlSourceDiskEvent)
        .sensorEvent(kSensorTypeDriveSlot, sensor_number, state == 1 ? kEventAssert : kEventDeassert, event,
                     static_cast<unsigned char>(disk), label);
    return w::postToIdl(record.record());
}

template <int Disks>
int runSensor(SensorState<Disks> &st, std::size_t tableOffset, unsigned char sensorNumber, int cpldType) {
    int n = numSupport(cpldType);
    // The per-disk state holds one table's worth of disks; a larger sum of
    // backplane slots never reaches past it or past the table.
    if (n > Disks) n = Disks;
    std::uint8_t inserted = st.insertCount;
    std::uint8_t present = 0, fault = 0, rebuild = 0, predictive = 0;
    for (int i = 0; i < n; ++i) {
        DiskSlot &d = st.disks[i];
        qrx::ByteView rec = qrx::sharedBlock().at(tableOffset + static_cast<std::size_t>(i) * kRecordSize);
        debounce(rec.u8(kSensorPresence), d.presence, d.presenceRetry);
        debounce(rec.u8(kStatus), d.status, d.statusRetry);
        if (d.status & kStatusFault) {
            ++fault;
            if ((d.prevStatus & kStatusFault) == 0) postDiskStatus(kOffsetFault, 1, i, sensorNumber);
        }
        if (d.status & kStatusPredictiveFailure) ++predictive;
        if (d.status & kStatusRebuild) ++rebuild;
        if (d.presence == 1) {
            ++present;
            if (d.prevPresence != 1 && d.counted == 0) {
                d.counted = 1;
                ++inserted;
            }
        }
    }
    countEvent(sensorNumber, st.faultCount, fault, kOffsetFault);
    countEvent(sensorNumber, st.predictiveFailureCount, predictive, kOffsetPredictiveFailure);
    countEvent(sensorNumber, st.rebuildCount, rebuild, kOffsetRebuild);

    bool steadyBefore = st.presentCount == st.insertCount;
    if (inserted > present && steadyBefore) {
        sendSel(sensorNumber, false, kOffsetPresence);
    } else if (inserted == present && !(steadyBefore && (g_presenceLatch || inserted == 0))) {
        sendSel(sensorNumber, true, kOffsetPresence);
        g_presenceLatch = true;
    }

    for (int i = 0; i < n; ++i) {
        st.disks[i].prevStatus = st.disks[i].status;
        st.disks[i].prevPresence = st.disks[i].presence;
    }
    st.presentCount = present;
    st.predictiveFailureCount = predictive;
    st.faultCount = fault;
    st.rebuildCount = rebuild;
    st.insertCount = inserted;
    return 0;
}

}  // namespace

extern "C" {

QRX_EXPORT int QuorixSetHDDSensor(int cpld_type) {
    if (cpld_type == kCpldFront) return runSensor(g_front, kFrontTableOffset, kFrontSensorNumber, cpld_type);
    if (cpld_type == kCpldRear) return runSensor(g_rear, kRearTableOffset, kRearSensorNumber, cpld_type);
    std::printf("WriteHwHDDInfo,error CpldType:%d!!\n", cpld_type);
    return -1;
}

QRX_EXPORT int QuorixHddStatusPostIdl(unsigned char event, unsigned char state, int disk, unsigned char sensor_number) {
    return postDiskStatus(event, state, disk, sensor_number);
}

}  // extern "C"
