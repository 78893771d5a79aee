#include "app/ScanResumeNotice.h"

#include "app/ScanResumeOffers.h"
#include "app/SymbolIcons.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace velmox {

ScanResumeNotice::ScanResumeNotice(ScanResumeOffers& offers, QWidget* parent)
    : QFrame(parent), offers_(offers), rows_(new QVBoxLayout(this)) {
    setObjectName(QStringLiteral("scanResumeNotice"));
    setStyleSheet(QStringLiteral("QFrame#scanResumeNotice { border-top: 1px solid palette(mid); "
                                 "background: palette(alternate-base); }"));
    rows_->setContentsMargins(12, 6, 8, 6);
    rows_->setSpacing(4);
    connect(&offers_, &ScanResumeOffers::changed, this, &ScanResumeNotice::refresh);
    refresh();
}

QStringList ScanResumeNotice::shownTexts() const {
    QStringList texts;
    if (isHidden())
        return texts;
    for (const QLabel* label : findChildren<QLabel*>(QStringLiteral("offerText")))
        texts << label->text();
    return texts;
}

void ScanResumeNotice::refresh() {
    // A button may be the one being clicked, so the rows go after its signal.
    while (QLayoutItem* item = rows_->takeAt(0)) {
        if (QWidget* row = item->widget()) {
            row->hide();
            row->setParent(nullptr);
            row->deleteLater();
        }
        delete item;
    }
    for (const ScanResumeOffer& offer : offers_.offers()) {
        auto* row = new QWidget(this);
        auto* layout = new QHBoxLayout(row);
        layout->setContentsMargins(0, 0, 0, 0);
        layout->setSpacing(8);
        auto* icon = new QLabel(row);
        icon->setPixmap(
            symbolIcon(QStringLiteral("externaldrive.fill"), QStringLiteral("S")).pixmap(16, 16));
        auto* text = new QLabel(offer.text(), row);
        text->setObjectName(QStringLiteral("offerText"));
        text->setWordWrap(true);
        auto* resume = new QPushButton(QStringLiteral("Continue Scan"), row);
        resume->setObjectName(QStringLiteral("continueScan"));
        resume->setToolTip(QStringLiteral("Opens Storage Manager and reads the rest, keeping "
                                          "what was read before"));
        auto* discard = new QPushButton(QStringLiteral("Discard"), row);
        discard->setObjectName(QStringLiteral("discardScan"));
        discard->setToolTip(QStringLiteral("Deletes what this scan had read so far"));
        layout->addWidget(icon);
        layout->addWidget(text, 1);
        layout->addWidget(resume);
        layout->addWidget(discard);
        const QString key = offer.scope.identifier();
        connect(resume, &QPushButton::clicked, &offers_,
                [this, key] { offers_.continueScan(key); });
        connect(discard, &QPushButton::clicked, &offers_, [this, key] { offers_.discard(key); });
        rows_->addWidget(row);
    }
    setVisible(!offers_.offers().isEmpty());
}

namespace {

const QString kService = QStringLiteral("org.freedesktop.Notifications");
const QString kPath = QStringLiteral("/org/freedesktop/Notifications");

QDBusMessage serverCall(const QString& method) {
    return QDBusMessage::createMethodCall(kService, kPath, kService, method);
}

} // namespace

ScanResumeDesktopNotice::ScanResumeDesktopNotice(ScanResumeOffers& offers,
                                                 QDBusConnection sessionBus,
                                                 std::function<bool()> windowShown,
                                                 std::function<void()> showWindow, QObject* parent)
    : QObject(parent), offers_(offers), bus_(std::move(sessionBus)),
      windowShown_(std::move(windowShown)), showWindow_(std::move(showWindow)) {
    bus_.connect(kService, kPath, kService, QStringLiteral("ActionInvoked"), this,
                 SLOT(actionInvoked(uint, QString)));
    connect(&offers_, &ScanResumeOffers::changed, this, &ScanResumeDesktopNotice::offersChanged);
    offersChanged();
}

void ScanResumeDesktopNotice::offersChanged() {
    QStringList fresh;
    for (const ScanResumeOffer& offer : offers_.offers()) {
        const QString id = offer.checkpointId();
        if (!seen_.contains(id)) {
            seen_.insert(id);
            fresh << id;
        }
    }
    // Offers taken up or discarded elsewhere leave the desktop too.
    for (auto it = notifications_.begin(); it != notifications_.end();) {
        if (offers_.find(it.value())) {
            ++it;
            continue;
        }
        close(it.key());
        it = notifications_.erase(it);
    }
    if (fresh.isEmpty() || windowShown_())
        return;
    auto* watcher = new QDBusPendingCallWatcher(
        bus_.asyncCall(serverCall(QStringLiteral("GetCapabilities"))), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, fresh] {
        watcher->deleteLater();
        const QDBusPendingReply<QStringList> reply = *watcher;
        const QStringList capabilities = reply.isValid() ? reply.value() : QStringList();
        for (const QString& id : fresh)
            send(id, capabilities);
    });
}

void ScanResumeDesktopNotice::send(const QString& checkpointId, const QStringList& capabilities) {
    const auto offer = offers_.find(checkpointId);
    if (!offer)
        return;
    // "default" is the click on the notification itself.
    QStringList actions{QStringLiteral("default"), QStringLiteral("Open Storage Manager")};
    if (capabilities.contains(QStringLiteral("actions")))
        actions << QStringLiteral("continue") << QStringLiteral("Continue Scan")
                << QStringLiteral("discard") << QStringLiteral("Discard");
    // A server that reads markup would take a "<" or "&" in a folder's name for a tag.
    const QString body = capabilities.contains(QStringLiteral("body-markup"))
                             ? offer->text().toHtmlEscaped()
                             : offer->text();
    QDBusMessage notify = serverCall(QStringLiteral("Notify"));
    notify << QStringLiteral("Velmox") << 0u << QStringLiteral("velmox")
           << QStringLiteral("Scan Interrupted") << body << actions << QVariantMap() << 0;
    auto* watcher = new QDBusPendingCallWatcher(bus_.asyncCall(notify), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, checkpointId] {
        watcher->deleteLater();
        const QDBusPendingReply<uint> shown = *watcher;
        if (!shown.isValid())
            return;
        if (offers_.find(checkpointId))
            notifications_.insert(shown.value(), checkpointId);
        else
            close(shown.value()); // the offer went while the server answered
    });
}

void ScanResumeDesktopNotice::close(uint notification) {
    QDBusMessage call = serverCall(QStringLiteral("CloseNotification"));
    call << notification;
    bus_.asyncCall(call);
}

void ScanResumeDesktopNotice::actionInvoked(uint notification, const QString& action) {
    const auto offer = offers_.find(notifications_.value(notification));
    if (!offer)
        return;
    const QString key = offer->scope.identifier();
    if (action == QLatin1String("continue")) {
        showWindow_();
        offers_.continueScan(key);
    } else if (action == QLatin1String("discard")) {
        offers_.discard(key);
    } else if (action == QLatin1String("default")) {
        showWindow_();
        offers_.showStorageManager();
    }
}

} // namespace velmox
