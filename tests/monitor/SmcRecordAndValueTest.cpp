#include "monitor/SmcValueDecoder.h"
#include "platform/SmcParamRecord.h"

#include <gtest/gtest.h>

namespace velmox {
namespace {

std::optional<double> decode(const char* type, std::initializer_list<std::uint8_t> bytes) {
    const std::vector<std::uint8_t> data(bytes);
    return decodeSmcValue(*smcFourCharCode(QString::fromLatin1(type)), data);
}

TEST(SmcParamRecord, EncodesEveryFieldAtItsOffsetLittleEndian) {
    SmcParamRecord record;
    record.key = *smcFourCharCode(QStringLiteral("TC0P"));
    record.dataSize = 2;
    record.dataType = *smcFourCharCode(QStringLiteral("sp78"));
    record.dataAttributes = 0x80;
    record.result = 0x84;
    record.status = 0x01;
    record.command = SmcParamRecord::readKey;
    record.data32 = 0x01020304;
    record.bytes[0] = 0x1a;
    record.bytes[31] = 0xff;

    const SmcParamRecord::Bytes raw = record.encode();
    const std::vector<std::uint8_t> at0(raw.begin(), raw.begin() + 4);
    EXPECT_EQ(at0, (std::vector<std::uint8_t>{'P', '0', 'C', 'T'}));
    for (std::size_t i = 4; i < 28; ++i)
        EXPECT_EQ(raw[i], 0) << "version, padding and power-limit bytes stay zero at " << i;
    EXPECT_EQ(raw[28], 2);
    EXPECT_EQ(raw[29], 0);
    const std::vector<std::uint8_t> type(raw.begin() + 32, raw.begin() + 36);
    EXPECT_EQ(type, (std::vector<std::uint8_t>{'8', '7', 'p', 's'}));
    EXPECT_EQ(raw[36], 0x80);
    EXPECT_EQ(raw[37] | raw[38] | raw[39], 0);
    EXPECT_EQ(raw[40], 0x84);
    EXPECT_EQ(raw[41], 0x01);
    EXPECT_EQ(raw[42], 5);
    EXPECT_EQ(raw[43], 0);
    const std::vector<std::uint8_t> index(raw.begin() + 44, raw.begin() + 48);
    EXPECT_EQ(index, (std::vector<std::uint8_t>{0x04, 0x03, 0x02, 0x01}));
    EXPECT_EQ(raw[48], 0x1a);
    EXPECT_EQ(raw[79], 0xff);

    EXPECT_EQ(SmcParamRecord::decode(raw), record);
}

TEST(SmcParamRecord, KeysMustBeFourBytesOfUtf8AndNotZero) {
    EXPECT_EQ(smcFourCharCode(QStringLiteral("TC0P")), 0x54433050u);
    EXPECT_EQ(smcFourCharCode(QStringLiteral("#KEY")), 0x234b4559u);
    EXPECT_EQ(smcFourCharCode(QStringLiteral("TC0")), std::nullopt);
    EXPECT_EQ(smcFourCharCode(QStringLiteral("TC0PX")), std::nullopt);
    EXPECT_EQ(smcFourCharCode(QString(4, QChar(0))), std::nullopt);
    // Three characters, four bytes: "é" takes two.
    EXPECT_EQ(smcFourCharCode(QStringLiteral("TC\u00e9")), 0x5443c3a9u);
    EXPECT_EQ(smcFourCharString(0x75693820), QStringLiteral("ui8 "));
    // A key listed by the SMC with a byte past ASCII shows as one character per byte and
    // reads back as the same key.
    EXPECT_EQ(smcFourCharString(0x54c53050u), QStringLiteral("T\u00c50P"));
    EXPECT_EQ(smcFourCharCode(smcFourCharString(0x54c53050u)), 0x54c53050u);
}

TEST(SmcValueDecoder, FixedPointUsesTheFractionDigitOfTheType) {
    EXPECT_EQ(decode("sp78", {0x1a, 0x80}), 26.5);
    EXPECT_EQ(decode("sp78", {0xff, 0x00}), -1.0);
    EXPECT_EQ(decode("fpe2", {0x1f, 0x40}), 2000.0);
    EXPECT_EQ(decode("sp87", {0x1a, 0x80}), 53.0);
    EXPECT_EQ(decode("spa5", {0x03, 0x90}), 28.5);
    // Unsigned 'f' reads 0xff00 as 65280 / 4; signed 's' as a negative number.
    EXPECT_EQ(decode("fpe2", {0xff, 0x00}), 16320.0);
    EXPECT_EQ(decode("sp5A", {0x01, 0x00}), decode("sp5a", {0x01, 0x00}));
    EXPECT_EQ(decode("sp5a", {0x01, 0x00}), 0.25);
    EXPECT_EQ(decode("spg8", {0x1a, 0x80}), std::nullopt) << "integer bits must be hex";
    EXPECT_EQ(decode("sp7z", {0x1a, 0x80}), std::nullopt) << "fraction bits must be hex";
    EXPECT_EQ(decode("sp78", {0x1a, 0x80, 0, 0}), std::nullopt) << "fixed point is two bytes";
}

TEST(SmcValueDecoder, FloatsAreLittleEndianAndFinite) {
    EXPECT_EQ(decode("flt ", {0x00, 0x00, 0x98, 0x40}), 4.75);
    EXPECT_EQ(decode("flt ", {0x00, 0x00, 0xc0, 0x7f}), std::nullopt) << "NaN";
    EXPECT_EQ(decode("flt ", {0x00, 0x00, 0x80, 0x7f}), std::nullopt) << "infinity";
    EXPECT_EQ(decode("flt ", {0x00, 0x00}), std::nullopt) << "not four bytes, not an integer type";
}

TEST(SmcValueDecoder, IntegerTypesAreBigEndianAndOtherTypesFail) {
    EXPECT_EQ(decode("ui8 ", {0xfe}), 254.0);
    EXPECT_EQ(decode("si8 ", {0xfe}), -2.0);
    EXPECT_EQ(decode("ui16", {0x12, 0x34}), 4660.0);
    EXPECT_EQ(decode("si16", {0x80, 0x00}), -32768.0);
    EXPECT_EQ(decode("ui32", {0x00, 0x01, 0x00, 0x02}), 65538.0);
    EXPECT_EQ(decode("ui16", {0x12}), std::nullopt);
    EXPECT_EQ(decode("ui32", {0x00, 0x01}), std::nullopt);
    EXPECT_EQ(decode("hex_", {0x0a, 0x1b}), std::nullopt);
    EXPECT_EQ(decode("flag", {0x01}), std::nullopt);
}

} // namespace
} // namespace velmox
