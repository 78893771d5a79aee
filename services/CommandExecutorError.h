#pragma once

#include <QString>
#include <expected>
#include <optional>

namespace velmox {

// The failure of a shell line run through one of the shell runners: a message for the
// user, or nothing when the user cancelled. Header-only, because the elevation back ends
// in platform/ build it too.
struct CommandExecutorError {
    std::optional<QString> message;

    QString description() const {
        return message ? *message : QStringLiteral("The operation was cancelled.");
    }
    static CommandExecutorError cancelled() { return {}; }
    static CommandExecutorError withMessage(QString text) { return {std::move(text)}; }

    bool operator==(const CommandExecutorError&) const = default;
};

// The output of a shell line, or why it failed.
using CommandResult = std::expected<QString, CommandExecutorError>;

inline std::unexpected<CommandExecutorError> commandFailure(QString message) {
    return std::unexpected(CommandExecutorError::withMessage(std::move(message)));
}

} // namespace velmox
