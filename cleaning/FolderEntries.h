#pragma once

#include <QByteArray>
#include <QList>
#include <optional>

namespace velmox {

// The names inside `folder` but "." and "..", as the file system holds them, sorted;
// nothing when the folder can't be listed (errno says why).
std::optional<QList<QByteArray>> folderEntryNames(const QByteArray& folder);

} // namespace velmox
