#pragma once

#include "automation/AutomationModel.h"

#include <QList>
#include <QString>
#include <optional>

namespace velmox {

// One task of the fixed catalogue that rules, routines, profiles and the schedule name by id.
struct AutomationTask {
    QString id;
    QString title;
    QString icon;
    bool needsAdmin = false;
    bool isDestructive = false;
    QString description;
    // What a dry run reports; empty when it depends on what is measured at the time.
    QString dryRunMessage;
    bool operator==(const AutomationTask&) const = default;
};

// The tables of both systems, in catalogue order; automationCatalogue() is this system's.
const QList<AutomationTask>& macAutomationCatalogue();
const QList<AutomationTask>& linuxAutomationCatalogue();
const QList<AutomationTask>& automationCatalogue();
std::optional<AutomationTask> findAutomationTask(const QString& id);

// The failure of an administrator task when no password is saved and Velmox is not root.
QString needsAdminPasswordMessage();

// Always listed before the user's own profiles.
const QList<AutomationProfile>& builtInProfiles();
// True when a step of the list permanently deletes data.
bool hasDestructiveStep(const QStringList& steps);
// True when a step needs administrator rights.
bool hasAdminStep(const QStringList& steps);
// Why a run of `steps` must be confirmed first ("“Empty Trash” permanently deletes data and
// needs administrator rights."); empty when nothing calls for a confirmation.
QString runCaution(const QString& title, const QStringList& steps);

inline const QString chainPrefix = QStringLiteral("chain:");
// An entry of the action pickers: a task (id, title) or a routine ("chain:" + id,
// "Routine: " + name).
struct AutomationActionChoice {
    QString actionId;
    QString title;
    bool operator==(const AutomationActionChoice&) const = default;
};
QList<AutomationActionChoice> actionChoices(const QList<AutomationChain>& chains);
// The task title, "Routine: <name>" or "Missing routine"; an unknown task id is shown as is.
QString actionTitle(const QString& actionId, const QList<AutomationChain>& chains);

// The tray's quick buttons.
enum class QuickAction { emptyTrash, flushDNS, purgeRAM };
QList<QuickAction> allQuickActions();
QString rawValue(QuickAction action);
AutomationTask quickActionTask(QuickAction action);

} // namespace velmox
