#include "storage/ProtectedScan.h"

#include "ScanTestSupport.h"
#include "platform/PromptElevation.h"
#include "platform/QtKeychainSecretStore.h"
#include "services/KeychainHelper.h"
#include "services/Settings.h"
#include "services/ShellHelper.h"
#include "storage/ProtectedScanListing.h"
#include "storage/ScanJob.h"
#include "tests/support/TestAccounts.h"

#include <QCoreApplication>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <span>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

using namespace velmox;
using namespace velmox::test;

// These run as velmox-test-admin: a folder with mode 000 is closed to that account and
// open to root, which the saved password reaches through the real sudo.

namespace {

class BlockedTree : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_NE(::geteuid(), 0u) << "run this binary as a test account";
        ASSERT_TRUE(dir_.isValid());
        root_ = dir_.path().toUtf8() + "/tree";
        makeFolder(root_);
        writeFile(root_ + "/open", 5000);
        makeFolder(secret_ = root_ + "/secret");
        makeFolder(secret_ + "/inner");
        for (int i = 0; i < 12; ++i)
            writeFile(secret_ + "/inner/f" + QByteArray::number(i), 3000 * i);
        writeFile(secret_ + "/top", 20000);
        // A second name outside: the pass must not count the file again.
        ASSERT_EQ(::link((secret_ + "/top").constData(), (root_ + "/top-again").constData()), 0);
        ASSERT_EQ(::chmod(secret_.constData(), 0), 0);
        keychain_.deletePassword();
    }
    void TearDown() override { ::chmod(secret_.constData(), 0755); }

    void savePassword() {
        ASSERT_TRUE(keychain_.savePassword(QString::fromLatin1(kAccountPassword)));
        EXPECT_TRUE(settings_.setValue(ShellHelper::kAdminUsernameKey, QString::fromLatin1(kAdminAccount)));
    }
    CommandResult asRoot(const QString& line) { return shell_.runPrivileged(line, false); }
    ProtectedScan::PrivilegedRunner runner() {
        return [this](const QString& line) { return asRoot(line); };
    }

    QTemporaryDir dir_;
    QByteArray root_;
    QByteArray secret_;
    QtKeychainSecretStore store_;
    KeychainHelper keychain_{store_};
    Settings settings_;
    std::unique_ptr<PromptElevation> prompt_ = PromptElevation::forThisSystem();
    ShellHelper shell_{keychain_, settings_, *prompt_};
};

} // namespace

TEST_F(BlockedTree, AFolderTheUserCannotOpenIsBlockedAndTotalsStillEqualDu) {
    DiskScanner scanner(
        ScanConfiguration::build({ScanScope::Kind::folder, QString::fromUtf8(root_), {}, {}}));
    const auto tree = scanFolder(QString::fromUtf8(root_), 0, &scanner);
    ASSERT_TRUE(tree);
    EXPECT_EQ(scanner.unreadableCount(), 1);
    const QList<UnreadableSample> samples = scanner.unreadableSamples();
    ASSERT_EQ(samples.size(), 1);
    EXPECT_EQ(samples[0].path, secret_);
    EXPECT_EQ(samples[0].reason.label(), QStringLiteral("Needs administrator rights"));
    EXPECT_TRUE(samples[0].reason.explanation().endsWith(
        QStringLiteral("otherwise use \"Read Blocked Folders\".")));
    const int32_t secret = tree->findPath(secret_).value_or(0);
    EXPECT_TRUE(tree->hasFlag(secret, NodeFlag::blocked | NodeFlag::notRead));
    EXPECT_EQ(scanner.blockedNodes(), std::vector<int32_t>{secret});

    // du, like the scan, counts the closed folder's own blocks and nothing inside it.
    const auto [allocated, logical] = duTotals(QString::fromUtf8(root_));
    EXPECT_EQ(tree->alloc(0), allocated);
    EXPECT_EQ(tree->logical(0), logical);

    // Looked at again once it has gone (its own permissions and a folder readable again:
    // StorageUnreadableSheetTest).
    ASSERT_EQ(::chmod(secret_.constData(), 0750), 0);
    ASSERT_TRUE(QDir(QString::fromUtf8(secret_)).removeRecursively());
    EXPECT_EQ(UnreadableFolderInfo::inspect(secret_, samples[0].reason).reason.label(),
              QStringLiteral("No longer exists"));
    EXPECT_EQ(UnreadableReason::fromOpenError(EIO).label(),
              QStringLiteral("Error 5: Input/output error"));
}

TEST_F(BlockedTree, TheAdministratorPassReadsBlockedFoldersAsRootAndMergesThem) {
    savePassword();
    DiskScanner scanner(
        ScanConfiguration::build({ScanScope::Kind::folder, QString::fromUtf8(root_), {}, {}}));
    auto tree = scanFolder(QString::fromUtf8(root_), 0, &scanner);
    ASSERT_TRUE(tree);
    QList<QByteArray> blocked;
    for (int32_t node : scanner.blockedNodes())
        blocked.append(tree->pathBytes(node));

    QStringList phases;
    const ProtectedScanOutcome outcome =
        ProtectedScan::run(*tree, blocked, QStringLiteral(VELMOX_PROTECTED_HELPER), runner(),
                           [&](const QString& text) { phases << text; });
    ASSERT_TRUE(outcome.success) << outcome.message.toStdString();
    EXPECT_EQ(outcome.message, QStringLiteral("Indexed 1 blocked folders (14 items). 0 are still "
                                              "sealed by the system itself and cannot be read by "
                                              "any app."));
    EXPECT_EQ(phases, (QStringList{QStringLiteral("Reading protected folders..."),
                                   QStringLiteral("Reading protected folders: secret...")}));
    ASSERT_TRUE(tree->validate().has_value());
    const int32_t secret = tree->findPath(secret_).value_or(0);
    EXPECT_FALSE(tree->hasFlag(secret, NodeFlag::blocked));
    EXPECT_EQ(tree->items(secret), 14u);
    EXPECT_TRUE(tree->findPath(secret_ + "/inner/f11").has_value());

    const auto rootDu = [&](const char* unit) {
        const CommandResult out = asRoot(QStringLiteral("/usr/bin/du -s %1 '%2'")
                                             .arg(QLatin1String(unit), QString::fromUtf8(root_)));
        return out ? out->section(QLatin1Char('\t'), 0, 0).toLongLong() : -1;
    };
    EXPECT_EQ(tree->alloc(0), rootDu("-B1"));
    EXPECT_EQ(tree->logical(0), rootDu("-b"));
}

TEST_F(BlockedTree, TheAdministratorPassSkipsWhatTheScanSkipped) {
    savePassword();
    ScanConfiguration config =
        ScanConfiguration::build({ScanScope::Kind::folder, QString::fromUtf8(root_), {}, {}});
    config.exclusions = ScanExclusions({QStringLiteral("secret/inner")}, config.rootPath);
    DiskScanner scanner(config);
    auto tree = scanFolder(QString::fromUtf8(root_), 0, &scanner);
    ASSERT_TRUE(tree);
    const ProtectedScanOutcome outcome =
        ProtectedScan::run(*tree, {secret_}, QStringLiteral(VELMOX_PROTECTED_HELPER), runner());
    ASSERT_TRUE(outcome.success) << outcome.message.toStdString();
    const auto inner = tree->findPath(secret_ + "/inner");
    ASSERT_TRUE(inner);
    EXPECT_TRUE(tree->hasFlag(*inner, NodeFlag::excluded));
    EXPECT_EQ(tree->childCount(*inner), 0u);
    EXPECT_EQ(tree->items(*tree->findPath(secret_)), 2u);
    EXPECT_EQ(tree->exclusions, QStringList{QStringLiteral("secret/inner")});
}

TEST_F(BlockedTree, TheJobCountsBlockedFoldersAfreshAfterEachRescanAndPass) {
    ScanJob job({ScanScope::Kind::folder, QString::fromUtf8(root_), {}, {}},
                SystemClock::shared());
    job.start();
    ASSERT_TRUE(processEventsUntil([&] { return job.state() == ScanJob::State::finished; }));
    EXPECT_EQ(job.unreadableCount(), 1);
    ASSERT_EQ(job.unreadableSamples().size(), 1);
    EXPECT_EQ(job.unreadableSamples().first().path, secret_);
    EXPECT_GT(job.volume().total, 0);
    EXPECT_FALSE(job.volume().format.isEmpty());

    // Reading the same closed folder again must not count it twice.
    for (int pass = 0; pass < 2; ++pass) {
        job.rescanFolder(0);
        ASSERT_TRUE(processEventsUntil([&] { return !job.rescanningFolder(); }));
        EXPECT_EQ(job.unreadableCount(), 1);
        EXPECT_EQ(job.unreadableSamples().size(), 1);
    }

    savePassword();
    job.readBlockedFolders(QStringLiteral(VELMOX_PROTECTED_HELPER), runner());
    ASSERT_TRUE(processEventsUntil([&] { return job.protectedScan().outcome.has_value(); }));
    ASSERT_TRUE(job.protectedScan().outcome->success) << job.protectedScan().outcome->message.toStdString();
    EXPECT_EQ(job.unreadableCount(), 0);
    EXPECT_TRUE(job.unreadableSamples().isEmpty());
}

// Many blocked folders are merged in one rebuild; the result is the tree that replacing them
// one at a time gives, and its totals are a fresh scan's once they are open.
TEST_F(BlockedTree, BlockedFoldersMergeInOnePassAsTheyWouldOneByOne) {
    QList<QByteArray> closed{secret_};
    makeFolder(root_ + "/more");
    for (int i = 0; i < 6; ++i) {
        const QByteArray folder = root_ + "/more/c" + QByteArray::number(i);
        makeFolder(folder);
        makeFolder(folder + "/deep");
        for (int j = 0; j <= i; ++j)
            writeFile(folder + "/deep/f" + QByteArray::number(j), 1000 * (j + 1));
        ASSERT_EQ(::chmod(folder.constData(), 0), 0);
        closed.append(folder);
    }
    const auto blockedTree = scanFolder(QString::fromUtf8(root_));
    ASSERT_TRUE(blockedTree);
    std::vector<ProtectedScanListing::Section> sections;
    for (const QByteArray& folder : closed) {
        ASSERT_EQ(::chmod(folder.constData(), 0755), 0);
        const auto fresh = scanFolder(QString::fromUtf8(folder));
        ASSERT_TRUE(fresh);
        sections.push_back({folder, 0, fresh->copy()});
    }
    // Never asked for: ignored.
    sections.push_back({root_ + "/open", 0, sections.front().tree->copy()});

    FileTree merged = blockedTree->copy();
    const ProtectedScanOutcome outcome = ProtectedScan::merge(merged, sections, closed);
    EXPECT_EQ(outcome.indexedFolders, 7);
    FileTree oneByOne = blockedTree->copy();
    for (const ProtectedScanListing::Section& section :
         std::span(sections).first(static_cast<size_t>(closed.size())))
        oneByOne.replaceSubtree(oneByOne.findPath(section.path).value(), *section.tree);
    ASSERT_TRUE(merged.validate().has_value());
    EXPECT_EQ(merged.columns(), oneByOne.columns());
    const auto full = scanFolder(QString::fromUtf8(root_));
    EXPECT_EQ(merged.alloc(0), full->alloc(0));
    EXPECT_EQ(merged.logical(0), full->logical(0));
    EXPECT_EQ(merged.items(0), full->items(0));
}

// The pass copies the tree that a paused walk would go on in, so the walk waits for it; a
// job destroyed while its pass runs waits for the pass, so nothing runs on after it.
TEST_F(BlockedTree, APassHoldsBackAPausedScanAndEndsBeforeItsJob) {
    for (int i = 0; i < 300; ++i)
        makeFolder(root_ + "/more" + QByteArray::number(i));
    auto job = std::make_unique<ScanJob>(
        ScanScope{ScanScope::Kind::folder, QString::fromUtf8(root_), {}, {}},
        SystemClock::shared());
    ASSERT_TRUE(startPaused(*job));
    job->rescanFolder(0); // the paused tree gets the closed folder
    ASSERT_TRUE(processEventsUntil([&] { return !job->rescanningFolder(); }));
    ASSERT_EQ(job->unreadableCount(), 1);

    job->readBlockedFolders(QStringLiteral(VELMOX_PROTECTED_HELPER), [](const QString&) {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        return CommandResult(std::unexpected(CommandExecutorError::withMessage("Refused.")));
    });
    ASSERT_TRUE(job->awaitingProtected());
    EXPECT_FALSE(job->canResume());
    EXPECT_FALSE(job->resume());
    const std::weak_ptr<const FileTree> tree = job->tree();
    job.reset();
    EXPECT_TRUE(tree.expired()) << "the pass still holds the tree of a job that has gone";
    QCoreApplication::processEvents(QEventLoop::AllEvents, 500);
}

TEST_F(BlockedTree, WithoutASavedPasswordThePassFailsWithTheRunnersMessage) {
    auto tree = scanFolder(QString::fromUtf8(root_));
    const FileTree before = tree->copy();
    const ProtectedScanOutcome outcome =
        ProtectedScan::run(*tree, {secret_}, QStringLiteral(VELMOX_PROTECTED_HELPER), runner());
    EXPECT_FALSE(outcome.success);
    EXPECT_EQ(outcome.message,
              QStringLiteral("No administrator password is saved. Add it in Settings > Access."));
    EXPECT_EQ(tree->columns(), before.columns());

    EXPECT_EQ(ProtectedScan::run(*tree, {}, QString(), runner()).message,
              QStringLiteral("No blocked folders were found in this scan."));
    EXPECT_EQ(
        ProtectedScan::run(*tree, {secret_}, QStringLiteral("/no/such/velmox"), runner()).message,
        QStringLiteral("Could not find the app's own executable."));
}

TEST(ProtectedScan, RefusesAnExecutableOnDiskThatIsNotTheRunningCopy) {
    const auto self = ProtectedScan::verifiedExecutable();
    ASSERT_TRUE(self.has_value()) << self.error().toStdString();
    EXPECT_EQ(*self, QCoreApplication::applicationFilePath());

    QTemporaryDir dir;
    const QString app = dir.filePath(QStringLiteral("velmox"));
    ASSERT_TRUE(QFile::copy(QStringLiteral("/bin/sleep"), app));
    QProcess running;
    running.start(app, {QStringLiteral("60")});
    ASSERT_TRUE(running.waitForStarted());
    const QString processExe = QStringLiteral("/proc/%1/exe").arg(running.processId());
    EXPECT_TRUE(ProtectedScan::verifiedExecutable(processExe).has_value());

    // An update replaces the file while the old copy keeps running.
    const QString update = dir.filePath(QStringLiteral("update"));
    ASSERT_TRUE(QFile::copy(QStringLiteral("/bin/true"), update));
    ASSERT_EQ(::rename(QFile::encodeName(update).constData(), QFile::encodeName(app).constData()),
              0);
    const auto refused = ProtectedScan::verifiedExecutable(processExe);
    running.kill();
    running.waitForFinished();
    ASSERT_FALSE(refused.has_value());
    EXPECT_TRUE(refused.error().startsWith(
        QStringLiteral("The administrator scan was not started because the app on disk could "
                       "not be verified as the copy that is running.")));
}

TEST(ProtectedScanListing, RoundTripsAndRejectsADamagedOrCutListing) {
    const auto tree = scanFolder(QStringLiteral("/usr/share/doc"));
    ASSERT_TRUE(tree);
    std::vector<ProtectedScanListing::Section> sections;
    sections.push_back({"/usr/share/doc", 0, tree->copy()});
    sections.push_back({"/closed\nfolder", EPERM, std::nullopt});
    const QByteArray bytes = ProtectedScanListing::encode(sections);
    const auto decoded = ProtectedScanListing::decode(bytes);
    ASSERT_TRUE(decoded.has_value()) << decoded.error().toStdString();
    ASSERT_EQ(decoded->size(), 2u);
    EXPECT_EQ(decoded->at(0).tree->columns(), tree->columns());
    EXPECT_EQ(decoded->at(1).path, QByteArray("/closed\nfolder"));
    EXPECT_EQ(decoded->at(1).errorNumber, EPERM);
    EXPECT_FALSE(decoded->at(1).tree.has_value());

    QByteArray flipped = bytes;
    flipped[bytes.size() / 2] = static_cast<char>(flipped[bytes.size() / 2] ^ 0x10);
    for (const QByteArray& bad : {flipped, bytes.left(bytes.size() - 1), QByteArray("VMX")}) {
        const auto rejected = ProtectedScanListing::decode(bad);
        ASSERT_FALSE(rejected.has_value());
        EXPECT_EQ(rejected.error(), QStringLiteral("The administrator scan's result is damaged."));
    }
}
