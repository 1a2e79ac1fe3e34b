#include "ui/StatusBar.h"

#include "base/Readable.h"
#include "base/Runloop.h"
#include "base/Settings.h"
#include "rows/StatusLine.h"

namespace tarvo {

namespace {

constexpr int kTicksBetweenDisks = 5;

void setWords(QLabel& label, const std::string& words) {
    label.setText(QString::fromStdString(words));
    label.setVisible(!words.empty());
}

} // namespace

StatusBar::StatusBar(const WindowEnvironment& environment, FreeSpace& freeSpace, QWidget* parent)
    : QStatusBar(parent), m_environment(environment), m_freeSpace(freeSpace), m_state(new QLabel(this)),
      m_counts(new QLabel(this)), m_speed(new QLabel(this)), m_timeLeft(new QLabel(this)),
      m_free(new QLabel(this)) {
    Runloop::assertMain();
    for (auto* label : {m_state, m_counts, m_speed, m_timeLeft}) {
        label->setTextFormat(Qt::PlainText);
        label->setContentsMargins(4, 0, 4, 0);
        addWidget(label);
    }
    m_free->setContentsMargins(4, 0, 4, 0);
    addPermanentWidget(m_free);
    connect(&environment.queue, &QueueController::ticked, this, &StatusBar::tick);
    connect(&environment.queue, &QueueController::runStateChanged, this, &StatusBar::refresh);
    connect(this, &QStatusBar::messageChanged, this, &StatusBar::refresh); // to none, too
    connect(&m_freeSpace, &FreeSpace::told, this,
            [this] { setWords(*m_free, freeSpaceText(m_freeSpace.bytes())); });
    refresh();
}

void StatusBar::showEvent(QShowEvent* event) {
    QStatusBar::showEvent(event);
    m_ticks = 0;
    tick();
}

void StatusBar::tick() {
    if (!isVisible())
        return;
    refresh();
    if (m_ticks++ % kTicksBetweenDisks == 0)
        m_freeSpace.ask(Settings(m_environment.defaults).defaultDirectory(m_environment.homeFolder));
}

/// While a message is shown, the labels are not.
void StatusBar::refresh() {
    if (!currentMessage().isEmpty())
        return;
    auto& queue = m_environment.queue;
    const auto facts = queueFactsOf(queue.remoteFiles(), queue.runState());
    setWords(*m_state, runStateText(facts.state));
    setWords(*m_counts, countsText(facts));
    setWords(*m_speed, facts.running > 0 ? readableSpeed(facts.speed) : std::string());
    setWords(*m_timeLeft, timeLeftText(facts));
}

} // namespace tarvo
