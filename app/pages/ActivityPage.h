#pragma once

#include "services/ActionHistoryStore.h"

#include <QWidget>
#include <functional>

class QButtonGroup;
class QLabel;
class QLineEdit;
class QPushButton;
class QStackedWidget;
class QTreeWidget;
class QUrl;

namespace velmox {

class StatusReporter;

// The activity log: newest first, filtered by result and searched, exported as CSV
// exactly as shown, with Put Back for entries whose items can still come back from
// the Trash. Follows the log live.
class ActivityPage : public QWidget {
    Q_OBJECT
public:
    struct Confirmation {
        QString question;
        QString informative;
        QString confirmText;
        QString confirmHelp;
    };
    using ConfirmHandler = std::function<bool(const Confirmation&)>;
    // Gets the path to export to from a suggested path; empty = cancelled.
    using SavePathChooser = std::function<QString(const QString& suggestedPath)>;
    using UrlOpener = std::function<void(const QUrl&)>;

    explicit ActivityPage(ActionHistoryStore& store, QWidget* parent = nullptr);

    // Tests and the screenshot mode replace the dialogs.
    void setConfirmHandler(ConfirmHandler handler) { confirm_ = std::move(handler); }
    void setSavePathChooser(SavePathChooser chooser) { chooseSavePath_ = std::move(chooser); }
    void setUrlOpener(UrlOpener opener) { openUrl_ = std::move(opener); }

    void setResultFilter(ActionHistoryStore::ResultFilter filter);
    void setSearchText(const QString& text);
    const QList<ActionHistoryEntry>& shownEntries() const { return shown_; }
    // The empty-state line, or an empty string while entries are listed.
    QString emptyStateText() const;
    void selectEntry(const QUuid& id);
    // The Put Back button's text for the selected entry; empty when none is offered.
    QString putBackButtonText() const;
    QString reportedMessage() const;
    // Shown after a Put Back that left items in the Trash.
    QPushButton* openTrashButton() const { return openTrash_; }

    void exportShown();
    void putBackSelected();
    void clearLog();

private:
    void refresh();
    void showSelection();
    std::optional<ActionHistoryEntry> selectedEntry() const;

    ActionHistoryStore& store_;
    ActionHistoryStore::ResultFilter filter_ = ActionHistoryStore::ResultFilter::all;
    QList<ActionHistoryEntry> shown_;
    ConfirmHandler confirm_;
    SavePathChooser chooseSavePath_;
    UrlOpener openUrl_;
    QButtonGroup* filterButtons_;
    QLineEdit* search_;
    QPushButton* export_;
    QPushButton* clear_;
    StatusReporter* reporter_;
    QStackedWidget* stack_;
    QTreeWidget* list_;
    QLabel* empty_;
    QLabel* detail_;
    QPushButton* putBack_;
    QPushButton* openTrash_;
};

} // namespace velmox
