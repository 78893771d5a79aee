#pragma once

#include "services/Result.h"

#include <QMutex>
#include <QObject>
#include <QSettings>
#include <QVariant>
#include <functional>
#include <memory>

namespace velmox {

// The user defaults of the application's own domain: one INI file that several Velmox
// processes (the window, the command line, the agent) read and write at once. One object per
// process (the composition root makes it); safe to call from any thread. Changes made through
// it are announced with valueChanged on the thread that made them.
//
// Every write is one read-modify-write of one key under a lock file that all writers take, so
// a process never writes back a stale copy of what another one saved. Reads come from the
// copy last read from the file; sync() refreshes it.
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

    // The writes below return a whole-sentence failure when the file could not be written; the
    // value then stays what it was, in memory too.
    [[nodiscard]] Status setValue(const QString& key, const QVariant& value);
    [[nodiscard]] Status remove(const QString& key);
    // Under the writers' lock: re-reads the file, hands the key's current value (invalid when
    // there is none) to `change` and writes what it returns. `change` must not call back into
    // this object.
    [[nodiscard]] Status update(const QString& key,
                                const std::function<QVariant(const QVariant&)>& change);
    // Writes `true` under each key that has no value yet (the must-be-true booleans of
    // first launch). Returns the keys it wrote.
    QStringList writeMissingTrueDefaults(const QStringList& keys);
    // Re-reads the file if another process changed it since it was last read.
    void sync();
    QString filePath() const;

signals:
    void valueChanged(const QString& key);

private:
    Status write(const QString& key, const std::function<QVariant(const QVariant&)>& change,
                 bool removing);

    mutable QMutex mutex_;
    std::unique_ptr<QSettings> settings_;
};

} // namespace velmox
