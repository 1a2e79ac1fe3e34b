#include "rows/RowTexts.h"

#include "base/Localized.h"
#include "base/Log.h"
#include "base/Readable.h"

#include <algorithm>
#include <cmath>

#include <QString>
#include <spdlog/fmt/fmt.h>

namespace tarvo {

namespace {

constexpr double kWeek = 604'800;
constexpr double kKibi = 1024;
constexpr double kGibi = kKibi * kKibi * kKibi;

/// With a full stop, where more words follow: not every error is told in a sentence.
std::string ended(const std::string& text) {
    return text.empty() || std::string_view(".!?").find(text.back()) != std::string_view::npos ? text
                                                                                               : text + ".";
}

std::string failureText(const RowFacts& facts, const RowMoment& moment) {
    const std::string description = facts.error ? ended(facts.error->description) : std::string();
    const std::string recovery = facts.error ? facts.error->recoverySuggestion : std::string();
    const std::string combined = recovery.empty() ? description : description + " " + recovery;
    const std::string attempts = std::to_string(facts.attemptNumber);
    const std::string next = std::to_string(facts.attemptNumber + 1);
    if (moment.schedulerIsActive && facts.isRetryable && facts.nextScheduledRun) {
        const Seconds left = *facts.nextScheduledRun - moment.now;
        const auto whole = std::max(std::int64_t{0}, static_cast<std::int64_t>(left.count()));
        return localized("tr.rf.next-attempt-info", {next, std::to_string(whole), attempts, combined});
    }
    if (moment.schedulerIsActive && facts.isRetryable)
        return localized("tr.rf.last-attempt-info", {next, attempts, combined});
    const std::string help = recovery.empty() ? localized("tr.rf.help-text") : recovery;
    if (facts.attemptNumber > 1)
        return localized("tr.rf.nth-fail", {attempts, description, help});
    return localized("tr.rf.first-fail", {description, help});
}

std::string runningText(const RowFacts& facts) {
    if (facts.percent < 0)
        return localized("tr.rf.streaming-file");
    const std::string remaining = remainingTimeText(facts.secondsRemaining);
    const std::string text = localized("tr.status.overall", {speedText(facts.bytesPerSecond), remaining});
    const std::string speed = QString::fromStdString(text).trimmed().toStdString();
    const std::string limited =
        connectionsText(facts.connections, facts.wantedConnections, facts.connectionLimit);
    return limited.empty() ? speed : localized("tr.rf.limited", {speed, limited});
}

std::string readyText(const RowFacts& facts, const RowMoment& moment) {
    if (!facts.recoveredSession)
        return localized("tr.rf.ready");
    return localized(moment.schedulerIsActive ? "tr.rf.recovered-and-ready" : "tr.rf.recovered-and-waiting");
}

std::string withoutColons(const std::string& text) {
    QString spoken = QString::fromStdString(text);
    spoken.replace(QStringLiteral("://"), QStringLiteral(" "));
    spoken.replace(QStringLiteral("\u00a0: "), QStringLiteral(", ")); // as French has it
    spoken.replace(QStringLiteral(": "), QStringLiteral(", "));
    spoken.replace(u':', u' ');
    return spoken.toStdString();
}

} // namespace

RowFacts factsOf(const RemoteFile& job) {
    return {job.currentState(),      job.percentComplete(),
            job.bytesPerSecond(),    job.secondsRemaining(),
            job.recoveredSession(),  job.supportsMultipartDownloads(),
            job.isRetryable(),       job.attemptNumber,
            job.nextScheduledRun,    job.error(),
            job.activeConnections(), job.userRequestedPartitions(),
            job.connectionLimit()};
}

std::string connectionsText(std::int64_t atWork, std::int64_t wanted,
                            const std::optional<ConnectionLimit>& limit) {
    if (!limit || atWork >= wanted)
        return {};
    return localized(limit->isByServer ? "tr.connections.by-server" : "tr.connections.by-user",
                     {std::to_string(atWork), std::to_string(wanted)});
}

std::string statusText(const RowFacts& facts, const RowMoment& moment) {
    switch (facts.state) {
    case rf_state_initializing:
        return localized("Initialized");
    case rf_state_preparing:
        return localized("tr.rf.making-ready");
    case rf_state_ready:
        return readyText(facts, moment);
    case rf_state_running:
        return runningText(facts);
    case rf_state_paused:
        return localized("Paused");
    case rf_state_failed:
        return failureText(facts, moment);
    case rf_state_succeeded:
        return localized("Finished");
    default:
        return "Unknown State!"; // not translated: only a fault of the program shows it
    }
}

std::string spokenStatus(const RowFacts& facts, const RowMoment& moment) {
    const std::string status = withoutColons(statusText(facts, moment));
    const bool hasPercent =
        facts.state == rf_state_running || facts.state == rf_state_paused || facts.state == rf_state_failed;
    if (!hasPercent || isIndeterminate(facts) || facts.percent < 0)
        return status;
    return localized("tr.row.spoken", {std::to_string(static_cast<int>(facts.percent)), status});
}

bool isIndeterminate(const RowFacts& facts) {
    switch (facts.state) {
    case rf_state_initializing:
    case rf_state_preparing:
        return true;
    case rf_state_ready:
    case rf_state_succeeded:
        return false;
    case rf_state_running:
    case rf_state_paused:
        return !facts.supportsMultipart;
    case rf_state_failed:
    case rf_state_stopped:
        return !(facts.percent > 0);
    default:
        Log::assertThat(false);
        return true;
    }
}

std::optional<BarAnimation> barAnimation(int state) {
    switch (state) {
    case rf_state_initializing:
    case rf_state_failed:
    case rf_state_stopped:
        return BarAnimation::stopped;
    case rf_state_preparing:
    case rf_state_ready:
    case rf_state_running:
    case rf_state_paused:
    case rf_state_succeeded:
        return BarAnimation::moving;
    default:
        Log::assertThat(false);
        return std::nullopt;
    }
}

SpeedFormat speedFormat(std::int64_t bytesPerSecond) {
    // In single precision, as the number is shown by all its faces.
    const auto value = static_cast<float>(bytesPerSecond);
    constexpr float kibi = 1.0F / 1024;
    if (bytesPerSecond <= 1023)
        return {"tr.status.speed.bps", value};
    if (bytesPerSecond <= 1'048'575)
        return {"tr.status.speed.kbps", value * kibi};
    return {value < static_cast<float>(kGibi) ? "tr.status.speed.mbps" : "tr.status.speed.gbps",
            value * kibi * kibi};
}

std::string speedText(std::int64_t bytesPerSecond) {
    const SpeedFormat format = speedFormat(bytesPerSecond);
    const bool isBytes = format.key == "tr.status.speed.bps";
    return localized(format.key,
                     {isBytes ? fmt::format("{:.0f}", format.value) : readableNumber(format.value)});
}

std::string remainingTimeText(double seconds) {
    if (!(seconds < kWeek))
        return {};
    const auto part = [seconds](double unit) {
        return static_cast<int>(std::fmod(std::max(seconds, 0.0) / unit, 60));
    };
    const int hours = part(3600);
    const std::string minutes = std::to_string(part(60));
    const std::string rest = std::to_string(part(1));
    if (hours != 0)
        return localized("tr.status.eta.hour", {std::to_string(hours), minutes, rest});
    return localized("tr.status.eta.minutes", {minutes, rest});
}

std::string durationText(Seconds duration) {
    constexpr std::int64_t hour = 3600;
    constexpr std::int64_t day = 24 * hour;
    constexpr double mostDays = 9999;
    const auto whole = static_cast<std::int64_t>(std::clamp(duration.count(), 0.0, mostDays * day));
    if (whole >= 100 * hour)
        return localizedCount("tr.duration.days", static_cast<std::size_t>(whole / day));
    const std::string minutes = std::to_string(whole / 60 % 60);
    const std::string seconds = std::to_string(whole % 60);
    if (whole >= hour)
        return localized("tr.duration.hours", {std::to_string(whole / hour), minutes, seconds});
    return localized("tr.duration.minutes", {minutes, seconds});
}

std::string amountText(int state, std::int64_t done, std::int64_t size) {
    if (size < 1)
        return done > 0 ? readableBytes(done) : std::string();
    if (state == rf_state_succeeded || done <= 0)
        return readableBytes(size);
    return localized("tr.row.amount", {readableBytes(done), readableBytes(size)});
}

} // namespace tarvo
