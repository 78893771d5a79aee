#include "network/ThroughputBackend.h"

#include "network/NetworkQualityBackend.h"
#include "services/Clock.h"
#include "services/Settings.h"

#include <QIODevice>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QRandomGenerator>
#include <QUrlQuery>
#include <algorithm>
#include <cstring>
#include <vector>

namespace velmox {

namespace {

using Steady = std::chrono::steady_clock;

double secondsBetween(Steady::time_point from, Steady::time_point to) {
    return std::chrono::duration<double>(to - from).count();
}

// An upload body of `size` bytes that are never held in memory at once: a block of random
// bytes repeated, so nothing on the way can compress it.
class FillerBody final : public QIODevice {
public:
    FillerBody(qint64 size, QObject* parent) : QIODevice(parent), size_(size) {
        open(QIODevice::ReadOnly);
    }
    bool isSequential() const override { return false; }
    qint64 size() const override { return size_; }

protected:
    qint64 readData(char* data, qint64 maxSize) override {
        const QByteArray& source = block();
        const qint64 count = std::min(maxSize, size_ - pos());
        for (qint64 done = 0; done < count;) {
            const qint64 offset = (pos() + done) % source.size();
            const qint64 piece = std::min(count - done, source.size() - offset);
            std::memcpy(data + done, source.constData() + offset, static_cast<size_t>(piece));
            done += piece;
        }
        return count;
    }
    qint64 writeData(const char*, qint64) override { return -1; }

private:
    static const QByteArray& block() {
        static const QByteArray bytes = [] {
            QByteArray random(64 * 1024, Qt::Uninitialized);
            QRandomGenerator::global()->fillRange(reinterpret_cast<quint32*>(random.data()),
                                                  random.size() / 4);
            return random;
        }();
        return bytes;
    }

    qint64 size_;
};

class ThroughputRun final : public SpeedTestRun {
public:
    ThroughputRun(const ThroughputOptions& options, Clock& clock)
        : options_(options), clock_(clock) {
        QMetaObject::invokeMethod(this, &ThroughputRun::probeLatency, Qt::QueuedConnection);
    }

    ~ThroughputRun() override { stop(); }

    bool cancel() override {
        stop();
        return true;
    }

private:
    enum class Phase { latency, download, upload, over };

    struct UploadStream {
        qint64 size = 256 * 1024; // of the next request; grows while requests are quick
        Steady::time_point sent;
        std::optional<Steady::time_point> firstAnswer;
        Steady::time_point lastAnswer;
        qint64 bytesSinceFirstAnswer = 0;
    };

    QUrl endpoint(const QString& name, std::optional<qint64> bytes) const {
        QUrl url = options_.server;
        QString path = url.path();
        while (path.endsWith(QLatin1Char('/')))
            path.chop(1);
        url.setPath(path + QLatin1Char('/') + name);
        if (bytes)
            url.setQuery(QStringLiteral("bytes=") + QString::number(*bytes));
        return url;
    }

    QNetworkRequest request(const QUrl& url) const {
        QNetworkRequest request(url);
        request.setAttribute(QNetworkRequest::CacheLoadControlAttribute,
                             QNetworkRequest::AlwaysNetwork);
        request.setRawHeader("Cache-Control", "no-store");
        return request;
    }

    // Latency: one empty download at a time.
    void probeLatency() {
        if (phase_ != Phase::latency)
            return;
        emit progress(0.1 * static_cast<double>(rtts_.size()) / std::max(options_.latencyProbes, 1),
                      QStringLiteral("Measuring latency..."), soFar_);
        const Steady::time_point sent = clock_.steadyNow();
        QNetworkReply* reply = nam_.get(request(endpoint(QStringLiteral("__down"), 0)));
        replies_.append(reply);
        connect(reply, &QNetworkReply::finished, this, [this, reply, sent] {
            const Steady::time_point answered = clock_.steadyNow();
            if (!forget(reply))
                return;
            if (reply->error() != QNetworkReply::NoError)
                return fail(reply);
            rtts_.append(secondsBetween(sent, answered) * 1000.0);
            if (rtts_.size() < std::max(options_.latencyProbes, 1))
                return probeLatency();
            // The first probe also opened the connection.
            QList<double> idle = rtts_.size() > 1 ? rtts_.mid(1) : rtts_;
            std::sort(idle.begin(), idle.end());
            soFar_.baseRttMilliseconds = idle.at(idle.size() / 2);
            beginPhase(Phase::download);
        });
    }

    void beginPhase(Phase phase) {
        phase_ = phase;
        phaseBytes_ = 0;
        rampBytes_ = 0;
        phaseStart_ = clock_.steadyNow();
        rampEnd_.reset();
        rampJob_ = clock_.schedule(options_.rampUp, [this] {
            rampEnd_ = clock_.steadyNow();
            rampBytes_ = phaseBytes_;
        });
        endJob_ = clock_.schedule(options_.phaseDuration, [this] { endPhase(); });
        tickJob_ = clock_.schedule(
            std::chrono::milliseconds(250), [this] { tick(); }, true);
        uploads_.assign(static_cast<size_t>(std::max(options_.streams, 1)), UploadStream{});
        for (size_t stream = 0; stream < uploads_.size(); ++stream)
            startStream(stream);
        tick();
    }

    void startStream(size_t stream) {
        QNetworkReply* reply = nullptr;
        if (phase_ == Phase::download) {
            reply = nam_.get(
                request(endpoint(QStringLiteral("__down"), options_.downloadRequestBytes)));
            connect(reply, &QNetworkReply::readyRead, this,
                    [this, reply] { phaseBytes_ += reply->readAll().size(); });
        } else {
            UploadStream& upload = uploads_[stream];
            upload.size = std::min(upload.size, options_.uploadRequestBytes);
            QNetworkRequest post = request(endpoint(QStringLiteral("__up"), std::nullopt));
            post.setHeader(QNetworkRequest::ContentTypeHeader,
                           QStringLiteral("application/octet-stream"));
            auto* body = new FillerBody(upload.size, nullptr);
            reply = nam_.post(post, body);
            body->setParent(reply);
            upload.sent = clock_.steadyNow();
            connect(reply, &QNetworkReply::uploadProgress, this,
                    [this, handed = qint64(0)](qint64 now, qint64) mutable {
                        phaseBytes_ += now - handed;
                        handed = now;
                    });
        }
        replies_.append(reply);
        connect(reply, &QNetworkReply::finished, this, [this, reply, stream] {
            if (!forget(reply))
                return;
            if (reply->error() != QNetworkReply::NoError)
                return fail(reply);
            if (phase_ == Phase::download)
                phaseBytes_ += reply->readAll().size();
            else
                uploaded(uploads_[stream]);
            startStream(stream);
        });
    }

    // An upload was answered: the server has read the whole body.
    void uploaded(UploadStream& upload) {
        const Steady::time_point now = clock_.steadyNow();
        if (rampEnd_) {
            if (!upload.firstAnswer)
                upload.firstAnswer = now;
            else
                upload.bytesSinceFirstAnswer += upload.size;
            upload.lastAnswer = now;
        }
        // Short requests spend too much of their time on the round trip between them.
        if (secondsBetween(upload.sent, now) < 0.25)
            upload.size *= 2;
    }

    // Bytes handed to the socket are not bytes sent: the socket buffers hold megabytes, far
    // more than a slow link moves in a second. So upload counts what the server confirmed:
    // per stream, the bodies answered after its first answer past the ramp-up, over the time
    // between that answer and its last one. Streams with too few answers count as the mean of
    // the others; with none at all, the bytes handed over are the best there is.
    std::optional<double> confirmedUploadRate() const {
        double sum = 0;
        int measured = 0;
        for (const UploadStream& upload : uploads_) {
            if (upload.bytesSinceFirstAnswer == 0)
                continue;
            sum += static_cast<double>(upload.bytesSinceFirstAnswer) * 8.0 /
                   secondsBetween(*upload.firstAnswer, upload.lastAnswer);
            ++measured;
        }
        if (measured == 0)
            return std::nullopt;
        return sum / measured * static_cast<double>(uploads_.size());
    }

    // The steady rate of the phase so far in bits per second, from the bytes moved; from the
    // start while the ramp-up lasts.
    double rateSoFar() const {
        const Steady::time_point now = clock_.steadyNow();
        const Steady::time_point from = rampEnd_.value_or(phaseStart_);
        const double seconds = secondsBetween(from, now);
        return seconds > 0 ? static_cast<double>(phaseBytes_ - rampBytes_) * 8.0 / seconds : 0.0;
    }

    void tick() {
        const bool download = phase_ == Phase::download;
        (download ? soFar_.downloadBitsPerSecond : soFar_.uploadBitsPerSecond) = rateSoFar();
        const double within =
            std::clamp(secondsBetween(phaseStart_, clock_.steadyNow()) /
                           std::chrono::duration<double>(options_.phaseDuration).count(),
                       0.0, 1.0);
        emit progress((download ? 0.1 : 0.55) + 0.45 * within,
                      download ? QStringLiteral("Measuring download...")
                               : QStringLiteral("Measuring upload..."),
                      soFar_);
    }

    void endPhase() {
        const bool download = phase_ == Phase::download;
        if (download)
            soFar_.downloadBitsPerSecond = rateSoFar();
        else
            soFar_.uploadBitsPerSecond = confirmedUploadRate().value_or(rateSoFar());
        dropTransfers();
        if (download)
            return beginPhase(Phase::upload);
        phase_ = Phase::over;
        emit progress(1.0, QString(), soFar_);
        emit finished(soFar_);
    }

    // Takes a finished reply off the list; false when the run no longer waits for it.
    bool forget(QNetworkReply* reply) {
        reply->deleteLater();
        return replies_.removeOne(reply) && phase_ != Phase::over;
    }

    void fail(QNetworkReply* reply) {
        const QString reason = reply->errorString();
        stop();
        emit finished(failure(QStringLiteral("The speed test could not reach %1 (%2). Check "
                                             "your internet connection.")
                                  .arg(options_.server.host(), reason)));
    }

    void dropTransfers() {
        rampJob_.reset();
        endJob_.reset();
        tickJob_.reset();
        const QList<QNetworkReply*> replies = std::exchange(replies_, {});
        for (QNetworkReply* reply : replies) {
            disconnect(reply, nullptr, this, nullptr);
            reply->abort();
            reply->deleteLater();
        }
    }

    void stop() {
        phase_ = Phase::over;
        dropTransfers();
    }

    ThroughputOptions options_;
    Clock& clock_;
    QNetworkAccessManager nam_;
    Phase phase_ = Phase::latency;
    QList<QNetworkReply*> replies_; // children of nam_
    QList<double> rtts_;
    std::vector<UploadStream> uploads_;
    SpeedTestSummary soFar_;
    qint64 phaseBytes_ = 0;
    qint64 rampBytes_ = 0;
    Steady::time_point phaseStart_;
    std::optional<Steady::time_point> rampEnd_;
    std::unique_ptr<ScheduledJob> rampJob_;
    std::unique_ptr<ScheduledJob> endJob_;
    std::unique_ptr<ScheduledJob> tickJob_;
};

} // namespace

Result<QUrl> speedTestServerUrl(const QString& text) {
    const QUrl url(text.trimmed(), QUrl::StrictMode);
    const QString scheme = url.scheme().toLower();
    if (!url.isValid() || url.host().isEmpty() ||
        (scheme != QLatin1String("http") && scheme != QLatin1String("https")))
        return failure(QStringLiteral("The speed test server must be an http:// or https:// "
                                      "address, and “%1” is not one.")
                           .arg(text));
    return url;
}

ThroughputBackend::ThroughputBackend(ThroughputOptions options, Clock& clock)
    : options_(std::move(options)), clock_(clock) {}

QString ThroughputBackend::runningMessage() const {
    return QStringLiteral("Running the speed test against %1...").arg(options_.server.host());
}

std::unique_ptr<SpeedTestRun> ThroughputBackend::start() {
    return std::make_unique<ThroughputRun>(options_, clock_);
}

std::unique_ptr<SpeedTestBackend> makeSpeedTestBackend(Settings& settings, Clock& clock,
                                                       const QUrl& server) {
#ifdef Q_OS_MACOS
    Q_UNUSED(settings);
    Q_UNUSED(clock);
    Q_UNUSED(server);
    return std::make_unique<NetworkQualityBackend>();
#else
    ThroughputOptions options;
    if (server.isValid()) {
        options.server = server;
    } else if (auto saved =
                   speedTestServerUrl(settings.stringValue(QStringLiteral("speedTestServer")));
               saved) {
        options.server = *saved;
    }
    bool number = false;
    const double seconds = settings.value(QStringLiteral("speedTestDuration")).toDouble(&number);
    if (number && seconds >= 1 && seconds <= 60) {
        options.phaseDuration = std::chrono::milliseconds(qRound64(seconds * 1000));
        options.rampUp = options.phaseDuration / 5;
    }
    return std::make_unique<ThroughputBackend>(std::move(options), clock);
#endif
}

} // namespace velmox
