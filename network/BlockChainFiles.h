#pragma once

#include "services/ShellWords.h"

#include <QString>

namespace velmox {

// The files an apply prepares before it runs its administrator chain: the new hosts text and
// the firewall rules, both written by the user's own process into a private temporary folder.
struct BlockChainFiles {
    QString hosts;
    QString rules;
};

// The line every administrator chain of the blocker ends with; an apply succeeded only when
// its output holds it.
inline constexpr const char* kBlockerOkMarker = "TK_BLOCKER_OK";

} // namespace velmox
