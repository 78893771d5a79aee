#pragma once

#include <QStringList>
#include <QTextStream>
#include <functional>
#include <optional>
#include <vector>

namespace velmox {

struct CliIO {
    QTextStream& out;
    QTextStream& err;
    // True when standard error is a terminal (progress lines are drawn there).
    bool errIsTerminal = false;
};

// One headless subcommand of the velmox executable: `velmox NAME args...`. Returns the
// process exit code (0 success, 1 failure, 2 usage, 3 a partial result).
struct CliCommand {
    QString name;
    QString usage;
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

// Registers a command at start-up: VELMOX_CLI_COMMAND(scan, "scan PATH [--json]", runScan);
#define VELMOX_CLI_COMMAND(id, usageText, function)                                              \
    static const bool velmoxCliRegistered_##id = [] {                                            \
        ::velmox::CliRegistry::shared().add({QStringLiteral(#id), QStringLiteral(usageText),     \
                                             function});                                         \
        return true;                                                                             \
    }()

// True when `velmox args...` names a headless command or --version/--help, so that no
// window system is needed.
bool isHeadlessInvocation(const QStringList& args);
// Runs a headless invocation (a QCoreApplication must exist) and returns the exit code.
int runCommandLine(const QStringList& args);

} // namespace velmox
