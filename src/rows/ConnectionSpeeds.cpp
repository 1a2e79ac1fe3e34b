#include "rows/ConnectionSpeeds.h"

#include <algorithm>

#include "base/Localized.h"
#include "base/Readable.h"

namespace tarvo {

namespace {

constexpr std::size_t kMostLines = 32;

std::string partText(const ConnectionSpan& connection) {
    const std::string brought = readableBytes(connection.current - connection.from);
    if (connection.to < 1)
        return brought;
    return localized("tr.row.amount", {brought, readableBytes(connection.to - connection.from)});
}

} // namespace

std::vector<std::optional<std::int64_t>>
ConnectionSpeeds::look(TimePoint now, const std::vector<ConnectionSpan>& connections) {
    while (!m_looks.empty() && now - m_looks.front().at > kWindow)
        m_looks.pop_front();
    std::vector<std::optional<std::int64_t>> speeds;
    Look latest{now, {}};
    for (const auto& connection : connections) {
        latest.places[connection.from] = connection.current;
        const auto knows = [&](const Look& look) {
            return look.at < now && look.places.contains(connection.from);
        };
        const auto first = std::find_if(m_looks.begin(), m_looks.end(), knows);
        if (first == m_looks.end()) {
            speeds.emplace_back();
            continue;
        }
        const auto brought = static_cast<double>(connection.current - first->places.at(connection.from));
        speeds.emplace_back(
            static_cast<std::int64_t>(std::max(brought / Seconds(now - first->at).count(), 0.0)));
    }
    m_looks.push_back(std::move(latest));
    return speeds;
}

std::string connectionsText(const std::vector<ConnectionSpan>& connections,
                            const std::vector<std::optional<std::int64_t>>& speeds) {
    std::string text;
    const std::size_t shown = std::min({connections.size(), speeds.size(), kMostLines});
    for (std::size_t i = 0; i < shown; ++i) {
        const std::string speed = speeds[i] ? readableSpeed(*speeds[i]) : "…";
        text += (i == 0 ? "" : "\n") + localized("tr.info.connection-line",
                                                 {std::to_string(i + 1), speed, partText(connections[i])});
    }
    if (connections.size() > shown && shown > 0)
        text += "\n" + localizedCount("tr.info.connections-more", connections.size() - shown);
    return text;
}

} // namespace tarvo
