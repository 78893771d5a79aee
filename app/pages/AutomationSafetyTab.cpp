#include "app/pages/AutomationSafetyTab.h"

#include "app/StatusReporter.h"
#include "app/pages/AutomationEditors.h"
#include "automation/AutomationEngine.h"
#include "automation/AutomationNotifier.h"
#include "automation/AutomationProtection.h"
#include "services/Settings.h"

#include <QCheckBox>
#include <QDir>
#include <QFileDialog>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

namespace velmox {

namespace {

QLabel* note(const QString& text, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setObjectName(QStringLiteral("pageSubtitle"));
    label->setWordWrap(true);
    return label;
}

// A titled list with its empty text and Add... / Remove buttons.
QGroupBox* listBox(const QString& title, QListWidget* list, QLabel* empty, QWidget* parent,
                   const std::function<void()>& add, const std::function<void()>& remove,
                   QLabel* help = nullptr) {
    auto* box = new QGroupBox(title, parent);
    auto* layout = new QVBoxLayout(box);
    list->setMaximumHeight(120);
    layout->addWidget(list);
    layout->addWidget(empty);
    if (help)
        layout->addWidget(help);
    auto* buttons = new QHBoxLayout;
    auto* addButton = new QPushButton(QStringLiteral("Add..."), box);
    auto* removeButton = new QPushButton(QStringLiteral("Remove"), box);
    QObject::connect(addButton, &QPushButton::clicked, box, add);
    QObject::connect(removeButton, &QPushButton::clicked, box, remove);
    buttons->addWidget(addButton);
    buttons->addWidget(removeButton);
    buttons->addStretch(1);
    layout->addLayout(buttons);
    return box;
}

QStringList withoutRow(QStringList items, int row) {
    if (row >= 0 && row < items.size())
        items.removeAt(row);
    return items;
}

} // namespace

AutomationSafetyTab::AutomationSafetyTab(AutomationEngine& engine, Settings& settings,
                                         DesktopNotifier& notifier, QWidget* parent)
    : QWidget(parent), engine_(engine), settings_(settings), notifier_(notifier),
      dryRun_(new QCheckBox(QStringLiteral("Dry Run"), this)), banner_(makeDryRunBanner(this)),
      summary_(new QCheckBox(AutomationSafetyTexts::notifySummaryLabel(), this)),
      failure_(new QCheckBox(AutomationSafetyTexts::notifyFailureLabel(), this)),
      folders_(new QListWidget(this)),
      noFolders_(note(AutomationSafetyTexts::noProtectedFolders(), this)),
      apps_(new QListWidget(this)), noApps_(note(AutomationSafetyTexts::noProtectedApps(), this)),
      reporter_(new StatusReporter(this)) {
    chooseFolders_ = [this] {
        const QString folder = QFileDialog::getExistingDirectory(
            this, AutomationSafetyTexts::protectedFoldersPrompt(), QDir::homePath());
        return folder.isEmpty() ? QStringList() : QStringList{folder};
    };
    chooseApp_ = [this] {
        return QFileDialog::getOpenFileName(this, AutomationSafetyTexts::protectedAppsPrompt(),
                                            QStringLiteral("/usr/share/applications"),
                                            QStringLiteral("Applications (*.desktop)"));
    };

    auto* content = new QWidget;
    auto* layout = new QVBoxLayout(content);
    layout->addWidget(banner_);
    auto* dryRunBox = new QGroupBox(QStringLiteral("Dry Run"), content);
    auto* dryRunLayout = new QVBoxLayout(dryRunBox);
    dryRunLayout->addWidget(dryRun_);
    dryRunLayout->addWidget(note(AutomationSafetyTexts::dryRunLabel(), dryRunBox));
    layout->addWidget(dryRunBox);

    auto* notifyBox = new QGroupBox(QStringLiteral("Notifications"), content);
    auto* notifyLayout = new QVBoxLayout(notifyBox);
    notifyLayout->addWidget(summary_);
    notifyLayout->addWidget(failure_);
    notifyLayout->addWidget(note(AutomationSafetyTexts::notificationsRule(), notifyBox));
    auto* test = new QPushButton(AutomationSafetyTexts::testNotificationButton(), notifyBox);
    notifyLayout->addWidget(test, 0, Qt::AlignLeft);
    layout->addWidget(notifyBox);

    layout->addWidget(listBox(
        AutomationSafetyTexts::protectedFoldersTitle(), folders_, noFolders_, content,
        [this] { addFolders(); }, [this] { removeFolder(); },
        note(AutomationSafetyTexts::protectedFoldersHelp(), content)));
    layout->addWidget(listBox(
        AutomationSafetyTexts::protectedAppsTitle(), apps_, noApps_, content, [this] { addApp(); },
        [this] { removeApp(); }));
    layout->addWidget(reporter_);
    layout->addStretch(1);

    auto* scroll = new QScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setWidget(content);
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->addWidget(scroll);

    connect(dryRun_, &QCheckBox::toggled, this,
            [this](bool on) { setSwitch(AutomationSettingsKeys::dryRun, on); });
    connect(summary_, &QCheckBox::toggled, this,
            [this](bool on) { setSwitch(AutomationSettingsKeys::notifySummary, on); });
    connect(failure_, &QCheckBox::toggled, this,
            [this](bool on) { setSwitch(AutomationSettingsKeys::notifyFailure, on); });
    connect(test, &QPushButton::clicked, this, &AutomationSafetyTab::sendTestNotification);
    connect(&settings_, &Settings::valueChanged, this, [this] { showSettings(); });
    connect(&engine_, &AutomationEngine::changed, this, [this] { showLists(); });
    showSettings();
    showLists();
}

void AutomationSafetyTab::showSettings() {
    const QSignalBlocker blockDryRun(dryRun_);
    const QSignalBlocker blockSummary(summary_);
    const QSignalBlocker blockFailure(failure_);
    // The engine reads the same keys with the same defaults.
    dryRun_->setChecked(settings_.boolValue(AutomationSettingsKeys::dryRun, false));
    summary_->setChecked(settings_.boolValue(AutomationSettingsKeys::notifySummary, false));
    failure_->setChecked(settings_.boolValue(AutomationSettingsKeys::notifyFailure, true));
    banner_->setVisible(dryRun_->isChecked());
}

void AutomationSafetyTab::setSwitch(const QString& key, bool on) {
    if (const Status saved = settings_.setValue(key, on); !saved)
        reporter_->show(saved.error(), false);
    showSettings();
}

void AutomationSafetyTab::showLists() {
    folders_->clear();
    folders_->addItems(engine_.protectedFolders());
    folders_->setVisible(!engine_.protectedFolders().isEmpty());
    noFolders_->setVisible(engine_.protectedFolders().isEmpty());
    apps_->clear();
    apps_->addItems(engine_.protectedBundleIDs());
    apps_->setVisible(!engine_.protectedBundleIDs().isEmpty());
    noApps_->setVisible(engine_.protectedBundleIDs().isEmpty());
}

void AutomationSafetyTab::addFolders() {
    QStringList folders = engine_.protectedFolders();
    for (const QString& chosen : chooseFolders_()) {
        const QString clean = QDir::cleanPath(chosen);
        if (!clean.isEmpty() && !folders.contains(clean))
            folders.append(clean);
    }
    if (folders == engine_.protectedFolders())
        return;
    if (const Status saved = engine_.setProtectedFolders(folders); !saved)
        reporter_->show(saved.error(), false);
}

void AutomationSafetyTab::removeFolder() {
    const QStringList folders = withoutRow(engine_.protectedFolders(), folders_->currentRow());
    if (folders == engine_.protectedFolders())
        return;
    if (const Status saved = engine_.setProtectedFolders(folders); !saved)
        reporter_->show(saved.error(), false);
}

void AutomationSafetyTab::addApp() {
    const QString entry = chooseApp_();
    if (entry.isEmpty())
        return;
    const QString id = appIdFromDesktopEntry(entry);
    if (id.isEmpty()) {
        reporter_->show(AutomationSafetyTexts::noAppId(), false);
        return;
    }
    QStringList ids = engine_.protectedBundleIDs();
    if (ids.contains(id))
        return;
    ids.append(id);
    if (const Status saved = engine_.setProtectedBundleIDs(ids); !saved)
        reporter_->show(saved.error(), false);
    else
        reporter_->clear();
}

void AutomationSafetyTab::removeApp() {
    const QStringList ids = withoutRow(engine_.protectedBundleIDs(), apps_->currentRow());
    if (ids == engine_.protectedBundleIDs())
        return;
    if (const Status saved = engine_.setProtectedBundleIDs(ids); !saved)
        reporter_->show(saved.error(), false);
}

void AutomationSafetyTab::sendTestNotification() {
    reporter_->showWorking(QStringLiteral("Sending a test notification…"));
    notifier_.notifyAndConfirm(
        QStringLiteral("Velmox"), AutomationSafetyTexts::testNotificationBody(), this,
        [this](bool shown) {
            const QString message = shown ? AutomationSafetyTexts::notificationsAllowed()
                                          : AutomationSafetyTexts::notificationsOff();
            reporter_->show(message, shown);
            emit testNotificationAnswered(message);
        });
}

} // namespace velmox
