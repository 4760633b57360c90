// Helpers kept beside the validators: signal-proof sleeps, arg-max/arg-min
// scans and the split of a DIMM sensor index.
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <ctime>

#include "core/export.h"
#include "quorix_common_interface.h"

namespace {

// Both outputs start at index 0; only strictly greater (smaller) values move
// them, so the first occurrence of an extreme wins.
template <typename T>
void findMaxAndMin(const T *values, int count, unsigned *maxIndex, unsigned *minIndex) {
    if (values == nullptr || count <= 1 || maxIndex == nullptr || minIndex == nullptr) return;
    unsigned hi = 0;
    unsigned lo = 0;
    for (int i = 1; i < count; ++i) {
        if (values[i] > values[hi]) hi = static_cast<unsigned>(i);
        if (values[i] < values[lo]) lo = static_cast<unsigned>(i);
    }
    *maxIndex = hi;
    *minIndex = lo;
}

}  // namespace

extern "C" {

QRX_EXPORT void FindMaxAndMinUint8(const unsigned char *values, int count, unsigned *max_index, unsigned *min_index) {
    findMaxAndMin(values, count, max_index, min_index);
}

QRX_EXPORT void FindMaxAndMinFloat(const float *values, int count, unsigned *max_index, unsigned *min_index) {
    findMaxAndMin(values, count, max_index, min_index);
}

QRX_EXPORT int QuorixSleep(unsigned seconds) {
    unsigned left = sleep(seconds);
    while (left != 0) {
        std::puts("QuorixSleep ");
        left = sleep(left);
    }
    return 0;
}

QRX_EXPORT int QuorixNanoSleep(long seconds, long nanoseconds) {
    if (seconds == 0 && nanoseconds == 0) return -1;
    timespec wanted{static_cast<time_t>(seconds), nanoseconds};
    timespec left{};
    while (nanosleep(&wanted, &left) != 0 && errno == EINTR) {
        std::puts("QuorixNanoSleep ");
        wanted = left;
    }
    return 0;
}

QRX_EXPORT int QuorixGetDimmSensorIndexField(unsigned char index, unsigned char *cpu, unsigned char *channel,
                                             unsigned char *dimm) {
    if (cpu != nullptr) *cpu = static_cast<unsigned char>((index >> 5) & 0x07);
    if (channel != nullptr) *channel = static_cast<unsigned char>((index >> 2) & 0x07);
    if (dimm != nullptr) *dimm = static_cast<unsigned char>(index & 0x03);
    return 0;
}

}  // extern "C"
