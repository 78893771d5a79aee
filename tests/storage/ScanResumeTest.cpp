#include "ScanTestSupport.h"
#include "storage/StorageCatalogStore.h"
#include "tests/support/VelmoxProcess.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <csignal>

using namespace velmox;
using namespace velmox::test;

namespace {

// A folder of many small folders with files of varied sizes, and hard-linked files whose
// names lie far apart, so that a walk cut short has counted some of them and not others.
void makeTree(const QByteArray& root, int folders, int filesPerFolder) {
    const auto folderOf = [&](int f) {
        return root + "/g" + QByteArray::number(f % 7) + "/n" + QByteArray::number(f);
    };
    for (int g = 0; g < 7; ++g)
        makeFolder(root + "/g" + QByteArray::number(g));
    for (int f = 0; f < folders; ++f) {
        const QByteArray folder = folderOf(f);
        makeFolder(folder);
        for (int i = 0; i < filesPerFolder; ++i)
            writeFile(folder + "/f" + QByteArray::number(i), (f * 31 + i * 17) % 9000);
        if (f >= 50 && f % 10 == 0) {
            const QByteArray first = folderOf(f - 50) + "/f0";
            ASSERT_EQ(::link(first.constData(), (folder + "/link").constData()), 0);
        }
    }
}

QJsonObject jsonOf(const VelmoxRun& run) {
    return QJsonDocument::fromJson(run.out).object();
}

void expectSameTotals(const QJsonObject& actual, const QJsonObject& expected) {
    for (const char* key : {"allocated", "logical", "items", "folders", "unreadable"})
        EXPECT_EQ(actual.value(QLatin1String(key)).toInteger(),
                  expected.value(QLatin1String(key)).toInteger())
            << key;
}

} // namespace

// A scan stopped at the item cap or killed with SIGKILL goes on from its last checkpoint and
// ends with the totals of a full scan; the scope's cache then answers without scanning.
TEST(ScanResume, AKilledScanResumesFromItsCheckpointWithTheTotalsOfAFullScan) {
    QTemporaryDir data;
    QTemporaryDir appData;
    const QByteArray root = QFile::encodeName(data.path());
    makeTree(root, 600, 60);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_DATA_HOME"), appData.path());
    const auto velmox = [&](QStringList args) {
        return runVelmox(QStringList{QStringLiteral("scan"), data.path(), QStringLiteral("--json"),
                                     QStringLiteral("--workers"), QStringLiteral("1")} +
                             args,
                         environment);
    };
    const StorageCatalogStore store(appData.path() + QStringLiteral("/Velmox"));
    const QString checkpoint = store.checkpointFile(QStringLiteral("folder:") + data.path());

    VelmoxRun full = velmox({});
    ASSERT_EQ(full.exitCode, 0) << full.err.toStdString();
    EXPECT_EQ(jsonOf(full).value(QStringLiteral("mode")).toString(), QStringLiteral("full"));
    // Without a running Velmox there is no change journal to update the scan from.
    EXPECT_TRUE(jsonOf(full).value(QStringLiteral("note")).toString().startsWith(
        QStringLiteral("The change history is not available")));
    EXPECT_FALSE(QFile::exists(checkpoint));

    // Nothing to continue: a full scan that says why.
    const QJsonObject nothing = jsonOf(velmox({QStringLiteral("--resume")}));
    EXPECT_EQ(nothing.value(QStringLiteral("mode")).toString(), QStringLiteral("full"));
    EXPECT_EQ(nothing.value(QStringLiteral("note")).toString(),
              QStringLiteral("There was no interrupted scan to continue. Everything was read "
                             "again."));

    // A walk stopped at the item cap is kept too; resuming it lifts the cap.
    const VelmoxRun capped = velmox({QStringLiteral("--max-items"), QStringLiteral("3000")});
    EXPECT_EQ(capped.exitCode, 3);
    EXPECT_LT(jsonOf(capped).value(QStringLiteral("items")).toInteger(),
              jsonOf(full).value(QStringLiteral("items")).toInteger());
    ASSERT_TRUE(QFile::exists(checkpoint));
    const VelmoxRun uncapped =
        velmox({QStringLiteral("--resume"), QStringLiteral("--max-items"), QStringLiteral("3000")});
    ASSERT_EQ(uncapped.exitCode, 0) << uncapped.err.toStdString();
    EXPECT_EQ(jsonOf(uncapped).value(QStringLiteral("mode")).toString(), QStringLiteral("resumed"));
    expectSameTotals(jsonOf(uncapped), jsonOf(full));
    EXPECT_FALSE(QFile::exists(checkpoint));

    // A fast machine may finish the walk before its first checkpoint: then it grows.
    bool killed = false;
    for (int attempt = 0; attempt < 4 && !killed; ++attempt) {
        if (attempt > 0) {
            QTemporaryDir more(data.path() + QStringLiteral("/more-XXXXXX"));
            more.setAutoRemove(false);
            makeTree(QFile::encodeName(more.path()), 600 << attempt, 60);
            full = velmox({});
            ASSERT_EQ(full.exitCode, 0) << full.err.toStdString();
        }
        QProcess child;
        child.setProcessEnvironment(environment);
        child.start(QStringLiteral(VELMOX_BINARY),
                    {QStringLiteral("scan"), data.path(), QStringLiteral("--workers"),
                     QStringLiteral("1"), QStringLiteral("--checkpoint-every"),
                     QStringLiteral("0.05")});
        ASSERT_TRUE(child.waitForStarted());
        while (!QFile::exists(checkpoint) && !child.waitForFinished(2)) {
        }
        if (child.state() != QProcess::Running)
            continue;
        ::kill(pid_t(child.processId()), SIGKILL);
        child.waitForFinished();
        killed = child.exitStatus() == QProcess::CrashExit;
    }
    ASSERT_TRUE(killed);
    ASSERT_TRUE(QFile::exists(checkpoint));
    const QJsonObject expected = jsonOf(full);

    const VelmoxRun resumed = velmox({QStringLiteral("--resume")});
    ASSERT_EQ(resumed.exitCode, 0) << resumed.err.toStdString();
    const QJsonObject result = jsonOf(resumed);
    EXPECT_EQ(result.value(QStringLiteral("mode")).toString(), QStringLiteral("resumed"));
    EXPECT_TRUE(result.value(QStringLiteral("note"))
                    .toString()
                    .startsWith(QStringLiteral("Continued the scan interrupted after ")));
    expectSameTotals(result, expected);
    EXPECT_FALSE(QFile::exists(checkpoint));

    const VelmoxRun cached = velmox({QStringLiteral("--cached")});
    ASSERT_EQ(cached.exitCode, 0) << cached.err.toStdString();
    const QJsonObject fromCache = jsonOf(cached);
    EXPECT_EQ(fromCache.value(QStringLiteral("mode")).toString(), QStringLiteral("cache"));
    EXPECT_TRUE(
        QDateTime::fromString(fromCache.value(QStringLiteral("scanDate")).toString(), Qt::ISODate)
            .isValid());
    expectSameTotals(fromCache, expected);
}
