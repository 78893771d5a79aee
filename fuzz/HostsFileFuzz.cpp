// Feeds arbitrary bytes to the hosts-file reader as a hosts file and as a saved rule list.
// A rewrite must be stable: applying the same rules to its own result changes nothing.
#include "network/BlockRule.h"
#include "network/HostsFile.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace velmox;
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    static const QList<BlockRule> rules{*parseBlockInput(QStringLiteral("example.com")),
                                        *parseBlockInput(QStringLiteral("10.0.0.0/8"))};
    const QByteArray once = HostsFile::rewrite(bytes, rules, true);
    if (HostsFile::rewrite(once, rules, true) != once)
        std::abort();
    // Turning blocking off again gives the file back as it was, except that a last line the
    // block was appended to keeps the line feed that ended it.
    QByteArray original = HostsFile::rewrite(bytes, rules, false);
    if (!original.isEmpty() && !original.endsWith('\n') &&
        HostsFile::stripManagedBlocks(bytes).blockAt < 0)
        original += '\n';
    if (HostsFile::rewrite(once, rules, false) != original)
        std::abort();
    for (const BlockRule& rule : decodeBlockRules(bytes))
        if (!parseBlockInput(rule.value))
            std::abort();
    return 0;
}
