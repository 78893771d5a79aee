#pragma once

#include "diskhealth/SmartReport.h"
#include "diskhealth/SmartTarget.h"
#include "services/CommandExecutorError.h"
#include "services/Result.h"

#include <QStringList>
#include <functional>

namespace velmox {

// Reads and grades one disk. The outcome is a report, "S.M.A.R.T. unavailable" ones included
// (their detail says why), or a whole-sentence failure when the target itself is wrong.
class SmartReader {
public:
    using Outcome = Result<SmartReport>;
    virtual ~SmartReader() = default;
    // Blocking; call from a worker thread.
    virtual Outcome read(const SmartTarget& target) = 0;
};

// Runs smartctl in JSON mode: directly when this process is root, otherwise through the
// privileged runner with the saved password (never a prompt: checks run unattended). Where
// smartctl is missing, NVMe drives are read through the kernel's NVMe admin ioctl.
// Holds no state between reads; one instance may serve one thread at a time.
class SmartctlReader : public SmartReader {
public:
    // Runs a shell line as root and returns its output (ShellHelper::runPrivileged without a
    // prompt, in the application).
    using PrivilegedRun = std::function<CommandResult(const QString& shellLine)>;

    struct Options {
        QStringList searchList = linuxSearchList();
        PrivilegedRun privileged;
        bool root = isRoot();
        double timeoutSeconds = 60.0;
    };

    explicit SmartctlReader(Options options);
    Outcome read(const SmartTarget& target) override;

    // Where smartctl is looked for on Linux: each folder of PATH, then /usr/sbin.
    static QStringList linuxSearchList();
    // On macOS: the copy inside the application bundle, then the usual package-manager places.
    static QStringList macSearchList(const QString& bundledSmartctl);
    // The first of `candidates` that is an executable file, else empty.
    static QString findSmartctl(const QStringList& candidates);
    // The smartctl argument sets tried, in order, for `target` (the device path is appended).
    static QList<QStringList> argumentSets(const SmartTarget& target);
    static QString missingSmartctlSentence();
    static bool isRoot();

private:
    Result<QByteArray> runSmartctl(const QString& smartctl, const QStringList& arguments) const;
    SmartReport readDirectly(const SmartTarget& target) const;

    Options options_;
};

// A report that says why no S.M.A.R.T. values could be read.
SmartReport unavailableReport(const QString& reason);

} // namespace velmox
