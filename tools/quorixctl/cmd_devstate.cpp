// quorixctl psu, cpu, me, disk, fru, scan, cpld, fan: the device state of
// the shared block as the daemons read it.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <json-c/json.h>

#include "command.h"
#include "quorix_common_interface.h"

namespace ctl {
namespace {

constexpr int kPsuSummarySize = 126;
constexpr int kMaxPsus = 8;
constexpr int kRackSourceRecords = 32;
constexpr int kRackSlots = 18;
constexpr std::size_t kRackRecordSize = 114;
constexpr std::size_t kRackName = 76;
constexpr int kDiskNumbers = 87;  // disks 0..77 front, 78..86 rear, as the serial reader numbers them
constexpr long long kMaxScans = 100000;
constexpr int kFruSize = 4096;

unsigned u16At(const unsigned char *p) { return static_cast<unsigned>(p[0] | (p[1] << 8)); }

std::string textField(const unsigned char *p, std::size_t len) {
    std::string s;
    for (std::size_t i = 0; i < len && p[i] != 0; ++i) s += (p[i] >= 0x20 && p[i] < 0x7F) ? static_cast<char>(p[i]) : '.';
    return s;
}

bool cpldType(const std::string &word, int &type) {
    if (word == "front") type = 1;
    else if (word == "rear") type = 2;
    else return false;
    return true;
}

int runPsuShow(const Args &args) {
    expectArgs(args, 0, 0);
    if (!bind()) return kExitUnbound;
    ShowAllPSUInfo();
    return kExitOk;
}

// One line per supply from the summary records the IPMI and web back ends use.
int runPsuTable(const Args &args) {
    expectArgs(args, 0, 0);
    if (!bind()) return kExitUnbound;
    int n = ReadQuorixPSUNum();
    std::printf("PSUs: %d (configured %d, normal %d, redundant %d), input power %d W\n", n, ReadQuorixPSUConfigNum(),
                ReadQuorixPSUNormalNum(), GetQuorixPSURedundantNum(), ReadQuorixPSUPower());
    std::printf("%-3s %-7s %-6s %6s %6s %5s %7s %7s %7s %4s %6s  %-18s %s\n", "psu", "present", "status", "in W", "out W",
                "Vin", "Vout", "Iin", "Iout", "degC", "fan", "model", "serial");
    for (int i = 0; i < n && i < kMaxPsus; ++i) {
        unsigned char s[kPsuSummarySize];
        if (ReadQuorixPSUInfo(i, s) != 0) continue;
        if (s[1] != 1) {
            std::printf("%-3d %-7s\n", i, "no");
            continue;
        }
        std::printf("%-3d %-7s 0x%04x %6u %6u %5u %7.2f %7.2f %7.2f %4u %6u  %-18s %s\n", i, "yes", u16At(s + 3),
                    u16At(s + 16), u16At(s + 18), u16At(s + 20), u16At(s + 22) / 100.0, u16At(s + 24) / 100.0,
                    u16At(s + 26) / 100.0, u16At(s + 10), u16At(s + 30), textField(s + 50, 18).c_str(),
                    textField(s + 68, 18).c_str());
    }
    return kExitOk;
}

int runPsuFlash(const Args &args) {
    expectArgs(args, 1, 1);
    if (!bind()) return kExitUnbound;
    const int rc = psu_flash(args[0].c_str());
    if (rc != 0) std::fprintf(stderr, "quorixctl: supply update of %s failed (%d)\n", args[0].c_str(), rc);
    return rc == 0 ? kExitOk : kExitFailed;
}

// A supply index below the supply count of the block.
int psuIndex(const std::string &text) {
    const int count = ReadQuorixPSUNum();
    if (count <= 0) throw UsageError("no power supplies (the block's supply count is 0)");
    return static_cast<int>(number(text, "supply", 0, std::min(count, kMaxPsus) - 1));
}

int runPsuSn(const Args &args) {
    expectArgs(args, 1, 1);
    number(args[0], "supply", 0, kMaxPsus - 1);
    if (!bind()) return kExitUnbound;
    const int index = psuIndex(args[0]);
    unsigned char sn[19] = {};
    QuorixGetPSUSN(index, sn);
    std::printf("psu%d serial: %s\n", index, textField(sn, 18).c_str());
    return kExitOk;
}

int runCpuShow(const Args &args) {
    expectArgs(args, 0, 0);
    if (!bind()) return kExitUnbound;
    GetCpuStat();  // refresh the present bytes from the platform, as the daemons do once
    int n = QuorixGetCpuNum();
    std::printf("CPUs: %d, configured bitmap 0x%02x\n", n, GetConfiguredCPUBitMap());
    for (int i = 0; i < n; ++i) std::printf("  cpu%d: %s\n", i, QuorixGetCpuPresentStatus(i) == 1 ? "present" : "absent");
    char me[32];
    if (QuorixGetMeRevision(0, 0, me, sizeof me) == 0) std::printf("ME firmware: %s\n", me);
    std::printf("memory power: %d W\nOCP cards: %d\nrestart cause: %d\n", GetMemoryPower(), QuorixGetOcpCardNum(),
                QuorixGetSysRstartCause());
    return kExitOk;
}

int runMeVersion(const Args &args) {
    expectArgs(args, 0, 0);
    if (!bind()) return kExitUnbound;
    char me[32];
    if (QuorixGetMeRevision(0, 0, me, sizeof me) != 0) {
        std::fprintf(stderr, "quorixctl: no ME version in the block\n");
        return kExitFailed;
    }
    std::puts(me);
    return kExitOk;
}

int runMeAccess(const Args &args) {
    expectArgs(args, 0, 1);
    const long long value = args.empty() ? 0 : number(args[0], "ME access status", 0, 1);
    if (!bind()) return kExitUnbound;
    if (!args.empty() && write_me_access_status(static_cast<unsigned>(value)) != 0) {
        std::fprintf(stderr, "quorixctl: the library refused ME access status %lld\n", value);
        return kExitFailed;
    }
    std::printf("ME access: %d\n", read_me_access_status());
    return kExitOk;
}

int runDiskShow(const Args &args) {
    int only = 0;
    expectArgs(args, 0, 1);
    if (args.size() == 1 && !cpldType(args[0], only)) throw UsageError("side '" + args[0] + "' is not front or rear");
    if (!bind()) return kExitUnbound;
    std::printf("backplanes: front %d, rear %d; sensor monitor state %d\n", QuorixReadFrontHDDBlackPlaneNum(),
                QuorixReadRearHDDBlackPlaneNum(), QuorixGetHDDSensorMonitorState());
    for (int type = 1; type <= 2; ++type) {
        if (only != 0 && type != only) continue;
        int slots = QuorixGetHDDNumSupport(type);
        std::printf("%s: %d disk slots\n", type == 1 ? "front" : "rear", slots);
        std::vector<unsigned char> table(type == 1 ? 39168 : 24480);
        QuorixGetHDDInfoFromShareMem(table.data(), type);
        for (int i = 0; i < slots && static_cast<std::size_t>(i + 1) * 136 <= table.size(); ++i) {
            const unsigned char *d = table.data() + 136 * i;
            if (d[0] != 1 && d[1] != 1) continue;
            std::printf("  disk%-3d status 0x%02x%s%s%s temp %3u  serial %s\n", i, d[4], d[4] & 2 ? " fault" : "",
                        d[4] & 16 ? " predictive-failure" : "", d[4] & 8 ? " rebuild" : "", d[15],
                        textField(d + 18, 24).c_str());
        }
    }
    return kExitOk;
}

int runDiskSn(const Args &args) {
    expectArgs(args, 1, 1);
    const int disk = static_cast<int>(number(args[0], "disk", 0, kDiskNumbers - 1));
    if (!bind()) return kExitUnbound;
    unsigned char sn[25] = {};
    QuorixGetHDDSN(disk, sn);
    std::printf("disk%d serial: %s\n", disk, textField(sn, 24).c_str());
    return kExitOk;
}

// Runs the monitor's disk sensor: one scan per count, as the monitor would.
int runDiskScan(const Args &args) {
    int type;
    expectArgs(args, 1, 2);
    if (!cpldType(args[0], type)) throw UsageError("side '" + args[0] + "' is not front or rear");
    const long long scans = args.size() == 2 ? number(args[1], "scan count", 1, kMaxScans) : 1;
    if (!bind()) return kExitUnbound;
    for (long long i = 0; i < scans; ++i) {
        const int rc = QuorixSetHDDSensor(type);
        if (rc != 0) {
            std::fprintf(stderr, "quorixctl: disk sensor scan %lld failed (%d)\n", i + 1, rc);
            return kExitFailed;
        }
    }
    std::printf("%lld %s disk sensor scans\n", scans, args[0].c_str());
    return kExitOk;
}

// The rack report from a file of source records:
// {"rack_disks": [{"name": "SATA0", "bytes": "010203"}, ...]} (at most 32).
int runDiskRack(const Args &args) {
    expectArgs(args, 1, 1);
    JsonPtr root = readJson(args[0]);
    json_object *list = nullptr;
    if (!json_object_object_get_ex(root.get(), "rack_disks", &list) || json_object_get_type(list) != json_type_array ||
        json_object_array_length(list) > kRackSourceRecords)
        throw UsageError(args[0] + " needs \"rack_disks\", an array of at most 32 records");
    if (!bind()) return kExitUnbound;
    std::vector<unsigned char> source(kRackRecordSize * kRackSourceRecords, 0), dest(kRackRecordSize * kRackSlots, 0);
    for (std::size_t j = 0; j < json_object_array_length(list); ++j) {
        json_object *rec = json_object_array_get_idx(list, j), *name = nullptr, *bytes = nullptr;
        unsigned char *r = source.data() + kRackRecordSize * j;
        if (json_object_object_get_ex(rec, "name", &name)) {
            const char *text = json_object_get_string(name);
            std::memcpy(r + kRackName, text, std::min(std::strlen(text), kRackRecordSize - kRackName - 1));
        }
        std::vector<std::uint8_t> head;
        if (json_object_object_get_ex(rec, "bytes", &bytes) &&
            (!parseHexBytes(json_object_get_string(bytes), head) || head.size() > 3)) {
            throw UsageError("rack disk " + std::to_string(j) + ": \"bytes\" is up to 3 hex bytes");
        }
        std::copy(head.begin(), head.end(), r + 1);
    }
    RackHarlo_Formate_DiskInfo(source.data(), dest.data());
    std::printf("backplane with NVMe port: %s\n", RackHarlo_Get_BackPlanePort() ? "yes" : "no");
    for (int k = 0; k < kRackSlots; ++k) {
        const unsigned char *d = dest.data() + kRackRecordSize * k;
        std::printf("slot %2u: %-8s %02x %02x %02x\n", d[0], textField(d + kRackName, kRackRecordSize - kRackName).c_str(),
                    d[1], d[2], d[3]);
    }
    return kExitOk;
}

int runFruRead(const Args &args) {
    expectArgs(args, 3, 3);
    const int device = static_cast<int>(number(args[0], "FRU device", 0, 255));
    const int offset = static_cast<int>(number(args[1], "offset", 0, kFruSize - 1));
    const int length = static_cast<int>(number(args[2], "length", 1, kFruSize - offset));
    if (!bind()) return kExitUnbound;
    std::vector<unsigned char> buf(static_cast<std::size_t>(length));
    int got = quorix_read_fru(device, offset, length, buf.data());
    if (got != length) {
        std::fprintf(stderr, "quorixctl: FRU %d read gave %d of %d bytes\n", device, got, length);
        return kExitFailed;
    }
    hexDump(static_cast<std::size_t>(offset), buf.data(), buf.size());
    return kExitOk;
}

int runFruWrite(const Args &args) {
    expectArgs(args, 3, 3);
    const int device = static_cast<int>(number(args[0], "FRU device", 0, 255));
    const int offset = static_cast<int>(number(args[1], "offset", 0, kFruSize - 1));
    std::vector<std::uint8_t> bytes;
    if (!parseHexBytes(args[2], bytes)) throw UsageError("'" + args[2] + "' is not hex bytes");
    if (bytes.size() > static_cast<std::size_t>(kFruSize - offset))
        throw UsageError(std::to_string(bytes.size()) + " bytes at " + args[1] + " pass the end of the FRU (" +
                         std::to_string(kFruSize) + " bytes)");
    if (!bind()) return kExitUnbound;
    int result = quorix_write_fru(device, offset, static_cast<int>(bytes.size()), bytes.data());
    if (result < 0) {
        std::fprintf(stderr, "quorixctl: FRU write refused (%d)%s\n", result,
                     result == -2 ? ": the platform has no FRU write" : "");
        return kExitFailed;
    }
    std::printf("wrote %d bytes to FRU %d at 0x%x\n", result, device, offset);
    return kExitOk;
}

int showScans() {
    std::printf("device scans:");
    for (unsigned k = 0; k < 25; ++k) std::printf(" %d", read_device_scan_enable(k));
    std::printf("\n");
    return kExitOk;
}

int runScanShow(const Args &args) {
    expectArgs(args, 0, 0);
    if (!bind()) return kExitUnbound;
    return showScans();
}

int runScanStart(const Args &args) {
    expectArgs(args, 0, 0);
    if (!bind()) return kExitUnbound;
    StartQuorixMonitorScan();
    return showScans();
}

int runScanStop(const Args &args) {
    expectArgs(args, 0, 0);
    if (!bind()) return kExitUnbound;
    StopQuorixMonitorScan();
    return showScans();
}

int runScanSet(const Args &args) {
    expectArgs(args, 2, 2);
    const long long index = number(args[0], "scan index", 0, 24), value = number(args[1], "scan value", 0, 2);
    if (!bind()) return kExitUnbound;
    if (write_device_scan_enable(static_cast<unsigned>(index), static_cast<unsigned>(value)) != 0) {
        std::fprintf(stderr, "quorixctl: the library refused scan %lld = %lld\n", index, value);
        return kExitFailed;
    }
    return showScans();
}

int runCpldShow(const Args &args) {
    expectArgs(args, 0, 0);
    if (!bind()) return kExitUnbound;
    ShowAllCPLDInfo();
    return kExitOk;
}

int runFanShow(const Args &args) {
    expectArgs(args, 0, 0);
    if (!bind()) return kExitUnbound;
    show_fan_info();
    return kExitOk;
}

}  // namespace

std::vector<Command> devstateCommands() {
    return {
        {"psu", "show", "", "full dump of every power supply (ShowAllPSUInfo)", runPsuShow},
        {"psu", "table", "", "one line per supply from the summary records", runPsuTable},
        {"psu", "flash-psu", "NAME", "update a supply from /var/psuimage, as the monitor's --flash-psu", runPsuFlash},
        {"psu", "sn", "INDEX", "serial number of a supply", runPsuSn},
        {"cpu", "show", "", "CPU presence, ME version, memory power, restart cause", runCpuShow},
        {"me", "version", "", "ME firmware version text", runMeVersion},
        {"me", "access", "[0|1]", "show or set the ME access status", runMeAccess},
        {"disk", "show", "[front|rear]", "backplanes and present disks with serial numbers", runDiskShow},
        {"disk", "sn", "NUMBER", "serial number of a disk (0..77 front, 78..86 rear)", runDiskSn},
        {"disk", "scan", "front|rear [SCANS]", "run the disk sensor as the monitor does", runDiskScan},
        {"disk", "rack", "FILE.json", "rack disk report of the records in FILE", runDiskRack},
        {"fru", "read", "DEVICE OFFSET LENGTH", "hex dump of FRU bytes", runFruRead},
        {"fru", "write", "DEVICE OFFSET HEXBYTES", "write FRU bytes (devices 30..33 refused)", runFruWrite},
        {"scan", "show", "", "the 25 device-scan enables", runScanShow},
        {"scan", "start", "", "turn every device scan on", runScanStart},
        {"scan", "stop", "", "turn every device scan off", runScanStop},
        {"scan", "set", "INDEX VALUE", "set one device scan (0 off, 1 on, 2)", runScanSet},
        {"cpld", "show", "", "main-board, backplane and fan-plane CPLD fields", runCpldShow},
        {"fan", "info", "", "fan information records and the summary health", runFanShow},
    };
}

}  // namespace ctl
