#include "platform/linux/JournalChangeHistory.h"

#include "platform/PlatformPaths.h"
#include "platform/linux/ChangeJournal.h"

#include <QFile>
#include <QUuid>
#include <chrono>
#include <thread>

namespace velmox {

namespace {

using ChangeJournal::Kind;
using ChangeJournal::Record;
using SteadyClock = std::chrono::steady_clock;

bool isBelow(const QByteArray& path, const QByteArray& root) {
    return path == root ||
           (path.startsWith(root) && (root.endsWith('/') || path.at(root.size()) == '/'));
}

// Asks the recorder to record below `root` and to answer; the id of the request.
std::optional<QByteArray> sendRequest(const QString& appData, const QByteArray& root) {
    const QByteArray id = QUuid::createUuid().toByteArray(QUuid::WithoutBraces);
    const QString folder = ChangeJournal::requestsFolder(appData);
    const QString hidden = folder + QStringLiteral("/.") + QString::fromLatin1(id);
    QFile file(hidden);
    if (!file.open(QIODevice::WriteOnly) || file.write(root) != root.size() || !file.flush()) {
        file.remove();
        return std::nullopt;
    }
    file.close();
    // The recorder sees the request when it is renamed into place, complete.
    if (!QFile::rename(hidden, folder + QLatin1Char('/') + QString::fromLatin1(id))) {
        QFile::remove(hidden);
        return std::nullopt;
    }
    return id;
}

enum class Outcome { answered, noWriter, damaged, timedOut, stopped };

// Reads records from `from` as they arrive until the answer to request `id`, calling `each`
// for every record before it (false stops).
Outcome readUntilAnswer(const ChangeJournal::Reader& reader, uint64_t from, const QByteArray& id,
                        SteadyClock::time_point deadline,
                        const std::function<bool(const Record&)>& each,
                        uint64_t* answerEnd = nullptr) {
    auto pause = std::chrono::milliseconds(2);
    for (;;) {
        bool answered = false;
        bool stopped = false;
        const Result<uint64_t> at = reader.forEach(from, [&](const Record& record) {
            if (record.kind == Kind::sync && record.path == id) {
                answered = true;
                if (answerEnd)
                    *answerEnd = record.end;
                return false;
            }
            if (!each(record)) {
                stopped = true;
                return false;
            }
            return true;
        });
        if (!at)
            return Outcome::damaged;
        if (answered)
            return Outcome::answered;
        if (stopped)
            return Outcome::stopped;
        from = *at;
        if (!reader.writerAlive())
            return Outcome::noWriter;
        if (SteadyClock::now() >= deadline)
            return Outcome::timedOut;
        std::this_thread::sleep_for(pause);
        pause = std::min(pause * 2, std::chrono::milliseconds(50));
    }
}

} // namespace

std::unique_ptr<ChangeHistory> systemChangeHistory() {
    return std::make_unique<JournalChangeHistory>(PlatformPaths::appDataFolder());
}

JournalChangeHistory::JournalChangeHistory(QString appDataFolder)
    : appData_(std::move(appDataFolder)) {}

std::optional<QString> JournalChangeHistory::uuid(const QByteArray&) {
    auto reader = ChangeJournal::Reader::open(ChangeJournal::journalFile(appData_));
    if (!reader || !*reader || !(*reader)->writerAlive())
        return std::nullopt;
    return (*reader)->header().uuid.toString(QUuid::WithoutBraces);
}

Result<uint64_t> JournalChangeHistory::currentPosition(const QByteArray& root,
                                                       std::chrono::milliseconds limit) {
    const auto deadline = SteadyClock::now() + limit;
    auto reader = ChangeJournal::Reader::open(ChangeJournal::journalFile(appData_));
    if (!reader || !*reader)
        return failure(QStringLiteral("The change history could not be opened."));
    const std::optional<QByteArray> id = sendRequest(appData_, root);
    if (!id)
        return failure(QStringLiteral("The change history could not be started."));
    uint64_t position = 0;
    switch (readUntilAnswer(
        **reader, 0, *id, deadline, [](const Record&) { return true; }, &position)) {
    case Outcome::answered:
        return position;
    case Outcome::timedOut:
        return failure(QStringLiteral("The change history took too long to read."));
    case Outcome::noWriter:
        return failure(QStringLiteral("The change history could not be started."));
    default:
        return failure(QStringLiteral("The change history could not be read."));
    }
}

Status JournalChangeHistory::replay(const QByteArray& root, uint64_t from, const QString& uuid,
                                    std::chrono::milliseconds limit,
                                    const std::function<bool(const ChangeEvent&)>& deliver) {
    const auto deadline = SteadyClock::now() + limit;
    auto reader = ChangeJournal::Reader::open(ChangeJournal::journalFile(appData_));
    if (!reader || !*reader)
        return failure(QStringLiteral("The change history could not be opened."));
    if ((*reader)->header().uuid.toString(QUuid::WithoutBraces) != uuid ||
        from < uint64_t(ChangeJournal::kHeaderSize)) {
        deliver({{}, ChangeEvent::idsWrapped});
        return Done{};
    }
    const std::optional<QByteArray> id = sendRequest(appData_, root);
    if (!id)
        return failure(QStringLiteral("The change history could not be started."));
    // Changes are known only below a root the recorder covered before the position, and the
    // position has to be the end of a record.
    bool covered = false;
    uint64_t lastEnd = ChangeJournal::kHeaderSize;
    const auto each = [&](const Record& record) {
        const uint64_t start = lastEnd;
        lastEnd = record.end;
        if (record.end <= from) {
            if (record.kind == Kind::covered && isBelow(root, record.path))
                covered = true;
            return true;
        }
        if (start < from)
            return deliver({{}, ChangeEvent::idsWrapped}), false;
        if (!covered)
            return deliver({{}, ChangeEvent::userDropped}), false;
        switch (record.kind) {
        case Kind::folderChanged:
        case Kind::wholeTree:
            if (!isBelow(record.path, root))
                return true;
            return deliver({record.path, record.kind == Kind::wholeTree
                                             ? uint32_t(ChangeEvent::wholeTree)
                                             : uint32_t(ChangeEvent::folderChanged)});
        case Kind::gap:
            if (!record.path.isEmpty() && !isBelow(record.path, root) &&
                !isBelow(root, record.path))
                return true;
            return deliver({record.path, ChangeEvent::kernelDropped}), false;
        case Kind::end:
            return deliver({{}, ChangeEvent::userDropped}), false;
        default:
            return true;
        }
    };
    switch (readUntilAnswer(**reader, 0, *id, deadline, each)) {
    case Outcome::answered:
        if (from > lastEnd)
            deliver({{}, ChangeEvent::idsWrapped});
        else if (!covered)
            deliver({{}, ChangeEvent::userDropped});
        else
            deliver({{}, ChangeEvent::historyDone});
        return Done{};
    case Outcome::stopped:
        return Done{};
    case Outcome::noWriter:
        deliver({{}, ChangeEvent::userDropped});
        return Done{};
    case Outcome::timedOut:
        return failure(QStringLiteral("The change history took too long to read."));
    case Outcome::damaged:
        break;
    }
    return failure(QStringLiteral("The change history could not be read."));
}

} // namespace velmox
