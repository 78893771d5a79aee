#include "cleaning/TrashMover.h"

#include "platform/Trash.h"

#include <QDir>

namespace velmox {

TrashMover::Outcome TrashMover::moveContents(const QStringList& folders) {
    Outcome outcome;
    for (const QString& folder : folders) {
        const QStringList names = QDir(folder).entryList(
            QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
        for (const QString& name : names) {
            const Result<QString> trashName = Trash::moveToTrash(folder + QLatin1Char('/') + name);
            if (trashName)
                outcome.moved.append({folder, name, *trashName});
            else
                outcome.failures.append(trashName.error());
        }
    }
    return outcome;
}

} // namespace velmox
