#include "monitor/OrderedJson.h"

#include <QJsonArray>

namespace velmox {

namespace {

// Qt's own spelling of a number or string, so the output reads back exactly.
QByteArray scalarText(const QJsonValue& value) {
    const QByteArray wrapped = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return wrapped.mid(1, wrapped.size() - 2);
}

void newLine(QByteArray& out, bool indented, int depth) {
    if (indented)
        out.append('\n').append(QByteArray(4 * depth, ' '));
}

} // namespace

OrderedJson OrderedJson::object(QList<Member> members) {
    OrderedJson json;
    json.kind_ = Kind::object;
    json.members_ = std::move(members);
    return json;
}

OrderedJson OrderedJson::array(QList<OrderedJson> items) {
    OrderedJson json;
    json.kind_ = Kind::array;
    json.items_ = std::move(items);
    return json;
}

QByteArray OrderedJson::toJson(QJsonDocument::JsonFormat format) const {
    QByteArray out;
    const bool indented = format == QJsonDocument::Indented;
    write(out, indented, 0);
    if (indented)
        out.append('\n');
    return out;
}

void OrderedJson::write(QByteArray& out, bool indented, int depth) const {
    switch (kind_) {
    case Kind::scalar:
        out.append(scalarText(scalar_));
        return;
    case Kind::object:
        out.append('{');
        for (qsizetype i = 0; i < members_.size(); ++i) {
            out.append(i > 0 ? "," : "");
            newLine(out, indented, depth + 1);
            out.append(scalarText(members_[i].first)).append(indented ? ": " : ":");
            members_[i].second.write(out, indented, depth + 1);
        }
        if (!members_.isEmpty())
            newLine(out, indented, depth);
        out.append('}');
        return;
    case Kind::array:
        out.append('[');
        for (qsizetype i = 0; i < items_.size(); ++i) {
            out.append(i > 0 ? "," : "");
            newLine(out, indented, depth + 1);
            items_[i].write(out, indented, depth + 1);
        }
        if (!items_.isEmpty())
            newLine(out, indented, depth);
        out.append(']');
        return;
    }
}

} // namespace velmox
