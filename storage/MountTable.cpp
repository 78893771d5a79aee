#include "storage/MountTable.h"

#include <QFile>

namespace velmox {

namespace {

// mountinfo writes space, tab, newline and backslash as three octal digits after a
// backslash.
QByteArray unescape(QByteArrayView field) {
    const auto isOctal = [](char c) { return c >= '0' && c <= '7'; };
    QByteArray result;
    result.reserve(field.size());
    for (qsizetype i = 0; i < field.size(); ++i) {
        if (field[i] == '\\' && i + 3 < field.size() && isOctal(field[i + 1]) &&
            isOctal(field[i + 2]) && isOctal(field[i + 3])) {
            result += static_cast<char>((field[i + 1] - '0') * 64 + (field[i + 2] - '0') * 8 +
                                        (field[i + 3] - '0'));
            i += 3;
        } else {
            result += field[i];
        }
    }
    return result;
}

bool isBelow(const QByteArray& path, const QByteArray& root) {
    if (root == "/")
        return path.size() > 1 && path.startsWith('/');
    return path.size() > root.size() && path.startsWith(root) && path[root.size()] == '/';
}

} // namespace

MountTable MountTable::parse(const QByteArray& mountinfo) {
    MountTable table;
    for (const QByteArray& line : mountinfo.split('\n')) {
        const QList<QByteArray> fields = line.split(' ');
        const qsizetype separator = fields.indexOf(QByteArray("-"));
        if (fields.size() < 5 || separator < 6 || separator + 2 >= fields.size())
            continue;
        const QList<QByteArray> device = fields.at(2).split(':');
        if (device.size() != 2)
            continue;
        table.entries.append(
            {unescape(fields.at(4)), QString::fromUtf8(unescape(fields.at(separator + 1))),
             unescape(fields.at(separator + 2)), device.at(0).toUInt(), device.at(1).toUInt()});
    }
    return table;
}

MountTable MountTable::current() {
    QFile file(QStringLiteral("/proc/self/mountinfo"));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return parse(file.readAll());
}

std::optional<MountEntry> MountTable::mountOf(const QByteArray& path) const {
    std::optional<MountEntry> best;
    for (const MountEntry& entry : entries) {
        const bool holds = entry.mountPoint == path || isBelow(path, entry.mountPoint);
        // Later lines are mounted on top of earlier ones at the same place.
        if (holds && (!best || entry.mountPoint.size() >= best->mountPoint.size()))
            best = entry;
    }
    return best;
}

QList<QByteArray> MountTable::mountPointsBelow(const QByteArray& root) const {
    QList<QByteArray> result;
    for (const MountEntry& entry : entries)
        if (isBelow(entry.mountPoint, root) && !result.contains(entry.mountPoint))
            result.append(entry.mountPoint);
    return result;
}

} // namespace velmox
