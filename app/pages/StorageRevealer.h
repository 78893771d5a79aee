#pragma once

#include <QString>

namespace velmox {

// Shows a file or folder in the desktop's file manager: selected inside its folder through
// org.freedesktop.FileManager1 when a file manager offers it, else by opening the folder.
struct StorageRevealer {
    // False when nothing could be asked to show it.
    static bool reveal(const QString& path);
};

} // namespace velmox
