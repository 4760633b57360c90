// quorixctl sdr convert: a raw reading through the SDR linear formula.
#include <cstdint>
#include <cstdio>

#include "command.h"
#include "quorix_common_interface.h"

namespace ctl {
namespace {

int runConvert(const Args &args) {
    long raw, m, b, exponents;
    if (args.size() != 4 || !parseInt(args[0], raw) || !parseInt(args[1], m) || !parseInt(args[2], b) ||
        !parseInt(args[3], exponents) || exponents < 0 || exponents > 0xFF || raw < INT32_MIN || raw > INT32_MAX ||
        m < INT32_MIN || m > INT32_MAX || b < INT32_MIN || b > INT32_MAX)
        return usageError("sdr convert X M B EXPONENTS (EXPONENTS: one byte, R in the high nibble, K1 in the low)");
    const double value = SdrConvertSensorReading(static_cast<int>(raw), static_cast<int>(m), static_cast<int>(b),
                                                 static_cast<unsigned char>(exponents));
    std::printf("x=%ld M=%ld B=%ld K1=%ld R=%d -> %.15g\n", raw, m, b, exponents & 0x0F,
                TO_R_EXP(static_cast<int>(exponents >> 4)), value);
    return kExitOk;
}

}  // namespace

std::vector<Command> sdrCommands() {
    return {{"sdr", "convert", "X M B EXPONENTS", "convert a raw reading: (X*M + B*10^K1) * 10^R", runConvert}};
}

}  // namespace ctl
