#include "queue/LauncherStatusFeeder.h"

#include "base/Runloop.h"
#include "base/Settings.h"
#include "queue/StatsBroadcaster.h"

#include <algorithm>
#include <cmath>

namespace tarvo {

namespace {

constexpr std::int64_t kKibibyte = 1024;

/// Rounded down: a full bar means that all is there. The tiny part more is for 0.29, which is no binary
/// fraction and else would be 28.999… percent.
std::optional<double> wholePercents(double fraction) {
    if (fraction < 0)
        return std::nullopt;
    return std::floor(std::min(fraction, 1.0) * 100 + 1e-9) / 100;
}

std::optional<std::int64_t> wholeKibibytes(std::int64_t bytes) {
    const std::int64_t count = bytes / kKibibyte + (bytes % kKibibyte >= kKibibyte / 2 ? 1 : 0);
    return count > 0 ? std::optional(count) : std::nullopt;
}

} // namespace

LauncherStatusFeeder::LauncherStatusFeeder(const RemoteFilesArrayController& rfac,
                                           NotificationCenter& notifications, const UserDefaults& defaults,
                                           LauncherBadge& badge)
    : m_rfac(rfac), m_defaults(defaults), m_badge(badge),
      m_stats(notifications.observe(
          StatsBroadcaster::kStatsBroadcastEvent, [this](const Notification& notification) {
              using Stats = std::shared_ptr<const RemoteFileCollectionStats>;
              if (const auto* stats = notification.info<Stats>(StatsBroadcaster::kStatsBroadcastKey))
                  update(**stats);
          })) {
}

bool LauncherStatusFeeder::isUnderway() {
    if (m_rfac.activeJobs() + m_rfac.jobsInState(rf_state_preparing) > 0) {
        m_grace = kGrace;
        return true;
    }
    if (m_rfac.pendingJobs() == 0)
        m_grace = 0;
    if (m_grace == 0)
        return false;
    --m_grace;
    return true;
}

void LauncherStatusFeeder::update(const RemoteFileCollectionStats& stats) {
    Runloop::assertMain();
    LauncherStatus status;
    if (isUnderway()) {
        if (Settings(m_defaults).showDockProgress())
            status.progress = wholePercents(stats.percentDownloaded());
        if (Settings(m_defaults).showDockSpeed())
            status.number = wholeKibibytes(stats.currentSpeed());
    }
    if (status == m_shown)
        return;
    m_shown = status;
    m_badge.show(status);
}

} // namespace tarvo
