#include "services/ActionHistoryStore.h"

#include "platform/PlatformPaths.h"
#include "platform/Trash.h"
#include "services/Clock.h"
#include "services/Settings.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QLocale>
#include <QSaveFile>
#include <QThread>

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

QString putBackDetail(const ActionHistoryStore::PutBackResult& result) {
    QString detail = QStringLiteral("Put back %1 item(s) into %2.")
                         .arg(result.restored)
                         .arg(PlatformPaths::userCachesDisplay());
    if (result.failed > 0)
        detail += QStringLiteral(" %1 couldn't be restored (no longer in the Trash, or a new item "
                                 "already exists).")
                      .arg(result.failed);
    return detail;
}

} // namespace

ActionHistoryStore::ActionHistoryStore(Settings& settings, Clock& clock, QObject* parent)
    : QObject(parent), settings_(settings), clock_(clock) {
    const QString key = settings_.contains(storageKey) ? storageKey : legacyStorageKey;
    // A damaged log reads as empty and stays stored until the next save replaces it.
    if (settings_.contains(key))
        entries_ = historyFromJson(settings_.value(key).toByteArray())
                       .value_or(QList<ActionHistoryEntry>{});
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

void ActionHistoryStore::insertArrived() {
    QList<ActionHistoryEntry> arrived;
    {
        QMutexLocker lock(&arrivingMutex_);
        arrived.swap(arriving_);
    }
    if (arrived.isEmpty())
        return;
    for (ActionHistoryEntry& entry : arrived) {
        entries_.prepend(std::move(entry));
        // One out per record, even if a stored list was already longer.
        if (entries_.size() > maxEntries)
            entries_.removeLast();
    }
    // Saved before control returns to the event loop; records that arrived together share one
    // save, since every save waits for the disk.
    save();
    emit entriesChanged();
}

void ActionHistoryStore::save() {
    settings_.setValue(storageKey, toJson(entries_));
}

const QList<ActionHistoryEntry>& ActionHistoryStore::entries() const {
    Q_ASSERT(QThread::currentThread() == thread());
    return entries_;
}

void ActionHistoryStore::clear() {
    entries_.clear();
    save();
    emit entriesChanged();
}

QList<ActionHistoryStore::UndoPair> ActionHistoryStore::undoItems(const ActionHistoryEntry& entry) {
    const qsizetype marker = entry.detail.indexOf(undoMarker);
    if (marker < 0)
        return {};
    const QJsonDocument payload =
        QJsonDocument::fromJson(entry.detail.mid(marker + undoMarker.size()).toUtf8());
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

QString ActionHistoryStore::visibleDetail(const ActionHistoryEntry& entry) {
    return entry.detail.left(entry.detail.indexOf(undoMarker));
}

QStringList ActionHistoryStore::undoneIds() const {
    return settings_.value(undoneKey).toStringList();
}

bool ActionHistoryStore::canPutBack(const ActionHistoryEntry& entry) const {
    return !undoItems(entry).isEmpty() &&
           !undoneIds().contains(idText(entry.id), Qt::CaseInsensitive);
}

ActionHistoryStore::PutBackResult ActionHistoryStore::putBack(const ActionHistoryEntry& entry) {
    Q_ASSERT(QThread::currentThread() == thread());
    if (!canPutBack(entry))
        return {};
    // Marked first, so Put Back is gone even when nothing could be moved.
    settings_.setValue(undoneKey, undoneIds() << idText(entry.id));

    PutBackResult result;
    for (const auto& [cacheName, trashName] : undoItems(entry)) {
        if (cacheName.isEmpty() || trashName.isEmpty())
            continue;
        // A payload never reaches outside the two folders.
        if (!Trash::isPlainName(cacheName) || !Trash::isPlainName(trashName)) {
            ++result.failed;
            continue;
        }
        const QString destination = PlatformPaths::userCaches() + QLatin1Char('/') + cacheName;
        if (Trash::restore(trashName, destination))
            ++result.restored;
        else
            ++result.failed;
    }
    record(putBackAction, putBackDetail(result), result.restored > 0);
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
    QSaveFile file(path);
    if (file.open(QIODevice::WriteOnly)) {
        file.write(csv(shown));
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

} // namespace velmox
