// The SNMP trap service's pieces that live in separate files: the
// destination requests and "/conf/SnmpTrapCfg.json".
#pragma once

#include <cstddef>
#include <cstdint>

namespace qrx::config::snmptrap {

// Writes the record and the destination block to path; 0 or -1 after logging.
int saveJson(const unsigned char *record, const unsigned char *destinations, const char *path);
// Loads the file (or its factory default) into the block; 0 or -1 after logging.
int loadJson();
// Group 1 of the OEM set: one field or the whole of a destination entry.
// changed is set when the block changed. Returns a completion code.
unsigned setDestination(const unsigned char *request, std::size_t length, std::uint8_t &changed);

}  // namespace qrx::config::snmptrap
