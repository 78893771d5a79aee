#pragma once

#include "services/Result.h"

#include <QJsonObject>
#include <QString>
#include <optional>

namespace velmox {

// What one scan covers: a whole volume, the user's home or one folder.
struct ScanScope {
    enum class Kind { volume, home, folder };
    Kind kind = Kind::folder;
    QString path;
    QString title;
    std::optional<QString> dataPath; // the data volume behind a system volume
    bool operator==(const ScanScope&) const = default;

    // "volume:/", "folder:/home/me/Music": the key of the scope's job and saved records.
    QString identifier() const;
};

QString toString(ScanScope::Kind kind);
std::optional<ScanScope::Kind> scanScopeKindFromString(const QString& text);
QJsonObject toJson(const ScanScope& scope);
Result<ScanScope> scanScopeFromJson(const QJsonObject& object);

size_t qHash(const ScanScope& scope, size_t seed = 0);

} // namespace velmox
