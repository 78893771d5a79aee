// The administrator pass's listing. The file ends with a SHA-256 of everything before it,
// so random bytes would almost never get past the checksum: each input is decoded as it
// is and once more with a correct checksum appended, which reaches the section parser.
#include "storage/ProtectedScanListing.h"

#include <QCryptographicHash>
#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    (void)velmox::ProtectedScanListing::decode(bytes);
    const auto sealed = velmox::ProtectedScanListing::decode(
        bytes + QCryptographicHash::hash(bytes, QCryptographicHash::Sha256));
    if (sealed) {
        for (const auto& section : *sealed) {
            if (section.tree)
                (void)section.tree->size();
        }
    }
    return 0;
}
