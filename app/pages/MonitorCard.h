#pragma once

#include <QFrame>
#include <QList>
#include <utility>

class QGridLayout;
class QLabel;

namespace velmox {

class HistoryChart;

// One card of the monitoring pages: a small title, a large headline figure, a column of
// named figures and, for cards that have one, a history chart along the bottom.
class MonitorCard : public QFrame {
    Q_OBJECT
public:
    using Detail = std::pair<QString, QString>; // name, value

    explicit MonitorCard(const QString& title, QWidget* parent = nullptr);

    void setHeadline(const QString& text);
    QString headline() const;
    // Replaces the named figures; labels are reused, so a steady list costs no layout work.
    void setDetails(const QList<Detail>& details);
    // A sentence under the figures; empty hides it.
    void setNote(const QString& text);
    QString note() const;
    // The value shown for `name`, or an empty string.
    QString detail(const QString& name) const;
    // Adds the chart on first call.
    HistoryChart* chart();
    bool hasChart() const { return chart_ != nullptr; }

    // A colour for a second or third series that reads on this card's background in both
    // appearances; `hue` in degrees.
    QColor accent(int hue) const;

private:
    QLabel* headline_;
    QGridLayout* details_;
    QLabel* note_ = nullptr;
    QList<std::pair<QLabel*, QLabel*>> rows_;
    HistoryChart* chart_ = nullptr;
};

} // namespace velmox
