// What a row of the list says of its download, in words and as a bar: pure functions of a few facts.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "base/Clock.h"
#include "base/Error.h"
#include "jobs/RemoteFile.h"

namespace tarvo {

/// What a row's texts are made of. `state` may be no rf_state_t.
struct RowFacts {
    int state = rf_state_initializing;
    double percent = -1; ///< 0 to 100; below 0: not known
    std::int64_t bytesPerSecond = 0;
    double secondsRemaining = 0;
    bool recoveredSession = false;
    bool supportsMultipart = true;
    bool isRetryable = true;
    std::uint64_t attemptNumber = 0;
    std::optional<TimePoint> nextScheduledRun = std::nullopt;
    std::optional<Error> error = std::nullopt;
    std::int64_t connections = 0; ///< at work
    std::int64_t wantedConnections = 0;
    std::optional<ConnectionLimit> connectionLimit = std::nullopt;
};

/// When a row is looked at, and whether the queue then runs.
struct RowMoment {
    TimePoint now;
    bool schedulerIsActive = false;
};

/// Main thread; all else here may be asked on any.
RowFacts factsOf(const RemoteFile& job);

/// The status line.
std::string statusText(const RowFacts& facts, const RowMoment& moment);

/// The same for a screen reader, which speaks colons: without them, and with the percentage that the bar
/// shows.
std::string spokenStatus(const RowFacts& facts, const RowMoment& moment);

/// "3 of 10 connections: all that the server allows"; empty where nothing keeps them from being as many.
std::string connectionsText(std::int64_t atWork, std::int64_t wanted,
                            const std::optional<ConnectionLimit>& limit);

/// Whether the bar has no length that would mean anything.
bool isIndeterminate(const RowFacts& facts);

enum class BarAnimation { stopped, moving };

/// None: what it was. A finished download's bar moves.
std::optional<BarAnimation> barAnimation(int state);

/// "1.5 MiB/s". Which text, and the number in it, is for speedFormat() to say.
std::string speedText(std::int64_t bytesPerSecond);

struct SpeedFormat {
    std::string_view key;
    double value;
};

/// From one GiB per second on, the value is still in MiB, and the text of that key says so.
SpeedFormat speedFormat(std::int64_t bytesPerSecond);

/// "1 h 2 min 5 s left"; empty from a week on. Hours begin again at 60.
std::string remainingTimeText(double seconds);

/// "1 h 2 min 5 s", in the form that rows have; from a hundred hours on "5 days". What is below zero is shown
/// as zero.
std::string durationText(Seconds duration);

/// "1.0 MiB of 5.0 MiB", for what is done the size alone; empty while neither is known. Sizes in bytes, below
/// 1: not known.
std::string amountText(int state, std::int64_t done, std::int64_t size);

} // namespace tarvo
