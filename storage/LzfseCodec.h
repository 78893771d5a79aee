#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <optional>

#include "services/Result.h"

namespace velmox {

// LZFSE compression of catalog columns through the reference library.
struct LzfseCodec {
    // The compressed bytes when they come out at least 1 byte and smaller than the input;
    // std::nullopt when LZFSE cannot shrink it (the caller then stores the input raw).
    static std::optional<QByteArray> compress(QByteArrayView input);
    // Decodes exactly `decodedSize` bytes; anything else is a damaged block.
    static Result<QByteArray> decompress(QByteArrayView compressed, qsizetype decodedSize);
};

} // namespace velmox
