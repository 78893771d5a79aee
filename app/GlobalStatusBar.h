#pragma once

#include <QFrame>

class QLabel;
class QProgressBar;
class QToolButton;

namespace velmox {

class AppNavigationState;
class AppStatusCenter;

// How the status line shows one message.
struct StatusLineText {
    enum class Kind { working, success, error, plain };
    Kind kind = Kind::plain;
    QString text;
    QString symbol; // empty: no icon
    bool operator==(const StatusLineText&) const = default;
};

// An empty message reads "Working..."; "Success: " and "Error: " messages keep their
// prefix and get an icon.
StatusLineText statusLineText(const QString& message, bool active);

// The status line at the bottom of the main window. It shows what the status centre
// holds and, while the user is on another page, an arrow back to the task's page and
// sub-view.
class GlobalStatusBar : public QFrame {
    Q_OBJECT
public:
    GlobalStatusBar(AppStatusCenter& center, AppNavigationState& navigation,
                    QWidget* parent = nullptr);

    QString shownText() const;
    bool showsArrow() const;
    // A message that sends the user to the activity log comes with a link there.
    bool showsActivityLink() const;
    // What the arrow does.
    void goToTask();

private:
    void refresh();

    AppStatusCenter& center_;
    AppNavigationState& navigation_;
    QLabel* icon_;
    QProgressBar* spinner_;
    QLabel* text_;
    QToolButton* arrow_;
    QToolButton* activity_;
};

} // namespace velmox
