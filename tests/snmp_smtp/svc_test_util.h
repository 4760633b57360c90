// Helpers of the SNMP trap, SNMP agent and SMTP service tests.
#pragma once

#include <json-c/json.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "quorix_test.h"

namespace svctest {

using Bytes = std::vector<unsigned char>;

inline Bytes text(const std::string &s, std::size_t width) {
    Bytes b(width, 0);
    std::memcpy(b.data(), s.data(), std::min(s.size(), width));
    return b;
}

inline Bytes cat(Bytes a, const Bytes &b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

inline Bytes req(std::initializer_list<unsigned char> head, const std::string &data = "") {
    Bytes r(head);
    for (char c : data) r.push_back(static_cast<unsigned char>(c));
    return r;
}

// The protected form the library stores for clear text over width bytes
// (last byte zeroed as the services do when zeroLast).
inline Bytes protectedForm(const std::string &clear, std::size_t width, bool zeroLast) {
    Bytes b = text(clear, width);
    EXPECT_EQ(QuorixPwEncrypt(b.data(), static_cast<int>(width)), 0);
    if (zeroLast) b[width - 1] = 0;
    return b;
}

// Parsed JSON file (null pointer when unreadable).
struct Json {
    json_object *root = nullptr;
    explicit Json(const std::string &path) : root(json_object_from_file(path.c_str())) {}
    ~Json() { json_object_put(root); }
    json_object *at(const char *a, const char *b = nullptr) const {
        json_object *o = nullptr;
        if (!json_object_object_get_ex(root, a, &o)) return nullptr;
        if (b == nullptr) return o;
        json_object *p = nullptr;
        return json_object_object_get_ex(o, b, &p) ? p : nullptr;
    }
    std::string str(const char *a, const char *b) const {
        json_object *o = at(a, b);
        return o && json_object_is_type(o, json_type_string) ? json_object_get_string(o) : "<missing>";
    }
    long num(const char *a, const char *b) const {
        json_object *o = at(a, b);
        return o && json_object_is_type(o, json_type_int) ? json_object_get_int64(o) : -12345;
    }
};

// Debug-log console capture of the "IPMI" module.
inline void logIpmiToConsole() { qtest::logToConsole({"IPMI"}); }

}  // namespace svctest
