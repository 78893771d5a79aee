#include "storage/DirectoryReader.h"

#include "storage/FileTree.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <dirent.h>
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

// Package extensions, lower case, packed into two words each so that a candidate is
// compared with two integer comparisons instead of a string comparison per extension.
struct PackedExtension {
    uint64_t low = 0;
    uint64_t high = 0;
};

constexpr PackedExtension pack(std::string_view text) {
    PackedExtension packed;
    for (size_t i = 0; i < text.size() && i < 16; ++i)
        (i < 8 ? packed.low : packed.high) |= uint64_t(uint8_t(text[i])) << (8 * (i % 8));
    return packed;
}

constexpr std::array<std::string_view, 20> kPackageExtensions = {
    "app",          "framework", "bundle",        "plugin",      "appex",
    "xpc",          "kext",      "pkg",           "mpkg",        "photoslibrary",
    "musiclibrary", "tvlibrary", "imovielibrary", "fcpbundle",   "sparsebundle",
    "dsym",         "lproj",     "xcodeproj",     "xcworkspace", "playground"};

constexpr size_t kLongestExtension = 13;
static_assert(std::ranges::all_of(kPackageExtensions, [](std::string_view known) {
    return known.size() <= kLongestExtension;
}));

// The packed extensions grouped by length: those of length n are
// packed[firstOfLength[n]] up to packed[firstOfLength[n + 1]].
struct PackedExtensionTable {
    std::array<PackedExtension, kPackageExtensions.size()> packed{};
    std::array<uint8_t, kLongestExtension + 2> firstOfLength{};
};

constexpr PackedExtensionTable kPackedExtensions = [] {
    PackedExtensionTable table;
    size_t next = 0;
    for (size_t length = 0; length <= kLongestExtension; ++length) {
        table.firstOfLength[length] = static_cast<uint8_t>(next);
        for (std::string_view known : kPackageExtensions)
            if (known.size() == length)
                table.packed[next++] = pack(known);
    }
    table.firstOfLength[kLongestExtension + 1] = static_cast<uint8_t>(next);
    return table;
}();

// The kind of an entry as the folder listing gives it, for one that could not be looked at.
uint16_t flagsOfType(unsigned char type) {
    switch (type) {
    case DT_DIR:
        return NodeFlag::directory;
    case DT_LNK:
        return NodeFlag::symbolicLink;
    case DT_REG:
    case DT_UNKNOWN:
        return 0;
    default:
        return NodeFlag::otherKind;
    }
}

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
    linkCounts.clear();
    folderEntries.clear();
    folderDevices.clear();
    folderKeys.clear();
    failedEntries.clear();
    failedErrors.clear();
}

DirectoryReader::DirectoryReader(StatFunction statEntry)
    : buffer_(new char[kBufferSize]), statEntry_(statEntry) {}

DirectoryReader::~DirectoryReader() = default;

bool DirectoryReader::isPackageName(const char* name, size_t length) {
    // Only the end of a name can hold an extension that long; a leading dot starts a
    // hidden name, not an extension.
    const size_t lowest = length > kLongestExtension + 1 ? length - kLongestExtension - 1 : 1;
    if (length <= lowest)
        return false;
    const void* found = ::memrchr(name + lowest, '.', length - lowest);
    if (!found)
        return false;
    const char* extension = static_cast<const char*>(found) + 1;
    const auto extensionLength = static_cast<size_t>(name + length - extension);
    const size_t first = kPackedExtensions.firstOfLength[extensionLength];
    const size_t end = kPackedExtensions.firstOfLength[extensionLength + 1];
    if (first == end)
        return false;
    PackedExtension candidate;
    for (size_t i = 0; i < extensionLength; ++i) {
        const char c = extension[i];
        const auto lower = uint8_t(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
        (i < 8 ? candidate.low : candidate.high) |= uint64_t(lower) << (8 * (i % 8));
    }
    for (size_t i = first; i < end; ++i)
        if (kPackedExtensions.packed[i].low == candidate.low &&
            kPackedExtensions.packed[i].high == candidate.high)
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
            const int error =
                statEntry_(fd, name, &status, AT_SYMLINK_NOFOLLOW) == 0 ? 0 : errno;
            if (error == ENOENT)
                continue; // removed while the folder was being read
            const size_t length = std::strlen(name);
            const auto position = static_cast<uint32_t>(listing.nameLengths.size());
            uint16_t flags = name[0] == '.' ? NodeFlag::hidden : 0;
            if (isPackageName(name, length))
                flags |= NodeFlag::package;
            listing.nameBytes.append(name, length);
            listing.nameLengths.push_back(static_cast<uint16_t>(length));
            if (error != 0) {
                listing.flags.push_back(flags | flagsOfType(entry->type) | NodeFlag::notRead);
                listing.alloc.push_back(0);
                listing.logical.push_back(0);
                listing.mtime.push_back(0);
                listing.failedEntries.push_back(position);
                listing.failedErrors.push_back(error);
                continue;
            }
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
                listing.linkCounts.push_back(static_cast<uint32_t>(status.st_nlink));
            }
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
