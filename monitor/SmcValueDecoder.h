#pragma once

#include <cstdint>
#include <optional>
#include <span>

namespace velmox {

// Turns the bytes of an SMC key into a number by the key's four-character type code:
// fixed point "fpXY"/"spXY" (two bytes, X integer bits, Y fraction bits, both hex
// digits), "flt " (four bytes, little-endian float, finite only), and the integer types
// "ui8 ", "ui16", "ui32", "si8 ", "si16". Any other type is not a number.
std::optional<double> decodeSmcValue(std::uint32_t type, std::span<const std::uint8_t> bytes);

} // namespace velmox
