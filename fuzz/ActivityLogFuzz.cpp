// The stored activity log and the Put Back data inside an entry, as read back from the
// settings file that any process (or a person with an editor) may have written.
#include "services/ActionHistoryEntry.h"
#include "services/ActionHistoryStore.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    if (const auto entries = velmox::historyFromJson(bytes)) {
        for (const velmox::ActionHistoryEntry& entry : *entries) {
            (void)velmox::ActionHistoryStore::undoItems(entry);
            (void)velmox::ActionHistoryStore::trashedItems(entry);
            (void)velmox::ActionHistoryStore::visibleDetail(entry);
        }
    }
    // The same bytes as the Put Back payload of one entry.
    velmox::ActionHistoryEntry entry;
    entry.detail = QStringLiteral("Moved items") + velmox::ActionHistoryStore::undoMarker +
                   QString::fromUtf8(bytes);
    (void)velmox::ActionHistoryStore::undoItems(entry);
    // And as the payload with original paths: every item it yields comes back the same when
    // written again.
    entry.detail = QStringLiteral("Moved items") + velmox::ActionHistoryStore::trashedMarker +
                   QString::fromUtf8(bytes);
    const auto items = velmox::ActionHistoryStore::trashedItems(entry);
    entry.detail = velmox::ActionHistoryStore::trashedPayload(items);
    if (velmox::ActionHistoryStore::trashedItems(entry) != items)
        __builtin_trap();
    return 0;
}
