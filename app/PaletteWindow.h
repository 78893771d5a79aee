#pragma once

#include "palette/PaletteMatcher.h"
#include "services/Category.h"

#include <QFrame>
#include <QHash>
#include <QStringList>

class QLabel;
class QLineEdit;
class QListWidget;
class QListWidgetItem;

namespace velmox {

class AppServices;

// The command palette: a frameless popup over the main window with a search field and the
// rows that match it, best first. Used from the keyboard alone: the arrows and Page Up/Down
// move through the rows, Enter opens one, Escape closes. With the field empty it lists the
// favourites and the last commands opened above every row.
class PaletteWindow : public QFrame {
    Q_OBJECT
public:
    static constexpr int kRecentCount = 8;
    static constexpr auto kRecentsKey = "paletteRecents";
    static constexpr auto kFavoritesKey = "paletteFavorites";
    static constexpr int kIdRole = Qt::UserRole;

    explicit PaletteWindow(AppServices& services, QWidget* parent = nullptr);

    // Shows the palette centred near the top of `over`, with an empty field.
    void popUp(QWidget* over);

    QLineEdit* searchField() const { return field_; }
    QListWidget* results() const { return list_; }
    QLabel* message() const { return message_; }

    // Opens the entry: its page (and tab), and remembers it among the recents.
    void open(const QString& id);
    void toggleFavorite(const QString& id);
    QStringList favorites() const;
    QStringList recents() const;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void refill();
    void addHeader(const QString& title);
    void addRow(int index, const QStringList& favorites);
    void showRowMenu(const QPoint& at);
    void store(const char* key, const QStringList& ids);
    QString currentId() const;

    AppServices& services_;
    PaletteIndex index_;
    QHash<QString, int> positions_;      // entry id -> index in index_
    QHash<QString, Category> taskPages_; // "task:<key>" -> the page that lists the task
    QLineEdit* field_;
    QLabel* message_;
    QListWidget* list_;
};

} // namespace velmox
