#include "app/Appearance.h"

#include "app/MainWindow.h"
#include "app/StatusPopover.h"
#include "tests/app/WindowFixture.h"

#include <QApplication>
#include <QComboBox>
#include <QHBoxLayout>
#include <QPushButton>
#include <QTest>
#include <QToolButton>
#include <gtest/gtest.h>

using namespace velmox;

namespace {

struct AppearanceTest : test::WindowFixture {
    ~AppearanceTest() override { QApplication::setPalette(QPalette()); }
};

bool isDark(const QWidget& widget) {
    const QPalette& palette = widget.palette();
    return qGray(palette.color(QPalette::Window).rgb()) < 80 &&
           qGray(palette.color(QPalette::WindowText).rgb()) > 180 &&
           qGray(palette.color(QPalette::Base).rgb()) < 80 &&
           qGray(palette.color(QPalette::ButtonText).rgb()) > 180;
}

} // namespace

TEST_F(AppearanceTest, DarkByDefaultAndChangingTheSettingRepaintsEveryWindowAtOnce) {
    EXPECT_EQ(appearanceFromRaw("Light"), Appearance::dark);
    AppearanceController appearance(services.settings());
    appearance.apply();
    MainWindow window(services);
    StatusPopover popover(services.status());
    window.show();
    EXPECT_TRUE(isDark(window));

    EXPECT_TRUE(services.settings().setValue(kAppearanceKey, "light"));
    EXPECT_EQ(appearance.current(), Appearance::light);
    EXPECT_FALSE(isDark(window));
    EXPECT_FALSE(isDark(popover));
    EXPECT_GT(qGray(window.palette().color(QPalette::Window).rgb()), 200);

    EXPECT_TRUE(services.settings().setValue(kAppearanceKey, "dark"));
    EXPECT_TRUE(isDark(window));
    EXPECT_TRUE(isDark(popover));
}

TEST(AppearancePaletteTest, DisabledTextStaysReadableButDimmerInBothAppearances) {
    for (Appearance appearance : {Appearance::dark, Appearance::light}) {
        const QPalette palette = paletteFor(appearance);
        const int background = qGray(palette.color(QPalette::Window).rgb());
        const int active = qGray(palette.color(QPalette::Active, QPalette::WindowText).rgb());
        const int disabled = qGray(palette.color(QPalette::Disabled, QPalette::WindowText).rgb());
        EXPECT_GT(std::abs(active - background), std::abs(disabled - background));
        EXPECT_GT(std::abs(disabled - background), 40);
    }
}

// A control the keyboard reached wears a ring of the highlight colour around it, one that the
// eye finds at once (Fusion's own is a faint line, like a default button's).
TEST_F(AppearanceTest, KeyboardFocusDrawsAHighlightRingInBothAppearances) {
    AppearanceController appearance(services.settings());
    for (const char* raw : {"light", "dark"}) {
        EXPECT_TRUE(services.settings().setValue(kAppearanceKey, QString::fromLatin1(raw)));
        QWidget window;
        auto* layout = new QHBoxLayout(&window);
        auto* button = new QPushButton(QStringLiteral("Run"), &window);
        auto* tool = new QToolButton(&window);
        tool->setText(QStringLiteral("Home"));
        tool->setAutoRaise(true);
        auto* combo = new QComboBox(&window);
        combo->addItem(QStringLiteral("Home Folder"));
        auto* elsewhere = new QPushButton(QStringLiteral("Elsewhere"), &window);
        const QList<QWidget*> controls{button, tool, combo};
        for (QWidget* widget : controls)
            layout->addWidget(widget);
        layout->addWidget(elsewhere);
        window.show();
        window.activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
        const QColor highlight = window.palette().color(QPalette::Highlight);
        const auto ringPixels = [&](QWidget* widget) {
            const QImage image = widget->grab().toImage();
            int count = 0;
            for (int y = 0; y < image.height(); ++y)
                for (int x = 0; x < image.width(); ++x) {
                    const QColor pixel = image.pixelColor(x, y);
                    const int distance = std::abs(pixel.red() - highlight.red()) +
                                         std::abs(pixel.green() - highlight.green()) +
                                         std::abs(pixel.blue() - highlight.blue());
                    count += distance < 60 ? 1 : 0;
                }
            return count;
        };
        elsewhere->setFocus();
        QList<int> without;
        for (QWidget* widget : controls)
            without << ringPixels(widget);
        // Tab goes round from the last control to the first, then on.
        for (QWidget* widget : controls) {
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
            ASSERT_TRUE(widget->hasFocus());
            // Two pixels wide, all the way round.
            EXPECT_GE(ringPixels(widget) - without.takeFirst(),
                      2 * (widget->width() + widget->height()))
                << raw << " " << widget->metaObject()->className();
        }
    }
}
