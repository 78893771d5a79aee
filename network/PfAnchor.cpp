#include "network/PfAnchor.h"

namespace velmox::PfAnchor {

namespace {

const QString kHosts = QStringLiteral("/private/etc/hosts");

QString replaceHosts(const QString& from) {
    return QStringLiteral("/bin/cp %1 %2 && /usr/sbin/chown root:wheel %2 && /bin/chmod 644 %2")
        .arg(shellQuoted(from), kHosts);
}

} // namespace

QByteArray ruleFile(const FirewallAddresses& addresses) {
    QByteArrayList lines{"# Velmox blocker - generated, do not edit"};
    const auto add = [&](const QStringList& members, const char* family) {
        for (const QString& member : members) {
            const QByteArray address = member.toLatin1();
            lines << QByteArray("block drop quick ") + family + " from any to " + address;
            lines << QByteArray("block drop quick ") + family + " from " + address + " to any";
        }
    };
    add(addresses.ipv4, "inet");
    add(addresses.ipv6, "inet6");
    return lines.join('\n') + '\n';
}

QString applyChain(const BlockChainFiles& files) {
    const QString rules = shellQuoted(files.rules);
    const QString anchor = QLatin1String(kAnchor);
    return QStringList{
        replaceHosts(files.hosts),
        QStringLiteral("(/sbin/pfctl -a %1 -F rules >/dev/null 2>&1 || true)")
            .arg(QLatin1String(kOldAnchor)),
        QStringLiteral("/usr/sbin/chown root:wheel %1").arg(rules),
        QStringLiteral("/bin/chmod 600 %1").arg(rules),
        QStringLiteral("/sbin/pfctl -a %1 -f %2").arg(anchor, rules),
        QStringLiteral("(/sbin/pfctl -e >/dev/null 2>&1 || true)"),
        QStringLiteral("(/usr/bin/dscacheutil -flushcache; /usr/bin/killall -HUP mDNSResponder; "
                       "true)"),
        QStringLiteral("/bin/echo ") + QLatin1String(kBlockerOkMarker)}
        .join(QStringLiteral(" && "));
}

QString restoreChain(const QString& hostsFile) {
    return replaceHosts(hostsFile) + QStringLiteral(" && /bin/echo ") +
           QLatin1String(kBlockerOkMarker);
}

} // namespace velmox::PfAnchor
