#pragma once

#include "services/Result.h"

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QStringList>
#include <vector>

namespace velmox {

class Settings;
struct ScanScope;

// The items a scan skips, compiled once from the user's patterns for one scanned root:
//   - an absolute path ("/home/me/VMs") excludes that item;
//   - a path relative to the root ("build/out") excludes that item below the root;
//   - a pattern with a glob character (*, ? or [) matches names at any depth ("*.iso",
//     "cache-*"); one with a slash matches whole paths instead ("build/*.o"), relative to
//     the root unless it starts with "/".
// An excluded item stays in the tree as a node without size, flagged NodeFlag::excluded, and
// an excluded folder is not entered. Matching compares bytes (paths are bytes; the patterns'
// text is taken as UTF-8). Immutable once built, so any number of scan workers may share it.
class ScanExclusions {
public:
    ScanExclusions() = default;
    // `root` is the scanned root as the walk sees it (absolute, links resolved). Patterns
    // that check() refuses are left out.
    ScanExclusions(const QStringList& patterns, const QByteArray& root);

    // Why a pattern cannot be used, as a whole sentence; Done for a usable one.
    static Status check(const QString& pattern);
    // The usable patterns written one way (no repeated, trailing or "./" slashes), without
    // repeats, sorted: two scans with the same list skip the same items.
    static QStringList normalized(const QStringList& patterns);

    bool isEmpty() const { return patterns_.isEmpty(); }
    const QStringList& patterns() const { return patterns_; }

    // Answers for the entries of one folder; made once per folder read. Only valid while the
    // ScanExclusions it came from lives.
    class Folder {
    public:
        // Anything to look at for this folder's entries.
        bool active() const { return names_ != nullptr || globs_ != nullptr; }
        bool excludes(QByteArrayView name) const;

    private:
        friend class ScanExclusions;
        const QList<QByteArray>* names_ = nullptr; // excluded by path in this folder
        const ScanExclusions* globs_ = nullptr;    // set when there are globs
        QByteArrayView folder_;
    };
    Folder inFolder(QByteArrayView folderPath) const;
    // Whether the item at this absolute path is excluded itself.
    bool excludes(QByteArrayView path) const;

private:
    struct NameGlob {
        QByteArray pattern;
        QByteArray suffix; // for "*literal", compared without fnmatch
    };
    bool matchesGlob(QByteArrayView folder, QByteArrayView name) const;

    QStringList patterns_;
    QHash<QByteArray, QList<QByteArray>> namesByFolder_;
    std::vector<NameGlob> nameGlobs_;
    std::vector<QByteArray> pathGlobs_; // absolute
};

// Where the window keeps its exclusions: one list for every scan, and one per scope.
namespace ScanExclusionSettings {
inline constexpr char kGlobalKey[] = "scanExclusions";
// A map from the scope's identifier to its list.
inline constexpr char kScopeKey[] = "scopeScanExclusions";

QStringList global(const Settings& settings);
QStringList forScope(const Settings& settings, const ScanScope& scope);
// Both lists together: what a scan of the scope skips.
QStringList patternsFor(const Settings& settings, const ScanScope& scope);
[[nodiscard]] Status setGlobal(Settings& settings, const QStringList& patterns);
[[nodiscard]] Status setForScope(Settings& settings, const ScanScope& scope,
                                 const QStringList& patterns);
} // namespace ScanExclusionSettings

} // namespace velmox
