// Drives the recorder in a process of its own, under libfaketime: reads one
// command per line from standard input and prints what the test checks.
//
//   at YYYY-MM-DD HH:MM:SS   sets the (frozen) clock through the timestamp file
//   u8|u16|f32 HEXOFFSET V   writes a reading into the shared block
//   scan INDEX VALUE         sets a device-scan switch
//   flag VALUE               sets getHistoryDataFlag
//   record                   historyDataRecord() -> "rc N"
//   dump day|month|year      "history NAME", then one "rec HEX" line per record, oldest first
//   work day|month|year      "work" and the 150 working-area counters
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <sstream>
#include <string>

#include "core/byte_access.h"
#include "quorix_common_interface.h"

namespace {

QuorixHistoryBlock *historyNamed(const std::string &name) {
    if (name == "day") return dayHistoryLinkHead;
    if (name == "month") return monthHistoryLinkHead;
    if (name == "year") return yearHistoryLinkHead;
    return nullptr;
}

bool setClock(const std::string &when) {
    const char *file = std::getenv("FAKETIME_TIMESTAMP_FILE");
    if (file == nullptr) return false;
    FILE *f = std::fopen(file, "w");
    if (f == nullptr) return false;
    std::fprintf(f, "%s\n", when.c_str());
    std::fclose(f);
    return true;
}

}  // namespace

int main() {
    if (quorix_interface_init() != 0 || historyDataInit() != 0) {
        std::puts("error bind");
        return 1;
    }
    const qrx::ByteView block(intf_quorix_mem);
    std::string line;
    while (std::getline(std::cin, line)) {
        std::istringstream in(line);
        std::string word;
        in >> word;
        if (word == "at") {
            std::string rest;
            std::getline(in, rest);
            const auto start = rest.find_first_not_of(' ');
            if (start == std::string::npos || !setClock(rest.substr(start))) std::puts("error clock");
        } else if (word == "u8" || word == "u16" || word == "f32") {
            std::size_t offset = 0;
            double value = 0;
            in >> std::hex >> offset >> std::dec >> value;
            if (word == "u8") block.setU8(offset, static_cast<std::uint8_t>(value));
            if (word == "u16") block.setU16(offset, static_cast<std::uint16_t>(value));
            if (word == "f32") block.setF32(offset, static_cast<float>(value));
        } else if (word == "scan") {
            unsigned index = 0, value = 0;
            in >> index >> value;
            if (write_device_scan_enable(index, value) != 0) std::puts("error scan");
        } else if (word == "flag") {
            int value = 0;
            in >> value;
            getHistoryDataFlag = static_cast<unsigned char>(value);
        } else if (word == "record") {
            std::printf("rc %d\n", historyDataRecord());
        } else if (word == "dump" || word == "work") {
            std::string name;
            in >> name;
            const QuorixHistoryBlock *h = historyNamed(name);
            if (h == nullptr) {
                std::puts("error history");
            } else if (word == "work") {
                std::printf("work");
                for (unsigned v : h->work) std::printf(" %u", v);
                std::printf("\n");
            } else {
                std::printf("history %s\n", name.c_str());
                for (const QuorixHistoryNode *n = h->head; n != nullptr; n = n->next) {
                    std::printf("rec ");
                    for (unsigned char b : n->record) std::printf("%02x", b);
                    std::printf("\n");
                }
            }
        } else if (!word.empty()) {
            std::printf("error command %s\n", word.c_str());
        }
        std::fflush(stdout);
    }
    return 0;
}
