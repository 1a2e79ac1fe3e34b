#include "remote/RowNumbers.h"

#include "base/Runloop.h"

namespace tarvo {

namespace {

constexpr std::size_t kMostForgotten = 1000; // rows that have left may be remembered for a while

}

RowNumbers::RowNumbers(RemoteFilesArrayController& queue) : m_queue(queue) {
    connect(&queue, &RemoteFilesArrayController::jobReplaced, this, [this](const Job& old, const Job& fresh) {
        const auto known = m_numbers.find(old.get());
        if (known != m_numbers.end() && m_jobs.at(known->second).lock() == old)
            number(fresh, known->second);
    });
}

std::uint64_t RowNumbers::of(const Job& job) {
    Runloop::assertMain();
    const auto known = m_numbers.find(job.get());
    if (known != m_numbers.end() && m_jobs.at(known->second).lock() == job)
        return known->second;
    forgetThoseThatLeft();
    number(job, ++m_last);
    return m_last;
}

RowNumbers::Job RowNumbers::job(std::uint64_t number) const {
    Runloop::assertMain();
    const auto place = m_jobs.find(number);
    const Job job = place == m_jobs.end() ? nullptr : place->second.lock();
    return job && m_queue.content().contains(*job) ? job : nullptr;
}

void RowNumbers::number(const Job& job, std::uint64_t number) {
    m_numbers.insert_or_assign(job.get(), number);
    m_jobs.insert_or_assign(number, job);
}

void RowNumbers::forgetThoseThatLeft() {
    if (m_numbers.size() <= m_queue.content().size() + kMostForgotten)
        return;
    std::erase_if(m_numbers, [this](const auto& each) { return !job(each.second); });
    std::erase_if(m_jobs, [this](const auto& each) { return !job(each.first); });
}

} // namespace tarvo
