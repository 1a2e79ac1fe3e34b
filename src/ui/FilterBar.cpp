#include "ui/FilterBar.h"

#include <chrono>

#include <QHBoxLayout>

#include "base/Runloop.h"
#include "ui/Text.h"

namespace tarvo {

FilterBar::FilterBar(const RemoteFilesArrayController& queue, const Actions& actions, QWidget* parent)
    : QWidget(parent), m_queue(queue) {
    Runloop::assertMain();
    setAccessibleName(text("tr.scope-bar.name"));
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(6, 2, 6, 2);
    row->setSpacing(2);
    for (QAction* filter : actions.filters->actions())
        add(*filter);
    row->addStretch();
    m_nextCount.setSingleShot(true);
    m_nextCount.setInterval(std::chrono::milliseconds(100));
    connect(&m_nextCount, &QTimer::timeout, this, &FilterBar::count);
    const auto countSoon = [this] {
        if (isVisible() && !m_nextCount.isActive())
            m_nextCount.start();
    };
    connect(&queue, &RemoteFilesArrayController::allChildStatesChanged, this, countSoon);
    connect(&queue, &RemoteFilesArrayController::contentArraySizeChanged, this, countSoon);
}

void FilterBar::add(QAction& filter) {
    auto* button = new QToolButton(this);
    button->setAutoRaise(true);
    button->setCheckable(true);
    button->setFocusPolicy(Qt::TabFocus); // a click leaves the focus with the list
    button->setText(filter.text());
    button->setToolTip(filter.shortcut().toString(QKeySequence::NativeText));
    button->setChecked(filter.isChecked());
    connect(&filter, &QAction::toggled, button, &QToolButton::setChecked);
    connect(button, &QToolButton::clicked, &filter, [&filter, button] {
        filter.trigger();
        button->setChecked(filter.isChecked()); // a second click on the chosen one changes nothing
    });
    layout()->addWidget(button);
    m_buttons.push_back(button);
}

void FilterBar::showEvent(QShowEvent* event) {
    count();
    QWidget::showEvent(event);
}

void FilterBar::count() {
    for (std::size_t i = 0; i < m_buttons.size(); ++i) {
        const JobFilter& filter = JobFilter::all()[i];
        const std::string number = std::to_string(m_queue.countShownBy(filter));
        m_buttons[i]->setText(text("tr.scope-bar.counted", {localized(filter.labelKey), number}));
    }
}

} // namespace tarvo
