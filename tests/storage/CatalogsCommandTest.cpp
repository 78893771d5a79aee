#include "ScanTestSupport.h"
#include "tests/support/VelmoxProcess.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

using namespace velmox::test;

namespace {

QJsonValue json(const VelmoxRun& run) {
    const QJsonDocument document = QJsonDocument::fromJson(run.out);
    return document.isArray() ? QJsonValue(document.array()) : QJsonValue(document.object());
}

} // namespace

TEST(CatalogsCommand, SavesAScanAndListsShowsRenamesAndDeletesIt) {
    QTemporaryDir data;
    QTemporaryDir appData;
    const QByteArray root = QFile::encodeName(data.path());
    makeFolder(root + "/music");
    writeFile(root + "/music/song", 90000);
    writeFile(root + "/readme", 10);
    // A folder of its own for the app data, so that the catalogs start out empty.
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_DATA_HOME"), appData.path());
    const auto velmox = [&](QStringList args) { return runVelmox(args, environment); };

    const VelmoxRun scan = velmox({QStringLiteral("scan"), data.path(), QStringLiteral("--save"),
                                   QStringLiteral("Music/2026")});
    ASSERT_EQ(scan.exitCode, 0) << scan.err.toStdString();
    EXPECT_TRUE(scan.out.contains("Saved Music-2026\n")) << scan.out.toStdString();
    const VelmoxRun again = velmox({QStringLiteral("scan"), data.path(), QStringLiteral("--save"),
                                    QStringLiteral("Music-2026")});
    EXPECT_EQ(again.exitCode, 1);
    EXPECT_EQ(again.err,
              "A catalog named \"Music-2026\" already exists. Add --replace to save over it.\n");
    const VelmoxRun replaced = velmox({QStringLiteral("scan"), data.path(),
                                       QStringLiteral("--json"), QStringLiteral("--save"),
                                       QStringLiteral("Music-2026"), QStringLiteral("--replace")});
    ASSERT_EQ(replaced.exitCode, 0) << replaced.err.toStdString();
    const QJsonObject scanned = json(replaced).toObject();

    const VelmoxRun listed =
        velmox({QStringLiteral("catalogs"), QStringLiteral("list"), QStringLiteral("--json")});
    ASSERT_EQ(listed.exitCode, 0) << listed.err.toStdString();
    const QJsonArray catalogs = json(listed).toArray();
    ASSERT_EQ(catalogs.size(), 1);
    const QJsonObject entry = catalogs.at(0).toObject();
    EXPECT_EQ(entry.keys(),
              (QStringList{"allocated", "exclusions", "file", "format", "isSummary", "items",
                           "logical", "name", "rootPath", "scanDate", "volumeName"}));
    EXPECT_EQ(entry.value("name").toString(), QStringLiteral("Music-2026"));
    EXPECT_TRUE(entry.value("file").toString().endsWith(
        QStringLiteral("/Velmox/Catalogs/Music-2026.vxcatalog")));
    EXPECT_EQ(entry.value("rootPath").toString(), scanned.value("path").toString());
    EXPECT_EQ(entry.value("allocated"), scanned.value("allocated"));
    EXPECT_EQ(entry.value("items").toInt(), 3);
    EXPECT_TRUE(QDateTime::fromString(entry.value("scanDate").toString(), Qt::ISODate).isValid());

    const VelmoxRun shown =
        velmox({QStringLiteral("catalogs"), QStringLiteral("show"), QStringLiteral("Music-2026"),
                QStringLiteral("--json"), QStringLiteral("--top"), QStringLiteral("1")});
    ASSERT_EQ(shown.exitCode, 0) << shown.err.toStdString();
    const QJsonObject show = json(shown).toObject();
    for (const char* key :
         {"path", "allocated", "logical", "items", "folders", "unreadable", "volume"})
        EXPECT_EQ(show.value(key), scanned.value(key)) << key;
    EXPECT_EQ(show.value("name").toString(), QStringLiteral("Music-2026"));
    EXPECT_EQ(show.value("scanDate"), entry.value("scanDate"));
    ASSERT_EQ(show.value("top").toArray().size(), 1);
    EXPECT_EQ(show.value("top").toArray().at(0), scanned.value("top").toArray().at(0));

    // A second catalog blocks a rename onto its name.
    ASSERT_EQ(velmox({QStringLiteral("scan"), data.path() + QStringLiteral("/music"),
                      QStringLiteral("--save"), QStringLiteral("Songs")})
                  .exitCode,
              0);
    const VelmoxRun clash = velmox({QStringLiteral("catalogs"), QStringLiteral("rename"),
                                    QStringLiteral("Songs"), QStringLiteral("Music-2026")});
    EXPECT_EQ(clash.exitCode, 1);
    EXPECT_EQ(clash.err,
              "A catalog named \"Music-2026\" already exists, so \"Songs\" was not renamed.\n");
    EXPECT_EQ(velmox({QStringLiteral("catalogs"), QStringLiteral("rename"), QStringLiteral("Songs"),
                      QStringLiteral("Tunes")})
                  .exitCode,
              0);
    // Not on a terminal, deleting asks for --yes.
    EXPECT_EQ(
        velmox({QStringLiteral("catalogs"), QStringLiteral("delete"), QStringLiteral("Tunes")})
            .exitCode,
        2);
    EXPECT_EQ(velmox({QStringLiteral("catalogs"), QStringLiteral("delete"), QStringLiteral("Tunes"),
                      QStringLiteral("--yes")})
                  .exitCode,
              0);
    const VelmoxRun missing =
        velmox({QStringLiteral("catalogs"), QStringLiteral("show"), QStringLiteral("Tunes")});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_EQ(missing.err, "There is no catalog named \"Tunes\".\n");
    const QJsonArray left =
        json(velmox({QStringLiteral("catalogs"), QStringLiteral("list"), QStringLiteral("--json")}))
            .toArray();
    ASSERT_EQ(left.size(), 1);
    EXPECT_EQ(left.at(0).toObject().value("name").toString(), QStringLiteral("Music-2026"));
}

TEST(CatalogsCommand, ComparesACatalogWithAnotherOrWithAFreshScan) {
    QTemporaryDir data;
    QTemporaryDir appData;
    const QByteArray root = QFile::encodeName(data.path());
    makeFolder(root + "/keep");
    writeFile(root + "/keep/grows", 10'000);
    writeFile(root + "/goes", 70'000);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_DATA_HOME"), appData.path());
    const auto velmox = [&](QStringList args) { return runVelmox(args, environment); };
    ASSERT_EQ(velmox({"scan", data.path(), "--save", "Before"}).exitCode, 0);

    writeFile(root + "/keep/grows", 900'000);
    ASSERT_TRUE(QFile::remove(data.path() + "/goes"));
    writeFile(root + "/new", 5'000);
    // Against a fresh scan of the catalog's own folder, then against a second catalog.
    const VelmoxRun fresh = velmox({"catalogs", "diff", "Before", "--json", "--top", "3"});
    ASSERT_EQ(fresh.exitCode, 0) << fresh.err.toStdString();
    ASSERT_EQ(velmox({"scan", data.path(), "--save", "After"}).exitCode, 0);
    const VelmoxRun saved = velmox({"catalogs", "diff", "Before", "After", "--json", "--top", "3"});
    ASSERT_EQ(saved.exitCode, 0) << saved.err.toStdString();
    for (const VelmoxRun& run : {fresh, saved}) {
        const QJsonObject result = json(run).toObject();
        EXPECT_EQ(result.keys(), (QStringList{"base", "other", "rows"}));
        EXPECT_EQ(result.value("base").toObject().value("name").toString(), "Before");
        const QJsonArray rows = result.value("rows").toArray();
        ASSERT_EQ(rows.size(), 3);
        QStringList kinds;
        int64_t last = INT64_MAX;
        for (const QJsonValue& value : rows) {
            const QJsonObject row = value.toObject();
            EXPECT_EQ(row.keys(), (QStringList{"after", "before", "change", "kind", "path"}));
            EXPECT_EQ(row.value("change").toInteger(),
                      row.value("after").toInteger() - row.value("before").toInteger());
            EXPECT_LE(std::abs(row.value("change").toInteger()), last);
            last = std::abs(row.value("change").toInteger());
            kinds << row.value("kind").toString();
        }
        EXPECT_EQ(rows.at(0).toObject().value("path").toString(), data.path() + "/keep");
        EXPECT_EQ(kinds, (QStringList{"grown", "grown", "vanished"}));
        EXPECT_EQ(rows.at(2).toObject().value("path").toString(), data.path() + "/goes");
    }
    EXPECT_TRUE(json(fresh).toObject().value("other").toObject().value("name").isNull());
    EXPECT_EQ(json(saved).toObject().value("other").toObject().value("name").toString(), "After");

    const VelmoxRun text = velmox({"catalogs", "diff", "Before", "--path", data.path()});
    ASSERT_EQ(text.exitCode, 0) << text.err.toStdString();
    EXPECT_TRUE(text.out.contains("grown     " + root + "/keep/grows\n")) << text.out.toStdString();
    EXPECT_EQ(velmox({"catalogs", "diff", "Before", "After", "--path", data.path()}).exitCode, 2);
    const VelmoxRun missing = velmox({"catalogs", "diff", "Nothing"});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_EQ(missing.err, "There is no catalog named \"Nothing\".\n");
}
