#pragma once

#include <QString>
#include <array>
#include <cstdint>
#include <optional>

namespace velmox {

// The SMC driver's parameter record: 80 bytes, little-endian, the same layout for the
// input and the output of the user client's structure method (selector 2).
struct SmcParamRecord {
    static constexpr std::size_t size = 80;
    static constexpr std::uint32_t selector = 2;
    using Bytes = std::array<std::uint8_t, size>;

    enum Command : std::uint8_t { readKey = 5, keyAtIndex = 8, keyInfo = 9 };

    std::uint32_t key = 0;                // offset 0: four-character code, first character high
    std::uint32_t dataSize = 0;           // offset 28
    std::uint32_t dataType = 0;           // offset 32: four-character type code
    std::uint8_t dataAttributes = 0;      // offset 36
    std::uint8_t result = 0;              // offset 40: 0 = success
    std::uint8_t status = 0;              // offset 41
    std::uint8_t command = 0;             // offset 42
    std::uint32_t data32 = 0;             // offset 44: the index of a key-at-index call
    std::array<std::uint8_t, 32> bytes{}; // offset 48: the value, big-endian as stored

    Bytes encode() const;
    static SmcParamRecord decode(const Bytes& raw);
    bool operator==(const SmcParamRecord&) const = default;
};

// "TC0P" -> 0x54433050. Absent unless the text is exactly four bytes of UTF-8, or four
// characters of Latin-1 (the form smcFourCharString gives a code with bytes past ASCII),
// and the code is not 0. The two forms agree on ASCII, so every code reads back.
std::optional<std::uint32_t> smcFourCharCode(const QString& text);
// 0x54433050 -> "TC0P" (most significant byte first, one Latin-1 character per byte;
// every byte kept, spaces included).
QString smcFourCharString(std::uint32_t code);

} // namespace velmox
