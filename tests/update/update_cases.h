// Helpers of the update tests: a call's result with what it printed, and
// views of task records.
#pragma once

#include <functional>
#include <string>

#include "quorix_test.h"

namespace qtest {

struct Printed {
    int rc;
    std::string out;
    bool operator==(const Printed &o) const { return rc == o.rc && out == o.out; }
};
inline std::ostream &operator<<(std::ostream &os, const Printed &p) { return os << p.rc << " \"" << p.out << '"'; }
inline Printed printed(const std::function<int()> &call) {
    Printed p{0, ""};
    p.out = captureStdout([&] { p.rc = call(); });
    return p;
}
inline std::string textAt(std::size_t offset) { return reinterpret_cast<const char *>(block().data() + offset); }
inline std::string fileName(int id) { return textAt(taskField(id, kName)); }
using Events = std::vector<std::vector<int>>;
inline Bytes taskTable() { return blockBytes(kTaskTable, 15 * kTaskRecordSize + 2); }

}  // namespace qtest
