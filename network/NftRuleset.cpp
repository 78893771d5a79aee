#include "network/NftRuleset.h"

namespace velmox::NftRuleset {

namespace {

const QString kPath = QStringLiteral("PATH=/usr/sbin:/usr/bin:/sbin:/bin; export PATH; ");

QByteArray set(const char* name, const char* type, const QStringList& members) {
    QByteArray text = QByteArray("\tset ") + name + " {\n\t\ttype " + type +
                      "\n\t\tflags interval\n\t\tauto-merge\n";
    if (!members.isEmpty())
        text += "\t\telements = { " + members.join(QStringLiteral(", ")).toLatin1() + " }\n";
    return text + "\t}\n";
}

QByteArray chain(const char* name, const char* hook, const char* direction) {
    return QByteArray("\tchain ") + name + " {\n\t\ttype filter hook " + hook +
           " priority filter; policy accept;\n\t\tip " + direction + " @blocked4 drop\n\t\tip6 " +
           direction + " @blocked6 drop\n\t}\n";
}

// Copies `from` over /etc/hosts in place (the file may be a mount point, as in containers),
// then sets its owner and mode.
QString replaceHosts(const QString& from) {
    return QStringLiteral("/bin/cp %1 /etc/hosts && /bin/chown root:root /etc/hosts && "
                          "/bin/chmod 644 /etc/hosts")
        .arg(from);
}

} // namespace

QByteArray script(const FirewallAddresses* addresses) {
    // Declaring the table first makes the delete succeed when there is none yet.
    QByteArray text = QByteArray("table inet ") + kTable + "\ndelete table inet " + kTable + '\n';
    if (!addresses)
        return text;
    text += QByteArray("table inet ") + kTable + " {\n";
    text += set("blocked4", "ipv4_addr", addresses->ipv4);
    text += set("blocked6", "ipv6_addr", addresses->ipv6);
    text += chain("input", "input", "saddr");
    text += chain("forward_in", "forward", "saddr");
    text += chain("forward_out", "forward", "daddr");
    text += chain("output", "output", "daddr");
    return text + "}\n";
}

QString applyChain(const BlockChainFiles& files) {
    const QString rules = shellQuoted(files.rules);
    return QStringLiteral("exec </dev/null; ") + kPath + QStringLiteral("umask 022; ") +
           QStringLiteral("saved=$(/bin/mktemp) || exit 1; ") +
           QStringLiteral(
               "/bin/cat /etc/hosts >\"$saved\" || { /bin/rm -f \"$saved\"; exit 1; }; ") +
           QStringLiteral("/usr/sbin/nft -c -f %1 || { /bin/rm -f \"$saved\"; exit 1; }; ")
               .arg(rules) +
           QStringLiteral("{ %1 && /usr/sbin/nft -f %2; } || { /bin/cp \"$saved\" /etc/hosts; "
                          "/bin/rm -f \"$saved\"; exit 1; }; ")
               .arg(replaceHosts(shellQuoted(files.hosts)), rules) +
           QStringLiteral("/bin/rm -f \"$saved\"; ") +
           // Only resolvers that cache need flushing; neither is an error when absent.
           QStringLiteral("(/usr/bin/resolvectl flush-caches >/dev/null 2>&1 || true); "
                          "(/usr/sbin/nscd -i hosts >/dev/null 2>&1 || true); ") +
           QStringLiteral("/bin/echo ") + QLatin1String(kBlockerOkMarker);
}

QString restoreChain(const QString& hostsFile) {
    return QStringLiteral("exec </dev/null; ") + kPath + replaceHosts(shellQuoted(hostsFile)) +
           QStringLiteral(" && /bin/echo ") + QLatin1String(kBlockerOkMarker);
}

} // namespace velmox::NftRuleset
