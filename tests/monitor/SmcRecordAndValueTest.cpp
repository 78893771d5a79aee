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
    // Key, 24 bytes of version and limits, size, type, attributes, result, status,
    // command, index, value.
    const QByteArray expected = QByteArray::fromHex("50304354") + QByteArray(24, 0) +
                                QByteArray::fromHex("0200000038377073800000008401050004030201"
                                                    "1a") +
                                QByteArray(30, 0) + QByteArray::fromHex("ff");
    EXPECT_EQ(QByteArray(reinterpret_cast<const char*>(raw.data()), raw.size()).toHex(),
              expected.toHex());
    EXPECT_EQ(SmcParamRecord::decode(raw), record);
}

TEST(SmcParamRecord, KeysAreFourBytesOfUtf8) {
    EXPECT_EQ(smcFourCharCode(QStringLiteral("TC0P")), 0x54433050u);
    EXPECT_EQ(smcFourCharCode(QStringLiteral("#KEY")), 0x234b4559u);
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
