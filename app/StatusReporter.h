#pragma once

#include <QWidget>

class QLabel;

namespace velmox {

// A small inline status text inside a tool page: a green tick with the text after a
// success, a red warning sign after a failure, nothing while empty.
class StatusReporter : public QWidget {
    Q_OBJECT
public:
    explicit StatusReporter(QWidget* parent = nullptr);

    QString message() const { return message_; }
    bool isSuccess() const { return isSuccess_; }
    void show(const QString& message, bool isSuccess);
    // A neutral line while something is still being checked.
    void showWorking(const QString& message);
    void clear() { show({}, false); }

private:
    QString message_;
    bool isSuccess_ = false;
    QLabel* icon_;
    QLabel* text_;
};

} // namespace velmox
