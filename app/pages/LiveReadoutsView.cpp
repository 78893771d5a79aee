#include "app/pages/LiveReadoutsView.h"

#include "app/pages/HistoryChart.h"
#include "app/pages/MonitorDemand.h"
#include "monitor/LiveReadouts.h"

#include <QGridLayout>
#include <QLabel>

namespace velmox {

LiveReadoutsView::LiveReadoutsView(MonitorDemand& demand, QWidget* parent)
    : QWidget(parent), readouts_(new LiveReadouts(demand.engine(), this)),
      grid_(new QGridLayout(this)) {
    setObjectName(QStringLiteral("liveReadouts"));
    grid_->setContentsMargins(0, 0, 0, 0);
    grid_->setHorizontalSpacing(10);
    grid_->setVerticalSpacing(4);
    grid_->setColumnStretch(1, 1);
    connect(readouts_, &LiveReadouts::changed, this, &LiveReadoutsView::refresh);
    refresh();
    demand.watchWhileShown(this);
}

QString LiveReadoutsView::shownValue(const QString& title) const {
    for (const Line& line : lines_)
        if (line.title->text() == title)
            return QString(line.value->text()).replace(u'\n', QStringLiteral("  "));
    return {};
}

void LiveReadoutsView::refresh() {
    const QList<Readout>& rows = readouts_->rows();
    while (lines_.size() > rows.size()) {
        const Line line = lines_.takeLast();
        delete line.title;
        delete line.value;
        delete line.chart;
    }
    while (lines_.size() < rows.size()) {
        const int row = int(lines_.size());
        Line line{new QLabel(this), new QLabel(this), new HistoryChart(this)};
        line.title->setObjectName(QStringLiteral("pageSubtitle"));
        line.value->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        line.chart->setFixedSize(56, 18);
        grid_->addWidget(line.title, row, 0);
        grid_->addWidget(line.value, row, 1);
        grid_->addWidget(line.chart, row, 2);
        lines_.append(line);
    }
    for (qsizetype i = 0; i < rows.size(); ++i) {
        const Line& line = lines_[i];
        if (line.title->text() != rows[i].title)
            line.title->setText(rows[i].title);
        // Paired figures ("↓ …  ↑ …") go on two lines: the popover is too narrow for both
        // side by side.
        const QString value =
            QString(rows[i].value).replace(QStringLiteral("  "), QStringLiteral("\n"));
        if (line.value->text() != value)
            line.value->setText(value);
        // Charts keep their room when empty, so the figures stay in one column.
        line.chart->setSeries({{rows[i].history, QPalette::Highlight, {}}});
        line.chart->setFixedMaximum(rows[i].title == QLatin1String("CPU") ? 100.0 : 0.0);
    }
}

} // namespace velmox
