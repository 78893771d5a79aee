#pragma once

#include "storage/ScanScope.h"

#include <QDialog>

namespace velmox {

class ExclusionListEditor;
class Settings;

// The Storage Manager's "Exclusions..." sheet: what scans of one scope skip besides the
// exclusions of Settings > Storage, which it names. Relative paths are taken below the
// scope's root. `settings` must outlive the sheet.
class StorageExclusionsSheet : public QDialog {
    Q_OBJECT
public:
    StorageExclusionsSheet(Settings& settings, const ScanScope& scope, QWidget* parent = nullptr);

    ExclusionListEditor* editor() const { return editor_; }

private:
    ExclusionListEditor* editor_;
};

} // namespace velmox
