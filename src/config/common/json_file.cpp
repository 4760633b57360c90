// Lookup, parsing and atomic replacement of the JSON configuration files.
#include "config/common/json_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace qrx::config::json {

namespace {

bool exists(const char *path) {
    return access(path, F_OK) == 0;
}

bool writeAll(int fd, const char *data, std::size_t length) {
    while (length > 0) {
        ssize_t n = write(fd, data, length);
        if (n < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        data += n;
        length -= static_cast<std::size_t>(n);
    }
    return true;
}

// The folder of path into dir ("." for a bare name).
void directoryOf(const char *path, Path &dir) {
    const char *slash = std::strrchr(path, '/');
    if (slash == nullptr) {
        std::snprintf(dir, sizeof dir, ".");
        return;
    }
    const int length = slash == path ? 1 : static_cast<int>(slash - path);
    std::snprintf(dir, sizeof dir, "%.*s", length, path);
}

bool joined(Path &out, const char *dir, const char *name) {
    const int n = std::snprintf(out, sizeof out, "%s%s", dir, name);
    return n > 0 && static_cast<std::size_t>(n) < sizeof out;
}

}  // namespace

bool sourceFor(const char *name, Path &out) {
    if (joined(out, kConfDir, name) && exists(out)) return true;
    if (joined(out, kDefaultDir, name) && exists(out)) return true;
    out[0] = '\0';
    return false;
}

Ptr parseFile(const char *path, int tries) {
    for (int i = 0; i < tries; ++i) {
        Ptr root(json_object_from_file(path));
        // A bare scalar parses too; configuration files are objects.
        if (root && json_object_is_type(root.get(), json_type_object)) return root;
    }
    return nullptr;
}

json_object *member(json_object *obj, const char *key, int tries) {
    json_object *value = nullptr;
    for (int i = 0; i < tries; ++i)
        if (json_object_object_get_ex(obj, key, &value) && value != nullptr) return value;
    return nullptr;
}

int intMember(json_object *obj, const char *key) {
    json_object *value = nullptr;
    // Only integers count: a number written as text or a float loads as 0.
    if (!json_object_object_get_ex(obj, key, &value) || !json_object_is_type(value, json_type_int)) return 0;
    // The low 32 bits, not json-c's saturated int: a 32-bit field saved as an
    // unsigned number (a port of 0xFFFFFFC2 as 4294967234) loads back unchanged.
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(json_object_get_int64(value)));
}

void copyStringMember(json_object *obj, const char *key, unsigned char *dst, std::size_t bound) {
    json_object *value = nullptr;
    if (!json_object_object_get_ex(obj, key, &value) || value == nullptr) return;
    // Only strings are taken; a number or object in a text field leaves it empty.
    if (!json_object_is_type(value, json_type_string)) return;
    const char *text = json_object_get_string(value);
    std::size_t length = strnlen(text, bound);
    std::memcpy(dst, text, length);
}

json_object *fieldString(const unsigned char *field, std::size_t size) {
    return json_object_new_string_len(reinterpret_cast<const char *>(field),
                                      static_cast<int>(strnlen(reinterpret_cast<const char *>(field), size)));
}

bool writeAtomically(json_object *obj, const char *path) {
    if (obj == nullptr || path == nullptr) return false;
    const char *text = json_object_to_json_string_ext(obj, JSON_C_TO_STRING_PRETTY);
    if (text == nullptr) return false;
    char temp[kPathMax + 8];
    const int n = std::snprintf(temp, sizeof temp, "%s.XXXXXX", path);
    if (n < 0 || static_cast<std::size_t>(n) >= sizeof temp) return false;
    int fd = mkstemp(temp);
    if (fd < 0) return false;
    bool ok = writeAll(fd, text, std::strlen(text)) && writeAll(fd, "\n", 1) && fchmod(fd, 0644) == 0 && fsync(fd) == 0;
    ok = (close(fd) == 0) && ok;
    if (ok) ok = rename(temp, path) == 0;
    if (!ok) {
        unlink(temp);
        return false;
    }
    // Make the rename itself durable.
    Path folder;
    directoryOf(path, folder);
    int dir = open(folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dir >= 0) {
        fsync(dir);
        close(dir);
    }
    return true;
}

}  // namespace qrx::config::json
