// How often a view tells of one download's progress.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "queue/DownloadSnapshot.h"

namespace tarvo {

/// Which of the running downloads are due for a line again.
class Pace {
public:
    /// `atOnce`: a download's first line comes with its first look, not one interval later.
    Pace(Seconds interval, bool atOnce) : m_interval(interval), m_atOnce(atOnce) {}

    std::vector<DownloadSnapshot> due(const std::vector<DownloadSnapshot>& running, TimePoint now) {
        std::map<std::string, TimePoint> last; // of those that still run
        std::vector<DownloadSnapshot> dueNow;
        for (const auto& download : running) {
            const auto known = m_last.find(download.url);
            const bool isDue = known == m_last.end() ? m_atOnce : now - known->second >= m_interval;
            if (isDue)
                dueNow.push_back(download);
            last[download.url] = isDue || known == m_last.end() ? now : known->second;
        }
        m_last.swap(last);
        return dueNow;
    }

private:
    const Seconds m_interval;
    const bool m_atOnce;
    std::map<std::string, TimePoint> m_last;
};

} // namespace tarvo
