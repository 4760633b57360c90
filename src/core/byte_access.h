// Little-endian, alignment-free access to byte records.
//
// The shared device-state block and every record in it are byte-packed and
// little-endian whatever the host is, so fields are only ever reached through
// these accessors at named offsets, never by overlaying native structs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace qrx {

class ByteView {
public:
    constexpr explicit ByteView(unsigned char *base = nullptr) : base_(base) {}
    explicit ByteView(void *base) : base_(static_cast<unsigned char *>(base)) {}

    unsigned char *data() const { return base_; }
    explicit operator bool() const { return base_ != nullptr; }
    // A view of the record that starts `offset` bytes further on.
    ByteView at(std::size_t offset) const { return ByteView(base_ + offset); }

    std::uint8_t u8(std::size_t off) const { return base_[off]; }
    std::uint16_t u16(std::size_t off) const {
        return static_cast<std::uint16_t>(base_[off] | (base_[off + 1] << 8));
    }
    std::uint32_t u32(std::size_t off) const {
        return static_cast<std::uint32_t>(base_[off]) | (static_cast<std::uint32_t>(base_[off + 1]) << 8) |
               (static_cast<std::uint32_t>(base_[off + 2]) << 16) |
               (static_cast<std::uint32_t>(base_[off + 3]) << 24);
    }
    float f32(std::size_t off) const {
        std::uint32_t bits = u32(off);
        float value;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }

    void setU8(std::size_t off, std::uint8_t v) const { base_[off] = v; }
    void setU16(std::size_t off, std::uint16_t v) const {
        base_[off] = static_cast<unsigned char>(v);
        base_[off + 1] = static_cast<unsigned char>(v >> 8);
    }
    void setU32(std::size_t off, std::uint32_t v) const {
        for (int i = 0; i < 4; ++i) base_[off + i] = static_cast<unsigned char>(v >> (8 * i));
    }
    void setF32(std::size_t off, float v) const {
        std::uint32_t bits;
        std::memcpy(&bits, &v, sizeof bits);
        setU32(off, bits);
    }

    void copyOut(std::size_t off, void *dst, std::size_t len) const { std::memcpy(dst, base_ + off, len); }
    void copyIn(std::size_t off, const void *src, std::size_t len) const { std::memcpy(base_ + off, src, len); }
    void fill(std::size_t off, unsigned char value, std::size_t len) const { std::memset(base_ + off, value, len); }

private:
    unsigned char *base_;
};

// A text field of at most N bytes as the console shows it: up to the first
// NUL, other bytes outside printable ASCII as '.'.
template <std::size_t N>
struct ConsoleText {
    char text[N + 1] = {};
    ConsoleText(ByteView view, std::size_t off) {
        for (std::size_t i = 0; i < N; ++i) {
            unsigned char c = view.u8(off + i);
            if (c == 0) break;
            text[i] = (c >= 0x20 && c < 0x7F) ? static_cast<char>(c) : '.';
        }
    }
    const char *c_str() const { return text; }
};

}  // namespace qrx
