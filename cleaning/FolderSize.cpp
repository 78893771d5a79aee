#include "cleaning/FolderSize.h"

#include <QFile>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <set>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace velmox {

namespace {

class Measurer {
public:
    explicit Measurer(const std::atomic<bool>* cancel) : cancel_(cancel) {}

    qint64 total = 0;

    void measure(const QString& path) {
        struct stat info {};
        const QByteArray encoded = QFile::encodeName(path);
        if (::lstat(encoded.constData(), &info) != 0 || !count(info))
            return;
        if (S_ISDIR(info.st_mode))
            walk(::open(encoded.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    }

private:
    // False for a hard link already counted.
    bool count(const struct stat& info) {
        if (!S_ISDIR(info.st_mode) && info.st_nlink > 1 &&
            !seen_.insert({info.st_dev, info.st_ino}).second)
            return false;
        total += static_cast<qint64>(info.st_blocks) * 512;
        return true;
    }

    // Takes ownership of `folder`.
    void walk(int folder) {
        if (folder < 0)
            return;
        DIR* listing = ::fdopendir(folder);
        if (!listing) {
            ::close(folder);
            return;
        }
        while (const dirent* entry = ::readdir(listing)) {
            if (cancel_ && cancel_->load(std::memory_order_relaxed))
                break;
            const char* name = entry->d_name;
            if (name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0)))
                continue;
            struct stat info {};
            if (::fstatat(folder, name, &info, AT_SYMLINK_NOFOLLOW) != 0 || !count(info))
                continue;
            if (S_ISDIR(info.st_mode))
                walk(::openat(folder, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        }
        ::closedir(listing);
    }

    const std::atomic<bool>* cancel_;
    std::set<std::pair<dev_t, ino_t>> seen_;
};

} // namespace

qint64 FolderSize::allocatedBytes(const QString& path) {
    return allocatedBytes(QStringList{path});
}

qint64 FolderSize::allocatedBytes(const QStringList& paths, const std::atomic<bool>* cancel) {
    Measurer measurer(cancel);
    for (const QString& path : paths)
        if (!path.isEmpty())
            measurer.measure(path);
    return measurer.total;
}

} // namespace velmox
