#pragma once

#include <QString>
#include <QStringList>
#include <chrono>
#include <optional>

namespace velmox {

// What a run through sudo with the saved password came to.
struct PrivilegedRunResult {
    bool succeeded = false;
    QString output; // trimmed standard output
    std::optional<QString> errorMessage;
    bool passwordRejected = false;

    bool operator==(const PrivilegedRunResult&) const = default;
};

// Runs a shell line as root through /usr/bin/sudo with a password written to its standard
// input, never into an argument. "-k" makes sudo check the password on every run instead
// of trusting a cached ticket. The line itself never reads that input: its standard input
// is the null device. A caller that already is root runs the line with /bin/sh directly.
class SudoRunner {
public:
    static constexpr std::chrono::seconds kTimeout{900};

    static PrivilegedRunResult run(const QString& password, const QString& shellLine,
                                   std::chrono::milliseconds timeout = kTimeout);
    static QStringList arguments(const QString& shellLine);
};

} // namespace velmox
