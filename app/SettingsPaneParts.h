#pragma once

#include <QString>

class QLabel;

namespace velmox {

// A line in the secondary text style that explains the setting above it, wrapped to the
// pane's width. The caller's layout takes it over.
QLabel* makeSettingsNote(const QString& text = {});

} // namespace velmox
