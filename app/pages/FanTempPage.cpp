#include "app/pages/FanTempPage.h"

#include "app/SidebarItems.h"
#include "app/pages/EmptyStateView.h"
#include "app/pages/HistoryChart.h"
#include "app/pages/MonitorDemand.h"
#include "app/pages/MonitorFormat.h"
#include "app/pages/PageHeader.h"
#include "monitor/SystemMonitorEngine.h"

#include <QApplication>
#include <QGridLayout>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QRegularExpression>
#include <QScrollArea>
#include <QVBoxLayout>
#include <algorithm>
#include <map>

namespace velmox {

using namespace monitorformat;

namespace {

bool isSmcKey(const QString& name, const char* prefix) {
    return name.size() == 4 && name.startsWith(QLatin1String(prefix));
}

bool mentionsAny(const QString& name, std::initializer_list<const char*> words) {
    return std::any_of(words.begin(), words.end(), [&](const char* word) {
        return name.contains(QLatin1String(word), Qt::CaseInsensitive);
    });
}

QString rangeRowName(const FanTempPage::Fan& fan) {
    return fan.name + QStringLiteral(" range");
}

QString fanRange(const FanTempPage::Fan& fan) {
    if (fan.minimum && fan.maximum)
        return QStringLiteral("%1 – %2").arg(rpm(*fan.minimum), rpm(*fan.maximum));
    if (fan.minimum)
        return QStringLiteral("at least %1").arg(rpm(*fan.minimum));
    return QStringLiteral("at most %1").arg(rpm(fan.maximum.value_or(0)));
}

// A thermometer in neutral colours that read on both appearances.
QPixmap thermometerPicture() {
    const qreal ratio = qApp->devicePixelRatio();
    QPixmap pixmap(QSize(72, 72) * ratio);
    pixmap.setDevicePixelRatio(ratio);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    const QColor outline(0x8b, 0x8e, 0x96);
    const QColor mercury(0xe0, 0x5a, 0x4f);
    QPainterPath glass;
    glass.addRoundedRect(QRectF(29, 6, 14, 46), 7, 7);
    glass.addEllipse(QPointF(36, 55), 12, 12);
    painter.setPen(QPen(outline, 3));
    painter.setBrush(Qt::NoBrush);
    painter.drawPath(glass.simplified());
    painter.setPen(Qt::NoPen);
    painter.setBrush(mercury);
    painter.drawEllipse(QPointF(36, 55), 7.5, 7.5);
    painter.drawRoundedRect(QRectF(33, 26, 6, 28), 3, 3);
    painter.setPen(QPen(outline, 2, Qt::SolidLine, Qt::RoundCap));
    for (int y : {14, 22, 30, 38})
        painter.drawLine(QPointF(48, y), QPointF(y % 16 == 14 ? 56 : 53, y));
    return pixmap;
}

} // namespace

FanTempPage::SensorGroup FanTempPage::groupOf(const QString& name) {
    if (isSmcKey(name, "TC") || isSmcKey(name, "Tp") || isSmcKey(name, "Te") ||
        mentionsAny(name, {"coretemp", "k10temp", "zenpower", "cpu", "PMU tdie", "Package", "Tctl",
                           "Tdie"}))
        return SensorGroup::processor;
    if (isSmcKey(name, "TG") || isSmcKey(name, "Tg") ||
        mentionsAny(name, {"amdgpu", "nouveau", "radeon", "i915", "gpu"}))
        return SensorGroup::graphics;
    if (isSmcKey(name, "TH") || mentionsAny(name, {"nvme", "drivetemp", "NAND", "SSD"}))
        return SensorGroup::drives;
    return SensorGroup::other;
}

QString FanTempPage::groupTitle(SensorGroup group) {
    switch (group) {
    case SensorGroup::processor:
        return QStringLiteral("Processor");
    case SensorGroup::graphics:
        return QStringLiteral("Graphics");
    case SensorGroup::drives:
        return QStringLiteral("Drives");
    case SensorGroup::other:
        break;
    }
    return QStringLiteral("Other");
}

QList<FanTempPage::Fan> FanTempPage::fansOf(const QList<SensorReading>& readings) {
    static const QRegularExpression smcFan(QStringLiteral("^F(\\d)(Ac|Mn|Mx)$"));
    std::map<int, Fan> smcFans;
    QList<Fan> others;
    for (const SensorReading& reading : readings) {
        if (reading.kind != SensorKind::fan)
            continue;
        const auto match = smcFan.match(reading.name);
        if (!match.hasMatch()) {
            others.append({reading.name, reading.value, {}, {}});
            continue;
        }
        const int index = match.captured(1).toInt();
        Fan& fan = smcFans[index];
        fan.name = QStringLiteral("Fan %1").arg(index + 1);
        const QString field = match.captured(2);
        if (field == QLatin1String("Ac"))
            fan.current = reading.value;
        else if (field == QLatin1String("Mn"))
            fan.minimum = reading.value;
        else
            fan.maximum = reading.value;
    }
    QList<Fan> fans;
    for (const auto& [index, fan] : smcFans)
        fans.append(fan);
    return fans + others;
}

QString FanTempPage::noSensorsMessage() {
    return QStringLiteral("This computer reports no temperature or fan sensors. They appear here "
                          "once the kernel has hardware-monitoring (hwmon) drivers for them: run "
                          "“sudo sensors-detect” from lm-sensors to find and load the right "
                          "ones, then open this page again. Virtual machines usually have none.");
}

FanTempPage::FanTempPage(MonitorDemand& demand, QWidget* parent)
    : QWidget(parent), state_(new EmptyStateView(this)), scroll_(new QScrollArea(this)) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(28, 24, 28, 24);
    layout->setSpacing(16);
    layout->addWidget(new PageHeader(pageSymbol(Category::fanTemp), pageTitle(Category::fanTemp),
                                     QStringLiteral("Every temperature sensor and fan this "
                                                    "computer reports, with its recent history."),
                                     this));
    layout->addWidget(state_, 1);
    scroll_->setWidgetResizable(true);
    scroll_->setFrameShape(QFrame::NoFrame);
    scroll_->hide();
    layout->addWidget(scroll_, 1);

    SystemMonitorEngine& engine = demand.engine();
    connect(&engine, &SystemMonitorEngine::sensorsChanged, this,
            [this](const QList<SensorReading>& readings) { showReadings(readings); });
    connect(&engine, &SystemMonitorEngine::seriesRestarted, this, [this] { histories_.clear(); });
    showReadings(engine.hasReadSensors() ? std::optional(engine.sensorReadings()) : std::nullopt);
    demand.watchWhileShown(this);
}

QString FanTempPage::stateMessage() const {
    return state_->isHidden() ? QString() : state_->body();
}

QString FanTempPage::shownValue(const QString& rowName) const {
    const auto row = rows_.constFind(rowName);
    return row == rows_.cend() ? QString() : row->value->text();
}

void FanTempPage::showReadings(const std::optional<QList<SensorReading>>& readings) {
    if (!readings || readings->isEmpty()) {
        if (readings)
            state_->show(thermometerPicture(), QStringLiteral("No Sensors Found"),
                         noSensorsMessage());
        else
            state_->show(thermometerPicture(), QStringLiteral("Reading the Sensors"),
                         QStringLiteral("Asking the hardware-monitoring drivers for "
                                        "temperatures and fan speeds…"));
        scroll_->hide();
        return;
    }
    QList<SensorReading> temperatures;
    for (const SensorReading& reading : *readings)
        if (reading.kind == SensorKind::temperature)
            temperatures.append(reading);
    const QList<Fan> fans = fansOf(*readings);

    QStringList names;
    for (const SensorReading& reading : temperatures)
        names.append(reading.name);
    for (const Fan& fan : fans)
        names.append(fan.name);
    // Sensors that went away take their history with them.
    for (auto it = histories_.begin(); it != histories_.end();)
        it = names.contains(it.key()) ? std::next(it) : histories_.erase(it);
    if (names != shownNames_)
        rebuild(temperatures, fans);

    for (const SensorReading& reading : temperatures) {
        QList<double>& history = histories_[reading.name];
        appendToHistory(history, reading.value);
        const Row& row = rows_[reading.name];
        row.value->setText(celsius(reading.value));
        row.chart->setSeries({{history, QPalette::Highlight, {}}});
    }
    for (const Fan& fan : fans) {
        QList<double>& history = histories_[fan.name];
        appendToHistory(history, fan.current);
        const Row& row = rows_[fan.name];
        row.value->setText(fan.current > 0 ? rpm(fan.current) : QStringLiteral("Stopped"));
        row.chart->setSeries({{history, QPalette::Link, {}}});
        if (const auto range = rows_.constFind(rangeRowName(fan)); range != rows_.cend())
            range->value->setText(fanRange(fan));
    }
    state_->hide();
    scroll_->show();
}

void FanTempPage::rebuild(const QList<SensorReading>& temperatures, const QList<Fan>& fans) {
    rows_.clear();
    delete content_;
    content_ = new QWidget;
    sections_ = new QVBoxLayout(content_);
    sections_->setContentsMargins(0, 0, 0, 0);
    sections_->setSpacing(14);
    for (SensorGroup group :
         {SensorGroup::processor, SensorGroup::graphics, SensorGroup::drives, SensorGroup::other}) {
        QGridLayout* grid = nullptr;
        for (const SensorReading& reading : temperatures) {
            if (groupOf(reading.name) != group)
                continue;
            if (!grid)
                grid = addSection(groupTitle(group));
            addRow(grid, reading.name, reading.name, true);
        }
    }
    if (!fans.isEmpty()) {
        QGridLayout* grid = addSection(QStringLiteral("Fans"));
        for (const Fan& fan : fans) {
            addRow(grid, fan.name, fan.name, true);
            if (fan.minimum || fan.maximum)
                addRow(grid, rangeRowName(fan), QStringLiteral("    Speed range"), false);
        }
    }
    sections_->addStretch(1);
    scroll_->setWidget(content_);

    shownNames_.clear();
    for (const SensorReading& reading : temperatures)
        shownNames_.append(reading.name);
    for (const Fan& fan : fans)
        shownNames_.append(fan.name);
}

QGridLayout* FanTempPage::addSection(const QString& title) {
    auto* card = new QFrame(content_);
    card->setObjectName(QStringLiteral("card"));
    auto* box = new QVBoxLayout(card);
    box->setContentsMargins(16, 12, 16, 12);
    auto* heading = new QLabel(QStringLiteral("<b>%1</b>").arg(title.toHtmlEscaped()), card);
    box->addWidget(heading);
    auto* grid = new QGridLayout;
    grid->setHorizontalSpacing(16);
    grid->setVerticalSpacing(6);
    grid->setColumnStretch(0, 2);
    grid->setColumnStretch(1, 3);
    box->addLayout(grid);
    sections_->addWidget(card);
    return grid;
}

void FanTempPage::addRow(QGridLayout* grid, const QString& name, const QString& shownName,
                         bool withChart) {
    const int line = grid->rowCount();
    auto* label = new QLabel(shownName, grid->parentWidget());
    label->setObjectName(QStringLiteral("pageSubtitle"));
    grid->addWidget(label, line, 0);
    Row row;
    if (withChart) {
        row.chart = new HistoryChart(grid->parentWidget());
        row.chart->setFixedHeight(28);
        grid->addWidget(row.chart, line, 1);
    }
    row.value = new QLabel(grid->parentWidget());
    row.value->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    row.value->setMinimumWidth(90);
    grid->addWidget(row.value, line, 2);
    rows_.insert(name, row);
}

} // namespace velmox
