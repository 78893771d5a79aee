#pragma once

#include "network/BlockChainFiles.h"
#include "network/FirewallAddresses.h"

#include <QByteArray>

namespace velmox {

// The macOS firewall back end: a packet-filter anchor of the blocker's own. Plain text, so
// it is built and checked on every system.
namespace PfAnchor {

inline constexpr const char* kAnchor = "com.apple/250.VelmoxBlocker";
inline constexpr const char* kOldAnchor = "com.apple/250.BrisktideBlocker";

// The anchor's rule file: a header line, then for each address two "block drop quick" lines
// (to it and from it). Ends with one line feed.
QByteArray ruleFile(const FirewallAddresses& addresses);

// The whole apply as one root shell line, ending with the OK marker.
QString applyChain(const BlockChainFiles& files);

// Copies a prepared hosts file over /private/etc/hosts and prints the OK marker.
QString restoreChain(const QString& hostsFile);

} // namespace PfAnchor

} // namespace velmox
