#include "app/PaletteWindow.h"
#include "app/SingleInstance.h"
#include "services/ActionHistoryStore.h"
#include "tests/app/WindowFixture.h"
#include "tests/support/VelmoxProcess.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTest>
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
    QTRY_VERIFY_WITH_TIMEOUT(!commandId().isEmpty(), 15000);
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
    QTRY_COMPARE_WITH_TIMEOUT(status(), QStringLiteral("Success: “Touch marker” finished."), 15000);
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
    QTRY_COMPARE_WITH_TIMEOUT(asked, 1, 15000);
    EXPECT_EQ(status(), QStringLiteral("Error: ") +
                            PaletteCommandStore::changedOutsideMessage("Touch marker"));
    EXPECT_FALSE(QFile::exists(marker));

    palette.open(commandId());
    QTRY_COMPARE_WITH_TIMEOUT(asked, 2, 15000);
    QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(marker), 15000);
    QFile ran(marker);
    ASSERT_TRUE(ran.open(QIODevice::ReadOnly));
    EXPECT_EQ(ran.readAll(), "y\n");
}

struct PaletteFromOutsideTest : test::LaunchFixture {};

TEST_F(PaletteFromOutsideTest, VelmoxPaletteWindowOpensThePaletteOfTheRunningVelmox) {
    launchDelegate();
    SingleInstance instance;
    ASSERT_TRUE(instance.claim());
    QObject::connect(&instance, &SingleInstance::paletteRequested, delegate.get(),
                     &AppDelegate::showPalette);

    QProcess command;
    command.start(QStringLiteral(VELMOX_BINARY), {"palette", "--window"});
    QTRY_VERIFY_WITH_TIMEOUT(
        delegate->mainWindow() && delegate->mainWindow()->commandPalette()->isVisible(), 15000);
    EXPECT_TRUE(windowShown());
    QTRY_COMPARE_WITH_TIMEOUT(command.state(), QProcess::NotRunning, 15000);
    EXPECT_EQ(command.exitCode(), 0) << command.readAllStandardError().toStdString();
}

} // namespace
