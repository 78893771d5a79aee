#pragma once

#include <QByteArrayView>
#include <QRegularExpression>
#include <QString>

namespace velmox {

// What the user typed to narrow a list by name: a piece of text found anywhere in a name, or,
// when it holds a glob character (* ? [), a glob the whole name must match ("*.iso"). Case is
// ignored. An empty filter lets everything through. Copyable; safe to use from several threads
// at once once made.
class NameFilter {
public:
    NameFilter() = default;
    explicit NameFilter(const QString& text);

    bool isEmpty() const { return text_.isEmpty(); }
    bool matches(QByteArrayView name) const;

private:
    QString text_;
    bool glob_ = false;
    QRegularExpression pattern_;
};

} // namespace velmox
