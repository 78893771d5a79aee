#pragma once

#include <QMutex>
#include <QObject>
#include <QSettings>
#include <QVariant>
#include <memory>

namespace velmox {

// The user defaults of the application's own domain. One object per process (the
// composition root makes it); safe to call from any thread. Changes made through it
// are announced with valueChanged on the thread that made them.
class Settings : public QObject {
    Q_OBJECT
public:
    // The default file is PlatformPaths::settingsFile().
    explicit Settings(const QString& filePath = {}, QObject* parent = nullptr);
    ~Settings() override;

    QVariant value(const QString& key, const QVariant& fallback = {}) const;
    bool boolValue(const QString& key, bool fallback) const;
    QString stringValue(const QString& key, const QString& fallback = {}) const;
    bool contains(const QString& key) const;
    QStringList keys() const;
    void setValue(const QString& key, const QVariant& value);
    void remove(const QString& key);
    // Writes `true` under each key that has no value yet (the must-be-true booleans of
    // first launch). Returns the keys it wrote.
    QStringList writeMissingTrueDefaults(const QStringList& keys);
    // Flushes to disk now; QSettings otherwise writes lazily.
    void sync();
    QString filePath() const;

signals:
    void valueChanged(const QString& key);

private:
    mutable QMutex mutex_;
    std::unique_ptr<QSettings> settings_;
};

} // namespace velmox
