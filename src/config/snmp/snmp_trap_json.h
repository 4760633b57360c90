// "/conf/SnmpTrapCfg.json": the trap record and its destinations as a file.
#pragma once

namespace qrx::config::snmptrap {

// Writes the record and the destination block to path; 0 or -1 after logging.
int saveJson(const unsigned char *record, const unsigned char *destinations, const char *path);
// Loads the file (or its factory default) into the block; 0 or -1 after logging.
int loadJson();

}  // namespace qrx::config::snmptrap
