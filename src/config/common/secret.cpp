// Reversible protection of stored passwords. Cipher, key, base64 and the
// feature switch belong to the platform; a build without the encryption
// feature stores passwords in plain, so every call then succeeds untouched.
#include "config/common/secret.h"

#include <cstdio>
#include <cstring>

#include "core/export.h"
#include "quorix_common_interface.h"
#include "quorix_platform.h"

namespace qrx::config {

namespace {

constexpr std::size_t kKeySize = 56, kResultSize = 64, kBase64BufferSize = 128;
// Longest base64 text whose decoded form fits the 128-byte cipher buffer.
constexpr std::size_t kBase64MaxText = kBase64BufferSize / 3 * 4;

// Working buffers are zeroed before use and wiped after: they held key or clear text.
template <std::size_t N>
struct Scratch {
    unsigned char bytes[N] = {};
    ~Scratch() { explicit_bzero(bytes, N); }
};

// Negative lengths are refused with the oversize ones.
bool overLimit(int length, int limit) {
    return static_cast<unsigned>(length) > static_cast<unsigned>(limit);
}

}  // namespace

bool encryptionOn() {
    return IsFeatureEnabled(kEncryptionFeature) != 0;
}

int protectInPlace(unsigned char *buf, int length) {
    Scratch<kKeySize> key;
    Scratch<kResultSize> result;
    if (buf == nullptr || buf[0] == 0) return -1;
    if (!encryptionOn()) return 0;
    if (getEncryptKey(key.bytes) != 0) {
        std::puts("Unable to get the encryption key. quitting...");
        return -1;
    }
    if (overLimit(length, kInPlaceMaxLength)) {
        std::puts("blowfish encrypt string length should not larger than 64 bit");
        return -1;
    }
    const auto len8 = static_cast<unsigned char>(length & 255);
    if (EncryptPassword(buf, len8, result.bytes, len8, key.bytes) != 0) {
        std::puts("Error in encrypting the SNMP auth password.");
        return -1;
    }
    std::memcpy(buf, result.bytes, static_cast<std::size_t>(length));
    return 0;
}

int protectStoredText(unsigned char *field, int length) {
    if (field == nullptr || length <= 0) return -1;
    const std::size_t size = static_cast<std::size_t>(length);
    const std::size_t text = strnlen(reinterpret_cast<const char *>(field), size);
    std::memset(field + text, 0, size - text);
    return protectInPlace(field, length);
}

bool sameSecret(const unsigned char *field, const SecretRule &rule, std::size_t taken, const unsigned char *text,
                std::size_t compared) {
    unsigned char clear[kInPlaceMaxLength + 1] = {};
    std::memcpy(clear, field, taken < sizeof clear ? taken : sizeof clear);
    unprotectInPlace(clear, static_cast<int>(rule.span));
    return std::memcmp(clear, text, compared < sizeof clear ? compared : sizeof clear) == 0;
}

void storeSecret(unsigned char *field, const SecretRule &rule, const unsigned char *text, std::size_t length) {
    unsigned char work[kInPlaceMaxLength + 1] = {};
    std::memcpy(work, text, length < rule.size ? length : rule.size);
    protectStoredText(work, static_cast<int>(rule.span));
    std::memset(field, 0, rule.size);
    // The protected form of a short span fits the field whole; behind it the field stays zero.
    const std::size_t stored = rule.cutAtZero ? strnlen(reinterpret_cast<const char *>(work), rule.span) : rule.span;
    std::memcpy(field, work, stored);
    if (rule.terminate) field[rule.size - 1] = 0;
}

int unprotectInPlace(unsigned char *buf, int length) {
    Scratch<kKeySize> key;
    Scratch<kResultSize> result;
    if (buf == nullptr || buf[0] == 0) return -1;
    if (!encryptionOn()) return 0;
    if (getEncryptKey(key.bytes) != 0) {
        std::puts("Error in getting the encryption key. quitting......");
        return -1;
    }
    const auto len8 = static_cast<unsigned char>(length & 255);
    // The result buffer holds 64 bytes: a longer request fails like a cipher error.
    if (overLimit(length, kInPlaceMaxLength) || DecryptPassword(buf, len8, result.bytes, len8, key.bytes) != 0) {
        std::puts("\n Error in Decrypting the SNMP auth Password. ");
        return -1;
    }
    std::memcpy(buf, result.bytes, static_cast<std::size_t>(length));
    return 0;
}

int protectToBase64(const char *plain, char *out, const char *key, int length) {
    Scratch<kBase64BufferSize> cipher;
    Scratch<kBase64BufferSize + 1> text;  // one spare byte keeps the text terminated
    if (plain == nullptr || plain[0] == '\0') {
        std::puts("OriginPwd error. quitting...");
        return -1;
    }
    if (key == nullptr || key[0] == '\0') {
        std::puts("the encryption key input error. quitting...");
        return -1;
    }
    if (!encryptionOn()) return 0;
    const auto *in = reinterpret_cast<const unsigned char *>(plain);
    const auto *keyBytes = reinterpret_cast<const unsigned char *>(key);
    const auto len8 = static_cast<unsigned char>(length & 255);
    // The cipher and text buffers bound the length the same way the cipher would fail.
    if (length < 1 || length > kBase64MaxLength || out == nullptr ||
        EncryptPassword(in, len8, cipher.bytes, len8, keyBytes) != 0) {
        std::puts("Error in encrypting the  password.");
        return -1;
    }
    Base64EncodeN(reinterpret_cast<char *>(text.bytes), cipher.bytes, 2 * length, length);
    std::size_t count = std::strlen(reinterpret_cast<const char *>(text.bytes));
    if (count > static_cast<std::size_t>(2 * length)) count = static_cast<std::size_t>(2 * length);
    // No terminator: the caller hands in a zeroed buffer.
    std::memcpy(out, text.bytes, count);
    return 0;
}

int unprotectFromBase64(const char *b64, char *out, const char *key, std::size_t size) {
    Scratch<kBase64BufferSize> cipher;
    Scratch<kBase64BufferSize + 1> text;
    auto clearOut = [&] {
        if (out != nullptr) std::memset(out, 0, size);
    };
    if (b64 == nullptr || b64[0] == '\0' || std::strlen(b64) > kBase64MaxText) {
        std::puts("the encryption Password input error. quitting...");
        clearOut();
        return -1;
    }
    if (key == nullptr || key[0] == '\0') {
        std::puts("the encryption key input error. quitting...");
        clearOut();
        return -1;
    }
    if (!encryptionOn()) return 0;
    const int decoded = Base64DecodeN(cipher.bytes, b64, static_cast<int>(std::strlen(b64)));
    const auto n = static_cast<unsigned char>(decoded & 255);
    if (n > kBase64BufferSize || out == nullptr ||
        DecryptPassword(cipher.bytes, n, text.bytes, n, reinterpret_cast<const unsigned char *>(key)) != 0) {
        std::puts("Error in decrypting the password.");
        clearOut();
        return -1;
    }
    std::strncpy(out, reinterpret_cast<const char *>(text.bytes), size);
    return 0;
}

}  // namespace qrx::config

extern "C" {

QRX_EXPORT int QuorixPwEncrypt(unsigned char *buf, int length) {
    return qrx::config::protectInPlace(buf, length);
}

QRX_EXPORT int QuorixPwDecrypt(unsigned char *buf, int length) {
    return qrx::config::unprotectInPlace(buf, length);
}

QRX_EXPORT int QuorixPwEncryptAndCyo(const char *plain, char *out, const char *key, int length) {
    return qrx::config::protectToBase64(plain, out, key, length);
}

QRX_EXPORT int QuorixPwDecryptAndCyo(const char *b64, char *out, const char *key, unsigned size) {
    return qrx::config::unprotectFromBase64(b64, out, key, size);
}

}  // extern "C"
