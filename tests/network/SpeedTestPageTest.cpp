#include "app/pages/SpeedTestPage.h"

#include "app/pages/HistoryChart.h"
#include "network/NetworkQualityBackend.h"
#include "network/NetworkSpeedTestViewModel.h"
#include "services/Settings.h"
#include "tests/support/ManualClock.h"

#include <QApplication>
#include <QComboBox>
#include <QDeadlineTimer>
#include <QFile>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedWidget>
#include <QTemporaryDir>
#include <QThread>
#include <QToolButton>
#include <QTreeWidget>
#include <algorithm>
#include <gtest/gtest.h>

using namespace velmox;
using namespace velmox::test;

namespace {

QPushButton* button(QWidget& page, const QString& text) {
    for (QPushButton* candidate : page.findChildren<QPushButton*>())
        if (candidate->text() == text)
            return candidate;
    return nullptr;
}

QLabel* figure(QWidget& page, const QString& name) {
    for (QLabel* label : page.findChildren<QLabel*>())
        if (label->accessibleName() == name)
            return label;
    return nullptr;
}

QStringList column(QTreeWidget& list, int index) {
    QStringList texts;
    for (int row = 0; row < list.topLevelItemCount(); ++row)
        texts.append(list.topLevelItem(row)->text(index));
    return texts;
}

} // namespace

// The page over a model whose tool is a real child process: each run answers with a faster
// download than the one before, after a short pause.
TEST(SpeedTestPage, RunsShowsFiguresAndKeepsAHistory) {
    QTemporaryDir dir;
    const QString tool = dir.filePath("networkquality");
    QFile script(tool);
    ASSERT_TRUE(script.open(QIODevice::WriteOnly));
    script.write("#!/bin/sh\ncd \"$(dirname \"$0\")\"\necho x >> runs\nsleep 0.3\n"
                 "echo \"{\\\"dl_throughput\\\": $(( $(wc -l < runs) * 50000000 )), "
                 "\\\"ul_throughput\\\": 21000000, \\\"base_rtt\\\": 18.6}\"\n");
    script.close();
    script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);

    Settings settings;
    ManualClock clock;
    NetworkQualityBackend backend(tool);
    NetworkSpeedTestViewModel model(backend, settings, clock);
    SpeedTestPage page(model);
    page.resize(760, 620);
    page.show();
    int confirmations = 0;
    page.setClearConfirmation([&] { return ++confirmations > 1; });

    auto* list = page.findChild<QTreeWidget*>();
    auto* stack = page.findChild<QStackedWidget*>();
    auto* progress = page.findChild<QProgressBar*>();
    ASSERT_TRUE(list && stack && progress);
    EXPECT_EQ(stack->currentWidget()->property("text").toString(), "No test history yet.");

    for (int run = 0; run < 3; ++run) {
        button(page, "Start Test")->click();
        EXPECT_FALSE(button(page, "Start Test")->isEnabled());
        EXPECT_TRUE(button(page, "Cancel")->isEnabled());
        EXPECT_TRUE(progress->isVisible());
        EXPECT_EQ(figure(page, "Download")->text(), "Testing...");
        QDeadlineTimer deadline(10000);
        while (model.isTesting() && !deadline.hasExpired()) {
            QApplication::processEvents(QEventLoop::AllEvents, 20);
            QThread::msleep(5);
        }
        clock.advance(std::chrono::hours(1));
    }
    EXPECT_EQ(figure(page, "Download")->text(), "150.0 Mbps");
    EXPECT_EQ(figure(page, "Latency")->text(), "18 ms");
    EXPECT_FALSE(progress->isVisible());
    EXPECT_EQ(column(*list, 1), (QStringList{"150.0 Mbps", "100.0 Mbps", "50.0 Mbps"}));
    ASSERT_EQ(page.findChild<HistoryChart*>()->series().size(), 2);
    EXPECT_EQ(page.findChild<HistoryChart*>()->series().at(0).samples,
              (QList<double>{50, 100, 150}));

    // A picture of the page to look at, when asked for.
    if (const QString folder = qEnvironmentVariable("VELMOX_SCREENSHOT_DIR"); !folder.isEmpty())
        page.grab().save(folder + "/speedtest-page.png");

    // The unit picker shows the figures and the chart in the new unit; rows keep their text.
    page.findChild<QComboBox*>()->setCurrentText("MBps");
    EXPECT_EQ(figure(page, "Download")->text(), "18.8 MBps");
    EXPECT_EQ(settings.stringValue(NetworkSpeedTestViewModel::unitKey), "MBps");
    EXPECT_EQ(page.findChild<HistoryChart*>()->series().at(0).samples.last(), 18.75);

    page.findChild<QToolButton*>()->click();
    EXPECT_FALSE(page.isNewestFirst());
    EXPECT_EQ(column(*list, 1), (QStringList{"50.0 Mbps", "100.0 Mbps", "150.0 Mbps"}));

    // Clearing asks first: refused, nothing goes; confirmed, all goes and stays gone.
    button(page, "Clear All History")->click();
    EXPECT_EQ(list->topLevelItemCount(), 3);
    button(page, "Clear All History")->click();
    EXPECT_EQ(stack->currentWidget()->property("text").toString(), "No test history yet.");
    model.reloadHistory();
    EXPECT_TRUE(model.history().isEmpty());
    EXPECT_FALSE(button(page, "Clear All History")->isEnabled());

    // Cancel from the page.
    button(page, "Start Test")->click();
    button(page, "Cancel")->click();
    EXPECT_TRUE(std::ranges::any_of(page.findChildren<QLabel*>(), [](QLabel* label) {
        return label->text() == "Speed test cancelled.";
    }));
    EXPECT_TRUE(button(page, "Start Test")->isEnabled());
    EXPECT_EQ(figure(page, "Download")->text(), "--");
}
