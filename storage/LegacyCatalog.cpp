#include "storage/LegacyCatalog.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTimeZone>
#include <deque>

namespace velmox {

namespace {

const QDateTime kReferenceDate(QDate(2001, 1, 1), QTime(0, 0), Qt::UTC);

std::optional<QDateTime> legacyDate(const QJsonValue& value) {
    if (value.isDouble())
        return kReferenceDate.addMSecs(static_cast<qint64>(value.toDouble() * 1000));
    const QDateTime date = QDateTime::fromString(value.toString(), Qt::ISODateWithMs);
    return date.isValid() ? std::optional(date) : std::nullopt;
}

int64_t legacySize(const QJsonObject& entry) {
    return std::max<int64_t>(0,
                             static_cast<int64_t>(entry.value(QStringLiteral("size")).toDouble()));
}

} // namespace

std::optional<CatalogContents> LegacyCatalog::read(const QByteArray& bytes) {
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    const QJsonObject top = document.object();
    const QJsonObject rootNode = top.value(QStringLiteral("rootNode")).toObject();
    const auto scanDate = legacyDate(top.value(QStringLiteral("scanDate")));
    const QString rootPath = rootNode.value(QStringLiteral("path")).toString();
    if (error.error != QJsonParseError::NoError || rootPath.isEmpty() || !scanDate)
        return std::nullopt;

    FileTree tree(rootPath, rootNode.value(QStringLiteral("name")).toString());
    // Breadth first, so that each folder's children are appended together.
    std::deque<std::pair<QJsonObject, int32_t>> queue{{rootNode, -1}};
    while (!queue.empty()) {
        const auto [entry, parent] = std::move(queue.front());
        queue.pop_front();
        const bool folder = entry.value(QStringLiteral("isDirectory")).toBool();
        const QJsonArray children = entry.value(QStringLiteral("children")).toArray();
        int64_t own = legacySize(entry);
        if (folder)
            for (const QJsonValue& child : children)
                own -= legacySize(child.toObject());
        own = std::max<int64_t>(own, 0);
        const auto modified = legacyDate(entry.value(QStringLiteral("modificationDate")));
        QByteArray name = entry.value(QStringLiteral("name")).toString().toUtf8();
        if (name.contains('\0') || name.size() > UINT16_MAX)
            return std::nullopt;
        const int32_t node = tree.append(parent, folder ? NodeFlag::directory : 0, own, own,
                                         modified ? modified->toSecsSinceEpoch() : 0, name);
        if (folder)
            for (const QJsonValue& child : children)
                queue.emplace_back(child.toObject(), node);
    }
    tree.sumFolderSizes();

    CatalogMeta meta;
    meta.volumeName = top.value(QStringLiteral("volumeName")).toString();
    meta.format = top.value(QStringLiteral("format")).toString();
    meta.totalCapacity =
        static_cast<int64_t>(top.value(QStringLiteral("totalCapacity")).toDouble());
    meta.availableSpace =
        static_cast<int64_t>(top.value(QStringLiteral("availableSpace")).toDouble());
    meta.scanDate = *scanDate;
    meta.rootPath = rootPath;
    return CatalogContents{std::move(tree), std::move(meta), std::nullopt, {}};
}

} // namespace velmox
