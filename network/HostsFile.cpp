#include "network/HostsFile.h"

namespace velmox::HostsFile {

namespace {

// One line of the file without its line feed and a carriage return before it.
QByteArrayView lineText(QByteArrayView line) {
    if (line.endsWith('\n'))
        line.chop(1);
    if (line.endsWith('\r'))
        line.chop(1);
    return line;
}

struct Line {
    qsizetype start;
    qsizetype end; // one past the line feed, or the end of the text
};

QList<Line> splitLines(const QByteArray& text) {
    QList<Line> lines;
    qsizetype start = 0;
    while (start < text.size()) {
        const qsizetype feed = text.indexOf('\n', start);
        const qsizetype end = feed < 0 ? text.size() : feed + 1;
        lines.append({start, end});
        start = end;
    }
    return lines;
}

} // namespace

QByteArray managedBlock(const QList<BlockRule>& rules) {
    QByteArray block = QByteArray(kBeginMarker) + '\n';
    for (const BlockRule& rule : rules) {
        if (!rule.enabled || rule.kind != BlockKind::domain)
            continue;
        for (const QString& name : hostNamesFor(rule.value)) {
            const QByteArray host = name.toUtf8();
            block += "0.0.0.0 " + host + '\n';
            block += ":: " + host + '\n';
        }
    }
    return block + kEndMarker + '\n';
}

Stripped stripManagedBlocks(const QByteArray& current) {
    const QList<Line> lines = splitLines(current);
    const auto view = [&](qsizetype i) {
        return lineText(
            QByteArrayView(current).sliced(lines.at(i).start, lines.at(i).end - lines.at(i).start));
    };
    Stripped stripped;
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const QByteArrayView text = view(i);
        const char* end = text == QByteArrayView(kBeginMarker)      ? kEndMarker
                          : text == QByteArrayView(kOldBeginMarker) ? kOldEndMarker
                                                                    : nullptr;
        if (!end) {
            if (text != QByteArrayView(kEndMarker) && text != QByteArrayView(kOldEndMarker))
                stripped.text += QByteArrayView(current).sliced(
                    lines.at(i).start, lines.at(i).end - lines.at(i).start);
            continue;
        }
        if (stripped.blockAt < 0)
            stripped.blockAt = stripped.text.size();
        qsizetype close = i + 1;
        while (close < lines.size() && view(close) != QByteArrayView(end))
            ++close;
        if (close < lines.size())
            i = close;
    }
    return stripped;
}

QByteArray rewrite(const QByteArray& current, const QList<BlockRule>& rules, bool blockingOn) {
    Stripped stripped = stripManagedBlocks(current);
    if (!blockingOn)
        return stripped.text;
    if (stripped.blockAt >= 0)
        return stripped.text.insert(stripped.blockAt, managedBlock(rules));
    if (!stripped.text.isEmpty() && !stripped.text.endsWith('\n'))
        stripped.text += '\n';
    return stripped.text + managedBlock(rules);
}

qsizetype blockedNameCount(const QList<BlockRule>& rules) {
    qsizetype count = 0;
    for (const BlockRule& rule : rules)
        if (rule.enabled && rule.kind == BlockKind::domain)
            count += hostNamesFor(rule.value).size();
    return count;
}

} // namespace velmox::HostsFile
