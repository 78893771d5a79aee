#include "app/TrayReadout.h"

#include "app/pages/MonitorDemand.h"
#include "monitor/LiveReadouts.h"
#include "monitor/SystemMonitorEngine.h"
#include "services/Settings.h"

namespace velmox {

TrayReadout::TrayReadout(Settings& settings, MonitorDemand& demand, QObject* parent)
    : QObject(parent), settings_(settings), demand_(demand),
      figure_(trayFigureFromRaw(settings.stringValue(kTrayFigureKey))) {
    connect(&settings_, &Settings::valueChanged, this, [this](const QString& key) {
        if (key == kTrayFigureKey)
            reconsider();
    });
}

TrayReadout::~TrayReadout() {
    if (readouts_)
        demand_.release();
}

void TrayReadout::setShown(bool shown) {
    shown_ = shown;
    reconsider();
}

void TrayReadout::reconsider() {
    figure_ = trayFigureFromRaw(settings_.stringValue(kTrayFigureKey));
    const bool wanted = shown_ && figure_ != TrayFigure::none;
    if (wanted && !readouts_) {
        demand_.acquire();
        readouts_ = std::make_unique<LiveReadouts>(demand_.engine());
        connect(readouts_.get(), &LiveReadouts::changed, this, &TrayReadout::refresh);
    } else if (!wanted && readouts_) {
        readouts_.reset();
        demand_.release();
    }
    refresh();
}

void TrayReadout::refresh() {
    QString text;
    QString toolTip = kIdleToolTip;
    if (readouts_) {
        text = trayFigureText(figure_, demand_.engine().stats());
        QStringList lines{kIdleToolTip};
        for (const Readout& row : readouts_->rows())
            lines.append(QStringLiteral("%1: %2").arg(row.title, row.value));
        toolTip = lines.join(u'\n');
    }
    if (text != text_) {
        text_ = text;
        emit textChanged(text_);
    }
    if (toolTip != toolTip_) {
        toolTip_ = toolTip;
        emit toolTipChanged(toolTip_);
    }
}

} // namespace velmox
