#include "automation/AutomationProtection.h"

#include <QFile>
#include <QFileInfo>
#include <algorithm>

namespace velmox {

namespace {

QByteArray withoutTrailingSlashes(QByteArray path) {
    while (path.size() > 1 && path.endsWith('/'))
        path.chop(1);
    return path;
}

// True when `inner` lies inside `outer` (both without trailing slashes).
bool isInside(const QByteArray& inner, const QByteArray& outer) {
    if (outer == "/")
        return inner.size() > 1 && inner.startsWith('/');
    return inner.size() > outer.size() && inner.startsWith(outer) && inner.at(outer.size()) == '/';
}

} // namespace

AutomationProtection::AutomationProtection(const QStringList& protectedFolders,
                                           QStringList protectedAppIds) {
    for (const QString& folder : protectedFolders)
        if (!folder.isEmpty())
            folders_.append(withoutTrailingSlashes(QFile::encodeName(folder)));
    for (const QString& id : protectedAppIds)
        if (!id.isEmpty())
            appIds_.append(id.toUtf8());
}

bool AutomationProtection::protectsPath(const QByteArray& path) const {
    const QByteArray normal = withoutTrailingSlashes(path);
    return std::any_of(folders_.begin(), folders_.end(), [&](const QByteArray& folder) {
        return normal == folder || isInside(normal, folder) || isInside(folder, normal);
    });
}

bool AutomationProtection::protectsCacheName(const QByteArray& name) const {
    return std::any_of(appIds_.begin(), appIds_.end(), [&](const QByteArray& id) {
        return name == id ||
               (name.startsWith(id) && name.size() > id.size() && name.at(id.size()) == '.');
    });
}

bool AutomationProtection::protectsCacheItem(const QByteArray& folder,
                                             const QByteArray& name) const {
    return protectsCacheName(name) || protectsPath(withoutTrailingSlashes(folder) + '/' + name);
}

QString appIdFromDesktopEntry(const QString& fileName, const QByteArray& contents) {
    // A hidden file is no entry a menu shows, and its id would name hidden cache items.
    const QLatin1String suffix(".desktop");
    if (!fileName.endsWith(suffix) || fileName.startsWith(QLatin1Char('.')) ||
        fileName.contains(QLatin1Char('/')))
        return {};
    // Only the main group counts; a Type of Link or Directory names no application.
    bool inEntry = false;
    bool isApplication = false;
    for (const QByteArray& rawLine : contents.split('\n')) {
        const QByteArray line = rawLine.trimmed();
        if (line.startsWith('['))
            inEntry = line == "[Desktop Entry]";
        else if (inEntry && line.startsWith("Type") && line.mid(4).trimmed().startsWith('='))
            isApplication = line.mid(line.indexOf('=') + 1).trimmed() == "Application";
    }
    return isApplication ? fileName.chopped(suffix.size()) : QString();
}

QString appIdFromDesktopEntry(const QString& path) {
    // Only a regular file of an entry's size: a pipe would keep the reader waiting and a device
    // would never end.
    constexpr qint64 kMaxEntryBytes = 1 << 20;
    const QFileInfo info(path);
    QFile file(path);
    if (!info.isFile() || info.size() > kMaxEntryBytes || !file.open(QIODevice::ReadOnly))
        return {};
    return appIdFromDesktopEntry(info.fileName(), file.read(kMaxEntryBytes));
}

} // namespace velmox
