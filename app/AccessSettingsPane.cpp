#include "app/AccessSettingsPane.h"

#include "app/AppServices.h"
#include "app/StatusReporter.h"
#include "platform/PlatformPaths.h"
#include "services/AdminCredentials.h"
#include "services/KeychainHelper.h"
#include "services/ShellHelper.h"

#include <QCoreApplication>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QVBoxLayout>

namespace velmox {

namespace {

bool isSuccessMessage(const QString& message) {
    return message.startsWith(QLatin1String("Success: ")) ||
           message.startsWith(QLatin1String("Credentials securely stored"));
}

} // namespace

AccessSettingsPane::AccessSettingsPane(AppServices& services, QWidget* parent)
    : QWidget(parent), services_(services), name_(new QLineEdit), password_(new QLineEdit),
      save_(new QPushButton(QStringLiteral("Save to ") + PlatformPaths::secretStoreTitle())),
      test_(new QPushButton(QStringLiteral("Test Admin Access"))),
      remove_(new QPushButton(QStringLiteral("Remove Saved Password"))), savedState_(new QLabel),
      reporter_(new StatusReporter) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(24, 20, 24, 20);
    auto* group = new QGroupBox(QStringLiteral("Administrator Credentials"));
    auto* groupLayout = new QVBoxLayout(group);
    groupLayout->setSpacing(10);
    auto* about = new QLabel(
        QStringLiteral("Save the password of your administrator account so that maintenance "
                       "tasks needing root run without a password prompt. It is kept in the "
                       "system keyring only, never in a file or a setting."));
    about->setWordWrap(true);
    groupLayout->addWidget(about);

    auto* form = new QFormLayout;
    name_->setText(services_.settings().stringValue(QLatin1String(ShellHelper::kAdminUsernameKey),
                                                    ShellHelper::currentLoginName()));
    password_->setEchoMode(QLineEdit::Password);
    password_->setPlaceholderText(QStringLiteral("Password"));
    form->addRow(QStringLiteral("Name:"), name_);
    form->addRow(QStringLiteral("Password:"), password_);
    groupLayout->addLayout(form);

    auto* buttons = new QHBoxLayout;
    save_->setDefault(true);
    buttons->addWidget(save_);
    buttons->addWidget(test_);
    buttons->addStretch(1);
    buttons->addWidget(remove_);
    groupLayout->addLayout(buttons);
    savedState_->setObjectName(QStringLiteral("pageSubtitle"));
    groupLayout->addWidget(savedState_);
    groupLayout->addWidget(reporter_);
    layout->addWidget(group);
    layout->addStretch(1);

    connect(save_, &QPushButton::clicked, this, &AccessSettingsPane::save);
    connect(password_, &QLineEdit::returnPressed, this, &AccessSettingsPane::save);
    connect(test_, &QPushButton::clicked, this, &AccessSettingsPane::test);
    connect(remove_, &QPushButton::clicked, this, &AccessSettingsPane::remove);
    refreshSavedState();
}

template <typename T>
void AccessSettingsPane::runInBackground(std::function<T()> work,
                                         void (AccessSettingsPane::*done)(T)) {
    // The work holds no pointer to the pane: a pane closed meanwhile drops the answer.
    services_.checks().start([pane = QPointer<AccessSettingsPane>(this), work, done] {
        T answer = work();
        QMetaObject::invokeMethod(QCoreApplication::instance(), [pane, done, answer] {
            if (pane)
                (pane->*done)(answer);
        });
    });
}

QString AccessSettingsPane::reportedMessage() const {
    return reporter_->message();
}

void AccessSettingsPane::setChecking(bool checking) {
    checking_ = checking;
    save_->setEnabled(!checking);
    test_->setEnabled(!checking);
    remove_->setEnabled(!checking);
    if (checking)
        reporter_->showWorking(AdminCredentials::checkingMessage());
}

void AccessSettingsPane::runChecked(std::function<QString()> work) {
    setChecking(true);
    runInBackground<QString>(std::move(work), &AccessSettingsPane::showCheckResult);
}

void AccessSettingsPane::showCheckResult(QString message) {
    setChecking(false);
    reporter_->show(message, isSuccessMessage(message));
    refreshSavedState();
    emit checkFinished(message);
}

void AccessSettingsPane::save() {
    if (checking_)
        return;
    const QString name = name_->text().trimmed();
    QString password = password_->text();
    password_->clear();
    KeychainHelper& keychain = services_.keychain();
    Settings& settings = services_.settings();
    runChecked([&keychain, &settings, name, password] {
        return AdminCredentials::save(keychain, settings, name, password);
    });
}

void AccessSettingsPane::test() {
    if (checking_)
        return;
    ShellHelper& shell = services_.shell();
    runChecked([&shell] { return AdminCredentials::test(shell); });
}

void AccessSettingsPane::remove() {
    if (checking_)
        return;
    KeychainHelper& keychain = services_.keychain();
    runChecked([&keychain] {
        const Status removed = keychain.deletePassword();
        if (!removed)
            return removed.error();
        return QStringLiteral("Success: The saved administrator password was removed.");
    });
}

void AccessSettingsPane::refreshSavedState() {
    KeychainHelper& keychain = services_.keychain();
    runInBackground<Result<bool>>([&keychain] { return keychain.hasSavedPassword(); },
                                  &AccessSettingsPane::showSavedState);
}

void AccessSettingsPane::showSavedState(Result<bool> saved) {
    if (!saved)
        savedState_->setText(saved.error());
    else
        savedState_->setText(*saved ? QStringLiteral("A password is saved in the keyring.")
                                    : QStringLiteral("No password is saved."));
    remove_->setVisible(saved.value_or(false));
}

} // namespace velmox
