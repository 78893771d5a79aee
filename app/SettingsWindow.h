#pragma once

#include <QWidget>

class QListWidget;
class QStackedWidget;

namespace velmox {

class AppServices;

// The content of the "Velmox Settings" window: a list of sections and the pane of the
// selected one.
class SettingsView : public QWidget {
    Q_OBJECT
public:
    SettingsView(AppServices& services, const QString& executable, QWidget* parent = nullptr);

    static const QStringList& sectionIds();
    QString currentSection() const;
    // Unknown sections are ignored.
    void selectSection(const QString& section);
    QWidget* pane(const QString& section) const;
    // Focuses the control of the shown pane titled `title`: a check box or button with that
    // text, the field a label of that text names, or the first control of a group of that
    // title. False when the pane has none.
    bool focusSetting(const QString& title);

private:
    QListWidget* sections_;
    QStackedWidget* panes_;
};

} // namespace velmox
