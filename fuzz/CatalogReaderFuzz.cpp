// The catalog reader on arbitrary bytes: every input either reads as a catalog that passes
// the tree's validation, or fails with one of the reader's own reasons.

#include "storage/CatalogFormat.h"

#include <QRegularExpression>
#include <cstdint>
#include <cstdlib>

namespace {

bool isKnownReason(const QString& reason) {
    static const QRegularExpression known(QStringLiteral(
        "^(unknown file format|unsupported version \\d+|decompression failed|bad block size|"
        "bad payload size|a column has the wrong length|a stream has the wrong length|the "
        "streams do not match|bad (child count|parent|flags|name) at \\d+|inconsistent array "
        "sizes|node \\d+ is outside its parent's child range|negative size at \\d+|the parent "
        "of node \\d+ is not a directory|bad name range at \\d+)$"));
    return known.match(reason).hasMatch();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // Well below libFuzzer's memory limit, so that a huge node count is refused, not tried.
    constexpr uint64_t kMaxDecoded = 64u << 20;
    const auto read = velmox::CatalogFormat::decode(
        QByteArrayView(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size)),
        kMaxDecoded);
    if (read) {
        if (!read->tree.validate())
            std::abort();
        // What was read can be written again.
        if (!velmox::CatalogFormat::encode(*read))
            std::abort();
        return 0;
    }
    if (read.error().kind == velmox::CatalogReadError::Kind::damaged &&
        !isKnownReason(read.error().reason))
        std::abort();
    return 0;
}
