#pragma once

#include "services/Result.h"

#include <QWidget>
#include <functional>

class QLabel;
class QLineEdit;
class QPushButton;

namespace velmox {

class AppServices;
class StatusReporter;

// Settings > Access: "Administrator Credentials". The password goes to the system
// keyring only; every check runs off the main thread.
class AccessSettingsPane : public QWidget {
    Q_OBJECT
public:
    // A check still running when the pane goes ends on its own; its answer is dropped.
    explicit AccessSettingsPane(AppServices& services, QWidget* parent = nullptr);

    QLineEdit* nameField() const { return name_; }
    QLineEdit* passwordField() const { return password_; }
    QString reportedMessage() const;
    bool isChecking() const { return checking_; }

    void save();
    void test();
    void remove();

signals:
    // A check has ended and its message is shown.
    void checkFinished(const QString& message);

private:
    // Runs `work` off the main thread, then shows its message.
    void runChecked(std::function<QString()> work);
    void showCheckResult(QString message);
    // Runs `work` on the services' check pool and hands its answer to `done` on the main
    // thread, unless the pane has gone by then.
    template <typename T>
    void runInBackground(std::function<T()> work, void (AccessSettingsPane::*done)(T));
    void refreshSavedState();
    void showSavedState(Result<bool> saved);
    void setChecking(bool checking);

    AppServices& services_;
    QLineEdit* name_;
    QLineEdit* password_;
    QPushButton* save_;
    QPushButton* test_;
    QPushButton* remove_;
    QLabel* savedState_;
    StatusReporter* reporter_;
    bool checking_ = false;
};

} // namespace velmox
