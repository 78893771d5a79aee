#include "network/FirewallAddresses.h"

#include <QHostAddress>
#include <arpa/inet.h>
#include <arpa/nameser.h>
#include <netinet/in.h>
#include <resolv.h>

namespace velmox {

bool FirewallAddresses::add(const QString& address) {
    QStringList& family = address.contains(QLatin1Char(':')) ? ipv6 : ipv4;
    if (family.contains(address))
        return false;
    family.append(address);
    return true;
}

FirewallAddresses firewallAddresses(const QList<BlockRule>& rules, const HostResolver& resolver) {
    FirewallAddresses addresses;
    for (const BlockRule& rule : rules)
        if (rule.enabled && rule.isAddress())
            addresses.add(rule.value);
    if (!resolver)
        return addresses;
    for (const BlockRule& rule : rules) {
        if (!rule.enabled || rule.kind != BlockKind::domain)
            continue;
        for (const QString& name : hostNamesFor(rule.value))
            for (const QString& text : resolver(name)) {
                QHostAddress address;
                if (text.contains(QLatin1Char('%')) || !address.setAddress(text) ||
                    address.isLoopback() ||
                    address.isEqual(QHostAddress::AnyIPv4, QHostAddress::StrictConversion) ||
                    address.isEqual(QHostAddress::AnyIPv6, QHostAddress::StrictConversion))
                    continue;
                addresses.add(address.toString());
            }
    }
    return addresses;
}

QStringList resolveThroughDns(const QString& host) {
    QStringList found;
    struct __res_state state {};
    if (res_ninit(&state) != 0)
        return found;
    // One short try per server: an apply with many names must not wait minutes for a
    // network that does not answer.
    state.retrans = 2;
    state.retry = 1;
    const QByteArray name = host.toLatin1();
    for (const int type : {ns_t_a, ns_t_aaaa}) {
        unsigned char answer[4096];
        const int length = res_nquery(&state, name.constData(), ns_c_in, type, answer,
                                      static_cast<int>(sizeof answer));
        ns_msg message;
        if (length <= 0 || ns_initparse(answer, length, &message) != 0)
            continue;
        for (int i = 0; i < ns_msg_count(message, ns_s_an); ++i) {
            ns_rr record;
            if (ns_parserr(&message, ns_s_an, i, &record) != 0 || ns_rr_type(record) != type)
                continue;
            char text[INET6_ADDRSTRLEN] = {};
            const int family = type == ns_t_a ? AF_INET : AF_INET6;
            const int size = type == ns_t_a ? 4 : 16;
            if (ns_rr_rdlen(record) == size &&
                ::inet_ntop(family, ns_rr_rdata(record), text, sizeof text))
                found.append(QString::fromLatin1(text));
        }
    }
    res_nclose(&state);
    return found;
}

} // namespace velmox
