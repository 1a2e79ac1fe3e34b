#include "rows/RowsFeed.h"

#include "base/Runloop.h"

#include <utility>

namespace tarvo {

RowsFeed::RowsFeed(RowsModel& model, RemoteFilesArrayController& queue, std::function<RowRange()> inSight)
    : m_model(model), m_queue(queue), m_inSight(std::move(inSight)) {
    m_words.setInterval(std::chrono::seconds(1));
    connect(&m_words, &QTimer::timeout, this, &RowsFeed::refreshWords);
    m_nextTurn.setSingleShot(true);
    m_nextTurn.setInterval(std::chrono::milliseconds(0));
    connect(&m_nextTurn, &QTimer::timeout, this, [this] { tellChanged(std::exchange(m_otherStates, {})); });
}

void RowsFeed::setVisible(bool isVisible) {
    Runloop::assertMain();
    if (isVisible == m_words.isActive())
        return;
    m_model.forgetStatus();
    if (!isVisible) {
        m_words.stop();
        m_nextTurn.stop();
        m_otherStates.clear();
        m_queue.disconnect(this);
        return;
    }
    m_words.start();
    connect(&m_queue, &RemoteFilesArrayController::jobsChanged, this, &RowsFeed::tellChanged);
    connect(&m_queue, &RemoteFilesArrayController::jobStateChanged, this, &RowsFeed::tellState);
}

void RowsFeed::refresh() {
    if (!m_words.isActive())
        return;
    m_model.forgetStatus();
    const RowRange rows = m_inSight();
    for (int row = rows.first; row <= rows.last; ++row)
        m_model.didChange(row);
}

void RowsFeed::refreshWords() {
    m_model.forgetStatus();
    const RowRange rows = m_inSight();
    for (int row = rows.first; row <= rows.last; ++row) {
        const auto state = m_queue.jobAt(row)->currentState();
        if (state == rf_state_running || state == rf_state_failed)
            m_model.didChange(row);
    }
}

void RowsFeed::tellChanged(const std::vector<std::shared_ptr<RemoteFile>>& jobs) {
    const RowRange rows = m_inSight();
    for (const auto& job : jobs) {
        const auto row = m_queue.rowOf(*job);
        if (row && rows.contains(*row))
            m_model.didChange(*row);
    }
}

void RowsFeed::tellState(const std::shared_ptr<RemoteFile>& job) {
    m_model.forgetStatus(*job);
    m_otherStates.push_back(job); // thousands may be stopped at once
    if (!m_nextTurn.isActive())
        m_nextTurn.start();
}

} // namespace tarvo
