// Named pipes between daemons. Opening, reading and writing are the feature
// library's (slots 148-150); the library only creates the FIFOs.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include "core/export.h"
#include "core/slot_table.h"
#include "ipc/wire_records.h"

namespace qrx::ipc {

int writeNamedPipe(const char *path, unsigned char *buffer, int length) {
    auto write = slotFn<Slot::QuorixWritePipe>();
    if (write == nullptr) return -1;
    return write(path, buffer, length);
}

namespace {

constexpr mode_t kPipeMode = 0777;

int createPipe(const char *path) {
    if (path == nullptr) {
        std::printf("Could not create pipe : %s\n", "(null)");
        return -1;
    }
    // Whatever already sits at the path (even a plain file) is left alone.
    if (access(path, F_OK) == 0) return 0;
    if (mkfifo(path, kPipeMode) == 0) return 0;
    std::printf("Could not create pipe : %s\n", path);
    return -1;
}

}  // namespace
}  // namespace qrx::ipc

extern "C" QRX_EXPORT int QuorixCreatePipe(const char *path) {
    return qrx::ipc::createPipe(path);
}
