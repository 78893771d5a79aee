#pragma once

#include "storage/FileTree.h"
#include "storage/NameFilter.h"
#include "storage/TreeBreakdown.h"

#include <QThreadPool>
#include <QWidget>
#include <memory>
#include <optional>

class QLabel;
class QPushButton;
class QStackedWidget;
class QTreeView;
class QTreeWidget;
class QTreeWidgetItem;

namespace velmox {

class LargestFilesModel;

// The largest files anywhere below the folder shown, and the space each kind of file takes
// there (by kind, then by extension); choosing a kind or an extension lists its largest files.
// Both are computed from the tree on the panel's own thread and shown when they arrive; an
// answer for an older request is dropped. The destructor waits for a running computation.
class StorageBreakdownPanel : public QWidget {
    Q_OBJECT
public:
    enum class View { largest, types };
    static constexpr size_t kLargestCount = 100;

    explicit StorageBreakdownPanel(QWidget* parent = nullptr);
    ~StorageBreakdownPanel() override;

    void setView(View view);
    View view() const { return view_; }
    // Computes both again for `folder` of `tree`. A null tree clears both, once any
    // computation still reading the old tree has ended.
    void showFolder(std::shared_ptr<const FileTree> tree, int32_t folder, TreeSortKey key,
                    const NameFilter& filter);
    // Narrows the largest files to a kind, or to one extension of it; nullopt shows all.
    void setKindFilter(std::optional<FileKind> kind, const QByteArray& extension = {});
    bool isComputing() const { return pending_ > 0; }

    QTreeView* largestList() const { return largest_; }
    QTreeWidget* typesList() const { return types_; }
    const std::vector<int32_t>& largestNodes() const;
    QList<int32_t> selectedNodes() const;
    QString kindFilterText() const;

signals:
    void selectionChanged();
    // A largest file was activated: the page shows the folder it is in.
    void showInFolder(int32_t node);

private:
    void compute();
    void typeActivated(QTreeWidgetItem* item);
    void showTypes(const QList<KindTotal>& kinds);

    View view_ = View::largest;
    std::shared_ptr<const FileTree> tree_;
    int32_t folder_ = 0;
    TreeSortKey key_ = TreeSortKey::real;
    NameFilter nameFilter_;
    std::optional<FileKind> kind_;
    QByteArray extension_;
    int generation_ = 0;
    int pending_ = 0;

    QStackedWidget* stack_;
    QWidget* largestPage_;
    QLabel* filterLabel_;
    QPushButton* clearFilter_;
    QTreeView* largest_;
    LargestFilesModel* model_;
    QTreeWidget* types_;
    QThreadPool pool_; // last: waited for before anything its work reports into goes
};

} // namespace velmox
