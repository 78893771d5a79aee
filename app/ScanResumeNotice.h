#pragma once

#include <QDBusConnection>
#include <QFrame>
#include <QHash>
#include <QSet>
#include <functional>

class QVBoxLayout;

namespace velmox {

class ScanResumeOffers;

// The strip above the status line that shows each scan Velmox offers to continue, with
// Continue Scan and Discard; hidden while there is none. Does not block anything: the user
// may answer it whenever, from any page. The offers must outlive it.
class ScanResumeNotice : public QFrame {
    Q_OBJECT
public:
    explicit ScanResumeNotice(ScanResumeOffers& offers, QWidget* parent = nullptr);

    // The sentence of each offer shown, in order.
    QStringList shownTexts() const;

private:
    void refresh();

    ScanResumeOffers& offers_;
    QVBoxLayout* rows_;
};

// The offers as desktop notifications (org.freedesktop.Notifications), for when no window
// shows the strip: one for each checkpoint offered while the window is not shown, never a
// second. Where the server has actions it offers Continue Scan and Discard, which do what
// the strip's buttons do; a click on the notification itself opens the Storage Manager. An
// answer to an offer that went meanwhile does nothing. The offers must outlive it.
class ScanResumeDesktopNotice : public QObject {
    Q_OBJECT
public:
    // windowShown: whether the strip is in sight; showWindow: brings the window forward.
    ScanResumeDesktopNotice(ScanResumeOffers& offers, QDBusConnection sessionBus,
                            std::function<bool()> windowShown, std::function<void()> showWindow,
                            QObject* parent = nullptr);

private slots:
    void actionInvoked(uint notification, const QString& action);

private:
    void offersChanged();
    void send(const QString& checkpointId, const QStringList& capabilities);
    void close(uint notification);

    ScanResumeOffers& offers_;
    QDBusConnection bus_;
    std::function<bool()> windowShown_;
    std::function<void()> showWindow_;
    QSet<QString> seen_;                 // every checkpoint offered so far
    QHash<uint, QString> notifications_; // the server's id -> the checkpoint it shows
};

} // namespace velmox
