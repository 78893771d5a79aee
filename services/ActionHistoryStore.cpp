#include "services/ActionHistoryStore.h"

#include "platform/PlatformPaths.h"
#include "platform/Trash.h"
#include "services/Clock.h"
#include "services/Settings.h"
#include "services/ShownText.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLocale>
#include <QSaveFile>
#include <QThread>
#include <algorithm>
#include <optional>
#include <sys/stat.h>

namespace velmox {

namespace {

QString idText(const QUuid& id) {
    return id.toString(QUuid::WithoutBraces).toUpper();
}

QByteArray csvQuoted(const QString& text) {
    QString quoted = text;
    quoted.replace(QLatin1Char('"'), QLatin1String("\"\""));
    return '"' + quoted.toUtf8() + '"';
}

// Puts one item back, or says why it stayed and where it is.
std::optional<ActionHistoryStore::NotRestored> putBackItem(const QString& cacheName,
                                                           const QString& trashName) {
    // A payload never reaches outside the two folders.
    if (!Trash::isPlainName(cacheName) || !Trash::isPlainName(trashName))
        return ActionHistoryStore::NotRestored{
            cacheName,
            QStringLiteral("The log names it with a path, not a plain name, so it "
                           "was left alone."),
            {}};
    const QString inTrash = Trash::itemPath(trashName);
    if (!QFileInfo(inTrash).exists() && !QFileInfo(inTrash).isSymLink())
        return ActionHistoryStore::NotRestored{
            cacheName, QStringLiteral("It is no longer in the Trash."), {}};
    const QString destination = PlatformPaths::userCaches() + QLatin1Char('/') + cacheName;
    const Status restored = Trash::restore(trashName, destination);
    if (restored)
        return std::nullopt;
    const bool taken = QFileInfo(destination).exists() || QFileInfo(destination).isSymLink();
    return ActionHistoryStore::NotRestored{
        cacheName,
        taken ? QStringLiteral("A newer item of that name is in %1.")
                    .arg(PlatformPaths::userCachesDisplay())
              : restored.error(),
        inTrash};
}

// A full path without "." or ".." steps or empty ones: it names one place and no other.
bool isPlainAbsolutePath(const QByteArray& path) {
    if (!path.startsWith('/') || path.size() < 2 || path.contains('\0'))
        return false;
    const QList<QByteArray> steps = path.mid(1).split('/');
    return std::ranges::none_of(steps, [](const QByteArray& step) {
        return step.isEmpty() || step == "." || step == "..";
    });
}

std::optional<ActionHistoryStore::NotRestored> putBackTrashed(const QByteArray& path,
                                                              const QByteArray& trashName) {
    const QString shown = shownName(QByteArrayView(path));
    if (!isPlainAbsolutePath(path) || !Trash::isPlainName(QFile::decodeName(trashName)) ||
        trashName.contains('/'))
        return ActionHistoryStore::NotRestored{
            shown,
            QStringLiteral("The log does not name it with a full path and a plain name in the "
                           "Trash, so it was left alone."),
            {}};
    const QByteArray inTrash = QFile::encodeName(Trash::filesFolder()) + '/' + trashName;
    struct stat status {};
    if (::lstat(inTrash.constData(), &status) != 0)
        return ActionHistoryStore::NotRestored{
            shown, QStringLiteral("It is no longer in the Trash."), {}};
    const Status restored = Trash::restoreBytes(trashName, path);
    if (restored)
        return std::nullopt;
    const bool taken = ::lstat(path.constData(), &status) == 0;
    return ActionHistoryStore::NotRestored{
        shown,
        taken ? QStringLiteral("A newer item of that name is in its folder.") : restored.error(),
        shownName(QByteArrayView(inTrash))};
}

QString payloadOf(const ActionHistoryEntry& entry, const QString& marker) {
    const qsizetype at = entry.detail.indexOf(marker);
    return at < 0 ? QString() : entry.detail.mid(at + marker.size());
}

} // namespace

ActionHistoryStore::ActionHistoryStore(Settings& settings, Clock& clock, QObject* parent)
    : QObject(parent), settings_(settings), clock_(clock) {
    settings_.sync();
    entries_ = withUnsaved(settings_.value(storageKey), settings_.value(legacyStorageKey));
    // Every save replaces the file (written beside it, then renamed), so its folder is watched.
    const QString folder = QFileInfo(settings_.filePath()).path();
    QDir().mkpath(folder);
    watcher_.addPath(folder);
    reloadSoon_.setSingleShot(true);
    connect(&watcher_, &QFileSystemWatcher::directoryChanged, &reloadSoon_,
            qOverload<>(&QTimer::start));
    connect(&reloadSoon_, &QTimer::timeout, this, &ActionHistoryStore::reload);
}

ActionHistoryStore::~ActionHistoryStore() {
    insertArrived();
}

ActionHistoryEntry ActionHistoryStore::record(const QString& action, const QString& detail,
                                              bool success) {
    ActionHistoryEntry entry{QUuid::createUuid(), clock_.now(), action, detail, success};
    bool firstWaiting = false;
    {
        QMutexLocker lock(&arrivingMutex_);
        arriving_.append(entry);
        firstWaiting = arriving_.size() == 1;
    }
    // One queued call takes everything that arrived before it runs.
    if (firstWaiting)
        QMetaObject::invokeMethod(this, &ActionHistoryStore::insertArrived, Qt::QueuedConnection);
    return entry;
}

QList<ActionHistoryEntry> ActionHistoryStore::withUnsaved(const QVariant& stored,
                                                          const QVariant& legacy) const {
    // The legacy key is read only while the current one is absent; a damaged log reads as empty
    // and stays stored until the next save replaces it.
    QList<ActionHistoryEntry> list =
        historyFromJson((stored.isValid() ? stored : legacy).toByteArray())
            .value_or(QList<ActionHistoryEntry>{});
    for (const ActionHistoryEntry& entry : unsaved_) {
        if (std::any_of(list.cbegin(), list.cend(),
                        [&entry](const ActionHistoryEntry& saved) { return saved.id == entry.id; }))
            continue;
        list.prepend(entry);
        // One out per record, even if a stored list was already longer.
        if (list.size() > maxEntries)
            list.removeLast();
    }
    return list;
}

void ActionHistoryStore::show(QList<ActionHistoryEntry> entries) {
    if (entries == entries_)
        return;
    entries_ = std::move(entries);
    emit entriesChanged();
}

void ActionHistoryStore::insertArrived() {
    QList<ActionHistoryEntry> arrived;
    {
        QMutexLocker lock(&arrivingMutex_);
        arrived.swap(arriving_);
    }
    if (arrived.isEmpty())
        return;
    unsaved_ += arrived;
    // The legacy value is read now: the settings may not be read while the update runs.
    const QVariant legacy = settings_.value(legacyStorageKey);
    QList<ActionHistoryEntry> saved;
    // Saved before control returns to the event loop; records that arrived together share one
    // save, since every save waits for the disk.
    const Status written = settings_.update(storageKey, [&](const QVariant& stored) {
        saved = withUnsaved(stored, legacy);
        return QVariant(toJson(saved));
    });
    if (written) {
        unsaved_.clear();
        show(std::move(saved));
    } else {
        show(withUnsaved(settings_.value(storageKey), legacy));
        emit saveFailed(written.error());
    }
}

void ActionHistoryStore::reload() {
    settings_.sync();
    show(withUnsaved(settings_.value(storageKey), settings_.value(legacyStorageKey)));
}

const QList<ActionHistoryEntry>& ActionHistoryStore::entries() const {
    Q_ASSERT(QThread::currentThread() == thread());
    return entries_;
}

Status ActionHistoryStore::clear() {
    const Status written = settings_.setValue(storageKey, toJson(QList<ActionHistoryEntry>{}));
    if (!written)
        return written;
    unsaved_.clear();
    show({});
    return Done{};
}

QList<ActionHistoryStore::UndoPair> ActionHistoryStore::undoItems(const ActionHistoryEntry& entry) {
    const QJsonDocument payload = QJsonDocument::fromJson(payloadOf(entry, undoMarker).toUtf8());
    QList<UndoPair> pairs;
    for (const QJsonValue& item : payload.array()) {
        const QJsonArray names = item.toArray();
        if (names.size() == 2 && names.at(0).isString() && names.at(1).isString())
            pairs.append({names.at(0).toString(), names.at(1).toString()});
    }
    return pairs;
}

QString ActionHistoryStore::undoPayload(const QList<UndoPair>& moved) {
    if (moved.isEmpty())
        return {};
    QJsonArray pairs;
    for (const auto& [cacheName, trashName] : moved)
        pairs.append(QJsonArray{cacheName, trashName});
    return undoMarker + QString::fromUtf8(QJsonDocument(pairs).toJson(QJsonDocument::Compact));
}

QList<ActionHistoryStore::TrashedItem>
ActionHistoryStore::trashedItems(const ActionHistoryEntry& entry) {
    const QJsonDocument payload = QJsonDocument::fromJson(payloadOf(entry, trashedMarker).toUtf8());
    QList<TrashedItem> items;
    for (const QJsonValue& item : payload.array()) {
        const QJsonArray names = item.toArray();
        if (names.size() == 2 && names.at(0).isString() && names.at(1).isString())
            items.append({QByteArray::fromPercentEncoding(names.at(0).toString().toLatin1()),
                          QByteArray::fromPercentEncoding(names.at(1).toString().toLatin1())});
    }
    return items;
}

// Paths are kept percent-encoded, so bytes that are not UTF-8 come back as they were.
QString ActionHistoryStore::trashedPayload(const QList<TrashedItem>& moved) {
    if (moved.isEmpty())
        return {};
    QJsonArray pairs;
    for (const TrashedItem& item : moved)
        pairs.append(QJsonArray{QString::fromLatin1(item.originalPath.toPercentEncoding("/")),
                                QString::fromLatin1(item.trashName.toPercentEncoding())});
    return trashedMarker + QString::fromUtf8(QJsonDocument(pairs).toJson(QJsonDocument::Compact));
}

qsizetype ActionHistoryStore::putBackItemCount(const ActionHistoryEntry& entry) {
    return undoItems(entry).size() + trashedItems(entry).size();
}

QString ActionHistoryStore::visibleDetail(const ActionHistoryEntry& entry) {
    qsizetype end = entry.detail.size();
    for (const QString& marker : {undoMarker, trashedMarker})
        if (const qsizetype at = entry.detail.indexOf(marker); at >= 0)
            end = std::min(end, at);
    return entry.detail.left(end);
}

QStringList ActionHistoryStore::undoneIds() const {
    return settings_.value(undoneKey).toStringList();
}

bool ActionHistoryStore::canPutBack(const ActionHistoryEntry& entry) const {
    return putBackItemCount(entry) > 0 &&
           !undoneIds().contains(idText(entry.id), Qt::CaseInsensitive);
}

Result<ActionHistoryStore::PutBackResult>
ActionHistoryStore::putBack(const ActionHistoryEntry& entry) {
    Q_ASSERT(QThread::currentThread() == thread());
    if (!canPutBack(entry))
        return PutBackResult{};
    // Marked first, so Put Back is gone even when nothing could be moved; and nothing moves
    // while the mark cannot be saved, or Put Back would be offered again after a restart.
    const QString id = idText(entry.id);
    bool putBackElsewhere = false;
    const Status marked = settings_.update(undoneKey, [&](const QVariant& stored) {
        QStringList ids = stored.toStringList();
        putBackElsewhere = ids.contains(id, Qt::CaseInsensitive);
        if (!putBackElsewhere)
            ids << id;
        return QVariant(ids);
    });
    if (!marked)
        return failure(QStringLiteral("Nothing was put back. ") + marked.error());
    if (putBackElsewhere)
        return PutBackResult{};

    PutBackResult result;
    for (const auto& [cacheName, trashName] : undoItems(entry)) {
        if (cacheName.isEmpty() || trashName.isEmpty())
            continue;
        if (auto stayed = putBackItem(cacheName, trashName))
            result.notRestored.append(std::move(*stayed));
        else
            ++result.restored;
    }
    for (const auto& [path, trashName] : trashedItems(entry)) {
        result.toOriginalFolders = true;
        if (auto stayed = putBackTrashed(path, trashName)) {
            result.notRestored.append(std::move(*stayed));
        } else {
            ++result.restored;
            result.restoredPaths.append(path);
        }
    }
    record(putBackAction, putBackSummary(result), result.restored > 0);
    if (!result.restoredPaths.isEmpty())
        emit itemsPutBack(result.restoredPaths);
    return result;
}

QList<ActionHistoryEntry> ActionHistoryStore::filtered(ResultFilter filter,
                                                       const QString& search) const {
    const QLocale locale;
    const QString needle = locale.toLower(search);
    QList<ActionHistoryEntry> shown;
    for (const ActionHistoryEntry& entry : entries()) {
        if ((filter == ResultFilter::ok && !entry.success) ||
            (filter == ResultFilter::failed && entry.success))
            continue;
        if (needle.isEmpty() || locale.toLower(entry.action).contains(needle) ||
            locale.toLower(visibleDetail(entry)).contains(needle))
            shown.append(entry);
    }
    return shown;
}

QByteArray ActionHistoryStore::csv(const QList<ActionHistoryEntry>& shown) {
    QByteArray text = "Date,Action,Result,Details\n";
    for (const ActionHistoryEntry& entry : shown) {
        text += entry.date.toUTC().toString(Qt::ISODate).toLatin1() + ',' +
                csvQuoted(entry.action) + ',' + (entry.success ? "success" : "failure") + ',' +
                csvQuoted(visibleDetail(entry)) + '\n';
    }
    return text;
}

Status ActionHistoryStore::exportCsv(const QList<ActionHistoryEntry>& shown, const QString& path) {
    return writeExport(path, csv(shown));
}

Status ActionHistoryStore::writeExport(const QString& path, const QByteArray& content) {
    QSaveFile file(path);
    if (file.open(QIODevice::WriteOnly)) {
        file.write(content);
        if (file.commit())
            return Done{};
    }
    return failure(QStringLiteral("Couldn't export: “%1” could not be written (%2).")
                       .arg(path, file.errorString()));
}

QString ActionHistoryStore::exportedMessage(qsizetype count, const QString& path) {
    return QStringLiteral("Exported %1 entries to %2.").arg(count).arg(path);
}

QString ActionHistoryStore::suggestedExportFileName(const QDateTime& now) {
    return QStringLiteral("Velmox-Activity-%1.csv")
        .arg(now.toString(QStringLiteral("yyyy-MM-dd-HHmmss")));
}

QString ActionHistoryStore::putBackButtonTitle(qsizetype itemCount) {
    return QStringLiteral("Put Back (%1 items)").arg(itemCount);
}

QString ActionHistoryStore::putBackHelp() {
    return QStringLiteral("Moves these items from the Trash back to %1, if they are still in the "
                          "Trash.")
        .arg(PlatformPaths::userCachesDisplay());
}

QString ActionHistoryStore::putBackHelp(const ActionHistoryEntry& entry) {
    if (trashedItems(entry).isEmpty())
        return putBackHelp();
    return QStringLiteral("Moves these items from the Trash back to the folders they came from, if "
                          "they are still in the Trash and nothing new has taken their place.");
}

bool ActionHistoryStore::PutBackResult::anyStillInTrash() const {
    return std::ranges::any_of(notRestored,
                               [](const NotRestored& item) { return !item.trashPath.isEmpty(); });
}

QString ActionHistoryStore::putBackSummary(const PutBackResult& result) {
    QString text = result.toOriginalFolders
                       ? QStringLiteral("Put back %1 item(s) into the folders they came from.")
                             .arg(result.restored)
                       : QStringLiteral("Put back %1 item(s) into %2.")
                             .arg(result.restored)
                             .arg(PlatformPaths::userCachesDisplay());
    if (result.notRestored.isEmpty())
        return text;
    text += QStringLiteral(" %1 couldn't be restored:").arg(result.notRestored.size());
    for (const NotRestored& item : result.notRestored) {
        text += QStringLiteral("\n• “%1”: %2").arg(item.name, item.reason);
        if (!item.trashPath.isEmpty())
            text += QStringLiteral(" It is still in the Trash (%1).").arg(item.trashPath);
    }
    return text;
}

} // namespace velmox
