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

struct PlaceRow {
    const char* id; // after "tab:" or "setting:"
    const char* destination;
    const char* title;
    const char* detail;
    const char* keywords;
};

// The tabs and sub-views of the pages and of the settings window.
constexpr PlaceRow kTabs[] = {
    {"powerUser/activity", "powerUser/activity", "Activity", "",
     "history log actions put back undo export"},
    {"powerUser/automation", "powerUser/automation", "Automation", "",
     "rules routines profiles schedule triggers chains"},
    {"powerUser/safety", "powerUser/safety", "Automation Safety", "",
     "dry run protected folders apps notifications test notification"},
    {"networkTools/blocker", "networkTools/blocker", "IP & URL Blocker", "",
     "block websites sites distraction focus"},
    {"networkTools/speedTest", "networkTools/speedTest", "Network Speed Test", "",
     "speed bandwidth download upload latency"},
    // App Manager and System Tools show no tabs yet: these open the page.
    {"appManager/uninstaller", "appManager", "App Uninstaller", "",
     "drag drop uninstall remove app leftovers"},
    {"systemTools/power", "systemTools", "Battery & Power", "",
     "battery power energy saver low power mode charge"},
    {"settings/general", "settings/general", "General Settings", "",
     "preferences options tray login appearance"},
    {"settings/access", "settings/access", "Access Settings", "",
     "preferences administrator password credentials sudo"},
    {"settings/automation", "settings/automation", "Automation Settings", "",
     "preferences background agent systemd timer daily weekly"},
    {"settings/diskHealth", "settings/diskHealth", "Disk Health Settings", "",
     "preferences smart monitor checks notifications"},
    {"settings/storage", "settings/storage", "Storage Settings", "",
     "preferences scan exclusions skip exclude folders patterns"},
    {"settings/about", "help/about", "About Velmox", "", "about version credits licence license"},
};

// Every setting of the settings window's panes, under the key it is stored by.
constexpr PlaceRow kSettings[] = {
    {"showMenuBarIcon", "settings/general", "Show Velmox in the system tray",
     "With the icon on, closing the window keeps Velmox running in the tray.",
     "menu bar tray icon status item background"},
    {"trayFigure", "settings/general", "Tray icon shows",
     "The processor load, memory used, processor temperature or download speed in place of "
     "the icon.",
     "menu bar tray readout figure cpu memory temperature network"},
    {"appAppearance", "settings/general", "Appearance", "Dark or light windows.",
     "theme dark light mode colours colors"},
    {"launchAtLogin", "settings/general", "Open Velmox at login",
     "Started at login, Velmox waits in the tray without opening its window.",
     "startup autostart launch login boot"},
    {"autoCleanEnabled", "settings/general", "Clean user caches automatically every week",
     "Runs the User Cache Cleaner once every 7 days.", "weekly automatic schedule caches"},
    {"adminUsername", "settings/access", "Administrator Credentials",
     "Save the password of your administrator account so that maintenance tasks needing root "
     "run without a password prompt.",
     "admin administrator password sudo root keyring account name"},
    {"diskHealthMonitorEnabled", "settings/diskHealth",
     "Check the health of my disks in the background",
     "Velmox reads the S.M.A.R.T. values of every disk now and then and grades them.",
     "smart disk health monitor background checks"},
    {"diskHealthCheckMinutes", "settings/diskHealth", "Check every",
     "How often the disks are checked in the background.",
     "smart disk health interval minutes hours"},
    {"diskHealthNotify", "settings/diskHealth", "Send notifications",
     "A notification when a disk's grade rises.", "smart disk health alerts notify"},
    {"diskHealthNotifyLevel", "settings/diskHealth", "Notify about",
     "Warnings and serious problems, or serious problems only.",
     "smart disk health warning critical level"},
    {"diskHealthNotifyRecovery", "settings/diskHealth", "Also notify when a disk gets better",
     "A notification when a disk's grade falls again.", "smart disk health recovery better"},
    {"scanExclusions", "settings/storage", "Skip in every scan",
     "Folders and name patterns that storage scans leave out.",
     "scan exclusions exclude skip ignore folders patterns storage disk"},
    {"automationAgent", "settings/automation", "Enable Automated Maintenance",
     "Schedule recurring cleanup tasks to run automatically in the background.",
     "background agent systemd timer daily weekly caches trash purge"},
};

QString text(const char* utf8) {
    return QString::fromUtf8(utf8);
}

// The question before a run: what runs, then, after a blank line, why it is asked.
QString question(const QString& opening, bool destructive, bool admin) {
    QStringList reasons;
    if (destructive)
        reasons << QStringLiteral("It can change or delete data.");
    if (admin)
        reasons << QStringLiteral("This needs administrator rights.");
    return reasons.isEmpty() ? QString() : opening + QStringLiteral("\n\n") + reasons.join(u' ');
}

QString stepTitles(const QStringList& steps) {
    QStringList titles;
    for (const QString& step : steps)
        if (const auto task = findAutomationTask(step))
            titles << task->title;
    return titles.join(u' ');
}

} // namespace

PaletteSources builtInPaletteSources(const OptimizationRegistry& registry) {
    return {registry.allTasks(), automationCatalogue(), {}, builtInProfiles(), {}};
}

QList<PaletteEntry> paletteEntries(const PaletteSources& sources) {
    using S = PaletteSection;
    QList<PaletteEntry> entries;
    for (const PageWords& page : kPageWords)
        entries.append({QStringLiteral("page:") + rawValue(page.category),
                        categoryTitle(page.category), QString(), text(page.keywords), S::entries,
                        rawValue(page.category), QString()});
    for (const PlaceRow& tab : kTabs)
        entries.append({QStringLiteral("tab:") + text(tab.id), text(tab.title), text(tab.detail),
                        text(tab.keywords), S::entries, text(tab.destination), QString()});
    for (const PlaceRow& setting : kSettings)
        entries.append({QStringLiteral("setting:") + text(setting.id), text(setting.title),
                        text(setting.detail), text(setting.keywords), S::settings,
                        text(setting.destination), QString()});

    for (const OptimizationTask& task : sources.maintenanceTasks) {
        const QString key = OptimizationRegistry::key(task);
        if (key.isEmpty())
            continue;
        // What a task deletes or ends is found just before asking (questionWithFindings).
        entries.append(
            {QStringLiteral("task:") + key, task.title, QString(), task.description, S::entries,
             QString(),
             question(QStringLiteral("This runs the task “%1”.").arg(task.title),
                      task.impactLevel == ImpactLevel::highImpact || task.deletesPermanently(),
                      task.requiresSudo)});
    }
    for (const AutomationTask& task : sources.automationTasks)
        entries.append(
            {QStringLiteral("automation:") + task.id, task.title, QString(),
             task.description + QStringLiteral(" automation task"), S::entries, QString(),
             question(QStringLiteral("This runs the automation task “%1”.").arg(task.title),
                      task.isDestructive, task.needsAdmin)});
    for (const AutomationChain& chain : sources.chains)
        entries.append({chainPrefix + chain.id, chain.name, QString(),
                        QStringLiteral("routine automation ") + stepTitles(chain.steps), S::entries,
                        QString(),
                        question(QStringLiteral("This runs the routine “%1”.").arg(chain.name),
                                 hasDestructiveStep(chain.steps), hasAdminStep(chain.steps))});
    for (const AutomationProfile& profile : sources.profiles)
        entries.append({QStringLiteral("profile:") + profile.id, profile.name, profile.blurb,
                        QStringLiteral("profile automation ") + stepTitles(profile.steps),
                        S::entries, QString(),
                        question(QStringLiteral("This runs the profile “%1”.").arg(profile.name),
                                 hasDestructiveStep(profile.steps), hasAdminStep(profile.steps))});
    for (const PaletteCommand& command : sources.commands)
        entries.append({QStringLiteral("command:") + command.id, command.name, command.command,
                        QStringLiteral("custom command shell"), S::entries, QString(),
                        QStringLiteral("This runs your custom command:\n\n") + command.command});
    entries.append({kNewCommandId, QStringLiteral("New Custom Command..."), QString(),
                    QStringLiteral("add custom command shell script alias"), S::entries, QString(),
                    QString()});
    return entries;
}

QString questionWithFindings(const QString& question, const QString& findings) {
    if (findings.isEmpty())
        return question;
    return question.isEmpty() ? findings : question + QStringLiteral("\n\n") + findings;
}

QList<PaletteEntry> builtInPaletteEntries(const OptimizationRegistry& registry) {
    return paletteEntries(builtInPaletteSources(registry));
}

} // namespace velmox
