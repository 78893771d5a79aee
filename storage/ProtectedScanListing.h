#pragma once

#include "services/Result.h"
#include "storage/FileTree.h"

#include <QByteArray>
#include <QList>
#include <optional>
#include <vector>

namespace velmox {

// The result file of the administrator pass, written by the root child and read by the
// parent: one section per requested folder with its subtree (own sizes, not summed) or
// the error that kept even root out. Little-endian fields behind a magic and a version,
// closed by a SHA-256 of everything before it, so a damaged or cut file is rejected.
struct ProtectedScanListing {
    struct Section {
        QByteArray path;
        int errorNumber = 0;          // when the folder could not be read even as root
        std::optional<FileTree> tree; // root node = the folder itself
    };

    static QByteArray encode(const std::vector<Section>& sections);
    static Result<std::vector<Section>> decode(const QByteArray& bytes);
};

} // namespace velmox
