#include "app/Appearance.h"

#include "app/MainWindow.h"
#include "app/StatusPopover.h"
#include "tests/app/WindowFixture.h"

#include <QApplication>
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
