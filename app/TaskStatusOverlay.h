#pragma once

#include <QWidget>
#include <functional>
#include <optional>

class QLabel;
class QProgressBar;
class QPushButton;

namespace velmox {

// A veil a page lays over itself while a task runs: a progress bar (or a busy bar
// without a fraction) and a message; when the task has finished, a tick or a warning
// sign and a "Done" button that runs dismissAction, and, when the message sends the user to
// the activity log, a "Show Activity" button that closes the veil and asks for it.
class TaskStatusOverlay : public QWidget {
    Q_OBJECT
public:
    explicit TaskStatusOverlay(QWidget* covered);

    void showProgress(const QString& message, std::optional<double> progress = std::nullopt);
    void showFinished(const QString& message, bool isSuccess);
    void dismiss();
    void setDismissAction(std::function<void()> action) { dismissAction_ = std::move(action); }

    std::optional<double> progress() const { return progress_; }
    QString message() const { return message_; }
    bool isError() const { return isError_; }
    bool isSuccess() const { return isSuccess_; }
    QPushButton* activityButton() const { return activity_; }

signals:
    void activityRequested();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    std::optional<double> progress_;
    QString message_;
    bool isError_ = false;
    bool isSuccess_ = false;
    std::function<void()> dismissAction_;
    QLabel* icon_;
    QLabel* text_;
    QProgressBar* bar_;
    // Made in the order Tab visits them, left to right.
    QPushButton* activity_;
    QPushButton* done_;
};

} // namespace velmox
