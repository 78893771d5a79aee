#pragma once

#include "cleaning/SmartScan.h"

#include <QDialog>
#include <QList>

class QCheckBox;
class QPushButton;

namespace velmox {

// The Smart Scan's preview: every task the scan offers, ticked as the user last chose, with what
// it would touch and how much. The user unticks what to leave out and starts the scan from here.
class SmartScanPreview : public QDialog {
    Q_OBJECT
public:
    // `chosen` holds one tick per task of `plan`.
    SmartScanPreview(const SmartScan::Plan& plan, const QList<bool>& chosen,
                     QWidget* parent = nullptr);

    // One tick per task of the plan.
    QList<bool> chosen() const;
    QCheckBox* checkBox(const QString& title) const;

private:
    void updateRunButton();

    QList<QCheckBox*> boxes_;
    QStringList titles_;
    QPushButton* run_;
};

} // namespace velmox
