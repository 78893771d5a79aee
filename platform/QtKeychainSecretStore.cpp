#include "platform/QtKeychainSecretStore.h"

#include <QEventLoop>
#include <QMetaObject>
#include <QThread>
#include <qt6keychain/keychain.h>

#ifdef Q_OS_LINUX
#include "platform/linux/SecretServiceLock.h"
#endif

namespace velmox {

namespace {

// Runs a QtKeychain job to its end on the calling thread (the store's own thread).
void runToEnd(QKeychain::Job& job) {
    QEventLoop loop;
    QObject::connect(&job, &QKeychain::Job::finished, &loop, &QEventLoop::quit);
    job.start();
    loop.exec();
}

QString storeFailure(const QKeychain::Job& job, const char* what) {
    return QStringLiteral("The keyring could not %1 the item (%2).")
        .arg(QLatin1String(what), job.errorString());
}

// A locked keyring hides its items: an item that could not be unlocked reads as missing.
bool keyringLocked() {
#ifdef Q_OS_LINUX
    return secretServiceDefaultCollectionLocked();
#else
    return false;
#endif
}

// The thread is never stopped: it ends with the process, like libsecret's connection.
QObject* secretsThreadContext() {
    static QObject* const context = [] {
        auto* thread = new QThread;
        thread->setObjectName(QStringLiteral("velmox-secrets"));
        auto* worker = new QObject;
        worker->moveToThread(thread);
        thread->start();
        return worker;
    }();
    return context;
}

template <typename Job> void onSecretsThread(Job&& job) {
    QObject* context = secretsThreadContext();
    if (QThread::currentThread() == context->thread())
        job();
    else
        QMetaObject::invokeMethod(context, std::forward<Job>(job), Qt::BlockingQueuedConnection);
}

} // namespace

Result<std::optional<QByteArray>> QtKeychainSecretStore::read(const QString& service,
                                                              const QString& account) {
    Result<std::optional<QByteArray>> result;
    onSecretsThread([&] {
        QKeychain::ReadPasswordJob job(service);
        job.setAutoDelete(false);
        job.setKey(account);
        runToEnd(job);
        if (job.error() == QKeychain::NoError)
            result = std::optional<QByteArray>(job.binaryData());
        else if (job.error() == QKeychain::EntryNotFound && keyringLocked())
            result = failure(QStringLiteral("The keyring is locked, so what is saved in it "
                                            "cannot be read. Unlock the keyring, then try "
                                            "again."));
        else if (job.error() == QKeychain::EntryNotFound)
            result = std::optional<QByteArray>();
        else {
            qWarning("Keychain read failed: %d", static_cast<int>(job.error()));
            result = failure(storeFailure(job, "read"));
        }
    });
    return result;
}

Status QtKeychainSecretStore::write(const QString& service, const QString& account,
                                    const QByteArray& data, const QString& label) {
    // QtKeychain names the item after service and account itself; the label is what the
    // macOS Keychain shows and has no separate slot here.
    Q_UNUSED(label);
    Status result;
    onSecretsThread([&] {
        QKeychain::WritePasswordJob job(service);
        job.setAutoDelete(false);
        job.setKey(account);
        job.setBinaryData(data);
        runToEnd(job);
        if (job.error() != QKeychain::NoError)
            result = failure(storeFailure(job, "save"));
    });
    return result;
}

Status QtKeychainSecretStore::remove(const QString& service, const QString& account) {
    Status result;
    onSecretsThread([&] {
        QKeychain::DeletePasswordJob job(service);
        job.setAutoDelete(false);
        job.setKey(account);
        runToEnd(job);
        if (job.error() != QKeychain::NoError && job.error() != QKeychain::EntryNotFound)
            result = failure(storeFailure(job, "remove"));
    });
    return result;
}

} // namespace velmox
