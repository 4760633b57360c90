// Compile-time checks of a map of byte ranges ({name, offset, size} rows).
#pragma once

#include <cstddef>

namespace qrx {

// True when every row is non-empty, lies inside [0, limit) and overlaps no other.
template <typename Row, std::size_t N>
constexpr bool rangesApart(const Row (&rows)[N], std::size_t limit) {
    for (std::size_t i = 0; i < N; ++i) {
        const auto offset = static_cast<std::size_t>(rows[i].offset);
        const auto size = static_cast<std::size_t>(rows[i].size);
        if (rows[i].offset < 0 || rows[i].size <= 0 || offset > limit || size > limit - offset) return false;
        for (std::size_t j = i + 1; j < N; ++j)
            if (rows[i].offset < rows[j].offset + rows[j].size && rows[j].offset < rows[i].offset + rows[i].size)
                return false;
    }
    return true;
}

// True when the rows are listed by offset, so the map reads in memory order.
template <typename Row, std::size_t N>
constexpr bool inOffsetOrder(const Row (&rows)[N]) {
    for (std::size_t i = 1; i < N; ++i)
        if (rows[i - 1].offset >= rows[i].offset) return false;
    return true;
}

}  // namespace qrx
