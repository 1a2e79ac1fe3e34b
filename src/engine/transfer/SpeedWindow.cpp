#include "engine/transfer/SpeedWindow.h"

namespace tarvo {

namespace {

constexpr Seconds kBetweenSamples{1.0};

} // namespace

double SpeedWindow::speed(TimePoint now, std::int64_t total) {
    while (m_samples.size() > 1 && now - m_samples[1].at >= kLength)
        m_samples.erase(m_samples.begin());
    if (m_samples.empty() || now - m_samples.back().at >= kBetweenSamples)
        m_samples.push_back({now, total});
    const Sample& oldest = m_samples.front();
    const double seconds = Seconds(now - oldest.at).count();
    return seconds > 0 ? static_cast<double>(total - oldest.total) / seconds : 0;
}

} // namespace tarvo
