#include "app/ScanResumeOffers.h"

#include "app/SidebarItems.h"
#include "app/pages/StorageManagerPage.h"
#include "services/AppNavigationState.h"
#include "services/AppStatusCenter.h"
#include "storage/CatalogReindexer.h"
#include "storage/ScanCenter.h"
#include "storage/StorageCatalogStore.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QLocale>
#include <QPointer>
#include <memory>

namespace velmox {

namespace {

QString scopeName(const ScanScope& scope) {
    return scope.title == scope.path ? scope.path
                                     : QStringLiteral("%1 (%2)").arg(scope.title, scope.path);
}

QString dateText(const QDateTime& date) {
    return QLocale().toString(date.toLocalTime(), QLocale::ShortFormat);
}

// One checkpoint, whichever pass found it.
QString checkpointId(const QString& scopeKey, const QDateTime& savedAt) {
    return scopeKey + QLatin1Char('@') + savedAt.toUTC().toString(Qt::ISODateWithMs);
}

} // namespace

QString ScanResumeOffer::text() const {
    return QStringLiteral("The scan of %1 was interrupted on %2 with %3 read.")
        .arg(scopeName(scope), dateText(savedAt),
             entries == 1 ? QStringLiteral("1 item")
                          : QStringLiteral("%1 items").arg(QLocale().toString(qint64(entries))));
}

QString ScanResumeOffer::checkpointId() const {
    return velmox::checkpointId(scope.identifier(), savedAt);
}

ScanResumeOffers::ScanResumeOffers(ScanCenter& center, StorageCatalogStore& store,
                                   AppNavigationState& navigation, AppStatusCenter* status,
                                   Note note, QObject* parent)
    : QObject(parent), center_(center), store_(store), navigation_(navigation), status_(status),
      note_(std::move(note)) {
    workers_.setMaxThreadCount(1);
    for (ScanJob* job : center_.jobs())
        watch(job);
    connect(&center_, &ScanCenter::jobAdded, this, &ScanResumeOffers::watch);
}

ScanResumeOffers::~ScanResumeOffers() = default;

std::optional<ScanScope> ScanResumeOffers::scopeFor(const QString& scopeKey) {
    const qsizetype colon = scopeKey.indexOf(QLatin1Char(':'));
    const auto kind = scanScopeKindFromString(scopeKey.left(colon));
    const QString path = scopeKey.mid(colon + 1);
    if (colon < 0 || !kind || path.isEmpty())
        return std::nullopt;
    switch (*kind) {
    case ScanScope::Kind::home: {
        ScanScope home = StorageManagerPage::homeScope();
        home.path = path;
        return home;
    }
    case ScanScope::Kind::volume:
        for (const ScanScope& volume : StorageManagerPage::volumeScopes())
            if (volume.path == path)
                return volume;
        return ScanScope{ScanScope::Kind::volume, path, QFileInfo(path).fileName(), {}};
    case ScanScope::Kind::folder: {
        // The key's own path, so the scope finds the job and the files of that key.
        ScanScope folder = StorageManagerPage::folderScope(path);
        folder.path = path;
        return folder;
    }
    }
    return std::nullopt;
}

bool ScanResumeOffers::tookUp(const ScanJob& job) {
    return job.restoredFromCheckpoint() || job.state() == ScanJob::State::scanning;
}

void ScanResumeOffers::watch(ScanJob* job) {
    connect(job, &ScanJob::stateChanged, this, [this, job] {
        if (tookUp(*job))
            take(job->scope().identifier());
    });
}

void ScanResumeOffers::add(const ReindexReport& report) {
    bool added = false;
    for (const ScanCheckpointInfo& checkpoint : report.checkpoints) {
        const auto scope = scopeFor(checkpoint.scopeKey);
        const QString id = checkpointId(checkpoint.scopeKey, checkpoint.savedAt);
        if (!scope || offered_.contains(id))
            continue;
        const QList<ScanJob*> jobs = center_.jobs();
        if (std::any_of(jobs.cbegin(), jobs.cend(), [&checkpoint](const ScanJob* job) {
                return job->scope().identifier() == checkpoint.scopeKey && tookUp(*job);
            }))
            continue;
        offered_.insert(id);
        // A newer checkpoint of the same scope stands in for the older one.
        take(checkpoint.scopeKey);
        offers_.append({*scope, checkpoint.savedAt, checkpoint.entries});
        added = true;
    }
    if (added)
        emit changed();
}

std::optional<ScanResumeOffer> ScanResumeOffers::take(const QString& scopeKey) {
    for (qsizetype i = 0; i < offers_.size(); ++i) {
        if (offers_[i].scope.identifier() != scopeKey)
            continue;
        ScanResumeOffer offer = offers_.takeAt(i);
        emit changed();
        return offer;
    }
    return std::nullopt;
}

std::optional<ScanResumeOffer> ScanResumeOffers::find(const QString& checkpointId) const {
    for (const ScanResumeOffer& offer : offers_)
        if (offer.checkpointId() == checkpointId)
            return offer;
    return std::nullopt;
}

void ScanResumeOffers::showStorageManager() {
    navigation_.navigate(rawValue(Category::storageManager), std::nullopt);
}

void ScanResumeOffers::continueScan(const QString& scopeKey) {
    const auto offer = take(scopeKey);
    if (!offer)
        return;
    ScanJob* job = center_.job(offer->scope);
    // The job rebuilds the paused walk from the checkpoint (its item cap included) and the
    // walk goes on as soon as it is there.
    const QPointer<ScanJob> target(job);
    const auto resumeWhenRestored = [target] {
        if (!target || target->state() == ScanJob::State::loadingCache)
            return false;
        if (target->restoredFromCheckpoint() && target->canResume())
            target->resume();
        return true;
    };
    job->openCachedScan();
    if (!resumeWhenRestored()) {
        auto connection = std::make_shared<QMetaObject::Connection>();
        *connection = connect(job, &ScanJob::stateChanged, this, [resumeWhenRestored, connection] {
            if (resumeWhenRestored())
                disconnect(*connection);
        });
    }
    navigation_.navigate(rawValue(Category::storageManager),
                         StorageManagerPage::scopeDetail(offer->scope));
}

void ScanResumeOffers::discard(const QString& scopeKey) {
    const auto offer = take(scopeKey);
    if (!offer)
        return;
    auto deleted = std::make_shared<std::future<Status>>(store_.deleteCheckpoint(scopeKey));
    const QPointer<ScanResumeOffers> self(this);
    workers_.start([deleted, self, offer = *offer] {
        const Status done = deleted->get();
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [self, offer, done] {
                if (!self)
                    return;
                const QString detail =
                    done ? QStringLiteral("The checkpoint of the scan of %1, saved on %2, was "
                                          "deleted.")
                               .arg(scopeName(offer.scope), dateText(offer.savedAt))
                         : QStringLiteral("The checkpoint of the scan of %1 could not be "
                                          "deleted (%2).")
                               .arg(scopeName(offer.scope), done.error());
                if (self->note_)
                    self->note_(QStringLiteral("Discarded an interrupted scan"), detail,
                                done.has_value());
                if (self->status_)
                    self->status_->report(
                        done ? QStringLiteral("Success: Discarded the interrupted scan of %1.")
                                   .arg(offer.scope.title)
                             : QStringLiteral("Error: ") + detail,
                        false);
            },
            Qt::QueuedConnection);
    });
}

} // namespace velmox
