#include "app/pages/SmartScanPreview.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

namespace velmox {

SmartScanPreview::SmartScanPreview(const SmartScan::Plan& plan, const QList<bool>& chosen,
                                   QWidget* parent)
    : QDialog(parent) {
    setWindowTitle(QStringLiteral("Smart Scan"));
    resize(620, 560);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(20, 18, 20, 16);
    layout->setSpacing(10);
    auto* intro = new QLabel(QStringLiteral("<b>Smart Scan runs the ticked tasks one after "
                                            "another.</b><br>Sizes were measured just now. "
                                            "Untick what you want to leave out; your choice is "
                                            "kept for the next scan."),
                             this);
    intro->setWordWrap(true);
    layout->addWidget(intro);

    auto* scroll = new QScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    auto* content = new QWidget(scroll);
    auto* list = new QVBoxLayout(content);
    list->setContentsMargins(0, 0, 8, 0);
    list->setSpacing(6);
    for (qsizetype i = 0; i < plan.tasks.size(); ++i) {
        const OptimizationTask& task = plan.tasks.at(i);
        auto* card = new QFrame(content);
        card->setObjectName(QStringLiteral("card"));
        auto* cardLayout = new QVBoxLayout(card);
        cardLayout->setContentsMargins(12, 8, 12, 8);
        cardLayout->setSpacing(2);
        auto* top = new QHBoxLayout;
        // A lone "&" would make a mnemonic of the next letter.
        auto* box = new QCheckBox(QString(task.title).replace(QLatin1Char('&'), "&&"), card);
        box->setChecked(chosen.value(i));
        connect(box, &QCheckBox::toggled, this, &SmartScanPreview::updateRunButton);
        top->addWidget(box, 1);
        if (!task.pathsToMeasure.isEmpty()) {
            auto* size = new QLabel(formatBytes(plan.measured.value(i).bytes), card);
            size->setObjectName(QStringLiteral("pageSubtitle"));
            top->addWidget(size);
        }
        cardLayout->addLayout(top);
        auto* touches = new QLabel(plan.touches(i), card);
        touches->setObjectName(QStringLiteral("pageSubtitle"));
        touches->setWordWrap(true);
        touches->setContentsMargins(24, 0, 0, 0);
        cardLayout->addWidget(touches);
        list->addWidget(card);
        boxes_.append(box);
        titles_.append(task.title);
    }
    list->addStretch(1);
    scroll->setWidget(content);
    layout->addWidget(scroll, 1);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Cancel, this);
    run_ = buttons->addButton(QStringLiteral("Run Smart Scan"), QDialogButtonBox::AcceptRole);
    run_->setDefault(true);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    layout->addWidget(buttons);
    updateRunButton();
}

QList<bool> SmartScanPreview::chosen() const {
    QList<bool> ticks;
    for (const QCheckBox* box : boxes_)
        ticks.append(box->isChecked());
    return ticks;
}

QCheckBox* SmartScanPreview::checkBox(const QString& title) const {
    const qsizetype index = titles_.indexOf(title);
    return index < 0 ? nullptr : boxes_.at(index);
}

void SmartScanPreview::updateRunButton() {
    run_->setEnabled(chosen().contains(true));
}

} // namespace velmox
