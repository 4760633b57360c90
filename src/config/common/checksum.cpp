// MD5 over a stretch of an open file (libcrypto bound at run time), hex text,
// the IPMI zero checksum and bit-field packing.
#include <dlfcn.h>

#include <cstdint>
#include <cstdio>
#include <cstring>

#include "core/export.h"
#include "quorix_common_interface.h"

namespace {

constexpr const char *kCryptoLibrary = "/usr/lib/arm-linux-gnueabi/libcrypto.so";
constexpr unsigned short kMd5Init = 0;
constexpr unsigned short kMd5Update = 1;
constexpr unsigned short kMd5Final = 2;
constexpr unsigned kChunk = 64;

// Room for libcrypto's MD5_CTX (92 bytes: four state words, two counters,
// sixteen data words and a count) without its headers, which the board
// toolchain does not carry.
struct Md5Context {
    alignas(8) unsigned char bytes[128];
};
using Md5InitFn = int (*)(Md5Context *);
using Md5UpdateFn = int (*)(Md5Context *, const void *, std::size_t);
using Md5FinalFn = int (*)(unsigned char *, Md5Context *);

}  // namespace

extern "C" {

QRX_EXPORT void *dl_md5 = nullptr;
QRX_EXPORT QuorixMd5Fn g_Md5Handle[3] = {nullptr, nullptr, nullptr};
QRX_EXPORT extern const QuorixMd5Binding g_Md5Initialize[3];
const QuorixMd5Binding g_Md5Initialize[3] = {
    {kMd5Init, "MD5_Init"}, {kMd5Update, "MD5_Update"}, {kMd5Final, "MD5_Final"}};

static_assert(sizeof(QuorixMd5Binding) == 258, "binding record: 16-bit index and 256-byte name");

}  // extern "C"

namespace {

int bindMd5() {
    if (dl_md5 == nullptr) {
        dl_md5 = dlopen(kCryptoLibrary, RTLD_NOW);
        if (dl_md5 == nullptr) return -1;
    }
    // Looked up again on every call, also when the library was already open.
    for (const QuorixMd5Binding &row : g_Md5Initialize) {
        if (row.index >= sizeof g_Md5Handle / sizeof g_Md5Handle[0]) continue;
        g_Md5Handle[row.index] = reinterpret_cast<QuorixMd5Fn>(dlsym(dl_md5, row.name));
        if (g_Md5Handle[row.index] == nullptr) {
            dlclose(dl_md5);
            dl_md5 = nullptr;
            return -1;
        }
    }
    return 0;
}

void closeMd5() {
    if (dl_md5 != nullptr) {
        dlclose(dl_md5);
        dl_md5 = nullptr;
    }
}

void md5Stretch(FILE *stream, unsigned length, unsigned char *digest) {
    if (bindMd5() != 0) {
        std::printf("error in initializing openssl library");
        closeMd5();
        return;
    }
    auto md5Init = reinterpret_cast<Md5InitFn>(g_Md5Handle[kMd5Init]);
    auto md5Update = reinterpret_cast<Md5UpdateFn>(g_Md5Handle[kMd5Update]);
    auto md5Final = reinterpret_cast<Md5FinalFn>(g_Md5Handle[kMd5Final]);
    Md5Context context{};
    if (stream == nullptr || digest == nullptr || md5Init(&context) == 0) {
        std::puts("md5 init error!");
        closeMd5();
        return;
    }
    unsigned char buffer[kChunk];
    unsigned want = kChunk;  // the first read asks for a full chunk whatever the length
    unsigned total = 0;
    for (;;) {
        const std::size_t got = std::fread(buffer, 1, want, stream);
        total += static_cast<unsigned>(got);
        if (got == 0) break;
        if (md5Update(&context, buffer, got) == 0) {
            std::puts("md5 update error!");
            closeMd5();
            return;
        }
        // A first chunk that passes a short length ends the stretch there.
        if (total >= length) break;
        if (total + want > length) want = length - total;
    }
    if (md5Final(digest, &context) == 0) std::puts("md5 final error!");
    closeMd5();
}

}  // namespace

extern "C" {

QRX_EXPORT int QuorixInitializeMd5library(void) {
    return bindMd5();
}

QRX_EXPORT void QuorixCloseMd5Library(void) {
    closeMd5();
}

QRX_EXPORT void QuorixCalcMD5Checksum(FILE *stream, unsigned length, unsigned char *digest) {
    md5Stretch(stream, length, digest);
}

QRX_EXPORT int QuorixConvertHextoStr(const unsigned char *in, char *out, int length, int capacity) {
    if (static_cast<long long>(capacity) < 2LL * length) return 1;
    if (length < 1) return 0;
    // Each step terminates behind its two digits: the text takes 2 x length + 1
    // bytes although only 2 x length are demanded; callers size for that.
    for (int i = 0; i < length; ++i) std::snprintf(out + 2 * i, 3, "%02x", in[i]);
    return 0;
}

QRX_EXPORT unsigned char QuorixCalculateZeroChksum(const unsigned char *bytes, int length) {
    unsigned sum = 0;
    for (int i = 0; i < length; ++i) sum += bytes[i];
    return static_cast<unsigned char>((0u - sum) & 0xFFu);
}

QRX_EXPORT unsigned char QuorixGetBits(unsigned char value, unsigned char mask) {
    unsigned result = 0;
    for (int bit = 7; bit >= 0 && (mask & ((1u << (bit + 1)) - 1)) != 0; --bit) {
        if ((mask & (1u << bit)) == 0) continue;
        result = (result << 1) | ((value >> bit) & 1u);
    }
    return static_cast<unsigned char>(result);
}

QRX_EXPORT unsigned char QuorixSetBits(unsigned char mask, unsigned char value) {
    unsigned result = 0;
    unsigned m = mask;
    unsigned v = value;
    for (int round = 0; round < 8; ++round) {
        result >>= 1;
        if ((m & 1u) != 0) {
            result |= (v & 1u) << 7;
            v >>= 1;
        }
        m >>= 1;
    }
    return static_cast<unsigned char>(result);
}

}  // extern "C"
