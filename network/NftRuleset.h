#pragma once

#include "network/BlockChainFiles.h"
#include "network/FirewallAddresses.h"

#include <QByteArray>

namespace velmox {

// The Linux firewall back end: an nftables table of the blocker's own, `inet velmox_blocker`,
// with one interval set per family and rules that drop traffic to and from its members.
namespace NftRuleset {

inline constexpr const char* kTable = "velmox_blocker";

// An `nft -f` script that removes the old table and, unless `addresses` is null, loads the
// new one, all in one transaction: the kernel keeps the old table when any part fails.
QByteArray script(const FirewallAddresses* addresses);

// The whole apply as one root shell line: keeps a copy of the hosts file, checks the rules,
// copies the new hosts file in place (owner root:root, mode 644), loads the rules, flushes
// the resolver caches and prints the OK marker. A failure after the hosts file was replaced
// puts the copy back; the firewall changes only in its last transaction.
QString applyChain(const BlockChainFiles& files);

// Copies a prepared hosts file over /etc/hosts with the same owner and mode, and prints the
// OK marker.
QString restoreChain(const QString& hostsFile);

} // namespace NftRuleset

} // namespace velmox
