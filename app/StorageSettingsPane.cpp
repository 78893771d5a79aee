#include "app/StorageSettingsPane.h"

#include "app/ExclusionListEditor.h"
#include "services/Settings.h"
#include "storage/ScanExclusions.h"

#include <QLabel>
#include <QVBoxLayout>

namespace velmox {

StorageSettingsPane::StorageSettingsPane(Settings& settings, QWidget* parent)
    : QWidget(parent),
      exclusions_(new ExclusionListEditor(
          ScanExclusionSettings::global(settings), [&settings](const QStringList& patterns) {
              return ScanExclusionSettings::setGlobal(settings, patterns);
          })) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(24, 20, 24, 20);
    layout->setSpacing(8);
    auto* title = new QLabel(QStringLiteral("Skip in every scan"));
    title->setObjectName(QStringLiteral("sectionTitle"));
    title->setBuddy(exclusions_);
    layout->addWidget(title);
    auto* note = new QLabel(QStringLiteral(
        "A folder or a path below the scanned folder is skipped with everything in it; a "
        "pattern with *, ? or [ skips matching names at any depth, such as *.iso. Skipped items "
        "show as excluded, without size. After a change the next scan reads everything again."));
    note->setObjectName(QStringLiteral("pageSubtitle"));
    note->setWordWrap(true);
    layout->addWidget(note);
    layout->addWidget(exclusions_, 1);
}

} // namespace velmox
