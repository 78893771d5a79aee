#include "automation/AutomationStore.h"

#include "platform/PlatformPaths.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QLockFile>
#include <QSaveFile>

namespace velmox {

namespace {

constexpr int lockWaitMs = 10000;

enum class FileState { missing, bad, read };

struct FileRead {
    FileState state = FileState::missing;
    AutomationStoreData data;
    QString problem;
};

FileRead readFile(const QString& path) {
    QFile file(path);
    if (!file.exists())
        return {};
    if (!file.open(QIODevice::ReadOnly))
        return {FileState::bad,
                {},
                QStringLiteral("Couldn't read the automation rules at %1: %2. Velmox starts from "
                               "empty rules and leaves the file as it is until you change "
                               "something.")
                    .arg(path, file.errorString())};
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &error);
    if (!document.isObject())
        return {FileState::bad,
                {},
                QStringLiteral("The automation rules at %1 are damaged and couldn't be read. "
                               "Velmox starts from empty rules and leaves the file as it is until "
                               "you change something.")
                    .arg(path)};
    return {FileState::read, storeDataFromJson(document.object()), {}};
}

template <typename T> qsizetype indexOfId(const QList<T>& list, const QString& id) {
    for (qsizetype i = 0; i < list.size(); ++i)
        if (list.at(i).id == id)
            return i;
    return -1;
}

// Records by id: additions, removals and changes of `mine` against `base`, applied to
// `theirs`. Where both sides changed a record, this process's version wins.
template <typename T>
QList<T> mergeRecords(const QList<T>& base, const QList<T>& mine, const QList<T>& theirs) {
    QList<T> result = theirs;
    for (const T& old : base)
        if (indexOfId(mine, old.id) < 0) {
            const qsizetype at = indexOfId(result, old.id);
            if (at >= 0)
                result.removeAt(at);
        }
    for (const T& record : mine) {
        const qsizetype inBase = indexOfId(base, record.id);
        if (inBase >= 0 && base.at(inBase) == record)
            continue;
        const qsizetype at = indexOfId(result, record.id);
        if (at >= 0)
            result[at] = record;
        else
            result.append(record);
    }
    return result;
}

QStringList mergeStrings(const QStringList& base, const QStringList& mine,
                         const QStringList& theirs) {
    QStringList result = theirs;
    for (const QString& old : base)
        if (!mine.contains(old))
            result.removeAll(old);
    for (const QString& item : mine)
        if (!base.contains(item) && !result.contains(item))
            result.append(item);
    return result;
}

template <typename T> T mergeValue(const T& base, const T& mine, const T& theirs) {
    return mine == base ? theirs : mine;
}

} // namespace

AutomationStore::AutomationStore(QString filePath)
    : filePath_(filePath.isEmpty() ? defaultFilePath() : std::move(filePath)) {}

QString AutomationStore::defaultFilePath() {
    return PlatformPaths::appDataFolder() + QStringLiteral("/Automation Rules.json");
}

AutomationStore::Loaded AutomationStore::load() {
    FileRead read = readFile(filePath_);
    base_ = read.data;
    return {std::move(read.data), std::move(read.problem)};
}

AutomationStoreData AutomationStore::merge(const AutomationStoreData& base,
                                           const AutomationStoreData& mine,
                                           const AutomationStoreData& theirs) {
    AutomationStoreData merged;
    merged.rules = mergeRecords(base.rules, mine.rules, theirs.rules);
    merged.chains = mergeRecords(base.chains, mine.chains, theirs.chains);
    merged.profiles = mergeRecords(base.profiles, mine.profiles, theirs.profiles);
    merged.protectedFolders =
        mergeStrings(base.protectedFolders, mine.protectedFolders, theirs.protectedFolders);
    merged.protectedBundleIDs =
        mergeStrings(base.protectedBundleIDs, mine.protectedBundleIDs, theirs.protectedBundleIDs);
    merged.customSchedule =
        mergeValue(base.customSchedule, mine.customSchedule, theirs.customSchedule);
    merged.agent = mergeValue(base.agent, mine.agent, theirs.agent);
    return merged;
}

Result<AutomationStoreData> AutomationStore::save(const AutomationStoreData& data) {
    const auto failed = [this](const QString& why) {
        return failure(
            QStringLiteral("Couldn't save the automation rules to %1: %2").arg(filePath_, why));
    };
    if (!QDir().mkpath(QFileInfo(filePath_).path()))
        return failed(QStringLiteral("its folder couldn't be created."));
    QLockFile lock(filePath_ + QStringLiteral(".lock"));
    if (!lock.tryLock(lockWaitMs))
        return failed(QStringLiteral("another Velmox process kept it locked."));

    // A file that cannot be decoded holds nothing to keep: this save replaces it.
    const FileRead current = readFile(filePath_);
    const AutomationStoreData merged =
        current.state == FileState::read ? merge(base_, data, current.data) : data;

    QSaveFile file(filePath_);
    if (!file.open(QIODevice::WriteOnly))
        return failed(file.errorString() + QLatin1Char('.'));
    file.write(QJsonDocument(toJson(merged)).toJson(QJsonDocument::Indented));
    if (!file.commit())
        return failed(file.errorString() + QLatin1Char('.'));
    base_ = merged;
    return merged;
}

} // namespace velmox
