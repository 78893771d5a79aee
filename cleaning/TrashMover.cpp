#include "cleaning/TrashMover.h"

#include "cleaning/FolderEntries.h"
#include "platform/Trash.h"

#include <QFile>

namespace velmox {

TrashMover::Outcome TrashMover::moveContents(const QStringList& folders) {
    Outcome outcome;
    for (const QString& folder : folders) {
        const QByteArray folderBytes = QFile::encodeName(folder);
        for (const QByteArray& name : folderEntryNames(folderBytes).value_or(QList<QByteArray>())) {
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
