#include "network/BlockRule.h"

#include "services/Settings.h"

#include <QHostAddress>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QUrl>
#include <array>

namespace velmox {

namespace {

constexpr std::array<std::pair<BlockKind, const char*>, 3> kKindNames{{
    {BlockKind::ip, "ip"},
    {BlockKind::range, "range"},
    {BlockKind::domain, "domain"},
}};

// A host name as DNS allows it: dot-separated labels of letters, digits and inner hyphens,
// at most 63 characters each and 253 in all, with at least two labels and a last label that
// is not all digits (so "300.1.1.1" is not taken for a name).
bool isHostName(const QString& host) {
    if (host.isEmpty() || host.size() > 253)
        return false;
    const QStringList labels = host.split(QLatin1Char('.'));
    if (labels.size() < 2)
        return false;
    for (const QString& label : labels) {
        if (label.isEmpty() || label.size() > 63 || label.startsWith(QLatin1Char('-')) ||
            label.endsWith(QLatin1Char('-')))
            return false;
        for (const QChar c : label)
            if (!(c.isDigit() || (c >= QLatin1Char('a') && c <= QLatin1Char('z')) ||
                  c == QLatin1Char('-')) ||
                c.unicode() > 127)
                return false;
    }
    bool allDigits = true;
    for (const QChar c : labels.last())
        allDigits = allDigits && c.isDigit();
    return !allDigits;
}

// An address without a zone or port, in its canonical text form.
std::optional<QString> canonicalAddress(const QString& text) {
    QHostAddress address;
    if (text.contains(QLatin1Char('%')) || !address.setAddress(text))
        return std::nullopt;
    return address.toString();
}

std::optional<QString> canonicalRange(const QString& text) {
    const qsizetype slash = text.indexOf(QLatin1Char('/'));
    if (slash <= 0 || text.contains(QLatin1Char('%')))
        return std::nullopt;
    bool numeric = false;
    const int prefix = text.mid(slash + 1).toInt(&numeric);
    if (!numeric || text.mid(slash + 1).startsWith(QLatin1Char('+')))
        return std::nullopt;
    QHostAddress address;
    if (!address.setAddress(text.left(slash)))
        return std::nullopt;
    const int bits = address.protocol() == QAbstractSocket::IPv4Protocol ? 32 : 128;
    if (prefix < 0 || prefix > bits)
        return std::nullopt;
    // The network address, so that 10.1.2.3/8 and 10.0.0.0/8 are the same rule.
    const auto [network, length] = QHostAddress::parseSubnet(text);
    if (network.isNull())
        return std::nullopt;
    return network.toString() + QLatin1Char('/') + QString::number(length);
}

Result<BlockRule> hostRule(const QString& host, const QString& typed) {
    if (const auto address = canonicalAddress(host))
        return BlockRule{*address, BlockKind::ip, typed, true};
    QString name = QString::fromLatin1(QUrl::toAce(host)).toLower();
    if (name.endsWith(QLatin1Char('.')))
        name.chop(1);
    if (!isHostName(name))
        return failure(QStringLiteral("“%1” is not a valid domain name; enter a name such as "
                                      "example.com.")
                           .arg(host));
    return BlockRule{name, BlockKind::domain, typed, true};
}

} // namespace

QString rawValue(BlockKind kind) {
    for (const auto& [value, name] : kKindNames)
        if (value == kind)
            return QString::fromLatin1(name);
    return {};
}

std::optional<BlockKind> blockKindFromRaw(const QString& raw) {
    for (const auto& [value, name] : kKindNames)
        if (raw == QLatin1String(name))
            return value;
    return std::nullopt;
}

QJsonObject toJson(const BlockRule& rule) {
    return {{QStringLiteral("value"), rule.value},
            {QStringLiteral("kind"), rawValue(rule.kind)},
            {QStringLiteral("source"), rule.source},
            {QStringLiteral("enabled"), rule.enabled}};
}

std::optional<BlockRule> blockRuleFromJson(const QJsonObject& object) {
    const auto kind = blockKindFromRaw(object.value(QStringLiteral("kind")).toString());
    const QJsonValue value = object.value(QStringLiteral("value"));
    if (!kind || !value.isString())
        return std::nullopt;
    return BlockRule{value.toString(), *kind, object.value(QStringLiteral("source")).toString(),
                     object.value(QStringLiteral("enabled")).toBool(true)};
}

Result<BlockRule> parseBlockInput(const QString& typed) {
    const QString text = typed.trimmed();
    if (text.isEmpty())
        return failure(QStringLiteral("Enter an IP address, an IP range, a domain or a URL."));
    if (text.contains(QLatin1Char(' ')) || text.contains(QLatin1Char('\t')))
        return failure(QStringLiteral("“%1” contains spaces; enter one address, range, domain "
                                      "or URL at a time.")
                           .arg(text));
    if (const auto address = canonicalAddress(text))
        return BlockRule{*address, BlockKind::ip, text, true};

    const bool hasScheme = text.contains(QLatin1String("://"));
    const qsizetype slash = text.indexOf(QLatin1Char('/'));
    if (!hasScheme && slash > 0) {
        const QString left = text.left(slash);
        if (canonicalAddress(left) ||
            left.contains(QRegularExpression(QStringLiteral("^[0-9.]+$")))) {
            if (const auto range = canonicalRange(text))
                return BlockRule{*range, BlockKind::range, text, true};
            return failure(QStringLiteral("“%1” is not a valid IP range; write it as an address "
                                          "and a prefix length, such as 10.0.0.0/8.")
                               .arg(text));
        }
    }
    if (hasScheme || text.contains(QLatin1Char('/')) || text.contains(QLatin1Char('?'))) {
        const QUrl url = QUrl::fromUserInput(text);
        const QString host = url.host();
        if (!url.isValid() || host.isEmpty())
            return failure(QStringLiteral("“%1” is not a web address with a host name.").arg(text));
        return hostRule(host, text);
    }
    if (text.count(QLatin1Char(':')) == 1) // "example.com:8080": the port is not part of it
        return hostRule(text.section(QLatin1Char(':'), 0, 0), text);
    if (text.contains(QRegularExpression(QStringLiteral("^[0-9.]+$"))))
        return failure(QStringLiteral("“%1” is not a valid IP address.").arg(text));
    return hostRule(text, text);
}

QStringList hostNamesFor(const QString& host) {
    QStringList names{host};
    const QStringList labels = host.split(QLatin1Char('.'));
    static const QStringList secondLevel{
        QStringLiteral("co"),  QStringLiteral("com"), QStringLiteral("org"), QStringLiteral("net"),
        QStringLiteral("gov"), QStringLiteral("edu"), QStringLiteral("ac")};
    const bool registrable =
        labels.size() == 2 ||
        (labels.size() == 3 && labels.at(2).size() == 2 && secondLevel.contains(labels.at(1)));
    if (registrable && !host.startsWith(QLatin1String("www.")))
        names << QStringLiteral("www.") + host;
    return names;
}

QByteArray encodeBlockRules(const QList<BlockRule>& rules) {
    QJsonArray array;
    for (const BlockRule& rule : rules)
        array.append(toJson(rule));
    return QJsonDocument(array).toJson(QJsonDocument::Compact);
}

QList<BlockRule> decodeBlockRules(const QByteArray& encoded) {
    QList<BlockRule> rules;
    const QJsonArray array = QJsonDocument::fromJson(encoded).array();
    for (const QJsonValue& entry : array) {
        const auto rule = blockRuleFromJson(entry.toObject());
        if (!rule)
            continue;
        // Only a value that reads back as a whole rule of the same kind is trusted, and it is
        // kept in its canonical form.
        const auto checked = parseBlockInput(rule->value);
        if (checked && checked->kind == rule->kind)
            rules.append({checked->value, rule->kind, rule->source, rule->enabled});
    }
    return rules;
}

QList<BlockRule> loadBlockRules(const Settings& settings) {
    return decodeBlockRules(settings.stringValue(QLatin1String(BlockerKeys::kRules)).toUtf8());
}

Result<QList<BlockRule>> changeBlockRules(Settings& settings,
                                          const std::function<Status(QList<BlockRule>&)>& change) {
    std::optional<QString> refusal;
    QList<BlockRule> saved;
    const Status written =
        settings.update(QLatin1String(BlockerKeys::kRules), [&](const QVariant& current) {
            QList<BlockRule> rules = decodeBlockRules(current.toString().toUtf8());
            if (const Status changed = change(rules); !changed) {
                refusal = changed.error();
                return current.isValid() ? current : QVariant(QString());
            }
            saved = rules;
            return QVariant(QString::fromUtf8(encodeBlockRules(rules)));
        });
    if (refusal)
        return failure(*refusal);
    if (!written)
        return failure(written.error());
    return saved;
}

Status addBlockRule(QList<BlockRule>& rules, const BlockRule& rule) {
    for (const BlockRule& existing : rules)
        if (existing.value == rule.value)
            return failure(QStringLiteral("“%1” is already in the list.").arg(rule.value));
    rules.append(rule);
    return Done{};
}

qsizetype findBlockRule(const QList<BlockRule>& rules, const QString& typed) {
    const QString text = typed.trimmed();
    const auto parsed = parseBlockInput(text);
    for (qsizetype i = 0; i < rules.size(); ++i)
        if (rules.at(i).value == text || rules.at(i).source == text ||
            (parsed && rules.at(i).value == parsed->value))
            return i;
    return -1;
}

} // namespace velmox
