// The hung-app task from the palette against real windows on a private X server
// (with-x-display.sh): they answer pings until they are stopped with SIGSTOP.
#include "app/PaletteWindow.h"
#include "services/ActionHistoryStore.h"
#include "tests/app/WindowFixture.h"

#include <QProcess>
#include <QTest>
#include <csignal>
#include <gtest/gtest.h>

using namespace velmox;
using namespace std::chrono_literals;

namespace {

struct PaletteHungAppsTest : test::WindowFixture {
    PaletteWindow palette{services};
    std::vector<std::unique_ptr<QProcess>> windows;
    QStringList questions;

    PaletteHungAppsTest() {
        OptimizationTaskRunner::Options options;
        options.windowAnswerWait = 1s;
        services.taskRunner().setOptions(options);
        palette.setConfirm([this](const QString& question) {
            questions << question;
            return true;
        });
    }

    ~PaletteHungAppsTest() override {
        for (const auto& window : windows) {
            ::kill(static_cast<pid_t>(window->processId()), SIGCONT);
            window->kill();
            window->waitForFinished();
        }
    }

    // Starts a window and waits until the X server shows it.
    QProcess& openWindow(const QString& title) {
        auto& process = *windows.emplace_back(std::make_unique<QProcess>());
        process.start(QStringLiteral(VELMOX_TEST_WINDOW), {title});
        EXPECT_TRUE(process.waitForReadyRead(20000)) << process.readAllStandardError().data();
        return process;
    }

    QString status() { return services.status().message().value_or(QString()); }
};

TEST_F(PaletteHungAppsTest, NamesTheAppsItWouldEndAndEndsOnlyThoseOnceConfirmed) {
    ASSERT_FALSE(qEnvironmentVariableIsEmpty("DISPLAY"));
    QProcess& answering = openWindow(QStringLiteral("Fine Editor"));

    // Every window answers: it says so, asks nothing and records nothing.
    palette.open(QStringLiteral("task:hung-apps"));
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
            return status() ==
                   QStringLiteral("Success: Every window answers, so no app will be ended.");
        },
        15000))
        << status().toStdString();
    EXPECT_TRUE(questions.isEmpty());
    EXPECT_TRUE(services.history().entries().isEmpty());

    QProcess& frozen = openWindow(QStringLiteral("Frozen Viewer"));
    const auto pid = static_cast<pid_t>(frozen.processId());
    ASSERT_EQ(::kill(pid, SIGSTOP), 0);
    palette.open(QStringLiteral("task:hung-apps"));
    ASSERT_TRUE(QTest::qWaitFor([&] { return !services.history().entries().isEmpty(); }, 20000));
    ASSERT_EQ(questions.size(), 1);
    EXPECT_EQ(questions.first(),
              QStringLiteral("This runs the task “Hung Process Killer”.\n\nIt can change or "
                             "delete data.\n\nThese apps no longer answer and will be ended: "
                             "“Frozen Viewer” (%1).")
                  .arg(pid));
    EXPECT_EQ(services.history().entries().first().action, QStringLiteral("Hung Process Killer"));
    EXPECT_TRUE(frozen.state() == QProcess::NotRunning || frozen.waitForFinished(5000));
    EXPECT_EQ(answering.state(), QProcess::Running);
}

} // namespace
