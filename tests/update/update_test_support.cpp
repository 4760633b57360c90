#include "update_test_support.h"

#include <dlfcn.h>
#include <sys/msg.h>

#include <cstring>

#include "core/shared_block.h"
#include "ipc/wire_records.h"

namespace utest {

std::vector<PipeWrite> g_pipeWrites;

void putByte(std::size_t offset, std::uint8_t value) {
    qrx::sharedBlock().setU8(offset, value);
}
void putU16(std::size_t offset, std::uint16_t value) {
    qrx::sharedBlock().setU16(offset, value);
}
void putU32(std::size_t offset, std::uint32_t value) {
    qrx::sharedBlock().setU32(offset, value);
}
std::uint8_t byteAt(std::size_t offset) {
    return qrx::sharedBlock().u8(offset);
}
std::uint32_t u32At(std::size_t offset) {
    return qrx::sharedBlock().u32(offset);
}
void putText(std::size_t offset, const std::string &text) {
    qrx::sharedBlock().copyIn(offset, text.data(), text.size());
}

int recordPipeWrite(const char *path, unsigned char *buffer, int length) {
    g_pipeWrites.push_back({path, Bytes(buffer, buffer + length)});
    return length;
}

std::vector<std::vector<int>> selEvents() {
    std::vector<std::vector<int>> events;
    for (const PipeWrite &w : g_pipeWrites) {
        if (w.path != qrx::ipc::kIpmiMainPipe || w.bytes.size() != qrx::ipc::kIpmiMainRecordSize) continue;
        const std::uint8_t *e = w.bytes.data() + qrx::ipc::kIpmiMainEventOffset;
        events.push_back(
            {e[qrx::ipc::kSelEventTypeOffset], e[qrx::ipc::kSelEventData2Offset], e[qrx::ipc::kSelEventData3Offset]});
    }
    return events;
}

std::vector<IdlLine> takeIdlLines() {
    std::vector<IdlLine> lines;
    int id = msgget(qrx::ipc::kIdlQueueKey, 0);
    if (id < 0) return lines;
    // A peer receives the frame whole: the kernel's type word is the frame's
    // first bytes, so the request starts at the frame's payload offset.
    alignas(long) unsigned char frame[qrx::ipc::kFrameBufferSize + 8] = {};
    while (msgrcv(id, frame, qrx::ipc::kReceiveTextSize, 0, IPC_NOWAIT) >= 0) {
        const unsigned char *record = frame + qrx::ipc::kFramePayloadOffset + qrx::ipc::kRequestRecordOffset;
        lines.push_back({record[qrx::ipc::kIdlTextKindOffset], record[qrx::ipc::kIdlTextFlagOffset],
                         reinterpret_cast<const char *>(record + qrx::ipc::kIdlTextOffset)});
        EXPECT_EQ(record[qrx::ipc::kIdlLogTypeOffset], 1);
        EXPECT_EQ(record[qrx::ipc::kIdlTextMarkerOffset], 0xFF);
    }
    return lines;
}

void setProgramTime(int slot, unsigned milliseconds) {
    void *lib = dlopen(qtest::kFeatureLibraryPath, RTLD_NOW | RTLD_NOLOAD);
    ASSERT_NE(lib, nullptr);
    auto set = reinterpret_cast<int (*)(int, unsigned)>(dlsym(lib, "quorix_sim_set_program_time"));
    ASSERT_NE(set, nullptr);
    ASSERT_EQ(set(slot, milliseconds), 0);
    dlclose(lib);
}

void UpdateTest::SetUp() {
    BoundTest::SetUp();
    g_pipeWrites.clear();
    qtest::replaceSlot(150, &recordPipeWrite);
    takeIdlLines();
    qtest::clearDirectory("/usr/local/lmedia");
}

}  // namespace utest
