#pragma once

#include "platform/NamedSensorSource.h"

#include <QHash>
#include <QWidget>
#include <optional>

class QGridLayout;
class QLabel;
class QScrollArea;
class QVBoxLayout;

namespace velmox {

class EmptyStateView;
class HistoryChart;
class MonitorDemand;

// Fan & Temperature: every sensor the machine reports, grouped by what it measures, with
// its value and a short history; the fans with their current, lowest and highest speeds
// where the machine tells them. A machine without sensors gets a page that says so.
class FanTempPage : public QWidget {
    Q_OBJECT
public:
    enum class SensorGroup { processor, graphics, drives, other };
    struct Fan {
        QString name;
        double current = 0.0;
        std::optional<double> minimum;
        std::optional<double> maximum;
        bool operator==(const Fan&) const = default;
    };

    static SensorGroup groupOf(const QString& sensorName);
    static QString groupTitle(SensorGroup group);
    // The SMC's F<n>Ac, F<n>Mn and F<n>Mx keys become one fan with its range; any other fan
    // sensor is a fan of its own with its current speed only.
    static QList<Fan> fansOf(const QList<SensorReading>& readings);
    static QString noSensorsMessage();

    explicit FanTempPage(MonitorDemand& demand, QWidget* parent = nullptr);

    // Absent: no sensor read has come back yet. Each call adds one sample per sensor to
    // its history.
    void showReadings(const std::optional<QList<SensorReading>>& readings);

    // Recent values per sensor name, oldest first, at most 30.
    const QHash<QString, QList<double>>& histories() const { return histories_; }
    // The sentence shown instead of sensors (empty while sensors are shown).
    QString stateMessage() const;
    // The value text of one row (a sensor, a fan, or "<fan> range"), or empty.
    QString shownValue(const QString& rowName) const;

private:
    struct Row {
        QLabel* value = nullptr;
        HistoryChart* chart = nullptr;
    };
    void rebuild(const QList<SensorReading>& temperatures, const QList<Fan>& fans);
    QGridLayout* addSection(const QString& title);
    void addRow(QGridLayout* grid, const QString& name, const QString& shownName, bool withChart);

    EmptyStateView* state_;
    QScrollArea* scroll_;
    QWidget* content_ = nullptr;
    QVBoxLayout* sections_ = nullptr;
    QStringList shownNames_;
    QHash<QString, Row> rows_;
    QHash<QString, QList<double>> histories_;
};

} // namespace velmox
