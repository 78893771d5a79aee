#pragma once

#include <QFrame>

class QVBoxLayout;

namespace velmox {

class ScanResumeOffers;

// The strip above the status line that shows each scan Velmox offers to continue, with
// Continue Scan and Discard; hidden while there is none. Does not block anything: the user
// may answer it whenever, from any page. The offers must outlive it.
class ScanResumeNotice : public QFrame {
    Q_OBJECT
public:
    explicit ScanResumeNotice(ScanResumeOffers& offers, QWidget* parent = nullptr);

    // The sentence of each offer shown, in order.
    QStringList shownTexts() const;

private:
    void refresh();

    ScanResumeOffers& offers_;
    QVBoxLayout* rows_;
};

} // namespace velmox
