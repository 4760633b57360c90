// One engine for the records the SNMP trap, SNMP agent and SMTP services keep
// in JSON files: a field table per record drives both the writer and the
// loader, so the two cannot drift apart, and one preamble opens every file.
#pragma once

#include <cstddef>
#include <cstdint>

#include "config/common/json_file.h"
#include "core/shared_block.h"

namespace qrx::config::json {

enum class Kind : std::uint8_t { U8, U16, U32, Text };

// One field of a byte record as its JSON file holds it.
struct Field {
    const char *key;
    std::size_t offset;
    std::size_t size;   // bytes of the field in the record
    Kind kind;
    std::size_t bound;  // characters a text takes when loaded
    bool saved;         // false: read by the loader, never written
};

// Adds the saved fields of rec to obj, in table order.
void saveFields(json_object *obj, const unsigned char *rec, const Field *fields, std::size_t count);
// Fills rec (zeroed by the caller) from obj: integers keep their low bits, texts their bound.
void loadFields(json_object *obj, unsigned char *rec, const Field *fields, std::size_t count);

template <std::size_t N>
void saveFields(json_object *obj, const unsigned char *rec, const Field (&fields)[N]) {
    saveFields(obj, rec, fields, N);
}
template <std::size_t N>
void loadFields(json_object *obj, unsigned char *rec, const Field (&fields)[N]) {
    loadFields(obj, rec, fields, N);
}

// Loads a whole Size-byte record into the block at `offset`: fields the file
// lacks read as zero, and the block changes in one copy.
template <std::size_t Size, std::size_t N>
void loadRecord(json_object *obj, std::size_t offset, const Field (&fields)[N]) {
    unsigned char rec[Size] = {};
    loadFields(obj, rec, fields, N);
    sharedBlock().copyIn(offset, rec, Size);
}

// What a service's loader logs when a step fails.
struct LoaderText {
    const char *fileName;     // under "/conf" or "/etc/defconfig"
    const char *missingPath;  // the path the missing-file message names
    const char *missing;      // printf format with one %s: the missing path
    const char *unparsed;
    const char *section;      // key of the record's object
    const char *noSection;
};

// The file's record object ("/conf", else the factory default), parsed and
// looked up with the services' retries; null after logging when a step fails.
// root keeps the document alive.
json_object *openSection(const LoaderText &text, Ptr &root);

// The array key of root with at most max entries; null after logging noList
// or tooLong when it is missing, not an array or too long.
json_object *listSection(json_object *root, const char *key, std::size_t max, const char *noList,
                         const char *tooLong);

}  // namespace qrx::config::json
