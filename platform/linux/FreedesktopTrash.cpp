// The freedesktop.org home trash: files/<name> holds the item, info/<name>.trashinfo says where
// it came from and when, so any file manager can restore it.
#include "platform/PlatformPaths.h"
#include "platform/Trash.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QUrl>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace velmox {

namespace {

const QString infoSuffix = QStringLiteral(".trashinfo");
// A file name may hold 255 bytes, and the info file adds its suffix to the trash name;
// the rest leaves room for a " 10000" counter.
constexpr qsizetype maxBaseNameBytes = 255 - 10 - 6;
constexpr int maxNameAttempts = 10000;

QString trashFolder() {
    return PlatformPaths::appDataParent() + QStringLiteral("/Trash");
}

bool pathExists(const QByteArray& path) {
    struct stat info {};
    return ::lstat(path.constData(), &info) == 0;
}

Status makePrivateFolder(const QString& path) {
    if (::mkdir(QFile::encodeName(path).constData(), 0700) == 0 || errno == EEXIST)
        return Done{};
    return failure(QStringLiteral("The Trash folder “%1” could not be created: %2.")
                       .arg(path, qt_error_string(errno)));
}

Status ensureTrashFolders() {
    if (!QDir().mkpath(PlatformPaths::appDataParent()))
        return failure(QStringLiteral("The folder “%1” could not be created.")
                           .arg(PlatformPaths::appDataParent()));
    for (const QString& folder : {trashFolder(), Trash::filesFolder(), Trash::infoFolder()})
        if (Status made = makePrivateFolder(folder); !made)
            return made;
    return Done{};
}

// Renames without ever replacing what is at `to`. Returns 0 or an errno value.
int renameNoReplace(const QByteArray& from, const QByteArray& to) {
    if (::renameat2(AT_FDCWD, from.constData(), AT_FDCWD, to.constData(), RENAME_NOREPLACE) == 0)
        return 0;
    if (errno != EINVAL && errno != ENOSYS)
        return errno;
    // File systems without RENAME_NOREPLACE: check first, accepting the tiny race.
    if (pathExists(to))
        return EEXIST;
    return ::rename(from.constData(), to.constData()) == 0 ? 0 : errno;
}

// Cuts `name` so its file-system encoding fits `maxBytes`, never splitting a character.
QString fitToBytes(QString name, qsizetype maxBytes) {
    while (QFile::encodeName(name).size() > maxBytes && !name.isEmpty())
        name.chop(name.size() >= 2 && name.back().isLowSurrogate() ? 2 : 1);
    return name;
}

// "name", then "name 2", "name 3"...; a file's extension stays last ("report 2.pdf").
QString candidateName(const QString& base, bool isFolder, int attempt) {
    if (attempt == 1)
        return base;
    const QString counter = QStringLiteral(" %1").arg(attempt);
    const qsizetype dot = base.lastIndexOf(QLatin1Char('.'));
    if (isFolder || dot <= 0 || dot == base.size() - 1)
        return base + counter;
    return base.left(dot) + counter + base.mid(dot);
}

QByteArray trashInfo(const QString& originalPath) {
    return QByteArrayLiteral("[Trash Info]\nPath=") +
           QUrl::toPercentEncoding(QFile::encodeName(originalPath), "/") +
           QByteArrayLiteral("\nDeletionDate=") +
           QDateTime::currentDateTime()
               .toString(QStringLiteral("yyyy-MM-dd'T'HH:mm:ss"))
               .toLatin1() +
           '\n';
}

bool writeAll(int descriptor, const QByteArray& data) {
    qsizetype written = 0;
    while (written < data.size()) {
        const ssize_t count = ::write(descriptor, data.constData() + written,
                                      static_cast<size_t>(data.size() - written));
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return false;
        written += count;
    }
    return true;
}

enum class Reservation { reserved, taken, failed };

// Claims `name` by creating its info file exclusively, as the trash rules recommend: whoever
// creates the info file owns the name.
Reservation reserveName(const QByteArray& infoPath, const QByteArray& content, int& error) {
    const int descriptor =
        ::open(infoPath.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (descriptor < 0) {
        error = errno;
        return error == EEXIST ? Reservation::taken : Reservation::failed;
    }
    const bool written = writeAll(descriptor, content);
    const int writeError = errno;
    const bool closed = ::close(descriptor) == 0;
    if (written && closed)
        return Reservation::reserved;
    error = written ? errno : writeError;
    ::unlink(infoPath.constData());
    return Reservation::failed;
}

QString onOtherFileSystem(const QString& source) {
    return QStringLiteral("“%1” is on another file system than the Trash, so it can't be moved "
                          "there. Delete it or move it by hand.")
        .arg(source);
}

} // namespace

QString Trash::filesFolder() {
    return trashFolder() + QStringLiteral("/files");
}

QString Trash::infoFolder() {
    return trashFolder() + QStringLiteral("/info");
}

QString Trash::itemPath(const QString& trashName) {
    return filesFolder() + QLatin1Char('/') + trashName;
}

bool Trash::isPlainName(const QString& name) {
    return !name.isEmpty() && !name.contains(QLatin1Char('/')) && name != QLatin1String(".") &&
           name != QLatin1String("..");
}

Result<QString> Trash::moveToTrash(const QString& path) {
    const QString source = QDir::cleanPath(QFileInfo(path).absoluteFilePath());
    const QByteArray sourceBytes = QFile::encodeName(source);
    struct stat item {};
    if (path.isEmpty() || ::lstat(sourceBytes.constData(), &item) != 0)
        return failure(
            QStringLiteral("“%1” can't be moved to the Trash because it doesn't exist.").arg(path));
    if ((trashFolder() + QLatin1Char('/')).startsWith(source + QLatin1Char('/')) ||
        source == QLatin1String("/"))
        return failure(
            QStringLiteral("“%1” can't be moved to the Trash because it holds the Trash.")
                .arg(source));
    // Two lookups when the folders are there (the usual case, item after item of a batch).
    const QByteArray filesBytes = QFile::encodeName(filesFolder());
    struct stat trash {};
    bool known = ::stat(filesBytes.constData(), &trash) == 0;
    if (!known || !pathExists(QFile::encodeName(infoFolder()))) {
        if (Status ready = ensureTrashFolders(); !ready)
            return failure(ready.error());
        known = ::stat(filesBytes.constData(), &trash) == 0;
    }
    if (known && trash.st_dev != item.st_dev)
        return failure(onOtherFileSystem(source));

    const QString base = fitToBytes(QFileInfo(source).fileName(), maxBaseNameBytes);
    const bool isFolder = S_ISDIR(item.st_mode);
    const QByteArray info = trashInfo(source);
    for (int attempt = 1; attempt <= maxNameAttempts; ++attempt) {
        const QString name = candidateName(base, isFolder, attempt);
        const QByteArray infoPath =
            QFile::encodeName(infoFolder() + QLatin1Char('/') + name + infoSuffix);
        int error = 0;
        const Reservation reservation = reserveName(infoPath, info, error);
        if (reservation == Reservation::taken)
            continue;
        if (reservation == Reservation::failed)
            return failure(QStringLiteral("“%1” can't be moved to the Trash: its Trash record "
                                          "could not be written (%2).")
                               .arg(source, qt_error_string(error)));
        error = renameNoReplace(sourceBytes, QFile::encodeName(itemPath(name)));
        if (error == 0)
            return name;
        ::unlink(infoPath.constData());
        // An item without an info file already has this name.
        if (error == EEXIST || error == ENOTEMPTY)
            continue;
        if (error == EXDEV)
            return failure(onOtherFileSystem(source));
        return failure(QStringLiteral("“%1” can't be moved to the Trash: %2.")
                           .arg(source, qt_error_string(error)));
    }
    return failure(
        QStringLiteral("“%1” can't be moved to the Trash: too many items there have its name.")
            .arg(source));
}

Status Trash::restore(const QString& trashName, const QString& destination) {
    if (!isPlainName(trashName))
        return failure(
            QStringLiteral("“%1” is not the name of an item in the Trash.").arg(trashName));
    const QByteArray source = QFile::encodeName(itemPath(trashName));
    if (!pathExists(source))
        return failure(QStringLiteral("“%1” is no longer in the Trash.").arg(trashName));
    const int error = renameNoReplace(source, QFile::encodeName(destination));
    if (error == EEXIST || error == ENOTEMPTY)
        return failure(QStringLiteral("“%1” already exists, so “%2” stays in the Trash.")
                           .arg(destination, trashName));
    if (error != 0)
        return failure(QStringLiteral("“%1” could not be put back to “%2”: %3.")
                           .arg(trashName, destination, qt_error_string(error)));
    ::unlink(
        QFile::encodeName(infoFolder() + QLatin1Char('/') + trashName + infoSuffix).constData());
    return Done{};
}

} // namespace velmox
