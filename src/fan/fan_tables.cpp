// The fan-control name tables: curve types and the board's temperature sensors.
#include <cstddef>

#include "core/export.h"
#include "quorix_common_interface.h"

namespace qrx::fancurve {
namespace {

// Sensor numbers are the table index. Each group is a run of sensors named
// PREFIX<a>[MID<b>]SUFFIX (a = k / per, b = k % per when per > 1), or a single
// fixed name (count 1, per 0).
struct Group {
    const char *prefix;
    int count;
    int per;
    const char *mid;
    const char *suffix;
};

constexpr Group kGroups[] = {
    {"INLET_TEMP", 1, 0, "", ""},        {"OUTLET_TEMP", 1, 0, "", ""},  {"PCH_TEMP", 1, 0, "", ""},
    {"BMC_TEMP", 1, 0, "", ""},          {"MB_LEFT_TEMP", 1, 0, "", ""}, {"MB_RIGHT_TEMP", 1, 0, "", ""},
    {"RISER1_TEMP", 1, 0, "", ""},       {"RISER2_TEMP", 1, 0, "", ""},  {"CPU", 4, 1, "", "_TEMP"},  // 8..11
    {"CPU", 4, 1, "", "_DTS_MARGIN"},                                                                 // 12..15
    {"CPU", 4, 1, "", "_VR_TEMP"},                                                                    // 16..19
    {"CPU", 8, 2, "_MEM_VR", "_TEMP"},                                                                // 20..27
    {"CPU", 96, 24, "_DIMM", "_TEMP"},                                                                // 28..123
    {"PSU", 8, 1, "", "_TEMP"},                                                                       // 124..131
    {"PSU", 8, 1, "", "_HOTSPOT_TEMP"},                                                               // 132..139
    {"GPU", 8, 1, "", "_TEMP"},                                                                       // 140..147
    {"GPU", 8, 1, "", "_MEM_TEMP"},                                                                   // 148..155
    {"PCIE", 16, 1, "", "_TEMP"},                                                                     // 156..171
    {"OCP", 4, 1, "", "_TEMP"},                                                                       // 172..175
    {"NIC", 4, 1, "", "_TEMP"},                                                                       // 176..179
    {"M2_", 4, 1, "", "_TEMP"},                                                                       // 180..183
    {"BP", 13, 1, "", "_TEMP"},                                                                       // 184..196
    {"EXPANDER", 8, 1, "", "_TEMP"},                                                                  // 197..204
    {"RAID", 8, 1, "", "_TEMP"},                                                                      // 205..212
    {"PCIE_SW", 8, 1, "", "_TEMP"},                                                                   // 213..220
    {"NVME", 64, 1, "", "_TEMP"},                                                                     // 221..284
    {"HDD", 100, 1, "", "_TEMP"},                                                                     // 285..384
    {"GPUBOX", 64, 16, "_GPU", "_TEMP"},                                                              // 385..448
    {"GPUBOX", 16, 4, "_SW", "_TEMP"},                                                                // 449..464
    {"OEM_TEMP", 349, 1, "", ""},  // 465..813, numbered by sensor number
};

constexpr int groupTotal() {
    int total = 0;
    for (const Group &g : kGroups) total += g.count;
    return total;
}
static_assert(groupTotal() == 814, "the table has 814 sensors");

struct Table {
    QuorixTempSensorDesc entries[814];
    bool namesFit = true;  // every name within its 31 characters
};

class NameBuilder {
public:
    constexpr explicit NameBuilder(char *out) : out_(out) {}
    constexpr void text(const char *s) {
        while (*s != '\0') put(*s++);
    }
    constexpr void number(int v) {
        char digits[8] = {};
        int n = 0;
        do {
            digits[n++] = static_cast<char>('0' + v % 10);
            v /= 10;
        } while (v > 0);
        while (n > 0) put(digits[--n]);
    }
    constexpr int length() const { return len_; }

private:
    constexpr void put(char c) {
        if (len_ < 31) out_[len_] = c;
        ++len_;
    }
    char *out_;
    int len_ = 0;
};

constexpr Table buildTable() {
    Table t{};
    int index = 0;
    for (const Group &g : kGroups) {
        for (int k = 0; k < g.count; ++k, ++index) {
            t.entries[index].sensor_number = static_cast<unsigned short>(index);
            NameBuilder name(t.entries[index].name);
            name.text(g.prefix);
            // OEM sensors carry their sensor number; the others count within the group.
            const bool oem = g.per == 1 && g.suffix[0] == '\0';
            if (g.per == 1) name.number(oem ? index : k);
            if (g.per > 1) {
                name.number(k / g.per);
                name.text(g.mid);
                name.number(k % g.per);
            }
            name.text(g.suffix);
            if (name.length() > 31) t.namesFit = false;
        }
    }
    return t;
}

constexpr Table kTable = buildTable();
static_assert(kTable.namesFit, "sensor name too long");

constexpr bool named(int number, const char *expected) {
    const char *name = kTable.entries[number].name;
    int i = 0;
    for (; expected[i] != '\0'; ++i)
        if (name[i] != expected[i]) return false;
    return name[i] == '\0';
}
static_assert(named(0, "INLET_TEMP") && named(1, "OUTLET_TEMP") && named(8, "CPU0_TEMP"), "named sensors");
static_assert(named(28, "CPU0_DIMM0_TEMP") && named(123, "CPU3_DIMM23_TEMP") && named(813, "OEM_TEMP813"),
              "group boundaries");

}  // namespace
}  // namespace qrx::fancurve

#define QRX_E1(n) qrx::fancurve::kTable.entries[n],
#define QRX_E10(n)                                                                                                  \
    QRX_E1(n)                                                                                                       \
    QRX_E1(n + 1) QRX_E1(n + 2) QRX_E1(n + 3) QRX_E1(n + 4) QRX_E1(n + 5) QRX_E1(n + 6) QRX_E1(n + 7) QRX_E1(n + 8) \
        QRX_E1(n + 9)
#define QRX_E100(n)                                                                                                 \
    QRX_E10(n)                                                                                                      \
    QRX_E10(n + 10) QRX_E10(n + 20) QRX_E10(n + 30) QRX_E10(n + 40) QRX_E10(n + 50) QRX_E10(n + 60) QRX_E10(n + 70) \
        QRX_E10(n + 80) QRX_E10(n + 90)

extern "C" {

QRX_EXPORT extern const char quorix_fan_ctrl_type[4][20] = {"FAN_TYPE_NONE", "FAN_TYPE_PID", "FAN_TYPE_LINER",
                                                            "FAN_TYPE_PID_BJ"};

// Expanded element by element so that the exported array is constant data.
QRX_EXPORT extern const QuorixTempSensorDesc g_temp_sensor_descrip[814] = {
    QRX_E100(0) QRX_E100(100) QRX_E100(200) QRX_E100(300) QRX_E100(400) QRX_E100(500) QRX_E100(600) QRX_E100(700)
        QRX_E10(800) QRX_E1(810) QRX_E1(811) QRX_E1(812) QRX_E1(813)};

}  // extern "C"

static_assert(sizeof(QuorixTempSensorDesc) == 34, "sensor description entry size");
static_assert(sizeof g_temp_sensor_descrip / sizeof g_temp_sensor_descrip[0] == 814, "sensor table size");
