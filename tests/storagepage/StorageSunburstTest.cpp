#include "app/pages/StorageRingChart.h"

#include <QMouseEvent>
#include <QSignalSpy>
#include <QTest>
#include <cmath>
#include <gtest/gtest.h>
#include <numbers>

using namespace velmox;

namespace {

constexpr uint16_t kDir = NodeFlag::directory;

// root/ { a/ { a1 (600), sub/ { deep (300) }, crumb (0.001 % of the root) }, b (100) }
struct StorageSunburstTest : ::testing::Test {
    std::shared_ptr<FileTree> tree = std::make_shared<FileTree>("/r", "r");
    int32_t a, b, a1, sub, crumb, deep;
    StorageRingChart chart;

    StorageSunburstTest() {
        tree->append(-1, kDir, 0, 0, 0, "r");
        a = tree->append(0, kDir, 0, 0, 0, "a");
        b = tree->append(0, 0, 100'000, 100'000, 0, "b");
        a1 = tree->append(a, 0, 600'000, 600'000, 0, "a1");
        sub = tree->append(a, kDir, 0, 0, 0, "sub");
        crumb = tree->append(a, 0, 10, 10, 0, "crumb");
        deep = tree->append(sub, 0, 300'000, 300'000, 0, "deep");
        tree->sumFolderSizes();
        chart.resize(400, 640);
        chart.setTree(tree, TreeSortKey::real);
        chart.setSegments(StorageChart::segments(*tree, 0, TreeSortKey::real), "r");
        chart.setLevels(4);
        chart.show();
    }

    // The nodes met walking out from the middle at an angle (degrees clockwise from the top),
    // each once, in order.
    std::vector<int32_t> ray(double degrees) const {
        const double radians = degrees * std::numbers::pi / 180;
        std::vector<int32_t> met;
        for (double distance = 0; distance < 400; distance += 0.5) {
            const QPointF point =
                chart.ringCenter() + QPointF(std::sin(radians), -std::cos(radians)) * distance;
            const int32_t node = chart.nodeAt(point);
            if (node >= 0 && (met.empty() || met.back() != node))
                met.push_back(node);
        }
        return met;
    }

    // The middle of where a ray crosses a node's arc.
    QPoint pointOn(double degrees, int32_t node) const {
        const double radians = degrees * std::numbers::pi / 180;
        std::vector<QPointF> on;
        for (double distance = 0; distance < 400; distance += 0.5) {
            const QPointF point =
                chart.ringCenter() + QPointF(std::sin(radians), -std::cos(radians)) * distance;
            if (chart.nodeAt(point) == node)
                on.push_back(point);
        }
        return on.empty() ? QPoint(-1, -1) : on[on.size() / 2].toPoint();
    }
};

} // namespace

// a takes 90 % of the circle from the top, a1 two thirds of that, sub the rest.
TEST_F(StorageSunburstTest, HitTestingFollowsEachFolderOutward) {
    EXPECT_EQ(ray(100), (std::vector<int32_t>{a, a1}));
    EXPECT_EQ(ray(270), (std::vector<int32_t>{a, sub, deep}));
    EXPECT_EQ(ray(340), std::vector<int32_t>{b});
    // crumb would be far narrower than a pixel: it is not laid out.
    EXPECT_EQ(chart.arcCount(), 3u);
    chart.setLevels(2);
    EXPECT_EQ(ray(270), (std::vector<int32_t>{a, sub}));
    chart.setLevels(1);
    EXPECT_EQ(chart.arcCount(), 0u);
    EXPECT_EQ(ray(270), std::vector<int32_t>{a});
}

TEST_F(StorageSunburstTest, HoverShowsPathSizeAndShareAndClickOpensTheFolder) {
    QSignalSpy clicked(&chart, &StorageRingChart::segmentClicked);
    const QPoint onDeep = pointOn(290, deep);
    ASSERT_GE(onDeep.x(), 0);
    QTest::mouseMove(&chart, onDeep);
    EXPECT_EQ(chart.headline(), "a/sub/deep");
    EXPECT_EQ(chart.figure(),
              QLocale().formattedDataSize(300'000, 1, QLocale::DataSizeSIFormat) + " · 30%");
    // A file opens the folder it is in; a folder opens itself.
    QTest::mouseClick(&chart, Qt::LeftButton, {}, onDeep);
    QTest::mouseClick(&chart, Qt::LeftButton, {}, pointOn(290, sub));
    ASSERT_EQ(clicked.size(), 2);
    EXPECT_EQ(clicked[0][0].toInt(), sub);
    EXPECT_EQ(clicked[1][0].toInt(), sub);
    QTest::mouseMove(&chart, QPoint(1, 1));
    EXPECT_EQ(chart.headline(), "r");
}
