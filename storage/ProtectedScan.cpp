#include "storage/ProtectedScan.h"

#include "services/ShellWords.h"
#include "storage/DirectoryReader.h"
#include "storage/DiskScanner.h"
#include "storage/ProtectedScanListing.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QSaveFile>
#include <QSet>
#include <QStringList>
#include <QUuid>
#include <cerrno>
#include <cstdio>
#include <sys/stat.h>
#include <unistd.h>

namespace velmox {

namespace {

// Paths are separated by a zero byte: a name may hold a newline, never a zero byte.
QList<QByteArray> splitPaths(const QByteArray& bytes) {
    QList<QByteArray> paths;
    for (const QByteArray& path : bytes.split('\0'))
        if (!path.isEmpty())
            paths.append(path);
    return paths;
}

// The scan's root and its exclusion patterns, each followed by a zero byte.
constexpr char kExclusionsFile[] = "exclusions";

ProtectedScanListing::Section scanAsRoot(const QByteArray& path, const ScanExclusions& exclusions) {
    ProtectedScanListing::Section section{path, 0, std::nullopt};
    const int fd = DirectoryReader::openFolder(path, false);
    if (fd < 0) {
        section.errorNumber = -fd;
        return section;
    }
    ::close(fd);
    ScanConfiguration config = ScanConfiguration::build(
        {ScanScope::Kind::folder, QString::fromUtf8(path), QString::fromUtf8(path), {}});
    config.exclusions = exclusions;
    DiskScanner scanner(std::move(config));
    if (!scanner.start()) {
        section.errorNumber = EIO;
        return section;
    }
    scanner.waitForFinished();
    section.tree = std::move(*scanner.tree());
    return section;
}

} // namespace

Result<QString> ProtectedScan::verifiedExecutable(const QString& processExe) {
    const QString onDisk = QFileInfo(processExe).symLinkTarget();
    if (onDisk.isEmpty())
        return failure(QStringLiteral("Could not find the app's own executable."));
    // stat on the process link reaches the image that is running, whatever happened to
    // the file since; it must be the file that the path names now.
    struct stat running {};
    struct stat file {};
    const bool same = ::stat(QFile::encodeName(processExe).constData(), &running) == 0 &&
                      ::stat(QFile::encodeName(onDisk).constData(), &file) == 0 &&
                      running.st_dev == file.st_dev && running.st_ino == file.st_ino;
    if (!same)
        return failure(
            QStringLiteral("The administrator scan was not started because the app on disk "
                           "could not be verified as the copy that is running. Quit and "
                           "reopen Velmox from %1.")
                .arg(QFileInfo(onDisk.section(QLatin1Char(' '), 0, 0)).absolutePath()));
    return onDisk;
}

QString ProtectedScan::commandLine(const QString& executable, const QString& requestFolder) {
    const QString listing = requestFolder + QLatin1Char('/') + QLatin1String(kListingFile);
    return shellQuoted(executable) + QLatin1Char(' ') + QLatin1String(kArgument) +
           QLatin1Char(' ') + shellQuoted(requestFolder) + QStringLiteral(" && /bin/chmod 644 ") +
           shellQuoted(listing) + QStringLiteral(" && /bin/echo OK");
}

namespace {

// Why the administrator pass could not start. The runner's own messages are sentences
// already; polkit's refusal without an agent is the tool's text and is put in words here.
QString elevationFailure(const QString& detail) {
    if (!detail.contains(QLatin1String("authentication agent"), Qt::CaseInsensitive))
        return detail;
    return QStringLiteral("The protected folders could not be read because no administrator "
                          "password prompt can be shown in this session (no polkit "
                          "authentication agent is running). Save the administrator password in "
                          "Settings > Access and try again.");
}

} // namespace

ProtectedScanOutcome ProtectedScan::run(FileTree& tree, const QList<QByteArray>& blockedPaths,
                                        const QString& executable, const PrivilegedRunner& runner,
                                        const std::function<void(const QString&)>& phase) {
    const auto failed = [](QString message) {
        ProtectedScanOutcome outcome;
        outcome.message = std::move(message);
        return outcome;
    };
    if (blockedPaths.isEmpty()) {
        ProtectedScanOutcome nothing;
        nothing.success = true;
        nothing.message = QStringLiteral("No blocked folders were found in this scan.");
        return nothing;
    }
    if (executable.isEmpty() || !QFileInfo(executable).isExecutable())
        return failed(QStringLiteral("Could not find the app's own executable."));
    if (phase)
        phase(QStringLiteral("Reading protected folders..."));

    const QString folder = QDir::temp().filePath(
        QStringLiteral("Velmox-protected-") + QUuid::createUuid().toString(QUuid::WithoutBraces));
    if (!QDir().mkpath(folder))
        return failed(QStringLiteral("Could not prepare the request: the temporary folder %1 "
                                     "could not be created.")
                          .arg(folder));
    const auto cleanup = qScopeGuard([&] { QDir(folder).removeRecursively(); });
    QSaveFile paths(folder + QLatin1Char('/') + QLatin1String(kPathsFile));
    if (!paths.open(QIODevice::WriteOnly) || paths.write(blockedPaths.join('\0')) < 0 ||
        !paths.commit())
        return failed(
            QStringLiteral("Could not prepare the request: %1.").arg(paths.errorString()));
    // The pass skips what the scan skipped.
    QSaveFile exclusions(folder + QLatin1Char('/') + QLatin1String(kExclusionsFile));
    QByteArray skipped = tree.rootPath.toUtf8() + '\0';
    for (const QString& pattern : std::as_const(tree.exclusions))
        skipped += pattern.toUtf8() + '\0';
    if (!exclusions.open(QIODevice::WriteOnly) || exclusions.write(skipped) < 0 ||
        !exclusions.commit())
        return failed(
            QStringLiteral("Could not prepare the request: %1.").arg(exclusions.errorString()));

    const CommandResult result = runner(commandLine(executable, folder));
    if (!result)
        return failed(elevationFailure(result.error().description()));
    if (!result->endsWith(QLatin1String("OK")))
        return failed(QStringLiteral("The administrator scan did not finish."));
    QFile listingFile(folder + QLatin1Char('/') + QLatin1String(kListingFile));
    if (!listingFile.open(QIODevice::ReadOnly))
        return failed(QStringLiteral("The administrator scan produced no result."));
    auto sections = ProtectedScanListing::decode(listingFile.readAll());
    if (!sections)
        return failed(QStringLiteral("The administrator scan produced no result."));

    return merge(tree, *sections, blockedPaths, phase);
}

ProtectedScanOutcome
ProtectedScan::merge(FileTree& tree, const std::vector<ProtectedScanListing::Section>& sections,
                     const QList<QByteArray>& blockedPaths,
                     const std::function<void(const QString&)>& phase) {
    // Only folders that the walk could not open and that were asked for are replaced.
    const QSet<QByteArray> asked(blockedPaths.cbegin(), blockedPaths.cend());
    QHash<QByteArray, int32_t> blockedNodes;
    for (int32_t node = 0; node < tree.size(); ++node)
        if (tree.hasFlag(node, NodeFlag::blocked))
            if (QByteArray path = tree.pathBytes(node); asked.contains(path))
                blockedNodes.insert(std::move(path), node);

    ProtectedScanOutcome outcome;
    outcome.success = true;
    std::vector<FileTree::Replacement> replacements;
    for (const ProtectedScanListing::Section& section : sections) {
        const auto found = blockedNodes.constFind(section.path);
        if (found == blockedNodes.cend())
            continue;
        const int32_t node = *found;
        blockedNodes.erase(found);
        if (!section.tree) {
            ++outcome.stillSealed;
            continue;
        }
        if (phase)
            phase(QStringLiteral("Reading protected folders: %1...").arg(tree.name(node)));
        replacements.push_back({node, &*section.tree});
        ++outcome.indexedFolders;
        outcome.indexedItems += section.tree->items(0);
    }
    // One rebuild of the tree for all of them.
    tree.replaceSubtrees(replacements);
    outcome.message = QStringLiteral("Indexed %1 blocked folders (%2 items). %3 are still "
                                     "sealed by the system itself and cannot be read by any app.")
                          .arg(outcome.indexedFolders)
                          .arg(outcome.indexedItems)
                          .arg(outcome.stillSealed);
    return outcome;
}

int runProtectedScanHelper(const QStringList& args) {
    const qsizetype at = args.indexOf(QLatin1String(ProtectedScan::kArgument));
    const QString folder = at >= 0 ? args.value(at + 1) : QString();
    if (folder.isEmpty()) {
        std::fprintf(stderr, "velmox: --protected-scan needs the request folder.\n");
        return 2;
    }
    QFile pathsFile(folder + QLatin1Char('/') + QLatin1String(ProtectedScan::kPathsFile));
    if (!pathsFile.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "velmox: the request could not be read.\n");
        return 1;
    }
    ScanExclusions exclusions;
    if (QFile file(folder + QLatin1Char('/') + QLatin1String(kExclusionsFile));
        file.open(QIODevice::ReadOnly)) {
        const QList<QByteArray> parts = file.readAll().split('\0');
        QStringList patterns;
        for (qsizetype i = 1; i < parts.size(); ++i)
            if (!parts[i].isEmpty())
                patterns.append(QString::fromUtf8(parts[i]));
        exclusions = ScanExclusions(patterns, parts.value(0));
    }
    std::vector<ProtectedScanListing::Section> sections;
    for (const QByteArray& path : splitPaths(pathsFile.readAll()))
        sections.push_back(scanAsRoot(path, exclusions));

    const QString listingPath =
        folder + QLatin1Char('/') + QLatin1String(ProtectedScan::kListingFile);
    QSaveFile listing(listingPath);
    if (!listing.open(QIODevice::WriteOnly) ||
        listing.write(ProtectedScanListing::encode(sections)) < 0 || !listing.commit()) {
        std::fprintf(stderr, "velmox: the result could not be written.\n");
        return 1;
    }
    // The invoking user owns the result, so the request folder can be removed without root.
    bool known = false;
    const uid_t user = qEnvironmentVariable("SUDO_UID").toUInt(&known);
    if (known)
        (void)::chown(QFile::encodeName(listingPath).constData(), user, static_cast<gid_t>(-1));
    return 0;
}

} // namespace velmox
