#pragma once

#include <QString>
#include <QStringList>
#include <atomic>

namespace velmox {

// The space folders take on disk: allocated bytes (st_blocks x 512) of everything inside,
// the folder itself included, each hard-linked file once. Symbolic links are counted, never
// followed. What cannot be read counts 0; a missing path is 0.
struct FolderSize {
    static qint64 allocatedBytes(const QString& path);
    // The paths together; a file reached through two of them counts once.
    // Stops early, returning what it counted, once `cancel` is set.
    static qint64 allocatedBytes(const QStringList& paths,
                                 const std::atomic<bool>* cancel = nullptr);
};

} // namespace velmox
