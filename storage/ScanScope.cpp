#include "storage/ScanScope.h"

#include <QHash>

namespace velmox {

namespace {

constexpr std::pair<ScanScope::Kind, const char*> kKindNames[] = {
    {ScanScope::Kind::volume, "volume"},
    {ScanScope::Kind::home, "home"},
    {ScanScope::Kind::folder, "folder"},
};

} // namespace

QString ScanScope::identifier() const {
    return toString(kind) + QLatin1Char(':') + path;
}

QString toString(ScanScope::Kind kind) {
    for (const auto& [value, name] : kKindNames)
        if (value == kind)
            return QString::fromLatin1(name);
    return {};
}

std::optional<ScanScope::Kind> scanScopeKindFromString(const QString& text) {
    for (const auto& [value, name] : kKindNames)
        if (text == QLatin1String(name))
            return value;
    return std::nullopt;
}

QJsonObject toJson(const ScanScope& scope) {
    QJsonObject object{{QStringLiteral("kind"), toString(scope.kind)},
                       {QStringLiteral("path"), scope.path},
                       {QStringLiteral("title"), scope.title}};
    if (scope.dataPath)
        object.insert(QStringLiteral("dataPath"), *scope.dataPath);
    return object;
}

Result<ScanScope> scanScopeFromJson(const QJsonObject& object) {
    const auto kind = scanScopeKindFromString(object.value(QStringLiteral("kind")).toString());
    const QString path = object.value(QStringLiteral("path")).toString();
    if (!kind || path.isEmpty())
        return failure(QStringLiteral("The saved scan scope is damaged."));
    ScanScope scope{*kind, path, object.value(QStringLiteral("title")).toString(), {}};
    if (object.contains(QStringLiteral("dataPath")))
        scope.dataPath = object.value(QStringLiteral("dataPath")).toString();
    return scope;
}

size_t qHash(const ScanScope& scope, size_t seed) {
    return ::qHash(scope.identifier(), seed);
}

} // namespace velmox
