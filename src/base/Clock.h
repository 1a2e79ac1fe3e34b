// Time as something that is passed in, so that no test has to wait for it.
#pragma once

#include <chrono>

namespace tarvo {

/// A moment on the monotonic clock: it never jumps when the wall clock is set.
using TimePoint = std::chrono::steady_clock::time_point;

/// Seconds, with fractions.
using Seconds = std::chrono::duration<double>;

/// A date, in whole seconds of UTC: what cookies expire by.
using WallTime = std::chrono::sys_seconds;

class Clock {
public:
    virtual ~Clock() = default;
    virtual TimePoint now() const = 0;
    virtual WallTime wallNow() const = 0;
};

class SystemClock final : public Clock {
public:
    TimePoint now() const override { return std::chrono::steady_clock::now(); }

    WallTime wallNow() const override {
        return std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
    }
};

} // namespace tarvo
