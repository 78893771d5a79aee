#include "platform/Trash.h"
#include "tests/support/VelmoxProcess.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStandardPaths>
#include <gtest/gtest.h>

using namespace velmox;

TEST(PaletteCommand, PrintsTheRankingAsJsonAndSaysWhenNothingMatches) {
    const test::VelmoxRun ranked =
        test::runVelmox({"palette", "fan", "temp", "--json", "--limit", "2"});
    ASSERT_EQ(ranked.exitCode, 0) << ranked.err.toStdString();
    const QJsonArray rows = QJsonDocument::fromJson(ranked.out).array();
    ASSERT_EQ(rows.size(), 1) << ranked.out.toStdString();
    EXPECT_EQ(rows.at(0).toObject(), (QJsonObject{{"id", "page:fanTemp"},
                                                  {"title", "Fan & Temperature"},
                                                  {"section", "entries"},
                                                  {"score", 270}}));

    const test::VelmoxRun none = test::runVelmox({"palette", "zzzz"});
    EXPECT_EQ(none.exitCode, 0);
    EXPECT_EQ(none.out, "Nothing matches “zzzz”. Try another word, for example a page, a tab or a "
                        "command.\n");

    EXPECT_EQ(test::runVelmox({"palette", "--limit", "0"}).exitCode, 2);
}

TEST(PaletteCommand, RunsOnlyWhatRunsAndAsksFirstWithNoTerminalToAskOn) {
    const test::VelmoxRun harmful = test::runVelmox({"palette", "--run", "automation:emptyTrash"});
    EXPECT_EQ(harmful.exitCode, 1);
    EXPECT_TRUE(harmful.err.startsWith("This runs the automation task “Empty Trash”.\n\nIt can "
                                       "change or delete data.\n\nNothing was run: confirm with "
                                       "--yes"))
        << harmful.err.toStdString();

    // A place opens in the window, which needs the desktop's session bus (there is none here).
    const test::VelmoxRun place = test::runVelmox({"palette", "--run", "tab:powerUser/activity"});
    EXPECT_EQ(place.exitCode, 1);
    EXPECT_TRUE(place.err.startsWith("Reaching the Velmox window needs a desktop session bus"))
        << place.err.data();

    const test::VelmoxRun unknown = test::runVelmox({"palette", "--run", "automation:nothing"});
    EXPECT_EQ(unknown.exitCode, 1);
    EXPECT_TRUE(unknown.err.startsWith("There is no palette entry “automation:nothing”."));

    // --yes belongs to a run; a run takes no query.
    EXPECT_EQ(test::runVelmox({"palette", "fan", "--yes"}).exitCode, 2);
    EXPECT_EQ(test::runVelmox({"palette", "fan", "--run", "page:fanTemp"}).exitCode, 2);
}

TEST(PaletteCommand, MaintenanceTasksSayWhatTheyDeleteOrEndAndNeedYesWithoutATerminal) {
    const QString trashed = Trash::filesFolder() + QStringLiteral("/old notes.txt");
    ASSERT_TRUE(QDir().mkpath(Trash::filesFolder()));
    QFile file(trashed);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(QByteArray(5000, 'x'));
    file.close();

    const test::VelmoxRun asked = test::runVelmox({"palette", "--run", "task:empty-trash"});
    EXPECT_EQ(asked.exitCode, 1);
    EXPECT_TRUE(asked.err.startsWith("This runs the task “Trash Management”.\n\nIt can change or "
                                     "delete data.\n\nThis permanently deletes 1 item ("))
        << asked.err.toStdString();
    EXPECT_TRUE(asked.err.contains(") from the Trash. This cannot be undone.\n\nNothing was run"));
    EXPECT_TRUE(QFile::exists(trashed));

    const test::VelmoxRun ran = test::runVelmox({"palette", "--run", "task:empty-trash", "--yes"});
    EXPECT_EQ(ran.exitCode, 0) << ran.err.toStdString();
    EXPECT_TRUE(ran.out.startsWith("Trash Management: Freed ")) << ran.out.toStdString();
    EXPECT_FALSE(QFile::exists(trashed));

    // Without a display to ask windows on, no app can be found to end: it says so, even with
    // --yes, and ends nothing.
    const test::VelmoxRun hung = test::runVelmox({"palette", "--run", "task:hung-apps", "--yes"});
    EXPECT_EQ(hung.exitCode, 1);
    EXPECT_EQ(hung.err, "There is no X11 display here, so windows that no longer answer can't be "
                        "found. No app will be ended.\n");
}

TEST(PaletteCommand, ACustomCommandIsNotRunWhenTheKeyringCannotCheckIt) {
    // No Secret Service here: the signature cannot be checked, which is not a change.
    const QString file = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
                         QStringLiteral("/Velmox/Palette Commands.json");
    ASSERT_TRUE(QDir().mkpath(QFileInfo(file).path()));
    QFile commands(file);
    ASSERT_TRUE(commands.open(QIODevice::WriteOnly));
    commands.write(R"([{"id": "c1", "name": "Hi", "command": "echo hi", "signature": "00"}])");
    commands.close();

    const test::VelmoxRun run = test::runVelmox({"palette", "--run", "command:c1", "--yes"});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_TRUE(run.err.contains("“Hi” was not run: the integrity key in the keyring"))
        << run.err.toStdString();
}
