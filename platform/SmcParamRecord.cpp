#include "platform/SmcParamRecord.h"

#include <algorithm>

namespace velmox {

namespace {

constexpr std::size_t keyOffset = 0;
constexpr std::size_t dataSizeOffset = 28;
constexpr std::size_t dataTypeOffset = 32;
constexpr std::size_t dataAttributesOffset = 36;
constexpr std::size_t resultOffset = 40;
constexpr std::size_t statusOffset = 41;
constexpr std::size_t commandOffset = 42;
constexpr std::size_t data32Offset = 44;
constexpr std::size_t bytesOffset = 48;

void putLittleEndian32(SmcParamRecord::Bytes& raw, std::size_t offset, std::uint32_t value) {
    for (std::size_t i = 0; i < 4; ++i)
        raw[offset + i] = static_cast<std::uint8_t>(value >> (8 * i));
}

std::uint32_t getLittleEndian32(const SmcParamRecord::Bytes& raw, std::size_t offset) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i)
        value |= std::uint32_t(raw[offset + i]) << (8 * i);
    return value;
}

} // namespace

SmcParamRecord::Bytes SmcParamRecord::encode() const {
    Bytes raw{};
    putLittleEndian32(raw, keyOffset, key);
    putLittleEndian32(raw, dataSizeOffset, dataSize);
    putLittleEndian32(raw, dataTypeOffset, dataType);
    raw[dataAttributesOffset] = dataAttributes;
    raw[resultOffset] = result;
    raw[statusOffset] = status;
    raw[commandOffset] = command;
    putLittleEndian32(raw, data32Offset, data32);
    std::copy(bytes.begin(), bytes.end(), raw.begin() + bytesOffset);
    return raw;
}

SmcParamRecord SmcParamRecord::decode(const Bytes& raw) {
    SmcParamRecord record;
    record.key = getLittleEndian32(raw, keyOffset);
    record.dataSize = getLittleEndian32(raw, dataSizeOffset);
    record.dataType = getLittleEndian32(raw, dataTypeOffset);
    record.dataAttributes = raw[dataAttributesOffset];
    record.result = raw[resultOffset];
    record.status = raw[statusOffset];
    record.command = raw[commandOffset];
    record.data32 = getLittleEndian32(raw, data32Offset);
    std::copy(raw.begin() + bytesOffset, raw.end(), record.bytes.begin());
    return record;
}

std::optional<std::uint32_t> smcFourCharCode(const QString& text) {
    QByteArray bytes = text.toUtf8();
    if (bytes.size() != 4) {
        const auto oneByte = [](QChar c) { return c.unicode() <= 0xff; };
        if (text.size() != 4 || !std::all_of(text.cbegin(), text.cend(), oneByte))
            return std::nullopt;
        bytes = text.toLatin1();
    }
    std::uint32_t code = 0;
    for (char byte : bytes)
        code = (code << 8) | static_cast<std::uint8_t>(byte);
    if (code == 0)
        return std::nullopt;
    return code;
}

QString smcFourCharString(std::uint32_t code) {
    const char chars[4] = {static_cast<char>(code >> 24), static_cast<char>(code >> 16),
                           static_cast<char>(code >> 8), static_cast<char>(code)};
    return QString::fromLatin1(chars, 4);
}

} // namespace velmox
