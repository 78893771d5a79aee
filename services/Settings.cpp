#include "services/Settings.h"

#include "platform/PlatformPaths.h"

namespace velmox {

Settings::Settings(const QString& filePath, QObject* parent)
    : QObject(parent),
      settings_(std::make_unique<QSettings>(
          filePath.isEmpty() ? PlatformPaths::settingsFile() : filePath, QSettings::IniFormat)) {}

Settings::~Settings() {
    settings_->sync();
}

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

void Settings::setValue(const QString& key, const QVariant& value) {
    {
        QMutexLocker lock(&mutex_);
        settings_->setValue(key, value);
        settings_->sync();
    }
    emit valueChanged(key);
}

void Settings::remove(const QString& key) {
    {
        QMutexLocker lock(&mutex_);
        settings_->remove(key);
        settings_->sync();
    }
    emit valueChanged(key);
}

QStringList Settings::writeMissingTrueDefaults(const QStringList& keys) {
    QStringList written;
    for (const QString& key : keys) {
        if (!contains(key)) {
            setValue(key, true);
            written << key;
        }
    }
    return written;
}

void Settings::sync() {
    QMutexLocker lock(&mutex_);
    settings_->sync();
}

QString Settings::filePath() const {
    return settings_->fileName();
}

} // namespace velmox
