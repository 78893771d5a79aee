#include "monitor/SmcValueDecoder.h"

#include <bit>
#include <cmath>
#include <cstring>

namespace velmox {

namespace {

constexpr std::uint32_t typeCode(const char (&text)[5]) {
    return std::uint32_t(std::uint8_t(text[0])) << 24 | std::uint32_t(std::uint8_t(text[1])) << 16 |
           std::uint32_t(std::uint8_t(text[2])) << 8 | std::uint32_t(std::uint8_t(text[3]));
}

std::optional<int> hexDigit(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return std::nullopt;
}

std::uint16_t bigEndian16(std::span<const std::uint8_t> bytes) {
    return static_cast<std::uint16_t>(bytes[0] << 8 | bytes[1]);
}

std::optional<double> decodeFixedPoint(char signedness, char integerBits, char fractionBits,
                                       std::span<const std::uint8_t> bytes) {
    const auto fraction = hexDigit(fractionBits);
    if (!hexDigit(integerBits) || !fraction)
        return std::nullopt;
    const std::uint16_t raw = bigEndian16(bytes);
    const double number = signedness == 's' ? double(std::int16_t(raw)) : double(raw);
    return std::ldexp(number, -*fraction);
}

std::optional<double> decodeFloat(std::span<const std::uint8_t> bytes) {
    std::uint32_t bits = 0;
    for (int i = 3; i >= 0; --i)
        bits = bits << 8 | bytes[std::size_t(i)];
    const float value = std::bit_cast<float>(bits);
    if (!std::isfinite(value))
        return std::nullopt;
    return double(value);
}

std::optional<double> decodeInteger(std::uint32_t type, std::span<const std::uint8_t> bytes) {
    const std::size_t size = bytes.size();
    switch (type) {
    case typeCode("ui8 "):
        return size >= 1 ? std::optional<double>(bytes[0]) : std::nullopt;
    case typeCode("si8 "):
        return size >= 1 ? std::optional<double>(std::int8_t(bytes[0])) : std::nullopt;
    case typeCode("ui16"):
        return size >= 2 ? std::optional<double>(bigEndian16(bytes)) : std::nullopt;
    case typeCode("si16"):
        return size >= 2 ? std::optional<double>(std::int16_t(bigEndian16(bytes))) : std::nullopt;
    case typeCode("ui32"):
        if (size < 4)
            return std::nullopt;
        return double(std::uint32_t(bytes[0]) << 24 | std::uint32_t(bytes[1]) << 16 |
                      std::uint32_t(bytes[2]) << 8 | std::uint32_t(bytes[3]));
    default:
        return std::nullopt;
    }
}

} // namespace

std::optional<double> decodeSmcValue(std::uint32_t type, std::span<const std::uint8_t> bytes) {
    const char c0 = char(type >> 24), c1 = char(type >> 16), c2 = char(type >> 8), c3 = char(type);
    if (bytes.size() == 2 && (c0 == 'f' || c0 == 's') && c1 == 'p')
        return decodeFixedPoint(c0, c2, c3, bytes);
    if (type == typeCode("flt ") && bytes.size() == 4)
        return decodeFloat(bytes);
    return decodeInteger(type, bytes);
}

} // namespace velmox
