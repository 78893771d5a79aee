#include "storage/ScanExclusions.h"

#include "services/Settings.h"
#include "storage/ScanScope.h"

#include <QVariantMap>
#include <algorithm>
#include <climits>
#include <cstdlib>
#include <fnmatch.h>

namespace velmox {

namespace {

bool hasGlob(QStringView pattern) {
    return pattern.contains(QLatin1Char('*')) || pattern.contains(QLatin1Char('?')) ||
           pattern.contains(QLatin1Char('['));
}

QString cleanedOnce(const QString& pattern) {
    const QString trimmed = pattern.trimmed();
    const bool absolute = trimmed.startsWith(QLatin1Char('/'));
    QStringList parts;
    for (const QString& part : trimmed.split(QLatin1Char('/'), Qt::SkipEmptyParts))
        if (part != QLatin1String("."))
            parts.append(part);
    return (absolute ? QStringLiteral("/") : QString()) + parts.join(QLatin1Char('/'));
}

// One way of writing a pattern: no surrounding blanks, no empty or "." parts, no trailing
// slash. ".." parts are kept, for check() to refuse. Taking a slash away can leave a blank at
// the end ("x\v/"), so it goes on until nothing changes; each pass only shortens the text.
QString cleaned(QString pattern) {
    for (QString next = cleanedOnce(pattern); next != pattern; next = cleanedOnce(pattern))
        pattern = next;
    return pattern;
}

QByteArray joined(const QByteArray& folder, QByteArrayView name) {
    QByteArray path = folder;
    if (!path.endsWith('/'))
        path += '/';
    path.append(name);
    return path;
}

// An absolute path with the links of its folder resolved, as the walk meets it; the last part
// stays as written, since a link there is an item of its own.
QByteArray asWalked(const QByteArray& path) {
    const qsizetype slash = path.lastIndexOf('/');
    const QByteArray folder = slash <= 0 ? QByteArray("/") : path.first(slash);
    char resolved[PATH_MAX];
    if (!::realpath(folder.constData(), resolved))
        return path;
    return joined(QByteArray(resolved), QByteArrayView(path).sliced(slash + 1));
}

bool fnmatches(const QByteArray& pattern, const QByteArray& text, int flags) {
    return ::fnmatch(pattern.constData(), text.constData(), flags) == 0;
}

} // namespace

Status ScanExclusions::check(const QString& pattern) {
    const QString clean = cleaned(pattern);
    if (pattern.trimmed().isEmpty())
        return failure(QStringLiteral("An exclusion needs a folder, a path or a pattern such as "
                                      "*.iso."));
    if (pattern.contains(QChar(0)))
        return failure(QStringLiteral("An exclusion cannot contain a zero character."));
    if (clean.isEmpty() || clean == QLatin1String("/"))
        return failure(
            QStringLiteral("\"%1\" would exclude the whole scan, so it cannot be an exclusion.")
                .arg(pattern.trimmed()));
    if (clean.split(QLatin1Char('/')).contains(QLatin1String("..")))
        return failure(QStringLiteral("\"%1\" leads out of the scanned folder with \"..\"; write "
                                      "the folder's absolute path instead.")
                           .arg(pattern.trimmed()));
    return Done{};
}

QStringList ScanExclusions::normalized(const QStringList& patterns) {
    QStringList result;
    for (const QString& pattern : patterns)
        if (check(pattern))
            result.append(cleaned(pattern));
    std::sort(result.begin(), result.end());
    result.erase(std::unique(result.begin(), result.end()), result.end());
    return result;
}

ScanExclusions::ScanExclusions(const QStringList& patterns, const QByteArray& root)
    : patterns_(normalized(patterns)) {
    for (const QString& pattern : std::as_const(patterns_)) {
        const QByteArray bytes = pattern.toUtf8();
        const bool absolute = bytes.startsWith('/');
        if (hasGlob(pattern)) {
            if (bytes.contains('/')) {
                pathGlobs_.push_back(absolute ? bytes : joined(root, bytes));
                continue;
            }
            NameGlob glob{bytes, {}};
            const QByteArray rest = bytes.sliced(1);
            if (bytes.startsWith('*') && !hasGlob(QString::fromUtf8(rest)) && !rest.contains('\\'))
                glob.suffix = rest;
            nameGlobs_.push_back(std::move(glob));
            continue;
        }
        const QByteArray path = asWalked(absolute ? bytes : joined(root, bytes));
        const qsizetype slash = path.lastIndexOf('/');
        const QByteArray folder = slash == 0 ? QByteArray("/") : path.first(slash);
        namesByFolder_[folder].append(path.sliced(slash + 1));
    }
}

ScanExclusions::Folder ScanExclusions::inFolder(QByteArrayView folderPath) const {
    Folder folder;
    if (patterns_.isEmpty())
        return folder;
    if (!namesByFolder_.isEmpty())
        if (const auto found = namesByFolder_.constFind(folderPath.toByteArray());
            found != namesByFolder_.cend())
            folder.names_ = &found.value();
    if (!nameGlobs_.empty() || !pathGlobs_.empty())
        folder.globs_ = this;
    folder.folder_ = folderPath;
    return folder;
}

bool ScanExclusions::Folder::excludes(QByteArrayView name) const {
    if (names_)
        for (const QByteArray& excluded : *names_)
            if (excluded == name)
                return true;
    return globs_ && globs_->matchesGlob(folder_, name);
}

bool ScanExclusions::matchesGlob(QByteArrayView folder, QByteArrayView name) const {
    QByteArray text; // fnmatch needs the name ended by a zero byte; made once if needed
    for (const NameGlob& glob : nameGlobs_) {
        if (!glob.suffix.isEmpty()) {
            if (name.endsWith(glob.suffix))
                return true;
            continue;
        }
        if (text.isNull())
            text = name.toByteArray();
        if (fnmatches(glob.pattern, text, 0))
            return true;
    }
    if (pathGlobs_.empty())
        return false;
    const QByteArray path = joined(folder.toByteArray(), name);
    return std::any_of(pathGlobs_.begin(), pathGlobs_.end(),
                       [&](const QByteArray& glob) { return fnmatches(glob, path, FNM_PATHNAME); });
}

bool ScanExclusions::excludes(QByteArrayView path) const {
    const qsizetype slash = path.lastIndexOf('/');
    if (slash < 0 || path.size() <= 1)
        return false;
    return inFolder(slash == 0 ? QByteArrayView("/") : path.first(slash))
        .excludes(path.sliced(slash + 1));
}

namespace ScanExclusionSettings {

QStringList global(const Settings& settings) {
    return settings.value(QLatin1String(kGlobalKey)).toStringList();
}

QStringList forScope(const Settings& settings, const ScanScope& scope) {
    return settings.value(QLatin1String(kScopeKey))
        .toMap()
        .value(scope.identifier())
        .toStringList();
}

QStringList patternsFor(const Settings& settings, const ScanScope& scope) {
    return global(settings) + forScope(settings, scope);
}

Status setGlobal(Settings& settings, const QStringList& patterns) {
    return settings.setValue(QLatin1String(kGlobalKey), patterns);
}

Status setForScope(Settings& settings, const ScanScope& scope, const QStringList& patterns) {
    return settings.update(QLatin1String(kScopeKey), [&](const QVariant& current) {
        QVariantMap scopes = current.toMap();
        if (patterns.isEmpty())
            scopes.remove(scope.identifier());
        else
            scopes.insert(scope.identifier(), patterns);
        return QVariant(scopes);
    });
}

} // namespace ScanExclusionSettings

} // namespace velmox
