#pragma once

#include "storage/ProtectedScan.h"
#include "storage/UnreadableReason.h"

#include <QDialog>
#include <QPointer>

class QLabel;
class QPushButton;
class QTreeWidget;

namespace velmox {

class ScanJob;

// The folders a scan could not open, each with why (looked at again now: some may have
// gone or become readable), its owner and permissions, and "Read Blocked Folders", which
// reads them with administrator rights and merges them into the scan.
class StorageUnreadableSheet : public QDialog {
    Q_OBJECT
public:
    StorageUnreadableSheet(ScanJob& job, ProtectedScan::PrivilegedRunner runner,
                           QWidget* parent = nullptr);

    const QList<UnreadableFolderInfo>& folders() const { return folders_; }
    QPushButton* readBlockedButton() const { return readBlocked_; }
    QString statusText() const;
    void readBlockedFolders();
    // Looks at every listed folder again.
    void reload();
    // Makes the folder at `path` the current row, with its explanation, when it is listed.
    void select(const QByteArray& path);
    QString explanationText() const;

private:
    void updateState();
    void showExplanation();

    QPointer<ScanJob> job_;
    ProtectedScan::PrivilegedRunner runner_;
    QList<UnreadableFolderInfo> folders_;
    QLabel* summary_;
    QTreeWidget* list_;
    QLabel* explanation_;
    QLabel* status_;
    QPushButton* readBlocked_;
};

} // namespace velmox
