#pragma once

#include <QStringList>
#include <QTabWidget>

namespace velmox {

class AppNavigationState;

// The tabs of a page whose shown tab is the page's sub-view in the navigation state: picking
// a tab records it, and navigating to "<page>/<tab>" (the status line, the palette) shows it.
class PageTabs : public QTabWidget {
    Q_OBJECT
public:
    PageTabs(AppNavigationState& navigation, QString page, QWidget* parent = nullptr);

    // Adds a tab named `key` in the navigation state. Call for every tab, then `restore()`.
    void addPageTab(QWidget* widget, const QString& title, const QString& key);
    // Shows the tab the navigation state remembers (the first one when none); from then on
    // the tab picked is recorded. Call once.
    void restore();

    const QStringList& keys() const { return keys_; }
    QString currentKey() const;
    void showKey(const QString& key);

private:
    AppNavigationState& navigation_;
    QString page_;
    QStringList keys_;
};

} // namespace velmox
