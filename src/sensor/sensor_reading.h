// Sensor readings as the library's own code takes them.
#pragma once

namespace qrx::sensor {

// Whole degrees of a temperature sensor (QuorixGetTempSensorReading): 0 when
// the library is unbound or the slot empty.
float temperatureReading(int sensorType, int sensorIndex);

}  // namespace qrx::sensor
