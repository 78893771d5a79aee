#pragma once

#include "services/Result.h"
#include "storage/CatalogRecords.h"

#include <QByteArray>
#include <optional>
#include <vector>

namespace velmox {

// Everything one catalog, scan cache or checkpoint file holds. A checkpoint carries `info`
// and the folders still to read.
struct CatalogContents {
    FileTree tree;
    CatalogMeta meta;
    std::optional<ScanCheckpointInfo> checkpoint;
    std::vector<PendingFolderRecord> stack;

    bool sameAs(const CatalogContents& other) const;
};

// Why a file could not be read: the reason names the first problem found. `tooLarge` files
// were not looked into.
struct CatalogReadError {
    enum class Kind { damaged, tooLarge };
    Kind kind = Kind::damaged;
    QString reason;
    // "The catalog file is damaged (reason)" or "The catalog file is too large to open."
    QString message() const;
};

// The descriptive record of a file and its root's totals.
struct CatalogSummary {
    CatalogMeta meta;
    int64_t allocated = 0;
    int64_t logical = 0;
    int64_t items = 0;
};

// The compact file form of a scan: a signature, a version and the tree's columns, each
// byte-shuffled and LZFSE-compressed (or stored raw when that does not shrink it). The
// layout of every version is described in docs/catalog-format.md. Pure functions of their
// arguments: safe on any thread.
namespace CatalogFormat {

inline constexpr uint32_t kNewestVersion = 4;
inline constexpr char kSignature[8] = {'V', 'X', 'C', 'A', 'T', 'L', 'O', 'G'};

// Refuses a tree that must not be written: "the scan is inconsistent", "the child ranges do
// not cover the tree" or "a name contains a zero byte".
Status checkWritable(const FileTree& tree);

// The file's bytes; fails with checkWritable()'s reason. Versions before the newest are
// written only to check that they are still read.
Result<QByteArray> encode(const CatalogContents& contents, uint32_t version = kNewestVersion);

// Reads a whole file. Decoded columns larger than `maxDecodedBytes` in total are refused as
// too large before they are allocated.
std::expected<CatalogContents, CatalogReadError> decode(QByteArrayView bytes,
                                                        uint64_t maxDecodedBytes);

// The descriptive record alone, from the first summaryLength() bytes of a file (fewer when
// the file is shorter).
std::expected<CatalogSummary, CatalogReadError> decodeSummary(QByteArrayView head);
qsizetype summaryLength(QByteArrayView head);

// The largest catalog file read on this machine, and the largest decoded size, chosen from
// its physical memory (see docs/catalog-format.md).
uint64_t maxFileSize();
uint64_t maxDecodedSize();

// The shuffle step: byte k of element i goes to k * n + i, and back.
QByteArray shuffle(QByteArrayView data, int width);
QByteArray unshuffle(QByteArrayView data, int width);

} // namespace CatalogFormat

} // namespace velmox
