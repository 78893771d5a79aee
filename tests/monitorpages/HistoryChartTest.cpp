#include "app/pages/HistoryChart.h"

#include "app/Appearance.h"

#include <QImage>
#include <gtest/gtest.h>

namespace velmox {
namespace {

// How many pixels of the image are close to `color`.
int pixelsNear(const QImage& image, const QColor& color) {
    int count = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) {
            const QColor pixel = image.pixelColor(x, y);
            if (std::abs(pixel.red() - color.red()) + std::abs(pixel.green() - color.green()) +
                    std::abs(pixel.blue() - color.blue()) <
                60)
                ++count;
        }
    return count;
}

TEST(HistoryChart, ScaleRoundsUpAndIgnoresSamplesScrolledOut) {
    HistoryChart chart;
    EXPECT_EQ(chart.scaleMaximum(), 1.0) << "an empty chart still has a scale";
    chart.setSeries({{{0.0, 130.0, 20.0}, QPalette::Highlight, {}}});
    EXPECT_EQ(chart.scaleMaximum(), 200.0);
    chart.setSeries({{{4100.0, 0.0, 20.0}, QPalette::Highlight, {}}});
    EXPECT_EQ(chart.scaleMaximum(), 5000.0);
    chart.setCapacity(2); // the peak is no longer on screen
    EXPECT_EQ(chart.scaleMaximum(), 20.0);
    chart.setFixedMaximum(100.0);
    EXPECT_EQ(chart.scaleMaximum(), 100.0);
}

TEST(HistoryChart, LineStandsOutInBothAppearances) {
    for (Appearance appearance : {Appearance::dark, Appearance::light}) {
        HistoryChart chart;
        chart.setPalette(paletteFor(appearance));
        chart.setAutoFillBackground(true);
        chart.setBackgroundRole(QPalette::Base);
        chart.resize(240, 70);
        chart.setFixedMaximum(100.0);
        QList<double> samples;
        for (int i = 0; i < 30; ++i)
            samples.append(i % 2 ? 80.0 : 20.0);
        chart.setSeries({{samples, QPalette::Highlight, {}}});
        const QImage image = chart.grab().toImage();
        const QColor line = chart.palette().color(QPalette::Highlight);
        EXPECT_GT(pixelsNear(image, line), 200) << rawValue(appearance).toStdString();
        // The right edge holds the newest sample (80%), the left edge no empty gap.
        EXPECT_GT(pixelsNear(image.copy(0, 0, 4, 70), line), 0);
        EXPECT_GT(pixelsNear(image.copy(236, 10, 4, 10), line), 0);
    }
}

} // namespace
} // namespace velmox
