#include "automation/AutomationModel.h"

#include <QJsonArray>
#include <QLocale>
#include <array>
#include <cmath>

namespace velmox {

namespace {

#ifdef Q_OS_MACOS
const QString kMachine = QStringLiteral("Mac");
const QString kRootVolume = QStringLiteral("startup volume");
#else
const QString kMachine = QStringLiteral("computer");
const QString kRootVolume = QStringLiteral("root file system");
#endif

struct ConditionRow {
    AutomationCondition condition;
    const char* raw;
};

constexpr std::array<ConditionRow, 6> kConditions{{
    {AutomationCondition::diskFreeBelowGB, "diskFreeBelowGB"},
    {AutomationCondition::memoryAbovePercent, "memoryAbovePercent"},
    {AutomationCondition::cpuTempAbove, "cpuTempAbove"},
    {AutomationCondition::batteryBelowPercent, "batteryBelowPercent"},
    {AutomationCondition::onWake, "onWake"},
    {AutomationCondition::onLaunch, "onLaunch"},
}};

QStringList stringList(const QJsonValue& value) {
    QStringList list;
    for (const QJsonValue& item : value.toArray())
        if (item.isString())
            list.append(item.toString());
    return list;
}

std::optional<QDateTime> optionalDate(const QJsonObject& object, const QString& key) {
    return dateFromIso(object.value(key).toString());
}

int intValue(const QJsonObject& object, const QString& key, int fallback) {
    const QJsonValue value = object.value(key);
    return value.isDouble() ? value.toInt(fallback) : fallback;
}

// A number from 0 to `max`; `fallback` when the key holds none.
double boundedNumber(const QJsonObject& object, const QString& key, double fallback, double max) {
    const double value = object.value(key).toDouble(fallback);
    return qBound(0.0, std::isnan(value) ? fallback : value, max);
}

bool boolValue(const QJsonObject& object, const QString& key, bool fallback) {
    const QJsonValue value = object.value(key);
    return value.isBool() ? value.toBool() : fallback;
}

QString stringValue(const QJsonObject& object, const QString& key, const QString& fallback) {
    const QJsonValue value = object.value(key);
    return value.isString() ? value.toString() : fallback;
}

template <typename T, typename Decode>
QList<T> listFromJson(const QJsonValue& value, Decode decode) {
    QList<T> list;
    for (const QJsonValue& item : value.toArray())
        if (auto decoded = decode(item.toObject()))
            list.append(*decoded);
    return list;
}

template <typename T> QJsonArray arrayOf(const QList<T>& items) {
    QJsonArray array;
    for (const T& item : items)
        array.append(toJson(item));
    return array;
}

void putDate(QJsonObject& object, const std::optional<QDateTime>& date) {
    if (date)
        object.insert(QStringLiteral("lastRun"), isoDate(*date));
}

} // namespace

QList<AutomationCondition> allAutomationConditions() {
    QList<AutomationCondition> all;
    for (const ConditionRow& row : kConditions)
        all.append(row.condition);
    return all;
}

QString rawValue(AutomationCondition condition) {
    return QString::fromLatin1(kConditions.at(static_cast<std::size_t>(condition)).raw);
}

std::optional<AutomationCondition> automationConditionFromRaw(const QString& raw) {
    for (const ConditionRow& row : kConditions)
        if (raw == QLatin1String(row.raw))
            return row.condition;
    return std::nullopt;
}

QString editorLabel(AutomationCondition condition) {
    switch (condition) {
    case AutomationCondition::diskFreeBelowGB:
        return QStringLiteral("Free disk space (%1) is below").arg(kRootVolume);
    case AutomationCondition::memoryAbovePercent:
        return QStringLiteral("Memory pressure is above");
    case AutomationCondition::cpuTempAbove:
        return QStringLiteral("CPU temperature is above");
    case AutomationCondition::batteryBelowPercent:
        return QStringLiteral("Battery level is below");
    case AutomationCondition::onWake:
        return QStringLiteral("The %1 wakes from sleep").arg(kMachine);
    case AutomationCondition::onLaunch:
        return QStringLiteral("Velmox starts (login or app launch)");
    }
    return {};
}

QString sentenceFragment(AutomationCondition condition) {
    switch (condition) {
    case AutomationCondition::diskFreeBelowGB:
        return QStringLiteral("free disk space is below");
    case AutomationCondition::memoryAbovePercent:
        return QStringLiteral("memory pressure is above");
    case AutomationCondition::cpuTempAbove:
        return QStringLiteral("the CPU temperature is above");
    case AutomationCondition::batteryBelowPercent:
        return QStringLiteral("the battery level is below");
    case AutomationCondition::onWake:
        return QStringLiteral("the %1 wakes from sleep").arg(kMachine);
    case AutomationCondition::onLaunch:
        return {};
    }
    return {};
}

QString helpText(AutomationCondition condition) {
    switch (condition) {
    case AutomationCondition::memoryAbovePercent:
#ifdef Q_OS_MACOS
        return QStringLiteral("Same measure as the Memory card on the Dashboard: app + wired + "
                              "compressed memory as a share of installed RAM.");
#else
        return QStringLiteral("Same measure as the Memory card on the Dashboard: app + kernel + "
                              "zswap memory (all but the available memory) as a share of "
                              "installed RAM.");
#endif
    case AutomationCondition::cpuTempAbove:
#ifdef Q_OS_MACOS
        return QStringLiteral("Uses the CPU sensor from Fan & Temperature (always in degrees "
                              "Celsius here). Macs without a readable sensor never trigger this "
                              "rule.");
#else
        return QStringLiteral("Uses the CPU sensor from Fan & Temperature (always in degrees "
                              "Celsius here). Computers without a readable sensor never trigger "
                              "this rule.");
#endif
    default:
        return {};
    }
}

bool isEvent(AutomationCondition condition) {
    return condition == AutomationCondition::onWake || condition == AutomationCondition::onLaunch;
}

double maxThreshold(AutomationCondition condition) {
    switch (condition) {
    case AutomationCondition::diskFreeBelowGB:
        return 100000;
    case AutomationCondition::cpuTempAbove:
        return 150;
    case AutomationCondition::memoryAbovePercent:
    case AutomationCondition::batteryBelowPercent:
        return 100;
    case AutomationCondition::onWake:
    case AutomationCondition::onLaunch:
        return 0;
    }
    return 0;
}

QString rawValue(AutomationScheduleKind kind) {
    switch (kind) {
    case AutomationScheduleKind::off:
        return QStringLiteral("off");
    case AutomationScheduleKind::daily:
        return QStringLiteral("daily");
    case AutomationScheduleKind::weekly:
        return QStringLiteral("weekly");
    }
    return {};
}

std::optional<AutomationScheduleKind> automationScheduleKindFromRaw(const QString& raw) {
    for (auto kind : {AutomationScheduleKind::off, AutomationScheduleKind::daily,
                      AutomationScheduleKind::weekly})
        if (rawValue(kind) == raw)
            return kind;
    return std::nullopt;
}

QString summary(const AutomationSchedulePlan& plan) {
    const QLocale locale;
    const QString time = locale.toString(QTime(plan.hour, plan.minute), QLocale::ShortFormat);
    switch (plan.kind) {
    case AutomationScheduleKind::off:
        return QStringLiteral("Off");
    case AutomationScheduleKind::daily:
        return QStringLiteral("Daily at %1").arg(time);
    case AutomationScheduleKind::weekly: {
        // 1 = Sunday in the plan, 7 = Sunday for QLocale.
        const int qtDay = plan.weekday == 1 ? 7 : plan.weekday - 1;
        return QStringLiteral("Weekly on %1 at %2")
            .arg(locale.dayName(qBound(1, qtDay, 7), QLocale::LongFormat), time);
    }
    }
    return {};
}

QString cooldownSummary(const AutomationRule& rule) {
    QString text = QStringLiteral("%1 min between runs").arg(rule.effectiveCooldownMinutes());
    if (rule.onlyOnAC)
        text += QStringLiteral(", only on AC power");
    return text;
}

QString onlyOnACToggleLabel() {
    return QStringLiteral("Only when on AC power");
}

QString noStepsText() {
    return QStringLiteral("No steps yet. Add at least one.");
}

QString destructiveProfileNote() {
    return QStringLiteral("Includes a step that permanently deletes data.");
}

QString customScheduleEnabledLabel() {
    return QStringLiteral("Enable custom schedule");
}

QString onlyWhenIdleLabel() {
    return QStringLiteral("Only when idle (no keyboard or mouse input for 5 minutes)");
}

QString onlyOnACLabel() {
    return QStringLiteral("Only on AC power");
}

std::optional<QDateTime> dateFromIso(const QString& text) {
    if (text.isEmpty())
        return std::nullopt;
    QDateTime date = QDateTime::fromString(text, Qt::ISODateWithMs);
    if (!date.isValid())
        return std::nullopt;
    // Kept in UTC: comparing is then cheap; isoDate writes local time again.
    return date.toUTC();
}

QJsonObject toJson(const AutomationSchedulePlan& plan) {
    QJsonObject object{{QStringLiteral("kind"), rawValue(plan.kind)},
                       {QStringLiteral("hour"), plan.hour},
                       {QStringLiteral("minute"), plan.minute},
                       {QStringLiteral("weekday"), plan.weekday}};
    putDate(object, plan.lastRun);
    return object;
}

QJsonObject toJson(const AutomationRule& rule) {
    QJsonObject object{{QStringLiteral("id"), rule.id},
                       {QStringLiteral("name"), rule.name},
                       {QStringLiteral("enabled"), rule.enabled},
                       {QStringLiteral("condition"), rawValue(rule.condition)},
                       {QStringLiteral("threshold"), rule.threshold},
                       {QStringLiteral("actionId"), rule.actionId},
                       {QStringLiteral("cooldownMinutes"), rule.cooldownMinutes},
                       {QStringLiteral("onlyOnAC"), rule.onlyOnAC}};
    putDate(object, rule.lastRun);
    return object;
}

QJsonObject toJson(const AutomationChain& chain) {
    return {{QStringLiteral("id"), chain.id},
            {QStringLiteral("name"), chain.name},
            {QStringLiteral("steps"), QJsonArray::fromStringList(chain.steps)},
            {QStringLiteral("plan"), toJson(chain.plan)}};
}

QJsonObject toJson(const AutomationProfile& profile) {
    return {{QStringLiteral("id"), profile.id},
            {QStringLiteral("name"), profile.name},
            {QStringLiteral("icon"), profile.icon},
            {QStringLiteral("blurb"), profile.blurb},
            {QStringLiteral("steps"), QJsonArray::fromStringList(profile.steps)},
            {QStringLiteral("isBuiltIn"), profile.isBuiltIn}};
}

QJsonObject toJson(const AutomationCustomSchedule& schedule) {
    return {{QStringLiteral("enabled"), schedule.enabled},
            {QStringLiteral("plan"), toJson(schedule.plan)},
            {QStringLiteral("target"), schedule.target},
            {QStringLiteral("onlyWhenIdle"), schedule.onlyWhenIdle},
            {QStringLiteral("onlyOnAC"), schedule.onlyOnAC}};
}

QJsonObject toJson(const AutomationStoreData& data) {
    QJsonObject object{
        {QStringLiteral("rules"), arrayOf(data.rules)},
        {QStringLiteral("chains"), arrayOf(data.chains)},
        {QStringLiteral("profiles"), arrayOf(data.profiles)},
        {QStringLiteral("protectedFolders"), QJsonArray::fromStringList(data.protectedFolders)},
        {QStringLiteral("protectedBundleIDs"), QJsonArray::fromStringList(data.protectedBundleIDs)},
        {QStringLiteral("customSchedule"), toJson(data.customSchedule)}};
    if (!data.agent.isEmpty())
        object.insert(QStringLiteral("agent"), data.agent);
    return object;
}

AutomationSchedulePlan planFromJson(const QJsonObject& object,
                                    const AutomationSchedulePlan& defaults) {
    AutomationSchedulePlan plan = defaults;
    plan.kind = automationScheduleKindFromRaw(object.value(QStringLiteral("kind")).toString())
                    .value_or(defaults.kind);
    plan.hour = qBound(0, intValue(object, QStringLiteral("hour"), defaults.hour), 23);
    plan.minute = qBound(0, intValue(object, QStringLiteral("minute"), defaults.minute), 59);
    plan.weekday = qBound(1, intValue(object, QStringLiteral("weekday"), defaults.weekday), 7);
    plan.lastRun = optionalDate(object, QStringLiteral("lastRun"));
    return plan;
}

std::optional<AutomationRule> ruleFromJson(const QJsonObject& object) {
    AutomationRule rule;
    rule.id = object.value(QStringLiteral("id")).toString();
    const auto condition =
        automationConditionFromRaw(object.value(QStringLiteral("condition")).toString());
    if (rule.id.isEmpty() || !condition)
        return std::nullopt;
    rule.condition = *condition;
    rule.name = stringValue(object, QStringLiteral("name"), rule.name);
    rule.enabled = boolValue(object, QStringLiteral("enabled"), rule.enabled);
    // Numbers out of range (edited by hand, or by another program) are brought into it, as the
    // editor would: nothing shows or compares a negative threshold or cooldown.
    rule.threshold = boundedNumber(object, QStringLiteral("threshold"), rule.threshold,
                                   maxThreshold(*condition));
    rule.actionId = stringValue(object, QStringLiteral("actionId"), rule.actionId);
    rule.cooldownMinutes =
        int(boundedNumber(object, QStringLiteral("cooldownMinutes"), rule.cooldownMinutes,
                          AutomationRule::kMaxCooldownMinutes));
    rule.onlyOnAC = boolValue(object, QStringLiteral("onlyOnAC"), rule.onlyOnAC);
    rule.lastRun = optionalDate(object, QStringLiteral("lastRun"));
    return rule;
}

std::optional<AutomationChain> chainFromJson(const QJsonObject& object) {
    AutomationChain chain;
    chain.id = object.value(QStringLiteral("id")).toString();
    if (chain.id.isEmpty())
        return std::nullopt;
    chain.name = stringValue(object, QStringLiteral("name"), chain.name);
    chain.steps = stringList(object.value(QStringLiteral("steps")));
    chain.plan = planFromJson(object.value(QStringLiteral("plan")).toObject(), chain.plan);
    return chain;
}

std::optional<AutomationProfile> profileFromJson(const QJsonObject& object) {
    AutomationProfile profile;
    profile.id = object.value(QStringLiteral("id")).toString();
    if (profile.id.isEmpty())
        return std::nullopt;
    profile.name = stringValue(object, QStringLiteral("name"), profile.name);
    profile.icon = stringValue(object, QStringLiteral("icon"), profile.icon);
    profile.blurb = stringValue(object, QStringLiteral("blurb"), profile.blurb);
    profile.steps = stringList(object.value(QStringLiteral("steps")));
    return profile;
}

AutomationCustomSchedule customScheduleFromJson(const QJsonObject& object) {
    AutomationCustomSchedule schedule;
    schedule.enabled = boolValue(object, QStringLiteral("enabled"), schedule.enabled);
    schedule.plan = planFromJson(object.value(QStringLiteral("plan")).toObject(), schedule.plan);
    schedule.target = stringValue(object, QStringLiteral("target"), schedule.target);
    schedule.onlyWhenIdle =
        boolValue(object, QStringLiteral("onlyWhenIdle"), schedule.onlyWhenIdle);
    schedule.onlyOnAC = boolValue(object, QStringLiteral("onlyOnAC"), schedule.onlyOnAC);
    return schedule;
}

AutomationStoreData storeDataFromJson(const QJsonObject& object) {
    AutomationStoreData data;
    data.rules = listFromJson<AutomationRule>(object.value(QStringLiteral("rules")), ruleFromJson);
    data.chains =
        listFromJson<AutomationChain>(object.value(QStringLiteral("chains")), chainFromJson);
    // Built-in profiles are never stored; one that is found here was not written by us.
    for (const AutomationProfile& profile :
         listFromJson<AutomationProfile>(object.value(QStringLiteral("profiles")), profileFromJson))
        if (!profile.id.startsWith(QLatin1String("builtin.")))
            data.profiles.append(profile);
    data.protectedFolders = stringList(object.value(QStringLiteral("protectedFolders")));
    data.protectedBundleIDs = stringList(object.value(QStringLiteral("protectedBundleIDs")));
    data.customSchedule =
        customScheduleFromJson(object.value(QStringLiteral("customSchedule")).toObject());
    data.agent = object.value(QStringLiteral("agent")).toObject();
    return data;
}

QString AutomationSafetyTexts::dryRunLabel() {
    return QStringLiteral("When on, tasks only report what they would do and how much space they "
                          "would free. Nothing is deleted or changed.");
}

QString AutomationSafetyTexts::dryRunBanner() {
    return QStringLiteral("Tasks only report what they would do. Nothing is changed or deleted. "
                          "Turn it off in Automation.");
}

QString AutomationSafetyTexts::notifySummaryLabel() {
    return QStringLiteral("Summary after each automated run");
}

QString AutomationSafetyTexts::notifyFailureLabel() {
    return QStringLiteral("Warn when a run fails or needs the administrator password");
}

QString AutomationSafetyTexts::protectedFoldersTitle() {
    return QStringLiteral("Protected Folders");
}

QString AutomationSafetyTexts::noProtectedFolders() {
    return QStringLiteral("No protected folders.");
}

QString AutomationSafetyTexts::protectedFoldersPrompt() {
    return QStringLiteral("Choose folders that automation must never touch.");
}

QString AutomationSafetyTexts::protectedFoldersHelp() {
    return QStringLiteral(
        "Automation never touches these folders, or anything inside or above them.");
}

// Linux names an application by its desktop entry id (org.gnome.Nautilus), which plays the
// part of the bundle identifier.
QString AutomationSafetyTexts::protectedAppsTitle() {
#ifdef Q_OS_MACOS
    return QStringLiteral("Protected Apps (Bundle IDs)");
#else
    return QStringLiteral("Protected Apps (App IDs)");
#endif
}

QString AutomationSafetyTexts::noProtectedApps() {
    return QStringLiteral("No protected apps.");
}

QString AutomationSafetyTexts::protectedAppsPrompt() {
    return QStringLiteral("Choose an app whose caches automation must never clean.");
}

QString AutomationSafetyTexts::noAppId() {
#ifdef Q_OS_MACOS
    return QStringLiteral("Couldn't read a bundle ID from that app.");
#else
    return QStringLiteral("Couldn't read an app ID from that app.");
#endif
}

QString AutomationSafetyTexts::notificationsRule() {
    return QStringLiteral("Only runs started by rules or the schedule notify you. Things you start "
                          "yourself never do.");
}

QString AutomationSafetyTexts::testNotificationButton() {
    return QStringLiteral("Send Test Notification");
}

QString AutomationSafetyTexts::testNotificationBody() {
    return QStringLiteral("Power Users notifications are working.");
}

// Without a notification server on the session bus nothing can be shown.
QString AutomationSafetyTexts::notificationsOff() {
#ifdef Q_OS_MACOS
    return QStringLiteral(
        "Notifications are off for Velmox. Allow them in System Settings > Notifications.");
#else
    return QStringLiteral("Notifications are off for Velmox. Start or allow the desktop's "
                          "notification service in its Settings > Notifications.");
#endif
}

QString AutomationSafetyTexts::notificationsAllowed() {
    return QStringLiteral("Notifications are allowed.");
}

QString AutomationSafetyTexts::rulesHelp() {
    return QStringLiteral("A rule runs a task or routine when its condition is met. After it runs, "
                          "it waits for its "
                          "cooldown. Rules are checked every minute while Velmox is running. "
                          "Unattended runs never "
                          "ask for a password; tasks that need one use the password saved in %1.")
        .arg(QStringLiteral("Settings > Access"));
}

} // namespace velmox
