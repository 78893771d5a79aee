#include "app/PaletteWindow.h"
#include "app/SettingsWindow.h"
#include "app/SettingsWindowPresenter.h"
#include "app/SingleInstance.h"
#include "services/ActionHistoryStore.h"
#include "tests/app/WindowFixture.h"
#include "tests/support/VelmoxProcess.h"

#include <QAbstractButton>
#include <QApplication>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMessageBox>
#include <QProcess>
#include <QTest>
#include <QTimer>
#include <gtest/gtest.h>

using namespace velmox;

namespace {

// Custom commands from the palette window, signed under the integrity key of a private
// gnome-keyring.
struct PaletteCommandsWindowTest : test::WindowFixture {
    PaletteWindow palette{services};
    QTemporaryDir work;

    QString status() { return services.status().message().value_or(QString()); }

    QString commandId() {
        for (const PaletteEntry& entry : palette.index().entries())
            if (paletteKind(entry.id) == QLatin1String("command") && entry.id != kNewCommandId)
                return entry.id;
        return {};
    }
};

TEST_F(PaletteCommandsWindowTest, AddedCommandsRunAndChangedOnesWaitForTheUsersWord) {
    const QString marker = work.filePath(QStringLiteral("ran"));
    palette.setNewCommandPrompt([&] {
        return std::pair{QStringLiteral("Touch marker"),
                         QStringLiteral("echo x >> '%1'").arg(marker)};
    });
    palette.open(kNewCommandId);
    ASSERT_TRUE(QTest::qWaitFor([&] { return !commandId().isEmpty(); }, 15000));
    EXPECT_TRUE(status().startsWith(QStringLiteral("Success: “Touch marker” was saved")));

    QStringList questions;
    palette.setConfirm([&](const QString& question) {
        questions << question;
        return true;
    });
    palette.open(commandId());
    EXPECT_EQ(questions, QStringList{QStringLiteral("This runs your custom command:\n\necho x >> "
                                                    "'%1'")
                                         .arg(marker)});
    ASSERT_TRUE(QTest::qWaitFor(
        [&] { return status() == QStringLiteral("Success: “Touch marker” finished."); }, 15000));
    EXPECT_TRUE(QFile::exists(marker));
    EXPECT_EQ(services.history().entries().first().action,
              QStringLiteral("Custom command: Touch marker"));

    // Changed behind Velmox's back: not run; kept when the user says so, run once approved.
    QFile file(PaletteCommandStore().filePath());
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    QByteArray json = file.readAll();
    file.close();
    json.replace("echo x", "echo y");
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(json);
    file.close();
    QFile::remove(marker);

    QList<PaletteWindow::ChangedChoice> choices{PaletteWindow::ChangedChoice::keep,
                                                PaletteWindow::ChangedChoice::approveAndRun};
    int asked = 0;
    palette.setChangedPrompt([&](const PaletteCommand& command) {
        EXPECT_TRUE(command.command.startsWith(QStringLiteral("echo y")));
        return choices.value(asked++);
    });
    palette.open(commandId());
    ASSERT_TRUE(QTest::qWaitFor([&] { return asked == 1; }, 15000));
    EXPECT_EQ(status(), QStringLiteral("Error: ") +
                            PaletteCommandStore::changedOutsideMessage("Touch marker"));
    EXPECT_FALSE(QFile::exists(marker));

    palette.open(commandId());
    ASSERT_TRUE(QTest::qWaitFor([&] { return asked == 2; }, 15000));
    // Waiting for the file alone races the shell, which creates it before echo writes.
    ASSERT_TRUE(QTest::qWaitFor(
        [&] { return status() == QStringLiteral("Success: “Touch marker” finished."); }, 15000));
    QFile ran(marker);
    ASSERT_TRUE(ran.open(QIODevice::ReadOnly));
    EXPECT_EQ(ran.readAll(), "y\n");
}

// The running Velmox (this process, its window offscreen) asked by the real command line.
struct PaletteFromOutsideTest : test::LaunchFixture {
    SingleInstance instance;

    void launch() {
        launchDelegate();
        ASSERT_TRUE(instance.claim());
        instance.serve(*delegate);
    }

    // Runs `velmox palette ARGS` while this process keeps answering; its exit code.
    int palette(const QStringList& args) {
        command.start(QStringLiteral(VELMOX_BINARY), QStringList{"palette"} + args);
        command.closeWriteChannel();
        const bool ended =
            QTest::qWaitFor([&] { return command.state() == QProcess::NotRunning; }, 30000);
        errors = command.readAllStandardError();
        return ended ? command.exitCode() : -1;
    }

    QProcess command;
    QByteArray errors;
};

TEST_F(PaletteFromOutsideTest, VelmoxPaletteWindowOpensThePaletteOfTheRunningVelmox) {
    launch();
    ASSERT_EQ(palette({"--window"}), 0) << errors.toStdString();
    EXPECT_TRUE(delegate->mainWindow()->commandPalette()->isVisible());
    EXPECT_TRUE(windowShown());
}

TEST_F(PaletteFromOutsideTest, RunningAPlaceBringsTheRunningVelmoxThere) {
    launch();
    delegate->mainWindow()->hide();
    ASSERT_EQ(palette({"--run", "tab:networkTools/speedTest"}), 0) << errors.toStdString();
    EXPECT_TRUE(windowShown());
    EXPECT_EQ(services.navigation().currentPage(), QStringLiteral("networkTools"));
    EXPECT_EQ(services.navigation().detail(QStringLiteral("networkTools")),
              QStringLiteral("speedTest"));

    // A setting brings the settings window forward at its pane with its control focused, and
    // nothing else.
    delegate->mainWindow()->hide();
    ASSERT_EQ(palette({"--run", "setting:diskHealthNotify"}), 0) << errors.toStdString();
    ASSERT_NE(delegate->settings().view(), nullptr);
    EXPECT_TRUE(delegate->settings().window()->isVisible());
    EXPECT_EQ(delegate->settings().view()->currentSection(), QStringLiteral("diskHealth"));
    const auto* focused =
        qobject_cast<QAbstractButton*>(delegate->settings().window()->focusWidget());
    ASSERT_NE(focused, nullptr);
    EXPECT_EQ(focused->text(), QStringLiteral("Send notifications"));
    EXPECT_FALSE(windowShown());
    // Opening from outside is not something the user ran from the palette.
    EXPECT_TRUE(delegate->mainWindow()->commandPalette()->recents().isEmpty());
}

TEST_F(PaletteFromOutsideTest, TheAboutBoxDoesNotKeepTheCommandLineWaiting) {
    launch();
    // The box is closed once the command has ended, whenever that is.
    bool shown = false;
    QTimer closer;
    QObject::connect(&closer, &QTimer::timeout, [&] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (box && command.state() == QProcess::NotRunning) {
            shown = true;
            box->accept();
        }
    });
    closer.start(50);
    EXPECT_EQ(palette({"--run", "tab:settings/about"}), 0) << errors.toStdString();
    EXPECT_TRUE(QTest::qWaitFor([&] { return shown; }, 10000));
}

} // namespace
