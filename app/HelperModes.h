#pragma once

#include <QStringList>
#include <functional>
#include <optional>

namespace velmox {

// The modes in which Velmox starts a second copy of itself to use or test permissions.
// They run before any window and never show one.
struct HelperModes {
    // The scanner's administrator pass: `int runProtectedScanHelper(const QStringList&)`.
    using ProtectedScanEntry = std::function<int(const QStringList& args)>;

    static bool isRequested(const QStringList& args);
    // The exit status when `args` (the whole command line) asks for a helper mode,
    // std::nullopt otherwise. Without a scanner entry "--protected-scan" fails with a
    // message on standard error.
    static std::optional<int> run(const QStringList& args, const ProtectedScanEntry& scanEntry);

    // "--probe-fda PATH": writes "1" when every folder Velmox reads can be listed, else
    // "0". Returns 0 when the answer was written.
    static int probeFullDiskAccess(const QString& outputPath);
    // The folders the probe lists: the home folder and those of them Velmox reads that exist.
    static QStringList probedFolders();
    static bool canListAll(const QStringList& folders);
};

} // namespace velmox
