#pragma once

#include "services/Result.h"

#include <QStringList>
#include <QWidget>
#include <functional>

class QListWidget;
class QPushButton;

namespace velmox {

class StatusReporter;

// An editable list of scan exclusions (ScanExclusions): Add Folder..., Add Pattern...,
// Remove. Every change is handed to `save` at once; when that fails the list goes back to what
// it was and the reason shows under it, as does the reason a pattern is refused. Main thread.
class ExclusionListEditor : public QWidget {
    Q_OBJECT
public:
    using Save = std::function<Status(const QStringList&)>;
    ExclusionListEditor(const QStringList& patterns, Save save, QWidget* parent = nullptr);

    QStringList patterns() const;
    // Where Add Folder... starts looking (the scanned folder); home by default.
    void setBrowseFolder(const QString& folder) { browseFolder_ = folder; }
    // What the buttons do once their dialog has an answer; false when refused or not saved.
    bool addPattern(const QString& pattern);
    bool removeSelected();

    QListWidget* list() const { return list_; }
    QPushButton* addFolderButton() const { return addFolder_; }
    QPushButton* addPatternButton() const { return addPattern_; }
    QPushButton* removeButton() const { return remove_; }
    StatusReporter* reporter() const { return reporter_; }

signals:
    void patternsChanged(const QStringList& patterns);

private:
    bool apply(const QStringList& patterns);
    void show(const QStringList& patterns);

    Save save_;
    QString browseFolder_;
    QListWidget* list_;
    QPushButton* addFolder_;
    QPushButton* addPattern_;
    QPushButton* remove_;
    StatusReporter* reporter_;
};

} // namespace velmox
