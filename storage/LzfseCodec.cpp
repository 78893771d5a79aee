#include "storage/LzfseCodec.h"

#include <lzfse.h>
#include <vector>

namespace velmox {

std::optional<QByteArray> LzfseCodec::compress(QByteArrayView input) {
    if (input.isEmpty())
        return std::nullopt;
    QByteArray output(input.size(), Qt::Uninitialized);
    std::vector<unsigned char> scratch(lzfse_encode_scratch_size());
    const size_t written = lzfse_encode_buffer(
        reinterpret_cast<uint8_t*>(output.data()), static_cast<size_t>(output.size()),
        reinterpret_cast<const uint8_t*>(input.data()), static_cast<size_t>(input.size()),
        scratch.data());
    if (written == 0 || written >= static_cast<size_t>(input.size()))
        return std::nullopt;
    output.truncate(static_cast<qsizetype>(written));
    return output;
}

Result<QByteArray> LzfseCodec::decompress(QByteArrayView compressed, qsizetype decodedSize) {
    // One spare byte tells an exact fit from a stream that is longer than announced.
    QByteArray output(decodedSize + 1, Qt::Uninitialized);
    std::vector<unsigned char> scratch(lzfse_decode_scratch_size());
    const size_t written = lzfse_decode_buffer(
        reinterpret_cast<uint8_t*>(output.data()), static_cast<size_t>(output.size()),
        reinterpret_cast<const uint8_t*>(compressed.data()), static_cast<size_t>(compressed.size()),
        scratch.data());
    if (static_cast<qsizetype>(written) != decodedSize)
        return failure(QStringLiteral("A compressed block is damaged: it holds %1 bytes where %2 were expected.")
                           .arg(written)
                           .arg(decodedSize));
    output.truncate(decodedSize);
    return output;
}

} // namespace velmox
