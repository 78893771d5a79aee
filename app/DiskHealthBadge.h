#pragma once

#include <QObject>

namespace velmox {

class DiskHealthMonitor;
class SidebarView;

// Marks the sidebar's Disk Health row while the last background check found a disk at watch
// or critical: a warning icon, and the badge text ("S.M.A.R.T.: Critical. ... Click to open
// the S.M.A.R.T. details.") as its tooltip. Owned by the sidebar; the monitor must outlive it.
class DiskHealthBadge : public QObject {
    Q_OBJECT
public:
    DiskHealthBadge(SidebarView& sidebar, DiskHealthMonitor& monitor);

    // What the row shows now; empty while every disk is fine.
    QString text() const { return text_; }

private:
    void refresh();

    SidebarView& sidebar_;
    DiskHealthMonitor& monitor_;
    QString text_;
};

} // namespace velmox
