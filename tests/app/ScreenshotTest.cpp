#include "app/Screenshot.h"

#include <QImage>
#include <QProcess>
#include <QSet>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace velmox;

namespace {

int runScreenshot(const QStringList& args, QString* error = nullptr) {
    QProcess process;
    process.start(QStringLiteral(VELMOX_BINARY), QStringList{"--screenshot"} + args);
    process.waitForFinished(60000);
    if (error)
        *error = QString::fromLocal8Bit(process.readAllStandardError());
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

// A real rendering has many colours; a blank or failed one has one or two.
int distinctColours(const QImage& image) {
    QSet<QRgb> colours;
    for (int y = 0; y < image.height(); y += 7)
        for (int x = 0; x < image.width(); x += 7)
            colours.insert(image.pixel(x, y));
    return static_cast<int>(colours.size());
}

} // namespace

TEST(ScreenshotTest, EveryPageRendersToAPngOfTheFixedSize) {
    QTemporaryDir out;
    for (const QString& target : Screenshot::targets()) {
        SCOPED_TRACE(target.toStdString());
        const QString file = out.filePath(target + ".png");
        QString error;
        const int status = runScreenshot({target, file}, &error);
        ASSERT_EQ(status, 0) << error.toStdString();
        const QImage image(file);
        ASSERT_FALSE(image.isNull());
        if (target == "popover") {
            EXPECT_EQ(image.width(), 300);
        } else if (target != "settings") {
            EXPECT_EQ(image.size(), Screenshot::kWindowSize);
        }
        EXPECT_GT(distinctColours(image), 8);
    }
}

TEST(ScreenshotTest, TheLightThemeIsLighterThanTheDarkOne) {
    QTemporaryDir out;
    ASSERT_EQ(runScreenshot({"dashboard", out.filePath("dark.png"), "--theme", "dark"}), 0);
    ASSERT_EQ(runScreenshot({"dashboard", out.filePath("light.png"), "--theme", "light"}), 0);
    const QImage dark(out.filePath("dark.png"));
    const QImage light(out.filePath("light.png"));
    // A point of the page's empty area.
    EXPECT_LT(qGray(dark.pixel(700, 500)), 60);
    EXPECT_GT(qGray(light.pixel(700, 500)), 200);
}

TEST(ScreenshotTest, BadRequestsAreRefusedWithASentence) {
    QTemporaryDir out;
    QString error;
    EXPECT_EQ(runScreenshot({"kitchen", out.filePath("x.png")}, &error), 2);
    EXPECT_TRUE(error.contains("is not a page")) << error.toStdString();
    EXPECT_EQ(runScreenshot({"dashboard", out.filePath("x.png"), "--theme", "sepia"}, &error), 2);
    EXPECT_TRUE(error.contains("dark")) << error.toStdString();
    EXPECT_EQ(runScreenshot({"dashboard", "/proc/velmox.png"}, &error), 1);
    EXPECT_TRUE(error.contains("could not be saved")) << error.toStdString();
}
