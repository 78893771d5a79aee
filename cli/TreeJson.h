#pragma once

#include "storage/FileTree.h"

#include <QJsonArray>
#include <QJsonObject>

namespace velmox {

// The parts of `velmox scan --json` that come from a finished tree, shared with
// `velmox catalogs show`.
int64_t folderCount(const FileTree& tree);
QJsonArray topJson(const FileTree& tree, TreeSortKey key, int top);
QJsonObject volumeJson(const QString& name, const QString& format, int64_t capacity,
                       int64_t available);

} // namespace velmox
