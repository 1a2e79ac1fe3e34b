#include "engine/progress/ConnectionAllowance.h"

#include <algorithm>

namespace tarvo {

namespace {

TimePoint after(TimePoint now, Seconds wait) {
    return now + std::chrono::duration_cast<TimePoint::duration>(wait);
}

} // namespace

void ConnectionAllowance::noteRefusal(Refusal kind, std::int64_t others, Seconds retryAfter, TimePoint now) {
    if (kind == Refusal::none)
        return;
    // Who says when to come back has not merely overlooked that another one has ended.
    const bool isDoubtful = others < m_seen && m_doubted == kNoLimit && retryAfter <= Seconds(0);
    if (others < 1) {
        m_most = m_confirmed;
    } else if (isDoubtful) {
        m_doubted = others;
        m_doubtedUntil = after(now, kDoubt);
    } else {
        lower(kind, others, now);
    }
    m_nextTrial = std::max(m_nextTrial, after(now, std::clamp(retryAfter, Seconds(0), kLongestAskedFor)));
}

void ConnectionAllowance::lower(Refusal kind, std::int64_t others, TimePoint now) {
    const bool isSaid = kind == Refusal::said;
    // Not one more of those that were turned away together.
    const bool wasTrial = others >= m_most && now >= m_nextTrial;
    if (others < m_most || m_wait == Seconds(0))
        m_wait = isSaid ? kWaitAfterWord : kWaitAfterHint;
    else if (wasTrial)
        m_wait = std::min(m_wait * 2, std::max(isSaid ? kLongestAfterWord : kLongestAfterHint, m_wait));
    m_isSure = isSaid || wasTrial || (m_isSure && m_most != kNoLimit);
    m_most = std::min(others, m_most);
    m_seen = std::min(m_seen, m_most);
    m_doubted = kNoLimit;
    m_nextTrial = after(now, m_wait);
}

void ConnectionAllowance::noteAtWork(std::int64_t connections, TimePoint now) {
    if (connections < 1)
        return;
    m_seen = std::max(m_seen, connections);
    if (connections > m_doubted)
        m_doubted = kNoLimit;
    if (connections > m_most) {
        m_most = connections;
        m_wait = Seconds(0);
        m_nextTrial = after(now, kWaitAfterSuccess);
    }
    m_confirmed = m_most;
}

std::int64_t ConnectionAllowance::most(TimePoint now) const {
    if (m_doubted < m_most && now < m_doubtedUntil)
        return m_doubted;
    return m_most != kNoLimit && now >= m_nextTrial ? m_most + 1 : m_most;
}

void ConnectionAllowance::restore(std::int64_t known, TimePoint now) {
    m_most = m_confirmed = std::max<std::int64_t>(known, 1);
    m_isSure = true;
    m_seen = 0;
    m_wait = Seconds(0);
    m_nextTrial = after(now, kWaitAfterWord);
}

} // namespace tarvo
