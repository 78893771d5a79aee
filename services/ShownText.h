#pragma once

#include <QByteArrayView>
#include <QDateTime>
#include <QString>

namespace velmox {

// A file name or path as bytes, made safe to print: one line, nothing a terminal acts on.
// Valid UTF-8 is kept; control characters become \n, \t, \r or \xNN (\uNNNN for C1 controls
// and the line and paragraph separators), bytes that are not UTF-8 \xNN, and a backslash \\,
// so that every name reads back unambiguously.
QString shownName(QByteArrayView bytes);
inline QString shownName(const QString& text) {
    return shownName(QByteArrayView(text.toUtf8()));
}

// "16.4 kB": decimal units, the one style of every size the commands print.
QString byteText(qint64 bytes);

// ISO 8601 in local time with its offset: "2026-11-22T05:40:36+00:00".
QString isoDate(const QDateTime& date);

} // namespace velmox
