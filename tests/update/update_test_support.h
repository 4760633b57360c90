// Helpers of the update tests: the task table, what went out on the pipes
// (slot 150) and on the IDL queue, and the simulator's programming time.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "quorix_test.h"

namespace utest {

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kTaskTable = 0x620599;
constexpr std::size_t kRecordSize = 307;
inline std::size_t taskField(int id, std::size_t field) {
    return kTaskTable + kRecordSize * id + field;
}
void putByte(std::size_t offset, std::uint8_t value);
void putU16(std::size_t offset, std::uint16_t value);
void putU32(std::size_t offset, std::uint32_t value);
std::uint8_t byteAt(std::size_t offset);
std::uint32_t u32At(std::size_t offset);
void putText(std::size_t offset, const std::string &text);

// One pipe write seen by slot 150.
struct PipeWrite {
    std::string path;
    Bytes bytes;
};
extern std::vector<PipeWrite> g_pipeWrites;
// Slot 150 replacement that records every write and reports it whole.
int recordPipeWrite(const char *path, unsigned char *buffer, int length);
// SEL events sent to the IPMI main daemon: {event type, task id, status}.
std::vector<std::vector<int>> selEvents();

// IDL update lines waiting on queue 12345: {kind byte, flag byte, text}.
struct IdlLine {
    int kind;
    int flag;
    std::string text;
};
std::vector<IdlLine> takeIdlLines();

void setProgramTime(int slot, unsigned milliseconds);

// Bound library with pipe writes recorded, the IDL queue and upload folder empty.
class UpdateTest : public qtest::BoundTest {
protected:
    void SetUp() override;
};

}  // namespace utest
