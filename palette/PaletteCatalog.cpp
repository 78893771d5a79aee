#include "palette/PaletteCatalog.h"

#include "cleaning/OptimizationRegistry.h"
#include "services/Category.h"

namespace velmox {

namespace {

struct PageWords {
    Category category;
    const char* keywords;
};

// Words that find a page without being in its title.
constexpr PageWords kPageWords[] = {
    {Category::dashboard, "overview cpu processor memory ram network disk usage status home"},
    {Category::cleanup, "clean caches junk trash logs free space"},
    {Category::storageOptimizer, "large files old downloads duplicates space"},
    {Category::maintenance, "dns flush purge memory reindex repair permissions"},
    {Category::appManager, "remove delete application app trash"},
    {Category::startupManager,
     "launchd plist agents daemons startup background services launchctl load unload"},
    {Category::gatekeeper, "security firewall quarantine protection"},
    {Category::powerUser, "schedule scheduled tasks automation timer"},
    {Category::network, "lan devices arp scan"},
    {Category::defaults, "default apps browser mail handlers file types open with"},
    {Category::storageManager, "disk usage scan folders sizes space tree"},
    {Category::diskCatalogs, "saved scans catalogs compare history"},
    {Category::diskHealth, "smart drive ssd hdd nvme health wear temperature"},
    {Category::networkTools, "hosts file etc block domains"},
    {Category::fanTemp, "fans temperature sensors thermal rpm heat"},
    {Category::diagnostics, "logs report system information crash"},
    {Category::tccPermissions, "privacy permissions access camera microphone"},
    {Category::openCore, "opencore oclp bootloader patcher"},
    {Category::systemTools, "caffeinate awake sleep keep display on"},
};

struct TabRow {
    const char* id; // "<page identifier>/<tab>"
    const char* title;
    const char* keywords;
};

constexpr TabRow kTabs[] = {
    {"powerUser/activity", "Activity", "history log actions put back undo export"},
    {"appManager/uninstaller", "App Uninstaller", "drag drop uninstall remove app leftovers"},
    {"networkTools/blocker", "IP & URL Blocker", "block websites sites distraction focus"},
    {"networkTools/speedTest", "Network Speed Test", "speed bandwidth download upload latency"},
    {"systemTools/power", "Battery & Power", "battery power energy saver low power mode charge"},
    {"settings/about", "About Velmox", "about version credits licence license"},
};

QList<PaletteEntry> palettePageEntries() {
    QList<PaletteEntry> entries;
    for (const PageWords& page : kPageWords)
        entries.append({QStringLiteral("page:") + rawValue(page.category),
                        categoryTitle(page.category), QString(), QString::fromUtf8(page.keywords),
                        PaletteSection::entries});
    return entries;
}

} // namespace

QList<PaletteEntry> builtInPaletteEntries(const OptimizationRegistry& registry) {
    QList<PaletteEntry> entries = palettePageEntries();
    for (const TabRow& tab : kTabs)
        entries.append({QStringLiteral("tab:") + QString::fromUtf8(tab.id),
                        QString::fromUtf8(tab.title), QString(), QString::fromUtf8(tab.keywords),
                        PaletteSection::entries});
    for (const OptimizationTask& task : registry.allTasks()) {
        const QString key = OptimizationRegistry::key(task);
        if (!key.isEmpty())
            entries.append({QStringLiteral("task:") + key, task.title, QString(), task.description,
                            PaletteSection::entries});
    }
    return entries;
}

} // namespace velmox
