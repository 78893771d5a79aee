#pragma once

#include "services/Result.h"

#include <QByteArray>
#include <QString>
#include <QUuid>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

namespace velmox {

// The journal of changed folders that the change recorder keeps (docs/change-journal.md):
// a header written once, then records appended one write(2) each. One process writes it
// and holds an exclusive flock(2) on it while it does; any number of processes read it at
// the same time. A reader never sees a half-written header (the file appears by rename(2)
// with its header complete) and stops at a record that is not complete yet.
namespace ChangeJournal {

inline constexpr char kSignature[8] = {'V', 'X', 'C', 'H', 'J', 'R', 'N', 'L'};
inline constexpr uint32_t kVersion = 1;
inline constexpr qsizetype kHeaderSize = 44;
// A record: size of the path (4), kind (1), the path, CRC-32 of kind and path (4).
inline constexpr qsizetype kRecordOverhead = 9;
inline constexpr uint32_t kMaxPathSize = 65536;

enum class Kind : uint8_t {
    folderChanged = 1, // the entries of the folder changed
    wholeTree = 2,     // the folder appeared: read everything below it
    covered = 3,       // changes below the folder are recorded from here on
    sync = 4,          // answer to a request (the path is the request's id)
    gap = 5,           // changes below the path (or anywhere, when empty) were lost
    end = 6,           // the recorder stopped
};

struct Header {
    QUuid uuid;
    int64_t startedMs = 0; // milliseconds since the epoch
};

struct Record {
    Kind kind = Kind::folderChanged;
    QByteArray path;
    uint64_t end = 0; // the position after the record
};

QString journalFolder(const QString& appDataFolder);
QString journalFile(const QString& appDataFolder);
QString requestsFolder(const QString& appDataFolder);

QByteArray encodeHeader(const Header& header);
QByteArray encodeRecord(Kind kind, QByteArrayView path);

// The appending side. Creates a new journal with a fresh UUID (replacing any old one) and
// keeps it locked until destroyed. Not thread-safe: one thread appends.
class Writer {
public:
    static Result<std::unique_ptr<Writer>> create(const QString& file);
    ~Writer();
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    const QUuid& uuid() const { return header_.uuid; }
    // The position after the last record.
    uint64_t position() const { return position_; }
    Status append(Kind kind, QByteArrayView path);

private:
    Writer(int fd, Header header);
    int fd_;
    Header header_;
    uint64_t position_ = kHeaderSize;
};

// A snapshot view of the journal as it is on disk.
class Reader {
public:
    // std::nullopt when there is no journal; an error when it cannot be read or is damaged.
    static std::optional<Result<Reader>> open(const QString& file);
    ~Reader();
    Reader(Reader&& other) noexcept;
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;
    Reader& operator=(Reader&&) = delete;

    const Header& header() const { return header_; }
    // True while a recorder holds the journal.
    bool writerAlive() const;
    // Calls `each` for every complete record from position `from` (the start, or the end of
    // a record read before), in order, until it returns false; the position where reading
    // stopped, or an error for a damaged record.
    Result<uint64_t> forEach(uint64_t from, const std::function<bool(const Record&)>& each) const;

private:
    Reader(int fd, Header header);
    int fd_;
    Header header_;
};

// Reads a header; an error text for a damaged one.
Result<Header> decodeHeader(QByteArrayView bytes);

} // namespace ChangeJournal

} // namespace velmox
