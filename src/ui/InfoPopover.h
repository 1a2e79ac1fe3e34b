// The panel beside a row that tells all of its download, and checks its file.
#pragma once

#include <QAbstractItemView>
#include <QFrame>
#include <QLabel>
#include <QTabWidget>
#include <QTimer>

#include "base/Clock.h"
#include "ui/ChecksumPage.h"
#include "ui/CurrentJob.h"
#include "ui/InfoPage.h"

namespace tarvo {

/// Main thread. Lies over its parent, beside the current row of the view, and follows it; so it needs no
/// window manager to place it, and the keyboard reaches it as any other part of the window. Escape closes
/// it. While it is closed, it asks nothing of any job.
class InfoPopover final : public QFrame {
    Q_OBJECT

public:
    /// `parent` holds the view, which with `current` outlives the popover, as `clock` does.
    InfoPopover(CurrentJob& current, QAbstractItemView& view, const Clock& clock, QWidget* parent);

    /// Opens with the information, or closes. Open for another row, it stays: that one's button was clicked.
    void toggle();

    /// Opens with the checksums, which are computed if they can be.
    void showChecksums();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void placeParts();
    void open(QWidget* page);
    void showJob();
    void refresh();
    void place();
    void closeIt();

    CurrentJob& m_current;
    QAbstractItemView& m_view;
    const Clock& m_clock;
    QLabel* m_title;
    QTabWidget* m_pages;
    InfoPage* m_info;
    ChecksumPage* m_checksums;
    QTimer m_refreshTimer;
    std::string m_openedFor; // the job's identity
};

} // namespace tarvo
