#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

namespace velmox {

// What cache cleaning started by automation must leave alone, wherever it is started from.
// The weekly Auto-Clean and the background agent do not use it.
class AutomationProtection {
public:
    AutomationProtection(const QStringList& protectedFolders, QStringList protectedAppIds);

    // True when `path` (absolute) is a protected folder, lies inside one, or lies above one: a
    // folder holding a protected folder is never moved whole.
    bool protectsPath(const QByteArray& path) const;
    // True when a cache item's name is a protected app id or begins with one followed by "."
    // (the app's helpers: org.example.App.helper).
    bool protectsCacheName(const QByteArray& name) const;
    // Either of the above for the item `name` in the folder `folder`.
    bool protectsCacheItem(const QByteArray& folder, const QByteArray& name) const;

private:
    QList<QByteArray> folders_; // without trailing slashes; "/" stays "/"
    QList<QByteArray> appIds_;
};

// The id of the application a desktop entry file describes (org.gnome.Nautilus for
// .../org.gnome.Nautilus.desktop), which names its caches as a bundle id does; empty when the
// file is not a readable application entry.
QString appIdFromDesktopEntry(const QString& path);
// The same for an entry's file name (without folder) and contents.
QString appIdFromDesktopEntry(const QString& fileName, const QByteArray& contents);

} // namespace velmox
