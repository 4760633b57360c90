// Ready-made requests to other daemons: fixed-size records posted on the
// message queues or the named pipes.
#include <sys/prctl.h>

#include <cstdio>
#include <cstring>
#include <ctime>

#include "core/export.h"
#include "ipc/wire_records.h"
#include "quorix_common_interface.h"

namespace qrx::ipc {
namespace {

// Local wall-clock seconds: UTC seconds plus the zone's offset.
std::uint32_t localSeconds() {
    std::time_t now = std::time(nullptr);
    std::tm local{};
    long offset = localtime_r(&now, &local) != nullptr ? local.tm_gmtoff : 0;
    return static_cast<std::uint32_t>(static_cast<long long>(now) + offset);
}

int postToMca(const QuorixMcaRecord &record) {
    unsigned char payload[kRequestPayloadSize] = {};
    payload[kRequestCodeOffset] = kRequestCodeMca;
    std::memcpy(payload + kRequestRecordOffset, record.bytes, kMcaRecordSent);
    return writeQueue(kMcaQueueKey, payload, kRequestPayloadSize);
}


int postCollectorRequest(const char *pipe) {
    unsigned char record[kCollectorRecordSize] = {};
    record[0] = kCollectorRequest;
    return writeNamedPipe(pipe, record, static_cast<int>(kCollectorRecordSize));
}

bool validNotice(unsigned msgType, unsigned taskId) {
    unsigned task = taskId & 0xFFu;
    return msgType <= kNoticeMaxType && (task <= kNoticeMaxTaskId || task == kNoticeAllTasks);
}

}  // namespace

int notifyTaskThread(unsigned msgType, unsigned taskId) {
    if (!validNotice(msgType, taskId)) {
        std::puts("Notify Task fail, Invalid msg type or task id.");
        return -1;
    }
    unsigned char notice[kNoticeSize] = {};
    notice[kNoticeTypeOffset] = static_cast<unsigned char>(msgType);
    if (msgType == kNoticeTaskType) notice[kNoticeTaskOffset] = static_cast<unsigned char>(taskId);
    if (writeNamedPipe(kPowerOffScanPipe, notice, static_cast<int>(kNoticeSize)) == static_cast<int>(kNoticeSize))
        return 0;
    std::printf("Error writing Prep command");
    return -1;
}
int sendToIpmiMain(std::uint8_t command, const unsigned char *event) {
    unsigned char record[kIpmiMainRecordSize] = {};
    record[kIpmiMainCommandOffset] = command;
    if (event != nullptr) std::memcpy(record + kIpmiMainEventOffset, event, kSelEventSize);
    return writeNamedPipe(kIpmiMainPipe, record, static_cast<int>(kIpmiMainRecordSize));
}

int postToIdl(QuorixIdlRecord record) {
    ByteView rec(record.bytes);
    std::uint8_t logType = rec.u8(kIdlLogTypeOffset);
    if (logType > kIdlLogStampTime) {
        std::printf("the IDL Log Type(%d) is Error\n", logType);
        return 1;  // not -1: callers tell a refused record from a failed send
    }
    if (logType == kIdlLogStampTime) rec.setU32(kIdlTimeOffset, localSeconds());
    unsigned char payload[kRequestPayloadSize] = {};
    payload[kRequestCodeOffset] = kRequestCodeIdl;
    std::memcpy(payload + kRequestRecordOffset, record.bytes, kIdlRecordSize);
    return writeQueue(kIdlQueueKey, payload, kRequestPayloadSize);
}

int addTaskFailToSel(std::uint8_t kind, std::uint8_t taskId, std::uint8_t status) {
    // Deliberately not restored: the calling thread keeps this name.
    prctl(PR_SET_NAME, "QuorixAddTaskFailToSEL", 0, 0, 0);
    QuorixSelEvent event{};
    ByteView sel(event.bytes);
    sel.setU8(kSelGeneratorOffset, kSelGeneratorBmc);
    sel.setU8(kSelSensorTypeOffset, kTaskSelSensorType);
    sel.setU8(kSelSensorNumberOffset, kTaskSelSensorNumber);
    sel.setU8(kSelEventTypeOffset, kind);
    sel.setU8(kSelEventData1Offset, kTaskSelEventData1);
    sel.setU8(kSelEventData2Offset, taskId);
    sel.setU8(kSelEventData3Offset, status);
    sendToIpmiMain(kIpmiMainAddSel, event.bytes);
    return 0;
}

}  // namespace qrx::ipc

extern "C" {

QRX_EXPORT int QuorixPostReqToIDL(QuorixIdlRecord record) {
    return qrx::ipc::postToIdl(record);
}

QRX_EXPORT int QuorixPostReqToMCA(QuorixMcaRecord record) {
    return qrx::ipc::postToMca(record);
}

QRX_EXPORT int QuorixAddSELToIPMIMain(QuorixSelEvent event) {
    return qrx::ipc::sendToIpmiMain(qrx::ipc::kIpmiMainAddSel, event.bytes);
}

QRX_EXPORT int QuorixSendReloadToIPMIMain(void) {
    return qrx::ipc::sendToIpmiMain(qrx::ipc::kIpmiMainReload, nullptr);
}

QRX_EXPORT int QuorixPostReqToOneKeyLog(void) {
    return qrx::ipc::postCollectorRequest(qrx::ipc::kOneKeyLogPipe);
}

QRX_EXPORT int QuorixPostReqToRFSELCollectLog(void) {
    return qrx::ipc::postCollectorRequest(qrx::ipc::kSelCollectorPipe);
}

QRX_EXPORT int QuorixAddTaskFailToSEL(unsigned char kind, unsigned char task_id, unsigned char status) {
    return qrx::ipc::addTaskFailToSel(kind, task_id, status);
}

QRX_EXPORT int QuorixNotifyTaskThread(unsigned int msg_type, unsigned int task_id) {
    return qrx::ipc::notifyTaskThread(msg_type, task_id);
}

}  // extern "C"
