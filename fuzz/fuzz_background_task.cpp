// Background-task query and cancel handler over a fuzzed task table. Input:
// request length (low two bits), the request, then task-table patches.
#include <cstring>

#include "fuzz_support.h"
#include "quorix_common_interface.h"
#include "task_table_input.h"

namespace {

constexpr std::size_t kResponseSize = 2 + qfuzz::upd::kTaskCount * qfuzz::upd::kTaskRecordSize;  // 4607

int status(int id) {
    return qfuzz::taskRecord(id)[qfuzz::upd::task::kStatus];
}

void checkQuery(int id, const qfuzz::Bytes &resp, int n) {
    std::vector<int> expected;
    for (int slot = 0; slot < qfuzz::upd::kTaskCount; ++slot) {
        if (status(slot) == qfuzz::upd::kStatusNone || (id != 255 && id != slot)) continue;
        expected.push_back(slot);
    }
    if (expected.empty()) {
        if (n != 1 || resp[0] != 0xFF) qfuzz::fail("query of %d without tasks answered %d, 0x%X", id, n, resp[0]);
        return;
    }
    const int want = static_cast<int>(2 + expected.size() * qfuzz::upd::kTaskRecordSize);
    if (n != want || resp[0] != 0 || resp[1] != expected.size())
        qfuzz::fail("query of %d answered %d bytes, 0x%X, count %d; expected %d bytes, %zu tasks", id, n, resp[0],
                    resp[1], want, expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i)
        if (std::memcmp(resp.data() + 2 + i * qfuzz::upd::kTaskRecordSize, qfuzz::taskRecord(expected[i]),
                        qfuzz::upd::kTaskRecordSize) != 0)
            qfuzz::fail("query of %d: record %zu is not task %d", id, i, expected[i]);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    qfuzz::bindOnce();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    if (size == 0) return 0;
    qfuzz::TaskCall call = qfuzz::callOverTaskTable(data, size, kResponseSize, "background task handler",
                                                    QuorixBackgroundTaskOperaInterface);
    const qfuzz::Bytes &req = call.request;
    const qfuzz::Bytes &resp = call.response;
    const int n = call.result;

    if (req.size() != 2) {
        if (n != 1 || resp[0] != 0xC7) qfuzz::fail("request of %zu bytes answered %d, 0x%X", req.size(), n, resp[0]);
        return 0;
    }
    const int op = req[0], id = req[1];
    if (op > 1) {
        if (n != 1 || resp[0] != 0xCC) qfuzz::fail("operation %d answered %d, 0x%X", op, n, resp[0]);
    } else if (op == 1) {
        const unsigned want = id > qfuzz::upd::kMaxTaskId                ? 0xCC
                              : status(id) != qfuzz::upd::kStatusWaiting ? 0xD5
                                                                         : 0x00;
        if (n != 1 || resp[0] != want) qfuzz::fail("cancel of %d answered %d, 0x%X, not 0x%X", id, n, resp[0], want);
    } else if (id > qfuzz::upd::kMaxTaskId && id != 255) {
        if (n != 1 || resp[0] != 0xCC) qfuzz::fail("query of %d answered %d, 0x%X", id, n, resp[0]);
    } else {
        checkQuery(id, resp, n);
    }
    return 0;
}
