// Power-supply readers: each reader's own index bound, the summary record
// byte for byte, the console dump, the serial copies and the PSU update.
#include <sys/stat.h>

#include <climits>
#include <string>
#include <vector>

#include "quorix_test.h"

namespace {

using qtest::block;

constexpr std::size_t kCount = 67604;
constexpr std::size_t kRecords = 67605;
constexpr std::size_t kRecordSize = 159;

std::size_t rec(long long index, std::size_t field) {
    return static_cast<std::size_t>(static_cast<long long>(kRecords) + index * static_cast<long long>(kRecordSize) +
                                    static_cast<long long>(field));
}

struct PsuFields {
    unsigned char present = 1;
    float ambient = 25.5f, secondary = 30.4f, primary = 41.6f;
    float inputPower = 99.5f, outputPower = 99.4f, inputVolt = 229.7f;
    float outputVolt = 12.2f, inputCurrent = 4.56f, outputCurrent = 1.15f;
    float outputPowerMax = 70000.0f, fanSpeed = 8123.5f;
};

void putPsu(int i, const PsuFields &f = PsuFields()) {
    block().setU8(rec(i, 1), f.present);
    block().setU8(rec(i, 2), 0x21);
    block().setU16(rec(i, 3), 0x1234);
    block().setU16(rec(i, 5), 0x5678);
    block().setU8(rec(i, 7), 0x03);
    block().setU8(rec(i, 8), 0x01);
    block().setU8(rec(i, 9), 0x44);
    block().setU8(rec(i, 10), 0x0A);
    block().setU8(rec(i, 11), 0x0B);
    block().setU8(rec(i, 12), 0x0C);
    block().setU8(rec(i, 13), 0x0D);
    const float floats[] = {f.ambient,    f.secondary,    f.primary,       f.inputPower,     f.outputPower, f.inputVolt,
                            f.outputVolt, f.inputCurrent, f.outputCurrent, f.outputPowerMax, f.fanSpeed};
    for (int k = 0; k < 11; ++k) block().setF32(rec(i, 14 + 4 * k), floats[k]);
    qtest::putText(rec(i, 58), "QUORIX-PWR");
    qtest::putText(rec(i, 76), "QPS-1600W-A");
    qtest::putText(rec(i, 94), "SN" + std::to_string(i) + "ABCDEFGHIJKLMNO");  // 18 bytes, unterminated
    qtest::putText(rec(i, 112), "FW 1.2.3");
    qtest::putText(rec(i, 128), "PN-99887766");
    const unsigned char date[] = {0x20, 0x24, 0x05, 0x17, 0x08, 0x30};
    block().copyIn(rec(i, 146), date, sizeof date);
    block().setU8(rec(i, 152), 0x00);
    block().setU8(rec(i, 153), 0x02);
    block().setU8(rec(i, 158), 0x01);
}

class PsuState : public qtest::BoundTest {};

TEST_F(PsuState, Counts_AreClampedToEightAndCountersReadAsStored) {
    block().setU8(68877, 0x12);
    block().setU8(68878, 0x34);
    block().setU8(68879, 0x56);
    for (auto [raw, expected] : std::vector<std::pair<int, int>>{{0, 0}, {2, 2}, {8, 8}, {12, 8}, {255, 8}}) {
        block().setU8(kCount, static_cast<unsigned char>(raw));
        EXPECT_EQ(ReadQuorixPSUNum(), expected) << raw;
        EXPECT_EQ(QuorixGetPsuNum(), expected) << raw;
    }
    EXPECT_EQ(ReadQuorixPSUConfigNum(), 0x12);
    EXPECT_EQ(ReadQuorixPSUNormalNum(), 0x34);
    EXPECT_EQ(GetQuorixPSURedundantNum(), 0x56);
}

TEST_F(PsuState, Present_AcceptsIndexEqualToCountAndRefusesAbove) {
    for (int i = 0; i < 8; ++i) block().setU8(rec(i, 1), static_cast<unsigned char>(0x40 + i));
    block().setU8(rec(-1, 1), 0x3F);
    block().setU8(68878, 0x5A);  // present byte of "record 8" lies on the normal PSU number
    struct Case {
        int count, index, expected;
    } cases[] = {
        {0, 0, 0x40}, {0, 1, -1},   {2, 0, 0x40}, {2, 2, 0x42},  {2, 3, -1},           {12, 8, 0x5A},
        {12, 9, -1},  {2, -1, 0x3F}, {8, 8, 0x5A}, {2, INT_MAX, -1}, {2, INT_MIN, -1},
    };
    for (const Case &c : cases) {
        block().setU8(kCount, static_cast<unsigned char>(c.count));
        EXPECT_EQ(ReadQuorixPSUPresent(c.index), c.expected) << "count " << c.count << " index " << c.index;
    }
}

TEST_F(PsuState, StatusReaders_KeepTheirOwnBoundAndReadZeroForAbsentSupplies) {
    putPsu(0);
    putPsu(1, [] { PsuFields f; f.present = 0; return f; }());
    putPsu(2);
    putPsu(-1);
    putPsu(3);
    struct Case {
        int count, index;
        bool reads;
    } cases[] = {
        {2, 0, true},  {2, 1, false}, {2, 2, true},  {2, 3, false}, {2, -1, true},
        {0, 0, true},  {0, 1, false}, {12, 3, true}, {2, INT_MIN, false},
    };
    for (const Case &c : cases) {
        block().setU8(kCount, static_cast<unsigned char>(c.count));
        SCOPED_TRACE("count " + std::to_string(c.count) + " index " + std::to_string(c.index));
        EXPECT_EQ(ReadQuorixPSUStatusWord(c.index), c.reads ? 0x1234 : 0);
        EXPECT_EQ(ReadQuorixPSUVoutStatus(c.index), c.reads ? 0x0A : 0);
        EXPECT_EQ(ReadQuorixPSUIoutStatus(c.index), c.reads ? 0x0B : 0);
        EXPECT_EQ(ReadQuorixPSUInputStatus(c.index), c.reads ? 0x0C : 0);
        EXPECT_EQ(ReadQuorixPSUTemperatureStatus(c.index), c.reads ? 0x0D : 0);
        EXPECT_EQ(ReadQuorixPSUFanStatus(c.index), c.reads ? 0x44 : 0);
    }
    // With a count above 8 the bound is 8: record 8's present byte is the
    // normal PSU number at 68878.
    block().setU8(kCount, 12);
    block().setU8(68878, 1);
    block().setU8(rec(8, 9), 0x77);
    EXPECT_EQ(ReadQuorixPSUFanStatus(8), 0x77);
    EXPECT_EQ(ReadQuorixPSUFanStatus(9), 0);
}

TEST_F(PsuState, Type_IsReadWithoutAnyBoundInsideTheBlock) {
    block().setU8(rec(20, 158), 0x02);
    block().setU8(rec(0, 158), 0x01);
    block().setU8(kCount, 0);
    EXPECT_EQ(ReadQuorixPSUType(0), 0x01);
    EXPECT_EQ(ReadQuorixPSUType(20), 0x02);
    EXPECT_EQ(ReadQuorixPSUType(0xFFFFFFFFu), -1);  // the record would lie past the block
}

TEST_F(PsuState, Power_SumsPresentSuppliesInSinglePrecisionAndTruncates) {
    putPsu(0, [] { PsuFields f; f.inputPower = 99.5f; return f; }());
    putPsu(1, [] { PsuFields f; f.inputPower = 100.25f; return f; }());
    putPsu(2, [] { PsuFields f; f.present = 2; f.inputPower = 1000.0f; return f; }());
    putPsu(3, [] { PsuFields f; f.inputPower = 500.0f; return f; }());
    block().setU8(kCount, 0);
    EXPECT_EQ(ReadQuorixPSUPower(), 0);
    block().setU8(kCount, 3);
    EXPECT_EQ(ReadQuorixPSUPower(), 199);
    block().setU8(kCount, 4);
    EXPECT_EQ(ReadQuorixPSUPower(), 699);
}

TEST_F(PsuState, SerialNumber_CopiesEighteenBytesOrNullAndNeverChecksTheCount) {
    block().setU8(kCount, 1);
    putPsu(0);
    putPsu(7);
    putPsu(-1);
    std::vector<unsigned char> buf(24, 0xEE);
    EXPECT_EQ(QuorixGetPSUSN(7, buf.data()), 0);
    EXPECT_EQ(std::string(buf.begin(), buf.begin() + 18), "SN7ABCDEFGHIJKLMNO");
    EXPECT_EQ(buf[18], 0xEE);
    EXPECT_EQ(QuorixGetPSUSN(-1, buf.data()), 0);
    EXPECT_EQ(std::string(buf.begin(), buf.begin() + 18), "SN-1ABCDEFGHIJKLMN");
    for (int index : {8, 9, INT_MAX, INT_MIN}) {
        std::vector<unsigned char> out(24, 0xEE);
        EXPECT_EQ(QuorixGetPSUSN(index, out.data()), 0) << index;
        EXPECT_EQ(std::vector<unsigned char>(out.begin(), out.begin() + 6),
                  (std::vector<unsigned char>{'N', 'U', 'L', 'L', 0, 0xEE}))
            << index;
    }
    EXPECT_EQ(QuorixGetPSUSN(0, nullptr), -1);
}

// Expected summary of putPsu()'s record, written out field by field.
std::vector<unsigned char> expectedSummary(int index) {
    std::vector<unsigned char> s(126, 0);
    auto u16 = [&](std::size_t at, unsigned v) {
        s[at] = static_cast<unsigned char>(v);
        s[at + 1] = static_cast<unsigned char>(v >> 8);
    };
    s[0] = static_cast<unsigned char>(index);
    s[1] = 1;
    s[2] = 0x21;
    u16(3, 0x1234);
    u16(5, 0x5678);
    s[7] = 0x03;
    s[8] = 0x01;
    s[9] = 0x44;
    u16(10, 26);     // 25.5 rounds up
    u16(12, 30);     // 30.4
    u16(14, 42);     // 41.6
    u16(16, 100);    // 99.5
    u16(18, 99);     // 99.4
    u16(20, 230);    // 229.7
    u16(22, 1220);   // 12.2 V x 100
    u16(24, 456);    // 4.56 A x 100
    u16(26, 115);    // 1.15 A x 100
    u16(28, 4464);   // 70000 keeps its low 16 bits
    u16(30, 8124);   // 8123.5
    auto text = [&](std::size_t at, const std::string &t) { std::copy(t.begin(), t.end(), s.begin() + at); };
    text(32, "QUORIX-PWR");
    text(50, "QPS-1600W-A");
    text(68, "SN" + std::to_string(index) + "ABCDEFGHIJKLMNO");
    text(86, "FW 1.2.3");
    text(102, "PN-99887766");
    const unsigned char date[] = {0x20, 0x24, 0x05, 0x17, 0x08, 0x30};
    std::copy(date, date + 6, s.begin() + 120);
    return s;
}

std::vector<unsigned char> invalidSummary(int index, unsigned char present) {
    std::vector<unsigned char> s(126, 0);
    s[0] = static_cast<unsigned char>(index);
    s[1] = present;
    std::fill(s.begin() + 2, s.begin() + 32, 255);
    return s;
}

TEST_F(PsuState, Info_FillsTheSummaryRecordByteForByte) {
    block().setU8(kCount, 2);
    putPsu(1);
    std::vector<unsigned char> out(126, 0xAA);
    EXPECT_EQ(ReadQuorixPSUInfo(1, out.data()), 0);
    EXPECT_EQ(qtest::hex(out.data(), out.size()), qtest::hex(expectedSummary(1).data(), 126));
}

TEST_F(PsuState, Info_RoundsAndTruncatesReadingsAsTheRecordDefines) {
    block().setU8(kCount, 1);
    struct Case {
        float value;
        std::size_t recordField, summaryField;
        unsigned expected;
    } cases[] = {
        {99.5f, 26, 16, 100}, {99.4f, 26, 16, 99},    {0.49f, 14, 10, 0},  {-3.0f, 14, 10, 0},
        {12.2f, 38, 22, 1220}, {1.15f, 46, 26, 115},  {0.07f, 42, 24, 7},  {655.36f, 38, 22, 0},
        {65535.4f, 54, 30, 65535}, {65535.5f, 54, 30, 0}, {-1.0f, 46, 26, 0},
    };
    for (const Case &c : cases) {
        putPsu(0);
        block().setF32(rec(0, c.recordField), c.value);
        std::vector<unsigned char> out(126, 0);
        ASSERT_EQ(ReadQuorixPSUInfo(0, out.data()), 0);
        EXPECT_EQ(out[c.summaryField] | (out[c.summaryField + 1] << 8), static_cast<int>(c.expected))
            << "value " << c.value << " at " << c.summaryField;
    }
}

TEST_F(PsuState, Info_AbsentSupply_FillsWith255AndZeroTexts) {
    block().setU8(kCount, 2);
    putPsu(0, [] { PsuFields f; f.present = 0; return f; }());
    putPsu(1, [] { PsuFields f; f.present = 3; return f; }());
    std::vector<unsigned char> out(126, 0xAA);
    EXPECT_EQ(ReadQuorixPSUInfo(0, out.data()), 0);
    EXPECT_EQ(out, invalidSummary(0, 0));
    EXPECT_EQ(ReadQuorixPSUInfo(1, out.data()), 0);
    EXPECT_EQ(out, invalidSummary(1, 3));
}

TEST_F(PsuState, Info_KeepsItsIndexRules) {
    putPsu(2);
    block().setU8(kCount, 2);
    std::vector<unsigned char> out(126, 0xAA);
    // Index equal to the count is read.
    EXPECT_EQ(ReadQuorixPSUInfo(2, out.data()), 0);
    EXPECT_EQ(out, expectedSummary(2));
    // Above the (unclamped) count: -1, nothing touched.
    std::vector<unsigned char> untouched(126, 0xAA);
    EXPECT_EQ(ReadQuorixPSUInfo(3, untouched.data()), -1);
    EXPECT_EQ(untouched, std::vector<unsigned char>(126, 0xAA));
    EXPECT_EQ(ReadQuorixPSUInfo(0, nullptr), -1);
    // Count 12: index 8 reads "record 8" over the counters; index 9 gets the 255 fill.
    block().setU8(kCount, 12);
    block().setU8(68878, 0);
    EXPECT_EQ(ReadQuorixPSUInfo(8, out.data()), 0);
    EXPECT_EQ(out, invalidSummary(8, 0));
    EXPECT_EQ(ReadQuorixPSUInfo(9, out.data()), 0);
    EXPECT_EQ(out, invalidSummary(9, 255));
    EXPECT_EQ(ReadQuorixPSUInfo(13, out.data()), -1);
    // A negative index passes both checks; one whose record lies before the block gets the fill.
    EXPECT_EQ(ReadQuorixPSUInfo(INT_MIN, out.data()), 0);
    EXPECT_EQ(out, invalidSummary(0, 255));
}

TEST_F(PsuState, ShowAll_DumpsPresentSuppliesInDetailAndAbsentOnesBriefly) {
    block().setU8(kCount, 2);
    putPsu(0);
    putPsu(1, [] { PsuFields f; f.present = 0; return f; }());
    int result = 0;
    std::string out = qtest::captureStdout([&] { result = ShowAllPSUInfo(); });
    EXPECT_GOLDEN("psu_dump.txt", out);
    // The result is what the last print returned: the closing line and the blank line.
    EXPECT_EQ(result, static_cast<int>(out.size() - out.rfind('\n', out.size() - 3) - 1));
    block().setU8(kCount, 0);
    EXPECT_EQ(qtest::captureStdout([] { ShowAllPSUInfo(); }), out.substr(0, out.find('\n') + 1));
}

// Slot probes of the update and hardware-info paths.
std::string g_updateImage;
int g_updateIndex = -1;
int g_updatingSeen = -1;
int g_updateResult = 0;
int programPsu(const char *image, int index) {
    g_updateImage = image;
    g_updateIndex = index;
    g_updatingSeen = block().u8(rec(index, 152));
    return g_updateResult;
}

class PsuUpdate : public PsuState {
protected:
    void SetUp() override {
        PsuState::SetUp();
        g_updateImage.clear();
        g_updateIndex = g_updatingSeen = -1;
        g_updateResult = 0;
        qtest::replaceSlot(qrx::Slot::ProgramPsu, programPsu);
    }
    const std::string notes =
        "==   note1:eg: run quorix_monitor_app --flash-psu psu0 means falsh psu0.\n"
        "==   note2:/var/psuimage should exist before run this command..\n";
};

TEST_F(PsuUpdate, Flash_ProgramsTheNamedSupplyFromVarPsuimage) {
    qtest::writeFile("/var/psuimage", "image");
    int result = -9;
    std::string out = qtest::captureStdout([&] { result = psu_flash("psu3"); });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(g_updateImage, "/var/psuimage");
    EXPECT_EQ(g_updateIndex, 3);
    EXPECT_EQ(g_updatingSeen, 1);
    EXPECT_EQ(block().u8(rec(3, 152)), 0);
    // The update-task banners between them belong to the task bookkeeping.
    const std::string head = "== psu_flash name: psu3\n" + notes;
    const std::string tail = "QuorixUpdatePSU: psu3 from /var/psuimage done (0)\n";
    EXPECT_EQ(out.substr(0, head.size()), head);
    ASSERT_GE(out.size(), head.size() + tail.size());
    EXPECT_EQ(out.substr(out.size() - tail.size()), tail);
}

TEST_F(PsuUpdate, Flash_NameWithoutPsuReturnsZeroAfterTheNotes) {
    int result = -9;
    std::string out = qtest::captureStdout([&] { result = psu_flash("fan0"); });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out, "== psu_flash name: fan0\n" + notes);
    EXPECT_EQ(g_updateIndex, -1);
}

TEST_F(PsuUpdate, Flash_ParsesFromTheStartOfTheName) {
    qtest::writeFile("/var/psuimage", "image");
    g_updateResult = 5;
    EXPECT_EQ(psu_flash("xpsu1"), 5);
    EXPECT_EQ(g_updateIndex, 0);
    EXPECT_EQ(psu_flash("psu257"), 5);
    EXPECT_EQ(g_updateIndex, 1);  // the low 8 bits
}

TEST_F(PsuUpdate, Update_RefusesAMissingImageWithoutProgramming) {
    int result = 0;
    std::string out = qtest::captureStdout([&] { result = QuorixUpdatePSU("/var/psuimage", 1); });
    EXPECT_EQ(result, -1);
    EXPECT_EQ(out, "QuorixUpdatePSU: psu1 image /var/psuimage not found\n");
    EXPECT_EQ(g_updateIndex, -1);
    EXPECT_EQ(QuorixUpdatePSU(nullptr, 1), -1);
    EXPECT_EQ(g_updateIndex, -1);
}

TEST_F(PsuUpdate, Update_ReportsTheSlotFailure) {
    qtest::writeFile("/var/psuimage", "image");
    g_updateResult = -3;
    int result = 0;
    std::string out = qtest::captureStdout([&] { result = QuorixUpdatePSU("/var/psuimage", 9); });
    EXPECT_EQ(result, -3);
    EXPECT_EQ(g_updateIndex, 9);
    const std::string tail = "QuorixUpdatePSU: psu9 from /var/psuimage failed (-3)\n";
    ASSERT_GE(out.size(), tail.size());
    EXPECT_EQ(out.substr(out.size() - tail.size()), tail);
}

int g_readInfoCalls = 0;
int g_typeTwoCalls = 0;
int readPsuInfo(int index, unsigned char *, int length) {
    ++g_readInfoCalls;
    return index * 0x100 + length;
}
int handleTypeTwo() {
    ++g_typeTwoCalls;
    return 0;
}

TEST_F(PsuState, HwInfo_CallsTypeTwoHandlingOnceForAPresentTypeTwoSupply) {
    qtest::replaceSlot(qrx::Slot::ReadPsuInfo, readPsuInfo);
    qtest::replaceSlot(qrx::Slot::HandlePsuTypeTwo, handleTypeTwo);
    struct Case {
        int count;
        unsigned char present1, type1, present2, type2;
        int calls;
    } cases[] = {
        {3, 1, 2, 1, 2, 1}, {3, 0, 2, 5, 2, 1}, {3, 1, 1, 0, 2, 0}, {2, 0, 0, 1, 2, 0}, {12, 0, 0, 0, 0, 0},
    };
    for (const Case &c : cases) {
        g_typeTwoCalls = g_readInfoCalls = 0;
        block().setU8(kCount, static_cast<unsigned char>(c.count));
        block().setU8(rec(1, 1), c.present1);
        block().setU8(rec(1, 158), c.type1);
        block().setU8(rec(2, 1), c.present2);
        block().setU8(rec(2, 158), c.type2);
        EXPECT_EQ(GetHwPSUInfo(2, nullptr, 0x34), 0x234);
        EXPECT_EQ(g_readInfoCalls, 1);
        EXPECT_EQ(g_typeTwoCalls, c.calls) << "count " << c.count;
    }
}

}  // namespace
