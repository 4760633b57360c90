// BIOS setting files: the future-settings merge, attribute lookup and the
// verdict of the last apply.
#include "config/bios/bios_settings.h"

#include <json-c/json.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstring>

#include "config/common/json_file.h"
#include "core/export.h"
#include "diag/log_names.h"
#include "quorix_common_interface.h"

namespace {

namespace bs = qrx::bios;

using qrx::config::json::Ptr;

bool exists(const char *path) {
    struct stat st {};
    return stat(path, &st) == 0;
}

// One parse: json_object_from_file also accepts a bare scalar; the files are objects.
Ptr parseObject(const char *path) {
    return qrx::config::json::parseFile(path, 1);
}

json_object *member(json_object *parent, const char *key) {
    return qrx::config::json::member(parent, key, 1);
}

}  // namespace

int qrx::bios::generateFutureSettings() {
    Ptr current = parseObject(bs::kCurrentSettingsPath);
    json_object *attributes = member(current.get(), "Attributes");
    if (attributes == nullptr || !json_object_is_type(attributes, json_type_object)) return -1;

    if (exists(bs::kFutureSettingsPath)) {
        Ptr future = parseObject(bs::kFutureSettingsPath);
        if (!future) return -1;
        json_object *pending = member(future.get(), "Attributes");
        if (pending != nullptr && json_object_is_type(pending, json_type_object)) {
            // Pending changes win over the current values.
            json_object_object_foreach(pending, name, value) {
                json_object_object_add(attributes, name, json_object_get(value));
            }
        }
    }
    Ptr out(json_object_new_object());
    json_object_object_add(out.get(), "Attributes", json_object_get(attributes));
    // Replaced whole or not at all: a full or read-only "/conf" must not cost
    // the pending settings already there.
    return qrx::config::json::writeAtomically(out.get(), bs::kFutureSettingsPath) ? 0 : -1;
}

namespace {

int currentSetValue(const char *name, char *out, int size) {
    if (name == nullptr || out == nullptr) return -1;
    if (!exists(bs::kCurrentSettingsPath)) return -2;
    Ptr current = parseObject(bs::kCurrentSettingsPath);
    if (!current) return -3;
    json_object *attributes = member(current.get(), "Attributes");
    if (attributes == nullptr) return -4;
    json_object *value = member(attributes, name);
    if (value == nullptr) return -5;
    const char *text = json_object_get_string(value);
    std::size_t length = std::strlen(text);
    if (size <= 0 || length >= static_cast<std::size_t>(size)) return -6;
    std::memcpy(out, text, length + 1);
    return 0;
}

}  // namespace

extern "C" {

QRX_EXPORT int GenerateFutureSetJson(void) {
    return qrx::bios::generateFutureSettings();
}

QRX_EXPORT int GetCurrentSetValue(const char *name, char *out, int size) {
    return currentSetValue(name, out, size);
}

QRX_EXPORT int GetBiosSetupOption(const char *name) {
    char value[100] = {};
    int rc = currentSetValue(name, value, sizeof value);
    if (rc == 0) return std::printf("%s : %s\n", name, value);
    return std::printf("Error:%d %s\n", rc, "The arg is wrong or There is no bios_current_settings.json");
}

QRX_EXPORT int QuorixGetAttributeValueFromJson(void) {
    Ptr future(json_object_from_file(bs::kFutureSettingsPath));
    if (!future) {
        qrx::debugLog(qrx::kLogCritical, qrx::kModulePowerOffProtect, "Reading bios_future_setting.json failed");
        return -1;
    }
    // The registry name is looked up as the Redfish service writes it; only the attributes decide.
    (void)member(future.get(), "AttributeRegistry");
    if (member(future.get(), "Attributes") == nullptr) {
        qrx::debugLog(qrx::kLogCritical, qrx::kModulePowerOffProtect, "Attributes is NULL");
        return -1;
    }
    return 0;
}

QRX_EXPORT int QuorixGetResultFromJson(void) {
    Ptr root(json_object_from_file(bs::kSettingResultPath));
    json_object *settingResult = member(root.get(), "SettingResult");
    if (settingResult == nullptr) {
        qrx::debugLog(qrx::kLogCritical, qrx::kModulePowerOffProtect, "SettingResult is NULL");
        return -1;
    }
    json_object *result = member(settingResult, "Result");
    if (result == nullptr) {
        qrx::debugLog(qrx::kLogCritical, qrx::kModulePowerOffProtect, "Result is NULL");
        return -1;
    }
    // The verdict is read with a 64-byte bound, as the result file's writer sizes it.
    char text[64] = {};
    std::snprintf(text, sizeof text, "%s", json_object_get_string(result));
    return std::strcmp(text, "EFI_SUCCESS") == 0 ? 0 : -1;
}

}  // extern "C"
