#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <utility>

namespace velmox {

// Moves the contents of folders into the user's Trash one item at a time, never
// overwriting: an item whose name is taken in the Trash gets a new name there.
struct TrashMover {
    struct Moved {
        QString folder;
        QString name;      // inside `folder`
        QString trashName; // inside the Trash
    };
    struct Outcome {
        QList<Moved> moved;
        // One whole sentence per item that stayed where it was.
        QStringList failures;
    };

    // A missing folder has nothing to move.
    static Outcome moveContents(const QStringList& folders);
};

} // namespace velmox
