// How much of something may come in a while: what keeps a flood from drowning everything else.
#pragma once

#include <cstddef>

#include "base/Clock.h"

namespace tarvo {

/// `most` in each `period`, which begins with the first that is taken in it.
class Allowance {
public:
    Allowance(std::size_t most, Seconds period) : m_most(most), m_period(period) {}

    /// Answers whether there is that much left; if not, nothing is taken.
    bool take(TimePoint now, std::size_t count = 1) {
        if (m_used == 0 || now - m_begin >= m_period) {
            m_begin = now;
            m_used = 0;
        }
        if (count > m_most - m_used)
            return false;
        m_used += count;
        return true;
    }

private:
    const std::size_t m_most;
    const Seconds m_period;
    TimePoint m_begin{};
    std::size_t m_used = 0;
};

} // namespace tarvo
