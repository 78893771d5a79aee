#include "app/TrayFigure.h"

#include "monitor/SystemStats.h"

#include <QImage>
#include <gtest/gtest.h>

using namespace velmox;

namespace {

// The bounding box of the pixels drawn in `ink` (within a tolerance).
QRect inkBox(const QImage& image, QColor ink) {
    QRect box;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) {
            const QColor pixel = image.pixelColor(x, y);
            if (pixel.alpha() > 200 && std::abs(qGray(pixel.rgb()) - qGray(ink.rgb())) < 40)
                box |= QRect(x, y, 1, 1);
        }
    return box;
}

} // namespace

TEST(TrayFigureTest, EveryFigureFitsInFourCharacters) {
    SystemStats stats;
    for (TrayFigure figure : allTrayFigures()) {
        if (figure == TrayFigure::none)
            continue;
        EXPECT_EQ(trayFigureText(figure, stats), QStringLiteral("–"))
            << rawValue(figure).toStdString();
    }

    stats.networkHistoryIn = {0};
    for (double rate = 0; rate < 5e13; rate = rate * 1.37 + 1) {
        stats.networkSpeedIn = rate;
        const QString text = trayFigureText(TrayFigure::network, stats);
        EXPECT_LE(text.size(), 4) << rate << " gave " << text.toStdString();
    }
    stats.networkSpeedIn = 4.2 * 1024 * 1024;
    EXPECT_EQ(trayFigureText(TrayFigure::network, stats), QStringLiteral("4.2M"));
    stats.networkSpeedIn = 1023;
    EXPECT_EQ(trayFigureText(TrayFigure::network, stats), QStringLiteral("1.0K"));

    stats.cpuHistory = {100};
    stats.cpuUser = 80;
    stats.cpuSystem = 20.4;
    EXPECT_EQ(trayFigureText(TrayFigure::processor, stats), QStringLiteral("100%"));
    stats.ramUsed = 3;
    stats.ramFree = 1;
    EXPECT_EQ(trayFigureText(TrayFigure::memory, stats), QStringLiteral("75%"));
    stats.cpuTemp = 54.4;
    EXPECT_EQ(trayFigureText(TrayFigure::temperature, stats), QStringLiteral("54°"));

    EXPECT_EQ(trayFigureFromRaw(QStringLiteral("processor")), TrayFigure::processor);
    EXPECT_EQ(trayFigureFromRaw(QStringLiteral("cpu")), TrayFigure::none);
}

TEST(TrayFigureTest, TheWidestFiguresAreDrawnWholeAndLargeInBothAppearances) {
    for (Appearance appearance : {Appearance::dark, Appearance::light})
        for (int size : {22, 32})
            for (const QString& text : {QStringLiteral("100%"), QStringLiteral("4.2M")}) {
                const QImage image = trayFigureImage(text, appearance, size);
                ASSERT_EQ(image.size(), QSize(size, size));
                const QColor badge = image.pixelColor(size / 2, 2);
                const QColor ink = appearance == Appearance::dark ? Qt::white : Qt::black;
                EXPECT_GT(std::abs(qGray(badge.rgb()) - qGray(ink.rgb())), 150)
                    << "text and badge must contrast";
                const QRect box = inkBox(image, ink);
                const auto where = QStringLiteral("%1 at %2 px").arg(text).arg(size).toStdString();
                ASSERT_FALSE(box.isEmpty()) << where;
                // Not cut at the edges, and wide and tall enough to be read at a glance.
                EXPECT_GE(box.left(), 1) << where;
                EXPECT_LE(box.right(), size - 2) << where;
                EXPECT_GE(box.width(), size * 0.6) << where;
                EXPECT_GE(box.height(), size * 0.3) << where;
            }
}
