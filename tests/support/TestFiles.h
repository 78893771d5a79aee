#pragma once

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <ctime>
#include <sys/time.h>

namespace velmox::test {

// Writes `content` to `path`, making its folder first; a positive `ageInDays` dates the file
// back by that many days.
inline void writeFile(const QString& path, const QByteArray& content, int ageInDays = 0) {
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(content);
    file.close();
    if (ageInDays > 0) {
        timeval times[2]{};
        times[0].tv_sec = times[1].tv_sec = ::time(nullptr) - ageInDays * 86400L;
        ::utimes(QFile::encodeName(path).constData(), times);
    }
}

inline QByteArray readFile(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<unreadable>");
}

// True for a dangling symbolic link too.
inline bool exists(const QString& path) {
    return QFileInfo::exists(path) || QFileInfo(path).isSymLink();
}

// Runs the event loop until `condition` holds or `milliseconds` have passed.
template <typename Condition> bool waitFor(Condition condition, int milliseconds = 60000) {
    const QDeadlineTimer deadline(milliseconds);
    while (!condition() && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    return condition();
}

} // namespace velmox::test
