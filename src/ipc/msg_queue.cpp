// System V message queues between daemons.
#include <sys/ipc.h>
#include <sys/msg.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "core/export.h"
#include "diag/log_names.h"
#include "ipc/wire_records.h"
#include "quorix_common_interface.h"
#include "quorix_platform.h"

namespace qrx::ipc {
namespace {

constexpr int kQueueFlags = IPC_CREAT | 0666;

int createQueue(int key) {
    int id = msgget(static_cast<key_t>(key), kQueueFlags);
    if (id == -1) {
        int err = errno;
        // The ideographic space after "MsgQueue" belongs to the message.
        qrx::debugLog(qrx::kLogCritical, qrx::kModuleDiag, "Error creating thread MsgQueue\u3000key :%dErroNo:%d", key,
                    err);
        return -1;
    }
    return id;
}

int readQueue(int msgid, void *buffer, int size) {
    unsigned char frame[kFrameBufferSize] = {};
    if (msgid == -1 || buffer == nullptr || size < 0) {
        qrx::debugLog(qrx::kLogCritical, qrx::kModuleDiag, "QuorixReadMsgQueue Error");
        return -1;
    }
    std::memset(buffer, 0, static_cast<std::size_t>(size));
    ssize_t rc = sigwrap_msgrcv(msgid, frame, kReceiveTextSize, 0, 0);
    if (rc == -1) {
        int err = errno;
        std::printf("[Error]: read the msgid date error: msgid=%d, RetVal=%d;errorNo:%d", msgid, static_cast<int>(rc),
                    err);
        qrx::debugLog(qrx::kLogCritical, qrx::kModuleDiag, "Read the msgid date error: msgid=%d, RetVal=%d;errorNo:%d\n",
                    msgid, static_cast<int>(rc), err);
        return -1;
    }
    std::memcpy(buffer, frame + kFramePayloadOffset, static_cast<std::size_t>(std::min(size, kMaxPayload)));
    return 0;
}

}  // namespace

int writeQueue(int key, const void *data, int size) {
    unsigned char frame[kFrameBufferSize] = {};
    frame[kFrameMarkerOffset] = kFrameMarker;
    if (size > kMaxPayload || size < 0 || data == nullptr) {
        qrx::debugLog(qrx::kLogCritical, qrx::kModuleDiag, "QuorixWriteMsgQueue Error Size:%d;Max:%d", size, kMaxPayload);
        return -1;
    }
    std::memcpy(frame + kFramePayloadOffset, data, static_cast<std::size_t>(size));
    int id = createQueue(key);
    if (id < 0) return -1;
    // The kernel takes the leading long of the frame as the message type
    // (marker plus payload bytes, never zero) and size bytes after it as the
    // text; the receiver reassembles the payload from offset 1.
    if (sigwrap_msgsnd(id, frame, static_cast<std::size_t>(size), IPC_NOWAIT) == -1) {
        int err = errno;
        qrx::debugLog(qrx::kLogCritical, qrx::kModuleDiag, "Send MsgQueue Error MsgId:%d;ErrNo:%d", id, err);
        return -1;
    }
    return 0;
}
}  // namespace qrx::ipc

extern "C" {

QRX_EXPORT int QuorixCreateMsgQueue(int key) {
    return qrx::ipc::createQueue(key);
}

QRX_EXPORT int QuorixWriteMsgQueue(int key, const void *data, int size) {
    return qrx::ipc::writeQueue(key, data, size);
}

QRX_EXPORT int QuorixReadMsgQueue(int msgid, void *buffer, int size) {
    return qrx::ipc::readQueue(msgid, buffer, size);
}

}  // extern "C"
