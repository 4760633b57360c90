// BIOS setting files kept by the Redfish service.
#pragma once

namespace qrx::bios {

inline constexpr const char *kCurrentSettingsPath = "/conf/redfish/bios/bios_current_settings.json";
inline constexpr const char *kFutureSettingsPath = "/conf/redfish/bios/bios_future_settings.json";
inline constexpr const char *kSettingResultPath = "/conf/redfish/bios/setting_result.json";

// Writes the future-settings file from the current settings' attributes;
// 0, or -1 when the current file is unusable or the write fails.
int generateFutureSettings();

}  // namespace qrx::bios
