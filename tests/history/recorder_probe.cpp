// Runs the recorder under libfaketime, one command per line on standard input:
//   at DATE TIME | u8|u16|f32 HEXOFFSET VALUE | scan INDEX VALUE | flag VALUE | record -> "rc N"
//   dump day|month|year -> its two newest records "NAME h d m y refreshed closed channel=avg/max..."
//   work day|month|year -> "work NAME channel=count/sum/max..."
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iostream>
#include <sstream>

#include "core/byte_access.h"
#include "quorix_common_interface.h"

namespace {

std::string utc(std::uint32_t t) {
    const std::time_t tt = t;
    char text[32];
    std::strftime(text, sizeof text, "%F_%R", std::gmtime(&tt));
    return text;
}

void printRecord(const char *name, unsigned char *record) {
    const qrx::ByteView v(record);
    std::printf("%s %u %u %u %u %s %s", name, v.u16(200), v.u16(202), v.u16(204), v.u16(206), utc(v.u32(208)).c_str(),
                utc(v.u32(212)).c_str());
    for (int c = 0; c < 50; ++c)
        if (v.u16(4 * c) != 0 || v.u16(4 * c + 2) != 0) std::printf(" %d=%u/%u", c, v.u16(4 * c), v.u16(4 * c + 2));
    std::printf("\n");
}

}  // namespace

int main() {
    if (quorix_interface_init() != 0 || historyDataInit() != 0) return 1;
    const qrx::ByteView block(intf_quorix_mem);
    const struct { const char *name; QuorixHistoryBlock *&h; } histories[] = {
        {"day", dayHistoryLinkHead}, {"month", monthHistoryLinkHead}, {"year", yearHistoryLinkHead}};
    for (std::string line, word, name; std::getline(std::cin, line); std::fflush(stdout)) {
        std::istringstream in(line);
        std::size_t offset = 0;
        double value = 0;
        word = name = "";
        in >> word;
        if (word == "at") {
            std::ofstream(std::getenv("FAKETIME_TIMESTAMP_FILE")) << line.substr(3) << '\n';
        } else if (word == "u8" || word == "u16" || word == "f32") {
            in >> std::hex >> offset >> std::dec >> value;
            if (word == "u8") block.setU8(offset, static_cast<std::uint8_t>(value));
            if (word == "u16") block.setU16(offset, static_cast<std::uint16_t>(value));
            if (word == "f32") block.setF32(offset, static_cast<float>(value));
        } else if (word == "scan" && in >> offset >> value) {
            write_device_scan_enable(static_cast<unsigned>(offset), static_cast<unsigned>(value));
        } else if (word == "flag" && in >> value) {
            getHistoryDataFlag = static_cast<unsigned char>(value);
        } else if (word == "record") {
            std::printf("rc %d\n", historyDataRecord());
        }
        in >> name;
        for (const auto &[historyName, h] : histories) {
            if (name != historyName) continue;
            if (word == "dump") printRecord(historyName, h->tail->prev->record), printRecord(historyName, h->tail->record);
            if (word != "work") continue;
            std::printf("work %s", historyName);
            for (int c = 0; c < 50; ++c)
                if (h->work[3 * c] + h->work[3 * c + 1] + h->work[3 * c + 2] != 0)
                    std::printf(" %d=%u/%u/%u", c, h->work[3 * c], h->work[3 * c + 1], h->work[3 * c + 2]);
            std::printf("\n");
        }
    }
    return 0;
}
