#include "app/Appearance.h"

#include "services/Settings.h"

#include <QApplication>
#include <QPainter>
#include <QPointer>
#include <QProxyStyle>
#include <QStyleFactory>
#include <QStyleOption>
#include <memory>

namespace velmox {

namespace {

// Shapes shared by both appearances; colours come from the palette.
const char* kStyleSheet = R"(
QListWidget#sidebar { background: palette(window); border: none; outline: 0; }
QListWidget#sidebar::item { border-radius: 6px; padding: 4px 6px; margin: 0 6px; }
QListWidget#sidebar::item:selected { background: palette(highlight); color: palette(highlighted-text); }
QListWidget#sidebar::item:focus { border: 2px solid palette(highlighted-text); }
QFrame#globalStatusBar { border-top: 1px solid palette(mid); background: palette(window); }
QLabel#pageTitle { font-size: 20pt; font-weight: 600; }
QLabel#pageSubtitle { color: palette(placeholder-text); }
QLabel#emptyState { color: palette(placeholder-text); font-size: 12pt; }
QLabel#emptyStateHeading { font-size: 16pt; font-weight: 600; }
QFrame#card { background: palette(base); border: 1px solid palette(mid); border-radius: 10px; }
QFrame#popover { background: palette(window); border: 1px solid palette(mid); border-radius: 10px; }
QToolButton#utilityButton { border: none; border-radius: 6px; padding: 6px; }
QToolButton#utilityButton:hover { background: palette(button); }
QPushButton#segment:checked { background: palette(highlight); color: palette(highlighted-text);
    border: 1px solid palette(highlight); border-radius: 4px; padding: 3px 0; }
)";

// Fusion, with a ring the eye finds at once around the control the keyboard reached (Fusion's
// own is a faint line, drawn the same for a default button).
class FocusRingStyle : public QProxyStyle {
public:
    FocusRingStyle() : QProxyStyle(QStyleFactory::create(QStringLiteral("Fusion"))) {}

    void drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                     const QWidget* widget) const override {
        QProxyStyle::drawControl(element, option, painter, widget);
        if (element == CE_PushButtonBevel)
            drawRing(option, painter);
    }

    void drawComplexControl(ComplexControl control, const QStyleOptionComplex* option,
                            QPainter* painter, const QWidget* widget) const override {
        QProxyStyle::drawComplexControl(control, option, painter, widget);
        if (control == CC_ToolButton || control == CC_ComboBox || control == CC_SpinBox)
            drawRing(option, painter);
    }

private:
    static void drawRing(const QStyleOption* option, QPainter* painter) {
        if (!(option->state & State_HasFocus) || !(option->state & State_KeyboardFocusChange))
            return;
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        painter->setPen(QPen(option->palette.color(QPalette::Highlight), 2));
        painter->setBrush(Qt::NoBrush);
        painter->drawRoundedRect(QRectF(option->rect).adjusted(1, 1, -1, -1), 4, 4);
        painter->restore();
    }
};

QPalette darkPalette() {
    QPalette p;
    const QColor window(0x1e, 0x1f, 0x23);
    const QColor base(0x27, 0x28, 0x2d);
    const QColor text(0xe8, 0xe9, 0xec);
    const QColor dimText(0x8b, 0x8e, 0x96);
    const QColor button(0x2c, 0x2e, 0x34);
    const QColor highlight(0x3b, 0x7c, 0xf6);
    for (QPalette::ColorGroup group : {QPalette::Active, QPalette::Inactive}) {
        p.setColor(group, QPalette::Window, window);
        p.setColor(group, QPalette::WindowText, text);
        p.setColor(group, QPalette::Base, base);
        p.setColor(group, QPalette::AlternateBase, QColor(0x2b, 0x2c, 0x32));
        p.setColor(group, QPalette::ToolTipBase, button);
        p.setColor(group, QPalette::ToolTipText, text);
        p.setColor(group, QPalette::PlaceholderText, dimText);
        p.setColor(group, QPalette::Text, text);
        p.setColor(group, QPalette::Button, button);
        p.setColor(group, QPalette::ButtonText, text);
        p.setColor(group, QPalette::BrightText, QColor(0xff, 0x6b, 0x6b));
        p.setColor(group, QPalette::Light, QColor(0x3a, 0x3c, 0x44));
        p.setColor(group, QPalette::Midlight, QColor(0x32, 0x34, 0x3b));
        p.setColor(group, QPalette::Mid, QColor(0x34, 0x36, 0x3d));
        p.setColor(group, QPalette::Dark, QColor(0x12, 0x13, 0x15));
        p.setColor(group, QPalette::Shadow, QColor(0, 0, 0));
        p.setColor(group, QPalette::Highlight, highlight);
        p.setColor(group, QPalette::HighlightedText, QColor(0xff, 0xff, 0xff));
        p.setColor(group, QPalette::Link, QColor(0x6a, 0xa6, 0xff));
        p.setColor(group, QPalette::LinkVisited, QColor(0xb0, 0x8c, 0xff));
    }
    p.setColor(QPalette::Inactive, QPalette::Highlight, QColor(0x35, 0x4a, 0x72));
    const QColor disabled(0x62, 0x64, 0x6b);
    for (QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText,
                                     QPalette::HighlightedText, QPalette::PlaceholderText})
        p.setColor(QPalette::Disabled, role, disabled);
    for (QPalette::ColorRole role :
         {QPalette::Window, QPalette::Base, QPalette::Button, QPalette::AlternateBase,
          QPalette::Light, QPalette::Midlight, QPalette::Mid, QPalette::Dark, QPalette::Shadow})
        p.setColor(QPalette::Disabled, role, p.color(QPalette::Active, role));
    p.setColor(QPalette::Disabled, QPalette::Highlight, QColor(0x3a, 0x3c, 0x44));
    return p;
}

QPalette lightPalette() {
    const std::unique_ptr<QStyle> fusion(QStyleFactory::create(QStringLiteral("Fusion")));
    QPalette p = fusion->standardPalette();
    const QColor highlight(0x2f, 0x6f, 0xeb);
    for (QPalette::ColorGroup group : {QPalette::Active, QPalette::Inactive}) {
        p.setColor(group, QPalette::Window, QColor(0xf3, 0xf3, 0xf5));
        p.setColor(group, QPalette::Base, QColor(0xff, 0xff, 0xff));
        p.setColor(group, QPalette::AlternateBase, QColor(0xf6, 0xf7, 0xf9));
        p.setColor(group, QPalette::Button, QColor(0xfb, 0xfb, 0xfc));
        p.setColor(group, QPalette::Mid, QColor(0xd6, 0xd7, 0xdb));
        p.setColor(group, QPalette::Highlight, highlight);
        p.setColor(group, QPalette::HighlightedText, QColor(0xff, 0xff, 0xff));
        p.setColor(group, QPalette::PlaceholderText, QColor(0x7a, 0x7d, 0x85));
        // Fusion's own link blue is a harsh navy beside the highlight.
        p.setColor(group, QPalette::Link, QColor(0x24, 0x63, 0xd1));
        p.setColor(group, QPalette::LinkVisited, QColor(0x70, 0x48, 0xc8));
    }
    p.setColor(QPalette::Inactive, QPalette::Highlight, QColor(0xc9, 0xd8, 0xf6));
    return p;
}

} // namespace

Appearance appearanceFromRaw(const QString& raw) {
    return raw == QLatin1String("light") ? Appearance::light : Appearance::dark;
}

QString rawValue(Appearance appearance) {
    return appearance == Appearance::light ? QStringLiteral("light") : QStringLiteral("dark");
}

QPalette paletteFor(Appearance appearance) {
    return appearance == Appearance::light ? lightPalette() : darkPalette();
}

AppearanceController::AppearanceController(Settings& settings, QObject* parent)
    : QObject(parent), settings_(settings) {
    connect(&settings_, &Settings::valueChanged, this, [this](const QString& key) {
        if (key == kAppearanceKey)
            apply();
    });
}

void AppearanceController::apply() {
    current_ = appearanceFromRaw(settings_.stringValue(kAppearanceKey, QStringLiteral("dark")));
    // Fusion draws every control from the palette, so one palette repaints every window
    // (and the popover) the same way on any desktop.
    // The application owns the style; a style sheet wraps it, so it is recognised by pointer.
    static QPointer<QStyle> installed;
    if (!installed) {
        installed = new FocusRingStyle;
        QApplication::setStyle(installed);
    }
    QApplication::setPalette(paletteFor(current_));
    // Setting the sheet again repolishes every widget, so palette(...) colours in it follow.
    qApp->setStyleSheet(QString::fromLatin1(kStyleSheet));
}

} // namespace velmox
