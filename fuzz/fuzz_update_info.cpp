// Update-status report handler over a fuzzed task table. Input: request
// length (low two bits), the request, then task-table patches.
#include "fuzz_support.h"
#include "quorix_common_interface.h"
#include "task_table_input.h"

namespace {

constexpr std::size_t kResponseSize = 572;
constexpr std::size_t kEntrySize = 38;
constexpr int kReportedTasks = 12;
constexpr std::size_t kEntryName = 1;
constexpr std::size_t kEntryNameSize = 32;
constexpr std::size_t kEntryStatus = 33;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    qfuzz::bindOnce();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    if (size == 0) return 0;
    qfuzz::TaskCall call =
        qfuzz::callOverTaskTable(data, size, kResponseSize, "update info handler", QuorixGetUpdateInfoInterface);
    const qfuzz::Bytes &req = call.request;
    const qfuzz::Bytes &resp = call.response;
    const int n = call.result;

    if (req.size() != 1 || req[0] != 0) {
        const unsigned want = req.size() != 1 ? 0xC7 : 0xCC;
        if (n != 1 || resp[0] != want) qfuzz::fail("request answered %d, 0x%X, not 0x%X", n, resp[0], want);
        return 0;
    }
    std::vector<int> listed;
    for (int id = 0; id < kReportedTasks; ++id)
        if (qfuzz::taskRecord(id)[qfuzz::upd::task::kStatus] != qfuzz::upd::kStatusNone) listed.push_back(id);
    const int want = static_cast<int>(2 + listed.size() * kEntrySize);
    if (n != want || resp[0] != 0 || resp[1] != listed.size())
        qfuzz::fail("report answered %d bytes, 0x%X, count %d; expected %d bytes", n, resp[0], resp[1], want);
    for (std::size_t i = 0; i < listed.size(); ++i) {
        const unsigned char *entry = resp.data() + 2 + i * kEntrySize;
        const unsigned char *task = qfuzz::taskRecord(listed[i]);
        if (entry[0] != task[qfuzz::upd::task::kId] || entry[kEntryStatus] != task[qfuzz::upd::task::kStatus])
            qfuzz::fail("report entry %zu does not show task %d", i, listed[i]);
        if (entry[kEntryName + kEntryNameSize - 1] != 0) qfuzz::fail("report entry %zu name is not terminated", i);
    }
    return 0;
}
