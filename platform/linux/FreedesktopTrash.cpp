// The freedesktop.org home trash: files/<name> holds the item, info/<name>.trashinfo says where
// it came from and when, so any file manager can restore it.
#include "platform/PlatformPaths.h"
#include "platform/Trash.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace velmox {

namespace {

constexpr char infoSuffix[] = ".trashinfo";
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

// Cuts `name` to `maxBytes`; a name that is valid UTF-8 keeps whole characters.
QByteArray fitToBytes(QByteArray name, qsizetype maxBytes) {
    if (name.size() <= maxBytes)
        return name;
    const bool text = QUtf8StringView(name).isValidUtf8();
    name.truncate(maxBytes);
    while (text && !name.isEmpty() && !QUtf8StringView(name).isValidUtf8())
        name.chop(1);
    return name;
}

// "name", then "name 2", "name 3"...; a file's extension stays last ("report 2.pdf").
QByteArray candidateName(const QByteArray& base, bool isFolder, int attempt) {
    if (attempt == 1)
        return base;
    const QByteArray counter = ' ' + QByteArray::number(attempt);
    const qsizetype dot = base.lastIndexOf('.');
    if (isFolder || dot <= 0 || dot == base.size() - 1)
        return base + counter;
    return base.left(dot) + counter + base.mid(dot);
}

// `path` made absolute, without "." and ".." steps or doubled and trailing slashes.
QByteArray absoluteClean(const QByteArray& path) {
    QByteArray full = path;
    if (!full.startsWith('/'))
        full = QFile::encodeName(QDir::currentPath()) + '/' + full;
    QList<QByteArray> kept;
    for (const QByteArray& step : full.split('/')) {
        if (step.isEmpty() || step == ".")
            continue;
        if (step == "..") {
            if (!kept.isEmpty())
                kept.removeLast();
            continue;
        }
        kept.append(step);
    }
    return '/' + kept.join('/');
}

QByteArray fileName(const QByteArray& cleanPath) {
    return cleanPath.mid(cleanPath.lastIndexOf('/') + 1);
}

// For messages only: a name that is not valid UTF-8 shows its stray bytes as "?".
QString shown(const QByteArray& path) {
    return QString::fromUtf8(path).replace(QChar::ReplacementCharacter, QLatin1Char('?'));
}

QByteArray trashInfo(const QByteArray& originalPath) {
    return QByteArrayLiteral("[Trash Info]\nPath=") + originalPath.toPercentEncoding("/") +
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

QString onOtherFileSystem(const QByteArray& source) {
    return QStringLiteral("“%1” is on another file system than the Trash, so it can't be moved "
                          "there. Delete it or move it by hand.")
        .arg(shown(source));
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
    const Result<QByteArray> name = moveToTrashBytes(QFile::encodeName(path));
    if (!name)
        return failure(name.error());
    return QFile::decodeName(*name);
}

Result<QByteArray> Trash::moveToTrashBytes(const QByteArray& path) {
    const QByteArray source = absoluteClean(path);
    struct stat item {};
    if (path.isEmpty() || ::lstat(source.constData(), &item) != 0)
        return failure(QStringLiteral("“%1” can't be moved to the Trash because it doesn't exist.")
                           .arg(shown(path)));
    if ((QFile::encodeName(trashFolder()) + '/').startsWith(source + '/') || source == "/")
        return failure(
            QStringLiteral("“%1” can't be moved to the Trash because it holds the Trash.")
                .arg(shown(source)));
    // Two lookups when the folders are there (the usual case, item after item of a batch).
    const QByteArray filesBytes = QFile::encodeName(filesFolder());
    const QByteArray infoBytes = QFile::encodeName(infoFolder());
    struct stat trash {};
    bool known = ::stat(filesBytes.constData(), &trash) == 0;
    if (!known || !pathExists(infoBytes)) {
        if (Status ready = ensureTrashFolders(); !ready)
            return failure(ready.error());
        known = ::stat(filesBytes.constData(), &trash) == 0;
    }
    if (known && trash.st_dev != item.st_dev)
        return failure(onOtherFileSystem(source));

    const QByteArray base = fitToBytes(fileName(source), maxBaseNameBytes);
    const bool isFolder = S_ISDIR(item.st_mode);
    const QByteArray info = trashInfo(source);
    for (int attempt = 1; attempt <= maxNameAttempts; ++attempt) {
        const QByteArray name = candidateName(base, isFolder, attempt);
        const QByteArray infoPath = infoBytes + '/' + name + infoSuffix;
        int error = 0;
        const Reservation reservation = reserveName(infoPath, info, error);
        if (reservation == Reservation::taken)
            continue;
        if (reservation == Reservation::failed)
            return failure(QStringLiteral("“%1” can't be moved to the Trash: its Trash record "
                                          "could not be written (%2).")
                               .arg(shown(source), qt_error_string(error)));
        error = renameNoReplace(source, filesBytes + '/' + name);
        if (error == 0)
            return name;
        ::unlink(infoPath.constData());
        // An item without an info file already has this name.
        if (error == EEXIST || error == ENOTEMPTY)
            continue;
        if (error == EXDEV)
            return failure(onOtherFileSystem(source));
        return failure(QStringLiteral("“%1” can't be moved to the Trash: %2.")
                           .arg(shown(source), qt_error_string(error)));
    }
    return failure(
        QStringLiteral("“%1” can't be moved to the Trash: too many items there have its name.")
            .arg(shown(source)));
}

Status Trash::restore(const QString& trashName, const QString& destination) {
    if (!isPlainName(trashName))
        return failure(
            QStringLiteral("“%1” is not the name of an item in the Trash.").arg(trashName));
    return restoreBytes(QFile::encodeName(trashName), QFile::encodeName(destination));
}

Status Trash::restoreBytes(const QByteArray& trashName, const QByteArray& destination) {
    if (!isPlainName(QFile::decodeName(trashName)) || trashName.contains('/'))
        return failure(
            QStringLiteral("“%1” is not the name of an item in the Trash.").arg(shown(trashName)));
    const QByteArray source = QFile::encodeName(filesFolder()) + '/' + trashName;
    if (!pathExists(source))
        return failure(QStringLiteral("“%1” is no longer in the Trash.").arg(shown(trashName)));
    const int error = renameNoReplace(source, destination);
    if (error == EEXIST || error == ENOTEMPTY)
        return failure(QStringLiteral("“%1” already exists, so “%2” stays in the Trash.")
                           .arg(shown(destination), shown(trashName)));
    if (error != 0)
        return failure(QStringLiteral("“%1” could not be put back to “%2”: %3.")
                           .arg(shown(trashName), shown(destination), qt_error_string(error)));
    ::unlink((QFile::encodeName(infoFolder()) + '/' + trashName + infoSuffix).constData());
    return Done{};
}

} // namespace velmox
