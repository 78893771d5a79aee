#include "app/pages/StorageExclusionsSheet.h"

#include "app/ExclusionListEditor.h"
#include "services/Settings.h"
#include "storage/ScanExclusions.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QVBoxLayout>

namespace velmox {

StorageExclusionsSheet::StorageExclusionsSheet(Settings& settings, const ScanScope& scope,
                                               QWidget* parent)
    : QDialog(parent), editor_(new ExclusionListEditor(
                           ScanExclusionSettings::forScope(settings, scope),
                           [&settings, scope](const QStringList& patterns) {
                               return ScanExclusionSettings::setForScope(settings, scope, patterns);
                           },
                           this)) {
    const QString title = scope.title.isEmpty() ? scope.path : scope.title;
    setWindowTitle(QStringLiteral("Exclusions for %1").arg(title));
    resize(480, 360);
    auto* layout = new QVBoxLayout(this);
    auto* note = new QLabel(
        QStringLiteral("Scans of %1 skip these folders and names. A path may be absolute or "
                       "below %2; a pattern with *, ? or [ matches names at any depth. After a "
                       "change the next scan reads everything again.")
            .arg(title, scope.path),
        this);
    note->setWordWrap(true);
    layout->addWidget(note);
    editor_->setBrowseFolder(scope.path);
    layout->addWidget(editor_, 1);
    const QStringList everywhere = ScanExclusionSettings::global(settings);
    if (!everywhere.isEmpty()) {
        auto* global = new QLabel(QStringLiteral("Every scan also skips (Settings > Storage): %1")
                                      .arg(everywhere.join(QStringLiteral(", "))),
                                  this);
        global->setObjectName(QStringLiteral("pageSubtitle"));
        global->setWordWrap(true);
        layout->addWidget(global);
    }
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    layout->addWidget(buttons);
}

} // namespace velmox
