#include "cleaning/FolderEntries.h"

#include <algorithm>
#include <dirent.h>

namespace velmox {

std::optional<QList<QByteArray>> folderEntryNames(const QByteArray& folder) {
    DIR* listing = ::opendir(folder.constData());
    if (!listing)
        return std::nullopt;
    QList<QByteArray> names;
    while (const dirent* entry = ::readdir(listing)) {
        const QByteArray name(entry->d_name);
        if (name != "." && name != "..")
            names.append(name);
    }
    ::closedir(listing);
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace velmox
