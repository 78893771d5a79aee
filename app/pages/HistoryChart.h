#pragma once

#include <QColor>
#include <QList>
#include <QWidget>
#include <functional>

namespace velmox {

// A small live chart of recent samples: one or more series drawn as antialiased lines over
// a soft fill, newest on the right, on a faint grid. Colours are palette roles, so the
// chart follows the appearance. The vertical scale is fixed (percentages) or grows with
// the largest sample shown.
class HistoryChart : public QWidget {
    Q_OBJECT
public:
    struct Series {
        QList<double> samples; // oldest first
        QPalette::ColorRole role = QPalette::Highlight;
        QColor color; // when valid, used instead of the role
    };

    explicit HistoryChart(QWidget* parent = nullptr);

    // The number of sample slots across the width; longer series show their newest part.
    void setCapacity(int samples);
    int capacity() const { return capacity_; }
    // 0 = scale to the largest sample shown.
    void setFixedMaximum(double maximum);
    void setSeries(QList<Series> series);
    const QList<Series>& series() const { return series_; }
    // The top of the vertical scale for the series shown now.
    double scaleMaximum() const;
    // Labels the axes: the top of the scale in `valueText`, and the time the width spans at
    // `secondsPerSample`. Unlabelled until called.
    void setAxes(std::function<QString(double)> valueText, double secondsPerSample);
    // {top of the scale, oldest time, newest time}; empty while unlabelled.
    QStringList axisLabels() const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QColor colorOf(const Series& series) const;

    QList<Series> series_;
    int capacity_ = 30;
    double fixedMaximum_ = 0.0;
    std::function<QString(double)> valueText_;
    double secondsPerSample_ = 0.0;
};

} // namespace velmox
