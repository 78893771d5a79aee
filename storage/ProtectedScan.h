#pragma once

#include "services/CommandExecutorError.h"
#include "services/Result.h"
#include "storage/FileTree.h"
#include "storage/ProtectedScanListing.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <functional>

namespace velmox {

// The outcome of the administrator pass.
struct ProtectedScanOutcome {
    bool success = false;
    QString message;
    int indexedFolders = 0;
    int64_t indexedItems = 0;
    int stillSealed = 0;
    bool operator==(const ProtectedScanOutcome&) const = default;
};

// "Read Blocked Folders": the folders the scan could not open are read again by Velmox's
// own executable running as root ("--protected-scan"), and the subtrees it lists are
// merged into the tree.
class ProtectedScan {
public:
    static constexpr const char* kArgument = "--protected-scan";
    static constexpr const char* kPathsFile = "paths.txt";
    static constexpr const char* kListingFile = "listing.vmx";

    // Runs a shell line as root (ShellHelper::runPrivileged with the saved password).
    using PrivilegedRunner = std::function<CommandResult(const QString& shellLine)>;

    // The path of the running executable, provided the file there is the very one
    // running; the refusal message otherwise. `processExe` is /proc/<pid>/exe.
    static Result<QString>
    verifiedExecutable(const QString& processExe = QStringLiteral("/proc/self/exe"));

    // Reads `blockedPaths` with `executable` as root and merges what it found into `tree`.
    // `phase` receives the phase texts. Blocking: call from a worker thread.
    static ProtectedScanOutcome run(FileTree& tree, const QList<QByteArray>& blockedPaths,
                                    const QString& executable, const PrivilegedRunner& runner,
                                    const std::function<void(const QString&)>& phase = {});

    // Puts the subtrees of a listing in place of the blocked folders of `tree` that were
    // asked for (`blockedPaths`), in one rebuild of the tree however many there are.
    static ProtectedScanOutcome merge(FileTree& tree,
                                      const std::vector<ProtectedScanListing::Section>& sections,
                                      const QList<QByteArray>& blockedPaths,
                                      const std::function<void(const QString&)>& phase = {});

    // The shell line that runs the child on a request folder.
    static QString commandLine(const QString& executable, const QString& requestFolder);
};

// The "--protected-scan FOLDER" helper mode: reads FOLDER/paths.txt, walks each path with
// the scanner's rules and writes FOLDER/listing.vmx. Returns the process exit status.
int runProtectedScanHelper(const QStringList& args);

} // namespace velmox
