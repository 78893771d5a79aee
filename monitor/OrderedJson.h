#pragma once

#include <QByteArray>
#include <QJsonDocument>
#include <QJsonValue>
#include <QList>
#include <QString>
#include <concepts>
#include <utility>

namespace velmox {

// A JSON value whose object members print in the order they were added; QJsonObject
// sorts its keys, which scrambles records meant to be read in their own order.
class OrderedJson {
public:
    using Member = std::pair<QString, OrderedJson>;

    OrderedJson() = default;
    // A number, string, boolean or null.
    template <typename T>
    requires std::constructible_from<QJsonValue, T> OrderedJson(T&& scalar)
        : scalar_(std::forward<T>(scalar)) {}
    static OrderedJson object(QList<Member> members);
    static OrderedJson array(QList<OrderedJson> items);

    // Indented output ends with a newline, as QJsonDocument's does.
    QByteArray toJson(QJsonDocument::JsonFormat format = QJsonDocument::Indented) const;

private:
    enum class Kind { scalar, object, array };
    void write(QByteArray& out, bool indented, int depth) const;

    Kind kind_ = Kind::scalar;
    QJsonValue scalar_;
    QList<Member> members_;
    QList<OrderedJson> items_;
};

} // namespace velmox
