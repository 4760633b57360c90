// Temperature and power readings, and discrete sensor states, through the
// feature handle table.
#include <climits>
#include <cmath>

#include "core/export.h"
#include "sensor/sensor_reading.h"
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
template <Slot S>
float readWhole(int sensorType, int sensorIndex) {
    if (intf_handle == nullptr) return 0.0f;
    auto fn = slotFn<S>();
    if (fn == nullptr) return 0.0f;
    float scratch = 0.0f;
    return truncateReading(fn(sensorType, sensorIndex, &scratch));
}

// A discrete sensor shows one state at a time: its event offset (0..14).
inline constexpr int kEventOffsets = 15, kNoEvent = -1, kDeassert = 0, kAssert = 1;

// Moves a discrete sensor from one state to another: the old event is
// deasserted before the new one is asserted, so the event log never shows two
// states at once. A failed deassert leaves the old state standing.
int setDiscreteState(int deviceType, int index, int previous, int next) {
    if (next < 0 || next >= kEventOffsets || previous < kNoEvent || previous >= kEventOffsets) return -1;
    if (previous == next) return 0;
    auto control = slotFn<Slot::QuorixCPUMEMStatCtrl>();
    if (previous != kNoEvent) {
        int result = control(deviceType, index, previous, kDeassert);
        if (result != 0) return result;
    }
    return control(deviceType, index, next, kAssert);
}

float temperatureReading(int sensorType, int sensorIndex) {
    return readWhole<Slot::ReadTempSensor>(sensorType, sensorIndex);
}

}  // namespace qrx::sensor

extern "C" {

QRX_EXPORT float QuorixGetTempSensorReading(int sensor_type, int sensor_index) {
    return qrx::sensor::temperatureReading(sensor_type, sensor_index);
}

QRX_EXPORT float QuorixGetPowerSensorReading(int sensor_type, int sensor_index) {
    return qrx::sensor::readWhole<qrx::Slot::ReadPowerSensor>(sensor_type, sensor_index);
}

QRX_EXPORT int QuorixSetSensorReading(int device_type, int index, int previous_offset, int event_offset) {
    return qrx::sensor::setDiscreteState(device_type, index, previous_offset, event_offset);
}

}  // extern "C"
