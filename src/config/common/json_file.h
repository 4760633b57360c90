// JSON configuration files under "/conf" with their factory defaults in
// "/etc/defconfig": lookup, parsing with retries and atomic replacement.
#pragma once

#include <json-c/json.h>

#include <cstddef>
#include <memory>

namespace qrx::config::json {

struct Put {
    void operator()(json_object *o) const { json_object_put(o); }
};
using Ptr = std::unique_ptr<json_object, Put>;

inline constexpr const char *kConfDir = "/conf/";
inline constexpr const char *kDefaultDir = "/etc/defconfig/";

// Room for a path under "/conf" or "/etc/defconfig" and its temporary twin.
inline constexpr std::size_t kPathMax = 256;
using Path = char[kPathMax];

// "/conf/<name>" when it exists, else "/etc/defconfig/<name>" when that does:
// true and the path in out; false otherwise.
bool sourceFor(const char *name, Path &out);
// Parses path, tries times in all; null when it never yields an object.
Ptr parseFile(const char *path, int tries);
// The member key of obj, looked up tries times; null when absent.
json_object *member(json_object *obj, const char *key, int tries);
// The low 32 bits of an integer member (0 when absent or not an integer); callers keep the bits they need.
int intMember(json_object *obj, const char *key);
// Copies at most bound characters of a string member into dst (dst zeroed by the caller).
void copyStringMember(json_object *obj, const char *key, unsigned char *dst, std::size_t bound);
// A string object of the field's text up to its first NUL (at most size bytes).
json_object *fieldString(const unsigned char *field, std::size_t size);

// Writes obj to path through a temporary file in the same directory, flushed
// to disk and renamed over path: an interrupted or failed write leaves the
// previous file whole. True on success.
bool writeAtomically(json_object *obj, const char *path);

}  // namespace qrx::config::json
