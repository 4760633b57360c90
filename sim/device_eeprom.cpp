// EEPROM and FRU devices of the simulated board, each backed by a file under
// "/var/lib/quorix-sim" so that their contents persist like the real parts.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "sim_devices.h"
#include "sim_state.h"

namespace sim {
namespace {

constexpr const char *kDeviceDir = "/var/lib/quorix-sim";
constexpr int kMainBoardEepromSize = 32 * 1024;  // a 24C256 part
constexpr int kFruSize = 2048;

void ensureDeviceDir() {
    mkdir("/var/lib", 0755);
    mkdir(kDeviceDir, 0755);
}

// A blank device reads as 0xFF, like an erased EEPROM.
int openDevice(const std::string &name, int size) {
    ensureDeviceDir();
    std::string path = std::string(kDeviceDir) + "/" + name;
    int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0) return -1;
    // Threads and processes opening a new device race to blank it: under the
    // lock one fills it, and a later opener finds it full instead of blanking
    // bytes that were written meanwhile.
    flock(fd, LOCK_EX);
    struct stat st {};
    if (fstat(fd, &st) == 0 && st.st_size < size) {
        unsigned char blank[512];
        std::memset(blank, 0xFF, sizeof blank);
        for (off_t at = st.st_size; at < size; at += static_cast<off_t>(sizeof blank)) {
            std::size_t chunk = std::min<std::size_t>(sizeof blank, static_cast<std::size_t>(size - at));
            if (pwrite(fd, blank, chunk, at) < 0) break;
        }
    }
    flock(fd, LOCK_UN);
    return fd;
}

// One transfer, with the slot's fault applied: Fail gives -1, Short moves half.
int transfer(Slot slot, const std::string &device, int size, int offset, unsigned char *buffer, int length,
             bool write) {
    countCall(slot);
    if (buffer == nullptr || offset < 0 || length < 0 || offset > size || length > size - offset) return -1;
    Fault fault = faultOf(slot);
    if (fault == Fault::Fail) return -1;
    if (fault == Fault::Short) length /= 2;
    int fd = openDevice(device, size);
    if (fd < 0) return -1;
    ssize_t done = write ? pwrite(fd, buffer, static_cast<std::size_t>(length), offset)
                         : pread(fd, buffer, static_cast<std::size_t>(length), offset);
    if (write) fsync(fd);
    close(fd);
    return done < 0 ? -1 : static_cast<int>(done);
}

}  // namespace

int readMainBoardEeprom(int offset, unsigned char *buffer, int length) {
    return transfer(Slot::QuorixReadMainBoardEEprom, "eeprom-mainboard.bin", kMainBoardEepromSize, offset, buffer,
                    length, false);
}

int writeMainBoardEeprom(int offset, unsigned char *buffer, int length) {
    return transfer(Slot::QuorixWriteMainBoardEEprom, "eeprom-mainboard.bin", kMainBoardEepromSize, offset, buffer,
                    length, true);
}

int writeFruDevice(int device, int offset, int length, unsigned char *buffer) {
    return transfer(Slot::WriteFru, "fru-" + std::to_string(device) + ".bin", kFruSize, offset, buffer, length, true);
}

int readFruDevice(int device, int offset, int length, unsigned char *buffer) {
    return transfer(Slot::ReadFru, "fru-" + std::to_string(device) + ".bin", kFruSize, offset, buffer, length, false);
}

}  // namespace sim
