#pragma once

#include "network/BlockRule.h"

#include <QStringList>
#include <functional>

namespace velmox {

// The addresses and ranges that go into the firewall, split by family, without repeats, in
// list order.
struct FirewallAddresses {
    QStringList ipv4;
    QStringList ipv6;

    bool isEmpty() const { return ipv4.isEmpty() && ipv6.isEmpty(); }
    qsizetype size() const { return ipv4.size() + ipv6.size(); }
    // Adds an address or range in canonical form to its family; returns false for a repeat.
    bool add(const QString& address);
    bool operator==(const FirewallAddresses&) const = default;
};

// The addresses a host name has in the DNS, in canonical text form.
using HostResolver = std::function<QStringList(const QString& host)>;

// The enabled address and range rules; with a resolver, also the addresses that each enabled
// domain rule's host names resolve to, except addresses that block nothing real (0.0.0.0,
// ::, loopback) and would only cut this machine off from itself.
FirewallAddresses firewallAddresses(const QList<BlockRule>& rules,
                                    const HostResolver& resolver = {});

// Asks the DNS servers of /etc/resolv.conf for the A and AAAA records of `host`, passing by
// the hosts file, which already sends blocked names to 0.0.0.0. Blocking; no answer: empty.
QStringList resolveThroughDns(const QString& host);

} // namespace velmox
