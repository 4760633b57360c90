// Power-supply readers, the summary record, the console dump and the PSU
// firmware update entry.
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "core/export.h"
#include "core/slot_table.h"
#include "devstate/psu_layout.h"
#include "devstate/value_convert.h"

namespace {

using namespace qrx::psu;

constexpr unsigned char kPresentValue = 1;
constexpr unsigned char kTypeNeedingSlot185 = 2;
constexpr unsigned char kInvalidFill = 255;
constexpr char kNoSerial[] = "NULL";

qrx::ByteView block() { return qrx::sharedBlock(); }

bool isPresent(long long index) {
    return fieldInside(index, rec::kPresent, 1) && block().u8(fieldOffset(index, rec::kPresent)) == kPresentValue;
}

// The six status readers share one bound: index <= 8 when the count is
// above 8, else index <= count, compared signed; an absent supply reads 0.
bool statusIndexAccepted(int index) {
    int count = rawCount();
    return count > kMaxRecords ? index <= kMaxRecords : index <= count;
}

unsigned readStatusField(int index, std::size_t field, std::size_t width) {
    if (!statusIndexAccepted(index) || !isPresent(index) || !fieldInside(index, field, width)) return 0;
    std::size_t at = fieldOffset(index, field);
    return width == 2 ? block().u16(at) : block().u8(at);
}

// Summary fields converted from the record's floats: rounded whole units,
// or x100 truncated for the output voltage and the two currents.
struct ReadingField {
    std::size_t from;
    std::size_t to;
    bool hundredths;
};
constexpr ReadingField kReadings[] = {
    {rec::kAmbientTemperature, sum::kAmbientTemperature, false},
    {rec::kSecondaryTemperature, sum::kSecondaryTemperature, false},
    {rec::kPrimaryTemperature, sum::kPrimaryTemperature, false},
    {rec::kInputPower, sum::kInputPower, false},
    {rec::kOutputPower, sum::kOutputPower, false},
    {rec::kInputVolt, sum::kInputVolt, false},
    {rec::kOutputVolt, sum::kOutputVolt, true},
    {rec::kInputCurrent, sum::kInputCurrent, true},
    {rec::kOutputCurrent, sum::kOutputCurrent, true},
    {rec::kOutputPowerMax, sum::kOutputPowerMax, false},
    {rec::kFanSpeed, sum::kFanSpeed, false},
};

void fillInvalid(qrx::ByteView out) {
    out.fill(sum::kWorkMode, kInvalidFill, sum::kTexts - sum::kWorkMode);
    out.fill(sum::kTexts, 0, sum::kSize - sum::kTexts);
}

void fillSummary(long long index, qrx::ByteView out) {
    qrx::ByteView rec = block().at(fieldOffset(index, 0));
    out.setU8(sum::kWorkMode, rec.u8(rec::kWorkMode));
    out.setU16(sum::kStatusWord, rec.u16(rec::kStatusWord));
    out.setU16(sum::kPsStatus, rec.u16(rec::kPsStatus));
    out.setU8(sum::kInputType, rec.u8(rec::kInputType));
    out.setU8(sum::kPwrGood, rec.u8(rec::kPwrGood));
    out.setU8(sum::kFanStatus, rec.u8(rec::kFanStatus));
    for (const ReadingField &f : kReadings) {
        float value = rec.f32(f.from);
        out.setU16(f.to, f.hundredths ? qrx::hundredthsTruncated16(value) : qrx::rounded16(value));
    }
    out.copyIn(sum::kTexts, rec.data() + rec::kManufacturer, sum::kDate - sum::kTexts);
    out.copyIn(sum::kDate, rec.data() + rec::kDate, rec::kDateLen);
}

struct ByteLine {
    const char *format;
    std::size_t field;
    std::size_t width;
};
constexpr ByteLine kStatusLines[] = {
    {"    psu%d:Present: 0x%x;\n", rec::kPresent, 1},
    {"    psu%d:WorkMode: 0x%x;\n", rec::kWorkMode, 1},
    {"    psu%d:StatusWord: 0x%x;\n", rec::kStatusWord, 2},
    {"    psu%d:PsStatus: 0x%x;\n", rec::kPsStatus, 2},
    {"    psu%d:InputType: 0x%x;\n", rec::kInputType, 1},
    {"    psu%d:PwrGood: 0x%x;\n", rec::kPwrGood, 1},
    {"    psu%d:FanStatus: 0x%x;\n", rec::kFanStatus, 1},
    {"    psu%d:VoutStatus: 0x%x;\n", rec::kVoutStatus, 1},
    {"    psu%d:IoutStatus: 0x%x;\n", rec::kIoutStatus, 1},
    {"    psu%d:InputStatus: 0x%x;\n", rec::kInputStatus, 1},
    {"    psu%d:TemperatureStatus: 0x%x;\n", rec::kTemperatureStatus, 1},
};
struct FloatLine {
    const char *format;
    std::size_t field;
};
constexpr FloatLine kFloatLines[] = {
    {"    psu%d:AmbientTemperature:0x%f;\n", rec::kAmbientTemperature},
    {"    psu%d:SecondaryTemperature:0x%f;\n", rec::kSecondaryTemperature},
    {"    psu%d:PrimaryTemperature:0x%f;\n", rec::kPrimaryTemperature},
    {"    psu%d:InputPower:0x%f;\n", rec::kInputPower},
    {"    psu%d:OutputPower:0x%f;\n", rec::kOutputPower},
    {"    psu%d:InputVolt:0x%f;\n", rec::kInputVolt},
    {"    psu%d:OutputVolt:0x%f;\n", rec::kOutputVolt},
    {"    psu%d:InputCurrent:0x%f;\n", rec::kInputCurrent},
    {"    psu%d:OutputCurrent:0x%f;\n", rec::kOutputCurrent},
    {"    psu%d:OutputPowerMax:0x%f;\n", rec::kOutputPowerMax},
    {"    psu%d:FanSpeed:0x%f;\n", rec::kFanSpeed},
};
struct TextLine {
    const char *heading;
    std::size_t length;
};
constexpr TextLine kTextLines[] = {
    {"    psu%d:Manufacturer:", rec::kManufacturerLen}, {"    psu%d:Model:", rec::kModelLen},
    {"    psu%d:SerialNum:", rec::kSerialNumLen},       {"    psu%d:FWVersion:", rec::kFwVersionLen},
    {"    psu%d:PartNum:", rec::kPartNumLen},           {"    psu%d:Date:", rec::kDateLen},
};

// Prints one present supply; returns the last print's result.
int showPresent(int i) {
    qrx::ByteView rec = block().at(fieldOffset(i, 0));
    std::printf("\n =======psu%d,present,detail info START=================================================================================\n", i);
    for (const ByteLine &line : kStatusLines)
        std::printf(line.format, i, line.width == 2 ? rec.u16(line.field) : rec.u8(line.field));
    for (const FloatLine &line : kFloatLines) std::printf(line.format, i, static_cast<double>(rec.f32(line.field)));
    for (const TextLine &line : kTextLines) {
        std::printf(line.heading, i);
        // The dump shows byte positions only, never the bytes: kept so, the
        // monitor's operators compare dumps line by line.
        for (std::size_t pos = 0; pos < line.length; ++pos) std::printf("d[%d]:", static_cast<int>(pos));
        std::puts(" ");
    }
    std::printf("    psu%d:PSUUpdating: 0x%x;\n", i, rec.u8(rec::kPsuUpdating));
    std::printf("    psu%d:PSUbMode: 0x%x;\n", i, rec.u8(rec::kPsubMode));
    return std::printf(" =======psu%d,present,detail info END =================================================================================\n\n", i);
}

int showAll() {
    int n = clampedCount();
    int last = std::puts("ShowAllPSUInfo:all present psu detail info and absent psu absent info;");
    for (int i = 0; i < n; ++i) {
        if (!isPresent(i)) {
            std::printf("\n =======psu%d,absent,absent info START=================================================================================\n", i);
            last = std::printf(" =======psu%d,absent,absent info END =================================================================================\n\n", i);
            continue;
        }
        last = showPresent(i);
    }
    return last;
}

}  // namespace

extern "C" {

QRX_EXPORT int ReadQuorixPSUNum(void) { return clampedCount(); }

QRX_EXPORT int QuorixGetPsuNum(void) { return clampedCount(); }

QRX_EXPORT int ReadQuorixPSUConfigNum(void) { return block().u8(kConfigNumOffset); }

QRX_EXPORT int ReadQuorixPSUNormalNum(void) { return block().u8(kNormalNumOffset); }

QRX_EXPORT int GetQuorixPSURedundantNum(void) { return block().u8(kRedundantNumOffset); }

// Accepts index == count on purpose: the daemons have always read one past.
QRX_EXPORT int ReadQuorixPSUPresent(int index) {
    if (index > clampedCount()) return -1;
    if (!fieldInside(index, rec::kPresent, 1)) return -1;
    return block().u8(fieldOffset(index, rec::kPresent));
}

// No bound of its own; an index whose record would lie outside the block gives -1.
QRX_EXPORT int ReadQuorixPSUType(unsigned int index) {
    if (!fieldInside(index, rec::kType, 1)) return -1;
    return block().u8(fieldOffset(index, rec::kType));
}

QRX_EXPORT int ReadQuorixPSUStatusWord(int index) {
    return static_cast<int>(readStatusField(index, rec::kStatusWord, 2));
}

QRX_EXPORT int ReadQuorixPSUVoutStatus(int index) { return static_cast<int>(readStatusField(index, rec::kVoutStatus, 1)); }

QRX_EXPORT int ReadQuorixPSUIoutStatus(int index) { return static_cast<int>(readStatusField(index, rec::kIoutStatus, 1)); }

QRX_EXPORT int ReadQuorixPSUInputStatus(int index) {
    return static_cast<int>(readStatusField(index, rec::kInputStatus, 1));
}

QRX_EXPORT int ReadQuorixPSUTemperatureStatus(int index) {
    return static_cast<int>(readStatusField(index, rec::kTemperatureStatus, 1));
}

QRX_EXPORT int ReadQuorixPSUFanStatus(int index) { return static_cast<int>(readStatusField(index, rec::kFanStatus, 1)); }

QRX_EXPORT int ReadQuorixPSUPower(void) {
    int n = clampedCount();
    float total = 0.0f;
    for (int i = 0; i < n; ++i)
        if (isPresent(i)) total += block().f32(fieldOffset(i, rec::kInputPower));
    return qrx::truncatedInt(total);
}

QRX_EXPORT int QuorixGetPSUSN(int index, unsigned char *serial) {
    if (serial == nullptr) return -1;
    if (index < kMaxRecords && fieldInside(index, rec::kSerialNum, rec::kSerialNumLen))
        block().copyOut(fieldOffset(index, rec::kSerialNum), serial, rec::kSerialNumLen);
    else
        std::memcpy(serial, kNoSerial, sizeof kNoSerial);
    return 0;
}

QRX_EXPORT int ReadQuorixPSUInfo(int index, unsigned char *info) {
    if (info == nullptr) return -1;
    int count = rawCount();
    if (count < index) return -1;
    qrx::ByteView out(info);
    out.setU8(sum::kIndex, static_cast<unsigned char>(index));
    // Same bound as ReadQuorixPSUPresent: index == min(count, 8) is read.
    if (index > clampedCount() || !fieldInside(index, 0, kRecordSize)) {
        out.setU8(sum::kPresent, kInvalidFill);
        fillInvalid(out);
        return 0;
    }
    unsigned char present = block().u8(fieldOffset(index, rec::kPresent));
    out.setU8(sum::kPresent, present);
    if (present != kPresentValue) {
        fillInvalid(out);
        return 0;
    }
    fillSummary(index, out);
    return 0;
}

QRX_EXPORT int ShowAllPSUInfo(void) { return showAll(); }

QRX_EXPORT int GetHwPSUInfo(int psu_index, unsigned char *buffer, int length) {
    int result = qrx::slotFn<qrx::Slot::ReadPsuInfo>()(psu_index, buffer, length);
    int n = clampedCount();
    for (int i = 0; i < n; ++i) {
        qrx::ByteView rec = block().at(fieldOffset(i, 0));
        if (rec.u8(rec::kPresent) != 0 && rec.u8(rec::kType) == kTypeNeedingSlot185) {
            qrx::slotFn<qrx::Slot::HandlePsuTypeTwo>()();
            break;
        }
    }
    return result;
}

}  // extern "C"
