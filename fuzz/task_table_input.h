// Task-table contents for the update-task targets: the input after the
// request patches bytes of the table, three bytes per patch (task id, offset
// within the first 256 bytes of the record, value).
#pragma once

#include <algorithm>
#include <cstring>

#include "fuzz_support.h"
#include "update/update_layout.h"

namespace qfuzz {

namespace upd = qrx::update;

inline void clearTaskTable() {
    std::memset(block() + upd::kTaskTableOffset, 0, upd::kTaskCount * upd::kTaskRecordSize);
}

inline void patchTaskTable(const std::uint8_t *data, std::size_t size) {
    for (std::size_t at = 0; at + 3 <= size; at += 3) {
        const std::size_t task = data[at] % upd::kTaskCount;
        block()[upd::kTaskTableOffset + task * upd::kTaskRecordSize + data[at + 1]] = data[at + 2];
    }
}

inline const unsigned char *taskRecord(int id) {
    return block() + upd::kTaskTableOffset + static_cast<std::size_t>(id) * upd::kTaskRecordSize;
}

// The queries refresh the progress estimate of CPLD and FPGA tasks (the CPLD
// estimate also clears the start time of an ended task) and write nothing else.
inline std::vector<Region> estimateBytes() {
    std::vector<Region> regions;
    for (int id : {2, 3, 4, 7, 8, 9, 10, 14}) {
        const std::size_t base = upd::kTaskTableOffset + static_cast<std::size_t>(id) * upd::kTaskRecordSize;
        regions.push_back({base + upd::task::kProgress, 1});
        if (id <= 4 || id == 10) regions.push_back({base + upd::task::kStartTime, 4});
    }
    return regions;
}

// One input: the low two bits of the first byte give the request length, the
// request follows and the rest patches a cleared table. `handle` is called
// with the block watched for writes beyond the estimates; its result is
// returned along with the request and the exact-size response.
struct TaskCall {
    Bytes request;
    Bytes response;
    int result;
};

template <typename Handler>
TaskCall callOverTaskTable(const std::uint8_t *data, std::size_t size, std::size_t responseSize, const char *what,
                           Handler handle) {
    const std::size_t length = std::min<std::size_t>(data[0] & 3, size - 1);
    TaskCall call{Bytes(data + 1, data + 1 + length), exact(responseSize), 0};
    clearTaskTable();
    patchTaskTable(data + 1 + length, size - 1 - length);
    BlockWatch watch(estimateBytes());
    watch.arm();
    call.result = handle(bytesOf(call.request), static_cast<int>(call.request.size()), call.response.data());
    watch.disarm(what);
    return call;
}

}  // namespace qfuzz
