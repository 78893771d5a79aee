#include "palette/PaletteCommandStore.h"

#include "platform/PlatformPaths.h"
#include "services/KeychainHelper.h"
#include "services/TaskRunner.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLockFile>
#include <QSaveFile>
#include <QUuid>

namespace velmox {

namespace {

constexpr int kLockWaitMs = 5000;
// Enough of a command's output for the activity log.
constexpr qsizetype kOutputLimit = 2000;

QJsonObject toJson(const PaletteCommand& command) {
    return {{QStringLiteral("id"), command.id},
            {QStringLiteral("name"), command.name},
            {QStringLiteral("command"), command.command},
            {QStringLiteral("signature"), command.signature}};
}

PaletteCommand commandFromJson(const QJsonObject& object) {
    return {object.value(QStringLiteral("id")).toString(),
            object.value(QStringLiteral("name")).toString(),
            object.value(QStringLiteral("command")).toString(),
            object.value(QStringLiteral("signature")).toString()};
}

QString lastLine(const QString& text) {
    const QStringList lines = text.trimmed().split(u'\n');
    return lines.isEmpty() ? QString() : lines.last().trimmed();
}

} // namespace

QByteArray PaletteCommand::signedBytes() const {
    // Each field is preceded by its length, so no choice of name and line can be made to
    // read as another.
    QByteArray bytes("velmox-palette-command-v1");
    for (const QString& field : {id, name, command}) {
        const QByteArray utf8 = field.toUtf8();
        bytes += '\n' + QByteArray::number(utf8.size()) + ':' + utf8;
    }
    return bytes;
}

PaletteCommandStore::PaletteCommandStore(QString filePath)
    : filePath_(filePath.isEmpty()
                    ? PlatformPaths::appDataFolder() + QStringLiteral("/Palette Commands.json")
                    : std::move(filePath)) {}

PaletteCommandStore::Loaded PaletteCommandStore::load() const {
    QFile file(filePath_);
    if (!file.exists())
        return {};
    if (!file.open(QIODevice::ReadOnly))
        return {{},
                QStringLiteral("Couldn't read the custom commands from %1: %2.")
                    .arg(filePath_, file.errorString())};
    return parse(file.readAll(), filePath_);
}

PaletteCommandStore::Loaded PaletteCommandStore::parse(const QByteArray& bytes,
                                                       const QString& source) {
    const QJsonDocument document = QJsonDocument::fromJson(bytes);
    if (!document.isArray())
        return {{},
                QStringLiteral("Couldn't read the custom commands from %1: it is not a list of "
                               "commands.")
                    .arg(source)};
    Loaded loaded;
    for (const QJsonValue& value : document.array()) {
        const PaletteCommand command = commandFromJson(value.toObject());
        if (!command.id.isEmpty())
            loaded.commands.append(command);
    }
    return loaded;
}

std::optional<PaletteCommand> PaletteCommandStore::find(const QString& id) const {
    for (const PaletteCommand& command : load().commands)
        if (command.id == id)
            return command;
    return std::nullopt;
}

Status PaletteCommandStore::change(const std::function<Status(QList<PaletteCommand>&)>& edit) {
    const auto failed = [this](const QString& why) {
        return failure(
            QStringLiteral("Couldn't save the custom commands to %1: %2").arg(filePath_, why));
    };
    if (!QDir().mkpath(QFileInfo(filePath_).path()))
        return failed(QStringLiteral("its folder couldn't be created."));
    QLockFile lock(filePath_ + QStringLiteral(".lock"));
    if (!lock.tryLock(kLockWaitMs))
        return failed(QStringLiteral("another Velmox process kept it locked."));
    Loaded current = load();
    if (!current.problem.isEmpty())
        return failure(current.problem); // nothing is overwritten that could not be read
    if (const Status edited = edit(current.commands); !edited)
        return edited;
    QJsonArray array;
    for (const PaletteCommand& command : current.commands)
        array.append(toJson(command));
    QSaveFile file(filePath_);
    if (!file.open(QIODevice::WriteOnly))
        return failed(file.errorString() + QLatin1Char('.'));
    file.write(QJsonDocument(array).toJson(QJsonDocument::Indented));
    if (!file.commit())
        return failed(file.errorString() + QLatin1Char('.'));
    return Done{};
}

Result<PaletteCommand> PaletteCommandStore::add(KeychainHelper& keychain, const QString& name,
                                                const QString& command) {
    PaletteCommand added{QUuid::createUuid().toString(QUuid::WithoutBraces), name.simplified(),
                         command.trimmed(), QString()};
    if (added.name.isEmpty() || added.command.isEmpty())
        return failure(QStringLiteral("A custom command needs a name and a shell command."));
    added.signature = keychain.sign(added.signedBytes());
    if (added.signature.isEmpty())
        return failure(QStringLiteral("The command was not saved: the integrity key in the "
                                      "keyring could not be read, and an unsigned command "
                                      "could never run."));
    if (const Status saved = change([&added](QList<PaletteCommand>& commands) -> Status {
            commands.append(added);
            return Done{};
        });
        !saved)
        return failure(saved.error());
    return added;
}

Status PaletteCommandStore::approve(KeychainHelper& keychain, const QString& id) {
    return change([&keychain, &id](QList<PaletteCommand>& commands) -> Status {
        for (PaletteCommand& command : commands) {
            if (command.id != id)
                continue;
            const QString signature = keychain.sign(command.signedBytes());
            if (signature.isEmpty())
                return failure(QStringLiteral("The command was not approved: the integrity key "
                                              "in the keyring could not be read."));
            command.signature = signature;
            return Done{};
        }
        return failure(QStringLiteral("That custom command no longer exists."));
    });
}

Status PaletteCommandStore::remove(const QString& id) {
    return change([&id](QList<PaletteCommand>& commands) -> Status {
        commands.removeIf([&id](const PaletteCommand& command) { return command.id == id; });
        return Done{};
    });
}

bool PaletteCommandStore::verified(KeychainHelper& keychain, const PaletteCommand& command) {
    return !command.signature.isEmpty() &&
           keychain.verify(command.signedBytes(), command.signature);
}

QString PaletteCommandStore::changedOutsideMessage(const QString& name) {
    return QStringLiteral("“%1” was changed outside Velmox, so it was not run. Delete it or "
                          "approve it again from the palette.")
        .arg(name);
}

PaletteCommandOutcome PaletteCommandStore::run(KeychainHelper& keychain,
                                               const PaletteCommand& command) {
    // Without the key no signature verifies, which says nothing about the command.
    if (!keychain.readOrCreateIntegrityKey())
        return {false,
                QStringLiteral("“%1” was not run: the integrity key in the keyring, which "
                               "checks that it is as you saved it, could not be read.")
                    .arg(command.name),
                false};
    if (!verified(keychain, command))
        return {false, changedOutsideMessage(command.name), true};
    const ToolRunResult result = TaskRunner::run(command.command);
    if (result.timedOut)
        return {false,
                QStringLiteral("“%1” was stopped after %2 seconds.")
                    .arg(command.name)
                    .arg(static_cast<int>(TaskRunner::kUserLineTimeoutSeconds)),
                false};
    if (result.status != 0) {
        const QString why = lastLine(result.standardError);
        return {false,
                QStringLiteral("“%1” failed with exit status %2%3")
                    .arg(command.name)
                    .arg(result.status)
                    .arg(why.isEmpty() ? QStringLiteral(".") : QStringLiteral(": ") + why),
                false};
    }
    const QString output = lastLine(result.standardOutput).left(kOutputLimit);
    return {true,
            QStringLiteral("“%1” finished%2")
                .arg(command.name,
                     output.isEmpty() ? QStringLiteral(".") : QStringLiteral(": ") + output),
            false};
}

} // namespace velmox
