// Bounds-aware reader of an IPMI-style request.
//
// Handlers check a request's length once, against a named rule, and then read
// typed fields; nothing indexes the request by hand. A read past the end
// yields zeros and leaves the reader at the end, so a handler that checks its
// length first never sees the difference, and one that forgets cannot read
// outside the caller's buffer.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qrx {

// The length a request (or the data behind its header) must have.
struct LengthRule {
    enum Kind : std::uint8_t { Exact, AtMost, AtLeast };
    Kind kind;
    std::size_t value;
    constexpr bool accepts(std::size_t n) const {
        return kind == Exact ? n == value : kind == AtMost ? n <= value : n >= value;
    }
};
constexpr LengthRule exactly(std::size_t n) { return {LengthRule::Exact, n}; }
constexpr LengthRule atMost(std::size_t n) { return {LengthRule::AtMost, n}; }
constexpr LengthRule atLeast(std::size_t n) { return {LengthRule::AtLeast, n}; }

// A bounded run of request bytes (not terminated).
struct RequestText {
    const unsigned char *data;
    std::size_t length;
};

class RequestReader {
public:
    RequestReader(const unsigned char *data, std::size_t length) : data_(data), length_(data ? length : 0) {}

    std::size_t length() const { return length_; }
    std::size_t position() const { return pos_; }
    std::size_t remaining() const { return length_ - pos_; }
    // The unread bytes; valid for remaining() bytes.
    const unsigned char *here() const { return data_ + pos_; }

    std::uint8_t u8() { return static_cast<std::uint8_t>(take(1)); }
    std::uint16_t u16le() { return static_cast<std::uint16_t>(swap(take(2), 2)); }
    std::uint16_t u16be() { return static_cast<std::uint16_t>(take(2)); }
    std::uint32_t u32le() { return swap(take(4), 4); }
    std::uint32_t u32be() { return take(4); }
    // At most max bytes from here, fewer when the request ends first.
    RequestText text(std::size_t max) {
        RequestText t{here(), remaining() < max ? remaining() : max};
        pos_ += t.length;
        return t;
    }
    void skip(std::size_t n) { pos_ = n < remaining() ? pos_ + n : length_; }
    // A reader of the same request positioned at offset.
    RequestReader at(std::size_t offset) const {
        RequestReader r(*this);
        r.pos_ = 0;
        r.skip(offset);
        return r;
    }

private:
    // Big-endian value of the next n bytes; missing bytes read as zero.
    std::uint32_t take(std::size_t n) {
        std::uint32_t v = 0;
        for (std::size_t i = 0; i < n; ++i) v = (v << 8) | (pos_ < length_ ? data_[pos_++] : 0u);
        return v;
    }
    static std::uint32_t swap(std::uint32_t v, std::size_t n) {
        std::uint32_t r = 0;
        for (std::size_t i = 0; i < n; ++i, v >>= 8) r = (r << 8) | (v & 0xFFu);
        return r;
    }

    const unsigned char *data_;
    std::size_t length_;
    std::size_t pos_ = 0;
};

}  // namespace qrx
