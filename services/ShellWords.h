#pragma once

#include <QString>

namespace velmox {

// One word of a shell line, in single quotes, so the shell takes it as it is.
inline QString shellQuoted(const QString& word) {
    QString quoted = word;
    quoted.replace(QLatin1Char('\''), QLatin1String("'\\''"));
    return QLatin1Char('\'') + quoted + QLatin1Char('\'');
}

} // namespace velmox
