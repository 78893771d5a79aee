#include "app/ExclusionListEditor.h"

#include "app/StatusReporter.h"
#include "storage/ScanExclusions.h"

#include <QDir>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QInputDialog>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

namespace velmox {

ExclusionListEditor::ExclusionListEditor(const QStringList& patterns, Save save, QWidget* parent)
    : QWidget(parent), save_(std::move(save)), browseFolder_(QDir::homePath()),
      list_(new QListWidget(this)),
      addFolder_(new QPushButton(QStringLiteral("Add Folder..."), this)),
      addPattern_(new QPushButton(QStringLiteral("Add Pattern..."), this)),
      remove_(new QPushButton(QStringLiteral("Remove"), this)),
      reporter_(new StatusReporter(this)) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    list_->setObjectName(QStringLiteral("exclusionList"));
    list_->setSelectionMode(QAbstractItemView::ExtendedSelection);
    setFocusProxy(list_);
    layout->addWidget(list_, 1);
    auto* buttons = new QHBoxLayout;
    for (QPushButton* button : {addFolder_, addPattern_, remove_})
        buttons->addWidget(button);
    buttons->addStretch(1);
    layout->addLayout(buttons);
    layout->addWidget(reporter_);
    show(ScanExclusions::normalized(patterns));

    connect(addFolder_, &QPushButton::clicked, this, [this] {
        const QString folder = QFileDialog::getExistingDirectory(
            this, QStringLiteral("Exclude a Folder"), browseFolder_);
        if (!folder.isEmpty())
            addPattern(folder);
    });
    connect(addPattern_, &QPushButton::clicked, this, [this] {
        bool ok = false;
        const QString pattern = QInputDialog::getText(
            this, QStringLiteral("Add Pattern"),
            QStringLiteral("Skip names matching a pattern such as *.iso, or a path below the "
                           "scanned folder:"),
            QLineEdit::Normal, {}, &ok);
        if (ok)
            addPattern(pattern);
    });
    connect(remove_, &QPushButton::clicked, this, &ExclusionListEditor::removeSelected);
    connect(list_, &QListWidget::itemSelectionChanged, this,
            [this] { remove_->setEnabled(!list_->selectedItems().isEmpty()); });
    remove_->setEnabled(false);
}

QStringList ExclusionListEditor::patterns() const {
    QStringList patterns;
    for (int row = 0; row < list_->count(); ++row)
        patterns.append(list_->item(row)->text());
    return patterns;
}

void ExclusionListEditor::show(const QStringList& patterns) {
    list_->clear();
    list_->addItems(patterns);
    remove_->setEnabled(false);
}

bool ExclusionListEditor::apply(const QStringList& patterns) {
    if (const Status saved = save_(patterns); !saved) {
        reporter_->show(saved.error(), false);
        return false;
    }
    reporter_->clear();
    show(patterns);
    emit patternsChanged(patterns);
    return true;
}

bool ExclusionListEditor::addPattern(const QString& pattern) {
    if (const Status usable = ScanExclusions::check(pattern); !usable) {
        reporter_->show(usable.error(), false);
        return false;
    }
    const QString written = ScanExclusions::normalized({pattern}).value(0);
    if (patterns().contains(written)) {
        reporter_->show(QStringLiteral("\"%1\" is already excluded.").arg(written), false);
        return false;
    }
    return apply(ScanExclusions::normalized(patterns() << written));
}

bool ExclusionListEditor::removeSelected() {
    QStringList kept = patterns();
    for (const QListWidgetItem* item : list_->selectedItems())
        kept.removeOne(item->text());
    return kept.size() != list_->count() && apply(kept);
}

} // namespace velmox
