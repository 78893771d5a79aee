#include "platform/linux/ChangeJournal.h"

#include "platform/Crc32.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace velmox::ChangeJournal {

namespace {

template <typename T> void put(QByteArray& out, T value) {
    for (size_t i = 0; i < sizeof(T); ++i)
        out.append(static_cast<char>((static_cast<uint64_t>(value) >> (8 * i)) & 0xFF));
}

template <typename T> T get(const char* at) {
    uint64_t value = 0;
    for (size_t i = 0; i < sizeof(T); ++i)
        value |= static_cast<uint64_t>(static_cast<uint8_t>(at[i])) << (8 * i);
    return static_cast<T>(value);
}

QString systemError(const QString& what, int error) {
    return QStringLiteral("%1 (%2).").arg(what, QString::fromLocal8Bit(std::strerror(error)));
}

bool writeAll(int fd, QByteArrayView bytes) {
    qsizetype done = 0;
    while (done < bytes.size()) {
        const ssize_t written = ::write(fd, bytes.data() + done, size_t(bytes.size() - done));
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        done += written;
    }
    return true;
}

} // namespace

QString journalFolder(const QString& appDataFolder) {
    return appDataFolder + QStringLiteral("/ChangeJournal");
}

QString journalFile(const QString& appDataFolder) {
    return journalFolder(appDataFolder) + QStringLiteral("/changes.vxjournal");
}

QString requestsFolder(const QString& appDataFolder) {
    return journalFolder(appDataFolder) + QStringLiteral("/requests");
}

QByteArray encodeHeader(const Header& header) {
    QByteArray out(kSignature, sizeof kSignature);
    put<uint32_t>(out, kVersion);
    put<uint32_t>(out, 0);
    out.append(header.uuid.toRfc4122());
    put<int64_t>(out, header.startedMs);
    put<uint32_t>(out, crc32(out));
    return out;
}

Result<Header> decodeHeader(QByteArrayView bytes) {
    if (bytes.size() < kHeaderSize || std::memcmp(bytes.data(), kSignature, sizeof kSignature) != 0)
        return failure(QStringLiteral("The change journal is not in a known format."));
    if (get<uint32_t>(bytes.data() + 8) != kVersion)
        return failure(
            QStringLiteral("The change journal has a version this Velmox does not read."));
    if (get<uint32_t>(bytes.data() + kHeaderSize - 4) != crc32(bytes.first(kHeaderSize - 4)))
        return failure(QStringLiteral("The change journal is damaged."));
    Header header;
    header.uuid = QUuid::fromRfc4122(bytes.sliced(16, 16));
    header.startedMs = get<int64_t>(bytes.data() + 32);
    return header;
}

QByteArray encodeRecord(Kind kind, QByteArrayView path) {
    QByteArray out;
    out.reserve(path.size() + kRecordOverhead);
    put<uint32_t>(out, static_cast<uint32_t>(path.size()));
    out.append(static_cast<char>(kind));
    out.append(path);
    put<uint32_t>(out, crc32(QByteArrayView(out).sliced(4)));
    return out;
}

Result<std::unique_ptr<Writer>> Writer::create(const QString& file) {
    const QString folder = QFileInfo(file).absolutePath();
    if (!QDir().mkpath(folder))
        return failure(QStringLiteral("The folder %1 could not be created.").arg(folder));
    const QByteArray finalPath = QFile::encodeName(file);
    const QByteArray temporary = finalPath + ".new";
    const int fd = ::open(temporary.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0)
        return failure(
            systemError(QStringLiteral("The change journal could not be created"), errno));
    Header header{QUuid::createUuid(), QDateTime::currentMSecsSinceEpoch()};
    // The lock moves with the file, so readers never see the new journal unlocked.
    if (::flock(fd, LOCK_EX) != 0 || !writeAll(fd, encodeHeader(header)) || ::fsync(fd) != 0 ||
        ::rename(temporary.constData(), finalPath.constData()) != 0) {
        const int error = errno;
        ::close(fd);
        ::unlink(temporary.constData());
        return failure(
            systemError(QStringLiteral("The change journal could not be created"), error));
    }
    ::fcntl(fd, F_SETFL, O_APPEND);
    return std::unique_ptr<Writer>(new Writer(fd, header));
}

Writer::Writer(int fd, Header header) : fd_(fd), header_(std::move(header)) {}

Writer::~Writer() {
    ::close(fd_);
}

Status Writer::append(Kind kind, QByteArrayView path) {
    if (static_cast<uint64_t>(path.size()) > kMaxPathSize)
        return failure(QStringLiteral("A path is too long for the change journal."));
    const QByteArray record = encodeRecord(kind, path);
    if (!writeAll(fd_, record))
        return failure(
            systemError(QStringLiteral("The change journal could not be written"), errno));
    position_ += static_cast<uint64_t>(record.size());
    return Done{};
}

std::optional<Result<Reader>> Reader::open(const QString& file) {
    const int fd = ::open(QFile::encodeName(file).constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        if (errno == ENOENT)
            return std::nullopt;
        return Result<Reader>(
            failure(systemError(QStringLiteral("The change journal could not be read"), errno)));
    }
    char bytes[kHeaderSize];
    const ssize_t got = ::pread(fd, bytes, sizeof bytes, 0);
    Result<Header> header = decodeHeader(QByteArrayView(bytes, got > 0 ? got : 0));
    if (!header) {
        ::close(fd);
        return Result<Reader>(failure(header.error()));
    }
    return Result<Reader>(Reader(fd, *header));
}

Reader::Reader(int fd, Header header) : fd_(fd), header_(std::move(header)) {}

Reader::Reader(Reader&& other) noexcept : fd_(other.fd_), header_(std::move(other.header_)) {
    other.fd_ = -1;
}

Reader::~Reader() {
    if (fd_ >= 0)
        ::close(fd_);
}

bool Reader::writerAlive() const {
    // A lock of our own would be granted only if no recorder held the journal.
    if (::flock(fd_, LOCK_SH | LOCK_NB) == 0) {
        ::flock(fd_, LOCK_UN);
        return false;
    }
    return errno == EWOULDBLOCK;
}

Result<uint64_t> Reader::forEach(uint64_t from,
                                 const std::function<bool(const Record&)>& each) const {
    struct stat status {};
    if (::fstat(fd_, &status) != 0)
        return failure(systemError(QStringLiteral("The change journal could not be read"), errno));
    const auto fileSize = static_cast<uint64_t>(status.st_size);
    QByteArray buffer;
    uint64_t at = std::max<uint64_t>(from, kHeaderSize);
    uint64_t bufferStart = at;
    // Makes bytes [at, at + count) available in the buffer; false past the end of the file.
    const auto ensure = [&](uint64_t count) -> bool {
        if (at + count > fileSize)
            return false;
        if (at + count <= bufferStart + static_cast<uint64_t>(buffer.size()))
            return true;
        const uint64_t wanted = std::max<uint64_t>(count, 1 << 20);
        buffer.resize(static_cast<qsizetype>(std::min(wanted, fileSize - at)));
        const ssize_t got = ::pread(fd_, buffer.data(), size_t(buffer.size()), off_t(at));
        bufferStart = at;
        if (got < 0 || static_cast<uint64_t>(got) < count)
            return false;
        buffer.resize(got);
        return true;
    };
    Record record;
    while (ensure(4)) {
        const auto pathSize = get<uint32_t>(buffer.constData() + (at - bufferStart));
        if (pathSize > kMaxPathSize)
            return failure(QStringLiteral("The change journal is damaged."));
        const uint64_t total = pathSize + kRecordOverhead;
        if (!ensure(total))
            break; // still being written
        const char* bytes = buffer.constData() + (at - bufferStart);
        const QByteArrayView body(bytes + 4, pathSize + 1);
        if (get<uint32_t>(bytes + 5 + pathSize) != crc32(body))
            return failure(QStringLiteral("The change journal is damaged."));
        record.kind = static_cast<Kind>(static_cast<uint8_t>(bytes[4]));
        record.path = QByteArray(bytes + 5, pathSize);
        at += total;
        record.end = at;
        if (!each(record))
            break;
    }
    return at;
}

} // namespace velmox::ChangeJournal
