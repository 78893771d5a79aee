#include "platform/linux/ChangeRecorder.h"

#include <QDir>
#include <QFile>
#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/fanotify.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

namespace velmox {

namespace {

using ChangeJournal::Kind;

constexpr uint32_t kFolderEvents = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_MODIFY |
                                   IN_ATTRIB | IN_ONLYDIR | IN_DONT_FOLLOW;
constexpr uint64_t kMarkEvents =
    FAN_CREATE | FAN_DELETE | FAN_MOVED_FROM | FAN_MOVED_TO | FAN_MODIFY | FAN_ATTRIB | FAN_ONDIR;
constexpr int kFlushIntervalMs = 100;

QByteArray joinPath(const QByteArray& folder, QByteArrayView name) {
    QByteArray path = folder;
    if (!path.endsWith('/'))
        path += '/';
    path += name;
    return path;
}

QByteArray parentOf(const QByteArray& path) {
    const qsizetype slash = path.lastIndexOf('/');
    return slash <= 0 ? QByteArray("/") : path.first(slash);
}

bool isBelow(const QByteArray& path, const QByteArray& root) {
    return path == root ||
           (path.startsWith(root) && (root.endsWith('/') || path.at(root.size()) == '/'));
}

} // namespace

ChangeRecorder::ChangeRecorder(QString appDataFolder, Method method)
    : appData_(std::move(appDataFolder)), method_(method) {}

ChangeRecorder::~ChangeRecorder() {
    if (thread_.joinable()) {
        thread_.request_stop();
        const uint64_t one = 1;
        (void)!::write(stopFd_, &one, sizeof one);
        thread_.join();
    }
    flush();
    writeRecord(Kind::end, {});
    for (const int fd : {inotifyFd_, fanotifyFd_, stopFd_})
        if (fd >= 0)
            ::close(fd);
    for (const int fd : std::as_const(markedDevices_))
        ::close(fd);
}

QUuid ChangeRecorder::uuid() const {
    return writer_ ? writer_->uuid() : QUuid();
}

Status ChangeRecorder::start() {
    if (thread_.joinable())
        return Done{};
    const QString requests = ChangeJournal::requestsFolder(appData_);
    if (!QDir().mkpath(requests))
        return failure(QStringLiteral("The folder %1 could not be created.").arg(requests));
    auto writer = ChangeJournal::Writer::create(ChangeJournal::journalFile(appData_));
    if (!writer)
        return failure(writer.error());
    writer_ = std::move(*writer);
    inotifyFd_ = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    stopFd_ = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (inotifyFd_ < 0 || stopFd_ < 0)
        return failure(QStringLiteral("The change recorder could not be started."));
    requestsWatch_ = ::inotify_add_watch(inotifyFd_, QFile::encodeName(requests).constData(),
                                         IN_MOVED_TO | IN_ONLYDIR);
    if (requestsWatch_ < 0)
        return failure(QStringLiteral("The change recorder could not be started."));
    // Marks on whole file systems need CAP_SYS_ADMIN; without it init fails with EPERM.
    if (method_ == Method::automatic)
        fanotifyFd_ =
            ::fanotify_init(FAN_CLASS_NOTIF | FAN_REPORT_DFID_NAME | FAN_CLOEXEC | FAN_NONBLOCK,
                            O_RDONLY | O_LARGEFILE);
    thread_ = std::jthread([this](std::stop_token stop) { run(stop); });
    return Done{};
}

void ChangeRecorder::run(std::stop_token stop) {
    // Requests made before this run are answered too.
    for (const QString& name : QDir(ChangeJournal::requestsFolder(appData_)).entryList(QDir::Files))
        handleRequest(QFile::encodeName(name));
    while (!stop.stop_requested()) {
        pollfd fds[3] = {{stopFd_, POLLIN, 0}, {inotifyFd_, POLLIN, 0}, {fanotifyFd_, POLLIN, 0}};
        const int ready =
            ::poll(fds, fanotifyFd_ >= 0 ? 3 : 2, pending_.empty() ? -1 : kFlushIntervalMs);
        if (ready < 0 && errno != EINTR)
            break;
        if (fds[0].revents)
            break;
        if (fanotifyFd_ >= 0 && fds[2].revents)
            readFanotify();
        if (fds[1].revents)
            readInotify();
        if (ready == 0)
            flush();
    }
}

void ChangeRecorder::note(Kind kind, const QByteArray& path) {
    if (kind == Kind::folderChanged) {
        if (pendingFolders_.contains(path))
            return;
        pendingFolders_.insert(path);
    }
    pending_.emplace_back(kind, path);
}

void ChangeRecorder::flush() {
    for (const auto& [kind, path] : pending_)
        writeRecord(kind, path);
    pending_.clear();
    pendingFolders_.clear();
}

void ChangeRecorder::writeRecord(Kind kind, QByteArrayView path) {
    if (writer_ && !writer_->append(kind, path)) {
        // Nothing after a missing record could be trusted: closing the journal lets go of its
        // lock, so readers find no recorder and read everything.
        writer_.reset();
        qWarning("The change journal could not be written; rescans will read everything.");
    }
}

void ChangeRecorder::readInotify() {
    alignas(inotify_event) char buffer[64 * 1024];
    for (;;) {
        const ssize_t got = ::read(inotifyFd_, buffer, sizeof buffer);
        if (got <= 0)
            return;
        for (ssize_t at = 0; at < got;) {
            const auto* event = reinterpret_cast<const inotify_event*>(buffer + at);
            at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
            const QByteArray name(event->name, qsizetype(::strnlen(event->name, event->len)));
            if (event->mask & IN_Q_OVERFLOW) {
                note(Kind::gap, {});
                continue;
            }
            if (event->wd == requestsWatch_) {
                if (!name.startsWith('.'))
                    handleRequest(name);
                continue;
            }
            if (event->mask & IN_IGNORED) {
                watchPaths_.remove(event->wd);
                continue;
            }
            const auto found = watchPaths_.constFind(event->wd);
            if (found == watchPaths_.cend())
                continue;
            const QByteArray folder = *found;
            if (name.isEmpty()) {
                // The folder itself: its own entry lives in its parent.
                if (event->mask & IN_ATTRIB)
                    note(Kind::folderChanged, parentOf(folder));
                continue;
            }
            note(Kind::folderChanged, folder);
            if ((event->mask & IN_ISDIR) && (event->mask & (IN_CREATE | IN_MOVED_TO))) {
                const QByteArray child = joinPath(folder, name);
                if (!watchTree(child))
                    note(Kind::gap, child);
                note(Kind::wholeTree, child);
            }
        }
    }
}

void ChangeRecorder::readFanotify() {
    // Events with file identifiers have any length, so the records that follow the first are
    // not aligned: every part is copied out before it is read.
    char buffer[64 * 1024];
    for (;;) {
        const ssize_t got = ::read(fanotifyFd_, buffer, sizeof buffer);
        if (got <= 0)
            return;
        fanotify_event_metadata event{};
        for (ssize_t offset = 0; offset + ssize_t(sizeof event) <= got;
             offset += ssize_t(event.event_len)) {
            std::memcpy(&event, buffer + offset, sizeof event);
            if (event.event_len < sizeof event || offset + ssize_t(event.event_len) > got)
                break;
            const char* record = buffer + offset;
            if (event.mask & FAN_Q_OVERFLOW) {
                note(Kind::gap, {});
                continue;
            }
            fanotify_event_info_fid info{};
            const size_t handleAt = sizeof event + offsetof(fanotify_event_info_fid, handle);
            file_handle handleHead{};
            if (event.event_len < handleAt + sizeof handleHead) {
                note(Kind::gap, {});
                continue;
            }
            std::memcpy(&info, record + sizeof event, sizeof info);
            std::memcpy(&handleHead, record + handleAt, sizeof handleHead);
            const size_t nameAt = handleAt + sizeof handleHead + handleHead.handle_bytes;
            if (info.hdr.info_type != FAN_EVENT_INFO_TYPE_DFID_NAME ||
                handleHead.handle_bytes > MAX_HANDLE_SZ || nameAt >= event.event_len) {
                note(Kind::gap, {});
                continue;
            }
            alignas(file_handle) char handleBuffer[sizeof(file_handle) + MAX_HANDLE_SZ];
            std::memcpy(handleBuffer, record + handleAt,
                        sizeof handleHead + handleHead.handle_bytes);
            auto* handle = reinterpret_cast<file_handle*>(handleBuffer);
            const QByteArray name(record + nameAt,
                                  qsizetype(::strnlen(record + nameAt, event.event_len - nameAt)));
            // Any descriptor on the same file system opens its handles.
            int folderFd = -1;
            for (const int mountFd : std::as_const(markedDevices_))
                if ((folderFd = ::open_by_handle_at(mountFd, handle, O_PATH | O_CLOEXEC)) >= 0)
                    break;
            if (folderFd < 0) {
                // A folder deleted since: its parent has an event of its own.
                if (errno != ESTALE)
                    note(Kind::gap, {});
                continue;
            }
            char target[PATH_MAX];
            const QByteArray link = "/proc/self/fd/" + QByteArray::number(folderFd);
            const ssize_t length = ::readlink(link.constData(), target, sizeof target);
            ::close(folderFd);
            if (length <= 0 || length >= qsizetype(sizeof target)) {
                note(Kind::gap, {});
                continue;
            }
            const QByteArray folder(target, length);
            if (folder.endsWith(" (deleted)"))
                continue;
            if (std::none_of(coveredRoots_.cbegin(), coveredRoots_.cend(),
                             [&](const QByteArray& root) { return isBelow(folder, root); }))
                continue;
            note(Kind::folderChanged, folder);
            if ((event.mask & FAN_ONDIR) && (event.mask & (FAN_CREATE | FAN_MOVED_TO)) &&
                name != ".")
                note(Kind::wholeTree, joinPath(folder, name));
        }
    }
}

bool ChangeRecorder::cover(const QByteArray& root) {
    struct stat status {};
    if (::stat(root.constData(), &status) != 0 || !S_ISDIR(status.st_mode))
        return false;
    if (fanotifyFd_ >= 0) {
        if (!markedDevices_.contains(status.st_dev)) {
            if (::fanotify_mark(fanotifyFd_, FAN_MARK_ADD | FAN_MARK_FILESYSTEM, kMarkEvents,
                                AT_FDCWD, root.constData()) != 0)
                return false;
            markedDevices_.insert(status.st_dev,
                                  ::open(root.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        }
        return true;
    }
    return watchTree(root);
}

bool ChangeRecorder::watchTree(const QByteArray& top) {
    if (fanotifyFd_ >= 0)
        return true;
    struct stat topStatus {};
    if (::lstat(top.constData(), &topStatus) != 0)
        return true; // gone again: its parent has recorded that
    std::vector<QByteArray> folders{top};
    while (!folders.empty()) {
        const QByteArray folder = std::move(folders.back());
        folders.pop_back();
        const int wd = ::inotify_add_watch(inotifyFd_, folder.constData(), kFolderEvents);
        if (wd < 0) {
            if (errno == ENOSPC || errno == ENOMEM)
                return false;
            continue; // vanished or unreadable: the scan sees the same
        }
        watchPaths_.insert(wd, folder);
        DIR* dir = ::opendir(folder.constData());
        if (!dir)
            continue;
        while (const dirent* entry = ::readdir(dir)) {
            const QByteArrayView name(entry->d_name);
            if (name == "." || name == "..")
                continue;
            if (entry->d_type != DT_DIR && entry->d_type != DT_UNKNOWN)
                continue;
            struct stat status {};
            if (::fstatat(::dirfd(dir), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
                S_ISDIR(status.st_mode) && status.st_dev == topStatus.st_dev)
                folders.push_back(joinPath(folder, name));
        }
        ::closedir(dir);
    }
    return true;
}

void ChangeRecorder::handleRequest(const QByteArray& id) {
    const QByteArray file = QFile::encodeName(ChangeJournal::requestsFolder(appData_)) + '/' + id;
    QFile request(QFile::decodeName(file));
    if (!request.open(QIODevice::ReadOnly))
        return;
    const QByteArray root = request.readAll();
    request.close();
    ::unlink(file.constData());
    // Every change made before the request was asked for is queued by now.
    if (fanotifyFd_ >= 0)
        readFanotify();
    readInotify();
    flush();
    if (!root.isEmpty() &&
        std::none_of(coveredRoots_.cbegin(), coveredRoots_.cend(),
                     [&](const QByteArray& covered) { return isBelow(root, covered); })) {
        if (cover(root)) {
            coveredRoots_.append(root);
            writeRecord(Kind::covered, root);
        } else {
            writeRecord(Kind::gap, root);
        }
    }
    writeRecord(Kind::sync, id);
}

} // namespace velmox
