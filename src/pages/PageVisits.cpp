#include "pages/PageVisits.h"

#include "base/Runloop.h"

#include <utility>

namespace tarvo {

PageVisits::End PageVisits::wait(const Job& job) {
    const auto visit = std::make_shared<Visit>();
    visit->job = job;
    if (!Runloop::runOnMainAndWait([this, &visit] { begin(visit); }))
        return {};
    std::unique_lock lock(visit->mutex);
    visit->ended.wait(lock, [&] { return visit->end.has_value(); });
    return *visit->end;
}

void PageVisits::begin(const std::shared_ptr<Visit>& visit) {
    if (m_isOver || visit->job->currentState() == rf_state_stopped) { // on the way here
        const std::lock_guard lock(visit->mutex);
        visit->end = End();
        return;
    }
    const std::int64_t number = ++m_count;
    m_open[number] = visit;
    connect(visit->job.get(), &RemoteFile::currentStateChanged, this,
            [this, number](rf_state_t, rf_state_t state) {
                if (state != rf_state_stopped || !isOpen(number))
                    return;
                end(number, {});
                Q_EMIT pageUnwanted(number);
            });
    Q_EMIT pageWanted(number);
}

PageVisits::Job PageVisits::jobOf(std::int64_t visit) const {
    const auto found = m_open.find(visit);
    return found == m_open.end() ? nullptr : found->second->job;
}

void PageVisits::end(std::int64_t visit, const End& end) {
    Runloop::assertMain();
    const auto open = m_open.extract(visit);
    if (open.empty())
        return;
    disconnect(open.mapped()->job.get(), nullptr, this, nullptr);
    const std::lock_guard lock(open.mapped()->mutex);
    open.mapped()->end = end;
    open.mapped()->ended.notify_all();
}

void PageVisits::endAll() {
    for (const std::int64_t visit : open())
        end(visit, {});
}

void PageVisits::refuse() {
    Runloop::assertMain();
    m_isOver = true;
    endAll();
}

std::vector<std::int64_t> PageVisits::open() const {
    std::vector<std::int64_t> numbers;
    numbers.reserve(m_open.size());
    for (const auto& [number, visit] : m_open)
        numbers.push_back(number);
    return numbers;
}

} // namespace tarvo
