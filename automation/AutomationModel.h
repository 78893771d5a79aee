#pragma once

#include "services/ShownText.h"

#include <QDateTime>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>
#include <optional>

namespace velmox {

// What a rule measures or waits for. The order of the cases is the order of the editor's
// picker.
enum class AutomationCondition {
    diskFreeBelowGB,
    memoryAbovePercent,
    cpuTempAbove,
    batteryBelowPercent,
    onWake,
    onLaunch,
};

QList<AutomationCondition> allAutomationConditions();
QString rawValue(AutomationCondition condition);
std::optional<AutomationCondition> automationConditionFromRaw(const QString& raw);
QString editorLabel(AutomationCondition condition);
// The words a rule summary uses ("free disk space is below"); empty for onLaunch.
QString sentenceFragment(AutomationCondition condition);
// Shown under the threshold field; empty when the condition has none.
QString helpText(AutomationCondition condition);
// True for the events, which have no threshold.
bool isEvent(AutomationCondition condition);
// The largest threshold a rule on `condition` can have, in its unit (GB, percent or degrees
// Celsius); 0 for the events. The smallest is 0.
double maxThreshold(AutomationCondition condition);

enum class AutomationScheduleKind { off, daily, weekly };

QString rawValue(AutomationScheduleKind kind);
std::optional<AutomationScheduleKind> automationScheduleKindFromRaw(const QString& raw);

// When something runs by the clock, on the local calendar.
struct AutomationSchedulePlan {
    AutomationScheduleKind kind = AutomationScheduleKind::off;
    int hour = 0;
    int minute = 0;
    int weekday = 1; // weekly only: 1 = Sunday ... 7 = Saturday
    std::optional<QDateTime> lastRun;
    bool operator==(const AutomationSchedulePlan&) const = default;
};

// "Weekly on Monday at 03:00", "Daily at 03:00", "Off".
QString summary(const AutomationSchedulePlan& plan);

struct AutomationRule {
    QString id;
    QString name;
    bool enabled = true;
    AutomationCondition condition = AutomationCondition::diskFreeBelowGB;
    double threshold = 0.0;
    QString actionId;
    int cooldownMinutes = 60;
    bool onlyOnAC = false;
    std::optional<QDateTime> lastRun;
    bool operator==(const AutomationRule&) const = default;

    // The longest cooldown a rule can have: one week.
    static constexpr int kMaxCooldownMinutes = 7 * 24 * 60;
    // Negative cooldowns count as none.
    int effectiveCooldownMinutes() const { return cooldownMinutes < 0 ? 0 : cooldownMinutes; }
};

// "30 min between runs", with ", only on AC power" when that is set.
QString cooldownSummary(const AutomationRule& rule);
QString onlyOnACToggleLabel();

// A routine: task ids run in order, by hand, from rules or on its own plan.
struct AutomationChain {
    QString id;
    QString name;
    QStringList steps;
    AutomationSchedulePlan plan;
    bool operator==(const AutomationChain&) const = default;
};

QString noStepsText();

struct AutomationProfile {
    QString id;
    QString name;
    QString icon;
    QString blurb;
    QStringList steps;
    bool isBuiltIn = false;
    bool operator==(const AutomationProfile&) const = default;
};

QString destructiveProfileNote();

struct AutomationCustomSchedule {
    bool enabled = false;
    AutomationSchedulePlan plan{AutomationScheduleKind::daily, 3, 0, 2, std::nullopt};
    QString target = QStringLiteral("cleanUserCaches");
    bool onlyWhenIdle = false;
    bool onlyOnAC = false;
    bool operator==(const AutomationCustomSchedule&) const = default;
};

QString customScheduleEnabledLabel();
QString onlyWhenIdleLabel();
QString onlyOnACLabel();

// Everything the automation store keeps. `agent` is the background agent's state, kept as
// its owner wrote it.
struct AutomationStoreData {
    QList<AutomationRule> rules;
    QList<AutomationChain> chains;
    QList<AutomationProfile> profiles; // the user's own; built-in ones are never stored
    QStringList protectedFolders;
    QStringList protectedBundleIDs;
    AutomationCustomSchedule customSchedule;
    QJsonObject agent;
    bool operator==(const AutomationStoreData&) const = default;
};

// Dates are ISO 8601 text with the local offset, to the second (isoDate); this reads any
// ISO 8601 form.
std::optional<QDateTime> dateFromIso(const QString& text);

QJsonObject toJson(const AutomationSchedulePlan& plan);
QJsonObject toJson(const AutomationRule& rule);
QJsonObject toJson(const AutomationChain& chain);
QJsonObject toJson(const AutomationProfile& profile);
QJsonObject toJson(const AutomationCustomSchedule& schedule);
QJsonObject toJson(const AutomationStoreData& data);

// Tolerant decoding: a missing or mistyped key takes its default. A record that cannot be
// told apart from others (no id) or names a condition this version does not know is left
// out; the file keeps it until the next save.
AutomationSchedulePlan planFromJson(const QJsonObject& object,
                                    const AutomationSchedulePlan& defaults);
std::optional<AutomationRule> ruleFromJson(const QJsonObject& object);
std::optional<AutomationChain> chainFromJson(const QJsonObject& object);
std::optional<AutomationProfile> profileFromJson(const QJsonObject& object);
AutomationCustomSchedule customScheduleFromJson(const QJsonObject& object);
AutomationStoreData storeDataFromJson(const QJsonObject& object);

// The user-defaults switches that belong to automation.
struct AutomationSettingsKeys {
    static inline const QString dryRun = QStringLiteral("automationDryRun");
    static inline const QString notifySummary = QStringLiteral("automationNotifySummary");
    static inline const QString notifyFailure = QStringLiteral("automationNotifyFailure");
    static inline const QString undoneEntryIDs = QStringLiteral("automationUndoneEntryIDs");
};

// Labels and texts of the safety settings.
struct AutomationSafetyTexts {
    static QString dryRunLabel();
    static QString dryRunBanner();
    static QString notifySummaryLabel();
    static QString notifyFailureLabel();
    static QString protectedFoldersTitle();
    static QString noProtectedFolders();
    static QString protectedFoldersPrompt();
    static QString protectedFoldersHelp();
    static QString protectedAppsTitle();
    static QString noProtectedApps();
    static QString protectedAppsPrompt();
    static QString noAppId();
    static QString notificationsRule();
    static QString testNotificationButton();
    static QString testNotificationBody();
    static QString notificationsOff();
    static QString notificationsAllowed();
    static QString rulesHelp();
};

} // namespace velmox
