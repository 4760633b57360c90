// TF (microSD) card: mounting, image copies with one current and one
// previous copy per directory, version lookup, listing and a self-test.
#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "core/export.h"
#include "core/shell_command.h"
#include "core/unique.h"
#include "diag/log_names.h"
#include "quorix_common_interface.h"
#include "quorix_platform.h"

namespace {

constexpr const char *kDevice = "/dev/mmcblk0p1", *kMountPoint = "/mnt/sdmmc0p1";
constexpr const char *kNoDevice = "TFCARD_DEVICE:check TF card fail, no such device.";
constexpr const char *kRefusedPath =
    "TF card mount refused: device and mount point must be letters, digits and /._- only\n";

// Directories are created with the decimal number 777 as the mode (octal
// 1411); the card's firmware tools expect exactly these permissions.
constexpr mode_t kDirMode = 777;

constexpr int kTestFailed = 0xCC;
constexpr int kTestNoCard = 0x80;
constexpr char kTestText[] = "Test ok!";

// A path on the card. One longer than the system takes stays empty, so every
// call on it fails as it would have failed on the long path.
struct CardPath {
    char text[PATH_MAX];
    __attribute__((format(printf, 2, 3))) explicit CardPath(const char *format, ...) {
        va_list args;
        va_start(args, format);
        int n = std::vsnprintf(text, sizeof text, format, args);
        va_end(args);
        if (n < 0 || n >= static_cast<int>(sizeof text)) text[0] = '\0';
    }
    const char *c_str() const { return text; }
};

bool exists(const char *path) {
    return access(path, F_OK) == 0;
}

bool isDirectory(const CardPath &path) {
    struct stat st {};
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool isRegularFile(const CardPath &path) {
    struct stat st {};
    return lstat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

// Names are single path components: nothing may land outside the card.
bool isPlainName(const char *name) {
    return std::strchr(name, '/') == nullptr && std::strcmp(name, "..") != 0 && std::strcmp(name, ".") != 0;
}

// Length of the part of name before the first stop character, as "%[^n]"
// and "%[^o]" scan it (an empty part does not match).
int partBefore(const char *name, const char *stop) {
    return static_cast<int>(std::strcspn(name, stop));
}

// Runs a command through a read pipe; false when it could not be started.
bool runCommand(const qrx::shell::Command &command) {
    qrx::UniquePipe pipe(popen(command.text, "r"));
    if (!pipe) return false;
    char sink[256];
    while (std::fgets(sink, sizeof sink, pipe.get()) != nullptr) {
    }
    return true;
}

CardPath cardDirectory(const char *subdir) {
    return CardPath("%s/%s", kMountPoint, subdir);
}

void copyOutName(char *out, int length, const char *name) {
    std::snprintf(out, 64, "%.*s", length, name);
}

// Calls fn(name, path) for every regular file of dir.
template <typename Fn>
void forEachRegularFile(const CardPath &dir, Fn fn) {
    qrx::UniqueDir d(opendir(dir.c_str()));
    if (!d) return;
    while (const dirent *entry = readdir(d.get())) {
        CardPath path("%s/%s", dir.c_str(), entry->d_name);
        if (isRegularFile(path)) fn(entry->d_name, path);
    }
}

// The previous images (".old") go, then the current ones (".new") become the
// previous. Two walks: a walk that renames as it goes may meet a fresh
// ".old" again and delete the image it just kept.
int rotateImages(const CardPath &dir) {
    forEachRegularFile(dir, [](const char *name, const CardPath &path) {
        if (std::strstr(name, ".old") != nullptr && unlink(path.c_str()) != 0)
            qrx::debugLog(qrx::kLogCritical, qrx::kModuleMonitor, "Unlink %s fail in TF card \n", path.c_str());
    });
    forEachRegularFile(dir, [&dir](const char *name, const CardPath &path) {
        if (std::strstr(name, ".old") != nullptr || std::strstr(name, ".new") == nullptr) return;
        // Cut at the first "n" anywhere in the name; image names carry none before the suffix.
        int base = partBefore(name, "n");
        if (base == 0) return;
        CardPath renamed("%s/%.*sold", dir.c_str(), base, name);
        if (rename(path.c_str(), renamed.c_str()) != 0)
            qrx::debugLog(qrx::kLogCritical, qrx::kModuleMonitor, "Rename %s to %s fail in TF card \n", path.c_str(),
                          renamed.c_str());
    });
    return 0;
}

// Remounts the card (umount, then mount); -1 without running anything for a refused path.
int mountCard(const char *device, const char *mount_point) {
    if (device == nullptr || mount_point == nullptr) return -1;
    qrx::shell::Command umount;
    qrx::shell::Command mount;
    if (!qrx::shell::build(umount, "umount %s", mount_point) ||
        !qrx::shell::build(mount, "mount %s   %s", device, mount_point)) {
        qrx::debugLog(qrx::kLogError, qrx::kModuleMonitor, "%s", kRefusedPath);
        return -1;
    }
    if (!runCommand(umount)) std::printf("execute %s failed\n", umount.text);
    if (!runCommand(mount)) std::printf("execute %s failed\n", mount.text);
    return 0;
}

int selfTest(const char *name) {
    if (!exists(kDevice)) {
        qrx::debugLog(qrx::kLogCritical, qrx::kModuleMonitor, "%s", kNoDevice);
        return kTestNoCard;
    }
    if (!exists(kMountPoint)) {
        qrx::debugLog(qrx::kLogCritical, qrx::kModuleMonitor,
                    "TFCARD_MOUNT_DIR:check TF card fail, no such file or directory.");
        return kTestNoCard;
    }
    if (mountCard(kDevice, kMountPoint) != 0) return kTestNoCard;
    char path[256];
    int needed = std::snprintf(path, sizeof path, "%s/%s", kMountPoint, name);
    if (needed < 0 || needed >= static_cast<int>(sizeof path)) {
        qrx::debugLog(qrx::kLogCritical, qrx::kModuleMonitor, "Buffer Overflow");
        return kTestFailed;
    }
    if (!isPlainName(name)) return kTestFailed;
    qrx::UniqueFd fd(open(path, O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
    if (!fd) return kTestFailed;
    char back[sizeof kTestText] = {};
    if (write(fd.get(), kTestText, sizeof kTestText) == static_cast<ssize_t>(sizeof kTestText) &&
        lseek(fd.get(), 0, SEEK_SET) == 0 && read(fd.get(), back, sizeof back) == static_cast<ssize_t>(sizeof back) &&
        std::memcmp(back, kTestText, sizeof kTestText) == 0)
        return 0;
    return kTestFailed;
}

}  // namespace

extern "C" {

QRX_EXPORT int common_init_tf_card(const char *device) {
    std::printf("__lt_  common_init_log_tf_card strdev :%s  \n", device != nullptr ? device : "(null)");
    return 0;
}

QRX_EXPORT int common_mount_tf_card(const char *device, const char *mount_point) {
    return mountCard(device, mount_point);
}

QRX_EXPORT int common_umount_tf_card(const char *mount_point) {
    if (mount_point == nullptr) return -1;
    qrx::shell::Command umount;
    if (!qrx::shell::build(umount, "umount %s", mount_point)) {
        qrx::debugLog(qrx::kLogError, qrx::kModuleMonitor, "%s", kRefusedPath);
        return -1;
    }
    if (!runCommand(umount)) {
        std::printf("execute %s  failed\n", umount.text);
        return -1;
    }
    return 0;
}

QRX_EXPORT int common_copy_file_to_tf_card(const char *src, const char *file_name, const char *subdir) {
    if (src == nullptr || file_name == nullptr || subdir == nullptr) return -1;
    if (!exists(kDevice)) {
        std::printf("%s", kNoDevice);
        return -1;
    }
    if (!exists(kMountPoint)) {
        std::printf("TFCARD_MOUNT_DIR:check TF card mount point,no such file or directory.");
        return -1;
    }
    mountCard(kDevice, kMountPoint);
    if (std::strlen(subdir) >= 20 || std::strlen(file_name) >= 20 || std::strlen(src) >= 80) {
        std::printf(" filename or path too long. ");
        return -1;
    }
    if (!isPlainName(subdir) || !isPlainName(file_name) || *file_name == '\0') {
        std::printf(" invalid file name or directory. ");
        return -1;
    }
    CardPath dir = cardDirectory(subdir);
    mkdir(dir.c_str(), kDirMode);
    if (!isDirectory(dir)) {
        std::printf("create %s fail. \n", dir.c_str());
        return -1;
    }
    CardPath target("%s/%s", dir.c_str(), file_name);
    if (copyFile(src, target.c_str()) != 0) {
        qrx::debugLog(qrx::kLogCritical, qrx::kModuleMonitor, "Copy %s to %s fail in TF card \n", src, target.c_str());
        return -1;
    }
    return 0;
}

QRX_EXPORT int common_copy_ima_file_to_tf_card(const char *src, const char *image_name, const char *subdir) {
    if (src == nullptr || image_name == nullptr || subdir == nullptr) return -1;
    if (!exists(kDevice)) {
        qrx::debugLog(qrx::kLogCritical, qrx::kModuleMonitor, "%s", kNoDevice);
        return 1;
    }
    if (!exists(kMountPoint)) {
        qrx::debugLog(qrx::kLogCritical, qrx::kModuleMonitor,
                    "TFCARD_MOUNT_DIR:check TF card fail, no such file or directory.");
        return 1;
    }
    if (std::strlen(subdir) >= 64 || std::strlen(image_name) >= 64 || std::strlen(src) >= 128) {
        qrx::debugLog(qrx::kLogCritical, qrx::kModuleMonitor, "filename or path too long.");
        return -1;
    }
    if (!isPlainName(subdir) || !isPlainName(image_name) || *image_name == '\0') {
        qrx::debugLog(qrx::kLogCritical, qrx::kModuleMonitor, "invalid image name or directory.");
        return -1;
    }
    CardPath dir = cardDirectory(subdir);
    if (!isDirectory(dir)) {
        mkdir(dir.c_str(), kDirMode);
        if (!isDirectory(dir)) {
            qrx::debugLog(qrx::kLogError, qrx::kModuleMonitor, "create %s in TF card fail. \n", dir.c_str());
            return -1;
        }
    }
    rotateImages(dir);
    CardPath target("%s/%snew", dir.c_str(), image_name);
    if (copyFile(src, target.c_str()) != 0) {
        qrx::debugLog(qrx::kLogCritical, qrx::kModuleMonitor, "Copy %s to %s fail in TF card \n", src, target.c_str());
        return -1;
    }
    return 0;
}

QRX_EXPORT int common_check_ima_file_version_tf_card(const char *version, const char *subdir) {
    if (version == nullptr || subdir == nullptr) return -1;
    if (!isPlainName(subdir)) return -1;
    CardPath dir = cardDirectory(subdir);
    if (!exists(dir.c_str())) {
        qrx::debugLog(qrx::kLogInfo, qrx::kModuleMonitor, "%s is not exist in TF Card\n", dir.c_str());
        return 2;
    }
    qrx::UniqueDir d(opendir(dir.c_str()));
    if (!d) {
        qrx::debugLog(qrx::kLogCritical, qrx::kModuleMonitor, "Cannot open directory %s\n", dir.c_str());
        return -1;
    }
    while (const dirent *entry = readdir(d.get())) {
        if (!isRegularFile(CardPath("%s/%s", dir.c_str(), entry->d_name))) continue;
        int base;
        if (std::strstr(entry->d_name, ".new") != nullptr)
            base = partBefore(entry->d_name, "n");
        else if (std::strstr(entry->d_name, ".old") != nullptr)
            base = partBefore(entry->d_name, "o");
        else
            continue;
        if (base != 0 && std::strncmp(version, entry->d_name, static_cast<std::size_t>(base)) == 0) return 0;
    }
    return 3;
}

QRX_EXPORT int common_copy_log_to_tf_card(const char *src) {
    if (src == nullptr) return -1;
    if (!exists(kDevice)) {
        std::printf("TFCARD_DEVICE:check  TF card fail, no such file or directory. ");
        return 1;
    }
    (void)exists(kMountPoint);  // looked at, but the mount below decides
    mountCard(kDevice, kMountPoint);
    if (copyFile(src, kMountPoint) != 0) {
        qrx::debugLog(qrx::kLogCritical, qrx::kModuleMonitor, "Copy %s to %s fail in TF card \n", src, kMountPoint);
        return -1;
    }
    return 0;
}

QRX_EXPORT int common_get_file_list_from_tf_card(const char *subdir, char *current, char *previous) {
    if (subdir == nullptr || current == nullptr || previous == nullptr) return -1;
    if (!exists(kDevice)) {
        qrx::debugLog(qrx::kLogCritical, qrx::kModuleMonitor,
                    "/dev/mmcblk0p1:check TF card fail, no such file or directory.");
        return 1;
    }
    if (!exists(kMountPoint)) {
        qrx::debugLog(qrx::kLogCritical, qrx::kModuleMonitor,
                    "/mnt/sdmmc0p1:check TF card fail, no such file or directory.");
        return 2;
    }
    if (std::strlen(subdir) >= 64) {
        qrx::debugLog(qrx::kLogCritical, qrx::kModuleMonitor, "TF Card dir name is too long");
        return 2;
    }
    if (!isPlainName(subdir)) return 2;
    CardPath dir = cardDirectory(subdir);
    qrx::UniqueDir d(opendir(dir.c_str()));
    if (!d) return 2;
    bool haveCurrent = false;
    bool havePrevious = false;
    while (const dirent *entry = readdir(d.get())) {
        if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0) continue;
        if (!isRegularFile(CardPath("%s/%s", dir.c_str(), entry->d_name))) continue;
        // The listed name drops the dot that ends the base.
        if (std::strstr(entry->d_name, ".new") != nullptr) {
            int base = partBefore(entry->d_name, "n");
            copyOutName(current, base > 0 ? base - 1 : 0, entry->d_name);
            haveCurrent = true;
        } else if (std::strstr(entry->d_name, ".old") != nullptr) {
            int base = partBefore(entry->d_name, "o");
            copyOutName(previous, base > 0 ? base - 1 : 0, entry->d_name);
            havePrevious = true;
        }
    }
    if (!haveCurrent) copyOutName(current, 2, "NA");
    if (!havePrevious) copyOutName(previous, 2, "NA");
    return 0;
}

QRX_EXPORT int test_file(const char *name) {
    if (name == nullptr) return kTestFailed;
    return selfTest(name);
}

}  // extern "C"
