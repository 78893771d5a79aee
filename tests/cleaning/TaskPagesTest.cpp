#include "app/Appearance.h"
#include "app/TaskStatusOverlay.h"
#include "app/pages/CleanupPage.h"
#include "app/pages/MaintenancePage.h"
#include "app/pages/SmartScanPreview.h"
#include "app/pages/TaskListPanel.h"
#include "app/pages/TaskRow.h"
#include "platform/PlatformPaths.h"
#include "platform/Trash.h"
#include "services/AppNavigationState.h"
#include "services/AppStatusCenter.h"
#include "tests/cleaning/CleaningTestSupport.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QKeyEvent>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>
#include <gtest/gtest.h>
#include <unistd.h>

using namespace velmox;
using namespace velmox::test;

namespace {

// Screenshots in both appearances, into $VELMOX_SHOTS when it is set, to be looked at.
void saveShots(QWidget& widget, const QString& name) {
    const QString folder = qEnvironmentVariable("VELMOX_SHOTS");
    if (folder.isEmpty())
        return;
    Settings settings;
    for (const char* appearance : {"light", "dark"}) {
        EXPECT_TRUE(settings.setValue(kAppearanceKey, QString::fromLatin1(appearance)));
        AppearanceController(settings).apply();
        QCoreApplication::processEvents(); // lays the page out again in the new style
        widget.grab().save(folder + "/" + name + "-" + appearance + ".png");
    }
}

QStringList titles(const TaskListPanel& panel) {
    QStringList list;
    for (const TaskRow* row : panel.rows())
        list << row->task().title;
    return list;
}

class TaskPagesTest : public ::testing::Test {
protected:
    void SetUp() override {
        QDir(caches).removeRecursively();
        QDir(world.places.trash).removeRecursively();
        QDir().mkpath(caches);
    }

    // Answers every confirmation and remembers the questions.
    void answer(TaskListPanel& panel, bool yes) {
        panel.setConfirmHandler([this, yes](const QString& question, const QString& details) {
            questions << question;
            informative << details;
            return yes;
        });
    }

    CleaningWorld world;
    AppNavigationState navigation;
    AppStatusCenter status{navigation, world.clock};
    // The application's one runner, shared by both pages.
    OptimizationTaskRunner runner{world.privilege.shell, world.history, &status};
    const QString caches = PlatformPaths::userCaches();
    QStringList questions;
    QStringList informative;
};

TEST_F(TaskPagesTest, CleanupPageRunsATaskFromItsRowAndShowsTheResultInline) {
    writeFile(caches + "/app one/blob", QByteArray(120000, 'a'));
    CleanupPage page(runner, navigation, world.privilege.settings, world.clock, world.registry);
    page.resize(900, 700);
    page.show();
    TaskListPanel& panel = *page.tasks();
    answer(panel, true);
    EXPECT_EQ(titles(panel).first(), "Font Cache Cleaner");
    EXPECT_TRUE(titles(panel).contains("Firefox Privacy Cleaner"));
    EXPECT_FALSE(titles(panel).contains("RAM Purge"));

    TaskRow* row = panel.row("User Cache Cleaner");
    ASSERT_NE(row, nullptr);
    ASSERT_TRUE(waitFor([&] { return row->sizeText() != "Measuring..."; }));
    EXPECT_TRUE(row->sizeText().endsWith("kB")) << row->sizeText().toStdString();

    bool remeasured = false;
    QObject::connect(&panel, &TaskListPanel::sizesMeasured, [&] { remeasured = true; });
    row->findChild<QPushButton*>()->click();
    EXPECT_FALSE(row->isRunEnabled());
    EXPECT_EQ(status.message(), "Running User Cache Cleaner...");
    EXPECT_TRUE(status.isActive());
    ASSERT_TRUE(waitFor([&] { return !row->resultText().isEmpty(); }));
    // Moved to the Trash on the same disk: nothing is freed yet, and nothing says so.
    EXPECT_TRUE(row->resultText().startsWith("Moved 1 item (1")) << row->resultText().toStdString();
    EXPECT_TRUE(row->isRunEnabled());
    EXPECT_TRUE(panel.overlay()->isSuccess());
    EXPECT_TRUE(questions.isEmpty()) << "a Safe task runs without asking";
    EXPECT_TRUE(status.message().value_or("").startsWith("Success: User Cache Cleaner moved 1"));
    EXPECT_TRUE(status.message().value_or("").endsWith(" kB to the Trash."));
    EXPECT_FALSE(status.isActive());
    panel.overlay()->dismiss();
    ASSERT_TRUE(waitFor([&] { return remeasured; }));
    saveShots(page, "cleanup-page");
}

TEST_F(TaskPagesTest, ThePagesThatMentionTheActivityLogLeadThere) {
    const auto opensActivity = [&](auto follow) {
        navigation.navigate("cleanup", std::nullopt);
        navigation.setDetail("powerUser", "automation");
        follow();
        return navigation.currentPage() == "powerUser" &&
               navigation.detail("powerUser") == "activity";
    };
    CleanupPage cleanup(runner, navigation, world.privilege.settings, world.clock, world.registry);
    cleanup.show();
    cleanup.activateWindow();
    ASSERT_TRUE(waitFor([&] { return cleanup.isActiveWindow(); }));
    QLabel* note = cleanup.putBackNote();
    EXPECT_TRUE(note->text().contains("<a href=\"activity\">the Activity tab</a>"));
    EXPECT_TRUE(opensActivity([&] {
        // The window gave the note the focus; Tab selects its link, Return follows it.
        ASSERT_TRUE(note->hasFocus());
        for (const Qt::Key key : {Qt::Key_Tab, Qt::Key_Return}) {
            QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier);
            QCoreApplication::sendEvent(note, &press);
        }
    }));

    MaintenancePage maintenance(runner, navigation, world.clock, world.registry);
    auto* show = maintenance.findChild<QPushButton*>("showActivity");
    ASSERT_NE(show, nullptr);
    EXPECT_TRUE(opensActivity([&] { show->click(); }));
    // A result that does not mention the log has no such button.
    maintenance.tasks()->overlay()->showFinished("Done.", true);
    EXPECT_TRUE(maintenance.tasks()->overlay()->activityButton()->isHidden());
}

TEST_F(TaskPagesTest, RiskyTasksAskFirstAndDecliningRunsNothing) {
    MaintenancePage page(runner, navigation, world.clock, world.registry);
    TaskListPanel& panel = *page.tasks();
    answer(panel, false);
    EXPECT_EQ(titles(panel).first(), "RAM Purge");
    EXPECT_FALSE(panel.runTask(panel.row("RAM Purge")->task()));
    EXPECT_EQ(questions, QStringList{"Run “RAM Purge”?"});
    // Ending apps is asked about once they are known, naming them.
    EXPECT_TRUE(panel.runTask(panel.row("Hung Process Killer")->task()));
    ASSERT_TRUE(waitFor([&] { return questions.size() == 2; }));
    EXPECT_EQ(questions.last(), "Run “Hung Process Killer”?");
    EXPECT_TRUE(informative.last().startsWith(
        "There is no X11 display here, so windows that no longer answer can't be found. No app "
        "will be ended.\n\n"));
    QCoreApplication::processEvents();
    EXPECT_TRUE(world.history.entries().isEmpty());
    EXPECT_TRUE(world.privilege.prompt.lines.isEmpty());

    page.resize(900, 700);
    saveShots(page, "maintenance-page");
    page.findChild<QPushButton*>("openPowerUser")->click();
    EXPECT_EQ(navigation.currentPage(), "powerUser");
}

TEST_F(TaskPagesTest, DeletingTasksSayWhatAndHowMuchBeforeDeletingAnything) {
    writeFile(caches + "/old/blob", QByteArray(100000, 'o'));
    writeFile(caches + "/note.txt", "n");
    for (const char* name : {"old", "note.txt"})
        ASSERT_TRUE(Trash::moveToTrash(caches + "/" + name).has_value());
    const QString speech = caches + "/speech-dispatcher";
    writeFile(speech + "/log/speech.log", QByteArray(20000, 's'));
    CleanupPage page(runner, navigation, world.privilege.settings, world.clock, world.registry);
    TaskListPanel& panel = *page.tasks();

    // The real question, declined.
    QString asked;
    QString button;
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, [&] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (!box)
            return;
        poll.stop();
        asked = box->text() + "\n" + box->informativeText();
        button = box->buttons().first()->text() + "/" + box->buttons().last()->text();
        saveShots(*box, "delete-question");
        box->reject();
    });
    poll.start(20);
    EXPECT_TRUE(panel.runTask(panel.row("Trash Management")->task()));
    ASSERT_TRUE(waitFor([&] { return !asked.isEmpty(); }));
    EXPECT_TRUE(asked.startsWith("Run “Trash Management”?\nThis permanently deletes 2 items (1"));
    EXPECT_TRUE(asked.endsWith(" kB) from the Trash. This cannot be undone."))
        << asked.toStdString();
    EXPECT_TRUE(button.contains("Delete Permanently")) << button.toStdString();
    QCoreApplication::processEvents();
    EXPECT_EQ(entries(Trash::filesFolder()).size(), 2) << "declined: nothing deleted";
    EXPECT_TRUE(world.history.entries().isEmpty());

    // The speech cache is a Safe task, but what it deletes is gone for good all the same.
    answer(panel, true);
    TaskRow* row = panel.row("Speech & Dictation Cache Cleaner");
    EXPECT_TRUE(panel.runTask(row->task()));
    ASSERT_TRUE(waitFor([&] { return !row->resultText().isEmpty(); }));
    EXPECT_TRUE(informative.last().startsWith("This permanently deletes 1 item ("));
    EXPECT_TRUE(informative.last().endsWith(
        " kB) from the speech service's cache. This cannot be undone."));
    EXPECT_FALSE(exists(speech));
}

TEST_F(TaskPagesTest, SmartScanPreviewsItsTasksAndRunsAndRemembersTheTickedOnes) {
    writeFile(caches + "/one/blob", QByteArray(50000, 'a'));
    writeFile(caches + "/two", QByteArray(50000, 'b'));
    Settings& settings = world.privilege.settings;
    EXPECT_TRUE(settings.setValue(SmartScan::choicesKey, {}));
    CleanupPage page(runner, navigation, settings, world.clock, world.registry);
    TaskListPanel& panel = *page.tasks();
    answer(panel, true);
    std::optional<SmartScan::Plan> shown;
    QList<bool> ticksShown;
    panel.setPreviewHandler([&](const SmartScan::Plan& plan, const QList<bool>& chosen) {
        shown = plan;
        ticksShown = chosen;
        SmartScanPreview preview(plan, chosen);
        preview.checkBox("Speech & Dictation Cache Cleaner")->setChecked(false);
        saveShots(preview, "smart-scan-preview");
        return std::optional<QList<bool>>(preview.chosen());
    });
    std::optional<SmartScan::Summary> summary;
    QObject::connect(&panel, &TaskListPanel::smartScanFinished,
                     [&](const SmartScan::Summary& done) { summary = done; });

    ASSERT_TRUE(page.startSmartScan());
    EXPECT_FALSE(page.startSmartScan()) << "one scan at a time";
    ASSERT_TRUE(waitFor([&] { return summary.has_value(); }));
    ASSERT_TRUE(shown.has_value());
    EXPECT_TRUE(questions.isEmpty()) << "the preview is the one question";

    QStringList shownTitles;
    for (const OptimizationTask& task : shown->tasks)
        shownTitles << task.title;
    const auto at = [&](const char* title) { return shownTitles.indexOf(title); };
    // Slows Linux down afterwards: offered, but unticked until the user ticks it.
    ASSERT_GE(at("RAM Purge"), 0);
    EXPECT_FALSE(ticksShown.at(at("RAM Purge")));
    EXPECT_TRUE(ticksShown.at(at("User Cache Cleaner")));
    const QString moves = shown->touches(at("User Cache Cleaner"));
    EXPECT_TRUE(moves.startsWith("Moves 1") && moves.endsWith(" kB from ~/.cache to the Trash."))
        << moves.toStdString();
    EXPECT_TRUE(shown->touches(at("Speech & Dictation Cache Cleaner"))
                    .startsWith("This permanently deletes 0 items ("));
    EXPECT_TRUE(shown->touches(at("Hung Process Killer"))
                    .startsWith("There is no X11 display here, so windows that no longer answer "
                                "can't be found."));

    // Ran what was ticked, nothing else, and keeps the choice for next time.
    const qsizetype ticked = ticksShown.count(true) - 1;
    EXPECT_EQ(summary->succeeded + summary->failed.size(), ticked);
    EXPECT_EQ(summary->puttableBack, 2);
    EXPECT_GE(summary->bytesMovedToTrash, 100000);
    EXPECT_TRUE(summary->text().contains(" kB moved to the Trash."))
        << summary->text().toStdString();
    EXPECT_EQ(panel.overlay()->message(), summary->text());
    // The summary says the moved items can be put back from the log: its button goes there.
    ASSERT_FALSE(panel.overlay()->activityButton()->isHidden());
    panel.overlay()->activityButton()->click();
    EXPECT_EQ(navigation.currentPage(), "powerUser");
    EXPECT_EQ(navigation.detail("powerUser"), "activity");
    EXPECT_TRUE(panel.overlay()->isHidden());
    QCoreApplication::processEvents();
    EXPECT_EQ(world.history.entries().size(), ticked);
    for (const ActionHistoryEntry& entry : world.history.entries())
        EXPECT_NE(entry.action, "Speech & Dictation Cache Cleaner");
    EXPECT_FALSE(SmartScan::isChosen(world.task("Speech & Dictation Cache Cleaner"), settings));
    EXPECT_TRUE(SmartScan::isChosen(world.task("User Cache Cleaner"), settings));
    EXPECT_FALSE(SmartScan::isChosen(world.task("RAM Purge"), settings));
    // Root tasks went to the (recorded) system prompt, as there is no saved password, unless
    // Velmox runs as root and runs them itself.
    EXPECT_EQ(world.privilege.prompt.lines.contains(
                  world.registry.task("Log File Scrubber")->shellScript),
              ::geteuid() != 0);
}

TEST_F(TaskPagesTest, RowsFollowRunsAndTheDiskWhileThePageIsShown) {
    writeFile(caches + "/weekly/blob", QByteArray(60000, 'w'));
    CleanupPage page(runner, navigation, world.privilege.settings, world.clock, world.registry);
    TaskRow* row = page.tasks()->row("User Cache Cleaner");
    TaskRow* trash = page.tasks()->row("Trash Management");
    ASSERT_NE(row, nullptr);
    const auto sizes = [&] { return row->sizeText() + " / " + trash->sizeText(); };
    const auto measuredOnce = [&](auto change) {
        bool measured = false;
        const QMetaObject::Connection connection =
            QObject::connect(page.tasks(), &TaskListPanel::sizesMeasured, [&] { measured = true; });
        change();
        const bool done = waitFor([&] { return measured && !page.tasks()->isBusy(); });
        QObject::disconnect(connection);
        return done;
    };
    ASSERT_TRUE(measuredOnce([&] { page.show(); }));
    EXPECT_EQ(trash->sizeText(), "0 bytes");

    // As the weekly clean does: straight on the runner, not through the page. The row follows
    // the run, and every card is measured again after it: the Trash now holds the cache.
    bool done = false;
    ASSERT_TRUE(measuredOnce([&] {
        runner.run(world.task("User Cache Cleaner"), [&](const TaskRunResult&) { done = true; });
        EXPECT_FALSE(row->isRunEnabled());
        EXPECT_TRUE(page.tasks()->isBusy());
    }));
    EXPECT_TRUE(done);
    EXPECT_TRUE(row->isRunEnabled());
    EXPECT_TRUE(row->resultText().startsWith("Moved 1 item (6")) << row->resultText().toStdString();
    EXPECT_TRUE(trash->sizeText().endsWith(" kB")) << sizes().toStdString();

    // While shown, the cards follow the disk every so often.
    writeFile(caches + "/grown", QByteArray(2000000, 'g'));
    ASSERT_TRUE(measuredOnce([&] { world.clock.advance(TaskListPanel::kRemeasureInterval); }));
    EXPECT_TRUE(row->sizeText().endsWith(" MB")) << sizes().toStdString();

    // Hidden, it leaves the disk alone; shown again, it measures at once.
    page.hide();
    QFile::remove(caches + "/grown");
    world.clock.advance(TaskListPanel::kRemeasureInterval * 3);
    QCoreApplication::processEvents();
    EXPECT_TRUE(row->sizeText().endsWith(" MB"));
    ASSERT_TRUE(measuredOnce([&] { page.show(); }));
    EXPECT_FALSE(row->sizeText().endsWith(" MB")) << sizes().toStdString();

    // A page that goes while it measures stops its worker first; nothing arrives afterwards.
    auto gone = std::make_unique<CleanupPage>(runner, navigation, world.privilege.settings,
                                              world.clock, world.registry);
    gone->show();
    gone.reset();
    QCoreApplication::processEvents();
}

} // namespace
