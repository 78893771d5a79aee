#include "automation/linux/RootFileSystemCheck.h"

#include <QRegularExpression>
#include <QStringList>

namespace velmox {

namespace {

// mountinfo writes blanks, tabs, new lines and backslashes in paths as \ooo.
QByteArray unescaped(const QByteArray& field) {
    QByteArray text;
    text.reserve(field.size());
    for (qsizetype i = 0; i < field.size(); ++i) {
        if (field.at(i) == '\\' && i + 3 < field.size()) {
            bool isNumber = false;
            const int value = field.mid(i + 1, 3).toInt(&isNumber, 8);
            if (isNumber && value < 256) {
                text.append(static_cast<char>(value));
                i += 3;
                continue;
            }
        }
        text.append(field.at(i));
    }
    return text;
}

} // namespace

QList<RootFileSystemCheck::Mount> RootFileSystemCheck::mounts(const QByteArray& mountInfo) {
    QList<Mount> found;
    for (const QByteArray& line : mountInfo.split('\n')) {
        const QList<QByteArray> fields = line.split(' ');
        // id parent major:minor root mount-point options [optional fields...] - type source ...
        const qsizetype separator = fields.indexOf("-", 6);
        if (fields.size() < 7 || separator < 0 || separator + 2 >= fields.size())
            continue;
        found.append({unescaped(fields.at(4)), unescaped(fields.at(separator + 1)),
                      unescaped(fields.at(separator + 2)), fields.at(2)});
    }
    return found;
}

std::optional<RootFileSystemCheck::Mount> RootFileSystemCheck::root(const QByteArray& mountInfo) {
    std::optional<Mount> last;
    for (const Mount& mount : mounts(mountInfo))
        if (mount.mountPoint == "/")
            last = mount;
    return last;
}

std::optional<QString> RootFileSystemCheck::ext4Problem(const QString& tune2fsListing) {
    QString state;
    qint64 errors = 0;
    for (const QString& line : tune2fsListing.split(QLatin1Char('\n'))) {
        const qsizetype colon = line.indexOf(QLatin1Char(':'));
        if (colon < 0)
            continue;
        const QString key = line.left(colon).trimmed();
        const QString value = line.mid(colon + 1).trimmed();
        if (key == QLatin1String("Filesystem state"))
            state = value;
        else if (key == QLatin1String("FS Error count"))
            errors = value.toLongLong();
    }
    if (state.isEmpty())
        return QStringLiteral("tune2fs did not report the file system's state.");
    QStringList problems;
    if (state != QLatin1String("clean"))
        problems << QStringLiteral("the file system's state is \"%1\"").arg(state);
    if (errors > 0)
        problems << QStringLiteral("it has recorded %1 error(s)").arg(errors);
    if (problems.isEmpty())
        return std::nullopt;
    return problems.join(QStringLiteral(" and ")) + QLatin1Char('.');
}

std::optional<QString> RootFileSystemCheck::btrfsProblem(const QString& deviceStats) {
    // "[/dev/vda2].write_io_errs    0", one counter per line and device.
    static const QRegularExpression counter(QStringLiteral(R"(^\[(.+)\]\.(\w+)\s+(\d+)\s*$)"),
                                            QRegularExpression::MultilineOption);
    QStringList problems;
    bool any = false;
    for (auto match = counter.globalMatch(deviceStats); match.hasNext();) {
        const QRegularExpressionMatch found = match.next();
        any = true;
        if (found.captured(3).toLongLong() > 0)
            problems << QStringLiteral("%1 %2 on %3")
                            .arg(found.captured(3), found.captured(2), found.captured(1));
    }
    if (!any)
        return QStringLiteral("btrfs did not report any device error counters.");
    if (problems.isEmpty())
        return std::nullopt;
    return QStringLiteral("btrfs counted ") + problems.join(QStringLiteral(", ")) +
           QLatin1Char('.');
}

} // namespace velmox
