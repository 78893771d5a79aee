#include "services/ShownText.h"
#include "tests/support/VelmoxProcess.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace velmox {
namespace {

// By bytes: a name need not be valid UTF-8.
void writeFile(const QByteArray& path, qsizetype size) {
    const int fd = ::open(path.constData(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    ASSERT_GE(fd, 0) << path.toStdString();
    const QByteArray content(size, 'x');
    EXPECT_EQ(::write(fd, content.constData(), size_t(size)), size);
    ::close(fd);
}

TEST(CommandLine, UnknownOptionsAndCommandsAreErrorsNotAWindow) {
    // Without the check these would open the window (and never end under the offscreen
    // platform).
    const test::VelmoxRun option = test::runVelmox({"--bogus"});
    EXPECT_EQ(option.exitCode, 2);
    EXPECT_EQ(option.err, "velmox: “--bogus” is not an option of Velmox. Run “velmox --help” to "
                          "see them all.\n");
    EXPECT_TRUE(option.out.isEmpty());

    const test::VelmoxRun command = test::runVelmox({"defragment"});
    EXPECT_EQ(command.exitCode, 2);
    EXPECT_TRUE(command.err.startsWith("velmox: “defragment” is not a command of Velmox."));

    const test::VelmoxRun help = test::runVelmox({"--help"});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_TRUE(help.out.contains("velmox --screenshot PAGE FILE.png"));
    EXPECT_TRUE(help.out.contains("        storageManager    Storage Manager\n"))
        << help.out.toStdString();
}

TEST(CommandLine, TheWindowWithoutAGraphicalSessionSaysSoInOneSentence) {
    const QByteArray sentence = "velmox: The Velmox window needs a graphical session (X11 or "
                                "Wayland) and none could be reached; run “velmox --help” for the "
                                "commands that work without one.\n";
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove("WAYLAND_DISPLAY");
    environment.remove("QT_QPA_PLATFORM");
    environment.remove("DISPLAY");
    for (const QString& display : {QString(), QStringLiteral(":4711")}) {
        if (!display.isEmpty())
            environment.insert("DISPLAY", display);
        const test::VelmoxRun run = test::runVelmox({}, environment);
        EXPECT_EQ(run.exitCode, 1) << display.toStdString();
        EXPECT_EQ(run.err, sentence) << display.toStdString();
    }
}

TEST(CommandLine, FailedJsonCommandsPrintAnErrorObjectWithTheSameSentence) {
    struct Case {
        QStringList args;
        int exitCode;
    };
    for (const Case& c : {Case{{"scan", "/no/such/folder", "--json"}, 1},
                          Case{{"sensors", "--json", "--all"}, 2}, Case{{"bogus", "--json"}, 2}}) {
        const test::VelmoxRun run = test::runVelmox(c.args);
        EXPECT_EQ(run.exitCode, c.exitCode) << c.args.join(' ').toStdString();
        const QJsonObject error = QJsonDocument::fromJson(run.out).object();
        EXPECT_EQ(error.keys(), QStringList{"error"}) << run.out.toStdString();
        EXPECT_EQ(error.value("error").toString(), QString::fromUtf8(run.err).trimmed());
        EXPECT_FALSE(run.err.isEmpty());
    }
    // Without --json the standard output stays empty.
    EXPECT_TRUE(test::runVelmox({"scan", "/no/such/folder"}).out.isEmpty());
}

TEST(CommandLine, ScanShowsOddNamesOnOneLineAndNamesWhatItCouldNotRead) {
    QTemporaryDir dir;
    const QByteArray root = QFile::encodeName(dir.path());
    writeFile(root + "/red\x1b[31mname", 3000);
    writeFile(root + "/two\nlines", 2000);
    writeFile(root + "/bad\xffname", 1000);
    const QByteArray locked = root + "/locked";
    ASSERT_EQ(::mkdir(locked.constData(), 0700), 0);
    writeFile(locked + "/hidden", 10);
    ASSERT_EQ(::chmod(locked.constData(), 0), 0);

    const test::VelmoxRun text = test::runVelmox({"scan", dir.path(), "--logical"});
    ::chmod(locked.constData(), 0700);
    EXPECT_EQ(text.exitCode, 0) << text.err.toStdString();
    EXPECT_FALSE(text.out.contains('\x1b'));
    EXPECT_TRUE(text.out.contains("  red\\x1b[31mname\n")) << text.out.toStdString();
    EXPECT_TRUE(text.out.contains("  two\\nlines\n"));
    EXPECT_TRUE(text.out.contains("  bad\\xffname\n"));
    EXPECT_TRUE(text.err.startsWith("velmox scan: 1 item could not be read, so the totals leave "
                                    "them out:\n  " +
                                    locked + " ("))
        << text.err.toStdString();

    ASSERT_EQ(::chmod(locked.constData(), 0), 0);
    const test::VelmoxRun json = test::runVelmox({"scan", dir.path(), "--json"});
    ::chmod(locked.constData(), 0700);
    const QJsonObject result = QJsonDocument::fromJson(json.out).object();
    EXPECT_EQ(result.value("kind").toString(), "folder");
    EXPECT_EQ(result.value("unreadable").toInt(), 1);
    const QJsonArray folders = result.value("unreadableFolders").toArray();
    ASSERT_EQ(folders.size(), 1);
    EXPECT_EQ(folders.at(0).toObject().value("path").toString(), QFile::decodeName(locked));
    EXPECT_FALSE(folders.at(0).toObject().value("reason").toString().isEmpty());

    const test::VelmoxRun file = test::runVelmox({"scan", dir.filePath("two\nlines")});
    EXPECT_EQ(file.exitCode, 0);
    EXPECT_TRUE(file.out.startsWith(root + "/two\\nlines is a file of 2.0 kB (2000 bytes, "))
        << file.out.toStdString();
    EXPECT_EQ(
        QJsonDocument::fromJson(test::runVelmox({"scan", dir.filePath("two\nlines"), "--json"}).out)
            .object()
            .value("kind")
            .toString(),
        "file");
}

TEST(ShownText, NamesAreMadeVisibleAndUnambiguous) {
    EXPECT_EQ(shownName(QByteArrayView("plain name.txt")), "plain name.txt");
    EXPECT_EQ(shownName(QByteArrayView("Grüße 日本")), "Grüße 日本");
    EXPECT_EQ(shownName(QByteArrayView("a\tb\rc\x7f"
                                       "d\x01")),
              "a\\tb\\rc\\x7fd\\x01");
    EXPECT_EQ(shownName(QByteArrayView("back\\slash")), "back\\\\slash");
    // Broken UTF-8: a stray continuation byte, a cut sequence, an overlong slash.
    EXPECT_EQ(shownName(QByteArrayView("\x80x\xe6\x97"
                                       "y\xc0\xaf")),
              "\\x80x\\xe6\\x97y\\xc0\\xaf");
    // C1 controls and the Unicode line separator break or steer terminals too.
    EXPECT_EQ(shownName(QByteArrayView("a\xc2\x9b"
                                       "b\xe2\x80\xa8"
                                       "c")),
              "a\\u009bb\\u2028c");
}

TEST(ShownText, DatesCarryTheirOffsetEvenAtUtc) {
    const QDateTime date(QDate(2026, 11, 22), QTime(5, 40, 36), Qt::UTC);
    const QByteArray zone = qgetenv("TZ");
    for (const auto& [tz, shown] : {std::pair{"UTC0", "2026-11-22T05:40:36+00:00"},
                                    std::pair{"IST-5:30", "2026-11-22T11:10:36+05:30"},
                                    std::pair{"EST5", "2026-11-22T00:40:36-05:00"}}) {
        qputenv("TZ", tz);
        EXPECT_EQ(isoDate(date), shown) << tz;
    }
    if (zone.isNull())
        qunsetenv("TZ");
    else
        qputenv("TZ", zone);
}

} // namespace
} // namespace velmox
