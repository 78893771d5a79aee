#pragma once

#include <QObject>
#include <QPalette>
#include <QString>

namespace velmox {

class Settings;

enum class Appearance { light, dark };

inline const QString kAppearanceKey = QStringLiteral("appAppearance");

// "light" gives the light appearance; any other value (or none) the dark one.
Appearance appearanceFromRaw(const QString& raw);
QString rawValue(Appearance appearance);
QPalette paletteFor(Appearance appearance);

// Applies the "appAppearance" setting to the whole application (every window, the
// popover, dialogs) and follows later changes of the setting.
class AppearanceController : public QObject {
    Q_OBJECT
public:
    explicit AppearanceController(Settings& settings, QObject* parent = nullptr);

    Appearance current() const { return current_; }
    void apply();

private:
    Settings& settings_;
    Appearance current_ = Appearance::dark;
};

} // namespace velmox
