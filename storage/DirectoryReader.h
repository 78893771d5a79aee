#pragma once

#include "storage/LinkKey.h"

#include <QByteArray>
#include <cstdint>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace velmox {

// One folder as read by a scan worker, before its rows go into the tree. Names are raw
// bytes end to end; everything else is one entry per name.
struct DirListing {
    std::string nameBytes;
    std::vector<uint16_t> nameLengths;
    std::vector<uint16_t> flags;
    std::vector<int64_t> alloc;
    std::vector<int64_t> logical;
    std::vector<int64_t> mtime;
    std::vector<uint32_t> linkEntries; // positions of multiply-linked files
    std::vector<LinkKey> linkKeys;
    std::vector<uint32_t> linkCounts;    // their number of names (st_nlink)
    std::vector<uint32_t> folderEntries; // positions of sub-folders
    std::vector<uint64_t> folderDevices;
    std::vector<LinkKey> folderKeys;
    // Entries that could not be looked at: kept with the kind the folder listing gives
    // them, no sizes and NodeFlag::notRead, with the error for each.
    std::vector<uint32_t> failedEntries;
    std::vector<int> failedErrors;

    void clear();
    size_t size() const { return nameLengths.size(); }
};

// Reads folders for one scan worker: getdents64 into a large buffer, then one fstatat per
// entry relative to the open folder, without following links. An entry that cannot be
// looked at costs only itself, never the rest of its folder. Not thread-safe; each worker
// owns one.
class DirectoryReader {
public:
    enum class Outcome { listing, vanished, blocked };
    // How an entry is looked at: ::fstatat, or a stand-in that fails on purpose.
    using StatFunction = int (*)(int folderFd, const char* name, struct stat* status, int flags);
    struct Result {
        Outcome outcome = Outcome::listing;
        int errorNumber = 0;
        int keptFd = -1; // the open folder, when asked to keep it and it has sub-folders
    };

    explicit DirectoryReader(StatFunction statEntry = &::fstatat);
    ~DirectoryReader();
    DirectoryReader(const DirectoryReader&) = delete;
    DirectoryReader& operator=(const DirectoryReader&) = delete;

    // Reads the folder `folderName` relative to the open folder `parentFd` (or AT_FDCWD).
    // `followLink` opens a root given as a symbolic link; folders found by the walk are
    // never followed. With `keepOpen`, a folder that has sub-folders stays open so they can
    // be opened relative to it, without the kernel walking their whole path again.
    Result read(int parentFd, const char* folderName, DirListing& listing, bool followLink,
                bool keepOpen);

    // Opens a folder, retrying for a while when the system is short of descriptors or
    // memory. Returns the descriptor or -errno.
    static int openFolder(int parentFd, const char* name, bool followLink);
    static int openFolder(const QByteArray& path, bool followLink);
    // The package extensions ("app", "bundle", ...) that are marked for display.
    static bool isPackageName(const char* name, size_t length);

private:
    static constexpr size_t kBufferSize = 256 * 1024;
    std::unique_ptr<char[]> buffer_;
    StatFunction statEntry_;
};

} // namespace velmox
