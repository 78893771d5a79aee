#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <utility>

namespace velmox {

// Moves the contents of folders into the user's Trash one item at a time, never
// overwriting: an item whose name is taken in the Trash gets a new name there. Names are read
// and moved as bytes, so names that are not valid UTF-8 go like any other.
struct TrashMover {
    struct Moved {
        QString folder;
        QByteArray name;      // inside `folder`
        QByteArray trashName; // inside the Trash
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
