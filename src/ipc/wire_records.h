// Wire formats of the records sent to other daemons over the named pipes
// and the message queues. Both ends of every channel rely on these bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "core/byte_access.h"
#include "quorix_common_interface.h"

namespace qrx::ipc {

// Channels.
inline constexpr const char *kIpmiMainPipe = "/var/quorix_ipmimain_pipe", *kOneKeyLogPipe = "/var/quorix_okl_pipe";
inline constexpr const char *kSelCollectorPipe = "/var/quorix_selc_pipe", *kPowerOffScanPipe = "/var/poweroffscanpipe";
inline constexpr int kIdlQueueKey = 12345;
inline constexpr int kMcaQueueKey = 12347;

// Message-queue frame: marker byte 1, then the payload. The kernel reads a
// native long as the message type from offset 0 and the text right after
// it, so the buffers carry sizeof(long) spare bytes beyond the 1025 of the
// frame; the layout at offsets 0.. is the one every peer expects.
inline constexpr std::size_t kFrameSize = 1025, kFrameBufferSize = kFrameSize + sizeof(long), kFrameMarkerOffset = 0;
inline constexpr std::size_t kFramePayloadOffset = 1;
inline constexpr std::uint8_t kFrameMarker = 1;
inline constexpr int kMaxPayload = 1024;
inline constexpr std::size_t kReceiveTextSize = kFrameSize;

// IDL request record: log type, source, time stamp, then the body from byte 12.
inline constexpr std::size_t kIdlRecordSize = 296, kIdlLogTypeOffset = 0, kIdlSourceOffset = 4, kIdlTimeOffset = 8;
inline constexpr std::uint8_t kIdlLogKeepTime = 0;
inline constexpr std::uint8_t kIdlLogStampTime = 1;
static_assert(sizeof(QuorixIdlRecord) == kIdlRecordSize, "IDL record is 296 bytes");

// Text line body.
inline constexpr std::size_t kIdlTextMarkerOffset = 12;  // 0xFF
inline constexpr std::size_t kIdlTextKindOffset = 13, kIdlTextFlagOffset = 14, kIdlTextOffset = 15, kIdlTextMax = 255;
inline constexpr std::uint8_t kIdlTextMarker = 0xFF;

// Sensor event body.
inline constexpr std::size_t kIdlSensorTypeOffset = 12, kIdlSensorNumberOffset = 14, kIdlEventTypeOffset = 15;
inline constexpr std::size_t kIdlEventData1Offset = 16, kIdlEventData2Offset = 17, kIdlLabelOffset = 19;
inline constexpr std::size_t kIdlLabelMax = 15, kIdlLabelEndOffset = 39;
inline constexpr std::uint8_t kIdlLabelEnd = 0x0A;

// Queue payloads of the IDL and MCA requests.
inline constexpr int kRequestPayloadSize = 300;
inline constexpr std::size_t kRequestCodeOffset = 0;
inline constexpr std::size_t kRequestRecordOffset = 4;
inline constexpr std::uint8_t kRequestCodeIdl = 0;
inline constexpr std::uint8_t kRequestCodeMca = 1;
inline constexpr std::size_t kMcaRecordSent = 256;
static_assert(sizeof(QuorixMcaRecord) == kMcaRecordSent, "MCA record is 256 bytes");
static_assert(kRequestRecordOffset + kIdlRecordSize == kRequestPayloadSize, "IDL payload is 300 bytes");

// IPMI-main pipe record.
inline constexpr std::size_t kIpmiMainRecordSize = 18, kIpmiMainCommandOffset = 0, kIpmiMainEventOffset = 2;
inline constexpr std::size_t kSelEventSize = 9;
inline constexpr std::uint8_t kIpmiMainAddSel = 0;
inline constexpr std::uint8_t kIpmiMainReload = 1;
static_assert(sizeof(QuorixSelEvent) == 12, "SEL request is 12 bytes");

// SEL event record (byte 2, the EvM revision, stays 0); the values are those
// of a failed (or recovered) update task.
inline constexpr std::size_t kSelGeneratorOffset = 0, kSelSensorTypeOffset = 3, kSelSensorNumberOffset = 4;
inline constexpr std::size_t kSelEventTypeOffset = 5, kSelEventData1Offset = 6, kSelEventData2Offset = 7;
inline constexpr std::size_t kSelEventData3Offset = 8;
inline constexpr std::uint8_t kSelGeneratorBmc = 0x20, kTaskSelSensorType = 0x18, kTaskSelSensorNumber = 0x02;
inline constexpr std::uint8_t kTaskSelEventData1 = 0x01;

// Collector request record.
inline constexpr std::size_t kCollectorRecordSize = 300;
inline constexpr std::uint8_t kCollectorRequest = 3;

// Power-off scan task notice.
inline constexpr std::size_t kNoticeSize = 1025, kNoticeTypeOffset = 0, kNoticeTaskOffset = 1;
inline constexpr unsigned kNoticeMaxType = 3;
inline constexpr unsigned kNoticeTaskType = 2;  // the only type that names a task
inline constexpr unsigned kNoticeMaxTaskId = 14;
inline constexpr unsigned kNoticeAllTasks = 255;

// Writes length bytes to the named pipe through slot 150; -1 when the slot
// is empty. Returns the bytes written.
int writeNamedPipe(const char *path, unsigned char *buffer, int length);
// The library's senders, as QuorixWriteMsgQueue, QuorixPostReqToIDL and
// QuorixAddTaskFailToSEL do them.
int writeQueue(int key, const void *data, int size);
int postToIdl(QuorixIdlRecord record);
int addTaskFailToSel(std::uint8_t kind, std::uint8_t taskId, std::uint8_t status);
// A power-off scan task notice (QuorixNotifyTaskThread): 0, or -1 refused or unsent.
int notifyTaskThread(unsigned msgType, unsigned taskId);
// One record to IPMI-main: command, then the 9-byte SEL event (none for a reload).
int sendToIpmiMain(std::uint8_t command, const unsigned char *event);

// IDL record builder for every record the library sends (text lines of the
// power policy, update runs, SNMP and SMTP requests; disk sensor events).
class IdlRecord {
public:
    IdlRecord() : record_{} {}
    ByteView view() { return ByteView(record_.bytes); }
    IdlRecord &logType(std::uint8_t type) { return set(kIdlLogTypeOffset, type); }
    IdlRecord &source(std::uint8_t value) { return set(kIdlSourceOffset, value); }
    IdlRecord &timeStamp(std::uint32_t seconds) {
        view().setU32(kIdlTimeOffset, seconds);
        return *this;
    }
    IdlRecord &set(std::size_t offset, std::uint8_t value) {
        if (offset < kIdlRecordSize) record_.bytes[offset] = value;
        return *this;
    }
    // Text line: 0xFF, kind, flag, then the text cut to 255 characters; the
    // rest of the body stays zero, so the text is always terminated.
    IdlRecord &textLine(std::uint8_t kind, std::uint8_t flag, const char *text) {
        set(kIdlTextMarkerOffset, kIdlTextMarker);
        set(kIdlTextKindOffset, kind);
        set(kIdlTextFlagOffset, flag);
        std::memset(record_.bytes + kIdlTextOffset, 0, kIdlRecordSize - kIdlTextOffset);
        if (text != nullptr) std::memcpy(record_.bytes + kIdlTextOffset, text, ::strnlen(text, kIdlTextMax));
        return *this;
    }
    // Sensor event: type, number, event type and data bytes 1 and 2, then a
    // label of up to 15 characters ended by 0x0A.
    IdlRecord &sensorEvent(std::uint8_t sensorType, std::uint8_t number, std::uint8_t eventType, std::uint8_t data1,
                           std::uint8_t data2, const char *label) {
        set(kIdlSensorTypeOffset, sensorType);
        set(kIdlSensorNumberOffset, number);
        set(kIdlEventTypeOffset, eventType);
        set(kIdlEventData1Offset, data1);
        set(kIdlEventData2Offset, data2);
        view().copyIn(kIdlLabelOffset, label, strnlen(label, kIdlLabelMax));
        return set(kIdlLabelEndOffset, kIdlLabelEnd);
    }
    const QuorixIdlRecord &record() const { return record_; }

private:
    QuorixIdlRecord record_;
};

}  // namespace qrx::ipc
