#pragma once

#include <QStringList>
#include <QTextStream>
#include <functional>
#include <optional>
#include <vector>

namespace velmox {

struct CliIO {
    QTextStream& out;
    // Messages: whatever a failing command writes here is its error.
    QTextStream& err;
    // Standard error when it is a terminal, for lines redrawn in place while work runs; null
    // otherwise. Never part of an error message.
    QTextStream* progress = nullptr;
};

// One headless subcommand of the velmox executable: `velmox NAME args...`. Returns the
// process exit code (0 success, 1 failure, 2 usage, 3 a partial result).
struct CliCommand {
    QString name;
    QString usage;
    QString summary; // what it does, for --help
    std::function<int(const QStringList& args, CliIO& io)> run;
};

class CliRegistry {
public:
    static CliRegistry& shared();
    void add(CliCommand command);
    const CliCommand* find(const QString& name) const;
    const std::vector<CliCommand>& commands() const { return commands_; }

private:
    std::vector<CliCommand> commands_;
};

// Registers a command at start-up:
// VELMOX_CLI_COMMAND(scan, "scan PATH [--json]", "Scans a folder.", runScan);
#define VELMOX_CLI_COMMAND(id, usageText, summaryText, function)                                   \
    static const bool velmoxCliRegistered_##id = [] {                                              \
        ::velmox::CliRegistry::shared().add({QStringLiteral(#id), QStringLiteral(usageText),       \
                                             QStringLiteral(summaryText), function});              \
        return true;                                                                               \
    }()

// "Usage: velmox scan PATH [--json]" for a registered command.
QString usageLine(const QString& command);

// True unless `velmox args...` opens the window (no arguments) or starts one of
// `appOptions`, the options that the executable handles before any command (the window's and
// the helper modes'). Everything else, an unknown option included, is answered without a
// window system.
bool isHeadlessInvocation(const QStringList& args, const QStringList& appOptions);

// Runs a headless invocation (a QCoreApplication must exist) and returns the exit code.
// `appHelp` describes the executable's own options at the end of --help. When a command given
// --json fails (exit status 1 or 2), standard output gets {"error": "..."} with the sentence it
// wrote on standard error.
int runCommandLine(const QStringList& args, const QString& appHelp = {});

// Confirmation of work that can harm, on the terminal. With no terminal to ask on, the first
// says `question` and how to confirm with --yes, and refuses.
bool canAskOnTerminal(const QString& question, CliIO& io, const QString& gap = QStringLiteral(" "));
// Asks `question` and reads the answer; anything but yes runs nothing and says so.
bool answeredYes(const QString& question, CliIO& io, const QString& gap = QStringLiteral(" "));

} // namespace velmox
