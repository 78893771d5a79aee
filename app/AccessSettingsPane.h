#pragma once

#include <QList>
#include <QWidget>
#include <functional>

class QLabel;
class QThread;
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
    explicit AccessSettingsPane(AppServices& services, QWidget* parent = nullptr);
    // Waits for a check still running: it uses services that may go away after the pane.
    ~AccessSettingsPane() override;

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
    // Runs `work` on a worker thread, then shows its message.
    void runChecked(std::function<QString()> work);
    // Runs `work` on a thread of its own and hands its answer to `done` on the main thread.
    template <typename T>
    void runInBackground(std::function<T()> work, std::function<void(T)> done);
    void refreshSavedState();
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
    QList<QThread*> workers_;
};

} // namespace velmox
