#include "palette/PaletteCommandStore.h"
#include "platform/QtKeychainSecretStore.h"
#include "services/KeychainHelper.h"
#include "tests/support/VelmoxProcess.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace velmox;

namespace {

// Custom commands signed under the integrity key of a real Secret Service (a private
// gnome-keyring), in files that the test edits behind Velmox's back.
struct CustomCommandTest : ::testing::Test {
    QTemporaryDir folder;
    QtKeychainSecretStore secrets;
    KeychainHelper keychain{secrets};

    QString path(const QString& name) const { return folder.filePath(name); }

    // Rewrites field `key` of the first command in the file as another program would.
    static void editBehindVelmox(const QString& file, const QString& key, const QString& value) {
        QFile json(file);
        ASSERT_TRUE(json.open(QIODevice::ReadOnly));
        QJsonArray commands = QJsonDocument::fromJson(json.readAll()).array();
        json.close();
        QJsonObject first = commands.at(0).toObject();
        first.insert(key, value);
        commands.replace(0, first);
        ASSERT_TRUE(json.open(QIODevice::WriteOnly | QIODevice::Truncate));
        json.write(QJsonDocument(commands).toJson());
    }
};

TEST_F(CustomCommandTest, ACommandChangedOutsideVelmoxNeverRunsUntilApprovedAgain) {
    PaletteCommandStore store(path("commands.json"));
    const auto added = store.add(keychain, QStringLiteral(" Make  marker "),
                                 QStringLiteral("touch '%1'; echo done").arg(path("made")));
    ASSERT_TRUE(added) << added.error().toStdString();
    EXPECT_EQ(added->name, QStringLiteral("Make marker"));
    PaletteCommandOutcome outcome = PaletteCommandStore::run(keychain, *store.find(added->id));
    EXPECT_EQ(outcome, (PaletteCommandOutcome{true, "“Make marker” finished: done", false}));
    EXPECT_TRUE(QFile::exists(path("made")));

    // The line, or only the name, edited in the file: refused, and nothing runs.
    for (const QString& key : {QStringLiteral("command"), QStringLiteral("name")}) {
        editBehindVelmox(store.filePath(), key,
                         key == QLatin1String("name")
                             ? QStringLiteral("Renamed")
                             : QStringLiteral("touch '%1'").arg(path("sneaky")));
        const PaletteCommand changed = *store.find(added->id);
        outcome = PaletteCommandStore::run(keychain, changed);
        EXPECT_FALSE(outcome.success);
        EXPECT_TRUE(outcome.changedOutside);
        EXPECT_EQ(outcome.message, PaletteCommandStore::changedOutsideMessage(changed.name));
        EXPECT_FALSE(QFile::exists(path("sneaky")));
    }

    // Approved as it now stands, it runs; deleted, it is gone.
    ASSERT_TRUE(store.approve(keychain, added->id));
    outcome = PaletteCommandStore::run(keychain, *store.find(added->id));
    EXPECT_TRUE(outcome.success) << outcome.message.toStdString();
    EXPECT_TRUE(QFile::exists(path("sneaky")));
    ASSERT_TRUE(store.remove(added->id));
    EXPECT_TRUE(store.load().commands.isEmpty());

    // A failing line says how it ended.
    const auto failing =
        store.add(keychain, QStringLiteral("Fails"), QStringLiteral("echo nope >&2; exit 3"));
    ASSERT_TRUE(failing);
    EXPECT_EQ(PaletteCommandStore::run(keychain, *failing).message,
              QStringLiteral("“Fails” failed with exit status 3: nope"));

    // A file that is not a list is reported and left alone by a change.
    QFile broken(store.filePath());
    ASSERT_TRUE(broken.open(QIODevice::WriteOnly | QIODevice::Truncate));
    broken.write("{ not a list");
    broken.close();
    EXPECT_FALSE(store.load().problem.isEmpty());
    EXPECT_FALSE(store.add(keychain, QStringLiteral("More"), QStringLiteral("true")));
    ASSERT_TRUE(broken.open(QIODevice::ReadOnly));
    EXPECT_EQ(broken.readAll(), "{ not a list");
}

TEST_F(CustomCommandTest, TheCommandLineAddsListsAsksAndRunsThemIntoTheActivityLog) {
    const QString marker = path("hi");
    const test::VelmoxRun added = test::runVelmox(
        {"palette", "--add-command", "Say hi", QStringLiteral("echo hi > '%1'").arg(marker)});
    ASSERT_EQ(added.exitCode, 0) << added.err.toStdString();
    const QString id = QRegularExpression(QStringLiteral("command:[0-9a-f-]+"))
                           .match(QString::fromUtf8(added.out))
                           .captured();
    ASSERT_FALSE(id.isEmpty()) << added.out.toStdString();

    const test::VelmoxRun listed = test::runVelmox({"palette", "say", "hi", "--json"});
    EXPECT_EQ(QJsonDocument::fromJson(listed.out).array().at(0).toObject().value("id").toString(),
              id);

    const test::VelmoxRun refused = test::runVelmox({"palette", "--run", id});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_TRUE(refused.err.startsWith(
        QStringLiteral("This runs your custom command:\n\necho hi > '%1'\n\nNothing was run")
            .arg(marker)
            .toUtf8()))
        << refused.err.toStdString();
    EXPECT_FALSE(QFile::exists(marker));

    const test::VelmoxRun ran = test::runVelmox({"palette", "--run", id, "--yes"});
    EXPECT_EQ(ran.exitCode, 0) << ran.err.toStdString();
    EXPECT_EQ(ran.out, "“Say hi” finished.\n");
    EXPECT_TRUE(QFile::exists(marker));

    const QJsonArray log =
        QJsonDocument::fromJson(test::runVelmox({"activity", "--json"}).out).array();
    QStringList actions;
    for (const QJsonValue& entry : log)
        actions << entry.toObject().value("action").toString() +
                       (entry.toObject().value("success").toBool() ? " ok" : " failed");
    EXPECT_TRUE(actions.contains("Custom command: Say hi ok")) << actions.join(", ").toStdString();
}

} // namespace
