#include "app/ScanResumeNotice.h"
#include "app/ScanResumeOffers.h"
#include "services/ActionHistoryStore.h"
#include "services/Settings.h"
#include "storage/CatalogReindexer.h"
#include "storage/StorageCatalogStore.h"
#include "tests/storagepage/StoragePageFixture.h"
#include "tests/support/DunstDaemon.h"
#include "tests/support/PrivateBus.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QLocale>
#include <QProcess>
#include <QPushButton>
#include <QStandardPaths>

using namespace velmox;
using namespace velmox::test;

namespace {

// A desktop's notification server with actions, on a bus of the test's own.
class NotificationServer : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")
public:
    struct Shown {
        QString summary;
        QString body;
        QStringList actions;
    };
    QList<Shown> shown; // the notification with id N is shown[N - 1]
    QList<uint> closed;
    QStringList capabilities{QStringLiteral("actions"), QStringLiteral("body")};

public slots:
    QStringList GetCapabilities() { return capabilities; }
    uint Notify(const QString&, uint, const QString&, const QString& summary, const QString& body,
                const QStringList& actions, const QVariantMap&, int) {
        shown.append({summary, body, actions});
        return uint(shown.size());
    }
    void CloseNotification(uint id) { closed.append(id); }

signals:
    void ActionInvoked(uint id, const QString& action);
};

// Scans of real folders interrupted in an earlier run, their checkpoints written by the real
// store, found by a real pass of the reindexer over the data folder; the offers, the notice
// and a Storage Manager page over the scan centre of this run.
struct ScanResumeOfferTest : StoragePageFixture {
    StorageCatalogStore store{QDir::homePath() + QStringLiteral("/ResumeData")};
    Settings settings{QDir::homePath() + QStringLiteral("/resume/Velmox.conf")};
    ActionHistoryStore history{settings, clock};
    ScanCenter scans{clock, &status, &store};
    std::optional<ScanResumeOffers> offers;

    ScanResumeOfferTest() {
        QDir(store.checkpointsFolder()).removeRecursively();
        EXPECT_TRUE(history.clear());
        offers.emplace(scans, store, navigation, &status,
                       [this](const QString& action, const QString& detail, bool success) {
                           history.record(action, detail, success);
                       });
    }

    // A walk of `path` paused in a run that then ended, so its checkpoint is all that is
    // left of it.
    void leaveInterrupted(const QString& path) {
        for (int folder = 0; folder < 300; ++folder)
            writeFile(path + QStringLiteral("/f%1/file").arg(folder), 100 + folder);
        ScanCenter earlier{clock, &status, &store};
        ScanJob& job = *earlier.job(StorageManagerPage::folderScope(path));
        bool paused = false;
        for (int attempt = 0; attempt < 5 && !paused; ++attempt) {
            job.start(false, 1);
            job.pause();
            ASSERT_TRUE(waitFor([&] { return job.state() != ScanJob::State::scanning; }));
            paused = job.isPaused();
        }
        ASSERT_TRUE(paused);
        ASSERT_TRUE(waitFor([&] { return QFile::exists(checkpointOf(path)); }));
    }

    QString checkpointOf(const QString& path) const {
        return store.checkpointFile(StorageManagerPage::folderScope(path).identifier());
    }

    void reindex() {
        CatalogReindexer reindexer(store, {});
        bool done = false;
        QObject::connect(&reindexer, &CatalogReindexer::finished, [&](const ReindexReport& report) {
            offers->add(report);
            done = true;
        });
        ASSERT_TRUE(reindexer.start());
        ASSERT_TRUE(waitFor([&] { return done; }));
    }

    static QPushButton* button(const ScanResumeNotice& notice, int row, const QString& name) {
        const auto buttons = notice.findChildren<QPushButton*>(name);
        // Rows are made in the order of the offers; the last made is the last offer.
        return row < buttons.size() ? buttons[row] : nullptr;
    }

    static std::shared_ptr<FileTree> fullScan(const QString& path) {
        DiskScanner scanner(ScanConfiguration::build(StorageManagerPage::folderScope(path)));
        if (!scanner.start())
            return nullptr;
        scanner.waitForFinished();
        return scanner.tree();
    }

    // An offer for a checkpoint of `path` as the reindexer reports one, with no file behind it.
    void offerCheckpointOf(const QString& path) {
        ScanCheckpointInfo checkpoint;
        checkpoint.scopeKey = StorageManagerPage::folderScope(path).identifier();
        checkpoint.savedAt = clock.now();
        ReindexReport found;
        found.checkpoints.append(checkpoint);
        offers->add(found);
    }
};

} // namespace

TEST_F(ScanResumeOfferTest, OffersEachCheckpointFoundOnceAndContinuesOrDiscardsIt) {
    const QString music = root + QStringLiteral("/Music");
    const QString photos = root + QStringLiteral("/Photos");
    const QString video = root + QStringLiteral("/Video");
    for (const QString& path : {music, photos, video})
        ASSERT_NO_FATAL_FAILURE(leaveInterrupted(path));

    ScanResumeNotice notice(*offers);
    notice.resize(900, 120);
    EXPECT_TRUE(notice.isHidden());
    ASSERT_NO_FATAL_FAILURE(reindex());
    // A second pass finds the same checkpoints: still one offer each.
    ASSERT_NO_FATAL_FAILURE(reindex());
    ASSERT_EQ(offers->offers().size(), 3);
    const QStringList texts = notice.shownTexts();
    ASSERT_EQ(texts.size(), 3);
    const ScanResumeOffer first = offers->offers().first();
    const QString date = QLocale().toString(first.savedAt.toLocalTime(), QLocale::ShortFormat);
    EXPECT_TRUE(
        texts.first().startsWith(QStringLiteral("The scan of %1 (%2) was interrupted on %3 with ")
                                     .arg(first.scope.title, first.scope.path, date)))
        << texts.first().toStdString();
    const QString shots = qEnvironmentVariable("VELMOX_STORAGEPAGE_SHOTS");
    notice.show();
    QCoreApplication::processEvents();
    const QImage shot = notice.grab().toImage();
    ASSERT_FALSE(shot.isNull());
    if (!shots.isEmpty())
        shot.save(shots + "/scan-resume-offer.png");

    // Opening a scope in the Storage Manager takes its checkpoint up there: not offered twice.
    StorageManagerPage page(scans, navigation, {});
    page.resize(1000, 640);
    page.setScope(StorageManagerPage::folderScope(video));
    ASSERT_TRUE(waitFor([&] { return page.job()->restoredFromCheckpoint(); }));
    ASSERT_EQ(offers->offers().size(), 2);
    EXPECT_EQ(notice.shownTexts().size(), 2);

    // Continue: the Storage Manager shows the scope and the walk goes on to a full scan's
    // totals, after which the checkpoint is gone.
    const int musicRow = offers->offers().first().scope.path == music ? 0 : 1;
    button(notice, musicRow, QStringLiteral("continueScan"))->click();
    EXPECT_EQ(navigation.currentPage(), QStringLiteral("storageManager"));
    EXPECT_EQ(page.scope().path, music);
    ASSERT_TRUE(waitFor([&] {
        return page.job()->state() == ScanJob::State::finished && !page.job()->isPaused();
    }));
    const auto full = fullScan(music);
    ASSERT_TRUE(full);
    const auto resumed = page.job()->tree();
    EXPECT_EQ(resumed->items(0), full->items(0));
    EXPECT_EQ(resumed->alloc(0), full->alloc(0));
    EXPECT_EQ(resumed->logical(0), full->logical(0));
    EXPECT_TRUE(waitFor([&] { return !QFile::exists(checkpointOf(music)); }));

    // Discard: the checkpoint is deleted and the activity log says so.
    ASSERT_EQ(offers->offers().size(), 1);
    ASSERT_EQ(offers->offers().first().scope.path, photos);
    button(notice, 0, QStringLiteral("discardScan"))->click();
    EXPECT_TRUE(offers->offers().isEmpty());
    EXPECT_TRUE(waitFor([&] { return !QFile::exists(checkpointOf(photos)); }));
    ASSERT_TRUE(waitFor([&] { return history.entries().size() == 1; }));
    const ActionHistoryEntry& note = history.entries().first();
    EXPECT_EQ(note.action, QStringLiteral("Discarded an interrupted scan"));
    EXPECT_TRUE(note.detail.contains(photos)) << note.detail.toStdString();
    EXPECT_TRUE(note.success);
    EXPECT_EQ(status.message(),
              QStringLiteral("Success: Discarded the interrupted scan of Photos."));
    EXPECT_TRUE(waitFor([&] { return notice.isHidden(); }));
    EXPECT_TRUE(QFile::exists(checkpointOf(video)));
}

namespace {

// The offers reaching a Velmox that lives in the tray: a real bus with a notification server
// on it.
struct ScanResumeDesktopTest : ScanResumeOfferTest {
    PrivateBus privateBus;
    NotificationServer server;
    std::optional<ScanResumeDesktopNotice> desktop;
    bool windowShown = true;
    int windowsShown = 0;

    ScanResumeDesktopTest() {
        QDBusConnection serverBus = privateBus.connect(QStringLiteral("server"));
        EXPECT_TRUE(serverBus.registerService(QStringLiteral("org.freedesktop.Notifications")));
        EXPECT_TRUE(serverBus.registerObject(
            QStringLiteral("/org/freedesktop/Notifications"), &server,
            QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllSignals));
        desktop.emplace(
            *offers, privateBus.connect(QStringLiteral("velmox")), [this] { return windowShown; },
            [this] { ++windowsShown; });
    }
    ~ScanResumeDesktopTest() override {
        desktop.reset();
        for (const char* name : {"server", "velmox"})
            QDBusConnection::disconnectFromBus(QString::fromLatin1(name));
    }

    // The notification of the scan of `path`, 0 when none.
    uint shownFor(const QString& path) const {
        for (qsizetype i = 0; i < server.shown.size(); ++i)
            if (server.shown[i].body.contains(QStringLiteral("(%1)").arg(path)))
                return uint(i + 1);
        return 0;
    }
};

} // namespace

TEST_F(ScanResumeDesktopTest, NotifiesOnceForEachCheckpointFoundWhileNoWindowShowsIt) {
    const QString music = root + QStringLiteral("/Music");
    const QString photos = root + QStringLiteral("/Photos");
    const QString video = root + QStringLiteral("/Video");

    // Found while the window shows the strip: no notification, then or later.
    ASSERT_NO_FATAL_FAILURE(leaveInterrupted(music));
    ASSERT_NO_FATAL_FAILURE(reindex());
    ASSERT_EQ(offers->offers().size(), 1);

    windowShown = false;
    ASSERT_NO_FATAL_FAILURE(leaveInterrupted(photos));
    ASSERT_NO_FATAL_FAILURE(leaveInterrupted(video));
    ASSERT_NO_FATAL_FAILURE(reindex());
    ASSERT_NO_FATAL_FAILURE(reindex());
    ASSERT_TRUE(waitFor([&] { return server.shown.size() >= 2; }));
    EXPECT_EQ(shownFor(music), 0u);
    const uint photosShown = shownFor(photos);
    const uint videoShown = shownFor(video);
    ASSERT_TRUE(photosShown && videoShown);
    const NotificationServer::Shown& shown = server.shown[photosShown - 1];
    EXPECT_EQ(shown.summary, QStringLiteral("Scan Interrupted"));
    EXPECT_TRUE(shown.body.startsWith(
        QStringLiteral("The scan of Photos (%1) was interrupted on ").arg(photos)))
        << shown.body.toStdString();
    EXPECT_TRUE(shown.actions.contains(QStringLiteral("Continue Scan")));
    EXPECT_TRUE(shown.actions.contains(QStringLiteral("Discard")));

    // Continue from the desktop: the window comes forward and the walk goes on as from the
    // strip; the notification goes with the offer, and a second click does nothing.
    emit server.ActionInvoked(photosShown, QStringLiteral("continue"));
    ASSERT_TRUE(waitFor([&] { return windowsShown == 1; }));
    EXPECT_EQ(navigation.currentPage(), QStringLiteral("storageManager"));
    ScanJob& photosJob = *scans.job(StorageManagerPage::folderScope(photos));
    ASSERT_TRUE(waitFor(
        [&] { return photosJob.state() == ScanJob::State::finished && !photosJob.isPaused(); }));
    EXPECT_TRUE(waitFor([&] { return !QFile::exists(checkpointOf(photos)); }));
    EXPECT_TRUE(waitFor([&] { return server.closed.contains(photosShown); }));
    emit server.ActionInvoked(photosShown, QStringLiteral("continue"));

    // Discard from the desktop deletes the checkpoint as the strip's button does.
    emit server.ActionInvoked(videoShown, QStringLiteral("discard"));
    EXPECT_TRUE(waitFor([&] { return !QFile::exists(checkpointOf(video)); }));
    ASSERT_TRUE(waitFor([&] { return history.entries().size() == 1; }));
    EXPECT_EQ(history.entries().first().action, QStringLiteral("Discarded an interrupted scan"));
    EXPECT_EQ(windowsShown, 1);
    ASSERT_EQ(offers->offers().size(), 1);
    EXPECT_EQ(offers->offers().first().scope.path, music);
    EXPECT_EQ(server.shown.size(), 2);
}

TEST_F(ScanResumeDesktopTest, WithoutActionsAClickOpensTheStorageManagerAndMarkupIsEscaped) {
    server.capabilities = {QStringLiteral("body"), QStringLiteral("body-markup")};
    windowShown = false;
    offerCheckpointOf(root + QStringLiteral("/R&B <live>"));
    ASSERT_TRUE(waitFor([&] { return server.shown.size() == 1; }));
    EXPECT_EQ(server.shown.first().actions,
              QStringList({QStringLiteral("default"), QStringLiteral("Open Storage Manager")}));
    EXPECT_TRUE(server.shown.first().body.contains(QStringLiteral("/R&amp;B &lt;live&gt;)")))
        << server.shown.first().body.toStdString();

    emit server.ActionInvoked(1, QStringLiteral("default"));
    ASSERT_TRUE(waitFor([&] { return windowsShown == 1; }));
    EXPECT_EQ(navigation.currentPage(), QStringLiteral("storageManager"));
    // The strip still offers the scan there.
    EXPECT_EQ(offers->offers().size(), 1);
}

namespace {

// The same offers shown by the desktop's real notification daemon on a bus of the test's own.
struct ScanResumeDunstTest : ScanResumeOfferTest {
    PrivateBus bus;
    DunstDaemon dunst{bus.address()};
    std::optional<ScanResumeDesktopNotice> desktop;
    int windowsShown = 0;

    ScanResumeDunstTest() {
        desktop.emplace(
            *offers, bus.connect(QStringLiteral("velmox")), [] { return false; },
            [this] { ++windowsShown; });
    }
    ~ScanResumeDunstTest() override {
        desktop.reset();
        QDBusConnection::disconnectFromBus(QStringLiteral("velmox"));
    }
};

} // namespace

TEST_F(ScanResumeDunstTest, TheDaemonShowsTheOfferAndAClickOpensTheStorageManager) {
    offerCheckpointOf(root + QStringLiteral("/R&B <live>"));
    ASSERT_TRUE(waitFor([&] { return dunst.displayed() == 1; }));
    dunst.click();
    ASSERT_TRUE(waitFor([&] { return windowsShown == 1; }));
    EXPECT_EQ(navigation.currentPage(), QStringLiteral("storageManager"));
}

#include "ScanResumeOfferTest.moc"
