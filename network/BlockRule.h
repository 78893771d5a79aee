#pragma once

#include "services/Result.h"

#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>
#include <functional>
#include <optional>

namespace velmox {

class Settings;

// What one rule of the address blocker blocks. The raw values are persisted.
enum class BlockKind { ip, range, domain };

QString rawValue(BlockKind kind);
std::optional<BlockKind> blockKindFromRaw(const QString& raw);

// One entry of the blocker's list. `value` is the canonical form that is blocked: an address
// ("10.1.2.3", "2001:db8::1"), a range with its network address ("10.0.0.0/8") or a lower-case
// host name in ASCII form; `source` is what the user typed (a whole URL, say).
struct BlockRule {
    QString value;
    BlockKind kind = BlockKind::domain;
    QString source;
    bool enabled = true;

    bool isAddress() const { return kind != BlockKind::domain; }
    bool operator==(const BlockRule&) const = default;
};

QJsonObject toJson(const BlockRule& rule);
std::optional<BlockRule> blockRuleFromJson(const QJsonObject& object);

// Reads what the user typed: an IP address, a CIDR range, a domain, or a URL, which becomes a
// rule for its host. Anything else fails with a sentence that says what is wrong.
Result<BlockRule> parseBlockInput(const QString& typed);

// The names written to the hosts file for a domain rule: the host itself and, for a
// registrable name ("example.com", "shop.co.uk") not already beginning with "www.", the
// "www." variant too.
QStringList hostNamesFor(const QString& host);

// The blocker's keys in the settings.
namespace BlockerKeys {
inline constexpr const char* kRules = "networkBlockRules";
inline constexpr const char* kEnabled = "networkBlockerEnabled";
inline constexpr const char* kResolveIPs = "networkBlockerResolveIPs";
} // namespace BlockerKeys

// The saved list, in order. Entries that do not read back as valid rules (a hand-edited
// file) are left out, so nothing unchecked ever reaches the hosts file or the firewall.
QList<BlockRule> loadBlockRules(const Settings& settings);
QByteArray encodeBlockRules(const QList<BlockRule>& rules);
QList<BlockRule> decodeBlockRules(const QByteArray& encoded);

// Changes the saved list in one read-modify-write of the settings file, so two processes
// never undo each other's change. `change` may refuse with a sentence; then nothing is
// written. Returns the list as saved.
Result<QList<BlockRule>> changeBlockRules(Settings& settings,
                                          const std::function<Status(QList<BlockRule>&)>& change);

// Helpers for `changeBlockRules`: add a parsed rule (a second rule for the same value is
// refused), and find the rule that `typed` names, by value or by source.
Status addBlockRule(QList<BlockRule>& rules, const BlockRule& rule);
qsizetype findBlockRule(const QList<BlockRule>& rules, const QString& typed);

} // namespace velmox
