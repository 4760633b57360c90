// Temperature and power readings through the feature handle table.
#include <climits>
#include <cmath>

#include "core/export.h"
#include "core/slot_table.h"
#include "quorix_common_interface.h"

namespace qrx::sensor {

// Float to int toward zero as the board's conversion does it: NaN gives 0 and
// out-of-range values saturate (a plain cast would be undefined here).
float truncateReading(float value) {
    if (std::isnan(value)) return 0.0f;
    if (value >= 2147483648.0f) return static_cast<float>(INT_MAX);
    if (value <= -2147483648.0f) return static_cast<float>(INT_MIN);
    return static_cast<float>(static_cast<int>(value));
}

// The slot's result is the reading; the float it is handed is scratch space
// for the platform and is not looked at afterwards. An unbound library or an
// empty slot reads as 0 rather than faulting in the monitor's loop.
template <int Slot>
float readWhole(int sensorType, int sensorIndex) {
    if (intf_handle == nullptr) return 0.0f;
    auto fn = slotFn<Slot>();
    if (fn == nullptr) return 0.0f;
    float scratch = 0.0f;
    return truncateReading(fn(sensorType, sensorIndex, &scratch));
}

}  // namespace qrx::sensor

extern "C" {

QRX_EXPORT float QuorixGetTempSensorReading(int sensor_type, int sensor_index) {
    return qrx::sensor::readWhole<24>(sensor_type, sensor_index);
}

QRX_EXPORT float QuorixGetPowerSensorReading(int sensor_type, int sensor_index) {
    return qrx::sensor::readWhole<25>(sensor_type, sensor_index);
}

}  // extern "C"
