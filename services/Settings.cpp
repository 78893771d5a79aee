#include "services/Settings.h"

#include "platform/PlatformPaths.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLockFile>

namespace velmox {

namespace {

constexpr int lockWaitMs = 10000;

QString notWritten(const QString& path) {
    return QStringLiteral("The settings file “%1” could not be written; check that its folder "
                          "exists and that you may write to it.")
        .arg(path);
}

// QSettings notices a save by another process from the file's size and modification time (to
// the millisecond), and re-reads the file only then. File systems stamp times coarsely, so two
// saves of equal size close together can carry the same time; every writer, holding the lock,
// moves the time past the one of the save before its own.
void keepModificationTimeMoving(const QString& path, const QDateTime& before) {
    if (!before.isValid() || QFileInfo(path).lastModified() > before)
        return;
    QFile file(path);
    if (file.open(QIODevice::ReadOnly))
        file.setFileTime(before.addMSecs(1), QFileDevice::FileModificationTime);
}

} // namespace

Settings::Settings(const QString& filePath, QObject* parent)
    : QObject(parent),
      settings_(std::make_unique<QSettings>(
          filePath.isEmpty() ? PlatformPaths::settingsFile() : filePath, QSettings::IniFormat)) {}

Settings::~Settings() = default;

QVariant Settings::value(const QString& key, const QVariant& fallback) const {
    QMutexLocker lock(&mutex_);
    return settings_->value(key, fallback);
}

bool Settings::boolValue(const QString& key, bool fallback) const {
    return value(key, fallback).toBool();
}

QString Settings::stringValue(const QString& key, const QString& fallback) const {
    return value(key, fallback).toString();
}

bool Settings::contains(const QString& key) const {
    QMutexLocker lock(&mutex_);
    return settings_->contains(key);
}

QStringList Settings::keys() const {
    QMutexLocker lock(&mutex_);
    return settings_->allKeys();
}

Status Settings::setValue(const QString& key, const QVariant& value) {
    return write(key, [&value](const QVariant&) { return value; }, false);
}

Status Settings::remove(const QString& key) {
    return write(key, {}, true);
}

Status Settings::update(const QString& key,
                        const std::function<QVariant(const QVariant&)>& change) {
    return write(key, change, false);
}

Status Settings::write(const QString& key,
                       const std::function<QVariant(const QVariant&)>& change, bool removing) {
    {
        QMutexLocker lock(&mutex_);
        const QString path = settings_->fileName();
        // Not QSettings' own "<file>.lock": it takes that one inside sync(), and a lock file
        // cannot be taken twice.
        QLockFile writers(path + QStringLiteral(".writers.lock"));
        if (!QDir().mkpath(QFileInfo(path).path()) || !writers.tryLock(lockWaitMs)) {
            if (writers.error() == QLockFile::LockFailedError)
                return failure(QStringLiteral("The settings file “%1” could not be written: "
                                              "another Velmox process kept it locked.")
                                   .arg(path));
            return failure(notWritten(path));
        }
        // QSettings keeps the first error it meets for good; a fresh object tells whether the
        // file can be written now.
        if (settings_->status() != QSettings::NoError)
            settings_ = std::make_unique<QSettings>(path, QSettings::IniFormat);
        settings_->sync();
        const bool existed = settings_->contains(key);
        const QVariant before = settings_->value(key);
        const QDateTime savedBefore = QFileInfo(path).lastModified();
        if (removing)
            settings_->remove(key);
        else
            settings_->setValue(key, change(before));
        settings_->sync();
        if (settings_->status() != QSettings::NoError) {
            if (existed)
                settings_->setValue(key, before);
            else
                settings_->remove(key);
            return failure(notWritten(path));
        }
        keepModificationTimeMoving(path, savedBefore);
    }
    emit valueChanged(key);
    return Done{};
}

QStringList Settings::writeMissingTrueDefaults(const QStringList& keys) {
    QStringList written;
    for (const QString& key : keys) {
        if (!contains(key) && setValue(key, true))
            written << key;
    }
    return written;
}

void Settings::sync() {
    QMutexLocker lock(&mutex_);
    settings_->sync();
}

QString Settings::filePath() const {
    QMutexLocker lock(&mutex_);
    return settings_->fileName();
}

} // namespace velmox
