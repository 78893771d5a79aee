#pragma once

#include "services/Result.h"

#include <QByteArray>
#include <QString>

namespace velmox {

// The user's Trash. Linux: the freedesktop home trash ($XDG_DATA_HOME/Trash/files, with one
// info/<name>.trashinfo per item so file managers can restore it); macOS: ~/.Trash.
// Nothing here ever overwrites an existing item.
struct Trash {
    static QString filesFolder();
    // Where the .trashinfo files live (the same as filesFolder() where there are none).
    static QString infoFolder();
    // Moves `path` (a symbolic link itself, not its target) into the Trash and returns the name
    // it got there; a taken name gets a numbered one ("name 2", "report 2.pdf"). Paths and
    // names are bytes: they need not be valid UTF-8.
    static Result<QByteArray> moveToTrashBytes(const QByteArray& path);
    // The same for a path held as text.
    static Result<QString> moveToTrash(const QString& path);
    static QString itemPath(const QString& trashName);
    // Moves a trashed item back to `destination` and drops its .trashinfo. Fails, moving
    // nothing, when the name is not a plain name inside the Trash, the item is gone, or the
    // destination already exists.
    static Status restore(const QString& trashName, const QString& destination);
    static Status restoreBytes(const QByteArray& trashName, const QByteArray& destination);
    // True for a name that stays inside its folder: not empty, no "/", not "." or "..".
    static bool isPlainName(const QString& name);
};

} // namespace velmox
