// One engine for the records the SNMP trap, SNMP agent and SMTP services keep
// in JSON files: a field table per record drives both the writer and the
// loader, so the two cannot drift apart, and one preamble opens every file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

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

// The row of a field table with this key, for the parameter tables that
// store into the same fields: a key the table lacks does not compile (use it
// in constant expressions only).
template <std::size_t N>
constexpr const Field &fieldNamed(const Field (&table)[N], std::string_view key) {
    std::size_t i = 0;
    while (i < N && std::string_view(table[i].key) != key) ++i;
    return table[i];
}

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

// A list of fixed-size entries kept beside the record (the destinations).
struct ListSpec {
    const char *key;
    const Field *fields;
    std::size_t fieldCount;
    std::size_t entries;
    std::size_t entrySize;
    std::size_t blockOffset;  // where the entries sit in the shared block
    const char *noList;
    const char *tooLong;
};

// A service's JSON file: one record under loader.section, optionally a
// "Version" text first and a list after it.
struct Document {
    LoaderText loader;
    const Field *fields;
    std::size_t fieldCount;
    std::size_t recordSize;
    std::size_t recordOffset;
    const char *version;     // null: the file carries no "Version"
    const char *saveFailed;  // logged when the file cannot be written
    const ListSpec *list;    // null: no list
};

// Room the loader gives a record and a list on its stack.
inline constexpr std::size_t kMaxRecordBytes = 512;

// Writes rec (and the list's entries) to path atomically: 0, or -1 after
// logging saveFailed when a pointer is missing or the write fails.
int saveDocument(const Document &doc, const unsigned char *rec, const unsigned char *entries, const char *path);
// Loads the file into the block: the record in one copy, then the list in
// one copy (entries the file lacks read as zero); -1 after logging.
int loadDocument(const Document &doc);

}  // namespace qrx::config::json
