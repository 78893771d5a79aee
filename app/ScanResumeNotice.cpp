#include "app/ScanResumeNotice.h"

#include "app/ScanResumeOffers.h"
#include "app/SymbolIcons.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace velmox {

ScanResumeNotice::ScanResumeNotice(ScanResumeOffers& offers, QWidget* parent)
    : QFrame(parent), offers_(offers), rows_(new QVBoxLayout(this)) {
    setObjectName(QStringLiteral("scanResumeNotice"));
    setStyleSheet(QStringLiteral("QFrame#scanResumeNotice { border-top: 1px solid palette(mid); "
                                 "background: palette(alternate-base); }"));
    rows_->setContentsMargins(12, 6, 8, 6);
    rows_->setSpacing(4);
    connect(&offers_, &ScanResumeOffers::changed, this, &ScanResumeNotice::refresh);
    refresh();
}

QStringList ScanResumeNotice::shownTexts() const {
    QStringList texts;
    if (isHidden())
        return texts;
    for (const QLabel* label : findChildren<QLabel*>(QStringLiteral("offerText")))
        texts << label->text();
    return texts;
}

void ScanResumeNotice::refresh() {
    // A button may be the one being clicked, so the rows go after its signal.
    while (QLayoutItem* item = rows_->takeAt(0)) {
        if (QWidget* row = item->widget()) {
            row->hide();
            row->setParent(nullptr);
            row->deleteLater();
        }
        delete item;
    }
    for (const ScanResumeOffer& offer : offers_.offers()) {
        auto* row = new QWidget(this);
        auto* layout = new QHBoxLayout(row);
        layout->setContentsMargins(0, 0, 0, 0);
        layout->setSpacing(8);
        auto* icon = new QLabel(row);
        icon->setPixmap(
            symbolIcon(QStringLiteral("externaldrive.fill"), QStringLiteral("S")).pixmap(16, 16));
        auto* text = new QLabel(offer.text(), row);
        text->setObjectName(QStringLiteral("offerText"));
        text->setWordWrap(true);
        auto* resume = new QPushButton(QStringLiteral("Continue Scan"), row);
        resume->setObjectName(QStringLiteral("continueScan"));
        resume->setToolTip(QStringLiteral("Opens Storage Manager and reads the rest, keeping "
                                          "what was read before"));
        auto* discard = new QPushButton(QStringLiteral("Discard"), row);
        discard->setObjectName(QStringLiteral("discardScan"));
        discard->setToolTip(QStringLiteral("Deletes what this scan had read so far"));
        layout->addWidget(icon);
        layout->addWidget(text, 1);
        layout->addWidget(resume);
        layout->addWidget(discard);
        const QString key = offer.scope.identifier();
        connect(resume, &QPushButton::clicked, &offers_,
                [this, key] { offers_.continueScan(key); });
        connect(discard, &QPushButton::clicked, &offers_, [this, key] { offers_.discard(key); });
        rows_->addWidget(row);
    }
    setVisible(!offers_.offers().isEmpty());
}

} // namespace velmox
