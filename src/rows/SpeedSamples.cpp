#include "rows/SpeedSamples.h"

#include <algorithm>

namespace tarvo {

void SpeedSamples::begin(TimePoint now, const std::vector<std::int64_t>& known) {
    constexpr auto apart = std::chrono::milliseconds(500);
    m_samples.clear();
    for (std::size_t i = 0; i < known.size(); ++i)
        m_samples.push_back({now - apart * static_cast<std::int64_t>(known.size() - 1 - i), known[i]});
}

void SpeedSamples::add(TimePoint now, std::int64_t bytesPerSecond) {
    m_samples.push_back({now, bytesPerSecond});
    while (now - m_samples.front().at > kLength)
        m_samples.pop_front();
}

std::int64_t SpeedSamples::highest() const {
    std::int64_t highest = 0;
    for (const auto& sample : m_samples)
        highest = std::max(highest, sample.bytesPerSecond);
    return highest;
}

std::vector<SpeedSamples::Point> SpeedSamples::points(TimePoint now) const {
    std::vector<Point> points;
    if (m_samples.size() < 2)
        return points;
    const auto top = static_cast<double>(std::max<std::int64_t>(highest(), 1));
    for (const auto& sample : m_samples) {
        const double age = Seconds(now - sample.at) / kLength;
        points.push_back({std::clamp(1 - age, 0.0, 1.0), static_cast<double>(sample.bytesPerSecond) / top});
    }
    return points;
}

} // namespace tarvo
