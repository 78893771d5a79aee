#pragma once

#include "services/Result.h"

#include <QWidget>
#include <functional>

class QCheckBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;
class QTreeWidget;

namespace velmox {

class NetworkBlockerModel;

// The "IP & URL Blocker" page: a thin view over NetworkBlockerModel, which outlives it.
// The list of rules with add, enable and remove, the blocking switch and Apply, the status
// of the last apply, and the hosts file backups with restore.
class AddressBlockerPage : public QWidget {
    Q_OBJECT
public:
    explicit AddressBlockerPage(NetworkBlockerModel& model, QWidget* parent = nullptr);

    // Asks whether to restore a backup without a signature; a modal box unless replaced.
    using Question = std::function<bool(const QString& question, const QString& detail)>;
    void setQuestion(Question question) { question_ = std::move(question); }

private:
    // Shows a refusal under the input field, or hides the last one.
    void showError(const Status& status);
    void addTyped();
    void showRules();
    void showStatus();
    void showBackups();
    void restoreSelected();

    NetworkBlockerModel& model_;
    Question question_;
    QLineEdit* input_;
    QLabel* inputError_;
    QTreeWidget* rules_;
    QPushButton* remove_;
    QCheckBox* blocking_;
    QCheckBox* resolve_;
    QPushButton* apply_;
    QLabel* status_;
    QListWidget* backups_;
    QLabel* noBackups_;
    QPushButton* restore_;
};

} // namespace velmox
