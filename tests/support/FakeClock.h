// A clock that stands still until a test moves it.
#pragma once

#include "base/Clock.h"

namespace tarvo::test {

class FakeClock final : public Clock {
public:
    TimePoint now() const override { return m_now; }

    WallTime wallNow() const override { return WallTime(std::chrono::days(20000)); }

    void advance(Seconds seconds) { m_now += std::chrono::duration_cast<TimePoint::duration>(seconds); }

private:
    TimePoint m_now{std::chrono::hours(1)};
};

} // namespace tarvo::test
