#include "app/pages/SpeedTestPage.h"

#include "app/SidebarItems.h"
#include "app/pages/HistoryChart.h"
#include "app/pages/PageHeader.h"
#include "network/NetworkSpeedTestViewModel.h"
#include "network/SpeedTestFormat.h"

#include <QComboBox>
#include <QFrame>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedWidget>
#include <QToolButton>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <algorithm>

namespace velmox {

namespace {

// One large figure under its name, in a framed card.
QLabel* addFigure(QHBoxLayout* row, const QString& name, QWidget* parent) {
    auto* card = new QFrame(parent);
    card->setFrameShape(QFrame::StyledPanel);
    auto* layout = new QVBoxLayout(card);
    auto* title = new QLabel(name, card);
    title->setForegroundRole(QPalette::PlaceholderText);
    auto* value = new QLabel(QStringLiteral("--"), card);
    QFont big = value->font();
    big.setPointSizeF(big.pointSizeF() * 2.2);
    big.setBold(true);
    value->setFont(big);
    value->setAccessibleName(name);
    value->setTextInteractionFlags(Qt::TextSelectableByMouse);
    layout->addWidget(title);
    layout->addWidget(value);
    row->addWidget(card, 1);
    return value;
}

bool askWithMessageBox(QWidget* parent) {
    QMessageBox box(QMessageBox::Warning, QStringLiteral("Velmox"),
                    QStringLiteral("Clear the whole speed test history?"), QMessageBox::NoButton,
                    parent);
    box.setInformativeText(QStringLiteral("Every past result is deleted for good."));
    QPushButton* confirm =
        box.addButton(QStringLiteral("Clear All History"), QMessageBox::AcceptRole);
    box.addButton(QMessageBox::Cancel);
    box.setDefaultButton(QMessageBox::Cancel);
    box.exec();
    return box.clickedButton() == confirm;
}

} // namespace

SpeedTestPage::SpeedTestPage(NetworkSpeedTestViewModel& model, QWidget* parent)
    : QWidget(parent), model_(model), unit_(new QComboBox(this)),
      start_(new QPushButton(QStringLiteral("Start Test"), this)),
      cancel_(new QPushButton(QStringLiteral("Cancel"), this)), progress_(new QProgressBar(this)),
      status_(new QLabel(this)), sort_(new QToolButton(this)),
      clear_(new QPushButton(QStringLiteral("Clear All History"), this)),
      chart_(new HistoryChart(this)), chartCaption_(new QLabel(this)),
      historyStack_(new QStackedWidget(this)), list_(new QTreeWidget(this)),
      empty_(new QLabel(QStringLiteral("No test history yet."), this)) {
    confirmClear_ = [this] { return askWithMessageBox(this); };

    auto* layout = new QVBoxLayout(this);
#ifdef Q_OS_MACOS
    const QString about = QStringLiteral(
        "Run Apple's native networkquality test to measure download, upload, and latency.");
#else
    const QString about =
        QStringLiteral("Run Velmox's own speed test to measure download, upload, and latency.");
#endif
    layout->addWidget(new PageHeader(pageSymbol(Category::networkTools),
                                     QStringLiteral("Network Speed Test"), about, this));

    auto* figures = new QHBoxLayout;
    download_ = addFigure(figures, QStringLiteral("Download"), this);
    upload_ = addFigure(figures, QStringLiteral("Upload"), this);
    latency_ = addFigure(figures, QStringLiteral("Latency"), this);
    layout->addLayout(figures);

    auto* controls = new QHBoxLayout;
    unit_->addItems(speedTestUnits());
    unit_->setAccessibleName(QStringLiteral("Unit"));
    progress_->setRange(0, 100);
    progress_->setTextVisible(false);
    // The row keeps its shape while no test runs.
    QSizePolicy keepPlace = progress_->sizePolicy();
    keepPlace.setRetainSizeWhenHidden(true);
    progress_->setSizePolicy(keepPlace);
    controls->addWidget(new QLabel(QStringLiteral("Unit:"), this));
    controls->addWidget(unit_);
    controls->addWidget(progress_, 1);
    controls->addWidget(cancel_);
    controls->addWidget(start_);
    layout->addLayout(controls);
    status_->setWordWrap(true);
    layout->addWidget(status_);

    auto* historyBar = new QHBoxLayout;
    auto* historyTitle = new QLabel(QStringLiteral("History"), this);
    QFont bold = historyTitle->font();
    bold.setBold(true);
    historyTitle->setFont(bold);
    sort_->setToolTip(QStringLiteral("Toggle sort direction"));
    sort_->setAccessibleName(QStringLiteral("Toggle sort direction"));
    historyBar->addWidget(historyTitle);
    historyBar->addStretch(1);
    historyBar->addWidget(sort_);
    historyBar->addWidget(clear_);
    layout->addLayout(historyBar);

    chart_->setMinimumHeight(110);
    layout->addWidget(chart_);
    chartCaption_->setForegroundRole(QPalette::PlaceholderText);
    layout->addWidget(chartCaption_);
    list_->setHeaderLabels({QStringLiteral("Date"), QStringLiteral("Download"),
                            QStringLiteral("Upload"), QStringLiteral("Latency")});
    list_->setRootIsDecorated(false);
    list_->setSelectionMode(QAbstractItemView::NoSelection);
    list_->header()->setStretchLastSection(false);
    list_->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    empty_->setAlignment(Qt::AlignCenter);
    empty_->setForegroundRole(QPalette::PlaceholderText);
    historyStack_->addWidget(list_);
    historyStack_->addWidget(empty_);
    layout->addWidget(historyStack_, 1);

    connect(start_, &QPushButton::clicked, &model_, &NetworkSpeedTestViewModel::run);
    connect(cancel_, &QPushButton::clicked, &model_, &NetworkSpeedTestViewModel::cancel);
    connect(unit_, &QComboBox::currentTextChanged, this, [this](const QString& unit) {
        if (unit == model_.unit())
            return;
        if (const Status saved = model_.setUnit(unit); !saved)
            status_->setText(saved.error());
        showHistory();
    });
    connect(sort_, &QToolButton::clicked, this, [this] {
        newestFirst_ = !newestFirst_;
        showHistory();
    });
    connect(clear_, &QPushButton::clicked, this, &SpeedTestPage::clearHistory);
    connect(&model_, &NetworkSpeedTestViewModel::changed, this, &SpeedTestPage::showFigures);
    connect(&model_, &NetworkSpeedTestViewModel::historyChanged, this, &SpeedTestPage::showHistory);
    showFigures();
    showHistory();
}

void SpeedTestPage::showFigures() {
    download_->setText(model_.downloadSpeed());
    upload_->setText(model_.uploadSpeed());
    latency_->setText(model_.latency());
    status_->setText(model_.statusMessage());
    const bool testing = model_.isTesting();
    start_->setEnabled(!testing);
    cancel_->setEnabled(testing);
    progress_->setVisible(testing);
    progress_->setValue(qRound(model_.progress() * 100));
    if (unit_->currentText() != model_.unit())
        unit_->setCurrentText(model_.unit());
}

void SpeedTestPage::showHistory() {
    const QList<SpeedTestHistoryEntry>& history = model_.history();
    QList<SpeedTestHistoryEntry> ordered = history;
    std::stable_sort(ordered.begin(), ordered.end(),
                     [this](const SpeedTestHistoryEntry& a, const SpeedTestHistoryEntry& b) {
                         return newestFirst_ ? a.date > b.date : a.date < b.date;
                     });
    sort_->setArrowType(newestFirst_ ? Qt::DownArrow : Qt::UpArrow);
    list_->clear();
    for (const SpeedTestHistoryEntry& entry : ordered) {
        auto* row = new QTreeWidgetItem(
            list_, {QLocale().toString(entry.date.toLocalTime(), QLocale::ShortFormat),
                    entry.download, entry.upload, entry.latency});
        for (int column = 1; column < 4; ++column)
            row->setTextAlignment(column, Qt::AlignRight | Qt::AlignVCenter);
    }
    historyStack_->setCurrentWidget(history.isEmpty() ? static_cast<QWidget*>(empty_) : list_);
    clear_->setEnabled(!history.isEmpty());

    // The chart runs oldest to newest whatever the list's order, in the chosen unit.
    const QString unit = model_.unit();
    HistoryChart::Series download{{}, QPalette::Highlight, QColor(0x1a, 0x73, 0xe8)};
    HistoryChart::Series upload{{}, QPalette::Highlight, QColor(0x34, 0xa8, 0x53)};
    for (auto entry = history.crbegin(); entry != history.crend(); ++entry) {
        download.samples.append(throughputInUnit(entry->dlValue, unit));
        upload.samples.append(throughputInUnit(entry->ulValue, unit));
    }
    chart_->setCapacity(std::max<int>(2, static_cast<int>(history.size())));
    chart_->setSeries({download, upload});
    chartCaption_->setText(
        QStringLiteral("Download (blue) and upload (green) of past tests, oldest on the left; the "
                       "top line is %1 %2.")
            .arg(QString::number(chart_->scaleMaximum(), 'f', 1), unit));
    chartCaption_->setVisible(!history.isEmpty());
    chart_->setVisible(!history.isEmpty());
}

void SpeedTestPage::clearHistory() {
    if (!confirmClear_())
        return;
    if (const Status cleared = model_.clearHistory(); !cleared)
        status_->setText(cleared.error());
}

} // namespace velmox
