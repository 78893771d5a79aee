#pragma once

// Readable failure messages for Qt values in GoogleTest; force-included into every test.
#include <QByteArray>
#include <QString>
#include <QStringList>
#include <optional>
#include <ostream>

inline void PrintTo(const QString& value, std::ostream* os) {
    *os << '"' << value.toStdString() << '"';
}

inline void PrintTo(const QByteArray& value, std::ostream* os) {
    *os << "QByteArray(" << value.size() << " bytes: \"" << value.left(200).toStdString() << "\")";
}

inline void PrintTo(const QStringList& value, std::ostream* os) {
    *os << '[';
    for (qsizetype i = 0; i < value.size(); ++i)
        *os << (i ? ", " : "") << '"' << value.at(i).toStdString() << '"';
    *os << ']';
}
