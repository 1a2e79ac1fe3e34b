#include "engine/progress/ConnectionAllowance.h"

#include <algorithm>

namespace tarvo {

namespace {

TimePoint after(TimePoint now, Seconds wait) {
    return now + std::chrono::duration_cast<TimePoint::duration>(wait);
}

} // namespace

void ConnectionAllowance::noteRefusal(std::int64_t others, TimePoint now) {
    const std::int64_t before = m_most;
    m_most = std::clamp<std::int64_t>(others, 1, m_most);
    if (m_most == before) // it was the one that was tried
        m_wait = std::min(m_wait * 2, kLongestWait);
    m_nextTrial = after(now, m_wait);
}

void ConnectionAllowance::noteAtWork(std::int64_t connections, TimePoint now) {
    if (connections <= m_most || m_most == m_wanted)
        return;
    m_most = std::min(connections, m_wanted);
    m_wait = kFirstWait;
    m_nextTrial = after(now, m_wait);
}

std::int64_t ConnectionAllowance::most(TimePoint now) const {
    return m_most < m_wanted && now >= m_nextTrial ? m_most + 1 : m_most;
}

} // namespace tarvo
