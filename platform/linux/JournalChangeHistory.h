#pragma once

#include "platform/ChangeHistory.h"

#include <QString>

namespace velmox {

// The change history of Linux: the journal that the ChangeRecorder of a running Velmox keeps
// under the app data folder. Talks to the recorder only through files (a request dropped
// into the journal's requests folder, answered by a sync record in the journal), so the
// command line uses it the same way as the window. Without a live recorder there is no
// history. Safe to use from several threads.
class JournalChangeHistory final : public ChangeHistory {
public:
    explicit JournalChangeHistory(QString appDataFolder);

    std::optional<QString> uuid(const QByteArray& root) override;
    Result<uint64_t> currentPosition(const QByteArray& root,
                                     std::chrono::milliseconds limit) override;
    Status replay(const QByteArray& root, uint64_t from, const QString& uuid,
                  std::chrono::milliseconds limit,
                  const std::function<bool(const ChangeEvent&)>& deliver) override;

private:
    const QString appData_;
};

} // namespace velmox
