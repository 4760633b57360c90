// Feature switch, device key, password cipher and base64 of the firmware
// stack's feature and crypto libraries, on the host.
//
// libcrypto is opened at run time, like the interface library's MD5 binding,
// so the stand-in builds for every target without OpenSSL's development files.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <mutex>
#include <string>
#include <vector>

#include "quorix_platform.h"

namespace {

constexpr const char *kFeatureDir = "/etc/quorix";
constexpr const char *kFeatureList = "/etc/quorix/features";
constexpr const char *kKeyFile = "/etc/quorix/encrypt.key";
constexpr std::size_t kKeySize = 56;
// Blowfish key schedule of libcrypto: 18 + 4 x 256 words of 32 bits.
constexpr std::size_t kBlowfishScheduleSize = (18 + 4 * 256) * 4;
// Fixed IV: the stored form depends only on the key and the text.
constexpr unsigned char kIv[8] = {0x51, 0x52, 0x58, 0x2d, 0x42, 0x46, 0x49, 0x56};
constexpr int kBlowfishEncrypt = 1;
constexpr int kBlowfishDecrypt = 0;

struct Crypto {
    void (*setKey)(void *schedule, int length, const unsigned char *data) = nullptr;
    void (*cfb64)(const unsigned char *in, unsigned char *out, long length, const void *schedule, unsigned char *ivec,
                  int *num, int enc) = nullptr;
    int (*encodeBlock)(unsigned char *out, const unsigned char *in, int length) = nullptr;
    int (*decodeBlock)(unsigned char *out, const unsigned char *in, int length) = nullptr;
    bool ready() const { return setKey && cfb64 && encodeBlock && decodeBlock; }
};

// Opened once and kept for the life of the process.
const Crypto &crypto() {
    static Crypto c;
    static std::once_flag once;
    std::call_once(once, [] {
        void *lib = dlopen("/usr/lib/arm-linux-gnueabi/libcrypto.so", RTLD_NOW);
        if (lib == nullptr) lib = dlopen("libcrypto.so.3", RTLD_NOW);
        if (lib == nullptr) return;
        c.setKey = reinterpret_cast<decltype(c.setKey)>(dlsym(lib, "BF_set_key"));
        c.cfb64 = reinterpret_cast<decltype(c.cfb64)>(dlsym(lib, "BF_cfb64_encrypt"));
        c.encodeBlock = reinterpret_cast<decltype(c.encodeBlock)>(dlsym(lib, "EVP_EncodeBlock"));
        c.decodeBlock = reinterpret_cast<decltype(c.decodeBlock)>(dlsym(lib, "EVP_DecodeBlock"));
    });
    return c;
}

// CFB64 keeps the output as long as the input: stored fields keep their size.
int blowfish(const unsigned char *in, unsigned char inLen, unsigned char *out, unsigned char outLen,
             const unsigned char *key, int direction) {
    const Crypto &c = crypto();
    if (!c.ready() || in == nullptr || out == nullptr || key == nullptr || inLen == 0 || outLen < inLen) return -1;
    const int keyLen = static_cast<int>(strnlen(reinterpret_cast<const char *>(key), kKeySize));
    if (keyLen == 0) return -1;
    alignas(8) unsigned char schedule[kBlowfishScheduleSize];
    unsigned char iv[sizeof kIv];
    std::memcpy(iv, kIv, sizeof iv);
    int num = 0;
    c.setKey(schedule, keyLen, key);
    std::vector<unsigned char> result(inLen);  // in and out may overlap
    c.cfb64(in, result.data(), inLen, schedule, iv, &num, direction);
    std::memcpy(out, result.data(), inLen);
    explicit_bzero(schedule, sizeof schedule);
    explicit_bzero(result.data(), result.size());
    return 0;
}

std::string trim(const std::string &text) {
    const char *blank = " \t\r\n";
    const std::size_t first = text.find_first_not_of(blank);
    if (first == std::string::npos) return "";
    return text.substr(first, text.find_last_not_of(blank) - first + 1);
}

bool readKey(unsigned char *key) {
    const int fd = open(kKeyFile, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    unsigned char extra;
    const bool ok = read(fd, key, kKeySize) == static_cast<ssize_t>(kKeySize) && read(fd, &extra, 1) == 0;
    close(fd);
    return ok && strnlen(reinterpret_cast<const char *>(key), kKeySize) == kKeySize;
}

// A key without zero bytes, so that it can be handed on as text as well.
bool randomKey(unsigned char *key) {
    std::size_t filled = 0;
    while (filled < kKeySize) {
        unsigned char chunk[64];
        const ssize_t n = getrandom(chunk, sizeof chunk, 0);
        if (n < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        for (ssize_t i = 0; i < n && filled < kKeySize; ++i)
            if (chunk[i] != 0) key[filled++] = chunk[i];
    }
    return true;
}

// Created once: written under a temporary name, then linked into place, so a
// concurrent first use sees either no key or a whole one.
bool createKey() {
    unsigned char key[kKeySize];
    if (!randomKey(key)) return false;
    mkdir(kFeatureDir, 0755);
    std::string temp = std::string(kKeyFile) + ".XXXXXX";
    const int fd = mkstemp(temp.data());
    if (fd < 0) return false;
    bool ok = fchmod(fd, 0600) == 0 && write(fd, key, kKeySize) == static_cast<ssize_t>(kKeySize) && fsync(fd) == 0;
    close(fd);
    explicit_bzero(key, sizeof key);
    ok = ok && (link(temp.c_str(), kKeyFile) == 0 || errno == EEXIST);
    unlink(temp.c_str());
    return ok;
}

}  // namespace

extern "C" int IsFeatureEnabled(const char *name) {
    if (name == nullptr || *name == '\0') return 0;
    std::ifstream in(kFeatureList);
    std::string line;
    // One feature a line: "NAME" or "NAME=y" turns it on, "NAME=n" off; "#" starts a comment.
    int enabled = 0;
    while (std::getline(in, line)) {
        line = trim(line.substr(0, line.find('#')));
        const std::size_t eq = line.find('=');
        if (trim(line.substr(0, eq)) != name) continue;
        const std::string value = eq == std::string::npos ? "y" : trim(line.substr(eq + 1));
        enabled = value == "y" || value == "1" ? 1 : 0;
    }
    return enabled;
}

extern "C" int getEncryptKey(unsigned char *key) {
    if (key == nullptr) return -1;
    if (readKey(key)) return 0;
    // A damaged key is never replaced: what it protects would be lost.
    if (access(kKeyFile, F_OK) == 0 || !createKey()) return -1;
    return readKey(key) ? 0 : -1;
}

extern "C" int EncryptPassword(const unsigned char *in, unsigned char in_len, unsigned char *out, unsigned char out_len,
                               const unsigned char *key) {
    return blowfish(in, in_len, out, out_len, key, kBlowfishEncrypt);
}

extern "C" int DecryptPassword(const unsigned char *in, unsigned char in_len, unsigned char *out, unsigned char out_len,
                               const unsigned char *key) {
    return blowfish(in, in_len, out, out_len, key, kBlowfishDecrypt);
}

extern "C" int Base64EncodeN(char *out, const unsigned char *in, int out_limit, int in_len) {
    const Crypto &c = crypto();
    if (!c.ready() || out == nullptr || in == nullptr || out_limit < 0 || in_len < 0) return -1;
    std::vector<unsigned char> text(static_cast<std::size_t>(in_len + 2) / 3 * 4 + 1);
    const int length = c.encodeBlock(text.data(), in, in_len);
    const int written = length < out_limit ? length : out_limit;
    std::memcpy(out, text.data(), static_cast<std::size_t>(written));
    if (written < out_limit) out[written] = '\0';
    return written;
}

extern "C" int Base64DecodeN(unsigned char *out, const char *in, int in_len) {
    const Crypto &c = crypto();
    if (!c.ready() || out == nullptr || in == nullptr || in_len <= 0 || in_len % 4 != 0) return 0;
    int length = c.decodeBlock(out, reinterpret_cast<const unsigned char *>(in), in_len);
    if (length < 0) return 0;
    // EVP_DecodeBlock counts the padding as data bytes.
    if (in[in_len - 1] == '=') --length;
    if (in[in_len - 2] == '=') --length;
    return length;
}
