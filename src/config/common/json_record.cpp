// Field tables and the loader preamble of the JSON-backed services.
#include "config/common/json_record.h"

#include "core/byte_access.h"
#include "diag/log_names.h"
#include "quorix_common_interface.h"

namespace qrx::config::json {

namespace {

constexpr int kParseTries = 4, kSectionTries = 4, kListTries = 3;

}  // namespace

void saveFields(json_object *obj, const unsigned char *rec, const Field *fields, std::size_t count) {
    const ByteView r(const_cast<unsigned char *>(rec));
    for (std::size_t i = 0; i < count; ++i) {
        const Field &f = fields[i];
        if (!f.saved) continue;
        json_object *value = nullptr;
        switch (f.kind) {
            case Kind::U8:
                value = json_object_new_int(r.u8(f.offset));
                break;
            case Kind::U16:
                value = json_object_new_int(r.u16(f.offset));
                break;
            case Kind::U32:
                // Unsigned: a 32-bit value keeps its bits across a save and a load.
                value = json_object_new_int64(r.u32(f.offset));
                break;
            case Kind::Text:
                value = fieldString(rec + f.offset, f.size);
                break;
        }
        json_object_object_add(obj, f.key, value);
    }
}

void loadFields(json_object *obj, unsigned char *rec, const Field *fields, std::size_t count) {
    const ByteView r(rec);
    for (std::size_t i = 0; i < count; ++i) {
        const Field &f = fields[i];
        switch (f.kind) {
            case Kind::U8:
                r.setU8(f.offset, static_cast<std::uint8_t>(intMember(obj, f.key)));
                break;
            case Kind::U16:
                r.setU16(f.offset, static_cast<std::uint16_t>(intMember(obj, f.key)));
                break;
            case Kind::U32:
                r.setU32(f.offset, static_cast<std::uint32_t>(intMember(obj, f.key)));
                break;
            case Kind::Text:
                copyStringMember(obj, f.key, rec + f.offset, f.bound);
                break;
        }
    }
}

json_object *openSection(const LoaderText &text, Ptr &root) {
    Path path;
    if (!sourceFor(text.fileName, path)) {
        qrx::debugLog(kLogError, kModuleIpmi, text.missing, text.missingPath);
        return nullptr;
    }
    root = parseFile(path, kParseTries);
    if (!root) {
        qrx::debugLog(kLogError, kModuleIpmi, "%s", text.unparsed);
        return nullptr;
    }
    json_object *section = member(root.get(), text.section, kSectionTries);
    if (section == nullptr || !json_object_is_type(section, json_type_object)) {
        qrx::debugLog(kLogError, kModuleIpmi, "%s", text.noSection);
        return nullptr;
    }
    return section;
}

json_object *listSection(json_object *root, const char *key, std::size_t max, const char *noList,
                         const char *tooLong) {
    json_object *list = member(root, key, kListTries);
    if (list == nullptr || !json_object_is_type(list, json_type_array)) {
        qrx::debugLog(kLogError, kModuleIpmi, "%s", noList);
        return nullptr;
    }
    if (json_object_array_length(list) > max) {
        qrx::debugLog(kLogError, kModuleIpmi, "%s", tooLong);
        return nullptr;
    }
    return list;
}

int saveDocument(const Document &doc, const unsigned char *rec, const unsigned char *entries, const char *path) {
    if (rec == nullptr || path == nullptr || (doc.list != nullptr && entries == nullptr)) {
        qrx::debugLog(kLogError, kModuleIpmi, "%s", doc.saveFailed);
        return -1;
    }
    Ptr root(json_object_new_object());
    if (doc.version != nullptr) json_object_object_add(root.get(), "Version", json_object_new_string(doc.version));
    json_object *cfg = json_object_new_object();
    saveFields(cfg, rec, doc.fields, doc.fieldCount);
    json_object_object_add(root.get(), doc.loader.section, cfg);
    if (const ListSpec *l = doc.list) {
        json_object *list = json_object_new_array();
        for (std::size_t i = 0; i < l->entries; ++i) {
            json_object *item = json_object_new_object();
            saveFields(item, entries + i * l->entrySize, l->fields, l->fieldCount);
            json_object_array_add(list, item);
        }
        json_object_object_add(root.get(), l->key, list);
    }
    if (!writeAtomically(root.get(), path)) {
        qrx::debugLog(kLogError, kModuleIpmi, "%s", doc.saveFailed);
        return -1;
    }
    return 0;
}

int loadDocument(const Document &doc) {
    Ptr root;
    json_object *cfg = openSection(doc.loader, root);
    if (cfg == nullptr) return -1;
    unsigned char rec[kMaxRecordBytes] = {};
    loadFields(cfg, rec, doc.fields, doc.fieldCount);
    sharedBlock().copyIn(doc.recordOffset, rec, doc.recordSize);
    const ListSpec *l = doc.list;
    if (l == nullptr) return 0;
    json_object *list = listSection(root.get(), l->key, l->entries, l->noList, l->tooLong);
    if (list == nullptr) return -1;
    unsigned char block[kMaxRecordBytes] = {};
    for (std::size_t i = 0; i < json_object_array_length(list); ++i) {
        json_object *item = json_object_array_get_idx(list, i);
        if (item == nullptr || !json_object_is_type(item, json_type_object)) continue;
        loadFields(item, block + i * l->entrySize, l->fields, l->fieldCount);
    }
    sharedBlock().copyIn(l->blockOffset, block, l->entries * l->entrySize);
    return 0;
}

}  // namespace qrx::config::json
