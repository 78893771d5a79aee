#include "cleaning/TrashMover.h"

#include "platform/Trash.h"

#include <QFile>
#include <algorithm>
#include <dirent.h>

namespace velmox {

namespace {

// The names inside `folder` but "." and "..", as the file system holds them.
QList<QByteArray> namesIn(const QByteArray& folder) {
    QList<QByteArray> names;
    DIR* listing = ::opendir(folder.constData());
    if (!listing)
        return names;
    while (const dirent* entry = ::readdir(listing)) {
        const QByteArray name(entry->d_name);
        if (name != "." && name != "..")
            names.append(name);
    }
    ::closedir(listing);
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace

TrashMover::Outcome TrashMover::moveContents(const QStringList& folders) {
    Outcome outcome;
    for (const QString& folder : folders) {
        const QByteArray folderBytes = QFile::encodeName(folder);
        for (const QByteArray& name : namesIn(folderBytes)) {
            const QByteArray path = folderBytes + '/' + name;
            const Result<QByteArray> trashName = Trash::moveToTrashBytes(path);
            if (trashName)
                outcome.moved.append({folder, name, *trashName});
            else
                outcome.failures.append(trashName.error());
        }
    }
    return outcome;
}

} // namespace velmox
