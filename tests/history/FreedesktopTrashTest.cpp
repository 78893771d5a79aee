#include "platform/PlatformPaths.h"
#include "platform/Trash.h"
#include "tests/history/HistoryTestSupport.h"

#include <QDateTime>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <sys/stat.h>

using namespace velmox;
using namespace velmox::test;

namespace {

QString caches() {
    return PlatformPaths::userCaches();
}

QString infoFile(const QString& trashName) {
    return Trash::infoFolder() + "/" + trashName + ".trashinfo";
}

QStringList infoFiles() {
    return QDir(Trash::infoFolder()).entryList(QDir::Files | QDir::Hidden, QDir::Name);
}

QString trashed(const QString& path) {
    const Result<QString> name = Trash::moveToTrash(path);
    EXPECT_TRUE(name.has_value()) << name.error().toStdString();
    return name.value_or(QString());
}

class FreedesktopTrash : public ::testing::Test {
    FreshDataFolders folders;
};

} // namespace

TEST_F(FreedesktopTrash, MovesAnItemAndWritesTheInfoFileAFileManagerRestoresFrom) {
    const QString name = QString::fromUtf8("a b%c \xC3\xBC\n.txt");
    writeFile(caches() + "/" + name, "payload");

    const QDateTime before = QDateTime::currentDateTime().addSecs(-1);
    ASSERT_EQ(trashed(caches() + "/" + name), name);
    EXPECT_FALSE(exists(caches() + "/" + name));
    EXPECT_EQ(readFile(Trash::itemPath(name)), "payload");

    const QList<QByteArray> lines = readFile(infoFile(name)).split('\n');
    ASSERT_EQ(lines.size(), 4);
    EXPECT_EQ(lines[0], "[Trash Info]");
    EXPECT_EQ(lines[1], "Path=" + QFile::encodeName(caches()) + "/a%20b%25c%20%C3%BC%0A.txt");
    ASSERT_TRUE(lines[2].startsWith("DeletionDate="));
    const QDateTime deleted =
        QDateTime::fromString(QString::fromLatin1(lines[2].mid(13)), "yyyy-MM-dd'T'HH:mm:ss");
    EXPECT_TRUE(deleted >= before && deleted <= QDateTime::currentDateTime()) << lines[2].data();
    EXPECT_EQ(lines[3], "");

    struct stat trashFolder {};
    ASSERT_EQ(::stat(QFile::encodeName(QFileInfo(Trash::filesFolder()).path()), &trashFolder), 0);
    EXPECT_EQ(trashFolder.st_mode & 0777, 0700u);
}

TEST_F(FreedesktopTrash, ASymbolicLinkGoesToTheTrashWithoutItsTarget) {
    writeFile(caches() + "/target", "kept");
    ASSERT_TRUE(QFile::link(caches() + "/target", caches() + "/link"));
    ASSERT_EQ(trashed(caches() + "/link"), "link");
    EXPECT_TRUE(QFileInfo(Trash::itemPath("link")).isSymLink());
    EXPECT_EQ(readFile(caches() + "/target"), "kept");
}

TEST_F(FreedesktopTrash, TakenNamesGetNumberedNamesAndNothingInTheTrashIsReplaced) {
    for (const char* folder : {"one", "two"}) {
        writeFile(caches() + "/" + folder + "/report.pdf", folder);
        writeFile(caches() + "/" + folder + "/Cache.v2/data", folder);
    }
    EXPECT_EQ(trashed(caches() + "/one/report.pdf"), "report.pdf");
    EXPECT_EQ(trashed(caches() + "/two/report.pdf"), "report 2.pdf");
    EXPECT_EQ(trashed(caches() + "/one/Cache.v2"), "Cache.v2");
    EXPECT_EQ(trashed(caches() + "/two/Cache.v2"), "Cache.v2 2");
    EXPECT_EQ(readFile(Trash::itemPath("report.pdf")), "one");
    EXPECT_EQ(readFile(Trash::itemPath("report 2.pdf")), "two");
    EXPECT_EQ(readFile(Trash::itemPath("Cache.v2 2/data")), "two");

    // Leftovers of other programs: an item without its info file, an info file without its item.
    writeFile(Trash::itemPath("notes"), "orphan item");
    writeFile(infoFile("log.txt"), "orphan info");
    writeFile(caches() + "/notes", "new notes");
    writeFile(caches() + "/log.txt", "new log");
    EXPECT_EQ(trashed(caches() + "/notes"), "notes 2");
    EXPECT_EQ(trashed(caches() + "/log.txt"), "log 2.txt");
    EXPECT_EQ(readFile(Trash::itemPath("notes")), "orphan item");
    EXPECT_EQ(readFile(infoFile("log.txt")), "orphan info");
    EXPECT_FALSE(exists(infoFile("notes")));
    EXPECT_EQ(infoFiles(),
              QStringList({"Cache.v2 2.trashinfo", "Cache.v2.trashinfo", "log 2.txt.trashinfo",
                           "log.txt.trashinfo", "notes 2.trashinfo", "report 2.pdf.trashinfo",
                           "report.pdf.trashinfo"}));
}

TEST_F(FreedesktopTrash, ANameTooLongForItsInfoFileIsShortened) {
    const QString longName = QString(125, QChar(0x00E9)); // 250 bytes in UTF-8
    writeFile(caches() + "/" + longName, "x");
    writeFile(caches() + "/sub/" + longName, "y");
    const QString first = trashed(caches() + "/" + longName);
    const QString second = trashed(caches() + "/sub/" + longName);
    EXPECT_TRUE(longName.startsWith(first));
    EXPECT_TRUE(second.endsWith(" 2"));
    EXPECT_EQ(readFile(Trash::itemPath(first)), "x");
    EXPECT_EQ(readFile(Trash::itemPath(second)), "y");
    EXPECT_TRUE(exists(infoFile(second)));
}

TEST_F(FreedesktopTrash, RefusalsExplainThemselvesAndLeaveNoTraces) {
    const Result<QString> missing = Trash::moveToTrash(caches() + "/nothing-here");
    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error(), "“" + caches() +
                                   "/nothing-here” can't be moved to the Trash "
                                   "because it doesn't exist.");

    const Result<QString> home = Trash::moveToTrash(PlatformPaths::home());
    ASSERT_FALSE(home);
    EXPECT_TRUE(home.error().endsWith("because it holds the Trash.")) << home.error().toStdString();
    EXPECT_TRUE(QFileInfo(PlatformPaths::home()).isDir());

    writeFile(caches() + "/locked/item", "stays");
    ASSERT_TRUE(QFile::setPermissions(caches() + "/locked", QFile::ReadOwner | QFile::ExeOwner));
    const Result<QString> locked = Trash::moveToTrash(caches() + "/locked/item");
    QFile::setPermissions(caches() + "/locked",
                          QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    ASSERT_FALSE(locked);
    EXPECT_EQ(locked.error(), "“" + caches() +
                                  "/locked/item” can't be moved to the Trash: "
                                  "Permission denied.");
    EXPECT_EQ(readFile(caches() + "/locked/item"), "stays");
    EXPECT_TRUE(infoFiles().isEmpty());
}

TEST_F(FreedesktopTrash, AnItemOnAnotherFileSystemIsRefusedNotCopied) {
    QTemporaryDir elsewhere("/dev/shm/velmox-trash-test-XXXXXX");
    struct stat other {
    }, home{};
    if (!elsewhere.isValid() || ::stat("/dev/shm", &other) != 0 ||
        ::stat(QFile::encodeName(PlatformPaths::home()), &home) != 0 || other.st_dev == home.st_dev)
        GTEST_SKIP() << "No second file system to try.";
    writeFile(elsewhere.filePath("big"), "data");
    const Result<QString> refused = Trash::moveToTrash(elsewhere.filePath("big"));
    ASSERT_FALSE(refused);
    EXPECT_TRUE(refused.error().contains("on another file system than the Trash"))
        << refused.error().toStdString();
    EXPECT_EQ(readFile(elsewhere.filePath("big")), "data");
    EXPECT_TRUE(infoFiles().isEmpty());
}

TEST_F(FreedesktopTrash, RestoreMovesBackOnlyAPlainNameToAFreePlace) {
    writeFile(caches() + "/item", "old");
    ASSERT_EQ(trashed(caches() + "/item"), "item");

    writeFile(caches() + "/item", "new");
    const Status taken = Trash::restore("item", caches() + "/item");
    ASSERT_FALSE(taken);
    EXPECT_EQ(taken.error(),
              "“" + caches() + "/item” already exists, so “item” stays in the Trash.");
    EXPECT_EQ(readFile(caches() + "/item"), "new");
    EXPECT_EQ(readFile(Trash::itemPath("item")), "old");
    EXPECT_TRUE(exists(infoFile("item")));

    for (const QString hostile : {"", ".", "..", "../info", "item/"}) {
        const Status refused = Trash::restore(hostile, caches() + "/elsewhere");
        EXPECT_FALSE(refused) << hostile.toStdString();
    }
    EXPECT_FALSE(exists(caches() + "/elsewhere"));
    EXPECT_TRUE(QFileInfo(Trash::infoFolder()).isDir());

    ASSERT_TRUE(Trash::restore("item", caches() + "/item restored"));
    EXPECT_EQ(readFile(caches() + "/item restored"), "old");
    EXPECT_FALSE(exists(Trash::itemPath("item")));
    EXPECT_FALSE(exists(infoFile("item")));

    const Status gone = Trash::restore("item", caches() + "/again");
    ASSERT_FALSE(gone);
    EXPECT_EQ(gone.error(), "“item” is no longer in the Trash.");
}
