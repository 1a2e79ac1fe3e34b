// The port to what keeps the computer awake.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace tarvo {

class SleepInhibitor {
public:
    virtual ~SleepInhibitor() = default;

    /// Asks that the computer neither falls asleep nor counts as idle, for `reason`, which the user may
    /// get to see. Returns at once; `outcome` is called on the main thread when it is known whether that
    /// worked: 0, or an errno value. The answer names the request for release() and is never 0.
    virtual std::uint32_t inhibit(const std::string& reason, std::function<void(int result)> outcome) = 0;

    /// Takes a request back, whatever has become of it. Its outcome is told no more.
    virtual void release(std::uint32_t id) = 0;
};

} // namespace tarvo
