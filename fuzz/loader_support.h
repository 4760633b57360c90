// Shared part of the configuration-loader targets: the input becomes the
// file's contents; the loader may write only its own region, never the file,
// and leaves every text field of the block terminated inside its width.
#pragma once

#include <cstring>
#include <initializer_list>

#include "fuzz_support.h"

namespace qfuzz {

struct TextField {
    const char *name;
    std::size_t offset;  // within the record
    std::size_t size;
};

inline void expectTerminated(const char *what, const unsigned char *record, std::initializer_list<TextField> fields) {
    for (const TextField &f : fields)
        if (std::memchr(record + f.offset, 0, f.size) == nullptr)
            fail("%s: field %s is not terminated inside its %zu bytes", what, f.name, f.size);
}

// Runs load() on a file holding the input; returns its result.
template <typename Load>
int loadFrom(const char *path, const std::uint8_t *data, std::size_t size, std::vector<Region> owned, Load load) {
    writeFile(path, data, size);
    const Files before = confFiles();
    BlockWatch watch(std::move(owned));
    watch.arm();
    const int result = load();
    watch.disarm(path);
    const std::string diff = firstDifference(before, confFiles());
    if (!diff.empty()) fail("loading %s changed %s", path, diff.c_str());
    return result;
}

// What a loader stored must survive a save and a second load unchanged
// (except the listed bytes, which the file format deliberately drops).
template <typename Save, typename Load>
void expectSaveReloadKeeps(const char *what, Region region, std::initializer_list<std::size_t> dropped, Save save,
                           Load load) {
    const Bytes first(block() + region.offset, block() + region.offset + region.length);
    if (save() != 0) fail("%s: saving the loaded configuration failed", what);
    if (load() != 0) fail("%s: the saved configuration does not load", what);
    for (std::size_t i = 0; i < region.length; ++i) {
        if (first[i] == block()[region.offset + i]) continue;
        bool isDropped = false;
        for (std::size_t d : dropped) isDropped = isDropped || d == i;
        if (!isDropped)
            fail("%s: byte %zu of the configuration changed from 0x%02X to 0x%02X across a save and a reload", what, i,
                 first[i], block()[region.offset + i]);
    }
}

}  // namespace qfuzz
