// quorixctl sim load: the "devices" section of a fixture, which fills the
// device regions of the shared block the way the hardware monitor would.
//
//   "devices": {
//     "psus": {"config_num": 2, "normal_num": 2, "redundant_num": 1,
//              "records": [{"present": 1, "input_power": 212.5, "serial": "...", "date": "180511000000", ...}]},
//     "cpus": {"present": [1, 1]},
//     "me": {"major": 4, "minor": 21, "build": 1061632},
//     "backplanes": [{"side": "front", "index": 0, "in_use": 1, "slots": 12, "board": "...", "cpld_version": 19}],
//     "disks": [{"side": "front", "index": 0, "present": 1, "status": 0, "nvme_temperature": 0, "serial": "..."}],
//     "fans": [{"present": 1, "front_rpm": 8200, "rear_rpm": 7900, "duty": 45, "max_rpm": 12000, "name": "FAN0"}],
//     "cpld": {"board_id": 42, "version": 19, "fpga_board_id": 5, "fpga_version": 33},
//     "memory_power": 38.5, "restart_cause": 1, "scan_enable": 1, "me_access": 1
//   }
//
// Counts (PSUs, CPUs, backplanes, fans) follow the records given unless a
// "count" member says otherwise; records are written at their index.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <json-c/json.h>

#include "command.h"
#include "devstate/board_layout.h"
#include "devstate/disk_layout.h"
#include "devstate/fan_layout.h"
#include "devstate/flags_layout.h"
#include "devstate/psu_layout.h"

namespace ctl {
namespace {

qrx::ByteView block() { return qrx::sharedBlock(); }

json_object *member(json_object *obj, const char *key) {
    json_object *value = nullptr;
    return json_object_object_get_ex(obj, key, &value) ? value : nullptr;
}

int intOr(json_object *obj, const char *key, int fallback) {
    json_object *v = member(obj, key);
    return v != nullptr ? json_object_get_int(v) : fallback;
}

double numberOr(json_object *obj, const char *key, double fallback) {
    json_object *v = member(obj, key);
    return v != nullptr ? json_object_get_double(v) : fallback;
}

// Text fields are zero-padded and cut to the field; a full field has no terminator.
void putText(std::size_t at, std::size_t length, json_object *obj, const char *key) {
    json_object *v = member(obj, key);
    if (v == nullptr) return;
    const char *text = json_object_get_string(v);
    block().fill(at, 0, length);
    block().copyIn(at, text, std::min(length, std::strlen(text)));
}

bool isArray(json_object *v, const char *what) {
    if (v != nullptr && json_object_get_type(v) == json_type_array) return true;
    throw UsageError(std::string("\"") + what + "\" must be an array");
}

bool indexIn(json_object *rec, std::size_t position, int limit, const char *what, int &index) {
    index = intOr(rec, "index", static_cast<int>(position));
    if (index >= 0 && index < limit) return true;
    throw UsageError(std::string(what) + " index " + std::to_string(index) + " is out of range (0.." +
                     std::to_string(limit - 1) + ")");
}

bool loadPsus(json_object *psus, int &loaded) {
    namespace p = qrx::psu;
    namespace r = qrx::psu::rec;
    json_object *records = member(psus, "records");
    if (records == nullptr) records = json_object_new_array();  // counters only
    else json_object_get(records);
    JsonPtr held(records, json_object_put);  // also when a refused record throws
    bool ok = isArray(records, "psus.records");
    int count = ok ? static_cast<int>(json_object_array_length(records)) : 0;
    for (int i = 0; ok && i < count; ++i) {
        json_object *rec = json_object_array_get_idx(records, i);
        int index;
        if (!indexIn(rec, i, p::kMaxRecords, "psu", index)) {
            ok = false;
            break;
        }
        std::size_t at = p::fieldOffset(index, 0);
        block().fill(at, 0, p::kRecordSize);
        struct Byte {
            const char *key;
            std::size_t field;
        } bytes[] = {{"present", r::kPresent},         {"work_mode", r::kWorkMode},       {"input_type", r::kInputType},
                     {"pwr_good", r::kPwrGood},        {"fan_status", r::kFanStatus},     {"vout_status", r::kVoutStatus},
                     {"iout_status", r::kIoutStatus},  {"input_status", r::kInputStatus}, {"temperature_status", r::kTemperatureStatus},
                     {"updating", r::kPsuUpdating},    {"boot_mode", r::kPsubMode},       {"type", r::kType}};
        for (const Byte &b : bytes) block().setU8(at + b.field, static_cast<unsigned char>(intOr(rec, b.key, 0)));
        block().setU16(at + r::kStatusWord, static_cast<std::uint16_t>(intOr(rec, "status_word", 0)));
        block().setU16(at + r::kPsStatus, static_cast<std::uint16_t>(intOr(rec, "ps_status", 0)));
        struct Reading {
            const char *key;
            std::size_t field;
        } readings[] = {{"ambient_temperature", r::kAmbientTemperature}, {"secondary_temperature", r::kSecondaryTemperature},
                        {"primary_temperature", r::kPrimaryTemperature}, {"input_power", r::kInputPower},
                        {"output_power", r::kOutputPower},               {"input_volt", r::kInputVolt},
                        {"output_volt", r::kOutputVolt},                 {"input_current", r::kInputCurrent},
                        {"output_current", r::kOutputCurrent},           {"output_power_max", r::kOutputPowerMax},
                        {"fan_speed", r::kFanSpeed}};
        for (const Reading &rd : readings) block().setF32(at + rd.field, static_cast<float>(numberOr(rec, rd.key, 0.0)));
        putText(at + r::kManufacturer, r::kManufacturerLen, rec, "manufacturer");
        putText(at + r::kModel, r::kModelLen, rec, "model");
        putText(at + r::kSerialNum, r::kSerialNumLen, rec, "serial");
        putText(at + r::kFwVersion, r::kFwVersionLen, rec, "fw_version");
        putText(at + r::kPartNum, r::kPartNumLen, rec, "part_num");
        if (json_object *date = member(rec, "date")) {
            std::vector<std::uint8_t> bytes;
            if (!parseHexBytes(json_object_get_string(date), bytes) || bytes.size() > r::kDateLen) {
                throw UsageError("psu " + std::to_string(index) + ": \"date\" is up to 6 hex bytes");
            }
            block().copyIn(at + r::kDate, bytes.data(), bytes.size());
        }
        ++loaded;
    }
    if (ok) {
        block().setU8(p::kCountOffset, static_cast<unsigned char>(intOr(psus, "count", count)));
        block().setU8(p::kConfigNumOffset, static_cast<unsigned char>(intOr(psus, "config_num", count)));
        block().setU8(p::kNormalNumOffset, static_cast<unsigned char>(intOr(psus, "normal_num", count)));
        block().setU8(p::kRedundantNumOffset, static_cast<unsigned char>(intOr(psus, "redundant_num", 0)));
    }
    return ok;
}

bool loadCpus(json_object *cpus, int &loaded) {
    namespace b = qrx::board;
    json_object *present = member(cpus, "present");
    if (!isArray(present, "cpus.present")) return false;
    int n = static_cast<int>(json_object_array_length(present));
    if (n > b::kMaxCpus) {
        throw UsageError("at most " + std::to_string(b::kMaxCpus) + " CPUs");
    }
    for (int i = 0; i < n; ++i)
        block().setU8(b::cpuPresentOffset(i), static_cast<unsigned char>(json_object_get_int(json_object_array_get_idx(present, i))));
    block().setU8(b::kCpuCountOffset, static_cast<unsigned char>(intOr(cpus, "count", n)));
    loaded += n;
    return true;
}

void loadMe(json_object *me) {
    namespace b = qrx::board;
    block().setU8(b::kMeMajorOffset, static_cast<unsigned char>(intOr(me, "major", 0)));
    block().setU8(b::kMeMinorOffset, static_cast<unsigned char>(intOr(me, "minor", 0)));
    block().setU32(b::kMeBuildOffset, static_cast<std::uint32_t>(json_object_get_int64(member(me, "build"))));
}

bool sideOf(json_object *rec, bool &rear) {
    const char *side = json_object_get_string(member(rec, "side"));
    rear = side != nullptr && std::strcmp(side, "rear") == 0;
    if (side == nullptr || rear || std::strcmp(side, "front") == 0) return true;
    throw UsageError(std::string("side must be \"front\" or \"rear\", not \"") + side + "\"");
}

bool loadBackplanes(json_object *list, int &loaded) {
    namespace d = qrx::disk;
    if (!isArray(list, "backplanes")) return false;
    int front = 0, rear = 0;
    for (std::size_t i = 0; i < json_object_array_length(list); ++i) {
        json_object *rec = json_object_array_get_idx(list, i);
        bool isRear;
        int index;
        if (!sideOf(rec, isRear) ||
            !indexIn(rec, i, isRear ? d::kRearBackplanes : d::kFrontBackplanes, "backplane", index))
            return false;
        std::size_t at = d::backplaneOffset(isRear ? d::kFirstRearBackplane + index : index);
        block().setU8(at + d::kBpInUse, static_cast<unsigned char>(intOr(rec, "in_use", 1)));
        block().setU8(at + d::kBpMarker, static_cast<unsigned char>(intOr(rec, "marker", d::kBpValidMarker)));
        putText(at + d::kBpBoardText, qrx::board::kBoardTextLen, rec, "board");
        if (member(rec, "board") == nullptr) block().setU8(at + d::kBpPresence, static_cast<unsigned char>(intOr(rec, "present", 1)));
        block().setU8(at + d::kBpCpldVersion, static_cast<unsigned char>(intOr(rec, "cpld_version", 0)));
        block().setU8(at + d::kBpDiskSlots, static_cast<unsigned char>(intOr(rec, "slots", d::kBpSlotsUnknown)));
        (isRear ? rear : front) = std::max(isRear ? rear : front, index + 1);
        ++loaded;
    }
    block().setU8(d::kFrontBackplaneCountOffset, static_cast<unsigned char>(front));
    block().setU8(d::kRearBackplaneCountOffset, static_cast<unsigned char>(rear));
    return true;
}

bool loadDisks(json_object *list, int &loaded) {
    namespace d = qrx::disk;
    if (!isArray(list, "disks")) return false;
    for (std::size_t i = 0; i < json_object_array_length(list); ++i) {
        json_object *rec = json_object_array_get_idx(list, i);
        bool isRear;
        int index;
        if (!sideOf(rec, isRear) || !indexIn(rec, i, isRear ? d::kRearDisks : d::kFrontDisks, "disk", index)) return false;
        std::size_t at = d::diskRecordOffset(isRear ? d::kRearTableOffset : d::kFrontTableOffset, index);
        block().fill(at, 0, d::kRecordSize);
        unsigned char present = static_cast<unsigned char>(intOr(rec, "present", 1));
        block().setU8(at + d::kSensorPresence, present);
        block().setU8(at + d::kPresence, present);
        block().setU8(at + d::kStatus, static_cast<unsigned char>(intOr(rec, "status", 0)));
        block().setU8(at + d::kNvmeTemperature, static_cast<unsigned char>(intOr(rec, "nvme_temperature", 0)));
        putText(at + d::kSerial, d::kSerialLen, rec, "serial");
        ++loaded;
    }
    return true;
}

bool loadFans(json_object *list, int &loaded) {
    namespace f = qrx::fan;
    if (!isArray(list, "fans")) return false;
    int count = 0;
    for (std::size_t i = 0; i < json_object_array_length(list); ++i) {
        json_object *rec = json_object_array_get_idx(list, i);
        int index;
        if (!indexIn(rec, i, f::kMaxFans, "fan", index)) return false;
        std::size_t at = f::recordOffset(index);
        block().fill(at, 0, f::kRecordSize);
        block().setU8(at + f::kPresent, static_cast<unsigned char>(intOr(rec, "present", 1)));
        block().setU8(at + f::kHealth, static_cast<unsigned char>(intOr(rec, "health", 0)));
        block().setU16(at + f::kFrontSpeed, static_cast<std::uint16_t>(intOr(rec, "front_rpm", 0)));
        block().setU16(at + f::kRearSpeed, static_cast<std::uint16_t>(intOr(rec, "rear_rpm", 0)));
        block().setU8(at + f::kDuty, static_cast<unsigned char>(intOr(rec, "duty", 0)));
        block().setU8(at + f::kRotorModel, static_cast<unsigned char>(intOr(rec, "rotor_model", 0)));
        block().setU16(at + f::kMaxSpeed, static_cast<std::uint16_t>(intOr(rec, "max_rpm", 0)));
        putText(at + f::kName, f::kNameLen, rec, "name");
        count = std::max(count, index + 1);
        ++loaded;
    }
    block().setU8(f::kCountOffset, static_cast<unsigned char>(count));
    return true;
}

using Keys = std::initializer_list<const char *>;

// A misspelt key would silently leave a field zero: every key must be known.
void knownKeys(json_object *obj, const std::string &where, Keys keys) {
    if (obj == nullptr || json_object_get_type(obj) != json_type_object) return;
    json_object_object_foreach(obj, key, value) {
        (void)value;
        bool known = false;
        for (const char *k : keys) known = known || std::strcmp(k, key) == 0;
        if (known) continue;
        std::string list;
        for (const char *k : keys) list += std::string(list.empty() ? "" : ", ") + k;
        throw UsageError("unknown key \"" + std::string(key) + "\" in " + where + " (known: " + list + ")");
    }
}

void knownKeysOfEach(json_object *list, const std::string &where, Keys keys) {
    if (list == nullptr || json_object_get_type(list) != json_type_array) return;
    for (std::size_t i = 0; i < json_object_array_length(list); ++i)
        knownKeys(json_object_array_get_idx(list, i), where + "[" + std::to_string(i) + "]", keys);
}

}  // namespace

void checkDeviceFixture(json_object *devices) {
    if (json_object_get_type(devices) != json_type_object) throw UsageError("\"devices\" must be an object");
    knownKeys(devices, "devices",
              {"psus", "cpus", "me", "backplanes", "disks", "fans", "cpld", "memory_power", "restart_cause", "ocp_cards",
               "scan_enable", "me_access"});
    json_object *psus = member(devices, "psus");
    knownKeys(psus, "devices.psus", {"count", "config_num", "normal_num", "redundant_num", "records"});
    knownKeysOfEach(member(psus, "records"), "devices.psus.records",
                    {"index", "present", "work_mode", "input_type", "pwr_good", "fan_status", "vout_status",
                     "iout_status", "input_status", "temperature_status", "updating", "boot_mode", "type",
                     "status_word", "ps_status", "ambient_temperature", "secondary_temperature",
                     "primary_temperature", "input_power", "output_power", "input_volt", "output_volt",
                     "input_current", "output_current", "output_power_max", "fan_speed", "manufacturer", "model",
                     "serial", "fw_version", "part_num", "date"});
    knownKeys(member(devices, "cpus"), "devices.cpus", {"present", "count"});
    knownKeys(member(devices, "me"), "devices.me", {"major", "minor", "build"});
    knownKeysOfEach(member(devices, "backplanes"), "devices.backplanes",
                    {"side", "index", "in_use", "marker", "board", "present", "cpld_version", "slots"});
    knownKeysOfEach(member(devices, "disks"), "devices.disks",
                    {"side", "index", "present", "status", "nvme_temperature", "serial"});
    knownKeysOfEach(member(devices, "fans"), "devices.fans",
                    {"index", "present", "health", "front_rpm", "rear_rpm", "duty", "rotor_model", "max_rpm", "name"});
    knownKeys(member(devices, "cpld"), "devices.cpld", {"board_id", "version", "fpga_board_id", "fpga_version"});
}

int loadDeviceFixture(json_object *devices, int &loaded) {
    loaded = 0;
    checkDeviceFixture(devices);
    json_object *v;
    if ((v = member(devices, "psus")) != nullptr && !loadPsus(v, loaded)) return -1;
    if ((v = member(devices, "cpus")) != nullptr && !loadCpus(v, loaded)) return -1;
    if ((v = member(devices, "me")) != nullptr) loadMe(v);
    if ((v = member(devices, "backplanes")) != nullptr && !loadBackplanes(v, loaded)) return -1;
    if ((v = member(devices, "disks")) != nullptr && !loadDisks(v, loaded)) return -1;
    if ((v = member(devices, "fans")) != nullptr && !loadFans(v, loaded)) return -1;
    if ((v = member(devices, "cpld")) != nullptr) {
        namespace b = qrx::board;
        block().setU8(b::kMbCpldBoardIdOffset, static_cast<unsigned char>(intOr(v, "board_id", 0)));
        block().setU8(b::kMbCpldVersionOffset, static_cast<unsigned char>(intOr(v, "version", 0)));
        block().setU8(b::kFpgaBoardIdOffset, static_cast<unsigned char>(intOr(v, "fpga_board_id", 0)));
        block().setU8(b::kFpgaVersionOffset, static_cast<unsigned char>(intOr(v, "fpga_version", 0)));
    }
    if ((v = member(devices, "memory_power")) != nullptr)
        block().setF32(qrx::board::kMemoryPowerOffset, static_cast<float>(json_object_get_double(v)));
    if ((v = member(devices, "restart_cause")) != nullptr)
        block().setU8(qrx::board::kRestartCauseOffset, static_cast<unsigned char>(json_object_get_int(v)));
    if ((v = member(devices, "ocp_cards")) != nullptr)
        block().setU8(qrx::board::kOcpCountOffset, static_cast<unsigned char>(json_object_get_int(v)));
    if ((v = member(devices, "scan_enable")) != nullptr)
        block().fill(qrx::flags::kScanEnableOffset, static_cast<unsigned char>(json_object_get_int(v)), qrx::flags::kScanCount);
    if ((v = member(devices, "me_access")) != nullptr)
        block().setU8(qrx::flags::kMeAccessOffset, static_cast<unsigned char>(json_object_get_int(v)));
    return 0;
}

}  // namespace ctl
