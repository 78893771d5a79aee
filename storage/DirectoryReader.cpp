#include "storage/DirectoryReader.h"

#include "storage/FileTree.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

namespace velmox {

namespace {

// The kernel's record for one entry of getdents64.
struct LinuxDirent64 {
    uint64_t inode;
    int64_t offset;
    unsigned short recordLength;
    unsigned char type;
    char name[1];
};

constexpr std::array<std::string_view, 20> kPackageExtensions = {
    "app",          "framework", "bundle",        "plugin",      "appex",
    "xpc",          "kext",      "pkg",           "mpkg",        "photoslibrary",
    "musiclibrary", "tvlibrary", "imovielibrary", "fcpbundle",   "sparsebundle",
    "dsym",         "lproj",     "xcodeproj",     "xcworkspace", "playground"};

bool isRetryable(int error) {
    return error == EINTR || error == ENOMEM || error == ENFILE || error == EMFILE ||
           error == EAGAIN;
}

} // namespace

void DirListing::clear() {
    nameBytes.clear();
    nameLengths.clear();
    flags.clear();
    alloc.clear();
    logical.clear();
    mtime.clear();
    linkEntries.clear();
    linkKeys.clear();
    folderEntries.clear();
    folderDevices.clear();
    folderKeys.clear();
}

DirectoryReader::DirectoryReader() : buffer_(new char[kBufferSize]) {}

DirectoryReader::~DirectoryReader() = default;

bool DirectoryReader::isPackageName(const char* name, size_t length) {
    const void* dot = length > 1 ? ::memrchr(name + 1, '.', length - 1) : nullptr;
    if (!dot)
        return false;
    const char* extension = static_cast<const char*>(dot) + 1;
    const size_t extensionLength = static_cast<size_t>(name + length - extension);
    if (extensionLength < 3 || extensionLength > 13)
        return false;
    char lower[16];
    for (size_t i = 0; i < extensionLength; ++i)
        lower[i] = static_cast<char>(
            extension[i] >= 'A' && extension[i] <= 'Z' ? extension[i] - 'A' + 'a' : extension[i]);
    const std::string_view candidate(lower, extensionLength);
    for (std::string_view known : kPackageExtensions)
        if (known == candidate)
            return true;
    return false;
}

int DirectoryReader::openFolder(const QByteArray& path, bool followLink) {
    return openFolder(AT_FDCWD, path.constData(), followLink);
}

int DirectoryReader::openFolder(int parentFd, const char* name, bool followLink) {
    const int flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | (followLink ? 0 : O_NOFOLLOW);
    constexpr std::array<int, 5> kRetryDelaysMs = {20, 40, 60, 80, 100};
    for (size_t attempt = 0;; ++attempt) {
        const int fd = ::openat(parentFd, name, flags);
        if (fd >= 0)
            return fd;
        const int error = errno;
        if (!isRetryable(error) || attempt == kRetryDelaysMs.size())
            return -error;
        std::this_thread::sleep_for(std::chrono::milliseconds(kRetryDelaysMs[attempt]));
    }
}

DirectoryReader::Result DirectoryReader::read(int parentFd, const char* folderName,
                                              DirListing& listing, bool followLink, bool keepOpen) {
    listing.clear();
    const int fd = openFolder(parentFd, folderName, followLink);
    if (fd < 0) {
        const int error = -fd;
        // A folder replaced by something else counts as gone, like one that was removed.
        if (error == ENOENT || error == ENOTDIR || error == ELOOP)
            return {Outcome::vanished, error};
        return {Outcome::blocked, error};
    }
    Result result;
    struct stat status {};
    for (;;) {
        const long bytes = ::syscall(SYS_getdents64, fd, buffer_.get(), kBufferSize);
        if (bytes <= 0) {
            if (bytes < 0)
                result = {Outcome::blocked, errno};
            break;
        }
        for (long at = 0; at < bytes;) {
            const auto* entry = reinterpret_cast<const LinuxDirent64*>(buffer_.get() + at);
            at += entry->recordLength;
            const char* name = entry->name;
            if (name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0)))
                continue;
            if (::fstatat(fd, name, &status, AT_SYMLINK_NOFOLLOW) != 0) {
                if (errno == ENOENT)
                    continue; // removed while the folder was being read
                result = {Outcome::blocked, errno};
                break;
            }
            const size_t length = std::strlen(name);
            const auto position = static_cast<uint32_t>(listing.nameLengths.size());
            uint16_t flags = name[0] == '.' ? NodeFlag::hidden : 0;
            const mode_t type = status.st_mode & S_IFMT;
            if (type == S_IFDIR) {
                flags |= NodeFlag::directory;
                listing.folderEntries.push_back(position);
                listing.folderDevices.push_back(status.st_dev);
                listing.folderKeys.push_back(linkKey(status.st_ino, status.st_dev));
            } else if (type == S_IFLNK) {
                flags |= NodeFlag::symbolicLink;
            } else if (type != S_IFREG) {
                flags |= NodeFlag::otherKind;
            }
            if (type != S_IFDIR && status.st_nlink >= 2 && status.st_ino != 0) {
                flags |= NodeFlag::multiplyLinked;
                listing.linkEntries.push_back(position);
                listing.linkKeys.push_back(linkKey(status.st_ino, status.st_dev));
            }
            if (isPackageName(name, length))
                flags |= NodeFlag::package;
            listing.nameBytes.append(name, static_cast<qsizetype>(length));
            listing.nameLengths.push_back(static_cast<uint16_t>(length));
            listing.flags.push_back(flags);
            listing.alloc.push_back(static_cast<int64_t>(status.st_blocks) * 512);
            listing.logical.push_back(status.st_size);
            listing.mtime.push_back(status.st_mtim.tv_sec);
        }
        if (result.outcome != Outcome::listing)
            break;
    }
    if (result.outcome != Outcome::listing)
        listing.clear();
    if (keepOpen && !listing.folderEntries.empty())
        result.keptFd = fd;
    else
        ::close(fd);
    return result;
}

} // namespace velmox
