#include "rows/StatusLine.h"

#include "base/Localized.h"
#include "base/Readable.h"
#include "base/Runloop.h"
#include "queue/RemoteFileCollectionStats.h"
#include "rows/RowTexts.h"

namespace tarvo {

QueueFacts queueFactsOf(const RemoteFilesArrayController& queue, QueueRunState state) {
    Runloop::assertMain();
    QueueFacts facts{.state = state, .running = queue.runningJobs(), .waiting = queue.pendingJobs()};
    queue.content().forEachIn({rf_state_initializing, rf_state_preparing, rf_state_ready, rf_state_running},
                              [&](const std::shared_ptr<RemoteFile>& job) {
                                  const std::int64_t size = job->fileSize();
                                  if (job->currentState() == rf_state_running)
                                      facts.speed = sumOfBytes(facts.speed, job->bytesPerSecond());
                                  if (size < 1)
                                      facts.isSizeUnknown = true;
                                  else
                                      facts.bytesLeft =
                                          sumOfBytes(facts.bytesLeft, size - job->totalBytesDownloaded());
                                  return true;
                              });
    return facts;
}

std::string runStateText(QueueRunState state) {
    switch (state) {
    case QueueRunState::stopped:
        return localized("tr.statusbar.idle");
    case QueueRunState::waiting:
        return localized("tr.statusbar.not-started");
    case QueueRunState::running:
        return localized("tr.statusbar.running");
    case QueueRunState::paused:
        return localized("tr.statusbar.paused");
    }
    return {};
}

std::string countsText(const QueueFacts& facts) {
    const std::string running = localizedCount("tr.statusbar.count-running", facts.running);
    const std::string waiting = localizedCount("tr.statusbar.count-waiting", facts.waiting);
    if (facts.running > 0 && facts.waiting > 0)
        return localized("tr.statusbar.counts", {running, waiting});
    return facts.running > 0 ? running : facts.waiting > 0 ? waiting : "";
}

std::string timeLeftText(const QueueFacts& facts) {
    if (facts.speed < 1 || facts.bytesLeft < 1)
        return {};
    const Seconds left{static_cast<double>(facts.bytesLeft) / static_cast<double>(facts.speed)};
    return localized(facts.isSizeUnknown ? "tr.statusbar.more-than-left" : "tr.statusbar.left",
                     {durationText(left)});
}

std::string freeSpaceText(std::optional<std::int64_t> bytes) {
    return bytes ? localized("tr.statusbar.free", {readableBytes(*bytes)}) : std::string();
}

} // namespace tarvo
