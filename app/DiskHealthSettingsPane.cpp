#include "app/DiskHealthSettingsPane.h"

#include "app/SettingsPaneParts.h"
#include "app/StatusReporter.h"
#include "diskhealth/DiskHealthMonitor.h"
#include "services/Settings.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QSignalBlocker>
#include <QVBoxLayout>

namespace velmox {

DiskHealthSettingsPane::DiskHealthSettingsPane(Settings& settings, DiskHealthMonitor& monitor,
                                               QWidget* parent)
    : QWidget(parent), settings_(settings), monitor_(monitor),
      enabled_(new QCheckBox(QStringLiteral("Check the health of my disks in the background"))),
      interval_(new QComboBox), notify_(new QCheckBox(QStringLiteral("Send notifications"))),
      level_(new QComboBox),
      recovery_(new QCheckBox(QStringLiteral("Also notify when a disk gets better"))),
      lastChecked_(new QLabel), check_(new QPushButton(QStringLiteral("Check now"))),
      reporter_(new StatusReporter) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(24, 20, 24, 20);
    layout->setSpacing(8);

    layout->addWidget(enabled_);
    layout->addWidget(
        makeSettingsNote(QStringLiteral("Velmox reads the S.M.A.R.T. values of every disk and "
                                        "grades them while it runs.")));
    auto* intervalForm = new QFormLayout;
    for (int minutes : DiskHealthMonitor::intervalChoices())
        interval_->addItem(DiskHealthMonitor::intervalTitle(minutes), minutes);
    intervalForm->addRow(QStringLiteral("Check every:"), interval_);
    layout->addLayout(intervalForm);
    layout->addSpacing(10);

    layout->addWidget(notify_);
    auto* notifyForm = new QFormLayout;
    level_->addItem(QStringLiteral("Warnings and serious problems"), QStringLiteral("warning"));
    level_->addItem(QStringLiteral("Serious problems only"), QStringLiteral("critical"));
    notifyForm->addRow(QStringLiteral("Notify about:"), level_);
    layout->addLayout(notifyForm);
    layout->addWidget(recovery_);
    layout->addSpacing(10);

    auto* checkRow = new QHBoxLayout;
    checkRow->addWidget(lastChecked_, 1);
    checkRow->addWidget(check_);
    layout->addLayout(checkRow);
    layout->addWidget(reporter_);
    layout->addStretch(1);
    showSettings();
    showMonitorState();

    connect(enabled_, &QCheckBox::toggled, this, [this](bool on) {
        save(DiskHealthMonitor::kEnabledKey, on);
        enableChoices();
    });
    connect(interval_, &QComboBox::currentIndexChanged, this, [this](int index) {
        save(DiskHealthMonitor::kMinutesKey, interval_->itemData(index));
    });
    connect(notify_, &QCheckBox::toggled, this, [this](bool on) {
        save(DiskHealthMonitor::kNotifyKey, on);
        enableChoices();
    });
    connect(level_, &QComboBox::currentIndexChanged, this, [this](int index) {
        save(DiskHealthMonitor::kNotifyLevelKey, level_->itemData(index));
    });
    connect(recovery_, &QCheckBox::toggled, this,
            [this](bool on) { save(DiskHealthMonitor::kNotifyRecoveryKey, on); });
    connect(check_, &QPushButton::clicked, &monitor_, &DiskHealthMonitor::checkNow);
    connect(&monitor_, &DiskHealthMonitor::checkingChanged, this,
            &DiskHealthSettingsPane::showMonitorState);
    // The command palette and other windows change these settings too.
    connect(&settings_, &Settings::valueChanged, this, [this](const QString& key) {
        if (key.startsWith(QLatin1String("diskHealth")))
            showSettings();
    });
}

void DiskHealthSettingsPane::showSettings() {
    const QSignalBlocker enabled(enabled_), interval(interval_), notify(notify_), level(level_),
        recovery(recovery_);
    enabled_->setChecked(settings_.boolValue(DiskHealthMonitor::kEnabledKey, true));
    const int minutes = DiskHealthMonitor::intervalMinutes(settings_);
    if (interval_->findData(minutes) < 0)
        interval_->addItem(DiskHealthMonitor::intervalTitle(minutes), minutes);
    interval_->setCurrentIndex(interval_->findData(minutes));
    notify_->setChecked(settings_.boolValue(DiskHealthMonitor::kNotifyKey, true));
    level_->setCurrentIndex(DiskHealthMonitor::notifyLevel(settings_) == HealthGrade::critical ? 1
                                                                                               : 0);
    recovery_->setChecked(settings_.boolValue(DiskHealthMonitor::kNotifyRecoveryKey, false));
    enableChoices();
}

void DiskHealthSettingsPane::save(const QString& key, const QVariant& value) {
    if (const Status saved = settings_.setValue(key, value); !saved)
        reporter_->show(saved.error(), false);
    else
        reporter_->clear();
}

void DiskHealthSettingsPane::enableChoices() {
    interval_->setEnabled(enabled_->isChecked());
    level_->setEnabled(notify_->isChecked());
    recovery_->setEnabled(notify_->isChecked());
}

void DiskHealthSettingsPane::showMonitorState() {
    const bool checking = monitor_.isChecking();
    check_->setEnabled(!checking);
    check_->setText(checking ? QStringLiteral("Checking...") : QStringLiteral("Check now"));
    const QDateTime last = monitor_.lastChecked();
    lastChecked_->setText(last.isValid() ? QStringLiteral("Last checked ") +
                                               QLocale().toString(last, QLocale::ShortFormat)
                                         : QStringLiteral("Not checked yet"));
}

} // namespace velmox
