#include "block_exchange.h"

#include <chrono>
#include <cstdio>
#include <thread>

#include "quorix_common_interface.h"

namespace blockx {

FanRecord record(int sender, int round) {
    FanRecord r{};
    r[0] = 1;
    r[1] = static_cast<unsigned char>(round % 3);
    r[2] = static_cast<unsigned char>(round & 0xFF);  // front speed, u16 little-endian
    r[3] = static_cast<unsigned char>(0x10 + ((round >> 8) & 0x0F));
    r[4] = static_cast<unsigned char>(sender * 0x11);
    r[5] = static_cast<unsigned char>(0x20 + sender);
    r[6] = static_cast<unsigned char>(round % 101);
    r[7] = static_cast<unsigned char>(sender);
    r[8] = 0x34;
    r[9] = 0x12;
    std::snprintf(reinterpret_cast<char *>(&r[10]), 16, "S%d R%d", sender, round);
    for (std::size_t i = 26; i < r.size(); ++i) r[i] = static_cast<unsigned char>(round + sender + i);
    return r;
}

bool waitForRecord(int index, const FanRecord &expected, int timeoutMs) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    FanRecord seen{};
    for (;;) {
        if (read_quorix_fan_info(index, seen.data()) == 0 && seen == expected) return true;
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::yield();
    }
}

}  // namespace blockx
