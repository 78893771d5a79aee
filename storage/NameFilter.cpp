#include "storage/NameFilter.h"

namespace velmox {

NameFilter::NameFilter(const QString& text) : text_(text.trimmed()) {
    glob_ = text_.contains(QLatin1Char('*')) || text_.contains(QLatin1Char('?')) ||
            text_.contains(QLatin1Char('['));
    if (glob_)
        pattern_ = QRegularExpression(QRegularExpression::wildcardToRegularExpression(
                                          text_, QRegularExpression::DefaultWildcardConversion),
                                      QRegularExpression::CaseInsensitiveOption);
}

bool NameFilter::matches(QByteArrayView name) const {
    if (text_.isEmpty())
        return true;
    const QString shown = QString::fromUtf8(name);
    if (glob_)
        return pattern_.isValid() && pattern_.match(shown).hasMatch();
    return shown.contains(text_, Qt::CaseInsensitive);
}

} // namespace velmox
