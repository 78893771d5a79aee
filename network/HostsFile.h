#pragma once

#include "network/BlockRule.h"

#include <QByteArray>
#include <QList>

namespace velmox {

// The block of the hosts file that the blocker owns. All functions work on the file's bytes
// and never touch the disk.
namespace HostsFile {

inline constexpr const char* kBeginMarker =
    "# BEGIN Velmox Blocker (managed by Velmox - do not edit)";
inline constexpr const char* kEndMarker = "# END Velmox Blocker";
// The pair written by the product's earlier name; its block is removed too.
inline constexpr const char* kOldBeginMarker =
    "# BEGIN Brisk Tide Blocker (managed by Brisk Tide - do not edit)";
inline constexpr const char* kOldEndMarker = "# END Brisk Tide Blocker";

// The managed block for the enabled domain rules, in list order: the begin marker, for each
// host name "0.0.0.0 NAME" and ":: NAME", the end marker; every line ends with a line feed.
QByteArray managedBlock(const QList<BlockRule>& rules);

// `current` without any managed block (of either marker pair), every other byte kept as it
// was. A begin marker with no end marker after it is removed alone, so no line of the user's
// is ever taken for part of a block. Also tells where the first removed block began.
struct Stripped {
    QByteArray text;
    qsizetype blockAt = -1; // offset in `text` where the first block stood; -1: none
};
Stripped stripManagedBlocks(const QByteArray& current);

// The hosts file that applying writes: the old managed blocks removed and, while blocking
// is on, the new block put where the first old one stood (else at the end).
QByteArray rewrite(const QByteArray& current, const QList<BlockRule>& rules, bool blockingOn);

// How many names the block written for `rules` holds.
qsizetype blockedNameCount(const QList<BlockRule>& rules);

} // namespace HostsFile

} // namespace velmox
