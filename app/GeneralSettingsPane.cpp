#include "app/GeneralSettingsPane.h"

#include "app/AppServices.h"
#include "app/Appearance.h"
#include "app/LaunchAtLogin.h"
#include "app/SettingsPaneParts.h"
#include "app/StatusReporter.h"
#include "app/TrayFigure.h"
#include "app/WeeklyAutoClean.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QLabel>
#include <QVBoxLayout>

namespace velmox {

namespace {

const QString kShowTrayIconKey = QStringLiteral("showMenuBarIcon");

} // namespace

GeneralSettingsPane::GeneralSettingsPane(AppServices& services, QString executable, QWidget* parent)
    : QWidget(parent), services_(services), executable_(std::move(executable)),
      trayIcon_(new QCheckBox(QStringLiteral("Show Velmox in the system tray"))),
      trayFigure_(new QComboBox), appearance_(new QComboBox),
      launchAtLogin_(new QCheckBox(QStringLiteral("Open Velmox at "
                                                  "login"))),
      autoClean_(new QCheckBox(QStringLiteral("Clean user caches automatically every week"))),
      reporter_(new StatusReporter) {
    Settings& settings = services_.settings();
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(24, 20, 24, 20);
    layout->setSpacing(8);

    trayIcon_->setChecked(settings.boolValue(kShowTrayIconKey, true));
    layout->addWidget(trayIcon_);
    layout->addWidget(
        makeSettingsNote(QStringLiteral("With the icon on, closing the window keeps Velmox "
                                        "running in the tray.")));
    layout->addSpacing(10);

    auto* form = new QFormLayout;
    for (TrayFigure figure : allTrayFigures())
        trayFigure_->addItem(trayFigureLabel(figure), rawValue(figure));
    trayFigure_->setCurrentIndex(
        trayFigure_->findData(rawValue(trayFigureFromRaw(settings.stringValue(kTrayFigureKey)))));
    trayFigure_->setEnabled(trayIcon_->isChecked());
    form->addRow(QStringLiteral("Tray icon shows:"), trayFigure_);
    appearance_->addItem(QStringLiteral("Dark"), QStringLiteral("dark"));
    appearance_->addItem(QStringLiteral("Light"), QStringLiteral("light"));
    appearance_->setCurrentIndex(
        appearanceFromRaw(settings.stringValue(kAppearanceKey)) == Appearance::light ? 1 : 0);
    form->addRow(QStringLiteral("Appearance:"), appearance_);
    layout->addLayout(form);
    layout->addSpacing(10);

    launchAtLogin_->setChecked(LaunchAtLogin::isEnabled());
    layout->addWidget(launchAtLogin_);
    layout->addWidget(
        makeSettingsNote(QStringLiteral("Started at login, Velmox waits in the tray without "
                                        "opening its window.")));
    layout->addSpacing(10);

    autoClean_->setChecked(settings.boolValue(WeeklyAutoClean::kEnabledKey, false));
    layout->addWidget(autoClean_);
    layout->addWidget(
        makeSettingsNote(QStringLiteral("Runs the User Cache Cleaner once every 7 days.")));
    layout->addSpacing(10);
    layout->addWidget(reporter_);
    layout->addStretch(1);

    connect(trayIcon_, &QCheckBox::toggled, this, [this](bool on) {
        save(kShowTrayIconKey, on);
        services_.notifications().postToggleMenuBarIcon();
    });
    connect(trayIcon_, &QCheckBox::toggled, trayFigure_, &QComboBox::setEnabled);
    connect(trayFigure_, &QComboBox::currentIndexChanged, this, [this](int index) {
        save(kTrayFigureKey, trayFigure_->itemData(index));
    });
    connect(appearance_, &QComboBox::currentIndexChanged, this, [this](int index) {
        save(kAppearanceKey, appearance_->itemData(index));
    });
    connect(launchAtLogin_, &QCheckBox::toggled, this, &GeneralSettingsPane::setLaunchAtLogin);
    connect(autoClean_, &QCheckBox::toggled, this,
            [this](bool on) { save(WeeklyAutoClean::kEnabledKey, on); });
    // The tray can switch the icon back on by itself (see AppDelegate), and the window's
    // Appearance menu changes the appearance too.
    connect(&settings, &Settings::valueChanged, this, [this](const QString& key) {
        if (key == kShowTrayIconKey) {
            const QSignalBlocker blocker(trayIcon_);
            trayIcon_->setChecked(services_.settings().boolValue(kShowTrayIconKey, true));
            trayFigure_->setEnabled(trayIcon_->isChecked());
        } else if (key == kAppearanceKey) {
            const QSignalBlocker blocker(appearance_);
            appearance_->setCurrentIndex(appearance_->findData(
                rawValue(appearanceFromRaw(services_.settings().stringValue(kAppearanceKey)))));
        }
    });
}

void GeneralSettingsPane::setLaunchAtLogin(bool enabled) {
    const Status changed = LaunchAtLogin::setEnabled(enabled, executable_);
    if (!changed) {
        reporter_->show(changed.error(), false);
        const QSignalBlocker blocker(launchAtLogin_);
        launchAtLogin_->setChecked(LaunchAtLogin::isEnabled());
        return;
    }
    reporter_->clear();
    save(LaunchAtLogin::kSettingKey, enabled);
}

void GeneralSettingsPane::save(const QString& key, const QVariant& value) {
    if (const Status saved = services_.settings().setValue(key, value); !saved)
        reporter_->show(saved.error(), false);
}

} // namespace velmox
