#include "cleaning/OptimizationRegistry.h"

#include <QHash>

namespace velmox {

OptimizationRegistry::System OptimizationRegistry::thisSystem() {
#ifdef Q_OS_MACOS
    return System::macOS;
#else
    return System::linuxDesktop;
#endif
}

OptimizationRegistry::OptimizationRegistry(TaskPlaces places, System system)
    : places_(std::move(places)), system_(system) {}

QList<OptimizationTask> OptimizationRegistry::allTasks() const {
    return system_ == System::macOS ? macTable(places_) : linuxTable(places_);
}

std::optional<OptimizationTask> OptimizationRegistry::task(const QString& title) const {
    for (const OptimizationTask& task : allTasks())
        if (task.title == title)
            return task;
    return std::nullopt;
}

QString OptimizationRegistry::key(const OptimizationTask& task) {
    // Keys are published: a task keeps its key when its title changes.
    static const QHash<QString, QString> keys = {
        {QStringLiteral("RAM Purge"), QStringLiteral("ram-purge")},
        {QStringLiteral("DNS Cache Flush"), QStringLiteral("dns-flush")},
        {QStringLiteral("Spotlight Re-indexing"), QStringLiteral("search-index")},
        {QStringLiteral("File Search Re-indexing"), QStringLiteral("search-index")},
        {QStringLiteral("Maintenance Scripts"), QStringLiteral("maintenance-scripts")},
        {QStringLiteral("Time Machine Snapshot Slimmer"), QStringLiteral("snapshot-slimmer")},
        {QStringLiteral("Font Cache Cleaner"), QStringLiteral("font-caches")},
        {QStringLiteral("System Cache Cleaner"), QStringLiteral("system-caches")},
        {QStringLiteral("User Cache Cleaner"), QStringLiteral("user-caches")},
        {QStringLiteral("Log File Scrubber"), QStringLiteral("old-logs")},
        {QStringLiteral("Mail Attachment Remover"), QStringLiteral("mail-attachments")},
        {QStringLiteral("Trash Management"), QStringLiteral("empty-trash")},
        {QStringLiteral("Clipboard History Flusher"), QStringLiteral("clipboard")},
        {QStringLiteral("Speech & Dictation Cache Cleaner"), QStringLiteral("speech-caches")},
        {QStringLiteral("Hung Process Killer"), QStringLiteral("hung-apps")},
        {QStringLiteral("Safari Privacy Cleaner"), QStringLiteral("safari-privacy")},
        {QStringLiteral("Chrome Privacy Cleaner"), QStringLiteral("chrome-privacy")},
        {QStringLiteral("Firefox Privacy Cleaner"), QStringLiteral("firefox-privacy")},
        {QStringLiteral("Hidden File Toggle (Show)"), QStringLiteral("show-hidden-files")},
        {QStringLiteral("Hidden File Toggle (Hide)"), QStringLiteral("hide-hidden-files")},
        {QStringLiteral("Apple Intelligence Cleanup"), QStringLiteral("apple-intelligence")},
    };
    return keys.value(task.title);
}

} // namespace velmox
