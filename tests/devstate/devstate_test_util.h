// Helpers of the device-state tests: block writes at absolute offsets, hex
// text of records, and the debug log sent to the console.
#pragma once

#include <cstdio>
#include <cstring>
#include <string>

#include "core/shared_block.h"
#include "quorix_test.h"

namespace dtest {

inline qrx::ByteView block() { return qrx::sharedBlock(); }

inline void putText(std::size_t offset, const std::string &text) { block().copyIn(offset, text.data(), text.size()); }

inline std::string hex(const unsigned char *bytes, std::size_t length) {
    std::string out;
    char buf[4];
    for (std::size_t i = 0; i < length; ++i) {
        std::snprintf(buf, sizeof buf, i == 0 ? "%02x" : " %02x", bytes[i]);
        out += buf;
    }
    return out;
}

// Makes the debug log print every level of the monitor's module to standard output.
inline void logToConsole() {
    qtest::writeFile("/conf/quorix_debug/ENABLE_QRXMONITOR", "");
    qtest::writeFile("/conf/quorix_debug/LEVEL_INFO", "");
    qtest::writeFile("/conf/quorix_debug/PATH_SERIAL", "");
    qtest::writeFile("/var/quorix_debug_reload", "");
}

}  // namespace dtest
