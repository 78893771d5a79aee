#include "app/pages/MonitorCard.h"

#include "app/pages/HistoryChart.h"

#include <QGridLayout>
#include <QLabel>
#include <QVBoxLayout>

namespace velmox {

MonitorCard::MonitorCard(const QString& title, QWidget* parent)
    : QFrame(parent), headline_(new QLabel(this)), details_(new QGridLayout) {
    setObjectName(QStringLiteral("card"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(16, 12, 16, 12);
    layout->setSpacing(6);

    auto* titleLabel = new QLabel(title.toUpper(), this);
    titleLabel->setObjectName(QStringLiteral("pageSubtitle"));
    QFont small = titleLabel->font();
    small.setPointSizeF(small.pointSizeF() * 0.85);
    small.setWeight(QFont::DemiBold);
    small.setLetterSpacing(QFont::PercentageSpacing, 106);
    titleLabel->setFont(small);
    layout->addWidget(titleLabel);

    headline_->setObjectName(QStringLiteral("cardHeadline"));
    QFont large = headline_->font();
    large.setPointSizeF(large.pointSizeF() * 1.7);
    large.setWeight(QFont::DemiBold);
    headline_->setFont(large);
    headline_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    layout->addWidget(headline_);

    details_->setContentsMargins(0, 0, 0, 0);
    details_->setHorizontalSpacing(12);
    details_->setVerticalSpacing(3);
    details_->setColumnStretch(1, 1);
    layout->addLayout(details_);
    note_ = new QLabel(this);
    note_->setObjectName(QStringLiteral("pageSubtitle"));
    note_->setWordWrap(true);
    note_->hide();
    layout->addWidget(note_);
    layout->addStretch(1);
}

void MonitorCard::setHeadline(const QString& text) {
    if (headline_->text() != text)
        headline_->setText(text);
}

QString MonitorCard::headline() const {
    return headline_->text();
}

void MonitorCard::setDetails(const QList<Detail>& details) {
    while (rows_.size() > details.size()) {
        const auto [name, value] = rows_.takeLast();
        delete name;
        delete value;
    }
    while (rows_.size() < details.size()) {
        auto* name = new QLabel(this);
        name->setObjectName(QStringLiteral("pageSubtitle"));
        auto* value = new QLabel(this);
        value->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        value->setTextInteractionFlags(Qt::TextSelectableByMouse);
        value->setWordWrap(true);
        const int row = int(rows_.size());
        details_->addWidget(name, row, 0);
        details_->addWidget(value, row, 1);
        rows_.append(std::make_pair(name, value));
    }
    for (qsizetype i = 0; i < details.size(); ++i) {
        if (rows_[i].first->text() != details[i].first)
            rows_[i].first->setText(details[i].first);
        if (rows_[i].second->text() != details[i].second)
            rows_[i].second->setText(details[i].second);
    }
}

void MonitorCard::setNote(const QString& text) {
    note_->setText(text);
    note_->setVisible(!text.isEmpty());
}

QString MonitorCard::note() const {
    return note_->text();
}

QString MonitorCard::detail(const QString& name) const {
    for (const auto& [label, value] : rows_)
        if (label->text() == name)
            return value->text();
    return {};
}

HistoryChart* MonitorCard::chart() {
    if (!chart_) {
        chart_ = new HistoryChart(this);
        chart_->setMinimumHeight(56);
        auto* box = static_cast<QVBoxLayout*>(layout());
        box->insertWidget(box->count() - 1, chart_, 10);
    }
    return chart_;
}

QColor MonitorCard::accent(int hue) const {
    const bool darkBackground = palette().color(QPalette::Base).lightness() < 128;
    return QColor::fromHsv(hue, darkBackground ? 170 : 210, darkBackground ? 245 : 205);
}

} // namespace velmox
