#pragma once

#include "storage/ProtectedScan.h"
#include "storage/ScanJob.h"

#include <QPointer>
#include <QWidget>

class QComboBox;
class QLineEdit;
class QToolButton;
class QHBoxLayout;
class QLabel;
class QPushButton;
class QSpinBox;
class QSplitter;
class QStackedWidget;
class QTreeView;

namespace velmox {

class ActionHistoryStore;
class EmptyStateView;
class StorageItemActions;

class AppNavigationState;
class ScanCenter;
class Settings;
class StorageBreakdownPanel;
class StorageCatalogScope;
class StorageCatalogStore;
class StorageChildModel;
class StorageExclusionsSheet;
class StorageRingChart;
class StorageUnreadableSheet;

// The Storage Manager page: pick the home folder, a mounted volume or any folder, scan it
// through the scan centre with live progress, then walk the result: a ring of the current
// folder's largest children beside a sortable list of all of them, a breadcrumb back up,
// allocated or logical sizes, rescanning a folder, showing it in the file manager and the
// folders the scan could not read.
class StorageManagerPage : public QWidget {
    Q_OBJECT
public:
    // `settings`, when given, keeps the splitter and the list's columns as the user left them.
    // `catalogs`, when given, is where saved catalogs are opened from; it must outlive the page.
    StorageManagerPage(ScanCenter& center, AppNavigationState& navigation,
                       ProtectedScan::PrivilegedRunner privilegedRunner,
                       Settings* settings = nullptr, StorageCatalogStore* catalogs = nullptr,
                       QWidget* parent = nullptr);

    static constexpr auto kSplitterKey = "storageManager/splitter";
    static constexpr auto kColumnsKey = "storageManager/columns";
    static constexpr auto kChartLevelsKey = "storageManager/chartLevels";

    static ScanScope homeScope();
    static QList<ScanScope> volumeScopes();
    static ScanScope folderScope(const QString& path);

    void setScope(const ScanScope& scope);
    const ScanScope& scope() const { return scope_; }
    // The live scan shown; null while a saved catalog is shown.
    ScanJob* job() const { return job_; }
    // The navigation details that open the page at a scope, or at a saved catalog.
    static QString scopeDetail(const ScanScope& scope);
    static QString catalogDetail(const QString& name);

    // Shows a saved catalog, read-only, in place of the live scan until a scope is chosen
    // again (or "Back to Live Scans").
    void openCatalog(const QString& name);
    StorageCatalogScope* catalog() const { return catalog_; }
    void startScan();

    void enterFolder(int32_t node);
    int32_t currentFolder() const;
    // The names from the scan's root down to the current folder.
    QStringList breadcrumb() const;
    void goUp(int levels);
    // Back and forward through the folders visited in this scope (Alt+Left, Alt+Right).
    void goBack();
    void goForward();
    bool canGoBack() const;
    bool canGoForward() const;
    // What the right side shows: the folder's children, its largest files or its file types.
    enum class ListView { folder, largest, types };
    void setListView(ListView view);
    ListView listView() const { return listView_; }
    StorageBreakdownPanel* breakdown() const { return breakdown_; }
    // Narrows the folder's list and the largest files to matching names.
    QLineEdit* findField() const { return find_; }
    // `real` (allocated) or `logical`.
    void setSizeKey(TreeSortKey key);

    // Where moves to the Trash and deletions are recorded, with Put Back; must outlive the page.
    void setHistory(ActionHistoryStore* history);
    StorageItemActions* itemActions() const { return actions_; }
    // The nodes selected in the list, in list order.
    QList<int32_t> selectedNodes() const;

    StorageChildModel* model() const { return model_; }
    StorageRingChart* chart() const { return chart_; }
    QSplitter* splitter() const { return split_; }
    QTreeView* list() const { return list_; }
    QString progressText() const;
    // The message of the last rescan or administrator pass, until the user dismisses it or
    // another one starts; empty when none is shown.
    QString messageText() const;
    void dismissMessage();
    // Why the selected folder was not entered by the scan, when it was not.
    QString explanationText() const;
    StorageUnreadableSheet* openUnreadableSheet();
    // What scans of the current scope skip ("Exclusions..."); none without settings.
    StorageExclusionsSheet* openExclusionsSheet();

    // The navigation detail of the page: the scope and the folder shown.
    QString navigationDetail() const;
    bool applyNavigationDetail(const QString& detail);

protected:
    void showEvent(QShowEvent* event) override;

private:
    void chooseFolder();
    void scopeChosen(int index);
    void addScopeChoice(const ScanScope& scope);
    void showTree();
    std::optional<VolumeInfo> volumeForRing() const;
    void showFolder(int32_t node);
    void updateControls();
    // Live scans only: what changes the disk is off while a catalog is shown.
    void updateCatalogControls();
    void leaveCatalog();
    void updateProgress();
    void showMessage(const QString& message);
    void rebuildBreadcrumb();
    void orderTabs();
    void publishDetail();
    void revealSelection();
    void activateRow(const QModelIndex& index);
    void showExplanation();
    void fitColumns();
    void updateTargets();
    void refreshBreakdown();
    void travel(int step);
    void showItemMenu(QWidget* over, const QPoint& position);
    void restoreLayout();
    void saveLayout();

    ScanCenter& center_;
    AppNavigationState& navigation_;
    ProtectedScan::PrivilegedRunner privilegedRunner_;
    ScanScope scope_;
    QPointer<ScanJob> job_;
    ScanScope liveScope_; // shown before the catalog
    QList<ScanScope> scopeChoices_;
    QByteArray folderPath_; // the folder shown, kept across tree changes

    QComboBox* scopes_;
    QPushButton* chooseFolder_;
    QPushButton* scan_;
    QPushButton* pause_;
    QPushButton* resume_;
    QPushButton* cancel_;
    QLabel* progress_;
    QWidget* messageBar_;
    QLabel* message_;
    QPushButton* dismissMessage_;
    QHBoxLayout* breadcrumbLayout_;
    QPushButton* allocated_;
    QPushButton* logical_;
    QPushButton* rescan_;
    QPushButton* reveal_;
    QPushButton* unreadable_;
    QPushButton* exclusions_ = nullptr; // with settings only
    QStackedWidget* content_;
    EmptyStateView* emptyState_;
    StorageRingChart* chart_;
    QTreeView* list_;
    QSplitter* split_;
    Settings* settings_;
    StorageChildModel* model_;
    QLabel* explanation_;
    QPointer<StorageUnreadableSheet> sheet_;
    StorageItemActions* actions_;
    QPushButton* putBackLast_;
    QSpinBox* levels_;
    QList<QWidget*> actionButtons_;
    QLineEdit* find_;
    QToolButton* back_;
    QToolButton* forward_;
    QList<QPushButton*> viewButtons_;
    QStackedWidget* listStack_;
    StorageBreakdownPanel* breakdown_;
    StorageCatalogScope* catalog_;
    ListView listView_ = ListView::folder;
    QList<QByteArray> visited_; // folders shown in this scope, oldest first
    qsizetype visitedAt_ = -1;
    bool travelling_ = false;
};

} // namespace velmox
