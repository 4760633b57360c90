// quorixctl sdr convert: a raw reading through the SDR linear formula.
#include <cstdint>
#include <cstdio>

#include "command.h"
#include "quorix_common_interface.h"

namespace ctl {
namespace {

int runConvert(const Args &args) {
    expectArgs(args, 4, 4);
    const long long raw = number(args[0], "X", INT32_MIN, INT32_MAX), m = number(args[1], "M", INT32_MIN, INT32_MAX),
                    b = number(args[2], "B", INT32_MIN, INT32_MAX), exponents = number(args[3], "EXPONENTS", 0, 255);
    const double value = SdrConvertSensorReading(static_cast<int>(raw), static_cast<int>(m), static_cast<int>(b),
                                                 static_cast<unsigned char>(exponents));
    std::printf("x=%lld M=%lld B=%lld K1=%lld R=%d -> %.15g\n", raw, m, b, exponents & 0x0F,
                TO_R_EXP(static_cast<int>(exponents >> 4)), value);
    return kExitOk;
}

}  // namespace

std::vector<Command> sdrCommands() {
    return {{"sdr", "convert", "X M B EXPONENTS", "convert a raw reading: (X*M + B*10^K1) * 10^R", runConvert,
             "EXPONENTS is one byte: R in the high nibble, K1 in the low, each a 4-bit two's complement."}};
}

}  // namespace ctl
