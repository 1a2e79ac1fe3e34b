#include "ui/InfoPopover.h"

#include <algorithm>

#include <QAction>
#include <QApplication>
#include <QEvent>
#include <QHBoxLayout>
#include <QPainter>
#include <QScrollArea>
#include <QToolButton>
#include <QVBoxLayout>

#include "base/Runloop.h"
#include "ui/Icons.h"
#include "ui/Text.h"

namespace tarvo {

namespace {

constexpr int kBetweenRefreshesMs = 250;
constexpr QSize kUsualSize(460, 520);
constexpr int kMargin = 6; // to the edges of the window

QScrollArea* scrolling(QWidget* page) {
    auto* area = new QScrollArea;
    area->setWidget(page);
    area->setWidgetResizable(true);
    area->setFrameShape(QFrame::NoFrame);
    area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    area->setFocusPolicy(Qt::NoFocus);
    return area;
}

} // namespace

InfoPopover::InfoPopover(CurrentJob& current, QAbstractItemView& view, const Clock& clock, QWidget* parent)
    : QFrame(parent), m_current(current), m_view(view), m_clock(clock), m_title(new QLabel(this)),
      m_pages(new QTabWidget(this)), m_info(new InfoPage), m_checksums(new ChecksumPage) {
    Runloop::assertMain();
    placeParts();
    hide();
    parent->installEventFilter(this);
    connect(&m_current, &CurrentJob::changed, this, [this] {
        if (isVisible())
            showJob();
    });
    connect(&m_current, &CurrentJob::replaced, this, [this] {
        m_info->replaceJob(m_current.job());
        m_checksums->setJob(m_current.job());
        refresh();
    });
    connect(&m_current, &CurrentJob::stateChanged, this, &InfoPopover::refresh);
    m_refreshTimer.setInterval(kBetweenRefreshesMs);
    connect(&m_refreshTimer, &QTimer::timeout, this, &InfoPopover::refresh);
}

void InfoPopover::placeParts() {
    setObjectName(QStringLiteral("information"));
    setAccessibleName(text("tr.info.title"));
    setAutoFillBackground(true);
    m_title->setTextFormat(Qt::PlainText);
    m_title->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    QFont bold = m_title->font();
    bold.setBold(true);
    m_title->setFont(bold);
    auto* closing = new QAction(Icons::named(QStringLiteral("window-close")), text("tr.info.close"), this);
    closing->setShortcut(Qt::Key_Escape);
    closing->setShortcutContext(Qt::WidgetWithChildrenShortcut);
    addAction(closing);
    connect(closing, &QAction::triggered, this, &InfoPopover::closeIt);
    auto* button = new QToolButton(this);
    button->setDefaultAction(closing);
    button->setAutoRaise(true);
    button->setFocusPolicy(Qt::TabFocus);
    button->setAccessibleName(text("tr.info.close"));
    auto* head = new QHBoxLayout;
    head->addWidget(m_title, 1);
    head->addWidget(button);
    m_pages->setDocumentMode(true);
    m_pages->setAccessibleName(text("tr.info.title"));
    m_pages->addTab(scrolling(m_info), text("tr.info.title"));
    m_pages->addTab(scrolling(m_checksums), text("tr.checksums.title"));
    auto* all = new QVBoxLayout(this);
    all->setContentsMargins(8, 6, 8, 8);
    all->addLayout(head);
    all->addWidget(m_pages, 1);
}

void InfoPopover::toggle() {
    const auto& job = m_current.job();
    const bool isOpen = isVisible() && m_pages->currentIndex() == 0;
    if (isOpen && job && job->identity() == m_openedFor)
        closeIt();
    else
        open(m_pages->widget(0));
}

void InfoPopover::showChecksums() {
    open(m_pages->widget(1));
    m_checksums->start();
}

void InfoPopover::open(QWidget* page) {
    if (!m_current.job())
        return;
    m_openedFor = m_current.job()->identity();
    m_pages->setCurrentWidget(page);
    show();
    raise();
    m_pages->setFocus(Qt::PopupFocusReason);
}

void InfoPopover::closeIt() {
    const QWidget* focused = QApplication::focusWidget();
    const bool hadFocus = focused && (focused == this || isAncestorOf(focused));
    hide();
    if (hadFocus)
        m_view.setFocus(Qt::PopupFocusReason);
}

void InfoPopover::showEvent(QShowEvent* event) {
    showJob();
    m_refreshTimer.start();
    QFrame::showEvent(event);
}

void InfoPopover::hideEvent(QHideEvent* event) {
    m_refreshTimer.stop();
    m_checksums->cancel();
    QFrame::hideEvent(event);
}

/// A line all around: the styles' own frames can't be seen on dark.
void InfoPopover::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    QColor line = palette().color(QPalette::WindowText);
    line.setAlphaF(0.45F);
    painter.setPen(line);
    painter.drawRect(rect().adjusted(0, 0, -1, -1));
}

void InfoPopover::showJob() {
    const auto& job = m_current.job();
    if (!job) {
        closeIt();
        return;
    }
    m_info->setJob(job, m_clock.now());
    m_checksums->setJob(job);
    place();
    refresh();
}

void InfoPopover::refresh() {
    if (!isVisible() || window()->isMinimized() || !m_current.job())
        return;
    const QString name = QString::fromStdString(m_current.job()->displayName());
    m_title->setText(m_title->fontMetrics().elidedText(name, Qt::ElideMiddle, m_title->width()));
    m_title->setToolTip(name);
    m_title->setAccessibleName(name);
    m_info->refresh(m_clock.now());
    m_checksums->update();
}

bool InfoPopover::eventFilter(QObject* watched, QEvent* event) {
    if (watched == parentWidget() && event->type() == QEvent::Resize && isVisible())
        place();
    return QFrame::eventFilter(watched, event);
}

/// At the right, so that the names of the rows stay in sight; below the row where there is room, else as far
/// down as it goes.
void InfoPopover::place() {
    const QRect room = parentWidget()->rect().adjusted(kMargin, kMargin, -kMargin, -kMargin);
    const QSize size = kUsualSize.boundedTo(room.size());
    const QRect row = m_view.visualRect(m_view.currentIndex());
    const QPoint corner = m_view.viewport()->mapTo(parentWidget(), row.bottomLeft());
    const int y = std::clamp(corner.y() + 2, room.top(), room.bottom() + 1 - size.height());
    setGeometry(QRect(QPoint(room.right() + 1 - size.width(), y), size));
}

} // namespace tarvo
