// The simulated shared device-state block and the simulator's own state:
// POSIX shared-memory objects, so every process that loads the simulator
// sees the same bytes, as daemons do on the board.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "sim_state.h"

namespace sim {
namespace {

constexpr const char *kBlockObject = "/quorix_shared_block";
constexpr const char *kStateObject = "/quorix_sim_state";

int openShared(const char *name, std::size_t size) {
    int fd = shm_open(name, O_RDWR | O_CREAT, 0600);
    if (fd < 0) {
        std::perror("simulator: shm_open");
        return -1;
    }
    struct stat st {};
    if (fstat(fd, &st) == 0 && static_cast<std::size_t>(st.st_size) < size && ftruncate(fd, size) != 0) {
        std::perror("simulator: ftruncate");
        close(fd);
        return -1;
    }
    return fd;
}

void *mapShared(const char *name, std::size_t size) {
    int fd = openShared(name, size);
    if (fd < 0) return nullptr;
    void *p = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    close(fd);
    return p == MAP_FAILED ? nullptr : p;
}

// The block sits between two inaccessible pages, so that an access just
// before or past it faults at once instead of landing in other memory.
void *mapGuarded(const char *name, std::size_t size) {
    const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t span = (size + page - 1) / page * page;
    int fd = openShared(name, size);
    if (fd < 0) return nullptr;
    void *area = mmap(nullptr, span + 2 * page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (area == MAP_FAILED) {
        close(fd);
        return nullptr;
    }
    auto *inside = static_cast<unsigned char *>(area) + page;
    void *p = mmap(inside, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_FIXED, fd, 0);
    close(fd);
    if (p == MAP_FAILED) {
        munmap(area, span + 2 * page);
        return nullptr;
    }
    return p;
}

}  // namespace

unsigned char *block() {
    static unsigned char *mapped = static_cast<unsigned char *>(mapGuarded(kBlockObject, qrx::kSharedBlockSize));
    return mapped;
}

State &state() {
    // A fresh object is all zero, which is the reset state.
    static State *mapped = static_cast<State *>(mapShared(kStateObject, sizeof(State)));
    if (mapped == nullptr) std::abort();
    return *mapped;
}

}  // namespace sim

extern "C" __attribute__((visibility("default"))) void *oem_get_shared_mem(void) { return sim::block(); }

extern "C" __attribute__((visibility("default"))) unsigned long quorix_sim_block_size(void) {
    return qrx::kSharedBlockSize;
}
