#pragma once

#include <QObject>
#include <QPointer>
#include <memory>
#include <optional>

class QWidget;

namespace velmox {

class AppServices;
class SettingsView;

// The "Velmox Settings" window: made on first use and kept; its content is dropped when
// it closes (so the panes stop working in the background) and made again when it is
// shown.
class SettingsWindowPresenter : public QObject {
    Q_OBJECT
public:
    SettingsWindowPresenter(AppServices& services, QString executable, QObject* parent = nullptr);
    ~SettingsWindowPresenter() override;

    // Brings the window forward; a given section is selected through "OpenSettingsSection".
    void show(const std::optional<QString>& section = std::nullopt);
    QWidget* window() const { return window_.get(); }
    // Focuses the control of the shown pane that carries this setting's title.
    void focusSetting(const QString& title);
    SettingsView* view() const { return view_; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void selectSection(const QString& section);

    AppServices& services_;
    QString executable_;
    std::unique_ptr<QWidget> window_;
    QPointer<SettingsView> view_;
};

} // namespace velmox
