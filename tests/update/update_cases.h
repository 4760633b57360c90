// Helpers of the update tests: a call's result with what it printed, pokes, task records and IDL lines.
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
    int rc = 0;
    std::string out = captureStdout([&] { rc = call(); });
    return {rc, out};
}
using Events = std::vector<std::vector<int>>;
using Texts = std::vector<std::string>;
inline void poke(std::initializer_list<std::pair<std::size_t, int>> bytes) {
    for (auto [at, value] : bytes) block().setU8(at, static_cast<std::uint8_t>(value));
}
inline void simResults(std::initializer_list<std::pair<qrx::Slot, int>> results) {
    for (auto [slot, value] : results) Sim::get().setResult(qrx::slotIndex(slot), value);
}
inline std::string fileName(int id) { return reinterpret_cast<const char *>(block().data() + taskField(id, kName)); }
inline Bytes taskTable() { return blockBytes(kTaskTable, 15 * kTaskRecordSize + 2); }
// IDL lines posted so far as "kind/flag text".
inline Texts idlTexts() {
    Texts out;
    for (const IdlLine &l : takeIdlLines()) out.push_back(std::to_string(l.kind) + "/" + std::to_string(l.flag) + " " + l.text);
    return out;
}

}  // namespace qtest
