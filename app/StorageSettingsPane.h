#pragma once

#include <QWidget>

namespace velmox {

class ExclusionListEditor;
class Settings;

// Settings > Storage: the folders and name patterns that every scan skips. `settings` must
// outlive the pane.
class StorageSettingsPane : public QWidget {
    Q_OBJECT
public:
    explicit StorageSettingsPane(Settings& settings, QWidget* parent = nullptr);

    ExclusionListEditor* exclusions() const { return exclusions_; }

private:
    ExclusionListEditor* exclusions_;
};

} // namespace velmox
