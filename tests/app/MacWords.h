#pragma once

#include <QRegularExpression>
#include <QString>

namespace velmox::test {

// The first word in `text` that only a Mac has (its places, tools, settings and keys), which
// the Linux build must not show; empty when there is none. Any case: card titles are shown
// in capitals.
inline QString macWordIn(const QString& text) {
    static const QRegularExpression macWords(
        QStringLiteral(
            R"(\b(Wired|Compressed|Full Disk Access|Start-?up Disk|Finder|Keychain|Spotlight|)"
            R"(launchd|launchctl|LaunchAgents?|Option key|Option-click|System Settings|)"
            R"(System Preferences|App Store|Login Items?|macOS|Mac|Dock|Time Machine|APFS|)"
            R"(FileVault|Gatekeeper|iCloud|diskutil|osascript|Application Support|Cmd)\b|)"
            R"(Library/|⌘|⌥)"),
        QRegularExpression::CaseInsensitiveOption);
    return macWords.match(text).captured();
}

} // namespace velmox::test
